// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/differences.hpp"

#include <algorithm>
#include <cstddef>

namespace quorra::toolkit {
namespace {

// The regions lie in the order of their addresses, and so are the bytes asked for.
class RegionNames {
 public:
  explicit RegionNames(const std::vector<Region>& regions)
      : next_(regions.begin()),
        end_(regions.end()) {}

  std::string at(int address) {
    while (next_ != end_ && next_->range.end() <= address)
      ++next_;
    const bool is_known = next_ != end_ && next_->range.contains(address);
    return is_known ? next_->name : std::string();
  }

 private:
  std::vector<Region>::const_iterator next_;
  std::vector<Region>::const_iterator end_;
};

void append(std::vector<DifferingBytes>& found, int address, const std::string& region,
            unsigned char left, unsigned char right) {
  const bool goes_on = !found.empty() && found.back().region == region &&
                       found.back().address + static_cast<int>(found.back().left.size()) == address;
  if (!goes_on) found.push_back({address, region, {}, {}});
  found.back().left.push_back(left);
  found.back().right.push_back(right);
}

}  // namespace

int Differences::count() const {
  std::size_t count = 0;
  for (const DifferingBytes& differing : bytes) {
    count += differing.left.size();
  }
  return static_cast<int>(count);
}

Differences find_differences(const Segments& left, const Segments& right,
                             const std::vector<Region>& regions) {
  Differences result;
  RegionNames names(regions);
  for (const Segment& segment : left) {
    for (const Segment& other : right.within(segment.range())) {
      const auto mine = segment.bytes.begin() + (other.address - segment.address);
      for (std::size_t at = 0; at < other.bytes.size(); ++at) {
        const unsigned char byte = mine[static_cast<std::ptrdiff_t>(at)];
        if (byte == other.bytes[at]) continue;
        const int address = other.address + static_cast<int>(at);
        append(result.bytes, address, names.at(address), byte, other.bytes[at]);
      }
    }
  }
  result.only_left = ranges_missing_in(right, left);
  result.only_right = ranges_missing_in(left, right);
  return result;
}

std::vector<Range> ranges_missing_in(const Segments& other, const Segments& from) {
  std::vector<Range> missing;
  for (const Segment& segment : from) {
    int first = segment.address;
    for (const Segment& there : other.within(segment.range())) {
      if (there.address > first) missing.push_back({first, there.address - first});
      first = there.end();
    }
    if (first < segment.end()) missing.push_back({first, segment.end() - first});
  }
  return missing;
}

}  // namespace quorra::toolkit
