// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra shell

#include <fmt/core.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/script/completion.hpp"
#include "cli/script/script.hpp"
#include "cli/terminal/history_file.hpp"
#include "cli/terminal/line_editor.hpp"
#include "cli/terminal/terminal.hpp"

namespace quorra::cli {
namespace {

constexpr std::string_view greeting =
    "quorra help lists the commands; the tabulator key completes words; exit or Ctrl-D ends.\n";

class Shell {
 public:
  explicit Shell(const Settings& settings)
      : series_(settings),
        editor_("quorra> ", series_.interruption().descriptor(),
                [this](std::string_view line) { return completions_for(series_, line); }) {
    for (const std::string& line : file_.lines()) {
      editor_.remember(line);
      last_line_ = line;
    }
  }

  void run() {
    print_note(greeting);
    while (true) {
      const std::optional<std::string> line = editor_.read();
      if (line && !carry_out(*line)) return;
      if (!line) print_note("\n");
      if (!line && !series_.interruption().pending()) return;
      series_.interruption().forget_interrupt();
      // The others end the program.
      if (series_.interruption().pending()) return;
    }
  }

 private:
  // Does what a line says; false if it ends the shell.
  bool carry_out(const std::string& line) {
    try {
      const std::vector<std::string> words = command_of(line);
      if (words.empty()) return true;
      if (words.front() == "exit" || words.front() == "quit") return false;
      if (is_expectation(words)) {
        remember(line);
        expect(expectation_of(words));
      } else {
        run_command(line, words);
      }
    } catch (const UsageError& error) {
      print_error(error.what());
    }
    return true;
  }

  void run_command(const std::string& line, const std::vector<std::string>& words) {
    try {
      series_.check(words);
    } catch (const UsageError&) {
      // It may be a code that was mistyped, so nobody but its author sees it again.
      editor_.remember(line);
      throw;
    }
    if (!series_.has_secrets(words)) remember(line);
    const Series::Outcome outcome = series_.run(words);
    if (outcome.json) {
      print_object(outcome.heard.object);
    } else if (!outcome.heard.error.empty()) {
      print_error(outcome.heard.error);
    }
    last_ = outcome.heard;
    flush_standard_output();
  }

  void expect(const Expectation& expectation) const {
    if (!last_) throw UsageError("expect: there is no command before it");
    if (expectation.is_met_by(last_->object)) return;
    print_error(describe_mismatch(expectation, *last_));
  }

  void remember(const std::string& line) {
    editor_.remember(line);
    if (line != last_line_) file_.add(line);
    last_line_ = line;
  }

  Series series_;
  HistoryFile file_;
  LineEditor editor_;
  std::string last_line_;  // in the file
  std::optional<Heard> last_;
};

void run_shell(const Settings& settings) {
  if (!is_terminal(STDIN_FILENO)) {
    constexpr bool keeps_going = false;
    return run_script(settings, Script::of_file(std::string(standard_stream)), keeps_going);
  }
  if (settings.names_reader() || settings.speed) expect_one_reader(settings);
  Shell(settings).run();
}

}  // namespace

void add_shell(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand(
      "shell",
      "Carry out commands that are typed at the terminal, in one session with the reader; without "
      "a terminal the same as \"run -\"");
  add_examples(*command, {"quorra shell --config reader.conf", "quorra shell --virtual card.toml"});
  command->callback([&settings] { run_shell(settings); });
}

}  // namespace quorra::cli
