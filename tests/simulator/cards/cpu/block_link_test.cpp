// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/cpu/block_link.hpp"

#include <gtest/gtest.h>

#include <ostream>

#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using quorra::testing::sealed;
using test::Bytes;
using test::hex;

// Answers each command with what the test has prepared.
class PreparedCard final : public ProcessorCard {
 public:
  void set_power(bool /*on*/) override {}
  std::optional<Bytes> reset() override { return std::nullopt; }
  std::optional<Bytes> transmit(std::span<const std::uint8_t> command) override {
    commands.emplace_back(command.begin(), command.end());
    return answer;
  }

  std::optional<Bytes> answer = hex("90 00");
  std::vector<Bytes> commands;
};

constexpr const char* resets_to_t1[] = {"3B 80 01 81", "3B 81 01 00 80", "3B F0 11 22 33 81",
                                        "3B C0 11 01", "3B A0 22 01", "3F 80 11",
                                        // T=0 first, but TA2 names T=1.
                                        "3B 80 10 01", "3B 80 90 81 00"};
constexpr const char* resets_to_t0[] = {"3B 00", "3B 02 01 02", "3B 80 00", "3B F0 01 01 01 80",
                                        "3B 70 01 01 01 01", "3B 80", "3B", "",
                                        // T=0 first and T=1 second; T=1 first, but TA2 names T=0.
                                        "3B 80 80 01 01", "3B 80 91 80 71 00"};
constexpr const char* reset_to_t14 = "3B 80 1E 00";

class Blocks : public ::testing::Test {
 protected:
  Blocks() { link.reset(hex(resets_to_t1[0])); }
  std::optional<Bytes> exchange(const Bytes& block) { return link.exchange(card, block); }
  // The answer to a block without its check byte; empty if the card is silent.
  Bytes exchange(std::string_view block) {
    return link.exchange(card, sealed(block)).value_or(Bytes{});
  }
  static Bytes counting(std::size_t count, std::uint8_t first = 0) {
    return quorra::testing::counting(count, first);
  }
  // A block with that PCB and information that counts up.
  static Bytes block(std::string_view control, const Bytes& information) {
    Bytes bytes = hex("00" + std::string(control));
    bytes.push_back(static_cast<std::uint8_t>(information.size()));
    bytes.insert(bytes.end(), information.begin(), information.end());
    return sealed(to_hex(bytes));
  }

  PreparedCard card;
  BlockLink link;
};

TEST(BlockLink, learns_the_protocol_from_the_answer_to_reset) {
  const Bytes block = sealed("00 00 00");
  BlockLink link;
  EXPECT_FALSE(link.takes(block));
  for (const auto* const answer : resets_to_t1) {
    link.reset(hex(answer));
    EXPECT_TRUE(link.takes(block)) << answer;
  }
  for (const auto* const answer : resets_to_t0) {
    link.reset(hex(answer));
    EXPECT_FALSE(link.takes(block)) << answer;
  }
  link.reset(hex(reset_to_t14));
  EXPECT_FALSE(link.takes(block));
}

struct Form {
  const char* bytes;
  bool on_t1;
};

std::ostream& operator<<(std::ostream& stream, const Form& form) { return stream << form.bytes; }

class Forms : public ::testing::TestWithParam<Form> {};

TEST_P(Forms, are_blocks_or_commands) {
  BlockLink link;
  link.reset(hex(resets_to_t0[0]));
  EXPECT_FALSE(link.takes(hex(GetParam().bytes)));
  link.reset(hex(resets_to_t1[0]));
  EXPECT_EQ(link.takes(hex(GetParam().bytes)), GetParam().on_t1);
}

INSTANTIATE_TEST_SUITE_P(
    All, Forms,
    ::testing::Values(Form{"00 00 05 00 84 00 00 08 89", true}, Form{"00 40 02 11 22 71", true},
                      // The check byte is right, and the PCB is not.
                      Form{"00 B0 01 A2 13", true},
                      // The check byte is wrong.
                      Form{"00 40 02 11 22 70", true}, Form{"21 60 00 00", true},
                      Form{"00 80 00 00", true}, Form{"00 92 00 00", true},
                      Form{"00 C0 00 00", true}, Form{"00 E3 00 00", true},
                      // So it is, and no block has such a PCB.
                      Form{"00 10 00 00", false}, Form{"00 01 00 00", false},
                      Form{"00 83 00 00", false}, Form{"00 A0 00 00", false},
                      Form{"00 C4 00 00", false}, Form{"00 D0 00 00", false},
                      // The length is wrong.
                      Form{"00 00 04 00 84 00 00 08 88", false}, Form{"00 00 00", false},
                      Form{"00", false}, Form{"", false},
                      // Commands.
                      Form{"00 A4 00 00 02 3F 00", false}, Form{"00 84 00 00 08", false},
                      Form{"00 B0 01 00 10", false}));

