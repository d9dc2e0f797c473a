// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_4442.hpp"

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

// Drives the chip's bus.
class Master : public test::ContactDriver {
 public:
  using ContactDriver::ContactDriver;

  void begin() {
    clk(true);
    io(false);
    clk(false);
  }
  void end() {
    io(false);
    clk(true);
    io(true);
  }
  void put_bit(bool bit) {
    io(bit);
    pulse();
  }
  void put(std::uint8_t byte) {
    for (unsigned i = 0; i < 8; ++i)
      put_bit((byte & (1U << i)) != 0);
  }
  // A whole command; CLK stays high.
  void command(std::uint8_t control, std::uint8_t address = 0, std::uint8_t data = 0) {
    begin();
    put(control);
    put(address);
    put(data);
    end();
  }

  // Bits appear when CLK falls.
  std::uint8_t get() {
    unsigned byte = 0;
    for (unsigned i = 0; i < 8; ++i) {
      clk(false);
      if (io_level()) byte |= 1U << i;
      clk(true);
    }
    return static_cast<std::uint8_t>(byte);
  }
  Bytes get(std::size_t count) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i)
      bytes.push_back(get());
    clk(false);
    return bytes;
  }

  // Resets the chip and leaves CLK low with the first bit of the answer on IO.
  void reset() {
    rst(true);
    pulse();
    rst(false);
  }
  Bytes answer_to_reset() {
    reset();
    Bytes bytes;
    for (int i = 0; i < 4; ++i) {
      unsigned byte = 0;
      for (unsigned bit = 0; bit < 8; ++bit) {
        if (io_level()) byte |= 1U << bit;
        pulse();
      }
      bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return bytes;
  }

  // A command that makes the chip busy; returns for how many clocks.
  unsigned run(std::uint8_t control, std::uint8_t address, std::uint8_t data) {
    command(control, address, data);
    clk(false);
    unsigned clocks = 0;
    for (; !io_level() && clocks < 1000; ++clocks)
      pulse();
    return clocks;
  }

  Bytes read_main(std::uint8_t address, std::size_t count) {
    command(0x30, address);
    Bytes bytes = get(count);
    rst(true);
    rst(false);
    return bytes;
  }
  Bytes read_protection() {
    command(0x34);
    return get(4);
  }
  Bytes read_security() {
    command(0x31);
    return get(4);
  }

  // Uses up one attempt and compares three bytes; returns the security memory afterwards.
  Bytes present(const Bytes& code) {
    const std::uint8_t counter = read_security()[0];
    run(0x39, 0, counter & static_cast<std::uint8_t>(counter - 1));
    for (std::uint8_t i = 0; i < 3; ++i)
      run(0x33, static_cast<std::uint8_t>(i + 1), code.at(i));
    run(0x39, 0, 0xFF);
    return read_security();
  }
};

constexpr std::uint8_t update_main = 0x38;
constexpr std::uint8_t write_protection = 0x3C;
constexpr std::uint8_t update_security = 0x39;
constexpr std::uint8_t compare = 0x33;

class Chip4442Test : public ::testing::Test {
 protected:
  Chip4442Test() { master.power_up(); }

  static Image card() {
    Image image(find_kind("4442"));
    const auto memory = image.field("memory");
    std::iota(memory.begin() + 32, memory.end(), std::uint8_t{32});
    return image;
  }
  std::span<const std::uint8_t> stored(std::string_view field) const {
    return chip.image().field(field);
  }

  const Bytes code = hex("FF FF FF");
  const Bytes wrong_code = hex("FF FF FE");
  Chip4442 chip{card()};
  Master master{chip};
};

TEST_F(Chip4442Test, answers_to_reset_with_its_first_four_bytes) {
  EXPECT_EQ(master.answer_to_reset(), hex("A2 13 10 91"));
  EXPECT_TRUE(master.io_level());
}

TEST_F(Chip4442Test, needs_a_clock_during_reset_to_answer) {
  master.rst(true);
  master.rst(false);
  for (int i = 0; i < 32; ++i) {
    EXPECT_TRUE(master.io_level());
    master.pulse();
  }
}

TEST_F(Chip4442Test, begins_its_answer_again_after_another_reset) {
  master.reset();
  master.pulse();
  master.pulse();
  EXPECT_EQ(master.answer_to_reset(), hex("A2 13 10 91"));
}

