// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/script/series.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <exception>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>

#include "cli/exit_status.hpp"
#include "toolkit/text.hpp"
#include "toolkit/wire/table.hpp"

namespace quorra::cli {
namespace {

struct Refusal {
  std::string_view command;  // its first word
  std::string_view reason;
};

constexpr Refusal refusals[] = {
    {"run", "it would open another session; put its lines here"},
    {"shell", "it would open another session"},
    {"batch", "it has a session of its own; give it by itself"},
    {"setup", "it looks for other readers; give it by itself"},
    {"doctor", "it opens the line itself; give it by itself"},
    {"speed", "it opens the line itself; give it by itself"},
    {"tap", "it stands in another program's line; give it by itself"},
    {"trace", "it works without a reader; give it by itself"},
    {"complete", "it is there for shells"},
};

// Behind these the card may have other codes, or may be another one.
constexpr std::string_view changing_commands[] = {"code change", "personalise", "restore", "eject"};
// Behind these, too, if the codes lie in the memory.
constexpr std::string_view writing_commands[] = {"write", "fill", "erase"};

bool may_change_codes(const std::string& command, const Json& object) {
  if (std::ranges::find(changing_commands, command) != std::end(changing_commands)) return true;
  if (std::ranges::find(writing_commands, command) == std::end(writing_commands)) return false;
  const Card* card = find_card(object.value("card", ""));
  return card != nullptr && !card->memory.areas.empty();
}

// Whether it may be an APDU that carries a code.
bool holds_code(std::string_view word) {
  std::string digits;
  std::ranges::copy_if(word, std::back_inserter(digits),
                       [](unsigned char character) { return std::isxdigit(character) != 0; });
  constexpr std::size_t instruction_ends = 4;
  if (digits.size() < instruction_ends) return false;
  const Bytes bytes = parse_hex("APDU", digits.substr(0, instruction_ends));
  return wire::find_instruction_with_code(bytes.back()) != nullptr;
}

// What stands behind an option, in a word of its own or in the same one.
std::optional<std::string> value_of(const std::vector<std::string>& words,
                                    std::string_view option) {
  const std::string with_value = std::string(option) + '=';
  const auto found = std::ranges::find_if(words, [&](const std::string& word) {
    return word == option || word.starts_with(with_value);
  });
  if (found == words.end()) return std::nullopt;
  if (*found != option) return found->substr(with_value.size());
  const auto value = std::next(found);
  return value == words.end() ? std::nullopt : std::optional(*value);
}

// Whether bytes are typed that go where a code is, or where one may be: all of a card or zone.
bool types_code(const std::string& command, const std::vector<std::string>& words) {
  constexpr std::string_view commands[] = {"write", "fill", "verify"};
  if (std::ranges::find(commands, command) == std::end(commands)) return false;
  if (std::ranges::find(words, "--security") != words.end()) return true;
  const auto given = value_of(words, "--at");
  if (!given) return false;
  std::string region = lower_case(*given);
  std::erase_if(region, [](char character) { return character == '-' || character == '_'; });
  const bool is_whole = region.find('.') == std::string::npos && region.starts_with("zone");
  return region.find("code") != std::string::npos || region.starts_with("all") || is_whole;
}

void expect_allowed(std::string_view command) {
  const std::string_view first = command.substr(0, command.find(' '));
  const auto* found = std::ranges::find(refusals, first, &Refusal::command);
  if (found == std::end(refusals)) return;
  throw UsageError(fmt::format("{} cannot be one of several commands: {}", first, found->reason));
}

void expect_same_reader(const Settings& all, const Settings& one) {
  const auto expect = [](std::string_view option, bool is_same) {
    if (is_same) return;
    throw UsageError(
        fmt::format("{}: all commands have one reader, which is named before them", option));
  };
  expect("--device", one.device == all.device);
  expect("--config", one.configuration == all.configuration);
  expect("--speed", one.speed == all.speed);
  expect("--virtual", one.image == all.image);
  expect("--virtual-sam", one.sams == all.sams);
  expect("--waves", one.waves == all.waves);
}

}  // namespace

Series::Series(const Settings& settings) : settings_(settings), checker_(checked_) {}

Settings Series::own_settings() {
  Settings own = settings_;
  own.command.clear();
  own.notes = std::make_shared<std::vector<std::string>>();
  own.shared = &shared_;
  return own;
}

void Series::check(const std::vector<std::string>& words) {
  checked_ = own_settings();
  expect_allowed(words.front());
  try {
    checker_.check(words);
  } catch (const UsageError&) {
    // What is wrong with the words of such a command does not matter.
    expect_allowed(checked_.command);
    throw;
  }
  expect_allowed(checked_.command);
  expect_same_reader(settings_, checked_);
}

bool Series::has_secrets(const std::vector<std::string>& words) const {
  if (checker_.holds_secrets() || types_code(checked_.command, words)) return true;
  if (checked_.command != "apdu") return false;
  const std::string together = fmt::format("{}", fmt::join(words, ""));
  return std::ranges::any_of(words, holds_code) ||
         holds_code(together.substr(together.find("apdu") + 4));
}

Series::Outcome Series::run(const std::vector<std::string>& words) {
  look_for_another_card();
  Settings own = own_settings();
  Outcome outcome{.status = exit_success, .json = false, .heard = {}};
  own.heard = &outcome.heard;
  try {
    Program(own, words).run(words);
    if (outcome.heard.object.is_null()) outcome.heard.object = object_of(own, true);
    if (may_change_codes(own.command, outcome.heard.object)) shared_.refused_codes.clear();
  } catch (const std::exception& error) {
    outcome.status = tell_error(own, error);
  }
  outcome.json = own.json;
  remember_power();
  return outcome;
}

std::optional<CardState> Series::state_of_card() const {
  if (shared_.reader == nullptr || shared_.refused_codes.empty()) return std::nullopt;
  try {
    CardState state{};
    const int result = read_card_state(Connection(settings_, shared_.reader), state);
    if (result == 0) return state;
  } catch (const Failure&) {
    // The next command will find out.
  }
  return std::nullopt;
}

// A code that one card has refused may be that of the next one. A card that is put in has no power.
void Series::look_for_another_card() {
  const std::optional<CardState> state = state_of_card();
  if (!state) return;
  if (!state->is_present || (had_power_ && !state->has_power)) shared_.refused_codes.clear();
}

void Series::remember_power() {
  const std::optional<CardState> state = state_of_card();
  had_power_ = state && state->has_power;
}

}  // namespace quorra::cli
