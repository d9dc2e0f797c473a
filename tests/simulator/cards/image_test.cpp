// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/image.hpp"

#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <numeric>

#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// What the reader of image files says about a text; empty if it has no complaint.
std::string complaint_about(const std::string& text) {
  try {
    parse_image(text, "card");
    return {};
  } catch (const Error& error) {
    return error.what();
  }
}

std::string blank_text() { return to_text(Image(find_kind("4442"))); }

// The text of a blank 4442 with one part of it replaced.
std::string with(const std::string& part, const std::string& replacement) {
  std::string text = blank_text();
  const std::size_t begin = text.find(part);
  if (begin == std::string::npos) throw std::invalid_argument("not in the text: " + part);
  return text.replace(begin, part.size(), replacement);
}

TEST(Image, of_a_new_4442) {
  const Image image(find_kind("4442"));
  const auto memory = image.field("memory");
  ASSERT_EQ(memory.size(), 256U);
  EXPECT_THAT(memory.first(9), ElementsAreArray(hex("A2 13 10 91 FF FF 81 15 FF")));
  for (std::size_t address = 8; address < 256; ++address)
    EXPECT_EQ(memory[address], 0xFF);
  EXPECT_THAT(image.field("code"), ElementsAreArray(hex("FF FF FF")));
  EXPECT_THAT(image.field("counter"), ElementsAreArray(hex("07")));
  EXPECT_THAT(address_list(image.field("protected")),
              ::testing::ElementsAre("0x00-0x03", "0x06-0x07", "0x15-0x1A"));
}

TEST(Image, of_a_new_4432_has_no_code) {
  const Image image(find_kind("4432"));
  EXPECT_FALSE(image.has("code"));
  EXPECT_FALSE(image.has("counter"));
  EXPECT_TRUE(image.field("code").empty());
  EXPECT_TRUE(image.has("memory"));
}

TEST(Image, has_the_bytes_of_a_hand_written_file) {
  std::string memory;
  for (int address = 0; address < 256; address += 8)
    memory += fmt::format("{:04x}:01 02 03 04  05 06 07 08\n", address);
  const Image image = parse_image(
      "kind = '4442'\nformat = 1\n# a comment\ncounter = 3\ncode = '0a0B0c'\n"
      "protected = ['0x1F', \"0-1\"]\nmemory = \"\"\"\n" +
          memory + "\n\"\"\"\n",
      "card");
  EXPECT_EQ(image.kind().name, "4442");
  EXPECT_THAT(image.field("code"), ElementsAreArray(hex("0A 0B 0C")));
  EXPECT_THAT(image.field("counter"), ElementsAreArray(hex("03")));
  EXPECT_THAT(address_list(image.field("protected")), ::testing::ElementsAre("0x00-0x01", "0x1F"));
  EXPECT_EQ(image.field("memory")[0xFF], 0x08);
  EXPECT_EQ(image.field("memory")[0xF8], 0x01);
}

TEST(Image, comes_back_from_its_file) {
  const TemporaryFolder folder;
  for (const Kind& kind : kinds()) {
    Image image(kind);
    std::uint8_t value = 1;
    for (const Field& field : kind.fields)
      for (std::uint8_t& byte : image.field(field.name)) {
        value = static_cast<std::uint8_t>(value * 5 + 3);
        if (field.form == FieldForm::addresses) byte = value >> 4U & 1U;
        if (field.form == FieldForm::number) byte = static_cast<std::uint8_t>(field.extent - 1);
        if (field.form == FieldForm::bytes || field.form == FieldForm::text_of_bytes ||
            field.form == FieldForm::memory || field.form == FieldForm::raw)
          byte = value;
      }
    save_image(image, folder.path() / "card");
    const Image again = load_image(folder.path() / "card");
    EXPECT_EQ(again.kind().name, kind.name);
    for (const Field& field : kind.fields)
      EXPECT_TRUE(std::ranges::equal(again.field(field.name), image.field(field.name)))
          << kind.name << " " << field.name;
  }
}

struct Damage {
  const char* part;
  const char* replacement;
  const char* complaint;
};

