// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A short soak of the library: what it does is right, and the same again.

#include <gtest/gtest.h>

#include "tests/soak/soak.hpp"

namespace quorra::testing {
namespace {

TEST(Soak, takes_the_same_course_with_the_same_seed) {
  constexpr long operations = 300;
  const Summary first = soak(1, operations);
  EXPECT_EQ(first.operations, operations);
  EXPECT_GT(first.reopenings, 0);
  EXPECT_TRUE(soak(1, operations) == first);
  EXPECT_NE(soak(2, operations).digest, first.digest);
}

}  // namespace
}  // namespace quorra::testing
