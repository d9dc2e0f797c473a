// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/integration/wire_bench.hpp"

#include <csignal>

namespace quorra::testing {
namespace {

std::string device_in(const std::string& configuration) {
  const std::string content = content_of(configuration);
  const std::size_t begin = content.find("P=") + 2;
  return content.substr(begin, content.find('\n', begin) - begin);
}

}  // namespace

void WireBench::start_reader(const std::string& image, const Arguments& options) {
  reader = std::make_unique<Process>(Arguments{QUORRA_SIM_PROGRAM, "--card", image, "--config",
                                               configuration(), "--socket", folder / "socket"} +
                                     options);
  EXPECT_EQ(reader->read_line(), configuration());
}

void WireBench::start_tap(const Arguments& options) {
  tap = std::make_unique<Process>(Arguments{QUORRA_PROGRAM, "tap", "--config", configuration(),
                                            "--write-config", tapped_configuration()} +
                                  options);
  // It is ready when it has said where.
  const std::string first = tap->read_line();
  EXPECT_NE(first.find("P=" + tapped_device()), std::string::npos) << first;
}

std::string WireBench::stop_tap() {
  tap->signal(SIGINT);
  const Outcome outcome = tap->wait();
  EXPECT_EQ(outcome.signal, SIGINT);
  EXPECT_EQ(outcome.errors, "");
  return outcome.output;
}

void WireBench::control(const std::string& json) {
  EXPECT_EQ(run({QUORRA_SIM_PROGRAM, "control", folder / "socket", json}).output,
            "{\"ok\":true}\n");
}

std::string WireBench::run_at_tap(const Arguments& arguments) {
  const Outcome outcome = run_quorra(arguments + Arguments{"--config", tapped_configuration()});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  return outcome.output;
}

std::string WireBench::device() const { return device_in(configuration()); }

std::string WireBench::tapped_device() const { return device_in(tapped_configuration()); }

}  // namespace quorra::testing
