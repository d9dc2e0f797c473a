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

struct Refused {
  const char* what;
  const char* kind;
  std::vector<const char*> before;  // commands that succeed
  std::uint8_t command;             // that the reader refuses then, once
  const char* sent;
  const char* answer;
};

class RefusedCommand : public ::testing::TestWithParam<Refused> {};

TEST_P(RefusedCommand, IsNoSuccess) {
  MemoryBench bench(GetParam().kind);
  for (const char* command : GetParam().before) {
    ASSERT_EQ(bench.send(command).substr(0, 1), "9") << command;
  }
  const Bytes memory = bench.memory();
  bench.reader().arm(simulator::Fault{
      .kind = simulator::FaultKind::status, .parameter = 5, .on = GetParam().command});
  EXPECT_EQ(bench.send(GetParam().sent), GetParam().answer);
  EXPECT_EQ(bench.memory(), memory);
}

constexpr const char* code_4442 = "FF 20 00 00 03 FF FF FF";
constexpr const char* code_of_issuer = "FF 20 00 00 02 FF FF";
constexpr const char* speak_of_4442 = "FF A4 00 00 01 06";

INSTANTIATE_TEST_SUITE_P(
    All, RefusedCommand,
    ::testing::Values(
        Refused{"EraseAll", "93c46", {}, 0x78, "FF 0E 00 00", "65 81"},
        Refused{"Protect", "4442", {speak_of_4442, code_4442}, 0x75, "FF D1 00 04 01 FF", "65 81"},
        Refused{"ReadProtection", "4442", {speak_of_4442}, 0x74, "FF B2 00 00 04", "6F 00"},
        Refused{"ReadAttempts", "4442", {}, 0x67, "FF 20 00 00", "6F 00"},
        Refused{"ReadAttemptsToPresent", "4442", {}, 0x67, code_4442, "6F 00"},
        Refused{"ChangeCode", "4442", {code_4442}, 0x66, "FF 24 01 00 03 01 02 03", "65 81"},
        Refused{"SwitchOff", "4442", {}, 0xB3, speak_of_4442, "6F 00"},
        Refused{
            "EraseWithoutItsCode", "101", {code_of_issuer}, 0x76, "FF 0E 00 17 02 00 18", "69 82"},
        Refused{"EraseWithItsCode",
                "101",
                {code_of_issuer, "FF 20 00 80 04 FF FF FF FF"},
                0x76,
                "FF 0E 00 17 02 00 18",
                "65 81"},
        Refused{"EraseWhereThereIsNoCodeForIt",
                "102",
                {code_of_issuer},
                0x76,
                "FF 0E 00 0D 02 00 0E",
                "65 81"},
        Refused{"WriteWithTheCodeOfTheZone",
                "1604",
                {"FF 20 00 01 02 FF FF"},
                0x60,
                "FF D6 00 1C 01 11",
                "65 81"}),
    [](const auto& refused) { return refused.param.what; });

// The new code is written, but nobody can say so.
TEST(Refusals, OfReadingANewCodeBackAreNoSuccess) {
  MemoryBench bench("4442");
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "90 00");
  bench.reader().arm(
      simulator::Fault{.kind = simulator::FaultKind::status, .parameter = 5, .on = 0x65});
  EXPECT_EQ(bench.send("FF 24 01 00 03 01 02 03"), "6F 00");
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

class IdleProtection : public ::testing::Test {
 protected:
  // What a 4442 answers to its protection, where the reader does this instead.
  std::string protect(int (*write)(int, int, int, const unsigned char*)) {
    MemoryBench bench("4442");
    toolkit::Card idle = *toolkit::find_card("4442");
    idle.protection->write = write;
    pcsc::MemoryCard card(bench.session(), idle);
    EXPECT_EQ(to_hex(card.transmit(hex("FF A4 00 00 01 06"))), "90 00");
    EXPECT_EQ(to_hex(card.transmit(hex("FF 20 00 00 03 FF FF FF"))), "90 07");
    return to_hex(card.transmit(hex("FF D1 00 04 01 FF")));
  }
};

TEST_F(IdleProtection, IsFoundByReadingItsBits) {
  EXPECT_EQ(protect([](int, int, int, const unsigned char*) { return 0; }), "65 81");
}

TEST_F(IdleProtection, IsFoundByTheLibrary) {
  EXPECT_EQ(protect([](int, int, int, const unsigned char*) { return -129; }), "65 81");
}

// Of a card that was asked for its code after it was presented.
TEST(Refusals, OfACodeThatTheCardHoldsOtherwiseOpenNothing) {
  MemoryBench bench("4406");
  toolkit::Card other = *toolkit::find_card("4406");
  std::vector<toolkit::Code> codes(other.codes.begin(), other.codes.end());
  codes.front().present = [](int, const unsigned char*) { return -129; };
  other.codes = codes;
  pcsc::MemoryCard card(bench.session(), other);
  EXPECT_EQ(to_hex(card.transmit(hex("FF 20 00 00 03 FF FF FF"))), "6F 00");
  EXPECT_EQ(to_hex(card.transmit(hex("FF D6 00 03 01 11"))), "69 82");
}

// What has no protection has none to be read or set, whoever asks.
TEST(Refusals, OfProtectionAreThoseOfCardsWithoutIt) {
  MemoryBench bench("24c02");
  const toolkit::Card& plain = *toolkit::find_card("24c02");
  const pcsc::Codes codes(bench.session(), plain);
  const pcsc::Cells cells(bench.session(), plain, codes);
  const auto word_of = [](auto act) {
    try {
      act();
    } catch (const pcsc::Refusal& refusal) {
      return refusal.word;
    }
    return pcsc::StatusWord::success;
  };
  EXPECT_EQ(word_of([&] { cells.protect(0, {0xFF}); }), pcsc::StatusWord::not_supported);
  EXPECT_EQ(word_of([&] {
              static_cast<void>(cells.protection({0, 8}));
            }),
            pcsc::StatusWord::not_supported);
  MemoryBench other("4442");
  const toolkit::Card& protectable = *toolkit::find_card("4442");
  const pcsc::Codes other_codes(other.session(), protectable);
  const pcsc::Cells other_cells(other.session(), protectable, other_codes);
  EXPECT_EQ(word_of([&] {
              static_cast<void>(other_cells.protection({24, 9}));
            }),
            pcsc::StatusWord::wrong_address);
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
