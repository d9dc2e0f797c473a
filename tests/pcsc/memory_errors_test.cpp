// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What becomes of commands to memory cards when answers are lost, or the reader refuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/pcsc/memory_bench.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::testing {
namespace {

constexpr std::uint8_t write_command = 0x60;
constexpr std::uint8_t read_command = 0x61;
constexpr std::uint8_t write_pages_command = 0x62;
constexpr std::uint8_t present_command = 0x64;

TEST(LostAnswers, EndACommandOnce) {
  struct Row {
    const char* kind;
    std::uint8_t lost;
    const char* command;
    std::uint64_t exchanges;  // up to the one that is lost
  };
  for (const Row& row : std::vector<Row>{
           {"24c02", read_command, "FF B0 00 00 10", 1},
           {"24c02", write_pages_command, "FF D6 00 00 01 11", 1},
           {"24c02", read_command, "FF D6 00 00 01 11", 2},
           {"93c46", write_command, "FF D6 00 00 01 11", 1},
           {"4432", write_command, "FF D6 00 40 01 11", 1},
           {"4442", present_command, "FF 20 00 00 03 11 11 11", 2},
           {"4442", 0x67, "FF 20 00 00", 1},
           {"1604b", present_command, "FF 20 00 03 02 11 11", 2},
           {"93c46", 0x78, "FF 0E 00 00", 1},
       }) {
    MemoryBench bench(row.kind);
    const std::uint64_t before = bench.exchanges();
    bench.spoil_reply(row.lost);
    EXPECT_THROW(bench.send(hex(row.command)), toolkit::Unanswered) << row.command;
    EXPECT_EQ(bench.exchanges() - before, row.exchanges) << row.kind << ": " << row.command;
  }
}

TEST(LostAnswers, CostAtMostOneAttempt) {
  MemoryBench bench("4442");
  bench.spoil_reply(present_command);
  EXPECT_THROW(bench.send(hex("FF 20 00 00 03 11 11 11")), toolkit::Unanswered);
  EXPECT_EQ(bench.send("FF 20 00 00"), "63 C2");
}

// Nobody knows whether the code was right.
TEST(LostAnswers, OpenNoCard) {
  MemoryBench bench("4442");
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "90 00");
  bench.spoil_reply(present_command);
  EXPECT_THROW(bench.send(hex("FF 20 00 00 03 FF FF FF")), toolkit::Unanswered);
  EXPECT_EQ(bench.send("FF D6 00 40 01 11"), "69 82");
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF D6 00 40 01 11"), "90 00");
}

TEST(Refusals, AreNoSuccess) {
  MemoryBench bench("24c02");
  simulator::Fault fault;
  fault.kind = simulator::FaultKind::status;
  fault.parameter = 5;
  bench.reader().arm(fault);
  EXPECT_EQ(bench.send("FF B0 00 00 01"), "6F 00");
  bench.reader().arm(fault);
  EXPECT_EQ(bench.send("FF D6 00 00 01 11"), "65 81");
  EXPECT_EQ(bench.memory().front(), 0xFF);
}

// Such a refusal costs no attempt, and says nothing of the code.
TEST(Refusals, OfCodesAreNoWrongCodes) {
  MemoryBench bench("4442");
  simulator::Fault fault;
  fault.kind = simulator::FaultKind::status;
  fault.parameter = 5;
  fault.on = present_command;
  bench.reader().arm(fault);
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "6F 00");
  EXPECT_EQ(bench.send("FF 20 00 00"), "63 C3");
}

TEST(Refusals, OfTheFirstReadLeaveNoCard) {
  simulator::RunningReader reader;
  OpenSession session(reader->configuration());
  EXPECT_THROW(pcsc::MemoryCard(session, *toolkit::find_card("4442")), toolkit::Failure);
}

// A reader may say that it did something, and not have done it.
TEST(Refusals, AreFoundByReadingBack) {
  for (const char* kind : {"93c46", "4442"}) {
    TemporaryDirectory folder;
    simulator::Options options;
    options.card = folder / "card";
    save_image(card_with(kind, 0x40, hex("11")), options.card);
    simulator::RunningReader reader(options);
    OpenSession session(reader->configuration());
    toolkit::Card idle = *toolkit::find_card(kind);
    idle.memory.write = [](int, int, int, const unsigned char*) { return 0; };
    idle.erase_all = [](int) { return 0; };
    std::vector<toolkit::Code> codes(idle.codes.begin(), idle.codes.end());
    for (toolkit::Code& code : codes) {
      code.change = [](int, const unsigned char*) { return 0; };
    }
    idle.codes = codes;
    pcsc::MemoryCard card(session, idle);
    if (!codes.empty()) {
      EXPECT_EQ(to_hex(card.transmit(hex("FF 20 00 00 03 FF FF FF"))), "90 00");
      EXPECT_EQ(to_hex(card.transmit(hex("FF 24 01 00 03 11 22 33"))), "65 81");
      EXPECT_EQ(to_hex(card.transmit(hex("FF 24 01 00 03 FF FF FF"))), "90 00");
    }
    EXPECT_EQ(to_hex(card.transmit(hex("FF D6 00 40 01 22"))), "65 81");
    EXPECT_EQ(to_hex(card.transmit(hex("FF 0E 00 00"))), "65 81");
  }
}

// It has no attempt where a 101 has one, so the reader cannot pay for a comparison.
TEST(Refusals, OfACodeOf102ThatIsTakenFor101CostNothing) {
  TemporaryDirectory folder;
  simulator::Options options;
  options.card = folder / "card";
  save_image(new_card("102"), options.card);
  simulator::RunningReader reader(options);
  OpenSession session(reader->configuration());
  pcsc::MemoryCard card(session, *toolkit::find_card("101"));
  EXPECT_EQ(to_hex(card.transmit(hex("FF 20 00 00 02 FF FF"))), "6F 00");
  EXPECT_EQ(to_hex(card.transmit(hex("FF 20 00 00 02 11 11"))), "6F 00");
  EXPECT_EQ(to_hex(card.transmit(hex("FF D6 00 56 01 11"))), "69 82");
  const simulator::State state = reader->state();
  EXPECT_TRUE(std::ranges::equal(state.card->field("memory"), new_card("102").field("memory")));
}

TEST(PulledCards, AreNotWritten) {
  MemoryBench bench("24c02");
  bench.reader().remove();
  EXPECT_EQ(bench.send("FF B0 00 00 01"), "6F 00");
  EXPECT_NE(bench.send("FF D6 00 00 01 11"), "90 00");
}

// What is written is read back.
TEST(PulledCards, AreNoSuccess) {
  MemoryBench bench("24c02");
  simulator::Fault fault;
  fault.kind = simulator::FaultKind::pull_card;
  bench.reader().arm(fault);
  EXPECT_NE(bench.send("FF D6 00 00 08 01 02 03 04 05 06 07 08"), "90 00");
}

}  // namespace
}  // namespace quorra::testing
