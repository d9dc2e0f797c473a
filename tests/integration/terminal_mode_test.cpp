// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The library in terminal mode: a program on the virtual reader's serial terminal, which has the
// reader at its auxiliary port.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/bytes.hpp"
#include "tests/support/process.hpp"

namespace quorra::testing {
namespace {

class TerminalMode : public ::testing::Test {
 protected:
  // Runs the program with a card of that kind, made with those options.
  Outcome run_with(const std::string& kind, const std::vector<std::string>& options,
                   const std::vector<std::string>& reader_options = {}) const {
    std::vector<std::string> make = {QUORRA_SIM_PROGRAM, "new", kind, folder / "card"};
    make.insert(make.end(), options.begin(), options.end());
    EXPECT_EQ(run(make).status, 0);
    std::vector<std::string> command = {QUORRA_SIM_PROGRAM, "--card", folder / "card"};
    command.insert(command.end(), reader_options.begin(), reader_options.end());
    command.insert(command.end(), {"--terminal", "--", QUORRA_TERMINAL_PROGRAM});
    return run(command);
  }

  TemporaryDirectory folder;
};

TEST_F(TerminalMode, ReadsA4442) {
  // Every value of a byte, those of the escape sequences among them.
  Bytes memory = counting(256);
  write_file(folder / "memory", std::string(memory.begin(), memory.end()));
  const Outcome outcome = run_with("4442", {"--memory", folder / "memory"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.output, "srd_4442 0: " + to_hex(memory) + "\nchk_24c02 -133\n");
}

TEST_F(TerminalMode, DetectsA24c02) {
  const Outcome outcome = run_with("24c02", {});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.output.find("\nchk_24c02 0\n"), std::string::npos) << outcome.output;
}

TEST_F(TerminalMode, HasTheSpeedOfTheTerminal) {
  EXPECT_NE(run_with("24c02", {}, {"--line-speed", "9600"}).output.find("chk_24c02 0"),
            std::string::npos);
}

}  // namespace
}  // namespace quorra::testing
