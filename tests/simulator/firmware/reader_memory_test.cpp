// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/core.h>
#include <gtest/gtest.h>

#include <ostream>

#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using namespace test::status;
using test::Bytes;
using test::hex;
using test::reply;
using test::request;
using test::ServedBench;

class ReaderMemoryCommands : public ::testing::Test {
 protected:
  Bytes write(unsigned address, std::string_view bytes) {
    return reader.exchange(request(0xB6, fmt::format("80 0000 {:04X} {}", address, bytes)));
  }
  Bytes read(unsigned address, unsigned count) {
    return reader.exchange(request(0xB7, fmt::format("80 0000 {:04X} 00 {:02X}", address, count)));
  }
  Bytes present(std::string_view code) {
    return reader.exchange(request(0xB5, fmt::format("80 0000 0182 {}", code)));
  }
  Bytes set_speed(std::string_view speed_byte) {
    return reader.exchange(request(0xB1, fmt::format("80 00000000 {}", speed_byte)));
  }

  ServedBench reader;
};

TEST_F(ReaderMemoryCommands, answer_literal_frames) {
  EXPECT_EQ(reader.exchange(hex("AA B6 00 07 80 00 00 01 23 45 46 BA")), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange(hex("AA B7 00 07 80 00 00 01 23 00 02 BA")),
            hex("55 00 00 02 45 46 54"));
  EXPECT_EQ(reader.exchange(hex("AA B5 00 08 80 00 00 01 82 FF FF FF EB")), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange(hex("AA B1 00 06 80 00 00 00 00 05 98")), hex("55 00 00 00 55"));
}

TEST_F(ReaderMemoryCommands, keep_what_was_written) {
  EXPECT_EQ(write(0x0000, "11 22 33"), reply(0));
  EXPECT_EQ(write(0x017F, "44"), reply(0));
  EXPECT_EQ(read(0x0000, 4), reply(0, "11 22 33 FF"));
  EXPECT_EQ(read(0x017E, 2), reply(0, "FF 44"));
}

TEST_F(ReaderMemoryCommands, write_all_settings) {
  EXPECT_EQ(write(0x0180, "35 00 12 34 56 01 02 03 04"), reply(0));
  EXPECT_EQ(read(0x0180, 10), reply(0, "35 00 12 34 56 01 02 03 04 FF"));
}

struct WriteCase {
  unsigned address;
  std::size_t count;
  std::uint8_t status;
};

std::ostream& operator<<(std::ostream& stream, const WriteCase& tested) {
  return stream << fmt::format("{:04X}+{}", tested.address, tested.count);
}

class ReaderMemoryBounds : public ReaderMemoryCommands,
                           public ::testing::WithParamInterface<WriteCase> {};

TEST_P(ReaderMemoryBounds, hold) {
  const auto& [address, count, status] = GetParam();
  const Bytes before = read(0x0190, 16);
  EXPECT_EQ(write(address, to_hex(Bytes(count, 0x00))), reply(status));
  EXPECT_EQ(read(0x0190, 16), before);
  EXPECT_EQ(read(0x018F, 1), reply(0, address + count == 0x190 ? "00" : "FF"));
}

INSTANTIATE_TEST_SUITE_P(
    Writes, ReaderMemoryBounds,
    ::testing::Values(WriteCase{0x0000, 144, 0}, WriteCase{0x0189, 7, 0}, WriteCase{0x018F, 1, 0},
                      WriteCase{0x018F, 2, not_written}, WriteCase{0x0190, 1, not_written},
                      WriteCase{0x019F, 1, not_written}, WriteCase{0x019F, 2, out_of_range},
                      WriteCase{0x01A0, 1, out_of_range}, WriteCase{0xFFFF, 1, out_of_range}));

TEST_F(ReaderMemoryCommands, compare_the_code_of_a_new_reader) {
  EXPECT_EQ(present("FF FF FF"), reply(0));
  for (const auto* const wrong : {"FE FF FF", "FF FE FF", "FF FF FE"})
    EXPECT_EQ(present(wrong), reply(wrong_code));
}

