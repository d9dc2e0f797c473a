// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_45d041.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/cards/kinds.hpp"
#include "tests/simulator/cards/contact_driver.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using ::testing::Each;

constexpr std::uint8_t read_status = 0x57;
constexpr std::uint8_t read_page = 0x52;
constexpr std::uint8_t read_on = 0x68;
constexpr std::uint8_t read_buffer_1 = 0x54;
constexpr std::uint8_t read_buffer_2 = 0x56;
constexpr std::uint8_t load_buffer_1 = 0x53;
constexpr std::uint8_t load_buffer_2 = 0x55;
constexpr std::uint8_t write_buffer_1 = 0x84;
constexpr std::uint8_t write_buffer_2 = 0x87;
constexpr std::uint8_t program_from_1 = 0x83;
constexpr std::uint8_t program_from_2 = 0x86;
constexpr std::uint8_t program_through_1 = 0x82;
constexpr std::uint8_t program_through_2 = 0x85;

constexpr std::uint8_t ready = 0x98;
constexpr std::uint8_t busy = 0x18;

constexpr std::size_t page_size = 264;

// Drives the chip's bus.
class Master : public test::ContactDriver {
 public:
  using ContactDriver::ContactDriver;

  void power_up() {
    ContactDriver::power_up();
    rst(true);
  }

  void put(std::uint8_t byte) {
    for (unsigned mask = 0x80; mask != 0; mask >>= 1U) {
      io((byte & mask) != 0);
      pulse();
    }
  }
  std::uint8_t get() {
    unsigned byte = 0;
    for (int i = 0; i < 8; ++i) {
      byte = byte * 2 + (c8_level() ? 1 : 0);
      pulse();
    }
    return static_cast<std::uint8_t>(byte);
  }
  Bytes get(std::size_t count) {
    Bytes bytes;
    while (bytes.size() < count)
      bytes.push_back(get());
    return bytes;
  }

  void begin(std::uint8_t opcode) {
    rst(false);
    put(opcode);
  }
  void begin(std::uint8_t opcode, unsigned page, unsigned offset) {
    begin(opcode);
    put(static_cast<std::uint8_t>(page >> 7U));
    put(static_cast<std::uint8_t>((page & 0x7FU) << 1U | offset >> 8U));
    put(static_cast<std::uint8_t>(offset));
  }
  void end() { rst(true); }

  std::uint8_t status() {
    begin(read_status);
    const std::uint8_t status = get();
    end();
    return status;
  }
  // Reads after so many bytes without meaning.
  Bytes read(std::uint8_t opcode, unsigned page, unsigned offset, std::size_t count, int dummies) {
    begin(opcode, page, offset);
    for (int i = 0; i < dummies; ++i)
      put(0xA5);
    Bytes bytes = get(count);
    end();
    return bytes;
  }
  Bytes page(unsigned page, unsigned offset, std::size_t count) {
    return read(read_page, page, offset, count, 4);
  }
  Bytes buffer(std::uint8_t opcode, unsigned offset, std::size_t count) {
    return read(opcode, 0, offset, count, 1);
  }
  void write(std::uint8_t opcode, unsigned page, unsigned offset, const Bytes& bytes) {
    begin(opcode, page, offset);
    for (const std::uint8_t byte : bytes)
      put(byte);
    end();
  }
  void start(std::uint8_t opcode, unsigned page) { write(opcode, page, 0, {}); }
  // Waits until the chip is ready and returns how often it was asked.
  unsigned wait() {
    unsigned times = 1;
    while (status() != ready && times < 1000)
      ++times;
    return times;
  }
};

class Chip45d041Test : public ::testing::Test {
 protected:
  Chip45d041Test() { master.power_up(); }

  // Byte o of page p holds p + o mod 256.
  static Image card() {
    Image image(find_kind("45d041"));
    const auto memory = image.field("memory");
    for (std::size_t i = 0; i < memory.size(); ++i)
      memory[i] = static_cast<std::uint8_t>(i / page_size + i % page_size);
    return image;
  }
  std::span<const std::uint8_t> stored_page(std::size_t page) const {
    return chip.image().field("memory").subspan(page * page_size, page_size);
  }

