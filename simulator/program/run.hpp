// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/bench/options.hpp"

namespace quorra::simulator {

// Runs a reader until a signal or the control socket ends it. With a port, a web page shows it;
// port 0 is one that is free. The exit status. Throws Error.
int run(const Options& options, std::optional<std::uint16_t> web_port = {});

// Runs a program on a serial terminal with the reader at its auxiliary port. The exit status is
// that of the program. Throws Error.
int run_on_terminal(Options options, std::optional<std::uint16_t> web_port,
                    std::vector<std::string> command);

}  // namespace quorra::simulator
