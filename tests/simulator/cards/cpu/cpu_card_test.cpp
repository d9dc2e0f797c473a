// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/cpu/cpu_card.hpp"

#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include "simulator/cards/cpu/des.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/cards/slot.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;

class ProcessorCardTest : public ::testing::Test {
 protected:
  ProcessorCardTest() {
    slot.insert(card);
    slot.set_vcc(true);
    card.reset();
  }
  static Image content() {
    Image image(find_kind("cpu"));
    std::uint8_t next = 0;
    for (const auto* const field : {"memory", "private", "records"})
      std::ranges::generate(image.field(field), [&next] { return next++; });
    std::ranges::copy(hex("13 34 57 79 9B BC DF F1"), image.field("key").begin());
    return image;
  }
  Bytes transmit(std::string_view command) { return *card.transmit(hex(command)); }
  Bytes stored(std::string_view field) const {
    const auto bytes = std::as_const(card).image().field(field);
    return {bytes.begin(), bytes.end()};
  }
  void select(std::string_view identifier) {
    EXPECT_EQ(transmit("00 A4 00 0C 02" + std::string(identifier)), hex("9000"));
  }
  void verify() { EXPECT_EQ(transmit("00 20 00 01 04 31 32 33 34"), hex("9000")); }

  CpuCard card{content()};
  Slot slot;
};

// Bytes that count up, and the status word.
Bytes counting(std::uint8_t first, std::size_t count, std::string_view word) {
  return test::joined({quorra::testing::counting(count, first), hex(word)});
}

TEST_F(ProcessorCardTest, answers_to_reset) {
  EXPECT_EQ(card.reset(), hex("3B 86 01 51 55 4F 52 52 41 8D"));
}

TEST_F(ProcessorCardTest, leaves_its_contacts_alone) {
  slot.set_io(true);
  slot.set_c8(true);
  slot.set_rst(true);
  slot.clock_pulse();
  slot.set_rst(false);
  for (int i = 0; i < 64; ++i) {
    slot.clock_pulse();
    EXPECT_TRUE(slot.read_io() && slot.read_c8());
  }
}

// What a card answers to a command straight after its reset.
struct Refusal {
  const char* command;
  const char* answer;
};

std::ostream& operator<<(std::ostream& stream, const Refusal& tested) {
  return stream << tested.command;
}

class ResetCard : public ProcessorCardTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(ResetCard, refuses) { EXPECT_EQ(transmit(GetParam().command), hex(GetParam().answer)); }

INSTANTIATE_TEST_SUITE_P(
    Commands, ResetCard,
    ::testing::Values(
        // Lengths.
        Refusal{"00", "6700"}, Refusal{"00 A4 00", "6700"}, Refusal{"00 A4 00 00 02 3F", "6700"},
        Refusal{"00 A4 00 00 02 3F 00 00 00", "6700"}, Refusal{"00 A4 00 00 01 3F", "6700"},
        Refusal{"00 A4 00 00 03 3F 00 00", "6700"}, Refusal{"00 A4 00 00 00 00 02 3F 00", "6700"},
        Refusal{"00 B0 00 00", "6700"}, Refusal{"00 B0 00 00 01 00", "6700"},
        Refusal{"00 B2 01 04", "6700"}, Refusal{"00 84 00 00", "6700"},
        Refusal{"00 C0 00 00", "6700"}, Refusal{"00 20 00 01 03 31 32 33", "6700"},
        Refusal{"00 20 00 01 05 31 32 33 34 35", "6700"}, Refusal{"00 20 00 01 04", "6700"},
        Refusal{"00 D6 00 00 01 00 01", "6700"}, Refusal{"00 88 00 00 07 01020304050607", "6700"},
        Refusal{"00 88 00 00 09 010203040506070809", "6700"}, Refusal{"00 88 00 00", "6700"},
        // Classes and instructions, whatever the length.
        Refusal{"80 A4 00 00 02 3F 00", "6E00"}, Refusal{"0C B0 00 00 00", "6E00"},
        Refusal{"FF FF FF FF", "6E00"}, Refusal{"00 00 00 00", "6D00"},
        Refusal{"00 82 00 00 00", "6D00"},
        // Parameters.
        Refusal{"00 A4 04 00 02 3F 00", "6A86"}, Refusal{"00 A4 00 04 02 3F 00", "6A86"},
        Refusal{"00 20 00 00 04 31 32 33 34", "6A86"}, Refusal{"00 20 00 02", "6A86"},
        Refusal{"00 84 01 00 08", "6A86"}, Refusal{"00 C0 00 01 08", "6A86"},
        Refusal{"00 88 00 01 08 0102030405060708", "6A86"},
        // Files.
        Refusal{"00 A4 00 00 02 00 04", "6A82"}, Refusal{"00 A4 00 00 02 3F 01", "6A82"},
        Refusal{"00 B0 00 00 00", "6986"}, Refusal{"00 D6 00 00 01 00", "6986"},
        Refusal{"00 B2 01 04 10", "6986"},
        // Nothing is ready to be fetched, and no code was verified.
        Refusal{"00 C0 00 00 00", "6985"}, Refusal{"00 20 00 01", "63C3"},
        Refusal{"00 20 00 01 00", "63C3"}));

