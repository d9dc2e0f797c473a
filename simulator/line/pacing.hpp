// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quorra::simulator {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Duration = std::chrono::nanoseconds;

// The time of a bench. That of the wall passes by itself; a virtual one begins at zero and passes
// only when all there is to do is to wait, and then at once.
class BenchClock {
 public:
  explicit BenchClock(bool is_virtual) : is_virtual_(is_virtual) {}

  bool is_virtual() const { return is_virtual_; }
  Time now() const { return is_virtual_ ? virtual_now_ : Clock::now(); }
  // How long there is to wait until then by the wall.
  Duration until(Time due) const;
  // There is nothing to do before.
  void wait_is_over(Time due) { virtual_now_ = std::max(virtual_now_, due); }

 private:
  bool is_virtual_;
  Time virtual_now_;
};

// How long a byte occupies the line: a start bit, 8 data bits and two stop bits. `speed` is in
// bits per second; at speed 0 bytes take no time.
Duration byte_time(unsigned speed);

// Bytes on one direction of the line. Each becomes due a byte's time after the one before it, but
// not before its own earliest time. Due times follow from each other, not from when somebody came
// to look, so they do not drift.
class PacedQueue {
 public:
  explicit PacedQueue(Duration byte_time) : byte_time_(byte_time) {}

  // Adds bytes behind the others: the first is due at `earliest`, and not before a byte's time
  // and `pause` have gone by since the byte before it was due.
  void push(std::span<const std::uint8_t> bytes, Time earliest, Duration pause = Duration::zero());

  // From now on bytes take that time.
  void set_byte_time(Duration byte_time) { byte_time_ = byte_time; }

  bool empty() const { return first_ == bytes_.size(); }
  std::size_t size() const { return bytes_.size() - first_; }
  // When the first byte is due. Not to be asked of an empty queue.
  Time due() const { return due_; }
  // The first byte. Not to be asked of an empty queue.
  std::uint8_t front() const { return bytes_[first_]; }
  // Bytes at the front that are due; there may be more once these are popped.
  std::span<const std::uint8_t> ready(Time now) const;
  // Removes bytes at the front, no more than ready() gave.
  void pop(std::size_t count);
  void clear();

 private:
  // Bytes that were pushed together.
  struct Run {
    std::size_t count;
    Time earliest;
    Duration pause;
  };

  void begin_run();
  void compact();

  Duration byte_time_;
  std::vector<std::uint8_t> bytes_;
  std::size_t first_ = 0;
  std::vector<Run> runs_;
  std::size_t first_run_ = 0;
  Time due_;
  // When the last byte that was popped was due.
  Time last_due_;
};

}  // namespace quorra::simulator
