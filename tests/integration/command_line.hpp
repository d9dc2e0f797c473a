// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Running the program quorra as a user runs it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/process.hpp"

namespace quorra::testing {

using Arguments = std::vector<std::string>;

// The last line of a dump with marked bytes.
inline constexpr char legend[] = "*  read-only for good\n";

// How errors of a virtual reader begin.
inline constexpr char refused_write[] =
    "quorra: writing the card: the reader refused the command with status 35 (0x23): a byte was "
    "not written: it is protected, or the code is missing (-35)";
inline constexpr char refused_code[] = "quorra: presenting the code: the code is wrong (-36)";

// The error of a write to a byte that is read-only for good.
inline std::string protected_byte(const std::string& address) {
  return "quorra: writing the card: 1 byte cannot become what it should, at " + address +
         ": read-only for good; nothing was written; --skip-protected leaves them out\n";
}

Arguments operator+(Arguments left, const Arguments& right);

Outcome run_quorra(const Arguments& arguments, Surroundings surroundings = {});

// The same command, for which permissions count also if root starts it.
Arguments without_privileges(const Arguments& command);

void expect_success(const Outcome& outcome, const std::string& output);
void expect_error(const Outcome& outcome, int status, const std::string& errors);
// That a signal ended the program; whoever started it sees that.
void expect_ended_by(const Outcome& outcome, int signal, const std::string& errors);

class CommandLine : public ::testing::Test {
 protected:
  // A card image, made by "quorra-sim new" with these options.
  std::string new_card(const std::string& kind, const Arguments& options = {});

  static std::string memory_of(const std::string& image);

  TemporaryDirectory folder;
};

}  // namespace quorra::testing
