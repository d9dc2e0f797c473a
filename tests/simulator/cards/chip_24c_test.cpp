// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_24c.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "simulator/cards/kinds.hpp"
#include "tests/simulator/cards/contact_driver.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using ::testing::Each;
using ::testing::ElementsAreArray;

// Drives a chip at its contacts. Between its steps CLK is low.
class Master : public test::ContactDriver {
 public:
  explicit Master(Chip& chip) : ContactDriver(chip) { power_up(); }

  void start() {
    io(true);
    clk(true);
    io(false);
    clk(false);
  }
  void stop() {
    io(false);
    clk(true);
    io(true);
    clk(false);
  }
  void put_bit(bool bit) {
    io(bit);
    pulse();
  }
  bool get_bit() {
    io(true);
    clk(true);
    const bool bit = io_level();
    clk(false);
    return bit;
  }
  // Returns whether the chip acknowledged.
  bool put(std::uint8_t byte) {
    for (unsigned bit = 0x80; bit != 0; bit >>= 1U)
      put_bit((byte & bit) != 0);
    return !get_bit();
  }
  // Returns whether the chip acknowledged all of the bytes.
  bool put(const Bytes& bytes) {
    bool all = true;
    for (const std::uint8_t byte : bytes)
      all = put(byte) && all;
    return all;
  }
  std::uint8_t get(bool acknowledge) {
    unsigned byte = 0;
    for (int i = 0; i < 8; ++i)
      byte = byte << 1U | (get_bit() ? 1U : 0U);
    put_bit(!acknowledge);
    return static_cast<std::uint8_t>(byte);
  }
  Bytes get(std::size_t count) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i)
      bytes.push_back(get(i + 1 < count));
    return bytes;
  }

  // How often the chip does not acknowledge before it does again.
  int polls(std::uint8_t select = 0xA0) {
    for (int polls = 0; polls < 1000; ++polls) {
      start();
      const bool answers = put(select);
      stop();
      if (answers) return polls;
    }
    return 1000;
  }
  // Sends bytes from start to stop, and waits until the chip has programmed them.
  bool write(const Bytes& bytes) {
    start();
    const bool all = put(bytes);
    stop();
    polls(bytes.front());
    return all;
  }
  // A random read: `begin` is sent as a write that has no stop condition.
  Bytes read(const Bytes& begin, std::size_t count, std::uint8_t select = 0xA1) {
    start();
    EXPECT_TRUE(put(begin));
    start();
    EXPECT_TRUE(put(select));
    Bytes bytes = get(count);
    stop();
    return bytes;
  }
  Bytes read_on(std::size_t count) {
    start();
    EXPECT_TRUE(put(0xA1));
    Bytes bytes = get(count);
    stop();
    return bytes;
  }
};

// Content that has no byte twice within 251 addresses.
std::uint8_t content(std::size_t address) { return static_cast<std::uint8_t>(address % 251); }

Image filled(std::string_view kind) {
  Image image(find_kind(kind));
  const auto memory = image.field("memory");
  for (std::size_t address = 0; address < memory.size(); ++address)
    memory[address] = content(address);
  return image;
}

Bytes contents(std::size_t address, std::size_t count) {
  Bytes bytes;
  for (std::size_t i = 0; i < count; ++i)
    bytes.push_back(content(address + i));
  return bytes;
}

class TestedChip {
 public:
  explicit TestedChip(std::string_view kind) : chip(filled(kind)), master(chip) {}

  std::span<const std::uint8_t> memory() const { return chip.image().field("memory"); }
  std::uint8_t at(std::size_t address) const { return memory()[address]; }
  // The addresses whose content is no longer the one they had at first.
  std::vector<std::size_t> changed() const {
    std::vector<std::size_t> list;
    for (std::size_t address = 0; address < memory().size(); ++address)
      if (at(address) != content(address)) list.push_back(address);
    return list;
  }

  Chip24c chip;
  Master master;
};

struct SizeCase {
  const char* kind;
  std::size_t size;
  std::size_t page;
  unsigned address_bytes;

  // The bytes that set the address counter, the device-select byte included.
  Bytes begin(std::size_t address) const {
    if (address_bytes == 2)
      return {0xA0, static_cast<std::uint8_t>(address >> 8U), static_cast<std::uint8_t>(address)};
    return {static_cast<std::uint8_t>(0xA0U | address >> 8U << 1U),
            static_cast<std::uint8_t>(address)};
  }
};

