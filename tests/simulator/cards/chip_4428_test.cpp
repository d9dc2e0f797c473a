// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_4428.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "simulator/cards/kinds.hpp"
#include "tests/simulator/cards/contact_driver.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using ::testing::Each;
using ::testing::ElementsAreArray;

constexpr std::uint8_t read_bytes = 0x0E;
constexpr std::uint8_t read_with_protection = 0x0C;
constexpr std::uint8_t write_byte = 0x33;
constexpr std::uint8_t write_with_protection = 0x31;
constexpr std::uint8_t write_protection = 0x30;
constexpr std::uint8_t write_counter = 0x32;
constexpr std::uint8_t compare = 0x0D;

constexpr unsigned counter_address = 1021;
constexpr unsigned code_address = 1022;

// Drives the chip's bus.
class Master : public test::ContactDriver {
 public:
  using ContactDriver::ContactDriver;

  Bytes answer_to_reset() {
    rst(true);
    pulse();
    rst(false);
    return get(4);
  }

  void put(std::uint8_t byte) {
    for (unsigned i = 0; i < 8; ++i) {
      io((byte & (1U << i)) != 0);
      pulse();
    }
    io(true);
  }
  void command(std::uint8_t control, unsigned address, std::uint8_t data = 0) {
    rst(true);
    put(static_cast<std::uint8_t>(control | (address / 256) << 6));
    put(static_cast<std::uint8_t>(address % 256));
    put(data);
    rst(false);
  }

  bool get_bit() {
    const bool bit = io_level();
    pulse();
    return bit;
  }
  std::uint8_t get() {
    unsigned byte = 0;
    for (unsigned i = 0; i < 8; ++i)
      if (get_bit()) byte |= 1U << i;
    return static_cast<std::uint8_t>(byte);
  }
  Bytes get(std::size_t count) {
    Bytes bytes;
    while (bytes.size() < count)
      bytes.push_back(get());
    return bytes;
  }
  void stop() {
    rst(true);
    rst(false);
  }

  Bytes read(unsigned address, std::size_t count) {
    command(read_bytes, address);
    Bytes bytes = get(count);
    stop();
    return bytes;
  }
  // The protection bits of the bytes, as a text of 0 and 1.
  std::string protection(unsigned address, std::size_t count) {
    command(read_with_protection, address);
    std::string bits;
    while (bits.size() < count) {
      get();
      bits += get_bit() ? '1' : '0';
    }
    stop();
    return bits;
  }

  // Carries a command out and returns how many clocks it took.
  unsigned run(std::uint8_t control, unsigned address, std::uint8_t data) {
    command(control, address, data);
    unsigned clocks = 0;
    for (; !io_level() && clocks < 1000; ++clocks)
      pulse();
    return clocks;
  }

  // Uses up one attempt, compares both bytes and asks for all attempts; returns the counter.
  std::uint8_t present(const Bytes& code) {
    const std::uint8_t counter = read(counter_address, 1)[0];
    run(write_counter, counter_address, counter & static_cast<std::uint8_t>(counter - 1));
    run(compare, code_address, code.at(0));
    run(compare, code_address + 1, code.at(1));
    run(write_byte, counter_address, 0xFF);
    return read(counter_address, 1)[0];
  }
};

class Chip4428Test : public ::testing::Test {
 protected:
  Chip4428Test() { master.power_up(); }

  // Byte a holds a mod 256 from 32 on.
  static Image card() {
    Image image(find_kind("4428"));
    const auto memory = image.field("memory");
    std::iota(memory.begin() + 32, memory.end(), std::uint8_t{32});
    std::ranges::copy(hex("12 34"), image.field("code").begin());
    return image;
  }
  std::span<const std::uint8_t> stored(std::string_view field) const {
    return chip.image().field(field);
  }

  const Bytes code = hex("12 34");
  const Bytes wrong_code = hex("12 35");
  Chip4428 chip{card()};
  Master master{chip};
};

