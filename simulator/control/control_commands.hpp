// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>
#include <string_view>

#include "simulator/bench/bench.hpp"

namespace quorra::simulator {

// What a command on one control connection can reach.
struct ControlContext {
  Bench& bench;
  // This connection gets a line for every frame.
  bool traces = false;
  // The virtual reader is to stop.
  bool stop = false;
};

// Carries out one line, a JSON object with a command, and returns the answer as one line without
// its end. Whatever is wrong with the line becomes the answer {"ok":false,"error":"..."}.
std::string carry_out(ControlContext& context, std::string_view line);

// The answer that says what went wrong.
std::string error_answer(std::string_view text);

// The line that a tracing connection gets for a frame.
std::string trace_line(const TracedFrame& frame);

}  // namespace quorra::simulator