std::ostream& operator<<(std::ostream& stream, const SizeCase& tested) {
  return stream << tested.kind;
}

class Chip24cSizes : public ::testing::TestWithParam<SizeCase> {
 protected:
  const SizeCase& size = GetParam();
  TestedChip tested{size.kind};
};

INSTANTIATE_TEST_SUITE_P(
    All, Chip24cSizes,
    ::testing::Values(SizeCase{"24c01a", 128, 8, 1}, SizeCase{"24c02", 256, 8, 1},
                      SizeCase{"24c04", 512, 16, 1}, SizeCase{"24c08", 1024, 16, 1},
                      SizeCase{"24c16", 2048, 16, 1}, SizeCase{"24c32", 4096, 32, 2},
                      SizeCase{"24c64", 8192, 32, 2}),
    [](const auto& tested) { return tested.param.kind; });

TEST_P(Chip24cSizes, is_blank_when_it_is_new) {
  const Image image(find_kind(size.kind));
  EXPECT_EQ(image.field("memory").size(), size.size);
  EXPECT_THAT(image.field("memory"), Each(0xFF));
}

TEST_P(Chip24cSizes, reads_every_address) {
  for (std::size_t address = 0; address < size.size; ++address)
    ASSERT_EQ(tested.master.read(size.begin(address), 1), contents(address, 1)) << address;
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip24cSizes, reads_on_behind_its_end_at_its_beginning) {
  Bytes expected = contents(size.size - 3, 3);
  for (const std::uint8_t byte : contents(0, 2))
    expected.push_back(byte);
  EXPECT_EQ(tested.master.read(size.begin(size.size - 3), 5), expected);
}

TEST_P(Chip24cSizes, reads_all_of_itself_at_once) {
  EXPECT_EQ(tested.master.read(size.begin(0), size.size), contents(0, size.size));
}

TEST_P(Chip24cSizes, keeps_its_address_between_operations) {
  EXPECT_EQ(tested.master.read(size.begin(size.size - 4), 2), contents(size.size - 4, 2));
  EXPECT_EQ(tested.master.read_on(2), contents(size.size - 2, 2));
  EXPECT_EQ(tested.master.read_on(1), contents(0, 1));
}

TEST_P(Chip24cSizes, writes_every_page) {
  for (std::size_t address = 0; address < size.size; address += size.page) {
    Bytes bytes = size.begin(address);
    for (std::size_t i = 0; i < size.page; ++i)
      bytes.push_back(static_cast<std::uint8_t>(~content(address + i)));
    ASSERT_TRUE(tested.master.write(bytes));
  }
  for (std::size_t address = 0; address < size.size; ++address)
    ASSERT_EQ(tested.at(address), static_cast<std::uint8_t>(~content(address))) << address;
}

TEST_P(Chip24cSizes, wraps_inside_its_page) {
  const std::size_t last = size.size - 1;
  Bytes bytes = size.begin(last);
  bytes.insert(bytes.end(), {0xFC, 0xFD, 0xFE});
  EXPECT_TRUE(tested.master.write(bytes));
  const std::size_t first = size.size - size.page;
  EXPECT_EQ(tested.changed(), (std::vector{first, first + 1, last}));
  EXPECT_EQ(tested.at(last), 0xFC);
  EXPECT_EQ(tested.at(first), 0xFD);
  EXPECT_EQ(tested.at(first + 1), 0xFE);
  EXPECT_EQ(tested.master.read_on(1), contents(first + 2, 1)) << "the address counter wraps too";
}

TEST_P(Chip24cSizes, keeps_the_latest_of_more_bytes_than_a_page_has) {
  Bytes bytes = size.begin(0);
  for (std::size_t i = 0; i < size.page + 2; ++i)
    bytes.push_back(static_cast<std::uint8_t>(0xC0 + i));
  EXPECT_TRUE(tested.master.write(bytes));
  for (std::size_t i = 0; i < size.page; ++i)
    EXPECT_EQ(tested.at(i), 0xC0 + (i < 2 ? i + size.page : i));
  EXPECT_EQ(tested.changed().size(), size.page);
}

