// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The command that a user may want next.
#pragma once

#include <string>

#include "cli/connection.hpp"

namespace quorra::cli {

// "quorra read --config reader.conf --speed 19200": the subcommand, with the options that name the
// reader, as a shell takes it.
std::string next_command(std::string_view subcommand, const Settings& settings);

}  // namespace quorra::cli
