// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 1604 and the 1604b card: the same tests with other constants.

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
  int size;        // what reading, erasing and the security write reach
  int plain_size;  // what the plain write reaches
  int to_the_end;  // from its first byte to the end of the card
};

// Where a code and what belongs to it lies: zone and card address, as they stand in a frame.
struct Guard {
  int number;
  const char* code;
  const char* error_counter;  // null: the code has none
  const char* erase_code;
  const char* erase_counter;
};

struct Functions {
  int (*read)(int, unsigned, int, int, unsigned char*);
  int (*write)(int, unsigned, int, int, const unsigned char*);
  int (*write_security)(int, unsigned, int, int, const unsigned char*);
  int (*erase)(int, unsigned, int, int);
  int (*present_code)(int, int, unsigned, const unsigned char*);
  int (*replace_code)(int, unsigned, int, const unsigned char*);
  int (*read_code)(int, unsigned, int, unsigned char*);
  int (*count_attempts)(int, unsigned, unsigned*);
  int (*present_erase_code)(int, int, unsigned, const unsigned char*);
  int (*replace_erase_code)(int, int, int, const unsigned char*);
  int (*read_erase_code)(int, int, int, unsigned char*);
  int (*count_erasures)(int, int, unsigned*);
  int (*clear_protection)(int, int);
  int (*clear_read)(int, int);
  int (*fake_fuse)(int, unsigned);
  int (*personalise)(int);
  int (*probe)(int);
};

struct Card {
  const char* name;
  Functions call;
  const char* type;  // how the body of each frame begins
  std::vector<Zone> zones;
  std::vector<Guard> guards;
  std::vector<const char*> flags;  // the first bytes of the zones 1 to 4
  const char* fuse;
  Bytes identification;
};

void PrintTo(const Card& card, std::ostream* stream) { *stream << card.name; }

const Card card_1604{
    "1604",
    {srd_1604, swr_1604, swrSC_1604, ser_1604, csc_1604, wsc_1604, rsc_1604, rsct_1604, cesc_1604,
     wesc_1604, resc_1604, resct_1604, clrpr_1604, clrrd_1604, fakefus_1604, psnl_1604, chk_1604},
    "73 00",
    {{0, 0, 27, 21, 2007},
     {1, 27, 1200, 1195, 1980},
     {2, 1227, 261, 256, 780},
     {3, 1488, 261, 256, 519},
     {4, 1749, 258, 258, 258}},
    {{0, "00 00 0A", "00 00 0C", nullptr, nullptr},
     {1, "00 00 15", "00 00 17", "00 00 18", "00 00 1A"},
     {2, "01 04 C6", nullptr, "01 04 C8", "01 04 CA"},
     {3, "02 05 CB", nullptr, "02 05 CD", "02 05 CF"},
     {4, "03 06 D0", nullptr, "03 06 D2", "03 06 D4"}},
    {"01 00 1B", "02 04 CB", "03 05 D0", "04 06 D5"},
    "07 F4",
    hex("31 3A")};

const Card card_1604b{"1604b",
                      {srd_1604b, swr_1604b, swrSC_1604b, ser_1604b, csc_1604b, wsc_1604b,
                       rsc_1604b, rsct_1604b, cesc_1604b, wesc_1604b, resc_1604b, resct_1604b,
                       clrpr_1604b, clrrd_1604b, fakefus_1604b, psnl_1604b, chk_1604b},
                      "73 0B",
                      {{0, 0, 27, 21, 2042},
                       {1, 27, 518, 512, 2015},
                       {2, 545, 518, 512, 1497},
                       {3, 1063, 518, 512, 979},
                       {4, 1581, 461, 457, 461}},
                      {{0, "00 00 0A", "00 00 0C", nullptr, nullptr},
                       {1, "00 00 15", "00 00 17", "00 00 18", "00 00 1A"},
                       {2, "01 02 1B", "01 02 1D", "01 02 1E", "01 02 20"},
                       {3, "02 04 21", "02 04 23", "02 04 24", "02 04 26"},
                       {4, "03 06 27", "03 06 29", "03 06 2A", "03 06 2C"}},
                      {"01 00 1B", "02 02 21", "03 04 27", "04 06 2D"},
                      "07 FC",
                      hex("72 55")};

