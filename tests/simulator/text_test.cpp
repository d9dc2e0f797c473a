// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorra::simulator {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

TEST(Text, writes_bytes_in_hexadecimal) {
  const std::vector<std::uint8_t> bytes{0x00, 0x0A, 0xFF};
  EXPECT_EQ(to_hex(bytes), "00 0A FF");
  EXPECT_EQ(to_hex({}), "");
}

TEST(Text, reads_bytes_with_and_without_blanks) {
  EXPECT_THAT(parse_hex("00 0a fF"), Optional(ElementsAre(0x00, 0x0A, 0xFF)));
  EXPECT_THAT(parse_hex("000AFF"), Optional(ElementsAre(0x00, 0x0A, 0xFF)));
  EXPECT_THAT(parse_hex(""), Optional(IsEmpty()));
}

TEST(Text, refuses_what_are_no_pairs_of_digits) {
  for (const auto* const text : {"0", "0 0", "0g", "g0", "0x00", "00,00", "00\t00", "-1"})
    EXPECT_EQ(parse_hex(text), std::nullopt) << text;
}

TEST(Text, reads_numbers_in_two_bases) {
  EXPECT_THAT(parse_number("31"), Optional(31U));
  EXPECT_THAT(parse_number("0x1F"), Optional(31U));
  for (const auto* const text : {"", "0x", "1F", "-1", "+1", " 1", "1 ", "99999999999999999999"})
    EXPECT_EQ(parse_number(text), std::nullopt) << text;
}

TEST(Text, reads_ranges_of_addresses) {
  const auto single = parse_address_range("0x15");
  ASSERT_TRUE(single);
  EXPECT_EQ(single->first, 0x15U);
  EXPECT_EQ(single->last, 0x15U);
  const auto range = parse_address_range("3-0x10");
  ASSERT_TRUE(range);
  EXPECT_EQ(range->first, 3U);
  EXPECT_EQ(range->last, 16U);
  for (const auto* const text : {"", "-", "1-", "-1", "2-1", "1-2-3", "a"})
    EXPECT_FALSE(parse_address_range(text)) << text;
}

TEST(Text, dumps_sixteen_bytes_to_a_line) {
  std::vector<std::uint8_t> bytes(17, 0x41);
  bytes[1] = 0x07;
  EXPECT_EQ(hex_dump(bytes, false),
            "0000: 41 07 41 41 41 41 41 41 41 41 41 41 41 41 41 41\n"
            "0010: 41\n");
  EXPECT_EQ(hex_dump(bytes, true),
            "0000: 41 07 41 41 41 41 41 41 41 41 41 41 41 41 41 41  A.AAAAAAAAAAAAAA\n"
            "0010: 41                                               A\n");
}

TEST(Text, knows_where_a_byte_is_in_a_dump) {
  std::vector<std::uint8_t> bytes(1021, 0x00);
  for (const std::size_t address : {std::size_t{0}, std::size_t{1}, std::size_t{15},
                                    std::size_t{16}, std::size_t{527}, std::size_t{1020}}) {
    bytes[address] = 0xA5;
    EXPECT_EQ(place_in_hex_dump(address), hex_dump(bytes, false).find("A5")) << address;
    bytes[address] = 0x00;
  }
}

TEST(Text, becomes_one_line) { EXPECT_EQ(on_one_line("a\nb\tc\r"), "a b c "); }

}  // namespace
}  // namespace quorra::simulator