TEST_F(Blocks, carry_commands_and_answers) {
  card.answer = hex("11 22 33 90 00");
  EXPECT_EQ(exchange("00 00 05 00 B0 00 00 03"), sealed("00 00 05 11 22 33 90 00"));
  ASSERT_EQ(card.commands.size(), 1U);
  EXPECT_EQ(card.commands[0], hex("00 B0 00 00 03"));
  card.answer = Bytes{};
  EXPECT_EQ(exchange("00 40 00"), sealed("00 40 00"));
  EXPECT_EQ(card.commands.back(), Bytes{});
}

TEST_F(Blocks, are_numbered_in_turn_and_answered_to_where_they_came_from) {
  EXPECT_EQ(exchange("21 00 01 01"), sealed("12 00 02 90 00"));
  EXPECT_EQ(exchange("21 40 01 02"), sealed("12 40 02 90 00"));
  EXPECT_EQ(exchange("21 00 01 03"), sealed("12 00 02 90 00"));
  EXPECT_EQ(card.commands.size(), 3U);
}

TEST_F(Blocks, with_the_wrong_number_are_refused) {
  EXPECT_EQ(exchange("00 40 01 01"), sealed("00 82 00"));
  EXPECT_EQ(exchange("00 00 01 01"), sealed("00 00 02 90 00"));
  EXPECT_EQ(exchange("00 00 01 02"), sealed("00 92 00"));
  EXPECT_EQ(exchange("00 40 01 02"), sealed("00 40 02 90 00"));
  EXPECT_EQ(card.commands.size(), 2U);
}

TEST_F(Blocks, that_come_twice_are_carried_out_once) {
  card.answer = hex("63 C2");
  EXPECT_EQ(exchange("00 00 02 11 22"), sealed("00 00 02 63 C2"));
  card.answer = hex("63 C1");
  for (int times = 0; times < 3; ++times)
    EXPECT_EQ(exchange("00 00 02 11 22"), sealed("00 00 02 63 C2"));
  EXPECT_EQ(card.commands.size(), 1U);
  EXPECT_EQ(exchange("00 40 02 11 22"), sealed("00 40 02 63 C1"));
  EXPECT_EQ(card.commands.size(), 2U);
}

TEST_F(Blocks, that_a_silent_card_has_had_are_not_carried_out_again) {
  card.answer.reset();
  EXPECT_EQ(exchange("00 00 01 11"), Bytes{});
  EXPECT_EQ(exchange("00 00 01 11"), sealed("00 92 00"));
  EXPECT_EQ(card.commands.size(), 1U);
}

TEST_F(Blocks, are_refused_when_the_check_byte_is_wrong) {
  EXPECT_EQ(exchange(hex("00 00 02 11 22 00")), sealed("00 81 00"));
  EXPECT_EQ(exchange(hex("21 40 02 11 22 00")), sealed("12 81 00"));
  EXPECT_EQ(exchange("00 00 01 11"), sealed("00 00 02 90 00"));
  EXPECT_EQ(exchange(hex("00 00 02 11 22 00")), sealed("00 91 00"));
  EXPECT_EQ(exchange(hex("00 C0 00 00")), sealed("00 91 00"));
  EXPECT_EQ(card.commands.size(), 1U);
}

TEST_F(Blocks, are_refused_when_they_are_no_blocks) {
  for (const auto* const other :
       {"00 10 01 11", "00 01 01 11", "00 83 00", "00 A0 00", "00 C4 00", "00 B0 01 A2",
        // A receipt brings nothing.
        "00 80 01 00"})
    EXPECT_EQ(exchange(other), sealed("00 82 00")) << other;
  EXPECT_TRUE(card.commands.empty());
  exchange("00 00 01 11");
  EXPECT_EQ(exchange("00 80 01 00"), sealed("00 92 00"));
}

