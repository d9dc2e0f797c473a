// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What can be typed, as the description of the command line has it.
#pragma once

#include <CLI/App.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace quorra::cli {

// "; did you mean 'read'?", or nothing if none of the names is near.
std::string suggestion(std::string_view word, const std::vector<std::string>& names);

// The subcommand of this name; a null pointer if there is none.
const CLI::App* subcommand_named(const CLI::App& command, std::string_view name);

// The names of the subcommands.
std::vector<std::string> subcommand_names(const CLI::App& command);

// The options that may stand behind the words of a command, which begin with the program: "--card".
std::vector<std::string> option_names(const std::vector<const CLI::App*>& commands);

// What is wrong with a command line that could not be read, and what may be meant.
std::string explain(const CLI::App& program, const CLI::ParseError& error);

// What may take the place of the last one of these words, which stand behind the program's name:
// lines of a word, a tabulator and its description. The line ":files" stands for names of files.
std::string complete(const CLI::App& program, const std::vector<std::string>& words);

}  // namespace quorra::cli
