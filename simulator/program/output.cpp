// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/program/output.hpp"

#include <fmt/core.h>

#include <cstdio>

#include "simulator/error.hpp"
#include "simulator/files.hpp"

namespace quorra::simulator {

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
    throw Error(fmt::format("standard output: {}", system_error_text()));
}

}  // namespace quorra::simulator
