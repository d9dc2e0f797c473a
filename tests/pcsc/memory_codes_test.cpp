// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Presenting and changing the codes of memory cards with APDUs.
#include <gtest/gtest.h>

#include "tests/pcsc/memory_bench.hpp"

namespace quorra::testing {
namespace {

struct CodeOfCard {
  const char* kind;
  const char* number;  // P2
  int size;
  int attempts;
};

const std::vector<CodeOfCard> counted_codes = {
    {"4442", "00", 3, 3},  {"4428", "00", 2, 8},  {"4404", "00", 2, 4},  {"4406", "00", 3, 8},
    {"101", "00", 2, 8},   {"102", "00", 2, 4},   {"1604", "00", 2, 8},  {"1604", "01", 2, 8},
    {"1604b", "00", 2, 8}, {"1604b", "01", 2, 8}, {"1604b", "02", 2, 8}, {"1604b", "03", 2, 8},
    {"1604b", "04", 2, 8},
};

Bytes command_with(const CodeOfCard& code, unsigned char byte) {
  return hex(std::string("FF 20 00 ") + code.number) +
         Bytes{static_cast<unsigned char>(code.size)} +
         Bytes(static_cast<std::size_t>(code.size), byte);
}

Bytes asking(const CodeOfCard& code) { return hex(std::string("FF 20 00 ") + code.number); }

Bytes attempts(int left) { return {0x63, static_cast<unsigned char>(0xC0 | left)}; }

// New cards have FF for all codes.
TEST(PresentingCodes, CountsDownToTheLastAttempt) {
  for (const CodeOfCard& code : counted_codes) {
    MemoryBench bench(code.kind);
    EXPECT_EQ(bench.send(asking(code)), attempts(code.attempts)) << code.kind;
    for (int left = code.attempts - 1; left >= 0; --left) {
      EXPECT_EQ(bench.send(command_with(code, 0x55)), attempts(left)) << code.kind;
      const Bytes asked = bench.send(asking(code));
      EXPECT_EQ(asked, left > 0 ? attempts(left) : hex("69 83")) << code.kind;
    }
    const Bytes before = bench.memory();
    EXPECT_EQ(to_hex(bench.send(command_with(code, 0x55))), "69 83") << code.kind;
    EXPECT_EQ(to_hex(bench.send(command_with(code, 0xFF))), "69 83") << "also the right one";
    EXPECT_EQ(bench.memory(), before);
  }
}

TEST(PresentingCodes, RestoresTheAttempts) {
  for (const CodeOfCard& code : counted_codes) {
    MemoryBench bench(code.kind);
    for (int left = code.attempts - 1; left > 0; --left) {
      EXPECT_EQ(bench.send(command_with(code, 0x55)), attempts(left)) << code.kind;
    }
    EXPECT_EQ(bench.send(command_with(code, 0xFF)), success()) << code.kind;
    EXPECT_EQ(bench.send(asking(code)), attempts(code.attempts)) << code.kind;
  }
}

TEST(PresentingCodes, WantsTheRightLengthBeforeAnythingIsSent) {
  for (const CodeOfCard& code : counted_codes) {
    MemoryBench bench(code.kind);
    const std::uint64_t before = bench.exchanges();
    for (const int size : {1, code.size - 1, code.size + 1, 255}) {
      Bytes command = asking(code) + Bytes{static_cast<unsigned char>(size)} +
                      Bytes(static_cast<std::size_t>(size), 0xFF);
      EXPECT_EQ(to_hex(bench.send(command)), "67 00") << code.kind << ' ' << size;
    }
    EXPECT_EQ(to_hex(bench.send(command_with(code, 0xFF) + Bytes{0})), "67 00");
    EXPECT_EQ(to_hex(bench.send(asking(code) + Bytes{0})), "67 00");
    EXPECT_EQ(bench.exchanges(), before) << code.kind;
  }
}

TEST(PresentingCodes, ClosesTheCardAfterAWrongOne) {
  for (const char* kind : {"4442", "4428"}) {
    const CodeOfCard code{kind, "00", std::string(kind) == "4442" ? 3 : 2, 0};
    MemoryBench bench(kind);
    EXPECT_EQ(bench.send(command_with(code, 0xFF)), success());
    EXPECT_EQ(bench.send("FF D6 00 40 01 11"), "90 00");
    EXPECT_EQ(bench.send(command_with(code, 0x11))[0], 0x63);
    EXPECT_EQ(bench.send("FF D6 00 40 01 22"), "69 82") << kind;
    EXPECT_EQ(bench.memory()[0x40], 0x11);
  }
}

// Nothing tells how often these may be wrong.
TEST(PresentingCodes, TellsNothingOfCodesThatAreNotCounted) {
  MemoryBench bench("1604");
  EXPECT_EQ(bench.send("FF 20 00 02"), "63 00");
  EXPECT_EQ(bench.send("FF 20 00 02 02 55 55"), "63 00");
  EXPECT_EQ(bench.send("FF 20 00 02 02 FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF 20 00 81"), "63 00");
}

TEST(PresentingCodes, KnowsTheNumbersOfCodes) {
  struct Row {
    const char* kind;
    const char* command;
    const char* answer;
  };
  for (const Row& row : std::vector<Row>{
           {"4442", "FF 20 00 01 03 FF FF FF", "6A 88"},
           {"4442", "FF 20 00 80 03 FF FF FF", "6A 88"},
           {"1604", "FF 20 00 05 02 FF FF", "6A 88"},
           {"1604", "FF 20 00 85 02 FF FF", "6A 88"},
           {"1604", "FF 20 00 80 02 FF FF", "6A 88"},
           {"102", "FF 20 00 83 04 FF FF FF FF", "6A 88"},
           {"24c02", "FF 20 00 00 03 FF FF FF", "6A 81"},
           {"4432", "FF 20 00 00 03 FF FF FF", "6A 81"},
           {"4432", "FF 20 00 00", "6A 81"},
           {"4432", "FF 24 01 00 03 FF FF FF", "6A 81"},
       }) {
    MemoryBench bench(row.kind);
    const std::uint64_t before = bench.exchanges();
    EXPECT_EQ(bench.send(row.command), row.answer) << row.kind << ": " << row.command;
    EXPECT_EQ(bench.exchanges(), before);
  }
}

TEST(PresentingCodes, Refuses4406ThatIsPersonalised) {
  MemoryBench bench(card_with("4406", 8, hex("7F")));
  const Bytes before = bench.memory();
  EXPECT_EQ(bench.send("FF 20 00 00"), "6A 88");
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "6A 88");
  EXPECT_EQ(bench.send("FF D6 00 09 01 7F"), "69 86") << "units are no data";
  EXPECT_EQ(bench.memory(), before);
}

TEST(ChangingCodes, WantsThePresentOne) {
  for (const CodeOfCard& code : counted_codes) {
    const auto size = static_cast<std::size_t>(code.size);
    const auto changing = [&](const char* p1, const Bytes& data) {
      return hex(std::string("FF 24 ") + p1 + ' ' + code.number) +
             Bytes{static_cast<unsigned char>(data.size())} + data;
    };
    MemoryBench bench(code.kind);
    EXPECT_EQ(to_hex(bench.send(changing("01", Bytes(size, 0x77)))), "69 82") << code.kind;
    EXPECT_EQ(to_hex(bench.send(changing("01", Bytes(size + 1, 0x77)))), "67 00") << code.kind;
    EXPECT_EQ(to_hex(bench.send(changing("00", Bytes(size, 0x77)))), "67 00") << code.kind;
    EXPECT_EQ(bench.send(changing("00", Bytes(size, 0x11) + Bytes(size, 0x77))),
              attempts(code.attempts - 1));
    EXPECT_EQ(bench.send(changing("00", Bytes(size, 0xFF) + Bytes(size, 0x77))), success())
        << code.kind;
    EXPECT_EQ(bench.send(command_with(code, 0xFF)), attempts(code.attempts - 1)) << code.kind;
    EXPECT_EQ(bench.send(command_with(code, 0x77)), success()) << code.kind;
    EXPECT_EQ(bench.send(changing("01", Bytes(size, 0x66))), success()) << code.kind;
    EXPECT_EQ(bench.send(command_with(code, 0x66)), success()) << code.kind;
  }
}

// Of the 4406 a bit that is 0 stays 0.
TEST(ChangingCodes, KeepsACodeThatCannotBecomeTheNewOne) {
  MemoryBench bench(card_with("4406", 10, hex("77 77 77")));
  EXPECT_EQ(bench.send("FF 24 00 00 06 77 77 77 88 77 77"), "65 81");
  EXPECT_EQ(bench.send("FF 20 00 00 03 77 77 77"), "90 00");
}

}  // namespace
}  // namespace quorra::testing