  Chip45d041 chip{card()};
  Master master{chip};
};

TEST_F(Chip45d041Test, tells_its_status_as_long_as_it_is_asked) {
  EXPECT_EQ(master.status(), ready);
  master.begin(0xD7);
  EXPECT_EQ(master.get(3), hex("98 98 98"));
}

TEST_F(Chip45d041Test, lets_its_line_go_when_it_is_not_selected) {
  master.begin(read_status);
  master.pulse();
  EXPECT_FALSE(master.c8_level());
  master.end();
  EXPECT_TRUE(master.c8_level());
  EXPECT_THAT(master.get(2), Each(0xFF));
  EXPECT_TRUE(master.io_level());
}

TEST_F(Chip45d041Test, takes_no_command_while_rst_is_high) {
  master.put(read_status);
  EXPECT_EQ(master.get(), 0xFF);
}

TEST_F(Chip45d041Test, says_nothing_without_power) {
  master.power_down();
  EXPECT_FALSE(chip.pulls_c8_low());
  master.put(read_status);
  EXPECT_FALSE(chip.pulls_c8_low());
}

TEST_F(Chip45d041Test, reads_a_page_and_wraps_inside_it) {
  EXPECT_EQ(master.page(0, 0, 3), hex("00 01 02"));
  EXPECT_EQ(master.page(5, 7, 2), hex("0C 0D"));
  EXPECT_EQ(master.page(2047, 256, 2), hex("FF 00"));
  EXPECT_EQ(master.page(1000, 262, 4), hex("EE EF E8 E9"));
}

TEST_F(Chip45d041Test, reads_on_through_all_pages) {
  EXPECT_EQ(master.read(read_on, 1000, 262, 4, 4), hex("EE EF E9 EA"));
  EXPECT_EQ(master.read(read_on, 2047, 262, 4, 4), hex("05 06 00 01"));
}

TEST_F(Chip45d041Test, counts_an_offset_beyond_the_page_from_its_beginning) {
  EXPECT_EQ(master.page(3, 264, 2), hex("03 04"));
}

TEST_F(Chip45d041Test, ignores_the_bits_above_the_page) {
  master.begin(read_page);
  for (const std::uint8_t byte : hex("F0 0A 07 00 00 00 00"))
    master.put(byte);
  EXPECT_EQ(master.get(2), hex("0C 0D"));
}

TEST_F(Chip45d041Test, has_two_buffers) {
  EXPECT_THAT(master.buffer(read_buffer_1, 0, page_size), Each(0xFF));
  master.write(write_buffer_1, 0, 262, hex("11 22 33"));
  master.write(write_buffer_2, 0, 0, hex("44"));
  EXPECT_EQ(master.buffer(read_buffer_1, 262, 4), hex("11 22 33 FF"));
  EXPECT_EQ(master.buffer(read_buffer_2, 0, 2), hex("44 FF"));
  EXPECT_EQ(chip.changes(), 0U);
}

TEST_F(Chip45d041Test, loads_a_page_into_either_buffer) {
  master.start(load_buffer_1, 9);
  EXPECT_GT(master.wait(), 1U);
  master.start(load_buffer_2, 10);
  EXPECT_GT(master.wait(), 1U);
  EXPECT_EQ(master.buffer(read_buffer_1, 0, 2), hex("09 0A"));
  EXPECT_EQ(master.buffer(read_buffer_2, 263, 2), hex("11 0A"));
}

TEST_F(Chip45d041Test, programs_a_page_from_either_buffer) {
  master.write(write_buffer_1, 0, 1, hex("11"));
  master.write(write_buffer_2, 0, 2, hex("22"));
  master.start(program_from_1, 700);
  EXPECT_GT(master.wait(), 1U);
  master.start(program_from_2, 701);
  master.wait();
  EXPECT_EQ(master.page(700, 0, 4), hex("FF 11 FF FF"));
  EXPECT_EQ(master.page(701, 0, 4), hex("FF FF 22 FF"));
  EXPECT_EQ(stored_page(699)[0], static_cast<std::uint8_t>(699));
  EXPECT_EQ(stored_page(702)[0], static_cast<std::uint8_t>(702));
}

