// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The limit itself is not tried.

#include <gtest/gtest.h>

int tickets(const int* ages, int count);

TEST(Tickets, are_for_adults) {
  const int ages[] = {30, 2, 40};
  EXPECT_EQ(tickets(ages, 3), 2);
}