TEST_F(ProcessorCardTest, describes_the_file_that_is_selected) {
  const std::pair<const char*, const char*> descriptions[] = {
      {"00 A4 00 00 02 3F 00 00", "6F 0B 80 02 00 00 82 01 38 83 02 3F 00 90 00"},
      {"00 A4 00 00 02 00 01 00", "6F 0B 80 02 02 00 82 01 01 83 02 00 01 90 00"},
      {"00 A4 00 00 02 00 02 00", "6F 0B 80 02 00 80 82 01 01 83 02 00 02 90 00"},
      {"00 A4 00 00 02 00 03 00", "6F 0B 80 02 00 80 82 01 02 83 02 00 03 90 00"},
      {"00 A4 00 00 00", "6F 0B 80 02 00 00 82 01 38 83 02 3F 00 90 00"}};
  for (const auto& [command, answer] : descriptions)
    EXPECT_EQ(transmit(command), hex(answer)) << command;
  EXPECT_EQ(transmit("00 A4 00 00 02 00 01 04"), hex("6F 0B 80 02 90 00"));
  EXPECT_EQ(transmit("00 A4 00 00 02 00 01 0E"), hex("6C 0D"));
}

TEST_F(ProcessorCardTest, lets_a_description_be_fetched) {
  EXPECT_EQ(transmit("00 A4 00 00 02 00 01"), hex("61 0D"));
  EXPECT_EQ(transmit("00 C0 00 00 02"), hex("6F 0B 61 0B"));
  EXPECT_EQ(transmit("00 C0 00 00 0C"), hex("6C 0B"));
  EXPECT_EQ(transmit("00 C0 00 00 0B"), hex("80 02 02 00 82 01 01 83 02 00 01 90 00"));
  EXPECT_EQ(transmit("00 C0 00 00 00"), hex("69 85"));
}

TEST_F(ProcessorCardTest, forgets_what_could_be_fetched_with_the_next_command) {
  for (const auto* const other : {"00 20 00 01", "00 FF 00 00", "80 00 00 00", "00 A4"}) {
    EXPECT_EQ(transmit("00 A4 00 00 02 00 01"), hex("61 0D"));
    transmit(other);
    EXPECT_EQ(transmit("00 C0 00 00 00"), hex("69 85")) << other;
  }
  EXPECT_EQ(transmit("00 A4 00 00 02 00 01"), hex("61 0D"));
  select("0001");
  EXPECT_EQ(transmit("00 C0 00 00 00"), hex("69 85"));
}

TEST_F(ProcessorCardTest, keeps_the_selected_file_when_there_is_no_such_file) {
  select("0001");
  EXPECT_EQ(transmit("00 A4 00 00 02 00 05"), hex("6A82"));
  EXPECT_EQ(transmit("00 B0 00 00 01"), hex("00 90 00"));
  select("3F00");
  EXPECT_EQ(transmit("00 B0 00 00 01"), hex("69 86"));
}

