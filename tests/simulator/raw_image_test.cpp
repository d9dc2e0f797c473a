#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "simulator/cards/card_file.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/firmware/firmware.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;

constexpr std::size_t card_size = std::size_t{2048} * 264;
const std::string header = "# A card of the virtual reader.\nformat = 1\nkind = \"45d041\"\n---\n";

std::string complaint_about(const std::string& content) {
  try {
    parse_image(content, "card");
    return {};
  } catch (const Error& error) {
    return error.what();
  }
}

TEST(RawImage, is_a_text_with_the_bytes_behind_it) {
  Image image(find_kind("45d041"));
  image.field("memory").front() = '\n';
  image.field("memory").back() = 0;
  std::string memory(card_size, '\xFF');
  memory.front() = '\n';
  memory.back() = '\0';
  EXPECT_TRUE(to_text(image) == header + memory);
  const Image again = parse_image(header + memory, "card");
  EXPECT_TRUE(std::ranges::equal(again.field("memory"), image.field("memory")));
}

TEST(RawImage, may_have_any_bytes) {
  std::string memory(card_size, '\0');
  const std::string_view text = "\n---\nkind = 5\n---\n\xFF\x00";
  std::ranges::copy(text, memory.begin() + 1000);
  EXPECT_EQ(complaint_about(header + memory), "");
}

TEST(RawImage, must_have_all_its_bytes_and_no_more) {
  EXPECT_EQ(complaint_about(header + std::string(card_size - 1, ' ')),
            "card:4: memory has 540671 bytes, but a card of this kind has 540672");
  EXPECT_EQ(complaint_about(header + std::string(card_size + 1, ' ')),
            "card:4: memory has 540673 bytes, but a card of this kind has 540672");
  EXPECT_EQ(complaint_about(header),
            "card:4: memory has 0 bytes, but a card of this kind has 540672");
}

TEST(RawImage, may_be_cut_nowhere) {
  for (std::size_t length = 0; length < header.size(); ++length)
    EXPECT_NE(complaint_about(header.substr(0, length)), "") << length;
  EXPECT_EQ(complaint_about(header.substr(0, header.size() - 4)), "card: memory is missing");
}

TEST(RawImage, has_its_memory_nowhere_else) {
  const std::string bytes(card_size, ' ');
  EXPECT_EQ(complaint_about("format = 1\nkind = \"45d041\"\nmemory = \"\"\n---\n" + bytes),
            "card:3: unknown key memory for a 45d041");
  EXPECT_EQ(complaint_about("format = 2\nkind = \"45d041\"\n---\n" + bytes),
            "card:1: format must be 1");
}

TEST(RawImage, is_not_for_every_kind) {
  const std::string text = to_text(Image(find_kind("4432")));
  EXPECT_EQ(complaint_about(text + "---\n"),
            fmt::format("card:{}: nothing can follow the text of a 4432",
                        std::ranges::count(text, '\n') + 1));
}

// A card in its file, and a reader that writes to it.
class WrittenCard {
 public:
  explicit WrittenCard(const std::filesystem::path& path) : file(path) {
    reader.slot.insert(file.chip());
  }

  // Writes bytes of one value, as a request does, and saves the card.
  void write(unsigned page, unsigned offset, std::size_t count, std::uint8_t value) {
    Bytes body{0x6E, static_cast<std::uint8_t>(page >> 8U), static_cast<std::uint8_t>(page),
               static_cast<std::uint8_t>(offset >> 8U), static_cast<std::uint8_t>(offset)};
    body.resize(body.size() + count, value);
    Reply reply;
    if (execute(reader, {.command = 0x60, .flag = 0, .body = body}, reply) != Status::success)
      throw std::runtime_error("not written");
    file.save();
  }

  CardFile file;
  Reader reader;
};

class RawImageFile : public ::testing::Test {
 protected:
  ino_t node() const {
    struct stat information {};
    return ::stat(path.c_str(), &information) == 0 ? information.st_ino : 0;
  }
  bool file_has_all_of(const CardFile& card) const {
    return test::content_of(path) == to_text(card.image());
  }

