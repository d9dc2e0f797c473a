#include "simulator/cards/cpu/block_link.hpp"

#include <gtest/gtest.h>

#include <ostream>

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
                                        "3B C0 11 01", "3B A0 22 01",    "3F 80 11"};
constexpr const char* resets_to_t0[] = {
    "3B 00", "3B 02 01 02", "3B 80 00", "3B F0 01 01 01 80", "3B 70 01 01 01 01",
    "3B 80", "3B",          ""};

class Blocks : public ::testing::Test {
 protected:
  Blocks() { link.reset(hex(resets_to_t1[0])); }
  std::optional<Bytes> exchange(const Bytes& block) { return link.exchange(card, block); }

  PreparedCard card;
  BlockLink link;
};

TEST(BlockLink, learns_the_first_protocol_from_the_answer_to_reset) {
  // On a card with T=1 a wrong check byte does not keep it from being a block.
  const Bytes wrong = hex("00 00 00 55");
  BlockLink link;
  for (const auto* const answer : resets_to_t1) {
    link.reset(hex(answer));
    EXPECT_TRUE(link.takes(wrong)) << answer;
  }
  for (const auto* const answer : resets_to_t0) {
    link.reset(hex(answer));
    EXPECT_FALSE(link.takes(wrong)) << answer;
  }
}

struct Form {
  const char* bytes;
  bool on_t0;
  bool on_t1;
};

std::ostream& operator<<(std::ostream& stream, const Form& form) { return stream << form.bytes; }

class Forms : public ::testing::TestWithParam<Form> {};

TEST_P(Forms, are_blocks_or_commands) {
  BlockLink link;
  EXPECT_EQ(link.takes(hex(GetParam().bytes)), GetParam().on_t0);
  link.reset(hex(resets_to_t1[0]));
  EXPECT_EQ(link.takes(hex(GetParam().bytes)), GetParam().on_t1);
}

INSTANTIATE_TEST_SUITE_P(
    All, Forms,
    ::testing::Values(Form{"00 00 05 00 84 00 00 08 89", true, true},
                      Form{"00 40 02 11 22 71", true, true},
                      // The check byte is wrong.
                      Form{"00 40 02 11 22 70", false, true}, Form{"21 60 00 00", false, true},
                      Form{"00 80 00 00", false, true}, Form{"00 92 00 00", false, true},
                      Form{"00 C0 00 00", false, true}, Form{"00 E3 00 00", false, true},
                      // So it is, and no block has such a PCB.
                      Form{"00 10 00 00", false, false}, Form{"00 01 00 00", false, false},
                      Form{"00 83 00 00", false, false}, Form{"00 A0 00 00", false, false},
                      Form{"00 C4 00 00", false, false}, Form{"00 D0 00 00", false, false},
                      // The length is wrong.
                      Form{"00 00 04 00 84 00 00 08 88", false, false},
                      Form{"00 00 00", false, false}, Form{"00", false, false},
                      Form{"", false, false},
                      // Commands.
                      Form{"00 A4 00 00 02 3F 00", false, false},
                      Form{"00 84 00 00 08", false, false}, Form{"00 B0 01 00 10", false, false}));

TEST_F(Blocks, carry_commands_and_answers) {
  card.answer = hex("11 22 33 90 00");
  EXPECT_EQ(exchange(sealed("00 00 05 00 B0 00 00 03")), sealed("00 00 05 11 22 33 90 00"));
  ASSERT_EQ(card.commands.size(), 1U);
  EXPECT_EQ(card.commands[0], hex("00 B0 00 00 03"));
}

TEST_F(Blocks, answer_with_the_number_and_the_address_they_came_with) {
  EXPECT_EQ(exchange(sealed("21 40 01 00")), sealed("12 40 02 90 00"));
  EXPECT_EQ(exchange(sealed("21 40 01 00")), sealed("12 40 02 90 00"));
  EXPECT_EQ(exchange(sealed("21 00 01 00")), sealed("12 00 02 90 00"));
  EXPECT_EQ(card.commands.size(), 3U);
}

TEST_F(Blocks, are_refused_when_the_check_byte_is_wrong) {
  EXPECT_EQ(exchange(hex("00 00 02 11 22 00")), sealed("00 81 00"));
  EXPECT_EQ(exchange(hex("21 40 02 11 22 00")), sealed("12 91 00"));
  EXPECT_TRUE(card.commands.empty());
}

TEST_F(Blocks, are_refused_when_more_follow) {
  EXPECT_EQ(exchange(sealed("00 20 01 00")), sealed("00 82 00"));
  EXPECT_EQ(exchange(sealed("00 60 01 00")), sealed("00 92 00"));
  EXPECT_TRUE(card.commands.empty());
}

TEST_F(Blocks, are_repeated) {
  EXPECT_EQ(exchange(sealed("00 80 00")), sealed("00 82 00"));
  const auto answer = exchange(sealed("00 40 01 00"));
  EXPECT_EQ(exchange(sealed("00 91 00")), answer);
  EXPECT_EQ(card.commands.size(), 1U);
  link.reset(hex(resets_to_t1[0]));
  EXPECT_EQ(exchange(sealed("00 80 00")), sealed("00 82 00"));
}

TEST_F(Blocks, settle_sizes_and_start_over) {
  EXPECT_EQ(exchange(sealed("00 C1 01 FE")), sealed("00 E1 01 FE"));
  EXPECT_EQ(exchange(sealed("21 C0 00")), sealed("12 E0 00"));
  EXPECT_EQ(exchange(sealed("00 C2 00")), sealed("00 E2 00"));
  EXPECT_EQ(exchange(sealed("00 C3 01 01")), sealed("00 82 00"));
  EXPECT_EQ(exchange(sealed("00 E1 01 FE")), sealed("00 82 00"));
  EXPECT_TRUE(card.commands.empty());
}

TEST_F(Blocks, hold_254_bytes) {
  card.answer = Bytes(254, 0x11);
  EXPECT_EQ(exchange(sealed("00 00 01 00"))->size(), 258U);
  card.answer = Bytes(255, 0x11);
  EXPECT_FALSE(exchange(sealed("00 00 01 00")));
  card.answer.reset();
  EXPECT_FALSE(exchange(sealed("00 00 01 00")));
}

}  // namespace
}  // namespace quorra::simulator
