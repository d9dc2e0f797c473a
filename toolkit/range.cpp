// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/range.hpp"

#include <fmt/core.h>

namespace quorra::toolkit {

std::string addresses(Range range) {
  if (range.count == 1) return fmt::format("0x{:04X}", range.address);
  return fmt::format("0x{:04X}-0x{:04X}", range.address, range.end() - 1);
}

}  // namespace quorra::toolkit