std::ostream& operator<<(std::ostream& stream, const Damage& damage) {
  return stream << ::testing::PrintToString(damage.part) << " -> "
                << ::testing::PrintToString(damage.replacement);
}

class DamagedImage : public ::testing::TestWithParam<Damage> {};

TEST_P(DamagedImage, is_refused_with_one_line_that_says_where) {
  const auto& [part, replacement, complaint] = GetParam();
  const std::string said = complaint_about(with(part, replacement));
  EXPECT_EQ(said, complaint);
}

INSTANTIATE_TEST_SUITE_P(
    Image, DamagedImage,
    ::testing::Values(
        Damage{"format = 1\n", "", "card: format is missing"},
        Damage{"format = 1\n", "format = 2\n", "card:2: format must be 1"},
        Damage{"format = 1\n", "format = \"1\"\n", "card:2: format must be 1"},
        Damage{"kind = \"4442\"\n", "", "card: kind is missing"},
        Damage{"kind = \"4442\"", "kind = 4442", "card:3: kind must be a string"},
        Damage{"kind = \"4442\"", "kind = \"4432\"", "card:4: unknown key code for a 4432"},
        Damage{"counter = 7\n", "counter = 7\ncolour = 1\n",
               "card:6: unknown key colour for a 4442"},
        Damage{"counter = 7\n", "", "card: counter is missing"},
        Damage{"counter = 7\n", "counter = 8\n", "card:5: counter must be 0 to 7"},
        Damage{"counter = 7\n", "counter = -1\n", "card:5: counter must be 0 to 7"},
        Damage{"counter = 7\n", "counter = 7.0\n", "card:5: counter must be 0 to 7"},
        Damage{"code = \"FF FF FF\"", "code = \"FF FF\"",
               "card:4: code must be 3 bytes in hexadecimal"},
        Damage{"code = \"FF FF FF\"", "code = \"FF FF FG\"",
               "card:4: code must be 3 bytes in hexadecimal"},
        Damage{"code = \"FF FF FF\"", "code = 16777215", "card:4: code must be a string"},
        Damage{"protected = [", "protected = [\"0x20\", ",
               "card:6: protected: an address or a range like \"0x00-0x03\" is expected, up to "
               "0x1F"},
        Damage{"protected = [", "protected = [5, ",
               "card:6: protected: an address or a range like \"0x00-0x03\" is expected, up to "
               "0x1F"},
        Damage{"protected = [", "protected = [\"3-2\", ",
               "card:6: protected: an address or a range like \"0x00-0x03\" is expected, up to "
               "0x1F"},
        Damage{"protected = [\"0x00-0x03\", \"0x06-0x07\", \"0x15-0x1A\"]", "protected = \"0x00\"",
               "card:6: protected must be an array"},
        Damage{"00F0: FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF\n", "",
               "card:7: memory has 240 bytes, but a card of this kind has 256"},
        Damage{"0010: FF", "0010:", "card:10: address 001F expected"},
        Damage{"0010: FF", "0010: FF FF", "card:10: address 0021 expected"},
        Damage{"00F0: FF", "00F0: FF FF", "card:23: more than the 256 bytes of this kind of card"},
        Damage{"0020: FF", "0021: FF", "card:10: address 0020 expected"},
        Damage{"0020: FF", "FF", "card:10: a line of memory is ADDRESS: BYTES"},
        Damage{"0020: FF", "-0020: FF", "card:10: address 0020 expected"},
        Damage{"0000: A2", "0000: A", "card:8: bytes are pairs of hexadecimal digits"},
        Damage{"0000: A2", "0000: ZZ", "card:8: bytes are pairs of hexadecimal digits"}));

TEST(Image, holds_an_answer_to_reset_of_1_to_33_bytes) {
  const std::string text = to_text(Image(find_kind("cpu")));
  const std::string blank = "atr = \"3B 86 01 51 55 4F 52 52 41 8D\"";
  const auto with_answer = [&](const std::string& answer) {
    return std::string(text).replace(text.find(blank), blank.size(), "atr = " + answer);
  };
  for (const std::size_t size : {std::size_t{1}, std::size_t{33}}) {
    const std::string answer = to_hex(Bytes(size, 0x3F));
    EXPECT_THAT(parse_image(with_answer("\"" + answer + "\""), "card").field("atr"),
                ElementsAreArray(Bytes(size, 0x3F)));
  }
  for (const std::string& answer : {to_hex(Bytes(34, 0x3F)), std::string(), std::string("3")})
    EXPECT_EQ(complaint_about(with_answer("\"" + answer + "\"")),
              "card:4: atr must be 1 to 33 bytes in hexadecimal");
  EXPECT_EQ(complaint_about(with_answer("59")), "card:4: atr must be a string");
}

