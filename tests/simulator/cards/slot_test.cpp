// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/slot.hpp"

#include <gtest/gtest.h>

#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::ListeningChip;

TEST(Slot, reads_io_as_the_reader_leaves_it_when_it_is_empty) {
  Slot slot;
  EXPECT_FALSE(slot.occupied());
  slot.set_vcc(true);
  slot.set_io(true);
  EXPECT_TRUE(slot.read_io());
  slot.set_io(false);
  EXPECT_FALSE(slot.read_io());
}

TEST(Slot, tells_the_chip_of_each_change_once) {
  Slot slot;
  ListeningChip chip;
  slot.insert(chip);
  slot.set_vcc(true);
  slot.set_vcc(true);
  slot.set_rst(false);
  slot.clock_pulse();
  ASSERT_EQ(chip.changes.size(), 3U);
  EXPECT_EQ(chip.changes[0].first, Contacts{});
  EXPECT_EQ(chip.changes[0].second, Contacts{.vcc = true});
  EXPECT_EQ(chip.changes[1].second, (Contacts{.vcc = true, .clk = true}));
  EXPECT_EQ(chip.changes[2].first, (Contacts{.vcc = true, .clk = true}));
  EXPECT_EQ(chip.changes[2].second, Contacts{.vcc = true});
}

TEST(Slot, begins_with_all_contacts_low_after_the_power_was_off) {
  Slot slot;
  ListeningChip chip;
  slot.insert(chip);
  slot.set_vcc(true);
  slot.set_rst(true);
  slot.power_off();
  slot.set_vcc(true);
  EXPECT_EQ(chip.changes.back().first, Contacts{});
  EXPECT_EQ(chip.changes.back().second, Contacts{.vcc = true});
}

TEST(Slot, tells_the_chip_when_the_power_goes_whatever_is_high) {
  using SetContact = void (Slot::*)(bool);
  for (const SetContact set : {&Slot::set_vcc, &Slot::set_rst, &Slot::set_clk, &Slot::set_io,
                               &Slot::set_c4, &Slot::set_c8}) {
    Slot slot;
    ListeningChip chip;
    slot.insert(chip);
    slot.power_off();
    EXPECT_TRUE(chip.changes.empty());
    (slot.*set)(true);
    slot.power_off();
    ASSERT_EQ(chip.changes.size(), 2U);
    EXPECT_EQ(chip.changes.back().second, Contacts{});
    slot.power_off();
    EXPECT_EQ(chip.changes.size(), 2U);
  }
}

TEST(Slot, has_io_low_when_either_side_pulls_it) {
  Slot slot;
  ListeningChip chip;
  slot.insert(chip);
  slot.set_vcc(true);
  slot.set_io(true);
  EXPECT_TRUE(slot.read_io());
  slot.set_clk(true);
  EXPECT_FALSE(slot.read_io());
  slot.set_clk(false);
  slot.set_io(false);
  EXPECT_FALSE(slot.read_io());
}

TEST(Slot, has_c8_low_when_either_side_pulls_it) {
  Slot slot;
  slot.set_c8(true);
  EXPECT_TRUE(slot.read_c8()) << "empty";
  ListeningChip chip;
  slot.insert(chip);
  EXPECT_TRUE(slot.read_c8());
  slot.set_rst(true);
  EXPECT_FALSE(slot.read_c8());
  slot.set_rst(false);
  slot.set_c8(false);
  EXPECT_FALSE(slot.read_c8());
}

TEST(Slot, drives_all_contacts_a_card_can_have) {
  Slot slot;
  ListeningChip chip;
  slot.insert(chip);
  slot.set_rst(true);
  slot.set_c4(true);
  slot.set_c8(true);
  EXPECT_EQ(chip.changes.back().second, (Contacts{.rst = true, .c4 = true, .c8 = true}));
}

TEST(Slot, takes_power_away_when_the_card_goes) {
  Slot slot;
  ListeningChip chip;
  slot.insert(chip);
  slot.set_vcc(true);
  slot.set_clk(true);
  slot.remove();
  EXPECT_FALSE(slot.occupied());
  EXPECT_FALSE(slot.powered());
  EXPECT_EQ(chip.changes.back().second, Contacts{});
  const auto told = chip.changes.size();
  slot.set_vcc(true);
  EXPECT_EQ(chip.changes.size(), told);
}

}  // namespace
}  // namespace quorra::simulator
