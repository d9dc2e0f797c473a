// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Frames of the line to a reader, as commands show them.
#pragma once

#include <CLI/App.hpp>

#include <string>

#include "cli/parse.hpp"
#include "toolkit/wire/telling.hpp"

namespace quorra::cli {

struct FrameOptions {
  bool json = false;
  wire::Codes codes = wire::Codes::hidden;
};

// --json and --show-codes
void add_frame_options(CLI::App& command, FrameOptions& options);

// The frame in words or as JSON, with its line end.
std::string told(const wire::Decoded& frame, const FrameOptions& options);

}  // namespace quorra::cli
