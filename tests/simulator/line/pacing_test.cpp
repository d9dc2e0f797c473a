// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/line/pacing.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using namespace std::chrono_literals;
using test::hex;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr Time start{std::chrono::hours(1)};

// When each of the bytes that are in the queue is due, counted from `start`.
std::vector<Duration> due_times(PacedQueue queue) {
  std::vector<Duration> times;
  while (!queue.empty()) {
    times.push_back(queue.due() - start);
    queue.pop(1);
  }
  return times;
}

TEST(ByteTime, is_eleven_bits) {
  EXPECT_EQ(byte_time(11), std::chrono::seconds(1));
  EXPECT_EQ(byte_time(1200), 9166667ns);
  EXPECT_EQ(byte_time(115200), 95486ns);
  EXPECT_EQ(byte_time(0), 0ns);
}

TEST(PacedQueue, lets_everything_go_at_once_without_a_speed) {
  PacedQueue queue(0ns);
  queue.push(hex("01 02 03"), start);
  EXPECT_THAT(queue.ready(start - 1ns), IsEmpty());
  EXPECT_THAT(queue.ready(start), ElementsAreArray(hex("01 02 03")));
}

TEST(PacedQueue, spaces_bytes_by_the_time_of_one) {
  PacedQueue queue(10us);
  queue.push(hex("01 02 03"), start);
  EXPECT_EQ(due_times(queue), (std::vector<Duration>{0us, 10us, 20us}));
  EXPECT_THAT(queue.ready(start + 9999ns), ElementsAreArray(hex("01")));
  EXPECT_THAT(queue.ready(start + 10us), ElementsAreArray(hex("01 02")));
  EXPECT_THAT(queue.ready(start + 1ms), ElementsAreArray(hex("01 02 03")));
}

TEST(PacedQueue, spaces_bytes_that_were_pushed_apart) {
  PacedQueue queue(10us);
  queue.push(hex("01 02"), start);
  queue.push(hex("03"), start + 5us);
  queue.push(hex("04"), start + 100us);
  EXPECT_EQ(due_times(queue), (std::vector<Duration>{0us, 10us, 20us, 100us}));
}

TEST(PacedQueue, remembers_the_last_byte_when_it_was_empty) {
  PacedQueue queue(10us);
  queue.push(hex("01"), start);
  queue.pop(1);
  EXPECT_TRUE(queue.empty());
  queue.push(hex("02"), start + 3us);
  EXPECT_EQ(queue.due() - start, 10us);
}

TEST(PacedQueue, does_not_drift_when_somebody_is_late) {
  PacedQueue queue(10us);
  queue.push(hex("01 02 03 04"), start);
  queue.pop(queue.ready(start + 14us).size());
  EXPECT_EQ(queue.due() - start, 20us);
  queue.pop(queue.ready(start + 29us).size());
  EXPECT_EQ(queue.due() - start, 30us);
}

TEST(PacedQueue, pauses_before_bytes) {
  PacedQueue queue(10us);
  queue.push(hex("01 02"), start);
  queue.push(hex("03 04"), start, 1ms);
  EXPECT_EQ(due_times(queue), (std::vector<Duration>{0us, 10us, 1020us, 1030us}));
}

TEST(PacedQueue, pauses_without_a_speed) {
  PacedQueue queue(0ns);
  queue.push(hex("01 02"), start);
  queue.push(hex("03"), start, 1ms);
  EXPECT_THAT(queue.ready(start + 1ms), ElementsAreArray(hex("01 02")));
  queue.pop(2);
  EXPECT_THAT(queue.ready(start + 999us), IsEmpty());
  EXPECT_THAT(queue.ready(start + 1ms), ElementsAreArray(hex("03")));
}

TEST(PacedQueue, keeps_order_and_count_over_many_pushes) {
  PacedQueue queue(0ns);
  std::uint8_t pushed = 0;
  std::uint8_t expected = 0;
  for (int round = 0; round < 5000; ++round) {
    const std::uint8_t bytes[] = {pushed, static_cast<std::uint8_t>(pushed + 1),
                                  static_cast<std::uint8_t>(pushed + 2)};
    pushed = static_cast<std::uint8_t>(pushed + 3);
    queue.push(bytes, start);
    // One byte in three stays behind, up to a point, so the queue does not run empty for long.
    const int taken = queue.size() > 100 ? 100 : 2;
    for (int i = 0; i < taken; ++i) {
      ASSERT_EQ(queue.front(), expected);
      ++expected;
      queue.pop(1);
    }
  }
  for (; !queue.empty(); queue.pop(1))
    ASSERT_EQ(queue.front(), expected++);
  EXPECT_EQ(expected, pushed);
}

TEST(PacedQueue, can_be_cleared) {
  PacedQueue queue(10us);
  queue.push(hex("01 02"), start);
  queue.clear();
  EXPECT_TRUE(queue.empty());
  EXPECT_EQ(queue.size(), 0U);
}

}  // namespace
}  // namespace quorra::simulator
