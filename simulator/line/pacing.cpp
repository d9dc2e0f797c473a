// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/line/pacing.hpp"

#include <algorithm>

namespace quorra::simulator {

Duration BenchClock::until(Time due) const {
  if (is_virtual_) return Duration::zero();
  return std::max(Duration::zero(), Duration(due - Clock::now()));
}

Duration byte_time(unsigned speed) {
  constexpr std::uint64_t bits_per_byte = 11;
  constexpr std::uint64_t nanoseconds_per_second = 1'000'000'000;
  if (speed == 0) return Duration::zero();
  return Duration((bits_per_byte * nanoseconds_per_second + speed / 2) / speed);
}

void PacedQueue::push(std::span<const std::uint8_t> bytes, Time earliest, Duration pause) {
  if (bytes.empty()) return;
  const bool was_empty = empty();
  if (was_empty) clear();
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  runs_.push_back({.count = bytes.size(), .earliest = earliest, .pause = pause});
  if (was_empty) begin_run();
}

std::span<const std::uint8_t> PacedQueue::ready(Time now) const {
  if (empty() || due_ > now) return {};
  std::size_t count = runs_[first_run_].count;
  if (byte_time_ > Duration::zero())
    count = std::min(count, static_cast<std::size_t>((now - due_) / byte_time_) + 1);
  return std::span(bytes_).subspan(first_, count);
}

void PacedQueue::pop(std::size_t count) {
  if (count == 0) return;
  const auto bytes = static_cast<Duration::rep>(count);
  last_due_ = due_ + (bytes - 1) * byte_time_;
  due_ = last_due_ + byte_time_;
  first_ += count;
  runs_[first_run_].count -= count;
  if (runs_[first_run_].count != 0 || ++first_run_ == runs_.size()) return;
  begin_run();
  compact();
}

void PacedQueue::clear() {
  bytes_.clear();
  runs_.clear();
  first_ = 0;
  first_run_ = 0;
}

void PacedQueue::begin_run() {
  const Run& run = runs_[first_run_];
  due_ = std::max(run.earliest, last_due_ + byte_time_ + run.pause);
}

// Keeps a queue that never runs empty from growing without end.
void PacedQueue::compact() {
  constexpr std::size_t worth_the_move = 4096;
  if (first_ < worth_the_move) return;
  bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(first_));
  runs_.erase(runs_.begin(), runs_.begin() + static_cast<std::ptrdiff_t>(first_run_));
  first_ = 0;
  first_run_ = 0;
}

}  // namespace quorra::simulator
