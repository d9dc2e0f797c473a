// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include "tests/support/memory_function.hpp"
#include "tests/support/security_function.hpp"

namespace quorra::testing {
namespace {

TEST(Card101, IsReadWrittenAndErased) {
  expect_memory_function(reads("srd_101", srd_101, 0x71, 172));
  expect_memory_function(writes("swr_101", swr_101, 0x60, 0x71, 172));
  expect_memory_function(writes("swrSC_101", swrSC_101, 0x66, 0x71, 172));
  expect_memory_function(erases("ser_101", ser_101, 0x71, 172));
}

TEST(Card101, IsTransferredInTheseFrames) {
  Bytes buffer(173, 0xEE);
  const Bytes content = counting(172, 0x20);
  const Bytes first(content.begin(), content.begin() + 144);
  const Bytes second(content.begin() + 144, content.end());
  expect_result({"srd_101(0, 172)",
                 [&](int handle) { return srd_101(handle, 0, 172, buffer.data()); },
                 {{hex("AA 61 00 07 71 00 00 00 00 00 90 2D"), reply(0, first)},
                  {hex("AA 61 00 07 71 00 00 00 90 00 1C 31"), reply(0, second)}}},
                Mode::direct, 0);
  EXPECT_EQ(buffer, content + hex("EE"));

  const Bytes byte = hex("5A");
  expect_result({"swr_101(171, 1)",
                 [&](int handle) { return swr_101(handle, 171, 1, byte.data()); },
                 {{hex("AA 60 00 06 71 00 00 00 AB 5A 4C"), done}}},
                Mode::direct, 0);
  expect_result({"swrSC_101(171, 1)",
                 [&](int handle) { return swrSC_101(handle, 171, 1, byte.data()); },
                 {{hex("AA 66 00 06 71 00 00 00 AB 5A 4A"), done}}},
                Mode::direct, 0);
  expect_result({"ser_101(27, 145)",
                 [](int handle) { return ser_101(handle, 27, 145); },
                 {{hex("AA 76 00 07 71 00 00 00 1B 00 90 21"), done},
                  {hex("AA 76 00 07 71 00 00 00 AB 00 01 00"), done}}},
                Mode::direct, 0);
}

TEST(Card101, HasTwoCodes) {
  for (const CodeFunction& function : {
           presents("csc_101", code_call(csc_101), 2, hex("AA 64 00 07 71 00 00 00 00 12 34 9E")),
           replaces("wsc_101", code_call(wsc_101), 2, hex("AA 76 00 07 71 00 00 00 0A 00 02 A2"),
                    hex("AA 66 00 07 71 00 00 00 0A 12 34 96")),
           reads_code("rsc_101", code_call(rsc_101), 2, hex("AA 61 00 07 71 00 00 00 0A 00 02 B5")),
           presents("cesc_101", code_call(cesc_101), 4,
                    hex("AA 68 00 09 71 00 00 00 00 12 34 56 78 B2")),
           replaces("wesc_101", code_call(wesc_101), 4, hex("AA 76 00 07 71 00 00 00 96 00 04 38"),
                    hex("AA 66 00 09 71 00 00 00 96 12 34 56 78 2A")),
           reads_code("resc_101", code_call(resc_101), 4,
                      hex("AA 61 00 07 71 00 00 00 96 00 04 2F")),
       }) {
    expect_code_function(function);
  }
}

TEST(Card101, CountsTheAttemptsAndNoneThatItCannotRead) {
  expect_counter_function({.name = "rsct_101",
                           .call = rsct_101,
                           .request = hex("AA 61 00 07 71 00 00 00 0C 00 01 B0"),
                           .size = 1,
                           .zero_on_failure = true});
}

TEST(Card101, CountsTheErasures) {
  expect_counter_function({.name = "resct_101",
                           .call = resct_101,
                           .request = hex("AA 61 00 07 71 00 00 00 9A 00 10 37"),
                           .size = 16});
}

TEST(Card101, HasTwoFlags) {
  const Bytes read = hex("AA 61 00 07 71 00 00 00 16 00 01 AA");
  const Bytes write = hex("AA 60 00 06 71 00 00 00 16");
  expect_bit_function({"clrpr_101", clrpr_101, 0x80, read, write});
  expect_bit_function({"clrrd_101", clrrd_101, 0x40, read, write});
}

TEST(Card101, HasAFakeFuse) {
  expect_fake_fuse("fakefus_101", fakefus_101, hex("AA 80 00 06 71 00 00 00 00 FF A2"),
                   hex("AA 80 00 06 71 00 00 00 00 00 5D"));
}

TEST(Card101, IsPersonalised) {
  expect_operation({"psnl_101", psnl_101, {{hex("AA 73 00 05 71 00 00 00 00 AD"), done}}});
}

TEST(Card101, IsKnownByItsFirstTwoBytes) {
  expect_probe_function({.name = "chk_101",
                         .call = chk_101,
                         .request = hex("AA 61 00 07 71 00 00 00 00 00 02 BF"),
                         .accepted = {hex("0F 0F"), hex("0F 0F 33")},
                         .refused = {hex("0F 0E"), hex("0E 0F"), hex("0F 8F"), hex("F0 F0"),
                                     hex("0F"), hex("FF FF")}});
}

}  // namespace
}  // namespace quorra::testing
