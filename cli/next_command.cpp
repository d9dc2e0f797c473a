// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/next_command.hpp"

#include <fmt/core.h>

namespace quorra::cli {
namespace {

// The word as a shell takes it for one.
std::string shell_word(std::string_view word) {
  constexpr std::string_view plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./+:,@%=";
  if (word.find_first_not_of(plain) == std::string_view::npos) {
    return std::string(word);
  }
  std::string text = "'";
  for (const char character : word) {
    text += character == '\'' ? std::string(R"('\'')") : std::string(1, character);
  }
  return text + "'";
}

}  // namespace

std::string next_command(std::string_view subcommand, const Settings& settings) {
  std::string command = fmt::format("quorra {}", subcommand);
  if (settings.device) command += " --device " + shell_word(*settings.device);
  if (settings.configuration) command += " --config " + shell_word(*settings.configuration);
  if (settings.speed) command += fmt::format(" --speed {}", *settings.speed);
  if (settings.image) command += " --virtual " + shell_word(*settings.image);
  for (const std::string& sam : settings.sams) {
    command += " --virtual-sam " + shell_word(sam);
  }
  return command;
}

}  // namespace quorra::cli
