// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>
#include <vector>

namespace quorra::simulator {

// Tears the last of these requests on the card of that image file, which stays as it is, and prints
// the states that result. The exit status. Throws Error.
int tear_card(const std::string& file, const std::vector<std::string>& requests, bool as_json);

}  // namespace quorra::simulator
