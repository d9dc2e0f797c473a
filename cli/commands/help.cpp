// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra help

#include <fmt/core.h>

#include <memory>
#include <string>
#include <vector>

#include "cli/command_words.hpp"
#include "cli/commands/commands.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"

namespace quorra::cli {
namespace {

void run_help(const CLI::App& program, const Settings& settings,
              const std::vector<std::string>& words) {
  const CLI::App* command = &program;
  std::string before;  // the words that were found, with a blank behind them
  for (const std::string& word : words) {
    const CLI::App* next = subcommand_named(*command, word);
    if (next == nullptr) {
      throw UsageError(fmt::format("{}{}: there is no such command{}", before, word,
                                   suggestion(word, subcommand_names(*command))));
    }
    before += word + ' ';
    command = next;
  }
  const std::string name = before.empty() ? program.get_name()
                                          : fmt::format("{} {}", program.get_name(),
                                                        before.substr(0, before.size() - 1));
  const std::string text =
      command->get_formatter()->make_help(command, name, CLI::AppFormatMode::Normal);
  tell(settings, text, {{"help", text}});
}

}  // namespace

void add_help(CLI::App& program, const Settings& settings) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command =
      program.add_subcommand("help", "Tell about a command: its options, and examples");
  command->add_option("COMMAND", *words, "The words of the command; without them, all commands")
      ->type_name("");
  add_examples(*command, {"quorra help read", "quorra help speed set"});
  command->callback([&program, &settings, words] { run_help(program, settings, *words); });
}

}  // namespace quorra::cli
