// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/control/control_commands.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <nlohmann/json.hpp>
#include <vector>

#include "simulator/cards/kinds.hpp"
#include "simulator/control/fault_order.hpp"
#include "simulator/control/fields.hpp"
#include "simulator/error.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

std::string to_line(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json field_as_json(const Field& field, std::span<const std::uint8_t> value) {
  switch (field.form) {
    case FieldForm::number:
      return value.front();
    case FieldForm::addresses:
      return address_list(value);
    case FieldForm::memory:
    case FieldForm::raw:
    case FieldForm::bytes:
    case FieldForm::text_of_bytes:
      break;
  }
  return to_hex(value);
}

Json card_as_json(const Image& image, const std::filesystem::path& file, bool powered) {
  Json card{{"kind", image.kind().name}, {"file", file.string()}, {"powered", powered}};
  for (const Field& field : image.kind().fields)
    if (field.form != FieldForm::memory && field.form != FieldForm::raw)
      card[std::string(field.name)] = field_as_json(field, image.field(field.name));
  return card;
}

Json card_in_slot_as_json(const State& state) {
  if (state.card) return card_as_json(*state.card, state.card_file, state.card_powered);
  if (state.card_file.empty()) return {};
  return {{"kind", live_card_kind},
          {"file", state.card_file.string()},
          {"powered", state.card_powered}};
}

Json sam_as_json(const SamState& sam) {
  Json json{{"slot", sam.slot}};
  json.update(card_as_json(sam.card, sam.file, sam.powered));
  return json;
}

void insert(ControlContext& context, const Fields& fields, Json& /*answer*/) {
  context.bench.insert(fields.file("file"));
}

void remove(ControlContext& context, const Fields& /*fields*/, Json& /*answer*/) {
  context.bench.remove();
}

// A seed that was chosen here is told.
void fault(ControlContext& context, const Fields& fields, Json& answer) {
  const FaultOrder order = parse_fault(fields);
  context.bench.arm(order);
  if (const auto* const odds = std::get_if<FaultOdds>(&order)) answer["seed"] = odds->seed;
}

// What happened by chance is told before it is forgotten.
void clear_faults(ControlContext& context, const Fields& /*fields*/, Json& answer) {
  const State state = context.bench.state();
  context.bench.clear_faults();
  if (!state.fault_odds) return;
  answer["seed"] = state.fault_odds->seed;
  answer["injected"] = to_json(state.injected_faults);
}

void trace(ControlContext& context, const Fields& fields, Json& /*answer*/) {
  context.traces = fields.flag("on");
}

void waves(ControlContext& context, const Fields& fields, Json& /*answer*/) {
  const bool on = !fields.has("on") || fields.flag("on");
  if (on) return context.bench.record_waves(fields.file("file"));
  if (fields.has("file")) throw Error(R"(with "on":false there is no "file")");
  context.bench.stop_waves();
}

void state(ControlContext& context, const Fields& /*fields*/, Json& answer) {
  const State state = context.bench.state();
  answer["present"] = state.card_present;
  answer["card"] = card_in_slot_as_json(state);
  answer["card_speed"] = state.card_speed;
  answer["sams"] = Json::array();
  for (const SamState& sam : state.sams)
    answer["sams"].push_back(sam_as_json(sam));
  answer["sams_powered"] = state.sams_powered;
  answer["selected_sam"] = state.selected_sam;
  answer["sam_speed"] = state.sam_speed;
  answer["line_speed"] = state.line_speed == 0 ? Json() : Json(state.line_speed);
  answer["waves"] = state.waves.empty() ? Json() : Json(state.waves.string());
  answer["faults"] = Json::array();
  for (const Fault& armed : state.faults)
    answer["faults"].push_back(to_json(armed));
  if (state.fault_odds) answer["faults"].push_back(to_json(*state.fault_odds));
  answer["injected"] = to_json(state.injected_faults);
  answer["snapshots"] = state.snapshots;
  answer["exchanges"] = state.exchanges;
  answer["device"] = state.device;
  answer["configuration"] = context.bench.configuration().string();
}

void snapshot(ControlContext& context, const Fields& fields, Json& /*answer*/) {
  context.bench.take_snapshot(fields.text("name"));
}

void restore(ControlContext& context, const Fields& fields, Json& /*answer*/) {
  context.bench.restore_snapshot(fields.text("name"));
}

void stop(ControlContext& context, const Fields& /*fields*/, Json& /*answer*/) {
  context.stop = true;
}

constexpr std::array<std::string_view, 2> fields_of_insert{"command", "file"};
constexpr std::array<std::string_view, 2> fields_of_trace{"command", "on"};
constexpr std::array<std::string_view, 3> fields_of_waves{"command", "on", "file"};
constexpr std::array<std::string_view, 2> fields_of_snapshot{"command", "name"};
constexpr std::array<std::string_view, 1> no_more_fields{"command"};

struct ControlCommand {
  std::string_view name;
  // Empty: run() refuses unknown fields itself.
  std::span<const std::string_view> fields;
  void (*run)(ControlContext& context, const Fields& fields, Json& answer);
};

constexpr std::array commands{
    ControlCommand{"insert", fields_of_insert, insert},
    ControlCommand{"remove", no_more_fields, remove},
    ControlCommand{"fault", {}, fault},
    ControlCommand{"clear_faults", no_more_fields, clear_faults},
    ControlCommand{"snapshot", fields_of_snapshot, snapshot},
    ControlCommand{"restore", fields_of_snapshot, restore},
    ControlCommand{"trace", fields_of_trace, trace},
    ControlCommand{"waves", fields_of_waves, waves},
    ControlCommand{"state", no_more_fields, state},
    ControlCommand{"stop", no_more_fields, stop},
};

}  // namespace

std::string carry_out(ControlContext& context, std::string_view line) {
  try {
    const Json request = parse_object(line);
    if (!request.is_object()) throw Error("the line is not a JSON object");
    const Fields fields(request);
    const std::string name = fields.text("command");
    const auto* const command = std::ranges::find(commands, name, &ControlCommand::name);
    if (command == commands.end())
      throw Error(fmt::format("unknown command \"{}\" (known: {})", name, list_names(commands)));
    if (!command->fields.empty()) fields.refuse_all_but(command->fields);
    Json answer{{"ok", true}};
    command->run(context, fields, answer);
    return to_line(answer);
  } catch (const Error& error) {
    return error_answer(error.what());
  }
}

std::string error_answer(std::string_view text) {
  return to_line(Json{{"ok", false}, {"error", on_one_line(text)}});
}

std::string trace_line(const TracedFrame& frame) {
  const auto text_or_null = [](const std::string& text) {
    return text.empty() ? Json() : Json(text);
  };
  return to_line(Json{{"trace", frame.direction == Direction::in ? "in" : "out"},
                      {"number", frame.exchange},
                      {"time", std::chrono::duration<double>(frame.time).count()},
                      {"card", text_or_null(frame.card)},
                      {"fault", text_or_null(frame.faults)},
                      {"frame", to_hex(frame.bytes)}});
}

}  // namespace quorra::simulator
