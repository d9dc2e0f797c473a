// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <string>

#include "tests/support/card_slot.hpp"

namespace quorra::testing {
namespace {

class Sam : public ::testing::TestWithParam<Mode> {
 protected:
  Output output;
};

INSTANTIATE_TEST_SUITE_P(, Sam, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

struct Control {
  const char* name;
  int (*call)(int handle);
  const char* request;
};

constexpr Control controls[] = {
    {"sam_power_on", sam_power_on, "AA B2 00 05 21 00 00 00 00 3C"},
    {"sam_power_down", sam_power_down, "AA B3 00 05 21 00 00 00 00 3D"},
    {"sam_select 0", [](int h) { return sam_select(h, 0); }, "AA 23 00 06 21 00 00 00 00 00 AE"},
    {"sam_select 1", [](int h) { return sam_select(h, 1); }, "AA 23 00 06 21 00 00 00 00 01 AF"},
    {"sam_select 255", [](int h) { return sam_select(h, 255); },
     "AA 23 00 06 21 00 00 00 00 FF 51"},
};

TEST_P(Sam, IsPoweredAndSelectedWithOneAttempt) {
  for (const Control& control : controls) {
    const Operation operation{
        control.name, control.call, {{hex(control.request), hex("55 00 00 00 55")}}};
    expect_result(operation, GetParam(), 0);
    expect_failures(operation, GetParam());
  }
}

TEST_P(Sam, IsReset) {
  int length = 4711;
  const auto resetting = [&](const Bytes& answer) {
    return Operation{"sam_reset",
                     [&](int handle) {
                       length = 4711;
                       const int result = sam_reset(handle, &length, output.data());
                       if (result != 0) {
                         EXPECT_EQ(length, 0) << "after a failure";
                       }
                       return result;
                     },
                     {{hex("AA 20 00 05 21 00 00 00 00 AE"), answer}}};
  };
  expect_result(resetting(sealed("55 00 00 04 3B 02 14 50")), GetParam(), 0);
  EXPECT_EQ(length, 4);
  output.expect(hex("3B 02 14 50"));
  expect_result(resetting(reply(0, {})), GetParam(), 0);
  EXPECT_EQ(length, 0);
  output.expect({});
  expect_result(resetting(reply(0, counting(255))), GetParam(), 0);
  EXPECT_EQ(length, 255);
  output.expect(counting(255));
  // Its length has one byte only.
  expect_result(resetting(sealed("55 00 01 02 3B 65")), GetParam(), 0);
  EXPECT_EQ(length, 2);
  output.expect(hex("3B 65"));

  expect_failures(resetting(sealed("55 00 00 04 3B 02 14 50")), GetParam());
  output.expect({});
}

TEST(SamReset, NeedsItsPointers) {
  Output output;
  int length = 4711;
  expect_refusal(-143, [&](int handle) { return sam_reset(handle, nullptr, output.data()); });
  expect_refusal(-143, [&](int handle) { return sam_reset(handle, &length, nullptr); });
  EXPECT_EQ(length, 0);
  output.expect({});
}

TEST_P(Sam, IsSentACommandInALiteralFrame) {
  // The check byte does not cover the command.
  expect_result(speaking(sam_comres, hex("00 84 00 00 08"), output,
                         {{hex("AA 21 80 0A 21 00 00 00 00 00 84 00 00 08 20"),
                           sealed("55 00 00 04 12 34 90 00")}}),
                GetParam(), 0);
  output.expect(hex("12 34 90 00"));
}

TEST_P(Sam, IsSentBlocksInLiteralFrames) {
  // The check byte of the first frame covers the block, whose LRC is wrong; the one of the second
  // does not.
  expect_result(speaking(sam_protocol, hex("00 00 05 00 B0 00 00 10 11"), output,
                         {{hex("AA 21 80 0E 21 00 00 00 00 00 00 05 00 B0 00 00 10 11 90"),
                           sealed("55 00 00 08 00 00 04 AB CD 61 10 77")},
                          {hex("AA 21 80 0E 21 00 00 00 00 00 40 05 00 C0 00 00 10 95 24"),
                           hex("55 00 00 07 00 40 03 EF 90 00 3C 52")}}),
                GetParam(), 0);
  output.expect(hex("00 40 05 AB CD EF 90 00 3C 52 FF FF"));
}

const Bytes last_answer = answer_of(0x00, 0x40, hex("EF 90 00"));
const Bytes last_block = block_of(0x00, 0x40, hex("EF 90 00"));
const Bytes behind_last = Bytes{last_answer.back()} + hex("FF FF");

TEST_P(Sam, IsSentABlockAgainWithItsLengthPutRight) {
  // The information of the answer in between is lost.
  expect_result(
      speaking(sam_protocol, hex("00 00 05 00 B0 00 00 10 A5"), output,
               {{hex("AA 21 80 0E 21 00 00 00 00 00 00 05 00 B0 00 00 10 A5 24"),
                 answer_of(0x00, 0x00, hex("AB CD 6C 20"))},
                {hex("AA 21 80 0E 21 00 00 00 00 00 40 05 00 B0 00 00 20 D5 24"), last_answer}}),
      GetParam(), 0);
  output.expect(last_block + behind_last);
}

Bytes first_request(const Bytes& block) { return card_request(sam_slot, block, Covered::all); }

Bytes later_request(const Bytes& block) {
  return card_request(sam_slot, block, Covered::first_nine);
}

Bytes length_answer(unsigned char length) {
  return answer_of(0x77, 0x33, hex("6C") + Bytes{length});
}

struct SentAgain {
  Bytes block;  // its last byte is a wrong LRC
  Bytes again;
};

const std::vector<SentAgain>& blocks_sent_again() {
  static const std::vector<SentAgain> rows = {
      // In a block of two or three bytes, the length takes the place of NAD or PCB.
      {hex("5A 00"), hex("20 20")},
      {hex("5A 00 11"), hex("5A 20 7A")},
      {hex("5A 00 01 11"), hex("5A 40 20 3A")},
      {hex("5A 01 01 11"), hex("5A 00 20 7A")},
      {hex("5A 00 01 10 11"), hex("5A 40 01 20 3B")},
      {hex("5A 40 05 00 B0 00 00 10 11"), hex("5A 00 05 00 B0 00 00 20 CF")},
      {hex("00 00 24") + counting(36, 0x80) + hex("11"),
       sealed(hex("00 40 24") + counting(35, 0x80) + hex("20"))},
      {hex("00 00 FF") + counting(296, 0x80) + hex("11"),
       sealed(hex("00 40 FF") + counting(295, 0x80) + hex("20"))},
  };
  return rows;
}

TEST_P(Sam, IsSentABlockOfAnySizeAgain) {
  for (const SentAgain& row : blocks_sent_again()) {
    SCOPED_TRACE(to_hex(row.block));
    const Exchange first = {first_request(row.block), length_answer(0x20)};
    expect_result(
        speaking(sam_protocol, row.block, output, {first, {later_request(row.again), last_answer}}),
        GetParam(), 0);
    output.expect(last_block + behind_last);

    // Twice in a row, with another length first.
    Bytes other = row.again;
    other[other.size() - 2] = 0x60;
    other.pop_back();
    other = sealed(other);
    expect_result(speaking(sam_protocol, row.block, output,
                           {{first_request(row.block), length_answer(0x60)},
                            {later_request(other), length_answer(0x20)},
                            {later_request(row.again), last_answer}}),
                  GetParam(), 0);
    output.expect(last_block + behind_last);
  }
}

TEST_P(Sam, IsSentAGetResponseAgainWithTheCallersInformation) {
  // The bytes 2 to 6 are those of the caller, as far as he gave them; NAD 0 if he gave none.
  const struct {
    Bytes block;
    const char* again;
  } rows[] = {
      {{}, "00 40 05 00 C0 00 00 20 A5"},
      {hex("5A"), "5A 40 05 00 C0 00 00 20 FF"},
      {hex("5A 40"), "5A 00 05 00 C0 00 00 20 BF"},
      {hex("5A 00 11"), "5A 40 11 00 C0 00 00 20 EB"},
      {hex("5A 00 11 22"), "5A 40 11 22 C0 00 00 20 C9"},
      {hex("5A 00 11 22 33"), "5A 40 11 22 33 00 00 20 3A"},
      {hex("5A 00 11 22 33 44"), "5A 40 11 22 33 44 00 20 7E"},
      {hex("5A 00 11 22 33 44 55"), "5A 40 11 22 33 44 55 20 2B"},
      {hex("5A 00 11 22 33 44 55 66 77"), "5A 40 11 22 33 44 55 20 2B"},
      {hex("5A 00 11 22 33 44 55") + counting(13, 0x80), "5A 40 11 22 33 44 55 20 2B"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(to_hex(row.block));
    const Bytes again = hex(row.again);
    const Bytes next = get_response(sam_slot, again[0], again[1], 0x10);
    expect_result(speaking(sam_protocol, row.block, output,
                           {{first_request(row.block), answer_of(0, 0, hex("AB 61 10"))},
                            {next, length_answer(0x20)},
                            {later_request(again), last_answer}}),
                  GetParam(), 0);
    output.expect(hex("00 40 04 AB") + hex("EF 90 00") +
                  Bytes{last_block.back(), last_answer.back()} + hex("FF FF"));

    // Then a get-response is one again.
    expect_result(
        speaking(sam_protocol, row.block, output,
                 {{first_request(row.block), answer_of(0, 0, hex("AB 61 10"))},
                  {next, length_answer(0x30)},
                  {later_request(sealed(Bytes(again.begin(), again.begin() + 7) + hex("30"))),
                   length_answer(0x20)},
                  {later_request(again), answer_of(0, 0, hex("61 10"))},
                  {next, last_answer}}),
        GetParam(), 0);
    output.expect(hex("00 40 04 AB") + hex("EF 90 00") +
                  Bytes{last_block.back(), last_answer.back()} + hex("FF FF"));
  }
}

TEST_P(Sam, GivesTheAnswerWhereABlockHasNoLengthToPutRight) {
  const Bytes answer = answer_of(0x21, 0x40, hex("AB 6C 20"));
  for (const Bytes& block : {Bytes{}, hex("5A")}) {
    expect_result(speaking(sam_protocol, block, output, {{first_request(block), answer}}),
                  GetParam(), 0);
    output.expect(block_of(0x21, 0x40, hex("AB 6C 20")) + Bytes{answer.back()} + hex("FF FF"));
  }
}

TEST_P(Sam, HasThreeAttemptsInAll) {
  const Bytes block = hex("00 40 05 00 B0 00 00 10 11");
  const Bytes first = first_request(block);
  const Bytes next = get_response(sam_slot, 0x00, 0x00, 0x02);
  const Bytes again = later_request(hex("00 00 05 00 B0 00 00 20 95"));
  const Exchange more = {first, answer_of(0, 0, hex("01 61 02"))};
  const Exchange other_length = {next, answer_of(0, 0, hex("02 6C 20"))};
  const Exchange last = {again, last_answer};
  const Bytes written =
      hex("00 40 04 01 EF 90 00") + Bytes{last_block.back(), last_answer.back()} + hex("FF FF");
  for (const FailedAttempt& way : ways_to_fail()) {
    SCOPED_TRACE(way.name);
    const Exchange no_first = way.of(first);
    const Exchange no_next = way.of(next);
    const Exchange no_again = way.of(again);
    const std::vector<Exchange> good[] = {
        {no_first, no_first, more, other_length, last},
        {no_first, more, no_next, other_length, last},
        {more, no_next, no_next, other_length, last},
        {more, no_next, other_length, no_again, last},
    };
    for (const auto& exchanges : good) {
      expect_result(speaking(sam_protocol, block, output, exchanges), GetParam(), 0);
      output.expect(written);
    }
    const std::vector<Exchange> bad[] = {
        {no_first, no_first, more, no_next},
        {no_first, more, no_next, no_next},
        {no_first, no_first, more, other_length, no_again},
        {no_first, more, no_next, other_length, no_again},
        {more, other_length, no_again, no_again, no_again},
    };
    for (const auto& exchanges : bad) {
      expect_result(speaking(sam_protocol, block, output, exchanges), GetParam(), way.code);
      output.expect(Bytes(3, untouched) + hex("01"));
    }
  }
}

}  // namespace
}  // namespace quorra::testing
