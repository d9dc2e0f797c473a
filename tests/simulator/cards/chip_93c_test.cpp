// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_93c.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "simulator/cards/kinds.hpp"
#include "tests/simulator/cards/contact_driver.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using ::testing::Each;

// Drives a chip at its contacts. Bits are written as text: "1 10 0000101". Between the steps CLK
// is low.
class Master : public test::ContactDriver {
 public:
  explicit Master(Chip& chip) : ContactDriver(chip) { power_up(); }

  void select() { rst(true); }
  void deselect() { rst(false); }
  void put(std::string_view bits) {
    for (const char bit : bits) {
      if (bit == ' ') continue;
      io(bit == '1');
      pulse();
    }
    io(true);
  }
  std::string get(std::size_t count) {
    std::string bits;
    for (std::size_t i = 0; i < count; ++i) {
      pulse();
      bits += io_level() ? '1' : '0';
    }
    return bits;
  }

  // An instruction as the chip must have it, from select to deselect.
  void instruct(std::string_view bits) {
    select();
    put(bits);
    deselect();
  }
  // The bits that follow an instruction; the first of them is there without another clock pulse.
  std::string read(std::string_view bits, std::size_t count) {
    select();
    put(bits);
    std::string answer = io_level() ? "1" : "0";
    answer += get(count);
    deselect();
    return answer;
  }
  bool is_busy() {
    select();
    const bool busy = !io_level();
    deselect();
    return busy;
  }
  // How often the chip is busy before it is ready.
  int looks() {
    int looks = 0;
    while (looks < 10'000 && is_busy())
      ++looks;
    return looks;
  }
};

std::uint8_t content(std::size_t address) {
  return static_cast<std::uint8_t>(address * 37 + address / 256 + 11);
}

Image filled(std::string_view kind) {
  Image image(find_kind(kind));
  const auto memory = image.field("memory");
  for (std::size_t address = 0; address < memory.size(); ++address)
    memory[address] = content(address);
  return image;
}

std::string bits_of(std::size_t value, unsigned count) {
  std::string bits;
  for (; count > 0; --count)
    bits += (value >> (count - 1) & 1U) != 0 ? '1' : '0';
  return bits;
}

class TestedChip {
 public:
  explicit TestedChip(std::string_view kind)
      : owner(find_kind(kind).make_chip(filled(kind))),
        chip(*owner),
        master(chip) {}

  std::span<const std::uint8_t> memory() const {
    return std::as_const(chip).image().field("memory");
  }
  std::uint8_t at(std::size_t address) const { return memory()[address]; }
  // The addresses of the bytes whose content is no longer the one they had at first.
  std::vector<std::size_t> changed() const {
    std::vector<std::size_t> list;
    for (std::size_t address = 0; address < memory().size(); ++address)
      if (at(address) != content(address)) list.push_back(address);
    return list;
  }

  std::unique_ptr<Chip> owner;
  Chip& chip;
  Master master;
};

struct SizeCase {
  const char* kind;
  unsigned address_bits;
  unsigned word_bits;

