// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Answers to reset, and reading memory cards with APDUs.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "tests/pcsc/memory_bench.hpp"

namespace quorra::testing {
namespace {

constexpr const char* storage_card = "3B 8F 80 01 80 4F 0C A0 00 00 03 06 00 00 00 00 00 00 00 68";
constexpr const char* two_wire = "3B 04 49 32 43 2E";

TEST(MemoryCard, HasTheAnswerToResetOfItsKind) {
  const std::map<std::string, std::string> answers = {
      {"4442", "3B 04 A2 13 10 91"}, {"4432", "3B 04 A2 13 10 91"}, {"4428", "3B 04 92 23 10 91"},
      {"4418", "3B 04 92 23 10 91"}, {"24c01a", two_wire},          {"24c02", two_wire},
      {"24c04", two_wire},           {"24c08", two_wire},           {"24c16", two_wire},
      {"24c32", two_wire},           {"24c64", two_wire},
  };
  for (const KindOfCard& kind : all_kinds) {
    MemoryBench bench(kind.name);
    const auto found = answers.find(kind.name);
    EXPECT_EQ(to_hex(bench.card().answer_to_reset()),
              found == answers.end() ? storage_card : found->second)
        << kind.name;
    EXPECT_TRUE(bench.reader().state().card_powered) << kind.name;
  }
}

TEST(MemoryCard, ShowsItsOwnFirstBytesInTheAnswerToReset) {
  MemoryBench bench(card_with("4442", 0, hex("3F 65 12 34")));
  EXPECT_EQ(to_hex(bench.card().answer_to_reset()), "3B 04 3F 65 12 34");
}

TEST(MemoryCard, IsReadToItsLastByte) {
  for (const KindOfCard& kind : plain_kinds) {
    simulator::Image card = new_card(kind.name);
    std::mt19937 generator(static_cast<unsigned>(kind.size));
    std::ranges::generate(card.field("memory"),
                          [&] { return static_cast<std::uint8_t>(generator()); });
    MemoryBench bench(card);
    const Bytes memory = bench.memory();
    ASSERT_EQ(static_cast<int>(memory.size()), kind.size);
    const int reach = std::min(kind.size, 0x10000);
    const int step = kind.size > reach ? 4096 : 256;
    for (int address = 0; address < reach; address += step) {
      const auto first = memory.begin() + address;
      const Bytes wanted(first, first + std::min(256, kind.size - address));
      ASSERT_EQ(bench.send(with_length(0xB0, address, 0)), success(wanted))
          << kind.name << " at " << address;
    }
  }
}

TEST(MemoryCard, RefusesWhatIsBeyondItsEnd) {
  for (const KindOfCard& kind : all_kinds) {
    if (kind.size > 0x10000) continue;
    MemoryBench bench(kind.name);
    const auto length_of_answer = [&](int address, int length) {
      const Bytes answer = bench.send(with_length(0xB0, address, length));
      return std::pair(answer.size() - 2, to_hex({answer.end() - 2, answer.end()}));
    };
    const std::pair<std::size_t, std::string> beyond{0, "6B 00"};
    EXPECT_EQ(length_of_answer(kind.size - 1, 1), std::pair(std::size_t{1}, std::string("90 00")));
    EXPECT_EQ(length_of_answer(kind.size - 1, 0), std::pair(std::size_t{1}, std::string("90 00")));
    EXPECT_EQ(length_of_answer(kind.size - 1, 2), std::pair(std::size_t{0}, std::string("6C 01")));
    EXPECT_EQ(length_of_answer(kind.size - 9, 10), std::pair(std::size_t{0}, std::string("6C 09")));
    EXPECT_EQ(length_of_answer(kind.size, 1), beyond) << kind.name;
    EXPECT_EQ(length_of_answer(kind.size, 0), beyond) << kind.name;
    EXPECT_EQ(length_of_answer(0xFFFF, 1), beyond) << kind.name;
  }
}

// Bytes of data at the ends of the zones.
TEST(MemoryCard, HasItsZonesBehindEachOther) {
  const std::vector<std::pair<const char*, std::vector<std::size_t>>> places = {
      {"4442", {8, 255}},
      {"4428", {8, 1020}},
      {"4404", {11, 16, 39}},
      {"4406", {3, 7}},
      {"101", {13, 23, 149, 171}},
      {"102", {13, 21, 23, 85, 93, 155, 177}},
      {"1604", {13, 28, 1221, 1228, 1482, 1489, 1743, 1750, 2006}},
      {"1604b", {13, 28, 538, 546, 1056, 1064, 1574, 1582, 2037, 2041}},
  };
  for (const auto& [kind, addresses] : places) {
    simulator::Image card = new_card(kind);
    const auto byte_at = [](std::size_t address) {
      return static_cast<unsigned char>(address * 37 + 1);
    };
    for (const std::size_t address : addresses) {
      put(card, address, {byte_at(address)});
    }
    MemoryBench bench(card);
    for (const std::size_t address : addresses) {
      const auto place = static_cast<int>(address);
      EXPECT_EQ(bench.send(with_length(0xB0, place, 1)), success({byte_at(address)}))
          << kind << ' ' << address;
    }
  }
}

TEST(MemoryCard, ReadsAcrossTheEndOfAZone) {
  simulator::Image card = new_card("102");
  put(card, 20, hex("11 22 F3 44"));
  MemoryBench bench(card);
  EXPECT_EQ(bench.send("FF B0 00 14 04"), "11 22 F3 44 90 00");
}

TEST(MemoryCard, WantsTheLengthsOfACommandToFit) {
  MemoryBench bench("24c02");
  const std::uint64_t before = bench.exchanges();
  for (const char* command : {
           "", "FF", "FF B0 00",
           "FF B0 00 00",              // no length
           "FF B0 00 00 01 00",        // data
           "FF B0 00 00 01 00 01",     // data and a length
           "FF B0 00 00 00 00 01",     // an extended length
           "FF B0 00 00 00 01",        // data of no length
           "FF B0 00 00 02 00",        // too few bytes of data
           "FF D6 00 00",              // no data
           "FF D6 00 00 01",           // a length
           "FF D6 00 00 01 11 01",     // data and a length
           "FF D6 00 00 01 11 22 33",  // too many bytes
           "FF D6 00 00 00 00 01 11",  // an extended length
           "FF CA 00 00", "FF 0E 00 00 01 10", "FF 0E 00 00 03 00 10 00",
           "FF B1 00 00 03 54 01 00",  // no length
       }) {
    EXPECT_EQ(bench.send(command), "67 00") << command;
  }
  EXPECT_EQ(bench.exchanges(), before) << "nothing is sent";
}

TEST(MemoryCard, KnowsItsClassAndInstructions) {
  MemoryBench bench("24c02");
  const std::uint64_t before = bench.exchanges();
  for (int cla = 0; cla < 0xFF; ++cla) {
    Bytes command = hex("00 B0 00 00 01");
    command[0] = static_cast<unsigned char>(cla);
    EXPECT_EQ(to_hex(bench.send(command)), "6E 00") << cla;
  }
  const std::string known = "0E 0F 20 24 A4 B0 B1 CA D0 D6 D7";
  for (int ins = 0; ins <= 0xFF; ++ins) {
    if (known.find(to_hex({static_cast<unsigned char>(ins)})) != std::string::npos) continue;
    EXPECT_EQ(to_hex(bench.send(with_length(static_cast<unsigned char>(ins), 0, 1))), "6D 00");
  }
  for (const char* command :
       {"FF CA 02 00 00", "FF CA 00 01 00", "FF A4 01 00 01 01", "FF B1 00 01 03 54 01 00 00",
        "FF D7 01 00 03 54 01 00", "FF 0F 00 01 03 54 01 00", "FF 20 01 00 01 00",
        "FF 24 02 00 01 00"}) {
    EXPECT_EQ(bench.send(command), "6A 86") << command;
  }
  EXPECT_EQ(bench.exchanges(), before) << "nothing is sent";
}

TEST(MemoryCard, ReadsByOffset) {
  simulator::Image card = new_card("45d041");
  put(card, 0x10000, counting(255, 1));
  put(card, 540'672 - 3, hex("AA BB CC"));
  MemoryBench bench(card);
  EXPECT_EQ(bench.send("FF B1 00 00 05 54 03 01 00 00 05"), "53 03 01 02 03 90 00");
  EXPECT_EQ(bench.send("FF B1 00 00 05 54 03 01 00 00 03"), "53 01 01 90 00");
  EXPECT_EQ(bench.send("FF B1 00 00 05 54 03 01 00 00 02"), "67 00") << "no room for data";
  // A length of 128 and more takes two bytes.
  const auto count_of = [&](int expected) {
    return bench.send(hex("FF B1 00 00 05 54 03 01 00 00") +
                      Bytes{static_cast<unsigned char>(expected)});
  };
  EXPECT_EQ(count_of(0), success(hex("53 81 FD") + counting(253, 1)));
  EXPECT_EQ(count_of(129), success(hex("53 7F") + counting(127, 1)));
  EXPECT_EQ(count_of(130), success(hex("53 7F") + counting(127, 1)));
  EXPECT_EQ(count_of(131), success(hex("53 81 80") + counting(128, 1)));
  // The end of the card is at 0x84000.
  EXPECT_EQ(bench.send("FF B1 00 00 05 54 03 08 3F FD 00"), "53 03 AA BB CC 90 00");
  EXPECT_EQ(bench.send("FF B1 00 00 05 54 03 08 3F FE 05"), "6C 04");
  EXPECT_EQ(bench.send("FF B1 00 00 05 54 03 08 40 00 00"), "6B 00");
  EXPECT_EQ(bench.send("FF B1 00 00 06 54 04 FF FF FF FF 00"), "6B 00");
  EXPECT_EQ(bench.send("FF B0 FF FF 02"), "FF 01 90 00") << "across 64 KiB";
}

TEST(MemoryCard, WantsDataObjectsToBeWhole) {
  MemoryBench bench("24c02");
  const std::uint64_t before = bench.exchanges();
  for (const char* command : {
           "FF B1 00 00 03 53 01 00 05",                 // another tag
           "FF B1 00 00 01 54 05",                       // no length
           "FF B1 00 00 03 54 02 00 05",                 // too short
           "FF B1 00 00 02 54 00 05",                    // no offset
           "FF B1 00 00 07 54 05 00 00 00 00 00 05",     // five bytes of offset
           "FF B1 00 00 03 54 81 00 05",                 // no offset, in the longer form
           "FF B1 00 00 03 54 82 00 05",                 // a form of lengths that is not known
           "FF B1 00 00 04 54 01 00 00 05",              // something behind
           "FF D7 00 00 03 54 01 00",                    // no data
           "FF D7 00 00 06 54 01 00 53 02 11",           // too little data
           "FF D7 00 00 07 54 01 00 53 01 11 00",        // something behind
           "FF 0F 00 00 06 54 01 04 54 01 04",           // an end that is the beginning
           "FF 0F 00 00 09 54 01 04 54 01 08 54 01 0C",  // something behind
           "FF B1 00 00 02 54 81 05",                    // no length, in the longer form
       }) {
    EXPECT_EQ(bench.send(command), "6A 80") << command;
  }
  EXPECT_EQ(bench.exchanges(), before) << "nothing is sent";
}

TEST(MemoryCard, WantsACommandToHaveItsHeader) {
  EXPECT_THROW(static_cast<void>(pcsc::parse_command(hex("FF B0 00"))), pcsc::Refusal);
  EXPECT_THROW(static_cast<void>(pcsc::parse_command({})), pcsc::Refusal);
}

TEST(MemoryCard, TellsWhatItIs) {
  for (const KindOfCard& kind : all_kinds) {
    MemoryBench bench(kind.name);
    EXPECT_EQ(bench.send(hex("FF CA 01 00 00")), success(text(kind.name)));
  }
  MemoryBench bench("4442");
  EXPECT_EQ(bench.send("FF CA 01 00 04"), "34 34 34 32 90 00");
  EXPECT_EQ(bench.send("FF CA 01 00 03"), "34 34 34 90 00");
  EXPECT_EQ(bench.send("FF CA 01 00 05"), "6C 04");
}

TEST(MemoryCard, TellsTheIdentificationOfSecurityCards) {
  const std::map<std::string, std::size_t> sizes = {{"4404", 8}, {"4406", 3},  {"101", 10},
                                                    {"102", 10}, {"1604", 10}, {"1604b", 10}};
  for (const KindOfCard& kind : all_kinds) {
    MemoryBench bench(kind.name);
    const auto found = sizes.find(kind.name);
    if (found == sizes.end()) {
      EXPECT_EQ(bench.send("FF CA 00 00 00"), "6A 81") << kind.name;
      continue;
    }
    const Bytes memory = bench.memory();
    const Bytes first(memory.begin(), memory.begin() + static_cast<std::ptrdiff_t>(found->second));
    EXPECT_EQ(bench.send(hex("FF CA 00 00 00")), success(first)) << kind.name;
  }
}

}  // namespace
}  // namespace quorra::testing
