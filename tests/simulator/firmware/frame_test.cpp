// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/frame.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using ::testing::ElementsAreArray;
using Result = RequestParser::Result;

// Pushes all bytes but the last, none of which may end a request, and returns the last result.
Result push_all(RequestParser& parser, const Bytes& bytes) {
  for (std::size_t i = 0; i + 1 < bytes.size(); ++i)
    EXPECT_EQ(parser.push(bytes[i]), Result::incomplete) << "byte " << i;
  return parser.push(bytes.back());
}

TEST(RequestParser, finds_the_parts_of_a_request) {
  RequestParser parser;
  EXPECT_EQ(push_all(parser, hex("AA B0 00 07 80 00 00 00 00 00 0A 97")), Result::complete);
  const Request request = parser.request();
  EXPECT_EQ(request.command, 0xB0);
  EXPECT_EQ(request.flag, 0x00);
  EXPECT_THAT(request.body, ElementsAreArray(hex("80 00 00 00 00 00 0A")));
  EXPECT_EQ(request.card_type(), 0x80);
  EXPECT_EQ(request.count(), 0x0AU);
  EXPECT_THAT(parser.frame(), ElementsAreArray(hex("AA B0 00 07 80 00 00 00 00 00 0A 97")));
}

TEST(RequestParser, finds_address_and_data) {
  RequestParser parser;
  EXPECT_EQ(push_all(parser, hex("AA 60 00 07 79 00 00 01 02 A5 5A 48")), Result::complete);
  EXPECT_EQ(parser.request().address(), 0x0102U);
  EXPECT_THAT(parser.request().data(), ElementsAreArray(hex("A5 5A")));
}

TEST(RequestParser, takes_a_request_without_body_and_the_longest_one) {
  RequestParser parser;
  EXPECT_EQ(push_all(parser, hex("AA B0 00 00 1A")), Result::complete);
  EXPECT_TRUE(parser.request().body.empty());

  Bytes longest = hex("AA 60 00 FF");
  longest.resize(4 + 255, 0x11);
  // 255 times 0x11, an odd number of times, leaves 0x11.
  longest.push_back(0xAA ^ 0x60 ^ 0xFF ^ 0x11);
  EXPECT_EQ(push_all(parser, longest), Result::complete);
  EXPECT_EQ(parser.request().body.size(), 255U);
}

TEST(RequestParser, skips_what_comes_before_the_start) {
  RequestParser parser;
  EXPECT_EQ(push_all(parser, hex("00 55 FF AA B0 00 00 1A")), Result::complete);
}

TEST(RequestParser, notices_a_wrong_check_byte_and_goes_on) {
  RequestParser parser;
  EXPECT_EQ(push_all(parser, hex("AA B0 00 00 1B")), Result::wrong_check_byte);
  EXPECT_EQ(push_all(parser, hex("AA B0 00 00 1A")), Result::complete);
  EXPECT_EQ(push_all(parser, hex("AA B9 00 00 13")), Result::complete);
  EXPECT_EQ(parser.request().command, 0xB9);
}

TEST(RequestParser, knows_how_far_it_is) {
  RequestParser parser;
  EXPECT_FALSE(parser.has_begun());
  for (const std::uint8_t byte : hex("AA B0 00 01"))
    EXPECT_EQ(parser.push(byte), Result::incomplete);
  EXPECT_TRUE(parser.has_begun());
  EXPECT_FALSE(parser.awaits_check_byte());
  EXPECT_EQ(parser.push(0x80), Result::incomplete);
  EXPECT_TRUE(parser.awaits_check_byte());
  EXPECT_EQ(parser.push(0x9B), Result::complete);
  EXPECT_FALSE(parser.awaits_check_byte());
  EXPECT_FALSE(parser.has_begun());
}

TEST(RequestParser, forgets_on_demand) {
  RequestParser parser;
  EXPECT_EQ(parser.push(0xAA), Result::incomplete);
  parser.reset();
  EXPECT_FALSE(parser.has_begun());
  EXPECT_EQ(push_all(parser, hex("AA B0 00 00 1A")), Result::complete);
}

TEST(Reply, carries_status_and_data) {
  Reply reply;
  reply.append(hex("01 02"));
  reply.append(std::uint8_t{0x03});
  EXPECT_THAT(reply.finish(0), ElementsAreArray(hex("55 00 00 03 01 02 03 56")));
}

TEST(Reply, has_no_data_unless_it_is_a_success) {
  Reply reply;
  reply.append(hex("01 02"));
  EXPECT_THAT(reply.finish(0x21), ElementsAreArray(hex("55 21 00 00 74")));
}

TEST(Reply, has_room_for_255_bytes) {
  Reply reply;
  for (std::uint8_t& byte : reply.extend(255))
    byte = 0xFF;
  const auto frame = reply.finish(0);
  ASSERT_EQ(frame.size(), 260U);
  EXPECT_EQ(frame[3], 0xFF);
  EXPECT_EQ(frame.back(), 0x55 ^ 0xFF ^ 0xFF);
}

}  // namespace
}  // namespace quorra::simulator
