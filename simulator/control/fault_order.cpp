// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/control/fault_order.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "simulator/error.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

constexpr std::string_view random_kind = "random";
constexpr std::string_view no_field;

std::uint8_t parse_command_byte(const Fields& fields) {
  return static_cast<std::uint8_t>(fields.number("on", 0, 0xFF));
}

double& probability_of(FaultOdds& odds, const FaultRule& rule) {
  return odds.of_kind.at(static_cast<std::size_t>(rule.kind));
}

// All fields that some kind of fault has, with those that follow.
std::vector<std::string_view> parameters_and(std::vector<std::string_view> names) {
  for (const FaultRule& rule : fault_rules())
    if (!rule.parameter.empty()) names.push_back(rule.parameter);
  return names;
}

FaultOdds parse_odds(const Fields& fields) {
  std::vector<std::string_view> known{"command", "kind", "seed", "on", name_of_bit_errors};
  for (const FaultRule& rule : fault_rules())
    known.push_back(rule.name);
  // "status" is a kind, and the other parameters are not for chance.
  for (const std::string_view name : parameters_and({"times", "every"}))
    if (fields.has(name) && std::ranges::find(known, name) == known.end())
      throw Error(fmt::format("{} has no \"{}\"", random_kind, name));
  fields.refuse_all_but(known);

  FaultOdds odds;
  odds.seed = fields.has("seed")
                  ? fields.number("seed", 0, std::numeric_limits<std::uint32_t>::max())
                  : std::random_device()();
  if (fields.has("on")) odds.on = parse_command_byte(fields);
  if (fields.has(name_of_bit_errors)) odds.of_bit = fields.probability(name_of_bit_errors);
  bool anything = fields.has(name_of_bit_errors);
  for (const FaultRule& rule : fault_rules()) {
    if (!fields.has(rule.name)) continue;
    probability_of(odds, rule) = fields.probability(rule.name);
    anything = true;
  }
  if (!anything)
    throw Error(fmt::format(R"({} needs a probability: "{}", "{}" or the like)", random_kind,
                            fault_rules().front().name, name_of_bit_errors));
  return odds;
}

Json object_of(std::string_view text) {
  if (text.starts_with('{')) {
    Json object = parse_object(text);
    if (!object.is_object()) throw Error(fmt::format("this is not a JSON object: {}", text));
    return object;
  }
  const auto next_word = [&text] {
    const std::size_t comma = std::min(text.find(','), text.size());
    std::string word(text.substr(0, comma));
    text.remove_prefix(std::min(comma + 1, text.size()));
    return word;
  };
  Json object{{"kind", next_word()}};
  while (!text.empty()) {
    const std::string word = next_word();
    const std::size_t sign = word.find('=');
    if (sign == std::string::npos || sign == 0)
      throw Error(fmt::format("FIELD=VALUE is expected: {}", word));
    const auto [place, is_new] = object.emplace(word.substr(0, sign), word.substr(sign + 1));
    if (!is_new) throw Error(fmt::format("{} is there twice", place.key()));
  }
  return object;
}

}  // namespace

FaultOrder parse_fault(const Fields& fields) {
  constexpr unsigned most = 1'000'000'000;
  const std::string kind = fields.text("kind");
  if (kind == random_kind) return parse_odds(fields);
  const auto rules = fault_rules();
  const auto rule = std::ranges::find(rules, kind, &FaultRule::name);
  if (rule == rules.end())
    throw Error(fmt::format("unknown kind of fault \"{}\" (known: {}, {})", on_one_line(kind),
                            list_names(rules), random_kind));
  fields.refuse_all_but(parameters_and({"command", "kind", "times", "every", "on"}));
  for (const FaultRule& other : rules)
    if (other.parameter != rule->parameter && fields.has(other.parameter))
      throw Error(fmt::format("{} has no \"{}\"", rule->name, other.parameter));
  if (fields.has("times") && fields.has("every"))
    throw Error(R"("times" and "every" exclude each other)");

  Fault fault;
  fault.kind = rule->kind;
  if (rule->parameter != no_field && fields.has(rule->parameter))
    fault.parameter =
        fields.number(rule->parameter, rule->least_parameter, rule->largest_parameter);
  if (fields.has("on")) fault.on = parse_command_byte(fields);
  if (fields.has("times")) fault.times = fields.number("times", 1, most);
  if (fields.has("every")) fault.every = fields.number("every", 1, most);
  return fault;
}

FaultOrder parse_fault(std::string_view text) {
  const Json object = object_of(text);
  if (object.contains("command")) throw Error("unknown field \"command\"");
  return parse_fault(Fields(object));
}

Json to_json(const Fault& fault) {
  const FaultRule& rule = rule_of(fault.kind);
  Json json{{"kind", rule.name}};
  if (!rule.parameter.empty() && fault.parameter)
    json[std::string(rule.parameter)] = *fault.parameter;
  if (fault.on) json["on"] = *fault.on;
  if (fault.every != 0) {
    json["every"] = fault.every;
  } else {
    json["times"] = fault.times;
  }
  return json;
}

Json to_json(const FaultOdds& odds) {
  Json json{{"kind", random_kind}, {"seed", odds.seed}};
  if (odds.on) json["on"] = *odds.on;
  for (const FaultRule& rule : fault_rules())
    if (const double probability = odds.of_kind.at(static_cast<std::size_t>(rule.kind));
        probability != 0)
      json[std::string(rule.name)] = probability;
  if (odds.of_bit != 0) json[std::string(name_of_bit_errors)] = odds.of_bit;
  return json;
}

Json to_json(std::span<const InjectedFaults> injected) {
  Json json = Json::object();
  for (const InjectedFaults& faults : injected)
    json[std::string(faults.name)] = faults.count;
  return json;
}

std::string to_text(std::span<const InjectedFaults> injected) {
  std::vector<std::string> words;
  for (const InjectedFaults& faults : injected)
    words.push_back(fmt::format("{} {}", faults.name, faults.count));
  return words.empty() ? "none" : fmt::format("{}", fmt::join(words, ", "));
}

}  // namespace quorra::simulator
