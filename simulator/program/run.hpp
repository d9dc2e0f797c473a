// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>
#include <vector>

#include "simulator/bench/options.hpp"

namespace quorra::simulator {

// Runs a reader until a signal or the control socket ends it. The exit status. Throws Error.
int run(const Options& options);

// Runs a program on a serial terminal with the reader at its auxiliary port. The exit status is
// that of the program. Throws Error.
int run_on_terminal(Options options, std::vector<std::string> command);

}  // namespace quorra::simulator
