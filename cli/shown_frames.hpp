// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Frames of the line to a reader, as commands show them.
#pragma once

#include <CLI/App.hpp>

#include <string>

#include "cli/connection.hpp"
#include "toolkit/wire/telling.hpp"

namespace quorra::cli {

struct FrameOptions {
  wire::Codes codes = wire::Codes::hidden;
};

// --show-codes
void add_frame_options(CLI::App& command, FrameOptions& options);

// The frame in words or, with --json, as an object in one line; with its line end.
std::string told(const wire::Decoded& frame, const Settings& settings, const FrameOptions& options);

}  // namespace quorra::cli
