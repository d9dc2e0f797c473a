// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/report.hpp"

#include <fmt/core.h>

#include <utility>

#include "cli/exit_status.hpp"
#include "cli/files.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::cli {
namespace {

// Of a kind of error: its name, and the exit status.
struct Kind {
  std::string_view name;
  int status;
};

Kind kind_of(const std::exception& error) {
  if (dynamic_cast<const UsageError*>(&error) != nullptr) return {"usage", exit_usage};
  if (dynamic_cast<const NoReader*>(&error) != nullptr) return {"no_reader", exit_nothing};
  if (dynamic_cast<const NoCard*>(&error) != nullptr) return {"no_card", exit_nothing};
  if (dynamic_cast<const Interrupted*>(&error) != nullptr) return {"interrupted", exit_failed};
  return {"failed", exit_failed};
}

Json json_of(const std::vector<Range>& ranges) {
  Json list = Json::array();
  for (const Range& range : ranges) {
    list.push_back({{"address", range.address}, {"count", range.count}});
  }
  return list;
}

Json describe(const Extent& extent) {
  return {{"written", json_of(extent.written)},
          {"erased", json_of(extent.erased)},
          {"unknown", json_of(extent.unknown)},
          {"not_written", json_of(extent.not_written)}};
}

Json describe(const std::exception& error) {
  Json object{{"kind", kind_of(error).name}, {"message", error.what()}};
  const auto* failure = dynamic_cast<const Failure*>(&error);
  if (failure == nullptr) return object;
  const Particulars& particulars = failure->particulars();
  if (particulars.code) object["code"] = *particulars.code;
  if (!particulars.word.empty()) object["word"] = particulars.word;
  if (particulars.address) object["address"] = *particulars.address;
  if (particulars.attempts_left) object["attempts_left"] = *particulars.attempts_left;
  if (particulars.process) object["process"] = *particulars.process;
  if (particulars.extent) object.update(describe(*particulars.extent));
  return object;
}

void give(const Settings& settings, std::string_view text, Json object) {
  if (!settings.json) print(text);
  if (settings.heard != nullptr) {
    settings.heard->object = std::move(object);
  } else if (settings.json) {
    print_object(object);
  }
}

}  // namespace

Json object_of(const Settings& settings, bool ok) {
  Json object{{"schema_version", schema_version}, {"command", settings.command}, {"ok", ok}};
  if (!settings.notes->empty()) object["notes"] = std::exchange(*settings.notes, {});
  return object;
}

// What is no UTF-8, such as the name of a file, is replaced.
void print_object(const Json& object) {
  print(object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n');
}

void tell(const Settings& settings, std::string_view text, const Json& fields) {
  if (!settings.json && settings.heard == nullptr) return print(text);
  Json object = object_of(settings, true);
  object.update(fields);
  give(settings, text, std::move(object));
}

void tell_and_fail(const Settings& settings, std::string_view text, const Json& fields,
                   int status) {
  Json object = object_of(settings, false);
  object["exit_status"] = status;
  object.update(fields);
  give(settings, text, std::move(object));
  throw Told(status);
}

void tell_and_fail(const Settings& settings, std::string_view text, const Json& fields,
                   const std::exception& error) {
  if (!settings.json) print(text);
  throw Told(tell_error(settings, error, fields));
}

void note(const Settings& settings, const std::string& text) {
  if (settings.json) {
    settings.notes->push_back(text);
  } else {
    print_note(fmt::format("quorra: {}\n", text));
  }
}

int tell_error(const Settings& settings, const std::exception& error, const Json& fields) {
  const int status = kind_of(error).status;
  if (const auto* told = dynamic_cast<const Told*>(&error)) return told->status();
  if (!settings.json && settings.heard == nullptr) {
    print_error(error.what());
    return status;
  }
  Json object = object_of(settings, false);
  object["exit_status"] = status;
  object["error"] = describe(error);
  if (!fields.is_null()) object.update(fields);
  if (settings.heard != nullptr) {
    *settings.heard = {.object = std::move(object), .error = error.what()};
    return status;
  }
  try {
    print_object(object);
    // Where it does not go, there is standard error.
    flush_standard_output();
  } catch (const OutputClosed&) {
    throw;
  } catch (const Failure& of_output) {
    print_error(of_output.what());
  }
  return status;
}

Json fields_of(const Card& card, const Memory& memory, Range range) {
  Json fields{{"card", card.name}};
  if (card.has_zones()) fields["zone"] = memory.zone;
  fields["address"] = range.address;
  fields["count"] = range.count;
  return fields;
}

}  // namespace quorra::cli