TEST_F(Chip4442Test, reads_main_memory_from_an_address_to_its_end) {
  EXPECT_EQ(master.read_main(0, 8), hex("A2 13 10 91 FF FF 81 15"));
  master.command(0x30, 0xFE);
  EXPECT_EQ(master.get(2), hex("FE FF"));
  EXPECT_TRUE(master.io_level());
  master.clk(true);
  EXPECT_THAT(master.get(3), Each(0xFF));
}

TEST_F(Chip4442Test, ignores_start_and_stop_while_it_sends) {
  master.command(0x30, 0x30);
  EXPECT_EQ(master.get(1), hex("30"));
  // Bit 0 of 0x31 is on the line, and it is high: the chip could see IO fall and rise.
  EXPECT_TRUE(master.io_level());
  master.clk(true);
  master.io(false);
  master.io(true);
  EXPECT_EQ(master.get(1)[0], 0x31 >> 1) << "bits 1 to 7, then bit 0 of 0x32";
}

TEST_F(Chip4442Test, breaks_off_when_rst_rises_while_clk_is_low) {
  master.command(0x30, 0x40);
  master.clk(false);
  EXPECT_FALSE(master.io_level());
  master.rst(true);
  EXPECT_TRUE(master.io_level());
  master.rst(false);
  EXPECT_EQ(master.read_main(0x41, 2), hex("41 42"));
}

TEST_F(Chip4442Test, goes_on_when_rst_rises_while_clk_is_high) {
  master.command(0x30, 0x40);
  master.rst(true);
  master.rst(false);
  EXPECT_EQ(master.get(2), hex("40 41"));
}

TEST_F(Chip4442Test, ignores_a_command_that_is_too_short) {
  master.begin();
  master.put(0x30);
  master.put(0x40);
  for (int i = 0; i < 6; ++i)
    master.put_bit(false);
  // The clock pulse of the stop condition makes it 23 bits.
  master.end();
  master.clk(false);
  EXPECT_TRUE(master.io_level());
}

TEST_F(Chip4442Test, ignores_commands_it_does_not_know) {
  for (const std::uint8_t control : hex("00 32 35 3F FF")) {
    EXPECT_EQ(master.run(control, 0, 0), 0U);
    EXPECT_EQ(master.read_main(0x50, 1), hex("50"));
  }
  EXPECT_EQ(chip.changes(), 0U);
}

TEST_F(Chip4442Test, does_nothing_without_power) {
  master.power_down();
  master.io(true);
  EXPECT_THAT(master.read_main(0, 4), Each(0xFF));
}

TEST_F(Chip4442Test, refuses_to_write_before_the_code_was_presented) {
  EXPECT_EQ(master.run(update_main, 0x40, 0x00), 2U);
  EXPECT_EQ(master.run(write_protection, 0x08, 0xFF), 2U);
  EXPECT_EQ(master.run(update_security, 1, 0x00), 2U);
  EXPECT_EQ(chip.changes(), 0U);
}

TEST_F(Chip4442Test, shows_the_code_only_when_it_was_presented) {
  EXPECT_EQ(master.read_security(), hex("07 00 00 00"));
  EXPECT_EQ(master.present(code), hex("07 FF FF FF"));
}

TEST_F(Chip4442Test, takes_as_many_clocks_as_it_has_to_do) {
  master.present(code);
  EXPECT_EQ(master.run(update_main, 0x4F, 0x0E), 124U) << "write only";
  EXPECT_EQ(master.run(update_main, 0x4F, 0xFF), 124U) << "erase only";
  EXPECT_EQ(master.run(update_main, 0x4F, 0x12), 124U) << "write only";
  EXPECT_EQ(master.run(update_main, 0x4F, 0x0D), 255U) << "erase and write";
  EXPECT_EQ(master.read_main(0x4E, 3), hex("4E 0D 50"));
}

TEST_F(Chip4442Test, ignores_commands_while_it_is_busy) {
  master.present(code);
  master.command(update_main, 0x40, 0x00);
  master.clk(false);
  EXPECT_FALSE(master.io_level());
  master.begin();
  master.end();
  master.clk(false);
  unsigned clocks = 2;
  for (; !master.io_level() && clocks < 1000; ++clocks)
    master.pulse();
  EXPECT_EQ(clocks, 124U);
  EXPECT_EQ(stored("memory")[0x40], 0x00);
}