TEST_P(Chip24cSizes, programs_nothing_without_a_stop_condition) {
  Bytes bytes = size.begin(4);
  bytes.push_back(0xFC);
  tested.master.start();
  EXPECT_TRUE(tested.master.put(bytes));
  EXPECT_EQ(tested.chip.changes(), 0U);
  tested.master.power_down();
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip24cSizes, forgets_its_page_buffer_at_another_start_condition) {
  Bytes bytes = size.begin(4);
  bytes.push_back(0xFC);
  EXPECT_EQ(tested.master.read(bytes, 1), contents(5, 1)) << "the address counter has moved on";
  EXPECT_EQ(tested.chip.changes(), 0U);
  tested.master.start();
  EXPECT_TRUE(tested.master.put(size.begin(4)));
  tested.master.stop();
  EXPECT_EQ(tested.master.polls(), 0);
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip24cSizes, forgets_its_page_buffer_when_a_byte_is_cut) {
  for (int bits = 1; bits <= 7; ++bits) {
    Bytes bytes = size.begin(4);
    bytes.push_back(0xFC);
    tested.master.start();
    EXPECT_TRUE(tested.master.put(bytes));
    for (int bit = 0; bit < bits; ++bit)
      tested.master.put_bit(false);
    tested.master.stop();
    EXPECT_EQ(tested.master.polls(), 0);
  }
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip24cSizes, does_not_answer_while_it_programs) {
  Bytes bytes = size.begin(4);
  bytes.push_back(0xFC);
  tested.master.start();
  EXPECT_TRUE(tested.master.put(bytes));
  tested.master.stop();
  EXPECT_EQ(tested.at(4), 0xFF) << "erased";
  EXPECT_GT(tested.master.polls(), 0);
  EXPECT_EQ(tested.at(4), 0xFC);
  EXPECT_EQ(tested.changed(), (std::vector<std::size_t>{4}));
}

TEST_P(Chip24cSizes, leaves_the_loaded_bytes_erased_when_power_goes_while_it_programs) {
  Bytes bytes = size.begin(4);
  bytes.insert(bytes.end(), {0xFC, 0xFD});
  tested.master.start();
  EXPECT_TRUE(tested.master.put(bytes));
  tested.master.stop();
  tested.master.power_down();
  tested.master.power_up();
  EXPECT_EQ(tested.master.polls(), 0);
  EXPECT_THAT(tested.memory().subspan(3, 4), ElementsAreArray(hex("03 FF FF 06")));
}

TEST_P(Chip24cSizes, begins_at_zero_after_power_up) {
  EXPECT_EQ(tested.master.read(size.begin(9), 2), contents(9, 2));
  tested.master.power_down();
  tested.master.power_up();
  EXPECT_EQ(tested.master.read_on(1), contents(0, 1));
}

TEST_P(Chip24cSizes, answers_to_no_other_device_code) {
  for (unsigned code = 0; code < 0x10; ++code) {
    tested.master.start();
    EXPECT_EQ(tested.master.put(static_cast<std::uint8_t>(code << 4U)), code == 0xA) << code;
    tested.master.stop();
  }
}

TEST_P(Chip24cSizes, sees_nothing_after_a_byte_it_did_not_acknowledge) {
  tested.master.start();
  EXPECT_FALSE(tested.master.put(hex("50 A0 04 FC")));
  tested.master.stop();
  EXPECT_EQ(tested.master.polls(), 0);
  EXPECT_EQ(tested.chip.changes(), 0U);
}

TEST_P(Chip24cSizes, lets_the_line_go_when_the_reader_does_not_acknowledge) {
  tested.master.read(size.begin(0), 1);
  tested.master.start();
  EXPECT_TRUE(tested.master.put(0xA1));
  EXPECT_EQ(tested.master.get(false), content(1));
  EXPECT_EQ(tested.master.get(true), 0xFF);
}

TEST_P(Chip24cSizes, holds_the_line_from_one_fall_of_the_clock_to_the_next) {
  auto& master = tested.master;
  master.start();
  for (const bool bit : {true, false, true, false, false, false, false})
    master.put_bit(bit);
  master.io(false);
  master.clk(true);
  EXPECT_FALSE(tested.chip.pulls_io_low());
  master.clk(false);
  EXPECT_TRUE(tested.chip.pulls_io_low());
  master.io(true);
  EXPECT_TRUE(tested.chip.pulls_io_low());
  master.clk(true);
  EXPECT_TRUE(tested.chip.pulls_io_low());
  // The chip holds the line low: what the reader does cannot be seen.
  master.io(false);
  master.io(true);
  EXPECT_TRUE(tested.chip.pulls_io_low());
  master.clk(false);
  EXPECT_FALSE(tested.chip.pulls_io_low());
}