  std::size_t words() const { return std::size_t{1} << address_bits; }
  std::string read(std::size_t word) const { return "1 10" + bits_of(word, address_bits); }
  std::string write(std::size_t word, std::size_t data) const {
    return "1 01" + bits_of(word, address_bits) + bits_of(data, word_bits);
  }
  std::string erase(std::size_t word) const { return "1 11" + bits_of(word, address_bits); }
  // Only the upper two of the address bits count; the others are zeros here.
  std::string extended(std::string_view upper_bits) const {
    return "1 00" + std::string(upper_bits) + std::string(address_bits - 2, '0');
  }
  std::string enable() const { return extended("11"); }
  std::string disable() const { return extended("00"); }
  std::string erase_all() const { return extended("10"); }
  std::string write_all(std::size_t data) const {
    return extended("01") + bits_of(data, word_bits);
  }
  // The content that a word had at first, as bits.
  std::string word(std::size_t word) const {
    if (word_bits == 8) return bits_of(content(word), 8);
    return bits_of(content(word * 2), 8) + bits_of(content(word * 2 + 1), 8);
  }
  // A word that differs from all that was there at first in both of its bytes.
  std::size_t another(std::size_t word) const {
    const auto byte = static_cast<std::uint8_t>(~content(word * word_bits / 8));
    return word_bits == 8 ? byte : byte * 256U + (byte ^ 0x5AU);
  }
};

std::ostream& operator<<(std::ostream& stream, const SizeCase& tested) {
  return stream << tested.kind;
}

class Chip93cSizes : public ::testing::TestWithParam<SizeCase> {
 protected:
  const SizeCase& size = GetParam();
  TestedChip tested{size.kind};
};

INSTANTIATE_TEST_SUITE_P(All, Chip93cSizes,
                         ::testing::Values(SizeCase{"93c46a", 6, 16}, SizeCase{"93c46", 7, 8},
                                           SizeCase{"93c57", 8, 8}, SizeCase{"93c66", 9, 8}),
                         [](const auto& tested) { return tested.param.kind; });

TEST_P(Chip93cSizes, is_blank_when_it_is_new) {
  const Image image(find_kind(size.kind));
  EXPECT_EQ(image.field("memory").size(), size.words() * size.word_bits / 8);
  EXPECT_THAT(image.field("memory"), Each(0xFF));
}

TEST_P(Chip93cSizes, reads_every_word_behind_a_zero) {
  for (std::size_t word = 0; word < size.words(); ++word)
    ASSERT_EQ(tested.master.read(size.read(word), size.word_bits), "0" + size.word(word)) << word;
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip93cSizes, reads_on_behind_its_end_at_its_beginning) {
  const std::size_t last = size.words() - 1;
  EXPECT_EQ(tested.master.read(size.read(last), std::size_t{size.word_bits} * 3),
            "0" + size.word(last) + size.word(0) + size.word(1));
}

TEST_P(Chip93cSizes, waits_for_the_first_one) {
  EXPECT_EQ(tested.master.read("00000" + size.read(5), size.word_bits), "0" + size.word(5));
}

TEST_P(Chip93cSizes, sees_nothing_while_it_is_not_selected) {
  tested.master.put(size.read(5));
  EXPECT_TRUE(tested.master.io_level());
  EXPECT_EQ(tested.master.get(size.word_bits), std::string(size.word_bits, '1'));
}

TEST_P(Chip93cSizes, lets_the_line_go_when_it_is_deselected) {
  tested.master.select();
  tested.master.put(size.read(5));
  EXPECT_FALSE(tested.master.io_level());
  tested.master.deselect();
  EXPECT_TRUE(tested.master.io_level());
  tested.master.select();
  EXPECT_TRUE(tested.master.io_level());
}

TEST_P(Chip93cSizes, writes_nothing_before_writing_is_enabled) {
  tested.master.instruct(size.write(5, 0));
  EXPECT_FALSE(tested.master.is_busy());
  tested.master.instruct(size.erase(5));
  tested.master.instruct(size.erase_all());
  tested.master.instruct(size.write_all(0));
  EXPECT_FALSE(tested.master.is_busy());
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip93cSizes, writes_every_word) {
  tested.master.instruct(size.enable());
  for (std::size_t word = 0; word < size.words(); ++word) {
    tested.master.instruct(size.write(word, size.another(word)));
    ASSERT_GT(tested.master.looks(), 0);
    ASSERT_EQ(tested.master.read(size.read(word), size.word_bits),
              "0" + bits_of(size.another(word), size.word_bits));
  }
  EXPECT_EQ(tested.changed().size(), tested.memory().size());
}

TEST_P(Chip93cSizes, keeps_the_upper_byte_of_a_word_first) {
  tested.master.instruct(size.enable());
  tested.master.instruct(size.write(0, size.another(0)));
  tested.master.looks();
  EXPECT_EQ(tested.at(0), static_cast<std::uint8_t>(~content(0)));
}

TEST_P(Chip93cSizes, writes_one_word_and_no_other) {
  tested.master.instruct(size.enable());
  tested.master.instruct(size.write(1, size.another(1)));
  tested.master.looks();
  const auto expected =
      size.word_bits == 8 ? std::vector<std::size_t>{1} : std::vector<std::size_t>{2, 3};
  EXPECT_EQ(tested.changed(), expected);
}

TEST_P(Chip93cSizes, erases_one_word) {
  tested.master.instruct(size.enable());
  tested.master.instruct(size.erase(size.words() - 1));
  EXPECT_GT(tested.master.looks(), 0);
  const auto word = tested.memory().last(size.word_bits / 8);
  EXPECT_THAT(word, Each(0xFF));
  EXPECT_EQ(tested.changed().size(), word.size());
}

TEST_P(Chip93cSizes, erases_all_words) {
  tested.master.instruct(size.enable());
  tested.master.instruct(size.erase_all());
  EXPECT_GT(tested.master.looks(), 0);
  EXPECT_THAT(tested.memory(), Each(0xFF));
}

TEST_P(Chip93cSizes, writes_all_words) {
  tested.master.instruct(size.enable());
  tested.master.instruct(size.write_all(size.word_bits == 8 ? 0xC3 : 0xC35A));
  EXPECT_GT(tested.master.looks(), 0);
  EXPECT_EQ(tested.at(0), 0xC3);
  for (std::size_t address = 0; address < tested.memory().size(); ++address)
    ASSERT_EQ(tested.at(address), size.word_bits == 16 && address % 2 == 1 ? 0x5A : 0xC3);
}

TEST_P(Chip93cSizes, writes_nothing_after_writing_was_disabled) {
  tested.master.instruct(size.enable());
  tested.master.instruct(size.disable());
  tested.master.instruct(size.write(5, 0));
  EXPECT_FALSE(tested.master.is_busy());
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip93cSizes, disables_writing_when_power_goes) {
  tested.master.instruct(size.enable());
  tested.master.power_down();
  tested.master.power_up();
  tested.master.instruct(size.write(5, 0));
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip93cSizes, is_busy_while_it_programs) {
  tested.master.instruct(size.enable());
  tested.master.instruct(size.write(5, 0));
  EXPECT_TRUE(tested.master.io_level()) << "it says so only while it is selected";
  tested.master.select();
  EXPECT_FALSE(tested.master.io_level());
  tested.master.put(size.write(6, 0));
  EXPECT_FALSE(tested.master.io_level()) << "an instruction is ignored";
  tested.master.deselect();
  EXPECT_GT(tested.master.looks(), 0);
  EXPECT_EQ(tested.master.read(size.read(6), size.word_bits), "0" + size.word(6));
}

TEST_P(Chip93cSizes, becomes_ready_while_it_is_selected) {
  tested.master.instruct(size.enable());
  tested.master.instruct(size.write(5, 0));
  tested.master.select();
  int pulses = 0;
  // The reader holds the line low when CLK rises, so that no start bit comes.
  for (; pulses < 10'000 && !tested.master.io_level(); ++pulses)
    tested.master.put("0");
  EXPECT_GT(pulses, 0);
  EXPECT_LT(pulses, 10'000);
  tested.master.put(size.read(5));
  EXPECT_EQ(tested.master.get(size.word_bits), std::string(size.word_bits, '0'));
}

TEST_P(Chip93cSizes, leaves_a_word_erased_when_power_goes_while_it_programs) {
  tested.master.instruct(size.enable());
  tested.master.instruct(size.write(5, 0));
  tested.master.power_down();
  tested.master.power_up();
  EXPECT_FALSE(tested.master.is_busy());
  EXPECT_EQ(tested.master.read(size.read(5), size.word_bits),
            "0" + std::string(size.word_bits, '1'));
}

TEST_P(Chip93cSizes, writes_nothing_when_power_goes_before_it_is_deselected) {
  tested.master.instruct(size.enable());
  tested.master.select();
  tested.master.put(size.write(5, 0));
  tested.master.power_down();
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip93cSizes, carries_nothing_out_that_is_too_short_or_too_long) {
  tested.master.instruct(size.enable());
  for (const std::string& whole :
       {size.write(5, 0), size.erase(5), size.erase_all(), size.write_all(0)}) {
    tested.master.instruct(std::string_view(whole).substr(0, whole.size() - 1));
    EXPECT_FALSE(tested.master.is_busy()) << whole;
    tested.master.instruct(whole + "0");
    EXPECT_FALSE(tested.master.is_busy()) << whole;
    tested.master.instruct(whole + "1");
    EXPECT_FALSE(tested.master.is_busy()) << whole;
  }
  EXPECT_EQ(tested.chip.changes(), 0U);
  tested.master.instruct(size.disable() + "0");
  tested.master.instruct(size.erase(5));
  EXPECT_TRUE(tested.master.is_busy()) << "writing is still enabled";
}

TEST_P(Chip93cSizes, takes_one_address_bit_too_many_for_the_clock_of_the_first_data_bit) {
  // The chip's zero comes with the last of the bits that it takes, and the data right behind it.
  const std::string longer = size.read(0b10110) + "1";
  EXPECT_EQ(tested.master.read(longer, size.word_bits - 1), size.word(0b10110));
}

TEST_P(Chip93cSizes, takes_the_first_bit_that_follows_for_an_address_bit_that_is_missing) {
  const std::string shorter = "1 10" + bits_of(0b10110, size.address_bits - 1);
  tested.master.select();
  tested.master.put(shorter);
  EXPECT_TRUE(tested.master.io_level()) << "no zero yet";
  // The line is let go, which is a 1.
  EXPECT_EQ(tested.master.get(1 + size.word_bits), "0" + size.word(0b101101));
}

TEST_P(Chip93cSizes, takes_the_first_data_bit_of_a_write_for_an_address_bit_that_is_missing) {
  tested.master.instruct(size.enable());
  const std::string data = size.word_bits == 8 ? "1 10100101" : "1 1010010111000011";
  tested.master.instruct("1 01" + bits_of(2, size.address_bits - 1) + data);
  EXPECT_GT(tested.master.looks(), 0);
  EXPECT_EQ(tested.at(5 * size.word_bits / 8), 0b10100101);
}

TEST_P(Chip93cSizes, does_nothing_without_power) {
  tested.master.power_down();
  tested.master.io(true);
  EXPECT_EQ(tested.master.read(size.read(5), size.word_bits), std::string(size.word_bits + 1, '1'));
}

}  // namespace
}  // namespace quorra::simulator