TEST_F(ProcessorCardTest, reads_a_transparent_file) {
  select("0001");
  EXPECT_EQ(transmit("00 B0 00 00 04"), counting(0, 4, "9000"));
  EXPECT_EQ(transmit("00 B0 01 FF 01"), counting(0xFF, 1, "9000"));
  EXPECT_EQ(transmit("00 B0 01 FF 00"), counting(0xFF, 1, "9000"));
  EXPECT_EQ(transmit("00 B0 01 FE 03"), hex("6C 02"));
  EXPECT_EQ(transmit("00 B0 02 00 01"), hex("6B 00"));
  EXPECT_EQ(transmit("00 B0 81 00 01"), hex("6B 00"));
  EXPECT_EQ(transmit("00 B2 01 04 10"), hex("69 81"));
}

TEST_F(ProcessorCardTest, sends_no_more_than_128_bytes_at_once) {
  select("0001");
  EXPECT_EQ(transmit("00 B0 00 00 80"), counting(0, 128, "9000"));
  EXPECT_EQ(transmit("00 B0 00 00 81"), counting(0, 128, "6101"));
  EXPECT_EQ(transmit("00 C0 00 00 01"), counting(0x80, 1, "9000"));
  EXPECT_EQ(transmit("00 B0 00 00 00"), counting(0, 128, "6180"));
  EXPECT_EQ(transmit("00 C0 00 00 80"), counting(0x80, 128, "9000"));
  EXPECT_EQ(transmit("00 C0 00 00 01"), hex("69 85"));
}

TEST_F(ProcessorCardTest, lets_what_a_wrong_length_asked_for_be_fetched) {
  select("0001");
  EXPECT_EQ(transmit("00 B0 01 F0 20"), hex("6C 10"));
  EXPECT_EQ(transmit("00 C0 00 00 10"), counting(0xF0, 16, "9000"));
}

TEST_F(ProcessorCardTest, updates_a_transparent_file) {
  select("0001");
  const auto changes = card.changes();
  EXPECT_EQ(transmit("00 D6 01 FE 02 AA BB"), hex("9000"));
  EXPECT_GT(card.changes(), changes);
  EXPECT_EQ(transmit("00 B0 01 FD 00"), hex("FD AA BB 90 00"));
  EXPECT_EQ(transmit("00 D6 01 FE 03 11 22 33"), hex("67 00"));
  EXPECT_EQ(transmit("00 D6 02 00 01 11"), hex("6B 00"));
  EXPECT_EQ(transmit("00 D6 00 00"), hex("67 00"));
  EXPECT_EQ(transmit("00 B0 01 FD 00"), hex("FD AA BB 90 00"));
}

TEST_F(ProcessorCardTest, guards_a_file_with_the_code) {
  select("0002");
  EXPECT_EQ(transmit("00 B0 00 00 01"), hex("69 82"));
  EXPECT_EQ(transmit("00 D6 00 00 01 55"), hex("69 82"));
  verify();
  EXPECT_EQ(transmit("00 D6 00 00 01 55"), hex("90 00"));
  EXPECT_EQ(transmit("00 B0 00 00 02"), hex("55 01 90 00"));
  EXPECT_EQ(transmit("00 B0 00 80 01"), hex("6B 00"));
}

TEST_F(ProcessorCardTest, reads_records) {
  select("0003");
  EXPECT_EQ(transmit("00 B2 01 04 10"), counting(0x80, 16, "9000"));
  EXPECT_EQ(transmit("00 B2 08 04 00"), counting(0xF0, 16, "9000"));
  EXPECT_EQ(transmit("00 B2 02 04 02"), counting(0x90, 2, "9000"));
  EXPECT_EQ(transmit("00 B2 02 04 11"), hex("6C 10"));
  EXPECT_EQ(transmit("00 B2 00 04 10"), hex("6A 83"));
  EXPECT_EQ(transmit("00 B2 09 04 10"), hex("6A 83"));
  EXPECT_EQ(transmit("00 B2 01 02 10"), hex("6A 86"));
  EXPECT_EQ(transmit("00 B0 00 00 10"), hex("69 81"));
  EXPECT_EQ(transmit("00 D6 00 00 01 00"), hex("69 81"));
}

