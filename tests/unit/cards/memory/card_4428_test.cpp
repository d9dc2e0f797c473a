// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <climits>

#include "tests/support/operation.hpp"

namespace quorra::testing {
namespace {

class Card4428 : public ::testing::TestWithParam<Mode> {};

INSTANTIATE_TEST_SUITE_P(, Card4428, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

const Bytes code = hex("12 34");
const Bytes done = hex("55 00 00 00 55");

TEST_P(Card4428, HasItsCodePresented) {
  const Operation operation{"csc_4428",
                            [](int handle) { return csc_4428(handle, 2, code.data()); },
                            {{hex("AA 64 00 07 77 00 00 00 00 12 34 98"), done}}};
  expect_result(operation, GetParam(), 0);
  expect_failures(operation, GetParam());
}

TEST_P(Card4428, HasItsCodeWrittenLikeData) {
  const Operation operation{"wsc_4428",
                            [](int handle) { return wsc_4428(handle, 2, code.data()); },
                            {{hex("AA 60 00 07 77 00 00 03 FE 12 34 61"), done}}};
  expect_result(operation, GetParam(), 0);
  expect_failures(operation, GetParam());
}

TEST_P(Card4428, HasItsCodeReadLikeData) {
  Bytes buffer(3, 0xEE);
  const Operation operation{
      "rsc_4428",
      [&](int handle) { return rsc_4428(handle, 2, buffer.data()); },
      {{hex("AA 61 00 07 77 00 00 03 FE 00 02 44"), sealed("55 00 00 02 12 34")}}};
  expect_result(operation, GetParam(), 0);
  EXPECT_EQ(buffer, hex("12 34 EE"));
  buffer.assign(3, 0xEE);
  expect_failures(operation, GetParam());
  EXPECT_EQ(buffer, hex("EE EE EE"));
}

TEST(Code4428, HasTwoBytes) {
  Bytes buffer(8);
  for (const int length : {3, 1, 0, -2, 258, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(length);
    expect_refusal(-143, [&](int handle) { return csc_4428(handle, length, buffer.data()); });
    expect_refusal(-143, [&](int handle) { return wsc_4428(handle, length, buffer.data()); });
    expect_refusal(-143, [&](int handle) { return rsc_4428(handle, length, buffer.data()); });
  }
  expect_refusal(-143, [](int handle) { return csc_4428(handle, 2, nullptr); });
  expect_refusal(-143, [](int handle) { return wsc_4428(handle, 2, nullptr); });
  expect_refusal(-143, [](int handle) { return rsc_4428(handle, 2, nullptr); });
}

Operation counting_bits(int* counter, const Bytes& data) {
  return {"rsct_4428",
          [=](int handle) { return rsct_4428(handle, counter); },
          {{hex("AA 67 00 07 77 00 00 00 00 00 01 BC"), reply(0, data)}}};
}

TEST_P(Card4428, CountsTheBitsOfItsErrorCounter) {
  int counter = 4711;
  for (int byte = 0; byte < 256; ++byte) {
    int bits = 0;
    for (int bit = 0; bit < 8; ++bit)
      bits += (byte >> bit) & 1;
    expect_result(counting_bits(&counter, {static_cast<unsigned char>(byte), 0xFF}), GetParam(), 0);
    EXPECT_EQ(counter, bits) << byte;
  }
  counter = 4711;
  expect_failures(counting_bits(&counter, hex("FF")), GetParam());
  EXPECT_EQ(counter, 4711);
  expect_refusal(-143, [](int handle) { return rsct_4428(handle, nullptr); });
}

TEST_P(Card4428, IsKnownByItsFirstFourBytes) {
  const auto probe_of = [](const Bytes& data) {
    return Operation{
        "chk_4428", chk_4428, {{hex("AA 61 00 07 77 00 00 00 00 00 04 BF"), reply(0, data)}}};
  };
  expect_result(probe_of(hex("92 23 10 91")), GetParam(), 0);
  for (const char* other :
       {"93 23 10 91", "92 22 10 91", "92 23 11 91", "92 23 10 90", "FF FF FF FF", "A2 13 10 91"}) {
    expect_result(probe_of(hex(other)), GetParam(), -133);
  }
  expect_short_replies(probe_of(hex("92 23 10 91")), GetParam(), 0, -133);
  expect_failures(probe_of(hex("92 23 10 91")), GetParam());
}

TEST(Card4418, IsAlwaysTakenToBeThere) {
  expect_refusal(0, chk_4418);
  EXPECT_EQ(chk_4418(-1), 0);
}

}  // namespace
}  // namespace quorra::testing
