// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra: a card in a card reader, from the command line.

#include <algorithm>
#include <csignal>
#include <exception>
#include <string>
#include <vector>

#include "cli/exit_status.hpp"
#include "cli/files.hpp"
#include "cli/program.hpp"
#include "cli/report.hpp"
#include "cli/terminal/interruption.hpp"
#include "cli/terminal/terminal.hpp"
#include "simulator/files.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::cli {
namespace {

void run(Settings& settings, const std::vector<std::string>& words) {
  Program program(settings, words);
  // The shells ask for this.
  if (!words.empty() && words.front() == "complete") {
    print(program.complete({words.begin() + 1, words.end()}));
  } else {
    program.run(words);
  }
}

// The same, with its errors told: the exit status.
int run_and_tell(const std::vector<std::string>& words) {
  Settings settings;
  // An error in the command line is told as it wants to be told of errors.
  settings.json = std::ranges::find(words, "--json") != words.end();
  try {
    run(settings, words);
    if (!settings.waves_failure->empty()) throw Failure(*settings.waves_failure);
    close_standard_output();
    return exit_success;
  } catch (const OutputClosed&) {
    throw;
  } catch (const std::exception& error) {
    return tell_error(settings, error);
  }
}

int run_and_report(const std::vector<std::string>& words, bool ends_with_its_reader) {
  try {
    return run_and_tell(words);
  } catch (const OutputClosed& error) {
    if (ends_with_its_reader) return end_by(SIGPIPE);
    print_error(error.what());
    return exit_failed;
  } catch (const std::exception& error) {  // that could not be told as it was wanted
    print_error(error.what());
    return exit_failed;
  }
}

}  // namespace
}  // namespace quorra::cli

int main(int argc, char** argv) {
  using namespace quorra::cli;
  quorra::simulator::occupy_standard_streams();
  // Writing to a closed pipe, or more than a file may hold, is an error like any other. When nobody
  // reads what the program prints, it ends by the signal for that, but first does what it has
  // begun.
  const bool ends_with_its_reader = std::signal(SIGPIPE, SIG_IGN) != SIG_IGN;
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  const int status = run_and_report({argv + std::min(argc, 1), argv + argc}, ends_with_its_reader);
  const int signal = Interruption::taken();
  return signal == 0 ? status : end_by(signal);
}
