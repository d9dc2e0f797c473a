// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>

namespace quorra::simulator {

// Sends a line to the control socket of a running reader and prints the answer, and after it the
// trace if the line asked for one. The exit status. Throws Error.
int control(const std::string& socket, const std::string& line);

}  // namespace quorra::simulator
