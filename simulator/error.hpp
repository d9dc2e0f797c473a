// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <stdexcept>
#include <string_view>

namespace quorra::simulator {

// What went wrong, as one line of text for the user.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes one line to standard error, beginning with the name of the program.
void complain(std::string_view text);

}  // namespace quorra::simulator
