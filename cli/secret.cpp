// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/secret.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <vector>

#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/terminal/interruption.hpp"
#include "cli/terminal/terminal.hpp"

namespace quorra::cli {
namespace {

constexpr std::string_view to_be_asked = "-";

// Room for the longest one with blanks between its bytes.
constexpr std::size_t longest_line = 256;

std::string file_option(const Secret& secret) { return fmt::format("--{}-file", secret.noun); }

std::string descriptor_option(const Secret& secret) { return fmt::format("--{}-fd", secret.noun); }

std::string ask_hidden(const Interruption& interruption, std::string noun, std::string_view again) {
  const std::string interrupted = fmt::format("asking for the {}: interrupted", noun);
  noun.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(noun.front())));
  const auto text = ask_secret(noun + std::string(again) + ": ", interruption.descriptor());
  if (!text) throw Interrupted(interrupted);
  return *text;
}

std::string asked(const Secret& secret) {
  if (!can_ask()) {
    throw UsageError(fmt::format("{}: there is nobody to ask; give {} or {}", secret.name,
                                 file_option(secret), descriptor_option(secret)));
  }
  const Interruption interruption;
  std::string noun = secret.noun;
  std::ranges::replace(noun, '-', ' ');
  std::string text = ask_hidden(interruption, noun, "");
  if (secret.is_new && ask_hidden(interruption, noun, " again") != text) {
    throw UsageError(fmt::format("{}: these are two different ones", secret.name));
  }
  return text;
}

std::string held_in(const std::string& option, const std::string& file) {
  const Bytes content = read_file(file, longest_line + 1);
  if (content.size() > longest_line) {
    throw UsageError(fmt::format("{}: {} holds more than {} bytes", option, file, longest_line));
  }
  return {content.begin(), content.end()};
}

[[noreturn]] void cannot_read(const std::string& option, int descriptor) {
  throw UsageError(
      fmt::format("{}: cannot read from {}: {}", option, descriptor, std::strerror(errno)));
}

// One byte at a time: what follows the line belongs to others.
std::string line_from(const std::string& option, int descriptor) {
  const Interruption interruption;
  std::string line;
  while (true) {
    std::array<pollfd, 2> waited = {
        {{descriptor, POLLIN, 0}, {interruption.descriptor(), POLLIN, 0}}};
    if (poll(waited.data(), waited.size(), -1) < 0) cannot_read(option, descriptor);
    if (waited[1].revents != 0) throw Interrupted(option + ": interrupted");
    char byte = 0;
    const ssize_t count = read(descriptor, &byte, 1);
    if (count < 0) cannot_read(option, descriptor);
    if (count == 0 || byte == '\n') return line;
    line += byte;
    if (line.size() > longest_line) {
      throw UsageError(fmt::format("{}: the line is longer than {} bytes", option, longest_line));
    }
  }
}

void add_other_ways(CLI::App& command, const std::string& noun, Secret& secret) {
  secret.noun = noun;
  add_file(command, file_option(secret), secret.file,
           "Or: the file that holds it in hex ('-': standard input)");
  add_number(command, descriptor_option(secret), secret.descriptor,
             "Or: the descriptor from which a line that holds it in hex is read");
}

}  // namespace

void add_secret(CLI::App& command, const std::string& noun, Secret& secret,
                const std::string& description) {
  secret.name = "--" + noun;
  command.add_option(secret.name, secret.hex, description + "; '-' asks for it")
      ->type_name("HEX")
      ->configurable(false);
  add_other_ways(command, noun, secret);
}

void add_secret_words(CLI::App& command, const std::string& name, const std::string& noun,
                      Secret& secret, const std::string& description) {
  secret.name = name;
  command
      .add_option_function<std::vector<std::string>>(
          name,
          [&secret](const std::vector<std::string>& words) {
            secret.hex = fmt::format("{}", fmt::join(words, " "));
          },
          description + "; '-' asks for it")
      ->type_name("")
      ->configurable(false);
  add_other_ways(command, noun, secret);
}

// No configuration file has the options of commands, so the mark has this meaning alone. The
// options that ask for help have it, too.
bool is_secret(const CLI::Option* option) {
  return !option->get_configurable() && option->get_items_expected_max() > 0 &&
         option->count() > 0 && option->results() != std::vector<std::string>{"-"};
}

void expect_given(const Secret& secret) {
  const std::array ways_taken = {secret.hex.has_value(), secret.file.has_value(),
                                 secret.descriptor.has_value()};
  const auto ways = std::ranges::count(ways_taken, true);
  if (ways == 1) return;
  const std::string file = file_option(secret);
  const std::string descriptor = descriptor_option(secret);
  if (ways == 0) {
    throw UsageError(fmt::format("{} is required, or {} or {}; see quorra --help", secret.name,
                                 file, descriptor));
  }
  throw UsageError(
      fmt::format("give one of {}, {} and {}, not several", secret.name, file, descriptor));
}

GivenSecret get(const Secret& secret) {
  expect_given(secret);
  if (secret.file) {
    const std::string option = file_option(secret);
    return {option, held_in(option, *secret.file)};
  }
  if (secret.descriptor) {
    const std::string option = descriptor_option(secret);
    return {option, line_from(option, *secret.descriptor)};
  }
  return {secret.name, *secret.hex == to_be_asked ? asked(secret) : *secret.hex};
}

}  // namespace quorra::cli
