// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/files/segments.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {
namespace {

void expect_addresses(long long address, std::size_t count) {
  const long long last = address + static_cast<long long>(count) - 1;
  if (last <= highest_address) return;
  throw UsageError(
      fmt::format("address 0x{:X} is above 0x{:X}; no card is so large", last, highest_address));
}

}  // namespace

Segments::Segments(int address, Bytes bytes) {
  expect_addresses(address, bytes.size());
  if (!bytes.empty()) segments_.push_back({address, std::move(bytes)});
}

int Segments::count() const {
  int count = 0;
  for (const Segment& segment : segments_) {
    count += segment.range().count;
  }
  return count;
}

Range Segments::span() const {
  if (segments_.empty()) return {0, 0};
  const int first = segments_.front().address;
  return {first, segments_.back().end() - first};
}

std::optional<unsigned char> Segments::at(int address) const {
  const auto behind = std::ranges::upper_bound(segments_, address, {}, &Segment::address);
  if (behind == segments_.begin()) return std::nullopt;
  const Segment& segment = *std::prev(behind);
  if (!segment.range().contains(address)) return std::nullopt;
  return segment.bytes[static_cast<std::size_t>(address - segment.address)];
}

Segments Segments::within(Range range) const {
  Segments result;
  auto segment = std::ranges::partition_point(
      segments_, [range](const Segment& before) { return before.end() <= range.address; });
  for (; segment != segments_.end() && segment->address < range.end(); ++segment) {
    const int first = std::max(segment->address, range.address);
    const int end = std::min(segment->end(), range.end());
    const auto begin = segment->bytes.begin() + (first - segment->address);
    result.segments_.push_back({first, {begin, begin + (end - first)}});
  }
  return result;
}

Segments Segments::shifted(int by) const {
  Segments result = *this;
  for (Segment& segment : result.segments_) {
    expect_addresses(static_cast<long long>(segment.address) + by, segment.bytes.size());
    segment.address += by;
  }
  return result;
}

void SegmentCollector::add(int number, long long address, const Bytes& bytes) {
  expect_addresses(address, bytes.size());
  if (bytes.empty()) return;
  pieces_.push_back({.address = static_cast<int>(address),
                     .number = number,
                     .first = bytes_.size(),
                     .count = static_cast<int>(bytes.size())});
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

Segments SegmentCollector::collect() {
  std::ranges::sort(pieces_, {}, [](const Piece& piece) {
    return std::tuple(piece.address, piece.number, piece.first);
  });
  Segments result;
  std::vector<Segment>& segments = result.segments_;
  for (const Piece& piece : pieces_) {
    const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(piece.first);
    if (segments.empty() || segments.back().end() < piece.address) {
      segments.push_back({piece.address, {}});
    }
    Segment& segment = segments.back();
    const int known = std::min(segment.end() - piece.address, piece.count);
    const auto held = segment.bytes.begin() + (piece.address - segment.address);
    const auto [other, wanted] = std::mismatch(held, held + known, begin);
    if (other != held + known) {
      contradict(piece.address + static_cast<int>(other - held), piece, *other);
    }
    segment.bytes.insert(segment.bytes.end(), begin + known, begin + piece.count);
  }
  return result;
}

const SegmentCollector::Piece& SegmentCollector::piece_with(int address,
                                                            const Piece& before) const {
  return *std::find_if(pieces_.begin(), pieces_.end(), [&](const Piece& piece) {
    return &piece == &before || (piece.address <= address && address < piece.end());
  });
}

void SegmentCollector::contradict(int address, const Piece& piece, unsigned char held) const {
  const Piece& other = piece_with(address, piece);
  const unsigned char wanted =
      bytes_[piece.first + static_cast<std::size_t>(address - piece.address)];
  const bool is_later = other.number > piece.number;
  throw UsageError(
      fmt::format("{0} {1}: the byte at 0x{2:04X} is {3:02X}, but {0} {4} says {5:02X}", place_,
                  std::max(piece.number, other.number), address, is_later ? held : wanted,
                  std::min(piece.number, other.number), is_later ? wanted : held));
}

}  // namespace quorra::toolkit
