// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Commands that follow one another in one session with a reader.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/connection.hpp"
#include "cli/program.hpp"
#include "cli/report.hpp"
#include "cli/terminal/interruption.hpp"
#include "toolkit/session/frames.hpp"

namespace quorra::cli {

// The session is opened by the first command that needs it, and closed when this goes. Until then
// signals are held back. Commands are given as the words of their lines.
class Series {
 public:
  // The options that hold for all of them; they outlive this.
  explicit Series(const Settings& settings);

  // Throws UsageError if these words make no command, or none that can be one of several.
  void check(const std::vector<std::string>& words);

  // Whether a command that was checked last holds codes or keys.
  bool has_secrets(const std::vector<std::string>& words) const;

  // What may take the place of the last word, as `complete` of command_words.hpp tells it.
  std::string complete(const std::vector<std::string>& words) const {
    return checker_.complete(words);
  }

  // What became of a command, which tells neither objects nor errors.
  struct Outcome {
    int status = 0;
    bool json = false;  // it was to tell them as JSON
    Heard heard;
  };
  Outcome run(const std::vector<std::string>& words);

  const Interruption& interruption() const { return interruption_; }

 private:
  // Those of one command.
  Settings own_settings();

  // As the reader tells it; nothing if it does not, or if nobody needs to know: no code was
  // refused.
  std::optional<toolkit::CardState> state_of_card() const;
  void look_for_another_card();
  void remember_power();

  const Settings& settings_;
  Interruption interruption_;
  SharedSession shared_;
  bool had_power_ = false;  // the card, behind the last command
  Settings checked_;
  Program checker_;
};

}  // namespace quorra::cli