TEST_F(Chip45d041Test, programs_a_page_through_either_buffer) {
  master.write(program_through_1, 4, 100, hex("A1 A2"));
  master.wait();
  master.write(program_through_2, 6, 263, hex("B1 B2"));
  master.wait();
  EXPECT_EQ(master.page(4, 99, 4), hex("FF A1 A2 FF"));
  EXPECT_EQ(master.page(6, 262, 3), hex("FF B1 B2"));
}

TEST_F(Chip45d041Test, keeps_the_rest_of_a_page_that_was_loaded_first) {
  master.start(load_buffer_1, 8);
  master.wait();
  master.write(write_buffer_1, 0, 5, hex("EE"));
  master.start(program_from_1, 8);
  master.wait();
  EXPECT_EQ(master.page(8, 4, 3), hex("0C EE 0E"));
}

TEST_F(Chip45d041Test, leaves_its_pages_alone_while_it_is_busy) {
  master.start(program_from_1, 3);
  EXPECT_EQ(master.status(), busy);
  EXPECT_EQ(master.page(3, 0, 1), hex("FF")) << "no answer: the line is high";
  EXPECT_EQ(master.status(), busy);
  master.start(program_from_2, 4);
  master.start(load_buffer_2, 5);
  master.wait();
  EXPECT_EQ(master.page(4, 0, 1), hex("04"));
  EXPECT_EQ(master.buffer(read_buffer_2, 0, 1), hex("FF"));
}

TEST_F(Chip45d041Test, reads_and_writes_its_buffers_while_it_is_busy) {
  master.start(program_from_1, 3);
  master.write(write_buffer_2, 0, 0, hex("77"));
  EXPECT_EQ(master.buffer(read_buffer_2, 0, 1), hex("77"));
  EXPECT_EQ(master.status(), busy);
}

TEST_F(Chip45d041Test, erases_a_page_first_and_leaves_it_so_without_power) {
  master.write(write_buffer_1, 0, 0, Bytes(page_size, 0x55));
  master.start(program_from_1, 3);
  EXPECT_EQ(master.status(), busy);
  master.power_down();
  EXPECT_THAT(stored_page(3), Each(0xFF));
  master.power_up();
  EXPECT_EQ(master.status(), ready);
  EXPECT_EQ(master.buffer(read_buffer_1, 0, 1), hex("FF")) << "the buffers forget";
}

TEST_F(Chip45d041Test, does_nothing_when_a_command_is_cut_off) {
  master.begin(program_from_1);
  master.put(0x00);
  master.put(0x06);
  for (int i = 0; i < 7; ++i)
    master.pulse();
  master.end();
  EXPECT_EQ(master.status(), ready);
  EXPECT_EQ(chip.changes(), 0U);
}

TEST_F(Chip45d041Test, ignores_opcodes_it_does_not_know) {
  for (const std::uint8_t opcode : hex("00 88 89 58 60 FF 9F")) {
    master.begin(opcode, 3, 0);
    EXPECT_THAT(master.get(5), Each(0xFF));
    master.end();
    EXPECT_EQ(master.status(), ready);
  }
  EXPECT_EQ(chip.changes(), 0U);
}

TEST_F(Chip45d041Test, names_the_cells_that_changed) {
  EXPECT_TRUE(chip.changed_cells().empty());
  master.start(program_from_1, 3);
  master.wait();
  EXPECT_EQ(chip.changed_cells().data(), stored_page(3).data());
  EXPECT_EQ(chip.changed_cells().size(), page_size);
  chip.forget_changed_cells();
  EXPECT_TRUE(chip.changed_cells().empty());
  master.start(program_from_1, 8);
  master.wait();
  master.start(program_from_1, 6);
  master.wait();
  EXPECT_EQ(chip.changed_cells().data(), stored_page(6).data());
  EXPECT_EQ(chip.changed_cells().size(), 3 * page_size);
}

}  // namespace
}  // namespace quorra::simulator
