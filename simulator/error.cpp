// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/error.hpp"

#include <fmt/core.h>

#include <cstdio>
#include <string>

#include "simulator/text.hpp"

namespace quorra::simulator {

void complain(std::string_view text) {
  const std::string line = fmt::format("quorra-sim: {}\n", on_one_line(text));
  // Where standard error is gone there is nobody left to tell.
  static_cast<void>(std::fputs(line.c_str(), stderr));
}

}  // namespace quorra::simulator
