// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How far a card has got, told by what it holds.
#include "toolkit/batch/progress.hpp"

#include <gtest/gtest.h>

namespace quorra::testing {
namespace {

using toolkit::Bytes;
using toolkit::CardProgress;
using toolkit::find_progress;

constexpr int bytewise = 1;
const Bytes before{9, 9, 9, 9};
const Bytes wanted{1, 2, 3, 4};

CardProgress progress(const Bytes& held, int unit = bytewise) {
  return find_progress(before, wanted, held, unit).progress;
}

TEST(CardProgress, KnowsEachStepOfTheWay) {
  EXPECT_EQ(progress({9, 9, 9, 9}), CardProgress::untouched);
  EXPECT_EQ(progress({1, 9, 9, 9}), CardProgress::begun);
  EXPECT_EQ(progress({1, 2, 9, 9}), CardProgress::begun);
  EXPECT_EQ(progress({1, 2, 3, 9}), CardProgress::begun);
  EXPECT_EQ(progress({1, 2, 3, 4}), CardProgress::complete);
  EXPECT_EQ(find_progress(before, wanted, {1, 2, 9, 9}, bytewise).written, 2);
  EXPECT_EQ(find_progress(before, wanted, wanted, bytewise).written, 4);
}

TEST(CardProgress, AllowsForOneUnitInBetween) {
  EXPECT_EQ(progress({1, 7, 9, 9}), CardProgress::begun);
  EXPECT_EQ(progress({1, 7, 7, 9}), CardProgress::other);
  EXPECT_EQ(progress({1, 2, 3, 7}), CardProgress::begun);
  EXPECT_EQ(progress({1, 2, 7, 7}, 2), CardProgress::begun);
  EXPECT_EQ(progress({1, 2, 3, 7}, 2), CardProgress::begun);
}

TEST(CardProgress, DoesNotTakeAnotherCardForIt) {
  EXPECT_EQ(progress({7, 9, 9, 9}), CardProgress::other);  // nothing of it is there
  EXPECT_EQ(progress({9, 2, 3, 4}), CardProgress::other);
  EXPECT_EQ(progress({1, 9, 3, 9}), CardProgress::other);
  EXPECT_EQ(progress({7, 7, 7, 7}), CardProgress::other);
}

// The first byte of what is wanted was there before.
TEST(CardProgress, WantsAByteThatIsNew) {
  EXPECT_EQ(find_progress({1, 9, 9}, {1, 2, 3}, {1, 7, 9}, bytewise).progress, CardProgress::other);
  EXPECT_EQ(find_progress({1, 9, 9}, {1, 2, 3}, {1, 2, 9}, bytewise).progress, CardProgress::begun);
  EXPECT_EQ(find_progress({1, 9, 9}, {1, 2, 3}, {1, 9, 9}, bytewise).progress,
            CardProgress::untouched);
}

TEST(CardProgress, NothingToChangeIsComplete) {
  EXPECT_EQ(find_progress(wanted, wanted, wanted, bytewise).progress, CardProgress::complete);
  EXPECT_EQ(find_progress({}, {}, {}, bytewise).progress, CardProgress::complete);
}

}  // namespace
}  // namespace quorra::testing