TEST_F(ReaderMemoryCommands, compare_a_new_code) {
  EXPECT_EQ(write(0x0182, "12 34 56"), reply(0));
  EXPECT_EQ(present("FF FF FF"), reply(wrong_code));
  EXPECT_EQ(present("12 34 56"), reply(0));
}

TEST_F(ReaderMemoryCommands, know_one_code_only) {
  EXPECT_EQ(reader.exchange(request(0xB5, "80 0000 0183 FF FF FF")), reply(out_of_range));
  EXPECT_EQ(reader.exchange(request(0xB5, "80 0000 0082 FF FF FF")), reply(out_of_range));
}

TEST_F(ReaderMemoryCommands, lock_the_settings_in_the_security_mode) {
  EXPECT_EQ(write(0x0181, "FF"), reply(0));
  for (const unsigned address : {0x0180U, 0x0181U, 0x0184U, 0x0188U})
    EXPECT_EQ(write(address, "00"), reply(code_required)) << address;
  // Partly settings.
  EXPECT_EQ(write(0x017F, "00 00"), reply(code_required));
  EXPECT_EQ(write(0x0188, "00 00"), reply(code_required));
  EXPECT_EQ(set_speed("05"), reply(code_required));
  EXPECT_EQ(read(0x017F, 11), reply(0, "FF 04 FF FF FF FF 00 00 00 00 FF"));
  // The neighbours of the settings.
  EXPECT_EQ(write(0x017F, "01"), reply(0));
  EXPECT_EQ(write(0x0189, "02"), reply(0));
}

TEST_F(ReaderMemoryCommands, unlock_the_settings_for_the_code) {
  EXPECT_EQ(write(0x0181, "FF"), reply(0));
  EXPECT_EQ(present("00 FF FF"), reply(wrong_code));
  EXPECT_EQ(write(0x0185, "01"), reply(code_required));
  EXPECT_EQ(present("FF FF FF"), reply(0));
  EXPECT_EQ(write(0x0185, "01"), reply(0));
  EXPECT_EQ(set_speed("03"), reply(0));
  EXPECT_EQ(present("00 FF FF"), reply(wrong_code));
  EXPECT_EQ(write(0x0185, "02"), reply(code_required));
  EXPECT_EQ(read(0x0185, 1), reply(0, "01"));
}

TEST_F(ReaderMemoryCommands, take_other_modes_than_FF_for_off) {
  EXPECT_EQ(write(0x0181, "FE"), reply(0));
  EXPECT_EQ(write(0x0185, "01"), reply(0));
}

TEST_F(ReaderMemoryCommands, accept_the_code_before_the_security_mode_is_on) {
  EXPECT_EQ(present("FF FF FF"), reply(0));
  EXPECT_EQ(write(0x0181, "FF"), reply(0));
  EXPECT_EQ(write(0x0181, "00"), reply(0));
}

TEST_F(ReaderMemoryCommands, store_the_speed_byte) {
  for (const auto* const speed_byte : {"01", "02", "03", "04", "05", "07", "35", "F7"}) {
    EXPECT_EQ(set_speed(speed_byte), reply(0)) << speed_byte;
    EXPECT_EQ(read(0x0180, 1), reply(0, speed_byte));
  }
  for (const auto* const speed_byte : {"00", "06", "08", "0F", "36"})
    EXPECT_EQ(set_speed(speed_byte), reply(out_of_range)) << speed_byte;
  EXPECT_EQ(read(0x0180, 1), reply(0, "F7"));
}

TEST_F(ReaderMemoryCommands, take_bodies_of_the_right_length_only) {
  EXPECT_EQ(reader.exchange(request(0xB6, "80 00 00 00 00")), reply(wrong_body_length));
  for (const auto* const body : {"80 00 00 01 82 FF FF", "80 00 00 01 82 FF FF FF FF"})
    EXPECT_EQ(reader.exchange(request(0xB5, body)), reply(wrong_body_length));
  for (const auto* const body : {"80 00 00 00 00", "80 00 00 00 00 04 04"})
    EXPECT_EQ(reader.exchange(request(0xB1, body)), reply(wrong_body_length));
}

}  // namespace
}  // namespace quorra::simulator
