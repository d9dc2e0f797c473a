// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <random>

#include "simulator/cards/kinds.hpp"
#include "simulator/firmware/firmware.hpp"
#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using namespace test::status;
using test::BenchWithCard;
using test::Bytes;
using test::hex;
using test::reply;

TEST(ReaderWith24c, answers_literal_frames_with_literal_frames) {
  BenchWithCard reader("24c02");
  EXPECT_EQ(reader.exchange("AA 61 00 07 61 00 00 00 FE 00 02 51"), hex("55 00 00 02 FE FF 56"));
  EXPECT_EQ(reader.exchange("AA 62 00 07 61 00 00 00 06 11 22 9B"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 61 00 07 61 00 00 00 05 00 04 AC"),
            hex("55 00 00 04 05 11 22 08 6F"));
}

struct TypeCase {
  const char* kind;
  const char* type;
  std::size_t size;
};

std::ostream& operator<<(std::ostream& stream, const TypeCase& tested) {
  return stream << tested.kind;
}

class Type24c : public ::testing::TestWithParam<TypeCase> {
 protected:
  static std::string body(std::size_t address, std::string_view rest) {
    return fmt::format("{} 00 00 {:04X} {}", GetParam().type, address, rest);
  }
  Bytes read(std::size_t address, std::size_t count) {
    return reader.exchange(0x61, body(address, fmt::format("00 {:02X}", count)));
  }
  Bytes write(std::size_t address, const Bytes& data) {
    return reader.exchange(0x62, body(address, to_hex(data)));
  }

  BenchWithCard reader{GetParam().kind};
};

INSTANTIATE_TEST_SUITE_P(
    All, Type24c,
    ::testing::Values(TypeCase{"24c01a", "60", 128}, TypeCase{"24c02", "61", 256},
                      TypeCase{"24c04", "62", 512}, TypeCase{"24c08", "62", 1024},
                      TypeCase{"24c16", "64", 2048}, TypeCase{"24c32", "65", 4096},
                      TypeCase{"24c64", "66", 8192}),
    [](const auto& tested) { return tested.param.kind; });

TEST_P(Type24c, is_a_plain_array_for_the_right_type) {
  const std::size_t size = GetParam().size;
  std::mt19937 random(static_cast<unsigned>(size));
  Bytes expected = reader.stored();
  for (int operation = 0; operation < 150; ++operation) {
    const std::size_t address = random() % size;
    const std::size_t count = 1 + random() % std::min<std::size_t>(size - address, 144);
    if (random() % 2 == 0) {
      const auto data = std::span(expected).subspan(address, count);
      ASSERT_EQ(read(address, count), reply(0, to_hex(data))) << address << ' ' << count;
    } else {
      Bytes data(count);
      for (std::uint8_t& byte : data)
        byte = static_cast<std::uint8_t>(random());
      ASSERT_EQ(write(address, data), reply(0)) << address << ' ' << count;
      std::ranges::copy(data, expected.begin() + static_cast<std::ptrdiff_t>(address));
    }
  }
  EXPECT_EQ(reader.stored(), expected);
}

TEST_P(Type24c, takes_the_longest_requests) {
  const std::size_t count = std::min<std::size_t>(GetParam().size, 250);
  const Bytes data(count, 0x5A);
  EXPECT_EQ(write(0, data), reply(0));
  EXPECT_EQ(read(0, count), reply(0, to_hex(data)));
}

TEST_P(Type24c, reaches_no_address_beyond_its_size) {
  const bool is_shared_with_a_larger_card = GetParam().kind == std::string_view("24c04");
  const std::size_t size = is_shared_with_a_larger_card ? 1024 : GetParam().size;
  const Bytes before = reader.stored();
  EXPECT_EQ(read(size - 1, 2), reply(out_of_range));
  EXPECT_EQ(read(size, 1), reply(out_of_range));
  EXPECT_EQ(read(0, 0), reply(out_of_range));
  EXPECT_EQ(write(size - 1, {1, 2}), reply(out_of_range));
  EXPECT_EQ(write(size, {1}), reply(out_of_range));
  EXPECT_EQ(reader.stored(), before);
  EXPECT_EQ(read(size - 1, 1).size(), 6U);
}

TEST_P(Type24c, has_no_other_commands) {
  EXPECT_EQ(reader.exchange(0x60, body(0, "00")), reply(unknown_card_type));
  EXPECT_EQ(reader.exchange(0x78, body(0, "")), reply(unknown_card_type));
}

TEST_P(Type24c, needs_a_card_that_acknowledges) {
  for (const auto* const kind : {"4442", "93c46a", "93c66"}) {
    BenchWithCard other(kind);
    const Bytes before = other.stored();
    EXPECT_EQ(other.exchange(0x61, body(0, "00 01")), reply(no_answer)) << kind;
    EXPECT_EQ(other.exchange(0x62, body(0, "55")), reply(no_answer)) << kind;
    EXPECT_EQ(other.stored(), before);
  }
}

// 40 bytes from address 4: the middle one is byte 20. Its page was being programmed.
TEST_P(Type24c, leaves_a_page_erased_when_the_card_is_pulled_out) {
  const std::size_t page = GetParam().size <= 256 ? 8 : GetParam().size <= 2048 ? 16 : 32;
  Bytes expected = reader.stored();
  const std::size_t begin = 24 / page * page;
  for (std::size_t address = 4; address < 44; ++address) {
    if (address < begin) expected[address] = 0x77;
    if (address >= begin && address < begin + page) expected[address] = 0xFF;
  }
  reader.pull_card();
  EXPECT_EQ(write(4, Bytes(40, 0x77)), reply(no_card));
  EXPECT_EQ(reader.stored(), expected);
}

TEST(ReaderWith24c, cuts_at_the_pages_of_the_type_in_the_request) {
  BenchWithCard reader("24c02");
  Bytes expected = reader.stored();
  // The page of this type is 16 bytes, that of the card 8: the second half hits the first.
  EXPECT_EQ(reader.exchange(0x62, "62 00 00 00 10 A0 A1 A2 A3 A4 A5 A6 A7 B0 B1 B2 B3 B4 B5 B6 B7"),
            reply(0));
  std::ranges::copy(hex("B0 B1 B2 B3 B4 B5 B6 B7"), expected.begin() + 0x10);
  EXPECT_EQ(reader.stored(), expected);
}

TEST(ReaderWith24c, reaches_one_cell_by_many_addresses_of_a_type_that_is_too_large) {
  BenchWithCard c01a("24c01a");
  EXPECT_EQ(c01a.exchange(0x61, "61 00 00 00 FE 00 01"), reply(0, "7E"));
  BenchWithCard c02("24c02");
  EXPECT_EQ(c02.exchange(0x61, "62 00 00 03 45 00 01"), reply(0, "45"));
  BenchWithCard c32("24c32");
  EXPECT_EQ(c32.exchange(0x62, "66 00 00 1F FF 5A"), reply(0));
  EXPECT_EQ(c32.exchange(0x61, "65 00 00 0F FF 00 01"), reply(0, "5A"));
}

// The chip takes the upper address byte for its address, and the lower one for data.
TEST(ReaderWith24c, reaches_a_cell_behind_the_upper_address_byte_of_a_type_that_is_too_large) {
  BenchWithCard reader("24c16");
  Bytes expected = reader.stored();
  EXPECT_EQ(reader.exchange(0x61, "65 00 00 0F FF 00 01"), reply(0, "00"));
  EXPECT_EQ(reader.exchange(0x61, "65 00 00 0F 00 00 01"), reply(0, "00"));
  EXPECT_EQ(reader.stored(), expected) << "reading stores nothing";
  EXPECT_EQ(reader.exchange(0x62, "65 00 00 0F FF 5A"), reply(0));
  EXPECT_EQ(reader.exchange(0x61, "65 00 00 0F 00 00 01"), reply(0, "5A"));
  expected[0x0F] = 0xFF;
  expected[0x00] = 0x5A;
  EXPECT_EQ(reader.stored(), expected);
}

TEST(ReaderWith24c, gets_no_answer_for_a_block_of_a_card_with_two_address_bytes) {
  BenchWithCard reader("24c32");
  EXPECT_EQ(reader.exchange(0x61, "64 00 00 01 00 00 01"), reply(no_answer));
  EXPECT_EQ(reader.exchange(0x61, "64 00 00 00 12 00 01").size(), 6U);
}

TEST(ReaderWith24c, writes_nothing_to_a_card_that_has_more_address_bytes_than_the_type) {
  BenchWithCard reader("24c32");
  const Bytes before = reader.stored();
  EXPECT_EQ(reader.exchange(0x62, "61 00 00 00 12 55"), reply(0));
  EXPECT_EQ(reader.stored(), before);
}

// Acknowledges everything until a stop condition, and then nothing any more.
class StuckChip final : public Chip {
 public:
  StuckChip() : Chip(Image(find_kind("24c02"))) {}
  void contacts_changed(const Contacts& before, const Contacts& now) override {
    if (now.clk && before.clk && now.io && !before.io) ++stop_conditions_;
    pull_io_low(now.vcc && now.io && stop_conditions_ == 0);
  }
  int stop_conditions() const { return stop_conditions_; }

 private:
  int stop_conditions_ = 0;
};

TEST(Firmware24c, gives_up_on_a_card_that_stays_busy) {
  Reader reader;
  StuckChip chip;
  reader.slot.insert(chip);
  Reply answer;
  const Bytes body = hex("61 00 00 00 20 01");
  EXPECT_EQ(execute(reader, {.command = 0x62, .flag = 0, .body = body}, answer), Status::no_answer);
  EXPECT_EQ(chip.stop_conditions(), 1 + 200);
}

}  // namespace
}  // namespace quorra::simulator
