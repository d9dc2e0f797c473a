// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra kinds

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "cli/commands/commands.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

Json json_of_code(const Code& code) {
  Json fields{{"size", code.size}};
  if (code.counter) fields["most_left"] = code.counter->most;
  fields["readable"] = code.read != nullptr;
  fields["keeps_zeros"] = code.keeps_zeros;
  return fields;
}

Json json_of_memory(const Memory& memory) {
  Json fields{{"zone", memory.zone},
              {"size", memory.size},
              {"writable", memory.writable},
              {"unit", memory.unit},
              {"page", memory.page},
              {"piece", memory.piece},
              {"keeps_zeros", memory.keeps_zeros},
              {"erases", memory.erase != nullptr},
              {"writes_security", memory.write_security != nullptr}};
  if (memory.no_erase_from) {
    fields["no_erase_from"] = {{"address", memory.no_erase_from->address},
                               {"count", memory.no_erase_from->count}};
  }
  if (memory.erase_code) fields["erase_code"] = json_of_code(*memory.erase_code);
  if (memory.flags) fields["flags"] = memory.flags->address;
  return fields;
}

Json json_of_kind(const Card& card) {
  Json zones = Json::array({json_of_memory(card.memory)});
  Json codes = Json::array();
  int size = card.memory.size;
  for (const Memory& zone : card.further_zones) {
    zones.push_back(json_of_memory(zone));
    size += zone.size;
  }
  for (const Code& code : card.codes) {
    codes.push_back(json_of_code(code));
  }
  Json fields{{"card", card.name}, {"size", size}, {"has_zones", card.has_zones()}};
  fields["zones"] = zones;
  fields["codes"] = codes;
  fields["protectable"] = card.protection ? card.protection->bytes : 0;
  if (!card.twin.empty()) fields["twin"] = card.twin;
  fields["erases_all"] = card.erase_all != nullptr;
  fields["personalises"] = card.personalise != nullptr;
  fields["imitates_fuse"] = card.imitate_fuse != nullptr;
  if (card.units) {
    fields["units"] = {{"first_stage", card.units->first_stage}, {"stages", card.units->stages}};
  }
  return fields;
}

std::string words_of_sizes(const Card& card) {
  std::string words = fmt::format("{}", card.memory.size);
  for (const Memory& zone : card.further_zones) {
    words += fmt::format(", {}", zone.size);
  }
  return card.has_zones() ? words : std::string();
}

std::string words_of_codes(const Card& card) {
  if (card.codes.empty()) return {};
  const auto is_counted = [](const Code& code) { return code.counter.has_value(); };
  const auto all = static_cast<std::ptrdiff_t>(card.codes.size());
  const auto with_counter = std::ranges::count_if(card.codes, is_counted);
  std::string words = counted(card.codes.front().size, "byte");
  if (all > 1) words = fmt::format("{} of {}", all, words);
  if (with_counter > 0) {
    words += ", " + counted(std::ranges::find_if(card.codes, is_counted)->counter->most, "attempt");
  }
  if (with_counter < all) words += fmt::format(" at {} of them", with_counter);
  return words;
}

std::string words_of_protection(const Card& card) {
  return card.protection ? fmt::format("{}", card.protection->bytes) : std::string();
}

void run_kinds(const Settings& settings) {
  constexpr std::string_view row = "{:<7}{:>7}  {:<26}{:<37}{}";
  std::string text;
  Json kinds = Json::array();
  const auto add_row = [&](std::string_view name, std::string_view size, const std::string& zones,
                           const std::string& codes, const std::string& protection) {
    std::string line = fmt::format(row, name, size, zones, codes, protection);
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  };
  add_row("Kind", "Bytes", "In zones", "Codes", "Protectable");
  for (const Card& card : all_cards()) {
    const Json fields = json_of_kind(card);
    add_row(card.name, fields["size"].dump(), words_of_sizes(card), words_of_codes(card),
            words_of_protection(card));
    kinds.push_back(fields);
  }
  tell(settings, text, {{"kinds", kinds}});
}

}  // namespace

void add_kinds(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand(
      "kinds", "Tell which kinds of memory cards there are, and what each of them has");
  add_examples(*command, {"quorra kinds", "quorra kinds --json"});
  command->callback([&settings] { run_kinds(settings); });
}

}  // namespace quorra::cli
