// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <random>

#include "simulator/cards/kinds.hpp"
#include "simulator/firmware/firmware.hpp"
#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using namespace test::status;
using test::BenchWithCard;
using test::Bytes;
using test::hex;
using test::reply;
using ::testing::Each;

TEST(ReaderWith93c, answers_literal_frames_with_literal_frames) {
  BenchWithCard reader("93c46a");
  EXPECT_EQ(reader.exchange("AA 61 00 07 68 00 00 00 3F 00 01 9A"), hex("55 00 00 02 7E 7F 56"));
  EXPECT_EQ(reader.exchange("AA 60 00 07 68 00 00 00 01 11 22 97"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 61 00 07 68 00 00 00 00 00 03 A7"),
            hex("55 00 00 06 00 01 11 22 04 05 60"));
}

struct TypeCase {
  const char* kind;
  const char* type;
  std::size_t words;
  std::size_t bytes_per_word;
};

std::ostream& operator<<(std::ostream& stream, const TypeCase& tested) {
  return stream << tested.kind;
}

constexpr std::array types{
    TypeCase{"93c46a", "68", 64, 2},
    TypeCase{"93c46", "69", 128, 1},
    TypeCase{"93c57", "6A", 256, 1},
    TypeCase{"93c66", "6B", 512, 1},
};

class Type93c : public ::testing::TestWithParam<TypeCase> {
 protected:
  static std::string body(std::size_t address, std::string_view rest) {
    return fmt::format("{} 00 00 {:04X} {}", GetParam().type, address, rest);
  }
  Bytes read(std::size_t address, std::size_t count) {
    return reader.exchange(0x61, body(address, fmt::format("00 {:02X}", count)));
  }
  Bytes write(std::uint8_t command, std::size_t address, const Bytes& data) {
    return reader.exchange(command, body(address, to_hex(data)));
  }

  const std::size_t words = GetParam().words;
  const std::size_t bytes_per_word = GetParam().bytes_per_word;
  BenchWithCard reader{GetParam().kind};
};

INSTANTIATE_TEST_SUITE_P(All, Type93c, ::testing::ValuesIn(types),
                         [](const auto& tested) { return tested.param.kind; });

TEST_P(Type93c, is_a_plain_array_for_the_right_type) {
  std::mt19937 random(static_cast<unsigned>(words));
  Bytes expected = reader.stored();
  for (int operation = 0; operation < 150; ++operation) {
    const std::size_t address = random() % words;
    const std::size_t count = 1 + random() % std::min<std::size_t>(words - address, 144);
    const std::size_t first = address * bytes_per_word;
    const std::size_t size = count * bytes_per_word;
    if (random() % 2 == 0) {
      const auto data = std::span(expected).subspan(first, size);
      ASSERT_EQ(read(address, count), reply(0, to_hex(data))) << address << ' ' << count;
    } else {
      Bytes data(size);
      for (std::uint8_t& byte : data)
        byte = static_cast<std::uint8_t>(random());
      const std::uint8_t command = random() % 2 == 0 ? 0x60 : 0x62;
      ASSERT_EQ(write(command, address, data), reply(0)) << address << ' ' << count;
      std::ranges::copy(data, expected.begin() + static_cast<std::ptrdiff_t>(first));
    }
  }
  EXPECT_EQ(reader.stored(), expected);
}

TEST_P(Type93c, erases_and_writes_all) {
  EXPECT_EQ(reader.exchange(0x78, body(0, "")), reply(0));
  EXPECT_THAT(reader.stored(), Each(0xFF));
  EXPECT_EQ(reader.exchange(0x79, body(0, "")), reply(0));
  EXPECT_THAT(reader.stored(), Each(0x00));
}

TEST_P(Type93c, reaches_no_address_beyond_its_size) {
  const Bytes before = reader.stored();
  EXPECT_EQ(read(words - 1, 2), reply(out_of_range));
  EXPECT_EQ(read(words, 1), reply(out_of_range));
  EXPECT_EQ(read(0, 0), reply(out_of_range));
  EXPECT_EQ(write(0x60, words - 1, Bytes(2 * bytes_per_word)), reply(out_of_range));
  EXPECT_EQ(write(0x60, words, Bytes(bytes_per_word)), reply(out_of_range));
  EXPECT_EQ(reader.stored(), before);
  EXPECT_EQ(read(words - 1, 1).size(), 5 + bytes_per_word);
}

TEST_P(Type93c, has_no_other_commands) {
  EXPECT_EQ(reader.exchange(0x64, body(0, "00 00")), reply(unknown_card_type));
}

TEST_P(Type93c, gets_no_answer_from_a_card_of_another_kind) {
  for (const auto* const kind : {"4442", "24c02", "24c64", "93c46a", "93c46", "93c57", "93c66"}) {
    if (kind == std::string_view(GetParam().kind)) continue;
    BenchWithCard other(kind);
    const Bytes before = other.stored();
    const std::string word = GetParam().bytes_per_word == 2 ? "12 34" : "12";
    EXPECT_EQ(other.exchange(0x60, body(words - 1, word)), reply(no_answer)) << kind;
    EXPECT_EQ(other.exchange(0x78, body(0, "")), reply(no_answer)) << kind;
    EXPECT_EQ(other.exchange(0x79, body(0, "")), reply(no_answer)) << kind;
    EXPECT_EQ(other.stored(), before) << kind;
  }
}

TEST_P(Type93c, leaves_a_word_erased_when_the_card_is_pulled_out) {
  Bytes expected = reader.stored();
  std::ranges::fill(std::span(expected).subspan(bytes_per_word, 2 * bytes_per_word),
                    std::uint8_t{0x77});
  std::ranges::fill(std::span(expected).subspan(3 * bytes_per_word, bytes_per_word),
                    std::uint8_t{0xFF});
  reader.pull_card();
  EXPECT_EQ(write(0x60, 1, Bytes(4 * bytes_per_word, 0x77)), reply(no_card));
  EXPECT_EQ(reader.stored(), expected);
}

TEST_P(Type93c, leaves_all_erased_when_the_card_is_pulled_out_of_a_write_all) {
  reader.pull_card();
  EXPECT_EQ(reader.exchange(0x79, body(0, "")), reply(no_card));
  EXPECT_THAT(reader.stored(), Each(0xFF));
}

TEST(ReaderWith93c, takes_whole_words) {
  BenchWithCard reader("93c46a");
  EXPECT_EQ(reader.exchange(0x60, "68 00 00 00 00 11"), reply(wrong_body_length));
  EXPECT_EQ(reader.exchange(0x60, "68 00 00 00 00 11 22 33"), reply(wrong_body_length));
}

// The chip has one address bit less: its zero comes too early, and the reader takes the first bit
// of data for it.
TEST(ReaderWith93c, reads_shifted_data_from_a_card_that_is_smaller_than_its_type) {
  BenchWithCard reader("93c46");
  // Address 0x22 is 0010001 for the chip: 11 12, shifted by a bit.
  EXPECT_EQ(reader.exchange(0x61, "6A 00 00 00 22 00 01"), reply(0, "22"));
  EXPECT_EQ(reader.exchange(0x60, "69 00 00 00 11 91"), reply(0));
  EXPECT_EQ(reader.exchange(0x61, "6A 00 00 00 22 00 01"), reply(no_answer));
}

TEST(ReaderWith93c, gets_no_zero_from_a_card_that_is_larger_than_its_type) {
  BenchWithCard reader("93c66");
  EXPECT_EQ(reader.exchange(0x61, "6A 00 00 00 22 00 01"), reply(no_answer));
}

// Is busy whenever it is selected, for ever.
class StuckChip final : public Chip {
 public:
  StuckChip() : Chip(Image(find_kind("93c46"))) {}
  void contacts_changed(const Contacts& /*before*/, const Contacts& now) override {
    pull_io_low(now.vcc && now.rst);
  }
};

TEST(Firmware93c, gives_up_on_a_card_that_stays_busy) {
  Reader reader;
  StuckChip chip;
  reader.slot.insert(chip);
  Reply answer;
  const Bytes body = hex("69 00 00 00 20 01");
  EXPECT_EQ(execute(reader, {.command = 0x60, .flag = 0, .body = body}, answer), Status::no_answer);
}

}  // namespace
}  // namespace quorra::simulator
