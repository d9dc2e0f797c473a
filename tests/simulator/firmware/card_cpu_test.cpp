// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/error.hpp"
#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using quorra::testing::sealed;
using namespace test::status;
using test::Bytes;
using test::hex;
using test::new_card;
using test::reply;
using test::request;
using test::ServedBench;
using ::testing::HasSubstr;

constexpr const char* atr_t1 = "3B 86 01 51 55 4F 52 52 41 8D";
constexpr const char* atr_t0 = "3B 06 51 55 4F 52 52 41";
constexpr const char* atr_of_sam = "3B 02 14 50";

// An image of a processor card with that answer to reset, and memory that counts up.
std::filesystem::path cpu_card(const TemporaryFolder& folder, std::string_view atr,
                               std::string_view name) {
  const auto file = new_card(folder, "cpu", name);
  Image image = load_image(file);
  image.assign("atr", hex(atr));
  std::uint8_t next = 0;
  std::ranges::generate(image.field("memory"), [&next] { return next++; });
  save_image(image, file);
  return file;
}

Bytes counting(std::uint8_t first, std::size_t count) {
  return quorra::testing::counting(count, first);
}

// A request that carries bytes to a card; the check byte covers them, or only what precedes them.
Bytes carry(std::string_view type, std::string_view bytes) {
  Bytes frame = request(0x21, fmt::format("{} 00000000 {}", type, bytes));
  frame[2] = 0x80;
  frame.back() ^= 0x80U;
  return frame;
}
Bytes carry_with_short_check(std::string_view type, std::string_view bytes) {
  Bytes frame = carry(type, bytes);
  frame.back() = 0;
  for (std::size_t i = 0; i < 9; ++i)
    frame.back() ^= frame[i];
  return frame;
}

class ReaderWithProcessorCard : public ::testing::Test {
 protected:
  explicit ReaderWithProcessorCard(std::string_view atr = atr_t1)
      : file(cpu_card(folder, atr, "card")),
        reader(options()) {}
  Options options() const {
    Options made;
    made.card = file;
    made.sams = {{0, cpu_card(folder, atr_of_sam, "sam0")}, {7, cpu_card(folder, atr_t1, "sam7")}};
    return made;
  }
  Bytes exchange(std::uint8_t command, std::string_view body) {
    return reader.exchange(request(command, body));
  }
  Bytes card(std::string_view bytes) { return reader.exchange(carry("20", bytes)); }
  Bytes sam(std::string_view bytes) { return reader.exchange(carry("21", bytes)); }
  Bytes block(const Bytes& bytes) { return card(to_hex(bytes)); }
  Bytes memory_of(std::string_view name) const {
    const Image image = load_image(folder.path() / name);
    const auto bytes = image.field("memory");
    return {bytes.begin(), bytes.end()};
  }

  TemporaryFolder folder;
  std::filesystem::path file;
  ServedBench reader;
};

class ReaderWithT0Card : public ReaderWithProcessorCard {
 protected:
  ReaderWithT0Card() : ReaderWithProcessorCard(atr_t0) {}
};

TEST_F(ReaderWithProcessorCard, resets_the_card) {
  EXPECT_EQ(reader.exchange(hex("AA 20 80 05 20 00 00 00 00 2F")),
            hex("55 00 00 0A 3B 86 01 51 55 4F 52 52 41 8D 64"));
  EXPECT_EQ(exchange(0x20, "20 00000000"), reply(0, atr_t1));
  EXPECT_EQ(exchange(0xB9, "80 00000000"), reply(0, "03"));
}

TEST_F(ReaderWithT0Card, resets_the_card) {
  EXPECT_EQ(exchange(0x20, "20 00000000"), reply(0, atr_t0));
}

TEST_F(ReaderWithT0Card, carries_commands_as_they_are) {
  exchange(0x20, "20 00000000");
  EXPECT_EQ(reader.exchange(hex("AA 21 80 0A 20 00 00 00 00 00 84 01 00 08 AC")),
            hex("55 00 00 02 6A 86 BB"));
  EXPECT_EQ(card("00 A4 00 0C 02 00 01"), reply(0, "9000"));
  EXPECT_EQ(card("00 B0 00 10 04"), reply(0, "10 11 12 13 90 00"));
  EXPECT_EQ(card("00 B0 00 00 00"), reply(0, to_hex(counting(0, 128)) + "61 80"));
  EXPECT_EQ(card("00"), reply(0, "67 00"));
}

TEST_F(ReaderWithT0Card, takes_no_block) {
  // To it this is a command: class 0, instruction 0.
  EXPECT_EQ(block(sealed("00 00 07 00 A4 00 0C 02 00 01")), reply(0, "6D 00"));
  EXPECT_EQ(block(sealed("00 C0 00")), reply(0, "67 00"));
}