TEST_F(Chip4428Test, answers_to_reset_with_its_first_four_bytes) {
  EXPECT_EQ(master.answer_to_reset(), hex("92 23 10 91"));
  EXPECT_TRUE(master.io_level());
  EXPECT_THAT(master.get(2), Each(0xFF));
}

TEST_F(Chip4428Test, begins_its_answer_again_after_another_reset) {
  master.rst(true);
  master.pulse();
  master.rst(false);
  master.pulse();
  master.pulse();
  EXPECT_EQ(master.answer_to_reset(), hex("92 23 10 91"));
}

TEST_F(Chip4428Test, does_nothing_when_rst_falls_without_a_clock) {
  master.stop();
  EXPECT_THAT(master.get(4), Each(0xFF));
}

TEST_F(Chip4428Test, reads_from_an_address_to_its_end) {
  EXPECT_EQ(master.read(0, 5), hex("92 23 10 91 FF"));
  EXPECT_EQ(master.read(0x0FE, 4), hex("FE FF 00 01"));
  EXPECT_EQ(master.read(0x2AB, 2), hex("AB AC"));
  master.command(read_bytes, 1020);
  EXPECT_EQ(master.get(4), hex("FC FF 00 00"));
  EXPECT_TRUE(master.io_level());
  EXPECT_THAT(master.get(3), Each(0xFF));
}

TEST_F(Chip4428Test, ends_the_answer_when_rst_rises) {
  master.command(read_bytes, 0x100);
  EXPECT_FALSE(master.io_level());
  master.rst(true);
  EXPECT_TRUE(master.io_level());
  master.rst(false);
  EXPECT_EQ(master.read(0x101, 2), hex("01 02"));
}

TEST_F(Chip4428Test, sends_a_ninth_bit_for_each_byte) {
  master.command(read_with_protection, 2);
  std::string bits;
  while (bits.size() < 27)
    bits += master.get_bit() ? '1' : '0';
  EXPECT_EQ(bits,
            "00001000"
            "0"
            "10001001"
            "0"
            "11111111"
            "1");
}

TEST_F(Chip4428Test, is_protected_in_part_when_it_is_new) {
  EXPECT_EQ(master.protection(0, 32),
            "00001100"
            "11111111"
            "11111000"
            "00011111");
  EXPECT_EQ(master.protection(32, 992), std::string(992, '1'));
}

TEST_F(Chip4428Test, takes_24_bits_as_a_command_and_ignores_more) {
  master.rst(true);
  master.put(read_bytes | 0x40);
  master.put(0x23);
  master.put(0x00);
  master.put(0xA5);
  master.rst(false);
  EXPECT_EQ(master.get(2), hex("23 24"));
}

TEST_F(Chip4428Test, takes_fewer_bits_as_a_reset) {
  master.rst(true);
  master.put(read_bytes | 0x40);
  master.put(0x23);
  for (int i = 0; i < 7; ++i)
    master.pulse();
  master.rst(false);
  EXPECT_EQ(master.get(4), hex("92 23 10 91"));
}

TEST_F(Chip4428Test, ignores_commands_it_does_not_know) {
  for (const std::uint8_t control : hex("00 0F 34 38 3C 3F")) {
    EXPECT_EQ(master.run(control, 0x50, 0), 0U);
    EXPECT_EQ(master.read(0x50, 1), hex("50"));
  }
  EXPECT_EQ(chip.changes(), 0U);
}

TEST_F(Chip4428Test, ignores_clocks_and_io_while_rst_is_low) {
  master.clk(true);
  master.io(false);
  master.io(true);
  master.clk(false);
  master.put(write_byte);
  master.put(0x40);
  master.put(0x00);
  EXPECT_TRUE(master.io_level());
  EXPECT_EQ(chip.changes(), 0U);
}

TEST_F(Chip4428Test, does_nothing_without_power) {
  master.power_down();
  master.io(true);
  EXPECT_THAT(master.read(0, 4), Each(0xFF));
}

