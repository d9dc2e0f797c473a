// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Bytes that have addresses, with holes between them. A hole means "leave alone".
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "toolkit/bytes.hpp"
#include "toolkit/kinds/card.hpp"

namespace quorra::toolkit {

// No byte has a higher address.
inline constexpr int highest_address = 0x7FFFFFFE;

// Bytes without a hole.
struct Segment {
  int address;
  Bytes bytes;

  int end() const { return address + static_cast<int>(bytes.size()); }
  Range range() const { return {address, static_cast<int>(bytes.size())}; }
  bool operator==(const Segment&) const = default;
};

// Segments with a hole between any two of them, the lowest one first.
class Segments {
 public:
  Segments() = default;
  // Throws UsageError if the bytes end above the highest address.
  Segments(int address, Bytes bytes);

  bool empty() const { return segments_.empty(); }
  // How many bytes there are.
  int count() const;
  // From the first byte to the last one, with the holes between them; empty without bytes.
  Range span() const;
  std::optional<unsigned char> at(int address) const;

  std::vector<Segment>::const_iterator begin() const { return segments_.begin(); }
  std::vector<Segment>::const_iterator end() const { return segments_.end(); }
  const Segment& front() const { return segments_.front(); }
  std::size_t size() const { return segments_.size(); }

  // What of them is in the range.
  Segments within(Range range) const;
  // The same bytes, at addresses that are higher by so much. Throws UsageError if one gets too
  // high.
  Segments shifted(int by) const;

  bool operator==(const Segments&) const = default;

 private:
  friend class SegmentCollector;

  std::vector<Segment> segments_;
};

// Makes Segments of pieces in any order. Pieces may say the same byte twice.
class SegmentCollector {
 public:
  // Messages name a piece by `place` and its number: "line 3".
  explicit SegmentCollector(std::string_view place = "line") : place_(place) {}

  // Throws UsageError if the bytes end above the highest address.
  void add(int number, long long address, const Bytes& bytes);

  // Throws UsageError if two pieces want different bytes at one address.
  Segments collect();

 private:
  struct Piece {
    int address;
    int number;
    std::size_t first;  // of its bytes among all
    int count;

    int end() const { return address + count; }
  };

  // The first of the pieces that has a byte at this address.
  const Piece& piece_with(int address, const Piece& before) const;
  [[noreturn]] void contradict(int address, const Piece& piece, unsigned char held) const;

  std::string_view place_;
  std::vector<Piece> pieces_;
  Bytes bytes_;
};

}  // namespace quorra::toolkit
