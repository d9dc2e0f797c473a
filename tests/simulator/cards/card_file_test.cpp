// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/card_file.hpp"

#include <fmt/core.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/firmware/firmware.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;

// A card in its file, and a reader that writes to it.
class WrittenCard {
 public:
  explicit WrittenCard(const std::filesystem::path& path) : file(path) {
    reader.slot.insert(file.chip());
  }

  // Writes bytes of one value, as a request does, and saves the card. On a 45D041 they are in one
  // page.
  void write(std::size_t address, std::size_t count, std::uint8_t value) {
    const std::string_view kind = file.image().kind().name;
    if (kind == "45d041") {
      execute_and_save(0x60, 0x6E, address / 264, address % 264, Bytes(count, value));
    } else if (kind == "24c64") {
      execute_and_save(0x62, 0x66, 0, address, Bytes(count, value));
    } else {
      execute_and_save(0x60, 0x76, 0, address, Bytes(count, value));
    }
  }

  void execute_and_save(std::uint8_t command, std::uint8_t type, std::size_t page,
                        std::size_t address, const Bytes& data) {
    Bytes body{type, static_cast<std::uint8_t>(page >> 8U), static_cast<std::uint8_t>(page),
               static_cast<std::uint8_t>(address >> 8U), static_cast<std::uint8_t>(address)};
    body.insert(body.end(), data.begin(), data.end());
    Reply reply;
    if (execute(reader, {.command = command, .flag = 0, .body = body}, reply) != Status::success)
      throw std::runtime_error("not written");
    file.save();
  }

  CardFile file;
  Reader reader;
};

// A file that was replaced is another file with another number.
ino_t node_of(const std::filesystem::path& path) {
  struct stat information {};
  return ::stat(path.c_str(), &information) == 0 ? information.st_ino : 0;
}

class CardFileTest : public ::testing::TestWithParam<const char*> {
 protected:
  ino_t node() const { return node_of(path); }
  bool file_has_all_of(const WrittenCard& card) const {
    return test::content_of(path) == to_text(card.file.image());
  }
  std::size_t last_address() const { return load_image(path).field("memory").size() - 1; }

  TemporaryFolder folder;
  std::filesystem::path path = test::new_card(folder, GetParam());
};

std::string name_of(const ::testing::TestParamInfo<const char*>& row) {
  return fmt::format("of_a_{}", row.param);
}

INSTANTIATE_TEST_SUITE_P(Text, CardFileTest, ::testing::Values("4418", "24c64"), name_of);
INSTANTIATE_TEST_SUITE_P(Raw, CardFileTest, ::testing::Values("45d041"), name_of);

TEST_P(CardFileTest, is_written_in_place) {
  WrittenCard card(path);
  const ino_t before = node();
  card.write(31, 1, 0x01);
  card.write(last_address(), 1, 0x02);
  card.write(524, 1, 0x03);
  card.write(600, 144, 0x04);
  EXPECT_EQ(node(), before);
  EXPECT_TRUE(file_has_all_of(card));
}

TEST_P(CardFileTest, is_written_in_place_behind_a_symbolic_link) {
  const auto link = folder.path() / "link";
  std::filesystem::create_symlink(path, link);
  WrittenCard card(link);
  const ino_t before = node();
  card.write(300, 3, 0x33);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(node(), before);
  EXPECT_TRUE(file_has_all_of(card));
}