TEST_P(Chip24cSizes, does_not_notice_rst) {
  tested.master.rst(true);
  EXPECT_EQ(tested.master.read(size.begin(5), 1), contents(5, 1));
  tested.master.start();
  tested.master.rst(false);
  EXPECT_TRUE(tested.master.put(0xA0));
}

TEST_P(Chip24cSizes, does_nothing_without_power) {
  tested.master.power_down();
  tested.master.io(true);
  EXPECT_FALSE(tested.master.write(size.begin(0)));
}

TEST(Chip24c, ignores_the_select_bits_that_it_has_no_memory_for) {
  for (const auto* const kind : {"24c01a", "24c02", "24c04", "24c08", "24c16"}) {
    TestedChip tested(kind);
    const std::size_t size = tested.memory().size();
    for (std::size_t block = 0; block < 8; ++block) {
      const Bytes begin{static_cast<std::uint8_t>(0xA0 + 2 * block), 0xFE};
      EXPECT_EQ(tested.master.read(begin, 1), contents((block * 256 + 0xFE) % size, 1)) << kind;
    }
  }
}

TEST(Chip24c, looks_at_the_block_only_when_it_is_written) {
  TestedChip tested("24c16");
  EXPECT_EQ(tested.master.read(hex("A6 FF"), 2, 0xA1), contents(0x3FF, 2));
  EXPECT_EQ(tested.master.read(hex("A6 FF"), 1, 0xAF), contents(0x3FF, 1));
}

TEST(Chip24c, answers_only_to_the_first_device_when_it_has_two_address_bytes) {
  for (const auto* const kind : {"24c32", "24c64"}) {
    TestedChip tested(kind);
    for (unsigned device = 0; device < 8; ++device)
      for (const unsigned direction : {0U, 1U}) {
        tested.master.start();
        EXPECT_EQ(tested.master.put(static_cast<std::uint8_t>(0xA0U | device << 1U | direction)),
                  device == 0)
            << kind;
        tested.master.put(0xFF);
        tested.master.stop();
      }
  }
}

TEST(Chip24c, ignores_address_bits_that_it_has_no_memory_for) {
  TestedChip c01a("24c01a");
  EXPECT_EQ(c01a.master.read(hex("A0 85"), 1), contents(0x05, 1));
  TestedChip c32("24c32");
  EXPECT_EQ(c32.master.read(hex("A0 F0 05"), 1), contents(0x005, 1));
  TestedChip c64("24c64");
  EXPECT_EQ(c64.master.read(hex("A0 F0 05"), 1), contents(0x1005, 1));
}

// A small chip takes the second address byte for data.
TEST(Chip24c, puts_the_second_of_two_address_bytes_into_the_cell_that_the_first_one_names) {
  for (const auto* const kind : {"24c01a", "24c02", "24c04", "24c08", "24c16"}) {
    TestedChip tested(kind);
    const std::size_t page = tested.memory().size() <= 256 ? 8 : 16;
    const std::size_t behind = 16 - page;

    // Reading changes no cell, but the address counter is one further, inside the page.
    EXPECT_EQ(tested.master.read(hex("A0 0F FF"), 1), contents(behind, 1)) << kind;
    EXPECT_EQ(tested.master.read(hex("A0 0F 00"), 1), contents(behind, 1)) << kind;
    EXPECT_EQ(tested.chip.changes(), 0U);

    EXPECT_TRUE(tested.master.write(hex("A0 0F FF FC")));
    EXPECT_EQ(tested.changed(), (std::vector<std::size_t>{behind, 15})) << kind;
    EXPECT_EQ(tested.at(15), 0xFF);
    EXPECT_EQ(tested.at(behind), 0xFC);
  }
}

// A large chip takes the data for the second address byte.
TEST(Chip24c, writes_nothing_when_one_of_two_address_bytes_is_missing) {
  for (const auto* const kind : {"24c32", "24c64"}) {
    TestedChip tested(kind);
    EXPECT_TRUE(tested.master.write(hex("A0 05 44")));
    EXPECT_EQ(tested.chip.changes(), 0U);
    EXPECT_EQ(tested.master.read_on(1), contents(0x0544, 1));
    EXPECT_EQ(tested.master.read(hex("A0 07"), 1), contents(0x0745, 1))
        << "the lower byte of the address counter stays";
  }
}

}  // namespace
}  // namespace quorra::simulator
