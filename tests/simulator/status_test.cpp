// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/status.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace quorra::simulator {
namespace {

TEST(Status, has_a_name_and_a_sentence_for_each_number) {
  EXPECT_EQ(status_name(0x21), "no_card");
  EXPECT_EQ(status_text(0x21), "No card is in the slot.");
  EXPECT_EQ(status_name(static_cast<std::uint8_t>(Status::wrong_check_byte)), "wrong_check_byte");
}

TEST(Status, leaves_other_numbers_without_a_name) {
  EXPECT_EQ(status_name(0x86), "");
  EXPECT_EQ(status_text(0x86), "Unknown status.");
}

TEST(Status, has_no_number_that_hosts_use_for_themselves) {
  std::set<std::string_view> names;
  std::set<std::string_view> texts;
  unsigned known = 0;
  for (unsigned number = 0; number <= 0xFF; ++number) {
    const auto status = static_cast<std::uint8_t>(number);
    if (status_name(status).empty()) continue;
    ++known;
    names.insert(status_name(status));
    texts.insert(status_text(status));
    EXPECT_TRUE(number != 1 && number != 16 && (number < 128 || number > 144)) << number;
  }
  EXPECT_GE(known, 2U);
  EXPECT_EQ(names.size(), known);
  EXPECT_EQ(texts.size(), known);
}

}  // namespace
}  // namespace quorra::simulator