TEST_P(CardFileTest, is_not_written_when_nothing_changed) {
  CardFile card(path);
  std::filesystem::remove(path);
  card.save();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_P(CardFileTest, is_written_as_a_whole_when_it_is_gone) {
  WrittenCard card(path);
  card.write(300, 1, 0x33);
  std::filesystem::remove(path);
  card.write(400, 1, 0x44);
  EXPECT_TRUE(file_has_all_of(card));
}

TEST_P(CardFileTest, is_written_as_a_whole_when_its_file_was_changed_or_removed) {
  WrittenCard card(path);
  test::write_file(path, "format = 1\n");
  card.write(400, 1, 0x44);
  EXPECT_TRUE(file_has_all_of(card));

  std::filesystem::remove(path);
  card.write(500, 1, 0x55);
  EXPECT_TRUE(file_has_all_of(card));
}

// What is said when the card is written, or saved later.
std::string failure_of(const std::function<void()>& write) {
  try {
    write();
    return {};
  } catch (const Error& error) {
    return error.what();
  }
}

TEST_P(CardFileTest, is_not_written_over_a_file_that_took_its_place) {
  WrittenCard card(path);
  std::filesystem::remove(path);
  save_image(Image(find_kind("4432")), path);
  const std::string content = test::content_of(path);
  const std::string words = path.string() + ": another file has taken its place";
  EXPECT_EQ(failure_of([&] { card.write(400, 1, 0x44); }), words);
  EXPECT_EQ(failure_of([&] { card.file.save(); }), words);
  EXPECT_EQ(test::content_of(path), content);
  EXPECT_EQ(CardFile(path).image().kind().name, "4432") << "it is free";
  std::filesystem::remove(path);
  card.file.save();
  EXPECT_TRUE(file_has_all_of(card));
}

// Its bytes have other places than in a file that the virtual reader wrote.
TEST_P(CardFileTest, is_written_as_a_whole_when_somebody_edited_it) {
  test::write_file(path, "# Mine.\n" + test::content_of(path));
  WrittenCard card(path);
  card.write(300, 1, 0x33);
  EXPECT_TRUE(file_has_all_of(card));
  const ino_t replaced = node();
  card.write(301, 1, 0x44);
  EXPECT_EQ(node(), replaced);
  EXPECT_TRUE(file_has_all_of(card));
}

TEST_P(CardFileTest, is_written_by_the_next_call_when_it_could_not_be_written) {
  WrittenCard card(path);
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_THROW(card.write(400, 1, 0x44), Error);
  std::filesystem::remove(path);
  card.file.save();
  EXPECT_TRUE(file_has_all_of(card));
}

// What is said about a second use of the file; empty if it is possible.
std::string complaint_about(const std::filesystem::path& path) {
  try {
    const CardFile card(path);
    return {};
  } catch (const Error& error) {
    return error.what();
  }
}

std::string in_use(const std::filesystem::path& path) {
  return fmt::format("{}: in use by another virtual reader (process {})", path.string(),
                     ::getpid());
}

TEST_P(CardFileTest, is_in_one_slot_at_a_time) {
  const auto link = folder.path() / "link";
  const auto hard_link = folder.path() / "hard_link";
  std::filesystem::create_symlink(path, link);
  std::filesystem::create_hard_link(path, hard_link);
  {
    const CardFile card(path);
    for (const auto& name : {path, link, hard_link})
      EXPECT_EQ(complaint_about(name), in_use(name));
  }
  EXPECT_EQ(complaint_about(link), "");
}

// Neither a file that is written in place nor one that is replaced becomes free by that.
TEST_P(CardFileTest, stays_in_its_slot_when_it_is_written) {
  test::write_file(path, "# Mine.\n" + test::content_of(path));
  WrittenCard card(path);
  const ino_t before = node();
  card.write(300, 1, 0x33);
  EXPECT_NE(node(), before);
  EXPECT_EQ(complaint_about(path), in_use(path));
  card.write(301, 1, 0x44);
  EXPECT_EQ(complaint_about(path), in_use(path));
}

TEST_P(CardFileTest, is_not_written_over_a_file_in_another_slot) {
  WrittenCard card(path);
  std::filesystem::remove(path);
  save_image(Image(find_kind("4432")), path);
  const std::string content = test::content_of(path);
  {
    const CardFile other(path);
    EXPECT_EQ(failure_of([&] { card.write(400, 1, 0x44); }), in_use(path));
    EXPECT_EQ(test::content_of(path), content);
  }
  std::filesystem::remove(path);
  card.file.save();
  EXPECT_TRUE(file_has_all_of(card));
  EXPECT_EQ(complaint_about(path), in_use(path));
}

TEST_P(CardFileTest, may_be_read_only) {
  std::filesystem::permissions(path, std::filesystem::perms(0444));
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
  EXPECT_EQ(complaint_about(path), "");
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
}

// A list of addresses grows with each of them.
TEST(ProtectedCardFile, is_written_as_a_whole_when_more_than_the_memory_changed) {
  const TemporaryFolder folder;
  const auto path = test::new_card(folder, "4418");
  constexpr std::uint8_t write_with_protection = 0x6D;
  constexpr std::uint8_t write_protection = 0x6F;
  WrittenCard card(path);
  card.execute_and_save(write_with_protection, 0x76, 0, 100, {0x11, 0x12});
  EXPECT_EQ(test::content_of(path), to_text(card.file.image()));
  const ino_t before = node_of(path);
  card.write(1023, 1, 0x13);
  EXPECT_EQ(node_of(path), before);
  card.execute_and_save(write_protection, 0x76, 0, 1023, {0x13});
  EXPECT_EQ(test::content_of(path), to_text(card.file.image()));
  EXPECT_EQ(load_image(path).field("protected").back(), 1);
}

// The cells from 4224 to 8191 lie in the middle of the file and across the borders of its blocks.
constexpr std::size_t first_written = 4224;
constexpr std::size_t written_size = std::size_t{15} * 264;

// Writes these cells with one value after another.
[[noreturn]] void write_for_ever(const std::filesystem::path& path,
                                 const std::function<void()>& has_begun) {
  WrittenCard card(path);
  for (unsigned frame = 0;; ++frame) {
    const std::size_t address = first_written + frame % 30 * 132;
    card.write(address, 132, frame / 30 % 2 == 0 ? 0x55 : 0xAA);
    if (frame == 0) has_begun();
  }
}

// A digit that was there before, and the digits that are written.
bool is_possible(std::uint8_t byte) {
  const auto is_known = [](unsigned digit) { return digit == 0x5 || digit == 0xA || digit == 0xF; };
  return is_known(byte >> 4U) && is_known(byte & 0xFU);
}

class KilledCardFile : public CardFileTest {};
INSTANTIATE_TEST_SUITE_P(Text, KilledCardFile, ::testing::Values("24c64"), name_of);
INSTANTIATE_TEST_SUITE_P(Raw, KilledCardFile, ::testing::Values("45d041"), name_of);

TEST_P(KilledCardFile, survives_a_kill_at_any_moment) {
  for (unsigned kill = 0; kill < 40; ++kill) {
    test::run_and_kill([&](const auto& has_begun) { write_for_ever(path, has_begun); }, kill * 97);
    const Image loaded = load_image(path);
    const auto memory = loaded.field("memory");
    const auto written = memory.subspan(first_written, written_size);
    EXPECT_NE(written.front(), 0xFF);
    EXPECT_TRUE(std::ranges::all_of(written, is_possible));
    EXPECT_EQ(std::ranges::count(memory, 0xFF),
              static_cast<std::ptrdiff_t>(memory.size() - written.size()) +
                  std::ranges::count(written, 0xFF));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
  }
}

}  // namespace
}  // namespace quorra::simulator