// Such a command has the length and the check byte of a block.
TEST_F(ReaderWithT0Card, carries_commands_that_look_like_blocks) {
  EXPECT_EQ(card("00 A4 00 0C 02 00 01"), reply(0, "9000"));
  for (unsigned offset = 0; offset < 0xFF; ++offset) {
    const unsigned expected = offset ^ 0xB1U;
    if (expected == 0 || expected > 128 || 0x100 + offset + expected > 0x200) continue;
    EXPECT_EQ(card(fmt::format("00 B0 01 {:02X} {:02X}", offset, expected)),
              reply(0, to_hex(counting(static_cast<std::uint8_t>(offset), expected)) + "90 00"));
  }
}

TEST_F(ReaderWithProcessorCard, carries_blocks) {
  EXPECT_EQ(block(sealed("00 00 07 00 A4 00 0C 02 00 01")), reply(0, "00 00 02 90 00 92"));
  EXPECT_EQ(block(sealed("00 40 05 00 B0 00 10 04")),
            reply(0, to_hex(sealed("00 40 06 10 11 12 13 90 00"))));
  EXPECT_EQ(card("00 00 05 00 B0 00 00 04 00"), reply(0, "00 81 00 81"));
  EXPECT_EQ(card("00 B0 00 10 04"), reply(0, "10 11 12 13 90 00"));
}

TEST_F(ReaderWithProcessorCard, has_room_for_the_longest_answer_of_the_card_in_a_block) {
  EXPECT_EQ(block(sealed("00 C1 01 FB")), reply(0, to_hex(sealed("00 E1 01 FB"))));
  block(sealed("00 00 07 00 A4 00 0C 02 00 01"));
  EXPECT_EQ(block(sealed("00 40 05 00 B0 00 00 00")),
            reply(0, to_hex(sealed("00 40 82 " + to_hex(counting(0, 128)) + "61 80"))));
  EXPECT_EQ(block(sealed("00 00 05 00 C0 00 00 80")),
            reply(0, to_hex(sealed("00 00 82 " + to_hex(counting(0x80, 128)) + "90 00"))));
}

TEST_F(ReaderWithProcessorCard, spends_one_attempt_on_a_block_that_comes_twice) {
  const Bytes verify = sealed("00 00 09 00 20 00 01 04 00 00 00 00");
  for (int times = 0; times < 4; ++times)
    EXPECT_EQ(block(verify), reply(0, to_hex(sealed("00 00 02 63 C2"))));
  EXPECT_EQ(load_image(file).field("counter").front(), 2);
  // After a reset it is another block.
  exchange(0x20, "20 00000000");
  EXPECT_EQ(block(verify), reply(0, to_hex(sealed("00 00 02 63 C1"))));
}

TEST_F(ReaderWithProcessorCard, numbers_blocks_anew_after_each_reset) {
  const Bytes read = sealed("00 00 05 00 B0 00 00 01");
  for (const auto* const command : {"20", "B2", "B3"}) {
    EXPECT_EQ(block(read), reply(0, to_hex(sealed("00 00 02 69 86")))) << command;
    exchange(hex(command)[0], command == std::string_view("20") ? "20 00000000" : "80 00000000");
  }
}

TEST_F(ReaderWithProcessorCard, takes_a_check_byte_that_leaves_out_the_bytes_for_the_card) {
  const auto* const challenge = "00 84 01 00 08";
  for (const auto* const type : {"20", "21"}) {
    exchange(0xB2, "21 00000000");
    EXPECT_EQ(reader.exchange(carry(type, challenge)), reply(0, "6A 86"));
    const Bytes frame = carry_with_short_check(type, challenge);
    EXPECT_NE(frame, carry(type, challenge));
    EXPECT_EQ(reader.exchange(frame), reply(0, "6A 86"));
    Bytes wrong = frame;
    wrong.back() ^= 0x01U;
    EXPECT_EQ(reader.exchange(wrong), reply(wrong_check_byte));
  }
  EXPECT_EQ(reader.exchange(hex("AA 21 80 0A 20 00 00 00 00 00 84 01 00 08 21")),
            hex("55 00 00 02 6A 86 BB"));
  EXPECT_EQ(reader.exchange(hex("AA 21 80 0A 20 00 00 00 00 00 84 01 00 08 20")),
            hex("55 11 00 00 44"));
  EXPECT_EQ(reader.exchange(hex("AA 21 80 0A 20 00 00 00 00 00 84 01 00 08 AD")),
            hex("55 11 00 00 44"));
}

TEST_F(ReaderWithProcessorCard, takes_no_short_check_byte_for_another_command) {
  Bytes frame = request(0xB0, "80 00000000 00 0A");
  frame.back() ^= 0x0AU;
  EXPECT_EQ(reader.exchange(frame), reply(wrong_check_byte));
}

