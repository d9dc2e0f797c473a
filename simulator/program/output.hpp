// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string_view>

namespace quorra::simulator {

// Prints to standard output. Throws Error.
void print(std::string_view text);

}  // namespace quorra::simulator
