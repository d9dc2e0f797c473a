// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Files of commands.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/script/expectation.hpp"
#include "cli/script/series.hpp"

namespace quorra::cli {

// The words of a command in a line, which may begin with the program's name as in a shell. Throws
// UsageError.
std::vector<std::string> command_of(std::string_view line);

// Whether a command's words say what is wanted of the command before it.
bool is_expectation(const std::vector<std::string>& words);
Expectation expectation_of(const std::vector<std::string>& words);

// A command and what is wanted of it.
struct ScriptCommand {
  // Something that is wanted, and the number of its line.
  struct Wanted {
    int line = 0;
    Expectation expectation;
  };

  int line = 0;
  std::vector<std::string> words;
  std::vector<Wanted> wanted = {};
};

struct Script {
  // Reads a file; "-" is standard input. Throws UsageError, which names the line.
  static Script of_file(const std::string& file);

  std::string name;
  std::vector<ScriptCommand> commands;
};

// Carries out the commands, once all of them were found to be such, up to the first one that goes
// wrong unless it `keeps_going`. Throws UsageError if one is no command, Interrupted, or Told.
void run_script(const Settings& settings, const Script& script, bool keeps_going);

// What is said of a command that did something else than was wanted.
std::string describe_mismatch(const Expectation& expectation, const Heard& heard);

}  // namespace quorra::cli
