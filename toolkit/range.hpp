// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>

namespace quorra::toolkit {

// `count` bytes of a memory, from `address`.
struct Range {
  int address;
  int count;

  int end() const { return address + count; }
  bool contains(int at) const { return at >= address && at < end(); }
};

inline Range moved(Range range, int by) { return {range.address + by, range.count}; }

// "0x0020", or "0x0020-0x002F"
std::string addresses(Range range);

}  // namespace quorra::toolkit