TEST(Image, must_be_of_a_known_kind) {
  EXPECT_EQ(complaint_about(with("kind = \"4442\"", "kind = \"4443\"")),
            fmt::format("card:3: unknown kind of card \"4443\" (known: {})", list_names(kinds())));
}

TEST(Image, must_have_a_memory) {
  const std::string text = blank_text();
  EXPECT_EQ(complaint_about(text.substr(0, text.find("memory"))), "card: memory is missing");
}

TEST(Image, must_be_toml) {
  EXPECT_THAT(complaint_about("format = \n"), StartsWith("card:1: "));
  EXPECT_THAT(complaint_about(blank_text() + "code = \"00 00 00\"\n"), StartsWith("card:25: "));
  EXPECT_EQ(complaint_about(""), "card: format is missing");
}

TEST(Image, may_not_be_garbage) {
  std::string garbage(5000, '\0');
  unsigned seed = 1;
  for (char& character : garbage) {
    seed = seed * 1103515245U + 12345U;
    character = static_cast<char>(seed >> 16U & 0xFFU);
  }
  const std::string said = complaint_about(garbage);
  EXPECT_THAT(said, StartsWith("card:"));
  EXPECT_THAT(said, Not(HasSubstr("\n")));
}

TEST(Image, may_not_have_deep_keys) {
  std::string dots;
  for (int i = 0; i < 50'000; ++i)
    dots += "a.";
  for (const std::string& line :
       {dots + "b = 1\n", "[" + dots + "b]\n", "\"#\"." + dots + "b = 1\n"})
    EXPECT_EQ(complaint_about("format = 1\n" + line), "card:2: more than 1000 dots");
  EXPECT_EQ(complaint_about("# " + std::string(1000, '.') + "\n" + blank_text().substr(2)),
            "card:2: more than 1000 dots");
  EXPECT_EQ(complaint_about("# " + std::string(999, '.') + "\n" + blank_text()), "");
  EXPECT_EQ(complaint_about(dots.substr(0, 2000) + "b = 1\n"), "card: format is missing");
}

TEST(Image, may_be_cut_nowhere) {
  const std::string text = blank_text();
  for (std::size_t length = 0; length + 1 < text.size(); ++length)
    EXPECT_NE(complaint_about(text.substr(0, length)), "") << length;
}

class ImageFile : public ::testing::Test {
 protected:
  std::string complaint() const {
    try {
      load_image(path);
      return {};
    } catch (const Error& error) {
      return error.what();
    }
  }

  TemporaryFolder folder;
  std::filesystem::path path = folder.path() / "card";
  Image image{find_kind("4442")};
};

TEST_F(ImageFile, must_be_there) {
  EXPECT_EQ(complaint(), path.string() + ": cannot open: No such file or directory");
}

TEST_F(ImageFile, must_be_a_file) {
  std::filesystem::create_directory(path);
  EXPECT_EQ(complaint(), path.string() + ": not a regular file");
  std::filesystem::remove(path);
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(complaint(), path.string() + ": not a regular file");
}

TEST_F(ImageFile, may_not_be_huge) {
  test::write_file(path, "x");
  std::filesystem::resize_file(path, std::uintmax_t{1} << 32U);
  EXPECT_EQ(complaint(), path.string() + ": too large");
}

TEST_F(ImageFile, keeps_its_permissions) {
  save_image(image, path);
  std::filesystem::permissions(path, std::filesystem::perms(0604));
  save_image(image, path);
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0604));
}

