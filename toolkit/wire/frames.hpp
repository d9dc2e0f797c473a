// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Bytes of a line, cut into frames. No byte is lost, whatever comes.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "toolkit/bytes.hpp"

namespace quorra::toolkit::wire {

// Since the beginning of 1970.
using Time = std::chrono::nanoseconds;

enum class Direction : std::uint8_t { request, reply };

enum class Wholeness : std::uint8_t {
  whole,
  partial,  // it begins as a frame does, and ends too early
  stray,    // bytes outside frames
  screen,   // what a program wrote on the screen of a serial terminal
};

struct Frame {
  Direction direction = Direction::request;
  Wholeness wholeness = Wholeness::whole;
  // When the last byte of a request, or the first byte of a reply, was there.
  Time time{0};
  Bytes bytes;
};

class Splitter {
 public:
  // What stalls for so long is given up, as a reader does it.
  static constexpr std::chrono::seconds patience{1};

  // Takes bytes that came at `time`: the frames that are complete then.
  std::vector<Frame> take(Direction direction, std::span<const unsigned char> bytes, Time time);
  // When pending() would give something up; absent if nothing is under way.
  std::optional<Time> deadline() const;
  // What has stalled at `time`.
  std::vector<Frame> give_up(Time time);
  // All that is under way, for the recording ends.
  std::vector<Frame> finish();

 private:
  struct Side {
    Bytes bytes;
    Time first{0};
    Time last{0};
  };

  void end(Direction direction, Wholeness wholeness, std::vector<Frame>& frames);
  void end_unfinished(Direction direction, std::vector<Frame>& frames);
  void end_stalled(Direction direction, Time time, std::vector<Frame>& frames);
  void push(Direction direction, unsigned char byte, Time time, std::vector<Frame>& frames);
  Side& side(Direction direction) { return sides_[direction == Direction::request ? 0 : 1]; }

  std::array<Side, 2> sides_;
};

}  // namespace quorra::toolkit::wire
