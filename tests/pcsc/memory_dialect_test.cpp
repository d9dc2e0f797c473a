// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The other words for memory cards, to which FF A4 switches.
#include <gtest/gtest.h>

#include "tests/pcsc/memory_bench.hpp"

namespace quorra::testing {
namespace {

TEST(Dialect, IsSelectedByTheTypeOfTheCard) {
  const std::vector<std::pair<const char*, int>> types = {
      {"4442", 6},   {"4432", 6},    {"4428", 5},  {"4418", 5},  {"24c01a", 1}, {"24c16", 1},
      {"24c32", 2},  {"24c64", 2},   {"4406", 7},  {"4404", 8},  {"101", 9},    {"102", 9},
      {"93c46", -1}, {"45d041", -1}, {"1604", -1}, {"1604b", -1}};
  for (const auto& [kind, type] : types) {
    MemoryBench bench(kind);
    for (int tried = 0; tried < 12; ++tried) {
      const Bytes command = hex("FF A4 00 00 01") + Bytes{static_cast<unsigned char>(tried)};
      EXPECT_EQ(to_hex(bench.send(command)), tried == type ? "90 00" : "6A 81") << kind;
    }
    EXPECT_EQ(bench.send("FF A4 00 00 02 06 06"), "67 00");
    EXPECT_EQ(bench.send("FF A4 00 00"), "67 00");
  }
}

TEST(Dialect, TakesPresentedCodesBack) {
  MemoryBench bench("4442");
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF A4 00 00 01 06"), "90 00");
  EXPECT_TRUE(bench.reader().state().card_powered);
  EXPECT_EQ(bench.send("FF D0 00 40 01 11"), "69 82");
}

TEST(Dialect, SpeaksOf4442) {
  MemoryBench bench("4442");
  // Before FF A4 the words mean what they always mean.
  EXPECT_EQ(bench.send("FF B1 00 00 04"), "6A 80");
  EXPECT_EQ(bench.send("FF B2 00 00 04"), "6D 00");
  EXPECT_EQ(bench.send("FF A4 00 00 01 06"), "90 00");
  EXPECT_EQ(bench.send("FF B0 00 00 04"), "A2 13 10 91 90 00");
  EXPECT_EQ(bench.send("FF B1 00 00 04"), "07 00 00 00 90 00");
  // Bytes 0 to 3, 6, 7 and 21 to 26 are protected.
  EXPECT_EQ(bench.send("FF B2 00 00 04"), "30 FF 1F F8 90 00");
  EXPECT_EQ(bench.send("FF 20 00 00 03 11 11 11"), "90 06");
  EXPECT_EQ(bench.send("FF B1 00 00 04"), "06 00 00 00 90 00");
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "90 07");
  EXPECT_EQ(bench.send("FF 20 00 00 02 FF FF"), "67 00");
  EXPECT_EQ(bench.send("FF D0 00 40 02 11 22"), "90 00");
  EXPECT_EQ(bench.send("FF B0 00 40 02"), "11 22 90 00");
  EXPECT_EQ(bench.send("FF D2 00 01 03 01 02 03"), "90 00");
  EXPECT_EQ(bench.send("FF D2 00 00 03 01 02 03"), "6A 86");
  EXPECT_EQ(bench.send("FF 20 00 00 03 01 02 03"), "90 07");
}

TEST(Dialect, Protects4442) {
  MemoryBench bench("4442");
  EXPECT_EQ(bench.send("FF D1 00 04 01 FF"), "6D 00") << "not before FF A4";
  EXPECT_EQ(bench.send("FF A4 00 00 01 06"), "90 00");
  EXPECT_EQ(bench.send("FF D1 00 04 01 FF"), "69 82");
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "90 07");
  EXPECT_EQ(bench.send("FF D1 00 04 01 11"), "65 81") << "the card holds FF";
  EXPECT_EQ(bench.send("FF B2 00 00 04"), "30 FF 1F F8 90 00");
  EXPECT_EQ(bench.send("FF D1 00 04 01 FF"), "90 00");
  EXPECT_EQ(bench.send("FF B2 00 00 04"), "20 FF 1F F8 90 00");
  EXPECT_EQ(bench.send("FF D0 00 04 01 11"), "65 81");
  EXPECT_EQ(bench.send("FF D1 00 04 01 11"), "65 81") << "protected, but other bytes";
  EXPECT_EQ(bench.send("FF D1 00 1F 01 FF"), "90 00");
  EXPECT_EQ(bench.send("FF D1 00 20 01 FF"), "6B 00");
}

TEST(Dialect, CountsToTheLastAttempt) {
  MemoryBench bench("4442");
  EXPECT_EQ(bench.send("FF A4 00 00 01 06"), "90 00");
  for (const char* answer : {"90 06", "90 04", "90 00", "90 00"}) {
    EXPECT_EQ(bench.send("FF 20 00 00 03 11 11 11"), answer);
  }
  EXPECT_EQ(bench.send("FF B1 00 00 04"), "00 00 00 00 90 00");
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "90 00") << "locked";
}

