// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/activity.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "simulator/cards/kinds.hpp"

namespace quorra::simulator {
namespace {

// Does what the test says whenever CLK rises.
class ObedientChip final : public Chip {
 public:
  explicit ObedientChip(std::string_view kind) : Chip(Image(find_kind(kind))) {}

  void contacts_changed(const Contacts& before, const Contacts& now) override {
    if (now.clk && !before.clk && at_clock) at_clock(*this);
  }
  std::uint8_t& cell(std::string_view field, std::size_t address) {
    return image().field(field)[address];
  }
  using Chip::program;
  using Chip::pull_c8_low;
  using Chip::pull_io_low;
  using Chip::put_on_line;
  using Chip::tell_read;

  std::function<void(ObedientChip&)> at_clock;
};

class ActivityTest : public ::testing::Test {
 protected:
  ActivityTest() {
    slot.insert(chip);
    slot.set_vcc(true);
    slot.set_io(true);
  }
  void show(const std::uint8_t* cell) {
    chip.at_clock = [cell](ObedientChip& one) { one.put_on_line(cell); };
    slot.clock_pulse();
  }
  void program(std::string_view field, std::size_t address, std::uint8_t content) {
    chip.at_clock = [&](ObedientChip& one) { one.program(one.cell(field, address), content); };
    slot.clock_pulse();
  }

  ObedientChip chip{"4442"};
  Slot slot;
};

void expect_bytes(const TouchedBytes& touched, std::string_view field, std::size_t first,
                  const std::vector<std::uint8_t>& bytes) {
  EXPECT_EQ(touched.field, field);
  EXPECT_EQ(touched.first, first);
  EXPECT_EQ(touched.bytes, bytes);
}

TEST_F(ActivityTest, has_the_bytes_at_whose_bits_the_reader_looked) {
  chip.cell("memory", 8) = 0x08;
  chip.cell("memory", 9) = 0x09;
  ActivityWatch watch(slot, &chip);
  for (const std::size_t address : {8U, 8U, 9U, 30U}) {
    show(&chip.cell("memory", address));
    if (address != 30) static_cast<void>(slot.read_io());
  }
  show(&chip.cell("memory", 255));
  static_cast<void>(slot.read_c8());
  show(nullptr);
  static_cast<void>(slot.read_io());
  const Activity activity = watch.activity();
  ASSERT_EQ(activity.read.size(), 2U);
  expect_bytes(activity.read[0], "memory", 8, {0x08, 0x09});
  expect_bytes(activity.read[1], "memory", 255, {0xFF});
  EXPECT_TRUE(activity.programmed.empty());
}

TEST_F(ActivityTest, has_what_was_programmed_with_its_last_content) {
  chip.cell("memory", 33) = 0x55;
  ActivityWatch watch(slot, &chip);
  program("memory", 34, 0xFF);
  program("memory", 32, 0x12);
  program("memory", 33, 0x55);
  program("memory", 34, 0x34);
  program("counter", 0, 7);
  program("protected", 31, 1);
  const Activity activity = watch.activity();
  ASSERT_EQ(activity.programmed.size(), 3U);
  expect_bytes(activity.programmed[0], "counter", 0, {7});
  expect_bytes(activity.programmed[1], "protected", 31, {1});
  expect_bytes(activity.programmed[2], "memory", 32, {0x12, 0x55, 0x34});
  EXPECT_TRUE(activity.read.empty());
}

TEST_F(ActivityTest, has_what_a_processor_read) {
  ActivityWatch watch(slot, &chip);
  chip.tell_read(std::as_const(chip).image().field("memory").subspan(254));
  const Activity activity = watch.activity();
  ASSERT_EQ(activity.read.size(), 1U);
  expect_bytes(activity.read[0], "memory", 254, {0xFF, 0xFF});
}

TEST_F(ActivityTest, leaves_out_what_is_no_cell_of_the_card) {
  ActivityWatch watch(slot, &chip);
  const std::uint8_t own_register = 0;
  show(&own_register);
  static_cast<void>(slot.read_io());
  EXPECT_TRUE(watch.activity().read.empty());
}

TEST_F(ActivityTest, counts_how_often_each_contact_changed) {
  ActivityWatch watch(slot, &chip);
  slot.clock_pulse();
  slot.clock_pulse();
  slot.set_io(false);
  slot.set_io(false);
  slot.set_c8(true);
  const Activity activity = watch.activity();
  EXPECT_EQ(activity.changes, (std::array<std::uint64_t, 6>{0, 0, 4, 1, 0, 1}));
  EXPECT_EQ(activity.lines, (Contacts{.vcc = true, .c8 = true}));
}

TEST_F(ActivityTest, tells_the_levels_on_the_lines) {
  slot.set_c8(true);
  ActivityWatch watch(slot, &chip);
  EXPECT_EQ(watch.activity().lines, (Contacts{.vcc = true, .io = true, .c8 = true}));
  chip.pull_io_low(true);
  EXPECT_EQ(watch.activity().lines, (Contacts{.vcc = true, .c8 = true}));
  chip.pull_c8_low(true);
  EXPECT_EQ(watch.activity().lines, (Contacts{.vcc = true}));
}

TEST_F(ActivityTest, begins_and_ends_with_the_watch) {
  program("memory", 32, 0x12);
  {
    ActivityWatch watch(slot, &chip);
    EXPECT_TRUE(watch.activity().programmed.empty());
    EXPECT_EQ(watch.activity().changes, (std::array<std::uint64_t, 6>{}));
  }
  // What was watching is gone.
  program("memory", 32, 0x13);
  static_cast<void>(slot.read_io());
}

TEST(Activity, of_an_empty_slot_is_that_of_its_contacts) {
  Slot slot;
  ActivityWatch watch(slot, nullptr);
  slot.set_vcc(true);
  static_cast<void>(slot.read_io());
  const Activity activity = watch.activity();
  EXPECT_EQ(activity.changes[0], 1U);
  EXPECT_TRUE(activity.read.empty());
  EXPECT_TRUE(activity.programmed.empty());
}

}  // namespace
}  // namespace quorra::simulator
