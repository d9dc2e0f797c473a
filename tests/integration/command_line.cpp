// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/integration/command_line.hpp"

#include <unistd.h>

#include <optional>

namespace quorra::testing {

Arguments operator+(Arguments left, const Arguments& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Outcome run_quorra(const Arguments& arguments, Surroundings surroundings) {
  surroundings.environment.try_emplace("NO_COLOR", std::nullopt);
  // A reader of the one who runs the tests is not found.
  surroundings.environment.try_emplace("QUORRA_CONFIG", std::nullopt);
  surroundings.environment.try_emplace("XDG_CONFIG_HOME", "/nowhere");
  return run(Arguments{QUORRA_PROGRAM} + arguments, surroundings);
}

Arguments without_privileges(const Arguments& command) {
  if (geteuid() != 0) return command;
  return Arguments{"/usr/bin/setpriv", "--bounding-set=-dac_override,-dac_read_search,-sys_admin"} +
         command;
}

void expect_success(const Outcome& outcome, const std::string& output) {
  EXPECT_EQ(outcome.output, output);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.status, 0);
}

void expect_error(const Outcome& outcome, int status, const std::string& errors) {
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors, errors);
  EXPECT_EQ(outcome.status, status);
}

void expect_ended_by(const Outcome& outcome, int signal, const std::string& errors) {
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors, errors);
  EXPECT_EQ(outcome.signal, signal);
}

std::string CommandLine::new_card(const std::string& kind, const Arguments& options) {
  std::string image = folder / "card.toml";
  const Outcome outcome = run(Arguments{QUORRA_SIM_PROGRAM, "new", kind, image} + options);
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  return image;
}

std::string CommandLine::memory_of(const std::string& image) {
  return run_quorra({"read", "--virtual", image, "--raw", "--quiet"}).output;
}

}  // namespace quorra::testing
