// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Where bytes of two cards, or of a card and a file, are not the same.
#pragma once

#include <string>
#include <vector>

#include "toolkit/bytes.hpp"
#include "toolkit/files/segments.hpp"
#include "toolkit/memory/layout.hpp"

namespace quorra::toolkit {

// Bytes without a gap, all of which differ, in one region.
struct DifferingBytes {
  int address;
  std::string region;  // empty where the kind is not known
  Bytes left;
  Bytes right;
};

struct Differences {
  std::vector<DifferingBytes> bytes;
  // Addresses that only one of the two has.
  std::vector<Range> only_left;
  std::vector<Range> only_right;

  bool none() const { return bytes.empty() && only_left.empty() && only_right.empty(); }
  // How many bytes differ.
  int count() const;
};

// `regions` are those of the card, or none.
Differences find_differences(const Segments& left, const Segments& right,
                             const std::vector<Region>& regions);

// The parts of `from` that `other` has no bytes for.
std::vector<Range> ranges_missing_in(const Segments& other, const Segments& from);

}  // namespace quorra::toolkit
