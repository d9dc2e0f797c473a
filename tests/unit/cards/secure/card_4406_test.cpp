// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <climits>

#include "tests/support/memory_function.hpp"
#include "tests/support/security_function.hpp"

namespace quorra::testing {
namespace {

TEST(Card4406, IsReadAndWritten) {
  expect_memory_function(reads("srd_4406", srd_4406, 0x7B, 13));
  expect_memory_function(writes("swr_4406", swr_4406, 0x60, 0x7B, 13));
}

Operation erasing_stage(int address, const Bytes& request) {
  return {"eswc_4406 " + std::to_string(address),
          [=](int handle) { return eswc_4406(handle, address); },
          {{request, done}}};
}

TEST(Card4406, HasTwelveStages) {
  expect_operation(erasing_stage(0, hex("AA 70 00 05 7B 00 00 00 00 A4")));
  expect_operation(erasing_stage(11, hex("AA 70 00 05 7B 00 00 00 0B AF")));
  for (unsigned char address = 0; address < 12; ++address) {
    expect_result(erasing_stage(address, sealed(hex("AA 70 00 05 7B 00 00 00") + Bytes{address})),
                  Mode::direct, 0);
  }
  for (const int address : {-1, 12, 13, 256, INT_MIN, INT_MAX})
    expect_refusal(-144, [&](int handle) { return eswc_4406(handle, address); });
}

const Bytes presenting = hex("AA 64 00 08 7B 00 00 00 00 12 34 56 CD");
const Bytes reading_code = hex("AA 61 00 07 7B 00 00 00 0A 00 03 BE");

TEST(Card4406, HasACode) {
  expect_code_function({"csc_4406",
                        code_call(csc_4406),
                        3,
                        {{presenting, done}, {reading_code, reply(0, test_code(3))}}});
  expect_code_function({"wsc_4406",
                        code_call(wsc_4406),
                        3,
                        {{hex("AA 60 00 08 7B 00 00 00 0A 12 34 56 C3"), done}}});
  expect_code_function(reads_code("rsc_4406", code_call(rsc_4406), 3, reading_code));
}

TEST(Card4406, HasItsCodeReadBackAfterPresenting) {
  const Bytes code = test_code(3);
  const auto result_with = [&](const char* held, int result) {
    expect_result({std::string("csc_4406 of ") + held,
                   [&](int handle) { return csc_4406(handle, 3, code.data()); },
                   {{presenting, done}, {reading_code, reply(0, hex(held))}}},
                  Mode::direct, result);
  };
  result_with("12 34 56", 0);
  result_with("12 34 56 99", 0);
  for (const char* other : {"13 34 56", "12 35 56", "12 34 57", "12 34 D6", "92 34 56", "FF FF FF",
                            "00 00 00", "12 34", ""}) {
    result_with(other, -129);
  }
}

TEST(Card4406, DoesNotHoldACodeThatItDoesNotShow) {
  const Bytes zeros(3);
  const Operation operation{
      "csc_4406 of zeros",
      [&](int handle) { return csc_4406(handle, 3, zeros.data()); },
      {{hex("AA 64 00 08 7B 00 00 00 00 00 00 00 BD"), done}, {reading_code, reply(0, zeros)}}};
  expect_result(operation, Mode::direct, 0);
  expect_short_replies(operation, Mode::direct, 1, -129);
}

TEST(Card4406, CountsTheAttempts) {
  expect_counter_function({.name = "rsct_4406",
                           .call = rsct_4406,
                           .request = hex("AA 61 00 07 7B 00 00 00 09 00 01 BF"),
                           .size = 1});
}

TEST(Card4406, IsPersonalisedByABit) {
  const Bytes read = hex("AA 61 00 07 7B 00 00 00 08 00 01 BE");
  expect_bit_function({"psnl_4406", psnl_4406, 0x80, read, hex("AA 60 00 06 7B 00 00 00 08")});
  expect_result({"80",
                 psnl_4406,
                 {{read, sealed("55 00 00 01 80")},
                  {hex("AA 60 00 06 7B 00 00 00 08 00 BF"), hex("55 00 00 00 55")}}},
                Mode::direct, 0);
}

TEST(Card4406, IsKnownByItsBeginningOrItsThirdByte) {
  expect_probe_function({.name = "chk_4406",
                         .call = chk_4406,
                         .request = hex("AA 61 00 07 7B 00 00 00 00 00 03 B4"),
                         .accepted = {hex("98 20 00"), hex("98 20 22"), hex("00 00 22"),
                                      hex("FF FF 22"), hex("98 20")},
                         .refused = {hex("98 21 00"), hex("99 20 00"), hex("98 00 20"),
                                     hex("20 98 00"), hex("00 22 00"), hex("22 00 00"),
                                     hex("00 00 23"), hex("00 00 02"), hex("FF FF FF")},
                         .hides_failures = true});
}

}  // namespace
}  // namespace quorra::testing
