// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <climits>

#include "tests/support/memory_function.hpp"
#include "tests/support/security_function.hpp"

namespace quorra::testing {
namespace {

struct Zone {
  unsigned char number;
  int base;
  int size;
  int to_the_end;  // from its first byte to the end of the card
};

constexpr Zone zones[] = {{0, 0, 22, 178}, {1, 22, 70, 156}, {2, 92, 86, 86}};

MemoryFunction in_zone(const Zone& zone, MemoryFunction function) {
  function.name += " in zone " + std::to_string(zone.number);
  function.zone = zone.number;
  function.base = zone.base;
  function.last_address = zone.size - 1;
  function.count_first = true;
  return function;
}

class Card102 : public ::testing::TestWithParam<Zone> {
 protected:
  const Zone& zone = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Zone, Card102, ::testing::ValuesIn(zones),
                         [](const auto& row) { return std::to_string(row.param.number); });

TEST_P(Card102, IsReadToTheEnd) {
  const auto read = [this](int handle, int address, int count, unsigned char* buffer) {
    return srd_102(handle, zone.number, address, count, buffer);
  };
  expect_memory_function(in_zone(zone, reads("srd_102", read, 0x72, zone.to_the_end)));
}

TEST_P(Card102, IsErasedToTheEnd) {
  const auto erase = [this](int handle, int address, int count) {
    return ser_102(handle, zone.number, address, count);
  };
  expect_memory_function(in_zone(zone, erases("ser_102", erase, 0x72, zone.to_the_end)));
}

TEST_P(Card102, IsWrittenWithinTheZone) {
  const auto write = [this](int handle, int address, int count, const unsigned char* buffer) {
    return swr_102(handle, zone.number, address, count, buffer);
  };
  const auto write_security = [this](int handle, int address, int count,
                                     const unsigned char* buffer) {
    return swrSC_102(handle, zone.number, address, count, buffer);
  };
  expect_memory_function(in_zone(zone, writes("swr_102", write, 0x60, 0x72, zone.size)));
  expect_memory_function(in_zone(zone, writes("swrSC_102", write_security, 0x66, 0x72, zone.size)));
}

TEST(Zones102, AreTransferredInTheseFrames) {
  Bytes buffer(178);
  const Bytes byte = hex("5A");
  for (const Operation& operation : std::vector<Operation>{
           {"srd_102(0, 0, 178)",
            [&](int handle) { return srd_102(handle, 0, 0, 178, buffer.data()); },
            {{hex("AA 61 00 07 72 00 00 00 00 00 90 2E"), reply(0, Bytes(144))},
             {hex("AA 61 00 07 72 00 00 00 90 00 22 0C"), reply(0, Bytes(34))}}},
           {"srd_102(1, 69, 87)",
            [&](int handle) { return srd_102(handle, 1, 69, 87, buffer.data()); },
            {{hex("AA 61 00 07 72 00 01 00 5B 00 57 B3"), reply(0, Bytes(87))}}},
           {"swr_102(2, 85, 1)",
            [&](int handle) { return swr_102(handle, 2, 85, 1, byte.data()); },
            {{hex("AA 60 00 06 72 00 02 00 B1 5A 57"), done}}},
           {"swrSC_102(2, 85, 1)",
            [&](int handle) { return swrSC_102(handle, 2, 85, 1, byte.data()); },
            {{hex("AA 66 00 06 72 00 02 00 B1 5A 51"), done}}},
           {"ser_102(1, 0, 156)",
            [&](int handle) { return ser_102(handle, 1, 0, 156); },
            {{hex("AA 76 00 07 72 00 01 00 16 00 90 2E"), done},
             {hex("AA 76 00 07 72 00 01 00 A6 00 0C 02"), done}}},
       }) {
    expect_result(operation, Mode::direct, 0);
  }
}

// Reading calls it a bad address, the others a bad length; the count comes first in all of them.
TEST(Zones102, AreThree) {
  Bytes bytes(200);
  for (const unsigned zone : {3U, 4U, 256U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(zone);
    expect_refusals({
        {"srd", -144, [&](int handle) { return srd_102(handle, zone, 0, 1, bytes.data()); }},
        {"srd", -144, [&](int handle) { return srd_102(handle, zone, -1, 1, bytes.data()); }},
        {"srd", -144, [&](int handle) { return srd_102(handle, zone, 0, 1, nullptr); }},
        {"srd", -144, [&](int handle) { return srd_102(handle, zone, 0, 179, bytes.data()); }},
        {"srd", -143, [&](int handle) { return srd_102(handle, zone, 0, 0, bytes.data()); }},
        {"srd", -143, [&](int handle) { return srd_102(handle, zone, -1, -1, bytes.data()); }},
        {"swr", -143, [&](int handle) { return swr_102(handle, zone, 0, 1, bytes.data()); }},
        {"swr", -143, [&](int handle) { return swr_102(handle, zone, -1, 1, bytes.data()); }},
        {"swr", -143, [&](int handle) { return swr_102(handle, zone, 0, 0, bytes.data()); }},
        {"swrSC", -143, [&](int handle) { return swrSC_102(handle, zone, 0, 1, bytes.data()); }},
        {"swrSC", -143, [&](int handle) { return swrSC_102(handle, zone, 99, 1, bytes.data()); }},
        {"ser", -143, [&](int handle) { return ser_102(handle, zone, 0, 1); }},
        {"ser", -143, [&](int handle) { return ser_102(handle, zone, -1, 1); }},
    });
  }
}

TEST(Codes102, AreTheSecurityCodeAndTwoEraseCodes) {
  for (const CodeFunction& function : {
           presents("csc_102", code_call(csc_102), 2, hex("AA 64 00 07 72 00 00 00 0A 12 34 97")),
           replaces("wsc_102", code_call(wsc_102), 2, hex("AA 76 00 07 72 00 00 00 0A 00 02 A1"),
                    hex("AA 66 00 07 72 00 00 00 0A 12 34 95")),
           reads_code("rsc_102", code_call(rsc_102), 2, hex("AA 61 00 07 72 00 00 00 0A 00 02 B6")),
           presents("cesc_102 1", code_call(cesc_102, 1), 6,
                    hex("AA 68 00 0B 72 00 01 00 56 12 34 56 78 9A BC C2")),
           presents("cesc_102 2", code_call(cesc_102, 2), 4,
                    hex("AA 68 00 09 72 00 02 00 9C 12 34 56 78 2F")),
           replaces("wesc_102 1", code_call(wesc_102, 1), 6,
                    hex("AA 76 00 07 72 00 01 00 56 00 06 F8"),
                    hex("AA 66 00 0B 72 00 01 00 56 12 34 56 78 9A BC CC")),
           replaces("wesc_102 2", code_call(wesc_102, 2), 4,
                    hex("AA 76 00 07 72 00 02 00 9C 00 04 33"),
                    hex("AA 66 00 09 72 00 02 00 9C 12 34 56 78 21")),
           reads_code("resc_102 1", code_call(resc_102, 1), 6,
                      hex("AA 61 00 07 72 00 01 00 56 00 06 EF")),
           reads_code("resc_102 2", code_call(resc_102, 2), 4,
                      hex("AA 61 00 07 72 00 02 00 9C 00 04 24")),
       }) {
    expect_code_function(function);
  }
}

TEST(Codes102, HaveTheLengthOfTheirZone) {
  Bytes code(8);
  const auto expect_erase_codes = [&](int zone, int length, int result) {
    SCOPED_TRACE("zone " + std::to_string(zone) + ", length " + std::to_string(length));
    const auto number = static_cast<unsigned>(zone);
    expect_refusals({
        {"cesc", result, [&](int handle) { return cesc_102(handle, zone, length, code.data()); }},
        {"wesc", result, [&](int handle) { return wesc_102(handle, number, length, code.data()); }},
        {"resc", result, [&](int handle) { return resc_102(handle, zone, length, code.data()); }},
        {"cesc", result, [&](int handle) { return cesc_102(handle, zone, length, nullptr); }},
        {"wesc", result, [&](int handle) { return wesc_102(handle, number, length, nullptr); }},
        {"resc", result, [&](int handle) { return resc_102(handle, zone, length, nullptr); }},
    });
  };
  expect_erase_codes(1, 4, -143);
  expect_erase_codes(2, 6, -143);
  for (const int zone : {0, 3, -1, 4, 257, INT_MIN, INT_MAX}) {
    for (const int length : {1, 2, 4, 6, 7, INT_MAX})
      expect_erase_codes(zone, length, -144);
    for (const int length : {0, -1, -4, INT_MIN})
      expect_erase_codes(zone, length, -143);
  }
}

TEST(Counters102, AreFourAttempts) {
  expect_counter_function({.name = "rsct_102",
                           .call = rsct_102,
                           .request = hex("AA 61 00 07 72 00 00 00 0C 00 01 B3"),
                           .size = 1,
                           .mask = 0xF0});
}

TEST(Counters102, AreTheErasuresOfZone2) {
  expect_counter_function(
      {.name = "resct_102",
       .call = [](int handle, unsigned* counter) { return resct_102(handle, 2, counter); },
       .request = hex("AA 61 00 07 72 00 02 00 A0 00 10 0C"),
       .size = 16});
  for (const int zone : {0, 1, 3, -1, -2, 258, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(zone);
    unsigned counter = 4711;
    expect_refusal(-144, [&](int handle) { return resct_102(handle, zone, &counter); });
    EXPECT_EQ(counter, 4711U);
    expect_refusal(-144, [&](int handle) { return resct_102(handle, zone, nullptr); });
  }
}

TEST(Flags102, StandAtTheBeginningOfTheZonesOneAndTwo) {
  const struct {
    int zone;
    Bytes read;
    Bytes write;
  } rows[] = {
      {1, hex("AA 61 00 07 72 00 01 00 16 00 01 A8"), hex("AA 60 00 06 72 00 01 00 16")},
      {2, hex("AA 61 00 07 72 00 02 00 5C 00 01 E1"), hex("AA 60 00 06 72 00 02 00 5C")},
  };
  for (const auto& row : rows) {
    const auto clear = [&row](int (*function)(int, int)) {
      return [=, zone = row.zone](int handle) { return function(handle, zone); };
    };
    expect_bit_function({"clrpr_102", clear(clrpr_102), 0x80, row.read, row.write});
    expect_bit_function({"clrrd_102", clear(clrrd_102), 0x40, row.read, row.write});
  }
  for (const int zone : {0, 3, -1, 257, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(zone);
    expect_refusal(-144, [=](int handle) { return clrpr_102(handle, zone); });
    expect_refusal(-144, [=](int handle) { return clrrd_102(handle, zone); });
  }
}

TEST(Fuses102, AreAFakeOneAndARealOne) {
  expect_fake_fuse("fakefus_102", fakefus_102, hex("AA 80 00 06 72 00 00 00 00 FF A1"),
                   hex("AA 80 00 06 72 00 00 00 00 00 5E"));
  expect_operation({"psnl_102", psnl_102, {{hex("AA 73 00 05 72 00 00 00 C2 6C"), done}}});
}

TEST(Probe102, KnowsTheCardByItsFirstTwoBytes) {
  expect_probe_function({.name = "chk_102",
                         .call = chk_102,
                         .request = hex("AA 61 00 07 72 00 00 00 00 00 02 BC"),
                         .accepted = {hex("0F 0F"), hex("0F 0F 33")},
                         .refused = {hex("0F 0E"), hex("0E 0F"), hex("0F 8F"), hex("F0 F0"),
                                     hex("0F"), hex("FF FF")}});
}

}  // namespace
}  // namespace quorra::testing