  TemporaryFolder folder;
  std::filesystem::path path = test::new_card(folder, "45d041");
};

TEST_F(RawImageFile, is_written_in_place) {
  WrittenCard card(path);
  const ino_t before = node();
  card.write(0, 0, 1, 0x01);
  card.write(2047, 263, 1, 0x02);
  card.write(1000, 60, 144, 0x03);
  EXPECT_EQ(node(), before);
  EXPECT_TRUE(file_has_all_of(card.file));
}

TEST_F(RawImageFile, is_written_in_place_behind_a_symbolic_link) {
  const auto link = folder.path() / "link";
  std::filesystem::create_symlink(path, link);
  WrittenCard card(link);
  card.write(3, 3, 3, 0x33);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_TRUE(file_has_all_of(card.file));
}

TEST_F(RawImageFile, is_not_written_when_nothing_changed) {
  CardFile card(path);
  std::filesystem::remove(path);
  card.save();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(RawImageFile, is_written_as_a_whole_when_it_is_gone) {
  WrittenCard card(path);
  card.write(3, 0, 1, 0x33);
  std::filesystem::remove(path);
  card.write(4, 0, 1, 0x44);
  EXPECT_TRUE(file_has_all_of(card.file));
}

TEST_F(RawImageFile, is_written_as_a_whole_when_another_file_took_its_place) {
  WrittenCard card(path);
  const std::string other = header + "x";
  test::write_file(path, other);
  card.write(4, 0, 1, 0x44);
  EXPECT_TRUE(file_has_all_of(card.file));

  std::filesystem::remove(path);
  save_image(Image(find_kind("4432")), path);
  card.write(5, 0, 1, 0x55);
  EXPECT_TRUE(file_has_all_of(card.file));
}

TEST_F(RawImageFile, is_written_by_the_next_call_when_it_could_not_be_written) {
  WrittenCard card(path);
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_THROW(card.write(4, 0, 1, 0x44), Error);
  std::filesystem::remove(path);
  card.file.save();
  EXPECT_TRUE(file_has_all_of(card.file));
}

// Writes page 16 to 31 with one value after another until it is killed; tells when it has begun.
// The pages lie in the middle of the file and across the borders of its blocks.
[[noreturn]] void write_for_ever(const std::filesystem::path& path, int told) {
  try {
    WrittenCard card(path);
    for (unsigned frame = 0;; ++frame) {
      const unsigned page = 16 + frame / 2 % 16;
      const auto value = static_cast<std::uint8_t>(frame / 32 % 2 == 0 ? 0x55 : 0xAA);
      card.write(page, frame % 2 == 0 ? 0 : 144, frame % 2 == 0 ? 144 : 120, value);
      if (frame == 0 && ::write(told, "!", 1) != 1) ::_exit(1);
    }
  } catch (...) {
    ::_exit(1);
  }
}

TEST_F(RawImageFile, survives_a_kill_at_any_moment) {
  for (unsigned kill = 0; kill < 40; ++kill) {
    int channel[2];
    ASSERT_EQ(::pipe(channel), 0);
    const FileDescriptor reading(channel[0]);
    const FileDescriptor writing(channel[1]);
    const pid_t writer = ::fork();
    ASSERT_GE(writer, 0);
    if (writer == 0) write_for_ever(path, channel[1]);
    char told = 0;
    ASSERT_EQ(::read(reading.get(), &told, 1), 1);
    ::usleep(kill * 97);
    ASSERT_EQ(::kill(writer, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status));

    const Image loaded = load_image(path);
    const auto memory = loaded.field("memory");
    const auto written = memory.subspan(std::size_t{16} * 264, std::size_t{16} * 264);
    EXPECT_EQ(written.front(), written[143]);
    EXPECT_TRUE(std::ranges::all_of(
        written, [](std::uint8_t byte) { return byte == 0x55 || byte == 0xAA || byte == 0xFF; }));
    EXPECT_EQ(std::ranges::count(memory, 0xFF),
              static_cast<std::ptrdiff_t>(card_size - written.size()) +
                  std::ranges::count(written, 0xFF));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
  }
}

}  // namespace
}  // namespace quorra::simulator
