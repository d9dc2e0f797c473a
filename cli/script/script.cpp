// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/script/script.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "cli/exit_status.hpp"
#include "cli/files.hpp"
#include "cli/script/words.hpp"
#include "cli/terminal/terminal.hpp"

namespace quorra::cli {
namespace {

constexpr std::size_t largest_command_file = std::size_t{1024} * 1024;

// Some editors begin a text in UTF-8 with it.
constexpr std::string_view utf8_mark = "\xEF\xBB\xBF";

std::string name_of_place(const Script& script, int line) {
  return fmt::format("{}:{}", script.name, line);
}

// Does something that concerns a line, which is named in the message if it fails.
template <typename Step>
void in_line(const Script& script, int line, Step step) {
  try {
    step();
  } catch (const UsageError& error) {
    throw UsageError(fmt::format("{}: {}", name_of_place(script, line), error.what()));
  }
}

void add_line(Script& script, int line, std::string_view text) {
  std::vector<std::string> words = command_of(text);
  if (words.empty()) return;
  if (!is_expectation(words)) {
    script.commands.push_back({.line = line, .words = std::move(words)});
    return;
  }
  if (script.commands.empty()) throw UsageError("expect: there is no command before it");
  script.commands.back().wanted.push_back({line, expectation_of(words)});
}

// The first line whose expectation is not met.
const ScriptCommand::Wanted* find_mismatch(const ScriptCommand& command, const Json& object) {
  const auto found = std::ranges::find_if(
      command.wanted, [&](const auto& wanted) { return !wanted.expectation.is_met_by(object); });
  return found == command.wanted.end() ? nullptr : &*found;
}

// Both of them, of all expectations of a command.
struct WantedAndGot {
  std::string wanted;
  std::string got;

  WantedAndGot(const ScriptCommand& command, const Json& object) {
    for (const auto& [line, expectation] : command.wanted) {
      const std::string_view separator = wanted.empty() ? "" : " ";
      wanted += fmt::format("{}{}", separator, expectation.text());
      got += fmt::format("{}{}", separator, expectation.got(object));
    }
  }
};

// The object of the command with what is known of its line.
Json object_in_script(const ScriptCommand& command, const Heard& heard,
                      const ScriptCommand::Wanted* mismatch) {
  Json told = heard.object;
  if (mismatch != nullptr) {
    told["ok"] = false;
    told["exit_status"] = exit_failed;
    if (!told.contains("error")) {
      told["error"] = {{"kind", "failed"},
                       {"message", describe_mismatch(mismatch->expectation, heard)},
                       {"word", "unexpected"}};
    }
  } else if (!command.wanted.empty()) {
    told["ok"] = true;
    told.erase("exit_status");
  }
  Json object;
  for (const char* name : {"schema_version", "command", "ok"}) {
    object[name] = told[name];
  }
  object["line"] = command.line;
  if (!command.wanted.empty()) {
    const WantedAndGot both(command, heard.object);
    object["expect"] = both.wanted;
    object["got"] = both.got;
  }
  object.update(told);
  return object;
}

void tell_in_words(const Script& script, const ScriptCommand& command,
                   const Series::Outcome& outcome, const ScriptCommand::Wanted* mismatch) {
  const std::string& error = outcome.heard.error;
  if (mismatch != nullptr) {
    print_error(fmt::format("{}: {}", name_of_place(script, mismatch->line),
                            describe_mismatch(mismatch->expectation, outcome.heard)));
  } else if (error.empty()) {
    return;
  } else if (command.wanted.empty()) {
    print_error(fmt::format("{}: {}", name_of_place(script, command.line), error));
  } else {
    print(fmt::format("As expected: {}\n", error));
  }
}

// Carries out a command and tells what became of it. Returns the exit status that stands for it.
int run_command(Series& series, const Script& script, const ScriptCommand& command) {
  const Series::Outcome outcome = series.run(command.words);
  const ScriptCommand::Wanted* mismatch = find_mismatch(command, outcome.heard.object);
  if (outcome.json) {
    print_object(object_in_script(command, outcome.heard, mismatch));
  } else {
    tell_in_words(script, command, outcome, mismatch);
  }
  flush_standard_output();
  if (mismatch != nullptr) return exit_failed;
  return command.wanted.empty() ? outcome.status : exit_success;
}

}  // namespace

std::vector<std::string> command_of(std::string_view line) {
  std::vector<std::string> words = words_of(line);
  if (words.size() > 1 && words.front() == "quorra") words.erase(words.begin());
  return words;
}

bool is_expectation(const std::vector<std::string>& words) { return words.front() == "expect"; }

Expectation expectation_of(const std::vector<std::string>& words) {
  return Expectation({words.begin() + 1, words.end()});
}

std::string describe_mismatch(const Expectation& expectation, const Heard& heard) {
  constexpr std::size_t most = 64;
  std::string got = expectation.got(heard.object);
  if (got.size() > most) {
    got.resize(most);
    got += "...";
  }
  std::string text = fmt::format("expected {}, got {}", expectation.text(), got);
  if (!heard.error.empty()) text += ": " + heard.error;
  return text;
}

Script Script::of_file(const std::string& file) {
  Script script{.name = file == standard_stream ? "standard input" : file, .commands = {}};
  const Bytes content = read_file(file, largest_command_file + 1);
  if (content.size() > largest_command_file) {
    throw UsageError(fmt::format("{} holds more than {} bytes", script.name, largest_command_file));
  }
  std::string_view rest(reinterpret_cast<const char*>(content.data()), content.size());
  if (rest.starts_with(utf8_mark)) rest.remove_prefix(utf8_mark.size());
  for (int number = 1; !rest.empty(); ++number) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    in_line(script, number, [&] { add_line(script, number, line); });
  }
  return script;
}

void run_script(const Settings& settings, const Script& script, bool keeps_going) {
  if (settings.names_reader() || settings.speed) expect_one_reader(settings);
  Series series(settings);
  for (const ScriptCommand& command : script.commands) {
    in_line(script, command.line, [&] { series.check(command.words); });
  }
  int status = exit_success;
  for (const ScriptCommand& command : script.commands) {
    if (series.interruption().pending()) {
      throw Interrupted(
          fmt::format("{}: not begun: interrupted", name_of_place(script, command.line)));
    }
    const int of_command = run_command(series, script, command);
    if (of_command == exit_success) continue;
    if (!keeps_going) throw Told(of_command);
    status = exit_failed;
  }
  if (status != exit_success) throw Told(status);
}

}  // namespace quorra::cli