TEST_F(Chip4428Test, writes_nothing_but_the_counter_before_the_code_was_presented) {
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 2U);
  EXPECT_EQ(master.run(write_with_protection, 0x40, 0x00), 2U);
  EXPECT_EQ(master.run(write_protection, 0x40, 0x40), 2U);
  EXPECT_EQ(master.run(write_byte, code_address, 0x00), 2U);
  EXPECT_EQ(master.run(write_byte, counter_address, 0x7F), 2U);
  EXPECT_EQ(chip.changes(), 0U);
  EXPECT_EQ(master.run(write_counter, counter_address, 0x7F), 103U);
  EXPECT_EQ(stored("counter")[0], 0x7F);
}

TEST_F(Chip4428Test, shows_the_code_only_when_it_was_presented) {
  EXPECT_EQ(master.read(counter_address, 3), hex("FF 00 00"));
  EXPECT_EQ(master.present(code), 0xFF);
  EXPECT_EQ(master.read(counter_address, 3), hex("FF 12 34"));
  master.command(read_with_protection, code_address);
  EXPECT_EQ(master.get(1), hex("12"));
}

TEST_F(Chip4428Test, takes_as_many_clocks_as_it_has_to_do) {
  master.present(code);
  EXPECT_EQ(master.run(write_byte, 0x14F, 0x0E), 103U) << "write only";
  EXPECT_EQ(master.run(write_byte, 0x14F, 0xFF), 103U) << "erase only";
  EXPECT_EQ(master.run(write_byte, 0x14F, 0x12), 103U) << "write only";
  EXPECT_EQ(master.run(write_byte, 0x14F, 0x0D), 203U) << "erase and write";
  EXPECT_EQ(master.read(0x14E, 3), hex("4E 0D 50"));
}

TEST_F(Chip4428Test, writes_with_protection_for_ever) {
  master.present(code);
  EXPECT_EQ(master.run(write_with_protection, 0x309, 0x5A), 203U);
  EXPECT_EQ(master.protection(0x308, 3), "101");
  EXPECT_EQ(master.run(write_byte, 0x309, 0x00), 2U);
  EXPECT_EQ(master.run(write_with_protection, 0x309, 0x00), 2U);
  EXPECT_EQ(master.read(0x309, 1), hex("5A"));
  EXPECT_EQ(stored("protected")[0x309], 1);
}

TEST_F(Chip4428Test, protects_only_when_the_byte_is_named_correctly) {
  master.present(code);
  EXPECT_EQ(master.run(write_protection, 0x123, 0x24), 2U);
  EXPECT_EQ(master.protection(0x123, 1), "1");
  EXPECT_EQ(master.run(write_protection, 0x123, 0x23), 103U);
  EXPECT_EQ(master.protection(0x122, 3), "101");
  EXPECT_EQ(master.run(write_byte, 0x123, 0x00), 2U);
}

TEST_F(Chip4428Test, has_eight_attempts) {
  for (const std::uint8_t counter : hex("FE FC F8 F0 E0 C0 80 00"))
    EXPECT_EQ(master.present(wrong_code), counter);
  EXPECT_EQ(master.present(code), 0x00);
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 2U);
  EXPECT_EQ(master.read(code_address, 2), hex("00 00"));
}

TEST_F(Chip4428Test, gives_the_attempts_back_for_the_right_code) {
  for (int i = 0; i < 7; ++i)
    master.present(wrong_code);
  EXPECT_EQ(master.read(counter_address, 1), hex("80"));
  EXPECT_EQ(master.present(code), 0xFF);
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 103U);
}

TEST_F(Chip4428Test, looks_at_each_byte_of_the_code) {
  EXPECT_EQ(master.present(hex("92 34")), 0xFE);
  EXPECT_EQ(master.present(hex("12 B4")), 0xFC);
}

TEST_F(Chip4428Test, never_sets_bits_of_the_counter_by_writing_it) {
  EXPECT_EQ(master.run(write_counter, counter_address, 0x5F), 103U);
  EXPECT_EQ(master.run(write_counter, counter_address, 0xFF), 103U);
  EXPECT_EQ(master.read(counter_address, 1), hex("5F"));
  EXPECT_EQ(master.run(write_counter, 0x40, 0x00), 2U);
}

