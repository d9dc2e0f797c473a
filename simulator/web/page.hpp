// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string_view>

namespace quorra::simulator {

// page.html, as it was when the program was built.
extern const std::string_view page;

}  // namespace quorra::simulator