TEST_F(ReaderWithProcessorCard, saves_the_card_before_it_answers) {
  EXPECT_EQ(card("00 A4 00 0C 02 00 01"), reply(0, "9000"));
  EXPECT_EQ(card("00 D6 00 01 02 AA BB"), reply(0, "9000"));
  const Bytes memory = memory_of("card");
  EXPECT_EQ(Bytes(memory.begin(), memory.begin() + 4), hex("00 AA BB 03"));
}

TEST_F(ReaderWithProcessorCard, resets_a_card_that_has_no_power_before_an_exchange) {
  EXPECT_EQ(card("00 A4 00 0C 02 00 01"), reply(0, "9000"));
  EXPECT_EQ(card("00 B0 00 00 01"), reply(0, "00 90 00"));
  for (const auto* const command : {"B2", "B3"}) {
    EXPECT_EQ(exchange(hex(command)[0], "80 00000000"), reply(0));
    EXPECT_EQ(card("00 B0 00 00 01"), reply(0, "69 86")) << command;
    EXPECT_EQ(card("00 A4 00 0C 02 00 01"), reply(0, "9000"));
  }
  EXPECT_EQ(exchange(0x20, "20 00000000"), reply(0, atr_t1));
  EXPECT_EQ(card("00 B0 00 00 01"), reply(0, "69 86"));
}

TEST_F(ReaderWithProcessorCard, finds_no_memory_card_in_it) {
  for (const auto* const body : {"79 0000 0000 00 04", "77 0000 0000 00 04", "61 0000 0000 00 01",
                                 "69 0000 0000 00 01", "6E 0000 0000 00 01"})
    EXPECT_EQ(exchange(0x61, body), reply(no_answer)) << body;
}

TEST_F(ReaderWithProcessorCard, ejects_and_misses_the_card) {
  EXPECT_EQ(exchange(0xB8, "80 00000000"), reply(0));
  EXPECT_EQ(exchange(0x20, "20 00000000"), reply(no_card));
  EXPECT_EQ(card("00 84 00 00 08"), reply(no_card));
}

TEST_F(ReaderWithProcessorCard, loses_the_card_before_its_answer) {
  EXPECT_EQ(card("00 A4 00 0C 02 00 01"), reply(0, "9000"));
  Fault fault;
  fault.kind = FaultKind::pull_card;
  reader.bench().arm(fault);
  EXPECT_EQ(card("00 D6 00 01 01 AA"), reply(no_card));
  EXPECT_FALSE(reader.bench().state().card);
  EXPECT_EQ(memory_of("card")[1], 0xAA);
}

TEST(ReaderWithMemoryCard, resets_no_processor) {
  TemporaryFolder folder;
  ServedBench reader(test::with_new_card(folder, "4442"));
  EXPECT_EQ(reader.exchange(request(0x20, "20 00000000")), reply(no_answer));
  EXPECT_EQ(reader.exchange(carry("20", "00 84 00 00 08")), reply(no_answer));
}

TEST_F(ReaderWithProcessorCard, keeps_the_speeds_of_cards) {
  EXPECT_EQ(reader.bench().state().card_speed, 0x11);
  EXPECT_EQ(reader.bench().state().sam_speed, 0x11);
  EXPECT_EQ(reader.exchange(hex("AA 22 00 06 20 00 00 00 00 13 BD")), hex("55 00 00 00 55"));
  EXPECT_EQ(exchange(0x22, "21 00000000 96"), reply(0));
  EXPECT_EQ(reader.bench().state().card_speed, 0x13);
  EXPECT_EQ(reader.bench().state().sam_speed, 0x96);
}

TEST_F(ReaderWithProcessorCard, needs_power_for_its_sams) {
  EXPECT_EQ(exchange(0x20, "21 00000000"), reply(sam_without_power));
  EXPECT_EQ(sam("00 84 00 00 08"), reply(sam_without_power));
  EXPECT_EQ(reader.exchange(hex("AA B2 00 05 21 00 00 00 00 3C")), hex("55 00 00 00 55"));
  EXPECT_EQ(exchange(0x20, "21 00000000"), reply(0, atr_of_sam));
  EXPECT_EQ(reader.exchange(hex("AA B3 00 05 21 00 00 00 00 3D")), hex("55 00 00 00 55"));
  EXPECT_EQ(exchange(0x20, "21 00000000"), reply(sam_without_power));
}

