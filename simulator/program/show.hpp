// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>

namespace quorra::simulator {

// Each prints, and returns the exit status. They throw Error.
int show_card(const std::string& file);
int show_kinds();

}  // namespace quorra::simulator
