// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <climits>

#include "tests/support/memory_function.hpp"
#include "tests/support/security_function.hpp"

namespace quorra::testing {
namespace {

TEST(Card4404, IsReadAndWritten) {
  expect_memory_function(reads("srd_4404", srd_4404, 0x7A, 52));
  expect_memory_function(writes("swr_4404", swr_4404, 0x60, 0x7A, 52));
}

Bytes erase_request(unsigned char address, unsigned char count) {
  return sealed(hex("AA 76 00 07 7A 00 00 00") + Bytes{address} + hex("00") + Bytes{count});
}

Operation erasing(int address, int count) {
  return {"ser_4404(" + std::to_string(address) + ", " + std::to_string(count) + ")",
          [=](int handle) { return ser_4404(handle, address, count); },
          {{erase_request(static_cast<unsigned char>(address), static_cast<unsigned char>(count)),
            done}}};
}

TEST(Card4404, IsErasedFromOutsideTheHole) {
  for (const int address : {0, 1, 13, 40, 41, 51}) {
    for (const int count : {1, 52 - address})
      expect_result(erasing(address, count), Mode::direct, 0);
  }
  expect_operation(erasing(13, 30));
}

TEST(Card4404, IsNotErasedFromAnywhereElse) {
  struct Wrong {
    int address;
    int count;
    int result;
  };
  for (const Wrong& row : {Wrong{14, 1, -144},
                           {39, 1, -144},
                           {26, 5, -144},
                           {14, 0, -144},
                           {39, INT_MAX, -144},
                           {-1, 1, -144},
                           {52, 1, -144},
                           {52, 0, -144},
                           {INT_MIN, 1, -144},
                           {INT_MAX, INT_MIN, -144},
                           {0, 0, -143},
                           {13, -1, -143},
                           {40, INT_MIN, -143},
                           {0, 53, -143},
                           {13, 40, -143},
                           {40, 13, -143},
                           {51, 2, -143},
                           {51, INT_MAX, -143}}) {
    SCOPED_TRACE(std::to_string(row.address) + ", " + std::to_string(row.count));
    expect_refusal(row.result,
                   [&](int handle) { return ser_4404(handle, row.address, row.count); });
  }
}

TEST(Card4404, HasTwoCodes) {
  for (const CodeFunction& function : {
           presents("csc_4404", code_call(csc_4404), 2, hex("AA 64 00 07 7A 00 00 00 00 12 34 95")),
           replaces("wsc_4404", code_call(wsc_4404), 2, hex("AA 76 00 07 7A 00 00 00 08 00 02 AB"),
                    hex("AA 60 00 07 7A 00 00 00 08 12 34 99")),
           reads_code("rsc_4404", code_call(rsc_4404), 2,
                      hex("AA 61 00 07 7A 00 00 00 08 00 02 BC")),
           presents("cesc_4404", code_call(cesc_4404), 4,
                    hex("AA 68 00 09 7A 00 00 00 00 12 34 56 78 B9")),
           replaces("wesc_4404", code_call(wesc_4404), 4,
                    hex("AA 76 00 07 7A 00 00 00 28 00 04 8D"),
                    hex("AA 60 00 09 7A 00 00 00 28 12 34 56 78 99")),
           reads_code("resc_4404", code_call(resc_4404), 4,
                      hex("AA 61 00 07 7A 00 00 00 28 00 04 9A")),
       }) {
    expect_code_function(function);
  }
}

TEST(Card4404, CountsTheAttemptsInFourBits) {
  expect_counter_function({.name = "rsct_4404",
                           .call = rsct_4404,
                           .request = hex("AA 61 00 07 7A 00 00 00 0A 00 01 BD"),
                           .size = 1,
                           .mask = 0xF0});
}

TEST(Card4404, AddsTheErasuresToTheCounter) {
  expect_counter_function({.name = "resct_4404",
                           .call = resct_4404,
                           .request = hex("AA 61 00 07 7A 00 00 00 2C 00 08 92"),
                           .size = 8,
                           .adds = true});
  unsigned counter = 5;
  expect_result({"64 erasures and 5",
                 [&](int handle) { return resct_4404(handle, &counter); },
                 {{hex("AA 61 00 07 7A 00 00 00 2C 00 08 92"), reply(0, Bytes(8, 0xFF))}}},
                Mode::direct, 0);
  EXPECT_EQ(counter, 69U);
}

TEST(Card4404, HasTwoFlags) {
  const Bytes read = hex("AA 61 00 07 7A 00 00 00 0E 00 01 B9");
  const Bytes write = hex("AA 60 00 06 7A 00 00 00 0E");
  expect_bit_function({"clrpr_4404", clrpr_4404, 0x80, read, write});
  expect_bit_function({"clrrd_4404", clrrd_4404, 0x40, read, write});

  const Bytes flags = sealed("55 00 00 01 C1");
  expect_result(
      {"C1", clrpr_4404, {{read, flags}, {hex("AA 60 00 06 7A 00 00 00 0E 41 F9"), done}}},
      Mode::direct, 0);
  expect_result(
      {"C1", clrrd_4404, {{read, flags}, {hex("AA 60 00 06 7A 00 00 00 0E 81 39"), done}}},
      Mode::direct, 0);
}

TEST(Card4404, HasAFakeFuse) {
  expect_fake_fuse("fakefus_4404", fakefus_4404, hex("AA 80 00 06 7A 00 00 00 00 FF A9"),
                   hex("AA 80 00 06 7A 00 00 00 00 00 56"));
}

const Bytes personalise = hex("AA 71 00 05 7A 00 00 00 00 A4");

TEST(Card4404, IsPersonalised) {
  expect_operation({.name = "psnl_4404",
                    .call = psnl_4404,
                    .exchanges = {{personalise, done}},
                    .positive_status = true});
}

TEST(Card4404, ReturnsEachStatusOfPersonalisingAsItIs) {
  for (int status = 0; status < 256; ++status) {
    expect_result(
        {"psnl_4404", psnl_4404, {{personalise, reply(static_cast<unsigned char>(status), {})}}},
        Mode::direct, status);
  }
}

TEST(Card4404, IsKnownByOneOfTwoBeginnings) {
  expect_probe_function(
      {.name = "chk_4404",
       .call = chk_4404,
       .request = hex("AA 61 00 07 7A 00 00 00 00 00 03 B5"),
       .accepted = {hex("B7 A0 FF"), hex("81 24 00"), hex("81 24 FF"), hex("81 24 5A"),
                    hex("81 24")},
       .refused = {hex("B7 A0 FE"), hex("B7 A0 00"), hex("B7 A0"), hex("B7 A1 FF"), hex("B6 A0 FF"),
                   hex("81 25 00"), hex("80 24 FF"), hex("81 A0 FF"), hex("B7 24 FF"),
                   hex("81 A0 00"), hex("24 81 FF"), hex("FF FF FF")}});
}

}  // namespace
}  // namespace quorra::testing
