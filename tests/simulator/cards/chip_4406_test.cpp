// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_4406.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/cards/kinds.hpp"
#include "tests/simulator/cards/security_master.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using test::SecurityMaster;
using ::testing::Each;
using ::testing::ElementsAreArray;

class Chip4406Test : public ::testing::Test {
 protected:
  explicit Chip4406Test(std::string_view content = "98 20 11 A5 A5 A5 A5 A5 A5 FF 12 34 56")
      : chip(card(content)) {
    master.power_up();
  }

  static Image card(std::string_view content) {
    Image image(find_kind("4406"));
    std::ranges::copy(hex(content), image.field("memory").begin());
    return image;
  }
  bool present(const Bytes& presented, std::size_t attempt = 0) {
    master.write(9, attempt);
    return master.compare(10, presented);
  }
  void lose_power() {
    master.power_down();
    master.power_up();
  }
  std::uint8_t stored(std::size_t address) const { return chip.image().field("memory")[address]; }

  const Bytes code = hex("12 34 56");
  Chip4406 chip;
  SecurityMaster master{chip};
};

class Chip4406Personalised : public Chip4406Test {
 protected:
  Chip4406Personalised() : Chip4406Test("98 20 11 A5 A5 A5 A5 A5 03 81 00 01 FF") {}
};

TEST(Chip4406New, has_an_identification_and_ones) {
  const Image image(find_kind("4406"));
  const auto memory = image.field("memory");
  ASSERT_EQ(memory.size(), 13U);
  EXPECT_THAT(memory.first(2), ElementsAreArray(hex("98 20")));
  EXPECT_THAT(memory.subspan(2), Each(0xFF));
}

TEST_F(Chip4406Test, hides_its_code_behind_zeros) {
  EXPECT_EQ(master.read(0, 14), hex("98 20 11 A5 A5 A5 A5 A5 A5 FF 00 00 00 98"));
  EXPECT_TRUE(present(code));
  EXPECT_EQ(master.read(8, 5), hex("A5 7F 12 34 56"));
  lose_power();
  EXPECT_EQ(master.read(9, 4), hex("7F 00 00 00"));
}

TEST_F(Chip4406Test, compares_its_code_for_an_attempt_only) {
  EXPECT_FALSE(master.compare(10, code));
  EXPECT_FALSE(present(hex("12 34 57")));
  EXPECT_FALSE(master.compare(10, code));
  EXPECT_FALSE(present(code));
  EXPECT_TRUE(present(code, 1));
}

TEST_F(Chip4406Test, gives_attempts_back_to_an_open_card) {
  EXPECT_TRUE(master.write(9, 0));
  EXPECT_FALSE(master.erase(9));
  EXPECT_TRUE(master.compare(10, code));
  EXPECT_TRUE(master.erase(9));
  EXPECT_EQ(stored(9), 0xFF);
}

TEST_F(Chip4406Test, never_opens_again_without_attempts) {
  for (std::size_t attempt = 0; attempt < 8; ++attempt)
    EXPECT_FALSE(present(hex("00 00 00"), attempt));
  EXPECT_EQ(stored(9), 0x00);
  for (std::size_t attempt = 0; attempt < 8; ++attempt)
    EXPECT_FALSE(present(code, attempt));
}

TEST_F(Chip4406Test, is_written_after_the_code_except_for_its_identification) {
  for (std::size_t address = 0; address < 13; ++address)
    EXPECT_EQ(master.write(address, 3), address == 9) << address;
  EXPECT_TRUE(present(code));
  for (std::size_t address = 0; address < 13; ++address)
    EXPECT_EQ(master.write(address, 6), address >= 3) << address;
  EXPECT_EQ(master.read(0, 13), hex("98 20 11 A5 A5 A5 A5 A5 A5 6D 10 34 54"));
}

TEST_F(Chip4406Test, erases_nothing_but_the_attempts_before_it_is_personalised) {
  EXPECT_TRUE(present(code));
  EXPECT_TRUE(master.write(11, 2));
  for (std::size_t address = 0; address < 13; ++address)
    EXPECT_EQ(master.erase(address), address == 9) << address;
}

TEST_F(Chip4406Test, is_personalised_for_ever_with_the_first_bit_of_byte_8) {
  EXPECT_TRUE(present(code));
  EXPECT_TRUE(master.write(8, 0));
  lose_power();
  EXPECT_EQ(master.read(8, 5), hex("25 7F 12 34 56"));
  EXPECT_FALSE(master.write(3, 0));
  EXPECT_FALSE(present(code, 1));
  EXPECT_FALSE(master.erase(8));
}

TEST_F(Chip4406Personalised, spends_units_without_a_code) {
  for (std::size_t address = 0; address < 13; ++address)
    EXPECT_EQ(master.write(address, 7), address >= 8) << address;
  EXPECT_EQ(master.read(0, 13), hex("98 20 11 A5 A5 A5 A5 A5 02 80 00 00 FE"));
}

TEST_F(Chip4406Personalised, erases_the_next_stage_for_a_spent_bit) {
  EXPECT_FALSE(master.erase(10));
  EXPECT_TRUE(master.write(9, 0));
  EXPECT_TRUE(master.erase(9));
  EXPECT_EQ(master.read(8, 5), hex("03 01 FF 01 FF"));
  EXPECT_FALSE(master.erase(9));
}

TEST_F(Chip4406Personalised, takes_no_bit_for_a_carry_that_was_spent_before) {
  EXPECT_TRUE(master.write(10, 0));
  EXPECT_FALSE(master.erase(10));
}

TEST_F(Chip4406Personalised, carries_from_the_stage_in_which_the_bit_was_spent) {
  EXPECT_TRUE(master.write(9, 0));
  EXPECT_FALSE(master.erase(8));
  EXPECT_FALSE(master.erase(10));
  EXPECT_TRUE(master.write(11, 7));
  EXPECT_FALSE(master.erase(9));
  EXPECT_TRUE(master.erase(11));
  EXPECT_EQ(master.read(8, 5), hex("03 01 00 00 FF"));
}

TEST_F(Chip4406Personalised, has_no_carry_from_its_last_stage_nor_after_a_loss_of_power) {
  EXPECT_TRUE(master.write(12, 0));
  EXPECT_FALSE(master.erase(12));
  EXPECT_TRUE(master.write(9, 0));
  lose_power();
  EXPECT_FALSE(master.erase(9));
}

TEST_F(Chip4406Personalised, compares_no_code) {
  EXPECT_TRUE(master.write(9, 0));
  EXPECT_FALSE(master.compare(10, hex("00 01 FF")));
}

}  // namespace
}  // namespace quorra::simulator
