// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The library's search for the line speed, with a virtual reader that insists on its own.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "simulator/bench/virtual_reader.hpp"
#include "tests/integration/speed_search.hpp"
#include "tests/support/process.hpp"
#include "tests/support/scripted_reader.hpp"
#include "tests/support/session.hpp"

namespace quorra::testing {
namespace {

constexpr const char* version = "KWSPC-VIRTUAL V1.0";

// The speeds that a line can be opened at. It gets 9600 in the place of any other.
std::vector<int> speeds_of(Mode mode) {
  if (mode == Mode::direct) return {9600, 19200, 38400};
  return {1200, 2400, 4800, 9600, 19200};
}

std::string search_directly(int reader_speed, const std::vector<int>& speeds) {
  simulator::Options options;
  options.line_speed = static_cast<unsigned>(reader_speed);
  simulator::RunningReader reader(options);
  const UnhurriedTime time(reader->socket());
  forget_sessions();
  return search(reader->configuration().c_str(), speeds);
}

std::string search_on_terminal(int reader_speed, const std::vector<int>& speeds) {
  const TemporaryDirectory folder;
  const std::string socket = folder / "control";
  std::vector<std::string> command = {
      QUORRA_SIM_PROGRAM, "--line-speed", std::to_string(reader_speed), "--socket", socket,
      "--terminal",       "--",           QUORRA_LINE_SPEED_PROGRAM,    socket};
  for (const int speed : speeds)
    command.push_back(std::to_string(speed));
  const Outcome outcome = run(command);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.errors, "");
  return outcome.output;
}

class SpeedOfAReader : public ::testing::TestWithParam<std::tuple<Mode, int>> {};

TEST_P(SpeedOfAReader, IsFoundAndChangedWhereTheLineCanHaveIt) {
  const auto [mode, reader_speed] = GetParam();
  // To each of the other speeds, and back.
  std::vector<int> speeds = speeds_of(mode);
  const bool is_reachable = std::erase(speeds, reader_speed) != 0;
  if (is_reachable) speeds.push_back(reader_speed);

  std::string expected = "found: " + std::to_string(is_reachable ? reader_speed : -141) + "\n";
  for (const int speed : speeds)
    expected += std::to_string(speed) + ": " + (is_reachable ? version : "-136") + "\n";
  EXPECT_EQ((mode == Mode::direct ? search_directly : search_on_terminal)(reader_speed, speeds),
            expected);
}

INSTANTIATE_TEST_SUITE_P(, SpeedOfAReader,
                         ::testing::Combine(::testing::Values(Mode::direct, Mode::terminal),
                                            ::testing::Values(1200, 2400, 4800, 9600, 19200,
                                                              38400)),
                         [](const auto& row) {
                           return std::string(name_of(std::get<0>(row.param))) +
                                  std::to_string(std::get<1>(row.param));
                         });

}  // namespace
}  // namespace quorra::testing