// Set-user-ID is lost when a file gets another owner.
TEST_F(ImageFile, keeps_its_owner) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  save_image(image, path);
  ASSERT_EQ(::chown(path.c_str(), 1234, 5678), 0);
  ASSERT_EQ(::chmod(path.c_str(), 04604), 0);
  save_image(image, path);
  struct stat information {};
  ASSERT_EQ(::stat(path.c_str(), &information), 0);
  EXPECT_EQ(information.st_uid, 1234U);
  EXPECT_EQ(information.st_gid, 5678U);
  EXPECT_EQ(information.st_mode & 07777U, 04604U);
}

TEST_F(ImageFile, is_replaced_behind_a_symbolic_link) {
  const auto link = folder.path() / "link";
  test::write_file(path, "");
  std::filesystem::create_symlink(path, link);
  save_image(image, link);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(test::content_of(path), to_text(image));
}

TEST_F(ImageFile, is_not_made_behind_a_symbolic_link_that_leads_nowhere) {
  const auto link = folder.path() / "link";
  std::filesystem::create_symlink(path, link);
  EXPECT_THROW(save_image(image, link), Error);
  EXPECT_FALSE(std::filesystem::exists(path));
}

// A process that was killed may have had the same number.
TEST_F(ImageFile, is_written_when_a_killed_process_left_its_own) {
  const auto left = folder.path() / fmt::format(".quorra-{}-0", ::getpid());
  test::write_file(left, "half of an image");
  save_image(image, path);
  EXPECT_EQ(test::content_of(path), to_text(image));
  EXPECT_EQ(test::content_of(left), "half of an image");
}

TEST_F(ImageFile, is_overwritten_only_if_it_has_the_stamp) {
  test::write_file(path, "content");
  const FileStamp stamp = stamp_of(path).value();
  std::vector<FileStamp> others(5, stamp);
  ++others[0].device;
  ++others[1].node;
  ++others[2].size;
  ++others[3].seconds;
  ++others[4].nanoseconds;
  for (const FileStamp& other : others) {
    EXPECT_FALSE(overwrite_part(path, other, 0, "C"));
    EXPECT_EQ(is_same_file(stamp, other), other.device == stamp.device && other.node == stamp.node);
  }
  EXPECT_FALSE(is_same_file(stamp, std::nullopt));
  EXPECT_FALSE(is_same_file(std::nullopt, stamp));
  EXPECT_EQ(test::content_of(path), "content");
  EXPECT_TRUE(overwrite_part(path, stamp, 0, "C"));
  EXPECT_EQ(test::content_of(path), "Content");
}

TEST_F(ImageFile, leaves_nothing_else_in_its_folder) {
  save_image(image, path);
  save_image(image, path);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(ImageFile, cannot_be_written_where_no_file_can_be) {
  EXPECT_THROW(save_image(image, folder.path() / "missing" / "card"), Error);
  EXPECT_THROW(save_image(image, folder.path()), Error);
}

TEST_F(ImageFile, stays_whole_when_there_is_no_room_for_another) {
  save_image(image, path);
  const std::string before = test::content_of(path);

  rlimit usual{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
  const auto usual_action = std::signal(SIGXFSZ, SIG_IGN);
  rlimit tight = usual;
  tight.rlim_cur = before.size() / 2;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
  EXPECT_THROW(save_image(image, path), Error);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &usual), 0);
  std::signal(SIGXFSZ, usual_action);

  EXPECT_EQ(test::content_of(path), before);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

// Writes one image after another.
[[noreturn]] void write_for_ever(const std::filesystem::path& path,
                                 const std::function<void()>& has_begun) {
  Image image(find_kind("4442"));
  for (std::uint8_t value = 0;; ++value) {
    std::ranges::fill(image.field("memory"), value);
    save_image(image, path);
    if (value == 0) has_begun();
  }
}

TEST_F(ImageFile, survives_a_kill_at_any_moment) {
  for (unsigned kill = 0; kill < 60; ++kill) {
    test::run_and_kill([&](const auto& has_begun) { write_for_ever(path, has_begun); }, kill * 37);

    const Image loaded = load_image(path);
    EXPECT_THAT(loaded.field("memory"), ::testing::Each(loaded.field("memory").front()));
  }
}

}  // namespace
}  // namespace quorra::simulator