// A frame of the card: `place` is the zone byte and the address.
Bytes frame(const Card& card, unsigned char command, const Bytes& place, const Bytes& rest) {
  const Bytes body = hex(card.type) + place + rest;
  return sealed(Bytes{0xAA, command, 0x00, static_cast<unsigned char>(body.size())} + body);
}

Bytes read_request(const Card& card, const char* place, unsigned char count) {
  return frame(card, 0x61, hex(place), Bytes{0x00, count});
}

class Card1604 : public ::testing::TestWithParam<Card> {
 protected:
  const Card& card = GetParam();
  const Functions& call = card.call;
};

INSTANTIATE_TEST_SUITE_P(, Card1604, ::testing::Values(card_1604, card_1604b),
                         [](const auto& row) { return row.param.name; });

MemoryFunction in_zone(const Card& card, const Zone& zone, MemoryFunction function) {
  function.name += " in zone " + std::to_string(zone.number);
  function.variant = hex(card.type)[1];
  function.zone = zone.number;
  function.base = zone.base;
  function.count_first = true;
  return function;
}

MemoryFunction slow(MemoryFunction function) {
  function.slow = true;
  return function;
}

TEST_P(Card1604, IsReadToTheEnd) {
  for (const Zone& zone : card.zones) {
    const auto read = [&](int handle, int address, int count, unsigned char* buffer) {
      return call.read(handle, zone.number, address, count, buffer);
    };
    MemoryFunction function = in_zone(card, zone, reads("srd", read, 0x73, zone.to_the_end));
    function.last_address = zone.size - 1;
    expect_memory_function(function);
  }
}

TEST_P(Card1604, IsWrittenWithinThePlainPartOfAZone) {
  for (const Zone& zone : card.zones) {
    const auto write = [&](int handle, int address, int count, const unsigned char* buffer) {
      return call.write(handle, zone.number, address, count, buffer);
    };
    expect_memory_function(
        slow(in_zone(card, zone, writes("swr", write, 0x60, 0x73, zone.plain_size))));
  }
}

TEST_P(Card1604, IsWrittenWithinAZoneBySecurityWrites) {
  for (const Zone& zone : card.zones) {
    const auto write = [&](int handle, int address, int count, const unsigned char* buffer) {
      return call.write_security(handle, zone.number, address, count, buffer);
    };
    expect_memory_function(in_zone(card, zone, writes("swrSC", write, 0x66, 0x73, zone.size)));
  }
}

TEST_P(Card1604, IsErasedWithinAZone) {
  for (const Zone& zone : card.zones) {
    const auto erase = [&](int handle, int address, int count) {
      return call.erase(handle, zone.number, address, count);
    };
    expect_memory_function(slow(in_zone(card, zone, erases("ser", erase, 0x73, zone.size))));
  }
}

