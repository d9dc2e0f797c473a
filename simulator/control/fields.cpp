// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/control/fields.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>

#include "simulator/error.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

std::optional<double> parse_decimal(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

Json parse_object(std::string_view text) {
  std::set<Json> names;
  std::optional<std::string> repeated;
  const auto look = [&](int depth, Json::parse_event_t event, const Json& parsed) {
    if (depth == 1 && event == Json::parse_event_t::key && !names.insert(parsed).second)
      repeated = parsed.get<std::string>();
    return true;
  };
  Json object = Json::parse(text, look, false);
  if (repeated && object.is_object()) throw Error(fmt::format("\"{}\" is there twice", *repeated));
  return object;
}

std::string Fields::text(std::string_view name) const {
  const Json& value = require(name);
  if (!value.is_string()) throw Error(fmt::format("\"{}\" must be a string", name));
  auto text = value.get<std::string>();
  if (text.find('\0') != std::string::npos)
    throw Error(fmt::format("\"{}\" has a character that is not allowed", name));
  return text;
}

std::string Fields::file(std::string_view name) const {
  auto file = text(name);
  if (file.empty()) throw Error("the name of the file is empty");
  return file;
}

bool Fields::flag(std::string_view name) const {
  const Json& value = require(name);
  if (!value.is_boolean()) throw Error(fmt::format("\"{}\" must be true or false", name));
  return value.get<bool>();
}

unsigned Fields::number(std::string_view name, unsigned least, unsigned most) const {
  const Json& value = require(name);
  std::optional<std::uint64_t> number;
  if (value.is_number_unsigned()) number = value.get<std::uint64_t>();
  if (value.is_string()) number = parse_number(value.get<std::string>());
  if (!number || *number < least || *number > most)
    throw Error(fmt::format("\"{}\" must be a number from {} to {}", name, least, most));
  return static_cast<unsigned>(*number);
}

// What is no number is not in the range either.
double Fields::probability(std::string_view name) const {
  const Json& value = require(name);
  std::optional<double> number;
  if (value.is_number()) number = value.get<double>();
  if (value.is_string()) number = parse_decimal(value.get<std::string>());
  if (!number || !(*number >= 0 && *number <= 1))
    throw Error(fmt::format("\"{}\" must be a probability from 0 to 1", name));
  return *number;
}

void Fields::refuse_all_but(std::span<const std::string_view> known) const {
  for (const auto& item : object_.items())
    if (std::ranges::find(known, item.key()) == known.end())
      throw Error(fmt::format("unknown field \"{}\"", item.key()));
}

const Json& Fields::require(std::string_view name) const {
  const auto found = object_.find(name);
  if (found == object_.end()) throw Error(fmt::format("\"{}\" is missing", name));
  return *found;
}

}  // namespace quorra::simulator
