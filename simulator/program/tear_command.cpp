// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/program/tear_command.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <nlohmann/json.hpp>

#include "simulator/bench/tear.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/program/output.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

using Json = nlohmann::ordered_json;

std::string_view name_of(const Tear& tear, const TornState& state) {
  if (state.content == tear.before) return "old";
  return state.content == tear.after ? "new" : "between";
}

// The first of many bytes are enough for people.
std::string shortened(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t most = 16;
  if (bytes.size() <= most) return to_hex(bytes);
  return fmt::format("{} ... ({} bytes)", to_hex(bytes.first(most)), bytes.size());
}

std::string ranges_of(const TornState& state) {
  if (state.clocks.empty()) return "without a cut";
  std::vector<std::string> words;
  for (const ClockRange& range : state.clocks)
    words.push_back(range.first == range.last ? fmt::format("{}", range.first)
                                              : fmt::format("{}-{}", range.first, range.last));
  return fmt::format("clock {}", fmt::join(words, ", "));
}

void print_text(const Tear& tear) {
  const auto status = static_cast<std::uint8_t>(tear.status);
  std::string text = fmt::format("{}: {} clocks, STATUS 0x{:02X} ({})\n", tear.before.kind().name,
                                 tear.clocks, status, status_name(status));
  for (const TornState& state : tear.states) {
    text += fmt::format("{}: {}\n", name_of(tear, state), ranges_of(state));
    for (const CellChange& change : changes_between(tear.before, state.content))
      text += fmt::format("  {} 0x{:04X}: {} -> {}\n", change.field, change.address,
                          shortened(change.before), shortened(change.found));
  }
  print(text);
}

Json to_json(const Tear& tear, const TornState& state) {
  Json json{{"state", name_of(tear, state)}};
  json["clocks"] = Json::array();
  for (const ClockRange& range : state.clocks)
    json["clocks"].push_back({range.first, range.last});
  json["changes"] = Json::array();
  for (const CellChange& change : changes_between(tear.before, state.content))
    json["changes"].push_back({{"field", change.field},
                               {"address", change.address},
                               {"old", to_hex(change.before)},
                               {"found", to_hex(change.found)}});
  return json;
}

void print_json(const Tear& tear) {
  const auto status = static_cast<std::uint8_t>(tear.status);
  Json json{{"kind", tear.before.kind().name},
            {"clocks", tear.clocks},
            {"status", status},
            {"status_name", status_name(status)}};
  json["states"] = Json::array();
  for (const TornState& state : tear.states)
    json["states"].push_back(to_json(tear, state));
  print(json.dump() + '\n');
}

}  // namespace

int tear_card(const std::string& file, const std::vector<std::string>& requests, bool as_json) {
  std::vector<Order> orders;
  orders.reserve(requests.size());
  for (const std::string& request : requests)
    orders.push_back(parse_order(request));
  const Tear result = tear(load_image(file), orders);
  as_json ? print_json(result) : print_text(result);
  return 0;
}

}  // namespace quorra::simulator