TEST_P(Card1604, HasFiveZones) {
  Bytes bytes(16);
  for (const unsigned zone : {5U, 6U, 256U, 0x80000000U, UINT_MAX}) {
    for (const int address : {0, -1, INT_MIN, INT_MAX}) {
      for (const int count : {1, 0, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(std::to_string(zone) + ", " + std::to_string(address) + ", " +
                     std::to_string(count));
        unsigned char* const buffer = bytes.data();
        expect_refusals({
            {"srd", -143,
             [&](int handle) { return call.read(handle, zone, address, count, buffer); }},
            {"swr", -143,
             [&](int handle) { return call.write(handle, zone, address, count, buffer); }},
            {"swrSC", -143,
             [&](int handle) { return call.write_security(handle, zone, address, count, buffer); }},
            {"ser", -143, [&](int handle) { return call.erase(handle, zone, address, count); }},
        });
      }
    }
  }
}

// The zone byte of presenting is the number of the code, or of the erase code's zone.
TEST_P(Card1604, HasFiveCodes) {
  for (const Guard& guard : card.guards) {
    SCOPED_TRACE(guard.number);
    const Bytes place = hex(guard.code);
    const Bytes address(place.begin() + 1, place.end());
    const Bytes number = {static_cast<unsigned char>(guard.number)};
    expect_code_function(presents("csc", code_call(call.present_code, guard.number), 2,
                                  frame(card, 0x64, number + address, hex("12 34"))));
    expect_code_function(reads_code("rsc", code_call(call.read_code, guard.number), 2,
                                    read_request(card, guard.code, 2)));
    CodeFunction replacing =
        replaces("wsc", code_call(call.replace_code, guard.number), 2,
                 frame(card, 0x76, place, hex("00 02")), frame(card, 0x66, place, hex("12 34")));
    replacing.exchanges[0].slow = true;
    expect_code_function(replacing);
  }
}

TEST_P(Card1604, HasFourEraseCodes) {
  for (const Guard& guard : card.guards) {
    if (guard.erase_code == nullptr) continue;
    SCOPED_TRACE(guard.number);
    const Bytes place = hex(guard.erase_code);
    expect_code_function(presents("cesc", code_call(call.present_erase_code, guard.number), 2,
                                  frame(card, 0x68, place, hex("12 34"))));
    expect_code_function(reads_code("resc", code_call(call.read_erase_code, guard.number), 2,
                                    read_request(card, guard.erase_code, 2)));
    CodeFunction replacing =
        replaces("wesc", code_call(call.replace_erase_code, guard.number), 2,
                 frame(card, 0x76, place, hex("00 02")), frame(card, 0x66, place, hex("12 34")));
    replacing.exchanges[0].slow = true;
    expect_code_function(replacing);
  }
}

TEST(EraseCode0, IsPresentedToThe1604Alone) {
  expect_code_function(presents("cesc_1604 0", code_call(cesc_1604, 0), 2,
                                hex("AA 68 00 07 73 00 00 00 00 12 34 90")));
  Bytes code(2);
  expect_refusal(-144, [&](int handle) { return cesc_1604b(handle, 0, 2, code.data()); });
  expect_refusal(-144, [&](int handle) { return cesc_1604b(handle, 0, 2, nullptr); });
  expect_refusal(-143, [&](int handle) { return cesc_1604b(handle, 0, 3, code.data()); });
}

// The length comes first, and the number before the null pointer.
TEST_P(Card1604, HasNoOtherCodes) {
  Bytes bytes(4);
  const auto expect_code = [&](int number, bool of_erasing) {
    const auto index = static_cast<unsigned>(number);
    for (const int length : {2, 1, 3, 0, -2}) {
      SCOPED_TRACE("code " + std::to_string(number) + ", length " + std::to_string(length));
      const auto size = static_cast<unsigned>(length);
      const int result = length == 2 ? -144 : -143;
      for (unsigned char* code : {bytes.data(), static_cast<unsigned char*>(nullptr)}) {
        expect_refusals({
            {"wesc", result,
             [&](int handle) { return call.replace_erase_code(handle, number, length, code); }},
            {"resc", result,
             [&](int handle) { return call.read_erase_code(handle, number, length, code); }},
        });
        if (of_erasing) continue;
        expect_refusals({
            {"csc", result,
             [&](int handle) { return call.present_code(handle, number, size, code); }},
            {"cesc", result,
             [&](int handle) { return call.present_erase_code(handle, number, size, code); }},
            {"wsc", result,
             [&](int handle) { return call.replace_code(handle, index, length, code); }},
            {"rsc", result,
             [&](int handle) { return call.read_code(handle, index, length, code); }},
        });
      }
    }
  };
  expect_code(0, true);
  for (const int number : {5, -1, 6, 256, INT_MIN, INT_MAX})
    expect_code(number, false);
}

TEST_P(Card1604, CountsTheAttemptsAndNoneThatItCannotRead) {
  for (const Guard& guard : card.guards) {
    SCOPED_TRACE(guard.number);
    const auto number = static_cast<unsigned>(guard.number);
    const auto count = [&](int handle, unsigned* counter) {
      return call.count_attempts(handle, number, counter);
    };
    if (guard.error_counter != nullptr) {
      expect_counter_function({.name = "rsct",
                               .call = count,
                               .request = read_request(card, guard.error_counter, 1),
                               .size = 1,
                               .zero_on_failure = true});
    } else {
      unsigned counter = 4711;
      expect_refusal(-144, [&](int handle) { return count(handle, &counter); });
      EXPECT_EQ(counter, 4711U);
    }
  }
  for (const unsigned number : {5U, 6U, 256U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(number);
    unsigned counter = 4711;
    expect_refusal(-144, [&](int handle) { return call.count_attempts(handle, number, &counter); });
    EXPECT_EQ(counter, 4711U);
    expect_refusal(-144, [&](int handle) { return call.count_attempts(handle, number, nullptr); });
  }
}

TEST_P(Card1604, CountsTheErasures) {
  for (const Guard& guard : card.guards) {
    if (guard.erase_counter == nullptr) continue;
    SCOPED_TRACE(guard.number);
    expect_counter_function({.name = "resct",
                             .call =
                                 [&](int handle, unsigned* counter) {
                                   return call.count_erasures(handle, guard.number, counter);
                                 },
                             .request = read_request(card, guard.erase_counter, 1),
                             .size = 1});
  }
  for (const int number : {0, 5, -1, 257, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(number);
    unsigned counter = 4711;
    expect_refusal(-144, [&](int handle) { return call.count_erasures(handle, number, &counter); });
    EXPECT_EQ(counter, 4711U);
    expect_refusal(-144, [&](int handle) { return call.count_erasures(handle, number, nullptr); });
  }
}

TEST_P(Card1604, HasTwoFlagsInEachOfTheZones1To4) {
  for (std::size_t i = 0; i < card.flags.size(); ++i) {
    SCOPED_TRACE(i + 1);
    const auto clear = [zone = static_cast<int>(i) + 1](int (*function)(int, int)) {
      return [=](int handle) { return function(handle, zone); };
    };
    const Bytes read = read_request(card, card.flags[i], 1);
    const Bytes write = hex("AA 60 00 06") + hex(card.type) + hex(card.flags[i]);
    expect_bit_function({"clrpr", clear(call.clear_protection), 0x80, read, write, true});
    expect_bit_function({"clrrd", clear(call.clear_read), 0x40, read, write, true});
  }
  for (const int zone : {0, 5, -1, 257, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(zone);
    expect_refusal(-144, [&](int handle) { return call.clear_protection(handle, zone); });
    expect_refusal(-144, [&](int handle) { return call.clear_read(handle, zone); });
  }
}

TEST_P(Card1604, HasAFakeFuse) {
  expect_fake_fuse("fakefus", call.fake_fuse, frame(card, 0x80, hex("00 00 00"), hex("FF")),
                   frame(card, 0x80, hex("00 00 00"), hex("00")));
}

TEST_P(Card1604, IsPersonalised) {
  expect_operation(
      {"psnl", call.personalise, {{frame(card, 0x73, hex("00") + hex(card.fuse), {}), done}}});
}

TEST_P(Card1604, IsKnownByItsFirstTwoBytes) {
  const Bytes& known = card.identification;
  const Bytes& twin = (known == card_1604.identification ? card_1604b : card_1604).identification;
  ProbeFunction function{.name = "chk",
                         .call = call.probe,
                         .request = read_request(card, "00 00 00", 2),
                         .accepted = {known, known + hex("99")},
                         .refused = {{known[1], known[0]}, {known[0]}, twin, hex("FF FF")}};
  for (unsigned bit = 1; bit < 256; bit *= 2) {
    for (const std::size_t at : {std::size_t{0}, std::size_t{1}}) {
      Bytes other = known;
      other[at] = static_cast<unsigned char>(other[at] ^ bit);
      function.refused.push_back(other);
    }
  }
  expect_probe_function(function);
}

TEST(Frames1604, AreTheseBytes) {
  Bytes buffer(2042);
  const Bytes code = test_code(2);
  const Bytes byte = hex("5A");
  unsigned counter = 0;
  Operation whole_card{
      "srd_1604", [&](int handle) { return srd_1604(handle, 0, 0, 2007, buffer.data()); }, {}};
  for (int frame = 0; frame < 13; ++frame) {
    const int address = 144 * frame;
    whole_card.exchanges.push_back({sealed(hex("AA 61 00 07 73 00 00") +
                                           Bytes{static_cast<unsigned char>(address / 256),
                                                 static_cast<unsigned char>(address % 256)} +
                                           hex("00 90")),
                                    reply(0, Bytes(144))});
  }
  whole_card.exchanges.push_back(
      {hex("AA 61 00 07 73 00 00 07 50 00 87 6F"), reply(0, Bytes(135))});

  for (const Operation& operation : std::vector<Operation>{
           whole_card,
           {"srd_1604(4, 257, 1)",
            [&](int handle) { return srd_1604(handle, 4, 257, 1, buffer.data()); },
            {{hex("AA 61 00 07 73 00 04 07 D6 00 01 6B"), reply(0, byte)}}},
           {"swr_1604(1, 1194, 1)",
            [&](int handle) { return swr_1604(handle, 1, 1194, 1, byte.data()); },
            {{hex("AA 60 00 06 73 00 01 04 C5 5A 25"), done}}},
           {"swrSC_1604(0, 21, 1)",
            [&](int handle) { return swrSC_1604(handle, 0, 21, 1, byte.data()); },
            {{hex("AA 66 00 06 73 00 00 00 15 5A F6"), done}}},
           {"ser_1604b(4, 460, 1)",
            [](int handle) { return ser_1604b(handle, 4, 460, 1); },
            {{hex("AA 76 00 07 73 0B 04 07 F9 00 01 58"), done}}},
           {"csc_1604(2)",
            [&](int handle) { return csc_1604(handle, 2, 2, code.data()); },
            {{hex("AA 64 00 07 73 00 02 04 C6 12 34 5C"), done}}},
           {"csc_1604b(2)",
            [&](int handle) { return csc_1604b(handle, 2, 2, code.data()); },
            {{hex("AA 64 00 07 73 0B 02 02 1B 12 34 8C"), done}}},
           {"cesc_1604(3)",
            [&](int handle) { return cesc_1604(handle, 3, 2, code.data()); },
            {{hex("AA 68 00 07 73 00 02 05 CD 12 34 5A"), done}}},
           {"rsct_1604b(2)",
            [&](int handle) { return rsct_1604b(handle, 2, &counter); },
            {{hex("AA 61 00 07 73 0B 01 02 1D 00 01 AB"), reply(0, byte)}}},
           {"fakefus_1604(1)",
            [](int handle) { return fakefus_1604(handle, 1); },
            {{hex("AA 80 00 06 73 00 00 00 00 FF A0"), done}}},
           {"fakefus_1604b(0)",
            [](int handle) { return fakefus_1604b(handle, 0); },
            {{hex("AA 80 00 06 73 0B 00 00 00 00 54"), done}}},
           {"psnl_1604", psnl_1604, {{hex("AA 73 00 05 73 00 00 07 F4 5C"), done}}},
           {"psnl_1604b", psnl_1604b, {{hex("AA 73 00 05 73 0B 00 07 FC 5F"), done}}},
       }) {
    expect_result(operation, Mode::direct, 0);
  }
}

TEST(Bounds1604, DifferFromFunctionToFunction) {
  Bytes bytes(300);
  unsigned char* const buffer = bytes.data();
  expect_refusals({
      {"4, 258", -144, [&](int handle) { return srd_1604(handle, 4, 258, 1, buffer); }},
      {"0, 21", -144, [&](int handle) { return swr_1604(handle, 0, 21, 1, buffer); }},
      {"0, 20", -143, [&](int handle) { return swr_1604(handle, 0, 20, 2, buffer); }},
      {"4, 457", -144, [&](int handle) { return swr_1604b(handle, 4, 457, 1, buffer); }},
      {"1, 1199", -143, [&](int handle) { return ser_1604(handle, 1, 1199, 2); }},
      {"1, 517", -143, [&](int handle) { return swrSC_1604b(handle, 1, 517, 2, buffer); }},
  });
}

}  // namespace
}  // namespace quorra::testing
