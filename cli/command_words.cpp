// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/command_words.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <sstream>

#include "cli/parse.hpp"
#include "toolkit/files/data_file.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/session/serial_devices.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

using Commands = std::vector<const CLI::App*>;

std::vector<const CLI::App*> subcommands_of(const CLI::App& command) {
  return command.get_subcommands([](const CLI::App*) { return true; });
}

// The words of the command line up to the last subcommand that was read.
Commands commands_read(const CLI::App& program) {
  Commands commands = {&program};
  while (true) {
    const auto subcommands = commands.back()->get_subcommands(
        [](const CLI::App* subcommand) { return subcommand->parsed(); });
    if (subcommands.empty()) return commands;
    commands.push_back(subcommands.front());
  }
}

bool is_named(const CLI::Option& option, std::string_view name) {
  return std::ranges::any_of(option.get_lnames(),
                             [&](const std::string& one) { return "--" + one == name; });
}

const CLI::Option* option_named(const Commands& commands, std::string_view name) {
  for (const CLI::App* command : commands) {
    for (const CLI::Option* option : command->get_options()) {
      if (is_named(*option, name)) return option;
    }
  }
  return nullptr;
}

std::vector<const CLI::Option*> positionals_of(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

// What is typed up to the cursor, and what it means.
struct Typed {
  Commands commands;
  const CLI::Option* awaiting = nullptr;  // the option whose value comes next
  std::size_t positionals = 0;            // of the last command, before the cursor
};

void read_word(Typed& typed, const std::string& word) {
  if (typed.awaiting != nullptr) {
    typed.awaiting = nullptr;
    return;
  }
  if (word.starts_with('-')) {
    const CLI::Option* option = option_named(typed.commands, word);
    if (option != nullptr && option->get_items_expected_max() > 0) typed.awaiting = option;
    return;
  }
  const CLI::App* subcommand = subcommand_named(*typed.commands.back(), word);
  if (subcommand == nullptr) {
    ++typed.positionals;
  } else if (subcommand->get_name() == "help") {
    // Its words are commands.
    typed.commands = {typed.commands.front()};
  } else {
    typed.commands.push_back(subcommand);
    typed.positionals = 0;
  }
}

class Candidates {
 public:
  explicit Candidates(std::string_view begin) : begin_(begin) {}

  void add(const std::string& word, std::string_view description) {
    if (!word.starts_with(begin_)) return;
    lines_ += fmt::format("{}\t{}\n", word, description.substr(0, description.find('\n')));
  }
  void add_files() { lines_ += ":files\n"; }

  // Those that may be the value of an option; `before` stands in the same word.
  void add_values(const CLI::Option& option, const std::string& before) {
    const std::string type = option.get_type_name();
    const std::string name = option.get_name(true, false);
    const auto is_about = [&](std::string_view word) {
      return type.find(word) != std::string::npos || name.find(word) != std::string::npos;
    };
    if (is_about("KIND")) {
      for (const Card& card : all_cards())
        add(before + std::string(card.name), "kind of card");
    } else if (is_about("DEVICE")) {
      for (const SerialDevice& device : serial_devices())
        add(before + device.path, describe(device));
      add_files();
    } else if (is_about("FORMAT")) {
      for (const FileFormat format :
           {FileFormat::raw, FileFormat::ihex, FileFormat::srec, FileFormat::json})
        add(before + std::string(name_of(format)), "format of files");
    } else if (is_about("FILE") || is_about("IMAGE") || is_about("PLAN")) {
      add_files();
    } else if (const std::size_t open = type.find('{'); open != std::string::npos) {
      std::istringstream choices(type.substr(open + 1, type.find('}') - open - 1));
      for (std::string choice; std::getline(choices, choice, ',');)
        add(before + choice, "");
    }
  }

  const std::string& lines() const { return lines_; }

 private:
  std::string_view begin_;
  std::string lines_;
};

void add_options(Candidates& candidates, const Commands& commands) {
  for (auto command = commands.rbegin(); command != commands.rend(); ++command) {
    for (const CLI::Option* option : (*command)->get_options()) {
      const bool is_of_program_alone = *command == commands.front() && commands.size() > 1 &&
                                       option->get_items_expected_max() == 0 &&
                                       option == commands.front()->get_help_ptr();
      if (option->get_group().empty() || is_of_program_alone) continue;
      for (const std::string& name : option->get_lnames()) {
        candidates.add("--" + name, option->get_description());
      }
    }
  }
}

}  // namespace

std::string suggestion(std::string_view word, const std::vector<std::string>& names) {
  const std::string found = toolkit::nearest(word, names);
  return found.empty() ? std::string() : fmt::format("; did you mean '{}'?", found);
}

const CLI::App* subcommand_named(const CLI::App& command, std::string_view name) {
  const auto subcommands = subcommands_of(command);
  const auto found = std::ranges::find(subcommands, name, &CLI::App::get_name);
  return found == subcommands.end() ? nullptr : *found;
}

std::vector<std::string> subcommand_names(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* subcommand : subcommands_of(command)) {
    names.push_back(subcommand->get_name());
  }
  return names;
}

std::vector<std::string> option_names(const std::vector<const CLI::App*>& commands) {
  std::vector<std::string> names;
  for (const CLI::App* command : commands) {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames())
        names.push_back("--" + name);
    }
  }
  return names;
}

std::string explain(const CLI::App& program, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = program.remaining(true);
  if (unknown.empty()) return error.what();
  const Commands commands = commands_read(program);
  const std::string& word = unknown.front();
  // It takes them in reverse order.
  const std::string wrong =
      CLI::ExtrasError(program.get_name(), {unknown.rbegin(), unknown.rend()}).what();
  return wrong + suggestion(word.substr(0, word.find('=')),
                            word.starts_with('-') ? option_names(commands)
                                                  : subcommand_names(*commands.back()));
}

std::string complete(const CLI::App& program, const std::vector<std::string>& words) {
  if (words.empty()) return {};
  Typed typed{.commands = {&program}};
  for (std::size_t i = 0; i + 1 < words.size(); ++i)
    read_word(typed, words[i]);
  const std::string& word = words.back();
  Candidates candidates(word);
  const std::size_t sign = word.find('=');
  if (typed.awaiting != nullptr) {
    candidates.add_values(*typed.awaiting, "");
  } else if (word.starts_with('-') && sign != std::string::npos) {
    const CLI::Option* option = option_named(typed.commands, word.substr(0, sign));
    if (option != nullptr) candidates.add_values(*option, word.substr(0, sign + 1));
  } else if (word.starts_with('-')) {
    add_options(candidates, typed.commands);
  } else {
    for (const CLI::App* subcommand : subcommands_of(*typed.commands.back())) {
      candidates.add(subcommand->get_name(), subcommand->get_description());
    }
    const auto positionals = positionals_of(*typed.commands.back());
    if (!positionals.empty()) {
      candidates.add_values(*positionals[std::min(typed.positionals, positionals.size() - 1)], "");
    }
  }
  return candidates.lines();
}

}  // namespace quorra::cli