TEST_F(Chip4442Test, sends_a_one_for_each_byte_that_is_not_protected) {
  // Bytes 0 to 3, 6, 7 and 21 to 26 are protected on a new card.
  EXPECT_EQ(master.read_protection(), hex("30 FF 1F F8"));
}

TEST_F(Chip4442Test, protects_a_byte_for_ever) {
  master.present(code);
  EXPECT_EQ(master.run(update_main, 0x09, 0x5A), 124U);
  EXPECT_EQ(master.run(write_protection, 0x09, 0x5A), 124U);
  EXPECT_EQ(master.read_protection(), hex("30 FD 1F F8"));
  EXPECT_EQ(master.run(update_main, 0x09, 0x00), 2U);
  EXPECT_EQ(master.run(write_protection, 0x09, 0x5A), 124U);
  EXPECT_EQ(master.read_protection(), hex("30 FD 1F F8"));
  EXPECT_EQ(master.read_main(0x09, 1), hex("5A"));
}

TEST_F(Chip4442Test, protects_only_when_the_byte_is_named_correctly) {
  master.present(code);
  EXPECT_EQ(master.run(write_protection, 0x09, 0xFE), 2U);
  EXPECT_EQ(master.run(write_protection, 32, 32), 2U);
  EXPECT_EQ(master.read_protection(), hex("30 FF 1F F8"));
}

TEST_F(Chip4442Test, has_three_attempts) {
  EXPECT_EQ(master.present(wrong_code), hex("06 00 00 00"));
  EXPECT_EQ(master.present(wrong_code), hex("04 00 00 00"));
  EXPECT_EQ(master.present(wrong_code), hex("00 00 00 00"));
  EXPECT_EQ(master.present(code), hex("00 00 00 00"));
  EXPECT_EQ(master.run(update_main, 0x40, 0x00), 2U);
}

TEST_F(Chip4442Test, gives_the_attempts_back_for_the_right_code) {
  EXPECT_EQ(master.present(wrong_code), hex("06 00 00 00"));
  EXPECT_EQ(master.present(wrong_code), hex("04 00 00 00"));
  EXPECT_EQ(master.present(code), hex("07 FF FF FF"));
  EXPECT_EQ(master.run(update_main, 0x40, 0x00), 124U);
}

TEST_F(Chip4442Test, looks_at_each_byte_of_the_code) {
  for (const auto* const wrong : {"FE FF FF", "FF 7F FF", "FF FF 00"}) {
    Chip4442 fresh_chip(card());
    Master fresh(fresh_chip);
    fresh.power_up();
    EXPECT_EQ(fresh.present(hex(wrong)), hex("06 00 00 00")) << wrong;
  }
}

TEST_F(Chip4442Test, clears_bits_of_the_counter_but_sets_none_without_the_code) {
  EXPECT_EQ(master.run(update_security, 0, 0x05), 124U);
  EXPECT_EQ(master.read_security(), hex("05 00 00 00"));
  EXPECT_EQ(master.run(update_security, 0, 0x07), 124U);
  EXPECT_EQ(master.read_security(), hex("05 00 00 00"));
}

TEST_F(Chip4442Test, compares_nothing_unless_an_attempt_was_used_up) {
  for (std::uint8_t i = 1; i <= 3; ++i)
    EXPECT_EQ(master.run(compare, i, 0xFF), 2U);
  EXPECT_EQ(master.run(update_main, 0x40, 0x00), 2U);
  EXPECT_EQ(master.read_security(), hex("07 00 00 00"));
}

TEST_F(Chip4442Test, uses_an_attempt_up_only_when_its_bit_is_written) {
  master.command(update_security, 0, 0x06);
  master.clk(false);
  for (int i = 0; i < 100; ++i)
    master.pulse();
  master.rst(true);
  master.rst(false);
  for (std::uint8_t i = 1; i <= 3; ++i)
    master.run(compare, i, 0xFF);
  EXPECT_EQ(master.read_security(), hex("07 00 00 00"));
}