TEST_F(ProcessorCardTest, counts_wrong_codes_until_it_is_blocked) {
  EXPECT_EQ(transmit("00 20 00 01 04 31 32 33 35"), hex("63 C2"));
  EXPECT_EQ(stored("counter"), hex("02"));
  EXPECT_EQ(transmit("00 20 00 01"), hex("63 C2"));
  EXPECT_EQ(transmit("00 20 00 01 04 30 32 33 34"), hex("63 C1"));
  EXPECT_EQ(transmit("00 20 00 01 04 30 32 33 34"), hex("63 C0"));
  EXPECT_EQ(transmit("00 20 00 01 04 31 32 33 34"), hex("69 83"));
  EXPECT_EQ(transmit("00 20 00 01"), hex("69 83"));
  EXPECT_EQ(stored("counter"), hex("00"));
}

TEST_F(ProcessorCardTest, gives_all_attempts_back_for_the_right_code) {
  EXPECT_EQ(transmit("00 20 00 01 04 00 00 00 00"), hex("63 C2"));
  EXPECT_EQ(transmit("00 20 00 01 04 00 00 00 00"), hex("63 C1"));
  verify();
  EXPECT_EQ(stored("counter"), hex("03"));
  EXPECT_EQ(transmit("00 20 00 01"), hex("90 00"));
}

TEST_F(ProcessorCardTest, counts_no_code_of_a_wrong_length) {
  EXPECT_EQ(transmit("00 20 00 01 03 31 32 33"), hex("67 00"));
  EXPECT_EQ(stored("counter"), hex("03"));
}

TEST_F(ProcessorCardTest, forgets_the_code_the_file_and_the_answer) {
  const auto expect_forgotten = [this](const char* after) {
    EXPECT_EQ(transmit("00 C0 00 00 00"), hex("69 85")) << after;
    EXPECT_EQ(transmit("00 B0 00 00 01"), hex("69 86")) << after;
    EXPECT_EQ(transmit("00 20 00 01"), hex("63 C3")) << after;
  };
  const auto remember = [this] {
    verify();
    select("0001");
    EXPECT_EQ(transmit("00 B0 00 00 81").size(), 130U);
  };
  remember();
  card.reset();
  expect_forgotten("reset");
  remember();
  slot.power_off();
  slot.set_vcc(true);
  expect_forgotten("no power");
}

TEST_F(ProcessorCardTest, forgets_the_code_when_a_wrong_one_follows) {
  verify();
  EXPECT_EQ(transmit("00 20 00 01 04 00 00 00 00"), hex("63 C2"));
  select("0002");
  EXPECT_EQ(transmit("00 B0 00 00 01"), hex("69 82"));
}

TEST_F(ProcessorCardTest, gives_a_new_challenge_each_time) {
  const Bytes challenge = transmit("00 84 00 00 08");
  EXPECT_EQ(challenge.size(), 10U);
  EXPECT_EQ(Bytes(challenge.end() - 2, challenge.end()), hex("9000"));
  EXPECT_NE(transmit("00 84 00 00 08"), challenge);
  EXPECT_EQ(transmit("00 84 00 00 00").size(), 10U);
  EXPECT_EQ(transmit("00 84 00 00 04").size(), 6U);
  EXPECT_EQ(transmit("00 84 00 00 09"), hex("6C 08"));
}

TEST_F(ProcessorCardTest, proves_that_it_knows_the_key) {
  EXPECT_EQ(transmit("00 88 00 00 08 01 23 45 67 89 AB CD EF 08"),
            hex("85 E8 13 54 0F 0A B4 05 90 00"));
  EXPECT_EQ(transmit("00 88 00 00 08 01 23 45 67 89 AB CD EF"), hex("61 08"));
  EXPECT_EQ(transmit("00 C0 00 00 08"), hex("85 E8 13 54 0F 0A B4 05 90 00"));
}

// FIPS 81, and a key of which only the parity bits are set.
TEST(Des, enciphers_known_blocks) {
  const auto encipher = [](std::string_view key, std::string_view block) {
    const Bytes key_bytes = hex(key);
    const Bytes block_bytes = hex(block);
    const DesBlock result = encipher_with_des(std::span<const std::uint8_t, 8>(key_bytes),
                                              std::span<const std::uint8_t, 8>(block_bytes));
    return Bytes(result.begin(), result.end());
  };
  EXPECT_EQ(encipher("0123456789ABCDEF", "4E6F772069732074"), hex("3FA40E8A984D4815"));
  EXPECT_EQ(encipher("0101010101010101", "8000000000000000"), hex("95F8A5E5DD31D900"));
}

}  // namespace
}  // namespace quorra::simulator
