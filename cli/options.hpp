// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Options that several subcommands have.
#pragma once

#include <CLI/App.hpp>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "cli/parse.hpp"
#include "cli/secret.hpp"
#include "toolkit/processor/card_line.hpp"

namespace quorra::cli {

// An option whose value is a decimal or 0x number, for an int or an optional one.
template <typename Number>
CLI::Option* add_number(CLI::App& command, const std::string& name, Number& number,
                        const std::string& description) {
  const auto set = [&number, name](const std::string& text) { number = parse_number(name, text); };
  return command.add_option_function<std::string>(name, set, description)->type_name("N");
}

inline constexpr char address_help[] =
    "Address of the first byte, within its zone; on a 45d041, page x 264 + offset";

template <typename Number>
CLI::Option* add_address(CLI::App& command, Number& address) {
  return add_number(command, "--address", address, address_help);
}

// An option whose value is the name of a file, which is not empty.
CLI::Option* add_file(CLI::App& command, const std::string& name, std::optional<std::string>& file,
                      const std::string& description);

// --zone: which zone of a card with zones is meant.
CLI::Option* add_zone(CLI::App& command, std::optional<int>& zone);

// --sam N
CLI::Option* add_sam(CLI::App& command, SamNumber& sam);

// A code that is presented before the work of a command, and which of the card's codes it is.
struct CodeOptions {
  Secret code;
  std::optional<int> number;
};

// --code, --code-file and --code-fd, and --code-number.
void add_present_code(CLI::App& command, CodeOptions& options);

// --erase-code and its like: the erase code of the zone, which is presented after the code.
void add_erase_code(CLI::App& command, Secret& code);

// --yes: the answer to a question for a yes.
CLI::Option* add_yes(CLI::App& command, bool& yes);

// --yes KIND: the card's kind, which is to be typed otherwise before what cannot be undone.
CLI::Option* add_yes(CLI::App& command, std::optional<std::string>& kind);

// --no-verify: what is written is not read back.
CLI::Option* add_no_verify(CLI::App& command, bool& no_verify);

// Throws CLI::ValidationError if `command` has subcommands and none of them was read.
void expect_subcommand(const CLI::App& command);

// Has the command line refused if it names none of the subcommands that `command` has by then.
void want_subcommand(CLI::App& command);

// Ends the help of a subcommand with examples.
void add_examples(CLI::App& command, std::initializer_list<std::string_view> examples);

}  // namespace quorra::cli
