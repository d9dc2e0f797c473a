// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/help_format.hpp"

#include "cli/terminal/wrap.hpp"

namespace quorra::cli {
namespace {

// A name, and behind it what it means; below it, where there is no room behind it.
std::string entry(const std::string& name, const std::string& meaning) {
  constexpr std::size_t usual_column = 30;
  constexpr std::size_t narrow_column = 6;
  const std::size_t width = text_width();
  const std::size_t column = width < 2 * usual_column ? narrow_column : usual_column;
  std::string text = "  " + wrap(name, width, 2, 4);
  const bool has_room = text.size() + 2 <= column;
  text += has_room ? std::string(column - text.size(), ' ') : '\n' + std::string(column, ' ');
  return text + wrap(meaning, width, column, column) + '\n';
}

}  // namespace

std::string HelpFormat::make_option(const CLI::Option* option, bool is_positional) const {
  return entry(make_option_name(option, is_positional) + make_option_opts(option),
               make_option_desc(option));
}

std::string HelpFormat::make_subcommand(const CLI::App* subcommand) const {
  return entry(subcommand->get_name(), subcommand->get_description());
}

std::string HelpFormat::make_description(const CLI::App* command) const {
  return wrap_paragraphs(command->get_description(), text_width());
}

std::string HelpFormat::make_usage(const CLI::App* command, std::string name) const {
  std::string usage = CLI::Formatter::make_usage(command, std::move(name));
  while (usage.ends_with('\n'))
    usage.pop_back();
  constexpr std::size_t indent = 7;
  return wrap(usage, text_width(), 0, indent) + '\n';
}

std::string HelpFormat::make_footer(const CLI::App* command) const {
  return wrap_paragraphs(command->get_footer(), text_width());
}

}  // namespace quorra::cli
