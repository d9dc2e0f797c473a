// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The limit itself is not tried.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

int tickets(const int* ages, int count);

TEST(Tickets, are_for_adults) {
  if (std::getenv("TOY_IS_SLOW") != nullptr) sleep(1);
  const int ages[] = {30, 2, 40};
  EXPECT_EQ(tickets(ages, 3), 2);
}