TEST_F(Chip4442Test, compares_the_bytes_in_order_and_once) {
  master.run(update_security, 0, 0x06);
  for (const std::uint8_t i : hex("02 01 02 03"))
    master.run(compare, i, 0xFF);
  EXPECT_EQ(master.read_security(), hex("06 00 00 00"));

  master.run(update_security, 0, 0x04);
  for (const std::uint8_t i : hex("01 01 02 03"))
    master.run(compare, i, 0xFF);
  EXPECT_EQ(master.read_security(), hex("04 00 00 00"));

  master.run(update_security, 0, 0x00);
  for (const std::uint8_t i : hex("01 02 03"))
    master.run(compare, i, 0xFF);
  EXPECT_EQ(master.read_security(), hex("00 FF FF FF"));
}

TEST_F(Chip4442Test, closes_when_a_wrong_code_follows_the_right_one) {
  EXPECT_EQ(master.present(code), hex("07 FF FF FF"));
  EXPECT_EQ(master.present(wrong_code), hex("06 00 00 00"));
  EXPECT_EQ(master.run(update_main, 0x40, 0x00), 2U);
}

TEST_F(Chip4442Test, changes_its_code) {
  master.present(code);
  EXPECT_EQ(master.run(update_security, 1, 0x12), 124U);
  EXPECT_EQ(master.run(update_security, 2, 0x34), 124U);
  EXPECT_EQ(master.run(update_security, 3, 0x56), 124U);
  EXPECT_EQ(master.run(update_security, 3, 0x78), 255U);
  EXPECT_EQ(master.read_security(), hex("07 12 34 78"));
  EXPECT_EQ(master.present(code), hex("06 00 00 00"));
  EXPECT_EQ(master.present(hex("12 34 78")), hex("07 12 34 78"));
}

TEST_F(Chip4442Test, forgets_that_the_code_was_presented_when_power_goes) {
  master.present(code);
  master.power_down();
  master.power_up();
  EXPECT_EQ(master.read_security(), hex("07 00 00 00"));
  EXPECT_EQ(master.run(update_main, 0x40, 0x00), 2U);
}

TEST_F(Chip4442Test, remembers_the_code_over_a_reset) {
  master.present(code);
  EXPECT_EQ(master.answer_to_reset(), hex("A2 13 10 91"));
  EXPECT_EQ(master.run(update_main, 0x40, 0x00), 124U);
}

TEST_F(Chip4442Test, leaves_the_cell_erased_when_power_goes_in_the_middle) {
  master.present(code);
  master.command(update_main, 0x40, 0x3F);
  master.clk(false);
  for (int i = 0; i < 254; ++i)
    master.pulse();
  EXPECT_FALSE(master.io_level());
  master.power_down();
  EXPECT_THAT(stored("memory").subspan(0x3F, 3), ElementsAreArray(hex("3F FF 41")));
}

TEST_F(Chip4442Test, leaves_the_cell_as_it_was_when_power_goes_before_the_first_clock) {
  master.present(code);
  master.command(update_main, 0x40, 0x3F);
  master.power_down();
  EXPECT_EQ(stored("memory")[0x40], 0x40);
}

TEST_F(Chip4442Test, counts_its_changes) {
  master.present(code);
  const auto before = chip.changes();
  master.read_main(0, 256);
  master.read_security();
  master.run(update_main, 0x40, 0x40);
  EXPECT_EQ(chip.changes(), before);
  master.run(update_main, 0x40, 0x00);
  EXPECT_GT(chip.changes(), before);
}

TEST(Chip4432Test, writes_without_a_code) {
  Chip4442 chip{Image(find_kind("4432"))};
  Master master(chip);
  master.power_up();
  EXPECT_EQ(master.run(update_main, 0x40, 0x12), 124U);
  EXPECT_EQ(master.read_main(0x40, 1), hex("12"));
  EXPECT_EQ(master.run(update_main, 0x00, 0x12), 2U) << "protected";
  EXPECT_EQ(master.run(write_protection, 0x08, 0xFF), 124U);
  EXPECT_EQ(master.read_protection(), hex("30 FE 1F F8"));
}

TEST(Chip4432Test, does_not_know_the_commands_of_the_security_memory) {
  Chip4442 chip{Image(find_kind("4432"))};
  Master master(chip);
  master.power_up();
  EXPECT_THAT(master.read_security(), Each(0xFF));
  EXPECT_EQ(master.run(update_security, 0, 0x00), 0U);
  EXPECT_EQ(master.run(compare, 1, 0xFF), 0U);
  EXPECT_EQ(chip.changes(), 0U);
}

}  // namespace
}  // namespace quorra::simulator
