// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/reader_file.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>

#include <optional>

#include "simulator/error.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::reply;
using test::request;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const Bytes read_serial_number = request(0xB7, "80 00 00 01 90 00 10");

class ReaderWithAFile : public ::testing::Test {
 protected:
  ReaderWithAFile() { options.reader = file; }

  void start() { served.emplace(options); }
  void stop() { served.reset(); }
  Bytes exchange(const Bytes& frame) { return served->exchange(frame); }
  std::string complaint() {
    try {
      const test::ServedBench refused(options);
      return "";
    } catch (const Error& error) {
      return error.what();
    }
  }

  TemporaryFolder folder;
  std::filesystem::path file = folder.path() / "reader.toml";
  Options options;
  std::optional<test::ServedBench> served;
};

TEST_F(ReaderWithAFile, outlives_the_program) {
  start();
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 00 10 11 22")), reply(0));
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 01 82 12 34 56")), reply(0));
  stop();
  start();
  EXPECT_EQ(exchange(request(0xB7, "80 00 00 00 0F 00 04")), reply(0, "FF 11 22 FF"));
  EXPECT_EQ(exchange(request(0xB5, "80 00 00 01 82 FF FF FF")), reply(test::status::wrong_code));
  EXPECT_EQ(exchange(request(0xB5, "80 00 00 01 82 12 34 56")), reply(0));
}

TEST_F(ReaderWithAFile, forgets_that_its_code_was_presented) {
  start();
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 01 81 FF")), reply(0));
  EXPECT_EQ(exchange(request(0xB5, "80 00 00 01 82 FF FF FF")), reply(0));
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 01 85 01")), reply(0));
  stop();
  start();
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 01 85 02")), reply(test::status::code_required));
}

TEST_F(ReaderWithAFile, is_saved_before_the_reply) {
  start();
  EXPECT_THAT(test::content_of(file), StartsWith("# The memory of a virtual reader.\n"
                                                 "format = 1\nkind = \"reader\"\nmemory = '''\n"
                                                 "0000: FF FF"));
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 00 00 AB")), reply(0));
  EXPECT_THAT(test::content_of(file), HasSubstr("\n0000: AB FF"));
}

TEST_F(ReaderWithAFile, is_not_written_when_nothing_changed) {
  start();
  const auto stamp = stamp_of(file);
  EXPECT_EQ(exchange(request(0xB7, "80 00 00 00 00 00 01")), reply(0, "FF"));
  EXPECT_EQ(stamp_of(file), stamp);
}

TEST_F(ReaderWithAFile, says_when_it_cannot_be_saved) {
  start();
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 00 00 AB")), reply(test::status::image_not_saved));
  EXPECT_EQ(exchange(read_serial_number), reply(test::status::image_not_saved));
  std::filesystem::remove(file);
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 00 01 CD")), reply(0));
  EXPECT_THAT(test::content_of(file), HasSubstr("\n0000: AB CD"));
}

TEST_F(ReaderWithAFile, keeps_its_serial_number) {
  options.serial_number = "SOME-0123456789A";
  start();
  stop();
  start();
  stop();
  options.serial_number = Options().serial_number;
  start();
  EXPECT_EQ(exchange(read_serial_number),
            reply(0, "53 4F 4D 45 2D 30 31 32 33 34 35 36 37 38 39 41"));
  stop();
  options.serial_number = "SOME-OTHER-READE";
  EXPECT_EQ(complaint(), file.string() + ": the reader has another serial number");
}

TEST_F(ReaderWithAFile, keeps_the_speed_that_it_insists_on) {
  options.line_speed = 9600;
  start();
  served->host().set_speed(B9600);
  EXPECT_EQ(exchange(request(0xB1, "80 00 00 01 80 07")), reply(0));
  stop();
  start();
  EXPECT_EQ(served->bench().state().line_speed, 38400U);
  stop();
  options.line_speed = 0;
  start();
  EXPECT_EQ(served->bench().state().line_speed, 0U) << "any speed will do";
}

TEST_F(ReaderWithAFile, belongs_to_one_at_a_time) {
  start();
  EXPECT_THAT(complaint(), HasSubstr(file.string() + ": in use by another virtual reader"));
  stop();
  EXPECT_EQ(complaint(), "");
}

TEST_F(ReaderWithAFile, is_a_file_of_a_reader) {
  const auto complaint_about = [this](const std::string& content) {
    test::write_file(file, content);
    return complaint();
  };
  const std::string name = file.string();
  EXPECT_EQ(complaint_about(""), name + ": format is missing");
  EXPECT_THAT(complaint_about("nonsense"), StartsWith(name + ":1: "));
  EXPECT_EQ(complaint_about("format = 2\nkind = \"reader\"\nmemory = ''\n"),
            name + ":1: format must be 1");
  EXPECT_EQ(complaint_about("format = 1\nkind = \"4442\"\n"), name + ":2: kind must be \"reader\"");
  EXPECT_EQ(complaint_about("format = 1\nkind = \"reader\"\n"), name + ": memory is missing");
  EXPECT_THAT(complaint_about("format = 1\nkind = \"reader\"\nmemory = '''\n0000: FF\n'''\n"),
              HasSubstr("memory has 1 bytes"));
  EXPECT_THAT(test::content_of(file), ::testing::EndsWith("0000: FF\n'''\n"))
      << "what is refused stays as it is";
}

TEST_F(ReaderWithAFile, is_no_card) {
  start();
  stop();
  EXPECT_THROW(load_image(file), Error);
}

TEST_F(ReaderWithAFile, cannot_be_in_a_folder_that_is_not_there) {
  options.reader = folder.path() / "nowhere" / "reader.toml";
  EXPECT_THAT(complaint(), HasSubstr("No such file or directory"));
}

TEST_F(ReaderWithAFile, is_restored_with_a_snapshot) {
  start();
  served->bench().take_snapshot("a");
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 00 00 AB")), reply(0));
  served->bench().restore_snapshot("a");
  EXPECT_THAT(test::content_of(file), HasSubstr("\n0000: FF FF"));
}

}  // namespace
}  // namespace quorra::simulator
