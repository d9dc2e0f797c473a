// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/web/answers.hpp"

#include <fmt/core.h>

#include <nlohmann/json.hpp>
#include <string_view>

#include "simulator/cards/kinds.hpp"
#include "simulator/control/control_commands.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

using Json = nlohmann::ordered_json;

Json levels(const Contacts& lines) {
  Json object = Json::object();
  for (const Contact& contact : contacts)
    object[std::string(contact.name)] = lines.*contact.level ? 1 : 0;
  return object;
}

Json cells(const std::vector<TouchedBytes>& touched) {
  Json list = Json::array();
  for (const TouchedBytes& bytes : touched)
    list.push_back(
        {{"field", bytes.field}, {"first", bytes.first}, {"bytes", to_hex(bytes.bytes)}});
  return list;
}

// Empty: what is no code and no counter.
std::string_view name_of(AreaRole role) {
  switch (role) {
    case AreaRole::code:
      return "code";
    case AreaRole::attempts:
      return "attempts";
    case AreaRole::erase_code:
      return "erase code";
    case AreaRole::erase_counter:
      return "erase counter";
    case AreaRole::stage:
      return "stage";
    case AreaRole::identification:
    case AreaRole::guarded:
    case AreaRole::zone:
    case AreaRole::nothing:
    case AreaRole::fuse:
      break;
  }
  return {};
}

// The codes and counters that lie in the memory.
Json codes_in_memory(const Image& image) {
  Json codes = Json::array();
  if (image.kind().areas == nullptr) return codes;
  const auto areas = image.kind().areas(image);
  for (std::size_t i = 0; i < areas.size(); ++i) {
    const Area& area = areas[i];
    if (name_of(area.role).empty()) continue;
    const std::size_t end =
        i + 1 < areas.size() ? areas[i + 1].first : image.field("memory").size();
    codes.push_back({{"name", fmt::format("{} {}", name_of(area.role), area.number)},
                     {"first", area.first},
                     {"count", end - area.first}});
  }
  return codes;
}

std::string event(std::string_view name, std::string_view data) {
  return fmt::format("event: {}\ndata: {}\n\n", name, data);
}

struct Stream {
  std::string operator()(const Feed::PassedFrame& passed) const {
    TracedFrame frame = passed.frame;
    frame.bytes = passed.bytes;
    return event("frame", trace_line(frame));
  }
  std::string operator()(const Activity& activity) const {
    Json changes = Json::object();
    for (std::size_t i = 0; i < contacts.size(); ++i)
      changes[std::string(contacts.at(i).name)] = activity.changes.at(i);
    return event("card", Json{{"read", cells(activity.read)},
                              {"programmed", cells(activity.programmed)},
                              {"changes", std::move(changes)},
                              {"contacts", levels(activity.lines)}}
                             .dump());
  }
  std::string operator()(const Feed::Change& /*change*/) const { return event("change", "{}"); }
  std::string operator()(const Feed::Gap& /*gap*/) const { return event("gap", "{}"); }
};

}  // namespace

std::string card_as_json(const State& state) {
  Json answer{{"contacts", levels(state.lines)}, {"kind", nullptr}, {"fields", Json::array()}};
  if (state.card) {
    const Kind& kind = state.card->kind();
    answer["kind"] = kind.name;
    answer["description"] = kind.description;
    for (const Field& field : kind.fields)
      answer["fields"].push_back(
          {{"name", field.name},
           {"is_memory", field.form == FieldForm::memory || field.form == FieldForm::raw},
           {"bytes", to_hex(state.card->field(field.name))}});
    answer["codes"] = codes_in_memory(*state.card);
  } else if (!state.card_file.empty()) {
    answer["kind"] = live_card_kind;
  }
  return answer.dump();
}

std::string streamed(const Feed::Event& event) { return std::visit(Stream{}, event); }

}  // namespace quorra::simulator