TEST_F(Blocks, hold_32_bytes_unless_the_answer_to_reset_says_otherwise) {
  struct Size {
    const char* answer_to_reset;
    std::size_t most;
  };
  const Size sizes[] = {{"3B 80 01 81", 32},
                        {"3B 80 81 11 FE EE", 254},
                        {"3B 80 81 11 10 00", 16},
                        {"3B 80 81 11 21 00", 33},
                        // Reserved values.
                        {"3B 80 81 11 00 00", 32},
                        {"3B 80 81 11 FF 00", 32},
                        // TA2, and TA3 of another protocol, are no size; of two, the first counts.
                        {"3B 80 91 01 40 00", 32},
                        {"3B 80 81 1F 40 00", 32},
                        {"3B 80 81 91 40 11 50 00", 64},
                        {"3B 80 81 9F 01 11 50 00", 80}};
  for (const auto& [answer_to_reset, most] : sizes) {
    link.reset(hex(answer_to_reset));
    EXPECT_EQ(exchange(block("00", counting(most + 1))), sealed("00 82 00")) << answer_to_reset;
    EXPECT_EQ(exchange(block("00", counting(most))), sealed("00 00 02 90 00")) << answer_to_reset;
  }
}

TEST_F(Blocks, bring_a_command_in_a_chain) {
  EXPECT_EQ(exchange("21 20 02 11 22"), sealed("12 90 00"));
  EXPECT_EQ(exchange("21 60 01 33"), sealed("12 80 00"));
  // The host has not seen that.
  EXPECT_EQ(exchange("21 60 01 33"), sealed("12 80 00"));
  EXPECT_EQ(exchange("21 82 00"), sealed("12 80 00"));
  EXPECT_EQ(exchange("21 92 00"), sealed("12 82 00"));
  EXPECT_EQ(exchange(hex("21 00 01 44 00")), sealed("12 81 00"));
  EXPECT_TRUE(card.commands.empty());
  EXPECT_EQ(exchange("21 00 01 44"), sealed("12 00 02 90 00"));
  ASSERT_EQ(card.commands.size(), 1U);
  EXPECT_EQ(card.commands[0], hex("11 22 33 44"));
  EXPECT_EQ(exchange("21 40 01 55"), sealed("12 40 02 90 00"));
  EXPECT_EQ(card.commands[1], hex("55"));
}

TEST_F(Blocks, bring_no_command_of_more_than_65536_bytes) {
  link.reset(hex("3B 80 81 11 FE EE"));
  bool number = false;
  for (int times = 0; times < 300; ++times, number = !number)
    EXPECT_EQ(exchange(block(number ? "60" : "20", Bytes(254, 0x11))),
              sealed(number ? "00 80 00" : "00 90 00"));
  EXPECT_EQ(exchange("00 00 01 11"), sealed("00 00 02 90 00"));
  EXPECT_EQ(card.commands.front(), Bytes(65536, 0x11));
}

TEST_F(Blocks, bring_a_long_answer_in_a_chain) {
  card.answer = counting(70);
  const Bytes first = block("20", counting(32));
  const Bytes second = block("60", counting(32, 32));
  const Bytes third = block("00", counting(6, 64));
  EXPECT_EQ(exchange("00 00 01 11"), first);
  // The host has not seen it, or has seen something else.
  EXPECT_EQ(exchange("00 00 01 11"), first);
  EXPECT_EQ(exchange("00 81 00"), first);
  EXPECT_EQ(exchange("00 90 00"), second);
  EXPECT_EQ(exchange("00 92 00"), second);
  EXPECT_EQ(exchange(hex("00 80 00 00")), sealed("00 91 00"));
  EXPECT_EQ(exchange("00 80 00"), third);
  EXPECT_EQ(exchange("00 80 00"), third);
  EXPECT_EQ(exchange("00 90 00"), sealed("00 92 00"));
  EXPECT_EQ(card.commands.size(), 1U);
  EXPECT_EQ(exchange("00 40 01 11"), block("60", counting(32)));
}

TEST_F(Blocks, of_information_are_refused_while_the_answer_goes_on) {
  card.answer = counting(33);
  exchange("00 00 01 11");
  EXPECT_EQ(exchange("00 40 01 22"), sealed("00 92 00"));
  EXPECT_EQ(exchange("00 90 00"), block("40", counting(1, 32)));
  EXPECT_EQ(exchange("00 40 01 22"), block("20", counting(32)));
  EXPECT_EQ(card.commands.size(), 2U);
}