TEST_F(Chip4428Test, compares_nothing_unless_an_attempt_was_used_up) {
  EXPECT_EQ(master.run(compare, code_address, 0x12), 2U);
  EXPECT_EQ(master.run(compare, code_address + 1, 0x34), 2U);
  EXPECT_EQ(master.run(write_counter, counter_address, 0xFF), 103U) << "writes no bit";
  master.run(compare, code_address, 0x12);
  master.run(compare, code_address + 1, 0x34);
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 2U);
}

TEST_F(Chip4428Test, compares_the_bytes_in_order_and_once) {
  master.run(write_counter, counter_address, 0xFE);
  master.run(compare, code_address + 1, 0x34);
  master.run(compare, code_address, 0x12);
  master.run(compare, code_address + 1, 0x34);
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 2U);

  master.run(write_counter, counter_address, 0xFC);
  master.run(compare, code_address, 0x12);
  master.run(compare, 0x40, 0x34);
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 2U);

  master.run(write_counter, counter_address, 0xF8);
  master.run(compare, code_address, 0x12);
  master.run(compare, code_address + 1, 0x34);
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 103U);
}

TEST_F(Chip4428Test, closes_when_a_wrong_code_follows_the_right_one) {
  EXPECT_EQ(master.present(code), 0xFF);
  EXPECT_EQ(master.present(wrong_code), 0xFE);
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 2U);
}

TEST_F(Chip4428Test, changes_its_code) {
  master.present(code);
  EXPECT_EQ(master.run(write_byte, code_address, 0x56), 203U);
  EXPECT_EQ(master.run(write_byte, code_address + 1, 0x78), 203U);
  EXPECT_THAT(stored("code"), ElementsAreArray(hex("56 78")));
  EXPECT_EQ(master.present(code), 0xFE);
  EXPECT_EQ(master.present(hex("56 78")), 0xFF);
}

TEST_F(Chip4428Test, forgets_that_the_code_was_presented_when_power_goes) {
  master.present(code);
  master.power_down();
  master.power_up();
  EXPECT_EQ(master.read(code_address, 2), hex("00 00"));
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 2U);
}

TEST_F(Chip4428Test, remembers_the_code_over_a_reset) {
  master.present(code);
  EXPECT_EQ(master.answer_to_reset(), hex("92 23 10 91"));
  EXPECT_EQ(master.run(write_byte, 0x40, 0x00), 103U);
}

TEST_F(Chip4428Test, leaves_the_cell_erased_and_unprotected_when_power_goes_in_the_middle) {
  master.present(code);
  master.command(write_with_protection, 0x140, 0x3F);
  for (int i = 0; i < 202; ++i)
    master.pulse();
  EXPECT_FALSE(master.io_level());
  master.power_down();
  EXPECT_THAT(stored("memory").subspan(0x13F, 3), ElementsAreArray(hex("3F FF 41")));
  EXPECT_EQ(stored("protected")[0x140], 0);
}

class Chip4418Test : public ::testing::Test {
 protected:
  Chip4418Test() { master.power_up(); }

  Chip4428 chip{Image(find_kind("4418"))};
  Master master{chip};
};

TEST_F(Chip4418Test, has_1024_ordinary_bytes) {
  EXPECT_EQ(master.answer_to_reset(), hex("92 23 10 91"));
  EXPECT_EQ(master.run(write_byte, 1023, 0x12), 103U);
  EXPECT_EQ(master.run(write_with_protection, counter_address, 0x34), 103U);
  EXPECT_EQ(master.read(counter_address, 3), hex("34 FF 12"));
  EXPECT_EQ(master.protection(counter_address, 3), "011");
  EXPECT_EQ(master.run(write_byte, 0, 0x12), 2U) << "protected";
}

TEST_F(Chip4418Test, does_not_know_the_commands_for_counter_and_code) {
  EXPECT_EQ(master.run(write_counter, counter_address, 0x00), 0U);
  EXPECT_EQ(master.run(compare, code_address, 0xFF), 0U);
  EXPECT_EQ(chip.changes(), 0U);
}

}  // namespace
}  // namespace quorra::simulator
