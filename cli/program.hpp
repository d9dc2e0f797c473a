// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The command line as a whole: what can be typed, and what becomes of it.
#pragma once

#include <CLI/App.hpp>

#include <span>
#include <string>
#include <vector>

#include "cli/connection.hpp"

namespace quorra::cli {

// One command line. All functions take the words that stand behind the program's name.
class Program {
 public:
  // What is typed sets `settings`, which outlive this. Of the commands, only those are made that
  // `words` may name, which takes a third of the time; all, if they name none.
  explicit Program(Settings& settings, std::span<const std::string> words = {});
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() = default;

  // Reads the words and does what they say. Throws UsageError if they make no command line, or what
  // the command throws.
  void run(const std::vector<std::string>& words);

  // Reads the words without doing what they say, now or later, where all commands are made. Throws
  // UsageError.
  void check(const std::vector<std::string>& words);

  // Whether the words that were read last hold codes or keys.
  bool holds_secrets() const;

  // What may take the place of the last word, as `complete` of command_words.hpp tells it.
  std::string complete(const std::vector<std::string>& words) const;

 private:
  // Returns what help there is, if the words want that.
  std::string parse(const std::vector<std::string>& words);
  std::string refuse(const std::vector<std::string>& words, const CLI::ParseError& error);

  Settings& settings_;
  bool is_whole_ = false;
  CLI::App app_;
};

}  // namespace quorra::cli