TEST_F(ReaderWithProcessorCard, has_eight_slots_for_sams) {
  exchange(0xB2, "21 00000000");
  EXPECT_EQ(reader.exchange(hex("AA 23 00 06 21 00 00 00 00 07 A9")), hex("55 00 00 00 55"));
  EXPECT_EQ(exchange(0x20, "21 00000000"), reply(0, atr_t1));
  EXPECT_EQ(exchange(0x23, "21 00000000 08"), reply(out_of_range));
  EXPECT_EQ(exchange(0x23, "21 00000000 FF"), reply(out_of_range));
  EXPECT_EQ(reader.bench().state().selected_sam, 7U);
  EXPECT_EQ(exchange(0x23, "21 00000000 06"), reply(0));
  EXPECT_EQ(exchange(0x20, "21 00000000"), reply(no_card));
  EXPECT_EQ(sam("00 84 00 00 08"), reply(no_card));
}

TEST_F(ReaderWithProcessorCard, keeps_sams_apart) {
  exchange(0xB2, "21 00000000");
  EXPECT_EQ(sam("00 A4 00 0C 02 00 01"), reply(0, "9000"));
  EXPECT_EQ(sam("00 D6 00 00 01 AA"), reply(0, "9000"));
  exchange(0x23, "21 00000000 07");
  EXPECT_EQ(sam("00 B0 00 00 01"), reply(0, "69 86"));
  EXPECT_EQ(card("00 B0 00 00 01"), reply(0, "69 86"));
  exchange(0x23, "21 00000000 00");
  EXPECT_EQ(sam("00 B0 00 00 01"), reply(0, "AA 90 00"));
  EXPECT_EQ(memory_of("sam0")[0], 0xAA);
  EXPECT_EQ(memory_of("sam7")[0], 0x00);
  EXPECT_EQ(memory_of("card")[0], 0x00);
}

TEST_F(ReaderWithProcessorCard, makes_sams_forget_without_power) {
  exchange(0xB2, "21 00000000");
  EXPECT_EQ(sam("00 A4 00 0C 02 00 01"), reply(0, "9000"));
  exchange(0xB3, "21 00000000");
  exchange(0xB2, "21 00000000");
  EXPECT_EQ(sam("00 B0 00 00 01"), reply(0, "69 86"));
}

TEST_F(ReaderWithProcessorCard, tells_the_protocols_of_sams_apart) {
  exchange(0xB2, "21 00000000");
  EXPECT_EQ(sam("00 00 05 00 B0 00 00 04 00"), reply(0, "6D 00"));
  exchange(0x23, "21 00000000 07");
  EXPECT_EQ(sam("00 00 05 00 B0 00 00 04 00"), reply(0, "00 81 00 81"));
}

TEST_F(ReaderWithProcessorCard, leaves_the_sams_alone_when_the_card_loses_power) {
  exchange(0xB2, "21 00000000");
  EXPECT_EQ(sam("00 A4 00 0C 02 00 01"), reply(0, "9000"));
  exchange(0xB3, "80 00000000");
  exchange(0xB8, "80 00000000");
  EXPECT_EQ(sam("00 B0 00 00 01"), reply(0, "00 90 00"));
}

TEST_F(ReaderWithProcessorCard, selects_no_sam_in_the_card_slot) {
  EXPECT_EQ(exchange(0x23, "20 00000000 00"), reply(unknown_card_type));
  EXPECT_EQ(exchange(0xB2, "20 00000000"), reply(unknown_card_type));
}

TEST_F(ReaderWithProcessorCard, takes_bodies_of_the_right_length_only) {
  for (const auto* const type : {"20", "21"}) {
    const std::string body = type + std::string(" 00000000");
    EXPECT_EQ(exchange(0x20, body.substr(0, 9)), reply(wrong_body_length));
    EXPECT_EQ(exchange(0x20, body + "00"), reply(wrong_body_length));
    EXPECT_EQ(exchange(0x21, body), reply(wrong_body_length));
    EXPECT_EQ(exchange(0x22, body), reply(wrong_body_length));
    EXPECT_EQ(exchange(0x22, body + "0000"), reply(wrong_body_length));
  }
  for (const auto* const rest : {"", "0000"})
    EXPECT_EQ(exchange(0x23, std::string("21 00000000") + rest), reply(wrong_body_length));
  for (const std::uint8_t command : hex("B2 B3"))
    EXPECT_EQ(exchange(command, "21 00000000 00"), reply(wrong_body_length));
}

TEST(Sams, are_processor_cards_in_slots_0_to_7) {
  const TemporaryFolder folder;
  Options options;
  options.sams = {{8, new_card(folder, "cpu", "sam")}};
  EXPECT_THROW(check(options), Error);
  options.sams = {{1, new_card(folder, "4442")}};
  try {
    const VirtualReader reader(options);
    FAIL() << "a memory card became a SAM";
  } catch (const Error& error) {
    EXPECT_THAT(error.what(), HasSubstr("card: a 4442 cannot be a SAM"));
  }
}

}  // namespace
}  // namespace quorra::simulator
