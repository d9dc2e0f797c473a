// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/wire/frames.hpp"

#include <algorithm>
#include <utility>

#include "toolkit/wire/table.hpp"

namespace quorra::toolkit::wire {
namespace {

// Strays are told in pieces of this size at most.
constexpr std::size_t most_strays = 255;

constexpr Direction both[] = {Direction::request, Direction::reply};

unsigned char start_of(Direction direction) {
  return direction == Direction::request ? request_start : reply_start;
}

bool is_whole(const Bytes& frame) {
  return frame.size() > length_offset && frame.size() == header_size + frame[length_offset] + 1;
}

}  // namespace

void Splitter::end(Direction direction, Wholeness wholeness, std::vector<Frame>& frames) {
  Side& ended = side(direction);
  frames.push_back({.direction = direction,
                    .wholeness = wholeness,
                    .time = direction == Direction::request ? ended.last : ended.first,
                    .bytes = std::exchange(ended.bytes, {})});
}

void Splitter::end_unfinished(Direction direction, std::vector<Frame>& frames) {
  const Bytes& bytes = side(direction).bytes;
  if (bytes.empty()) return;
  end(direction, bytes.front() == start_of(direction) ? Wholeness::partial : Wholeness::stray,
      frames);
}

void Splitter::end_stalled(Direction direction, Time time, std::vector<Frame>& frames) {
  if (time - side(direction).last > patience) end_unfinished(direction, frames);
}

void Splitter::push(Direction direction, unsigned char byte, Time time,
                    std::vector<Frame>& frames) {
  Side& taking = side(direction);
  const unsigned char start = start_of(direction);
  const bool has_strays = !taking.bytes.empty() && taking.bytes.front() != start;
  if (has_strays && (byte == start || taking.bytes.size() == most_strays)) {
    end(direction, Wholeness::stray, frames);
  }
  if (taking.bytes.empty()) {
    taking.first = time;
    // The answer to what was asked before is over.
    if (direction == Direction::request) end_unfinished(Direction::reply, frames);
  }
  taking.bytes.push_back(byte);
  taking.last = time;
  if (taking.bytes.front() == start && is_whole(taking.bytes)) {
    end(direction, Wholeness::whole, frames);
  }
}

std::vector<Frame> Splitter::take(Direction direction, std::span<const unsigned char> bytes,
                                  Time time) {
  std::vector<Frame> frames = give_up(time);
  for (const unsigned char byte : bytes) {
    push(direction, byte, time, frames);
  }
  return frames;
}

std::optional<Time> Splitter::deadline() const {
  std::optional<Time> next;
  for (const Side& under_way : sides_) {
    if (under_way.bytes.empty()) continue;
    const Time over = under_way.last + patience + Time(1);
    next = next ? std::min(*next, over) : over;
  }
  return next;
}

std::vector<Frame> Splitter::give_up(Time time) {
  std::vector<Frame> frames;
  for (const Direction direction : both) {
    end_stalled(direction, time, frames);
  }
  return frames;
}

std::vector<Frame> Splitter::finish() {
  std::vector<Frame> frames;
  for (const Direction direction : both) {
    end_unfinished(direction, frames);
  }
  return frames;
}

}  // namespace quorra::toolkit::wire