TEST_F(Blocks, are_repeated_only_when_there_has_been_one) {
  EXPECT_EQ(exchange("00 80 00"), sealed("00 82 00"));
  EXPECT_EQ(exchange("00 90 00"), sealed("00 82 00"));
}

TEST_F(Blocks, from_the_card_are_as_large_as_the_host_wants) {
  card.answer = counting(254);
  EXPECT_EQ(exchange("21 C1 01 FE"), sealed("12 E1 01 FE"));
  EXPECT_EQ(exchange("00 00 01 11"), block("00", counting(254)));
  EXPECT_EQ(exchange("00 C1 01 01"), sealed("00 E1 01 01"));
  EXPECT_EQ(exchange("00 40 01 11"), sealed("00 60 01 00"));
  // In the middle of a chain, too.
  EXPECT_EQ(exchange("00 C1 01 FC"), sealed("00 E1 01 FC"));
  EXPECT_EQ(exchange("00 80 00"), block("20", counting(252, 1)));
  EXPECT_EQ(exchange("00 90 00"), block("40", counting(1, 253)));
}

TEST_F(Blocks, have_a_size_between_1_and_254) {
  for (const auto* const request : {"00 C1 00", "00 C1 01 00", "00 C1 01 FF", "00 C1 02 20 20"})
    EXPECT_EQ(exchange(request), sealed("00 82 00")) << request;
  card.answer = counting(33);
  EXPECT_EQ(exchange("00 00 01 11"), block("20", counting(32)));
}

TEST_F(Blocks, start_over_when_the_host_wants_it) {
  card.answer = counting(300);
  exchange("00 C1 01 FE");
  exchange("00 00 01 11");
  EXPECT_EQ(exchange("21 C0 00"), sealed("12 E0 00"));
  // Nothing is left of the answer, of its number or of the size.
  EXPECT_EQ(exchange("00 90 00"), sealed("00 82 00"));
  EXPECT_EQ(exchange("00 00 01 11"), block("20", counting(32)));
  EXPECT_EQ(exchange("00 C0 00"), sealed("00 E0 00"));
  EXPECT_EQ(exchange("00 20 01 11"), sealed("00 90 00"));
  EXPECT_EQ(exchange("00 C0 00"), sealed("00 E0 00"));
  card.answer = hex("90 00");
  exchange("00 00 01 22");
  EXPECT_EQ(card.commands.back(), hex("22"));
  EXPECT_EQ(exchange("00 C0 01 00"), sealed("00 92 00"));
}

TEST_F(Blocks, keep_the_size_of_the_card_when_they_start_over) {
  link.reset(hex("3B 80 81 11 21 00"));
  exchange("00 C0 00");
  EXPECT_EQ(exchange(block("00", counting(33))), sealed("00 00 02 90 00"));
}

TEST_F(Blocks, end_a_chain_when_the_host_breaks_it_off) {
  EXPECT_EQ(exchange("00 20 01 11"), sealed("00 90 00"));
  EXPECT_EQ(exchange("00 C2 00"), sealed("00 E2 00"));
  card.answer = counting(33);
  EXPECT_EQ(exchange("00 40 01 22"), block("20", counting(32)));
  EXPECT_EQ(card.commands.back(), hex("22"));
  EXPECT_EQ(exchange("00 C2 00"), sealed("00 E2 00"));
  EXPECT_EQ(exchange("00 90 00"), sealed("00 82 00"));
  EXPECT_EQ(exchange("00 00 01 33"), block("60", counting(32)));
  EXPECT_EQ(exchange("00 C2 01 00"), sealed("00 92 00"));
}

TEST_F(Blocks, of_a_host_ask_for_no_time_and_answer_nothing_unasked) {
  for (const auto* const other :
       {"00 C3 01 01", "00 E0 00", "00 E1 01 FE", "00 E2 00", "00 E3 01 01"})
    EXPECT_EQ(exchange(other), sealed("00 82 00")) << other;
}

TEST_F(Blocks, begin_anew_with_a_reset) {
  card.answer = counting(300);
  exchange("00 C1 01 FE");
  exchange("00 00 01 11");
  link.reset(hex(resets_to_t1[0]));
  EXPECT_EQ(exchange("00 90 00"), sealed("00 82 00"));
  EXPECT_EQ(exchange("00 00 01 11"), block("20", counting(32)));
  EXPECT_EQ(card.commands.size(), 2U);
}

}  // namespace
}  // namespace quorra::simulator
