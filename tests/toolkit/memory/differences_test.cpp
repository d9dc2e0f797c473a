// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/differences.hpp"

#include <gtest/gtest.h>

#include <string>

namespace quorra::testing {
namespace {

using toolkit::Bytes;
using toolkit::Differences;
using toolkit::find_differences;
using toolkit::Range;
using toolkit::SegmentCollector;
using toolkit::Segments;

std::string ranges(const std::vector<Range>& all) {
  std::string words;
  for (const Range& range : all) {
    words += (words.empty() ? "" : " ") + std::to_string(range.address) + "+" +
             std::to_string(range.count);
  }
  return words;
}

std::string bytes(const Differences& differences) {
  std::string words;
  for (const auto& differing : differences.bytes) {
    words += (words.empty() ? "" : " ") + differing.region + ":" +
             std::to_string(differing.address) + "+" + std::to_string(differing.left.size());
  }
  return words;
}

Segments two(int first, const Bytes& some, int second, const Bytes& others) {
  SegmentCollector collector;
  collector.add(1, first, some);
  collector.add(2, second, others);
  return collector.collect();
}

TEST(Differences, AreNoneBetweenEqualBytes) {
  const Segments segments = two(0, {1, 2}, 9, {3});
  EXPECT_TRUE(find_differences(segments, segments, {}).none());
  EXPECT_TRUE(find_differences({}, {}, {}).none());
}

TEST(Differences, AreJoinedWithoutGap) {
  const Differences found = find_differences({4, {1, 2, 3, 4, 5}}, {4, {1, 0, 0, 4, 0}}, {});
  EXPECT_EQ(bytes(found), ":5+2 :8+1");
  EXPECT_EQ(found.count(), 3);
  EXPECT_EQ(found.bytes[0].left, (Bytes{2, 3}));
  EXPECT_EQ(found.bytes[0].right, (Bytes{0, 0}));
  EXPECT_FALSE(found.none());
}

TEST(Differences, HaveTheirRegion) {
  const toolkit::Card& kind = *toolkit::find_card("4428");
  const Bytes blank(1024, 0xFF);
  EXPECT_EQ(bytes(find_differences({1019, Bytes(5, 0)}, {0, blank}, regions_of(kind))),
            "data:1019+2 attempts:1021+1 code:1022+2");
  EXPECT_EQ(bytes(find_differences({1023, {0, 0}}, {1023, {1, 1}}, regions_of(kind))),
            "code:1023+1 :1024+1")
      << "a file may be larger than the card";
}

TEST(Differences, TellWhatOnlyOneHas) {
  const Segments left = two(0, {1, 2, 3}, 10, {4, 5});
  const Segments right = two(2, {3, 9}, 11, {6});
  const Differences found = find_differences(left, right, {});
  EXPECT_EQ(bytes(found), ":11+1");
  EXPECT_EQ(ranges(found.only_left), "0+2 10+1");
  EXPECT_EQ(ranges(found.only_right), "3+1");
  EXPECT_EQ(ranges(ranges_missing_in({}, left)), "0+3 10+2");
  EXPECT_EQ(ranges(ranges_missing_in(two(0, {1}, 2, {3}), left)), "1+1 10+2");
  const Differences missing = find_differences(left, {}, {});
  EXPECT_FALSE(missing.none());
  EXPECT_EQ(missing.count(), 0);
  EXPECT_FALSE(find_differences({}, left, {}).none()) << "only the other one has them";
}

}  // namespace
}  // namespace quorra::testing
