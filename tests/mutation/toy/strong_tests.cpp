// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

int tickets(const int* ages, int count);

TEST(Tickets, are_for_adults) {
  const int ages[] = {30, 2, 40, 50};
  EXPECT_EQ(tickets(ages, 3), 2);
}

TEST(Tickets, are_needed_from_the_limit_on) {
  const int ages[] = {5, 6, 7};
  EXPECT_EQ(tickets(ages, 1), 0);
  EXPECT_EQ(tickets(ages, 2), 1);
  EXPECT_EQ(tickets(ages, 3), 2);
}
