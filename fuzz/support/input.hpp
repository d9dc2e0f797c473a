// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The bytes of one run, taken from front to back. When they are used up, everything is zero.
#pragma once

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <span>

namespace quorra::fuzzing {

using Bytes = std::span<const unsigned char>;

class Input {
 public:
  explicit Input(Bytes bytes) : bytes_(bytes) {}

  bool empty() const { return taken_ == bytes_.size(); }
  std::size_t taken() const { return taken_; }

  unsigned char byte() { return empty() ? 0 : bytes_[taken_++]; }

  // Up to `count` bytes.
  Bytes bytes(std::size_t count) {
    const Bytes piece = bytes_.subspan(taken_, std::min(count, bytes_.size() - taken_));
    taken_ += piece.size();
    return piece;
  }
  Bytes rest() { return bytes(bytes_.size()); }

  // Mostly a number as a caller who means well gives it, now and then one from the ends of int.
  int number() {
    constexpr std::array edges{INT_MIN, INT_MIN + 1, -65536, -256,   -2,          256,    257,
                               1024,    8191,        8192,   540672, INT_MAX - 1, INT_MAX};
    const int first = byte();
    if (first < 0xC0) return first;
    if (first < 0xE8) return (first - 0xC0) << 8 | byte();
    if (first < 0xF0) return -int{byte()};
    if (first < 0xFE) return edges[static_cast<std::size_t>(first - 0xF0) % edges.size()];
    unsigned all = 0;
    for (int i = 0; i < 4; ++i)
      all = all << 8 | byte();
    return static_cast<int>(all);
  }

 private:
  Bytes bytes_;
  std::size_t taken_ = 0;
};

}  // namespace quorra::fuzzing