TEST(Dialect, SpeaksOf4428) {
  MemoryBench bench("4428");
  EXPECT_EQ(bench.send("FF A4 00 00 01 05"), "90 00");
  EXPECT_EQ(bench.send("FF B1 00 00 03"), "FF 00 00 90 00");
  EXPECT_EQ(bench.send("FF 20 00 00 02 11 11"), "90 FE");
  EXPECT_EQ(bench.send("FF 20 00 00 02 11 11"), "90 FC");
  EXPECT_EQ(bench.send("FF B1 00 00 03"), "FC 00 00 90 00");
  EXPECT_EQ(bench.send("FF 20 00 00 02 FF FF"), "90 FF");
  EXPECT_EQ(bench.send("FF D0 01 00 01 11"), "90 00");
  EXPECT_EQ(bench.send("FF D1 01 00 01 11"), "90 00");
  EXPECT_EQ(bench.send("FF D1 01 00 01 22"), "65 81") << "protected, but other bytes";
  EXPECT_EQ(bench.send("FF B2 01 00 02"), "FE FF 90 00");
  EXPECT_EQ(bench.send("FF B2 03 F4 01"), "FF 90 00");
  EXPECT_EQ(bench.send("FF B2 03 F4 02"), "6C 01") << "1021 bytes can be protected";
  EXPECT_EQ(bench.send("FF B2 03 F6 01"), "6B 00");
  EXPECT_EQ(bench.send("FF B2 00 00 04"), "30 FF 1F F8 90 00");
  EXPECT_EQ(bench.send("FF D0 01 00 01 22"), "65 81");
  EXPECT_EQ(bench.send("FF D2 00 01 02 11 11"), "6D 00");
}

TEST(Dialect, HasNoCodeForCardsWithoutOne) {
  for (const char* kind : {"4432", "4418"}) {
    MemoryBench bench(kind);
    EXPECT_EQ(bench.send(std::string("FF A4 00 00 01 0") + (kind[2] == '3' ? '6' : '5')), "90 00");
    EXPECT_EQ(bench.send("FF B1 00 00 03"), "6A 81") << kind;
    EXPECT_EQ(bench.send("FF 20 00 00 02 11 11"), "6A 81") << kind;
    EXPECT_EQ(bench.send("FF D1 00 04 01 FF"), "90 00") << kind;
    EXPECT_EQ(bench.send("FF B2 00 00 01"), "20 90 00") << kind;
  }
}

TEST(Dialect, ReadsAndWritesTwoWireCards) {
  MemoryBench bench("24c16");
  EXPECT_EQ(bench.send("FF A4 00 00 01 01"), "90 00");
  EXPECT_EQ(bench.send("FF D0 07 FF 01 55"), "90 00");
  EXPECT_EQ(bench.send("FF B0 07 FF 01"), "55 90 00");
  EXPECT_EQ(bench.send("FF B0 08 00 01"), "6B 00");
}

TEST(Dialect, IsToldThePageSizeOfTwoWireCards) {
  for (const auto& [kind, type] :
       std::vector<std::pair<const char*, const char*>>{{"24c16", "01"}, {"24c64", "02"}}) {
    MemoryBench bench(kind);
    EXPECT_EQ(bench.send("FF 01 00 00 01 03"), "6D 00") << "not before FF A4";
    EXPECT_EQ(bench.send(std::string("FF A4 00 00 01 ") + type), "90 00");
    const std::uint64_t exchanges = bench.exchanges();
    EXPECT_EQ(bench.send("FF 01 00 00 01 02"), "6A 80");
    for (const char* size : {"03", "04", "05", "06", "07"}) {
      EXPECT_EQ(bench.send(std::string("FF 01 00 00 01 ") + size), "90 00");
    }
    EXPECT_EQ(bench.send("FF 01 00 00 01 08"), "6A 80");
    EXPECT_EQ(bench.send("FF 01 00 00 02 03 03"), "67 00");
    EXPECT_EQ(bench.send("FF 01 00 00"), "67 00");
    EXPECT_EQ(bench.send("FF 01 00 01 01 03"), "6A 86");
    EXPECT_EQ(bench.exchanges(), exchanges) << "the reader knows the pages itself";
  }
}

// Some readers put the place of the code, and of its counter, into P1 and P2, or before the code.
TEST(Dialect, SendsNoCodeThatIsGivenInAnotherForm) {
  struct Row {
    const char* kind;
    const char* type;
    std::vector<const char*> commands;
    const char* attempts;
  };
  for (const Row& row : std::vector<Row>{
           {"4404", "08", {"FF 20 04 08 02 11 11", "FF 20 40 28 04 11 11 11 11"}, "63 C4"},
           {"101", "09", {"FF 20 08 0A 02 11 11"}, "63 C8"},
           {"102", "09", {"FF 20 04 0A 02 11 11"}, "63 C4"},
           {"4406", "07", {"FF 20 00 00 04 09 11 11 11"}, "63 C8"}}) {
    MemoryBench bench(row.kind);
    EXPECT_EQ(bench.send(std::string("FF A4 00 00 01 ") + row.type), "90 00");
    const std::uint64_t exchanges = bench.exchanges();
    for (const char* command : row.commands) {
      EXPECT_EQ(bench.send(command), row.kind == std::string("4406") ? "67 00" : "6A 86");
    }
    EXPECT_EQ(bench.send("FF D2 00 20 00"), "6D 00") << "erases elsewhere";
    EXPECT_EQ(bench.exchanges(), exchanges) << row.kind;
    EXPECT_EQ(bench.send("FF 20 00 00"), row.attempts) << row.kind;
  }
}

}  // namespace
}  // namespace quorra::testing
