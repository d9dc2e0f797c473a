// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/files/json.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "toolkit/files/records.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {
namespace {

// Nothing of ours is nested as deeply.
constexpr int deepest = 8;

bool expect_shallow(int depth, nlohmann::json::parse_event_t /*event*/,
                    nlohmann::json& /*parsed*/) {
  if (depth > deepest) throw UsageError("it is nested too deeply");
  return true;
}

Segment segment_of(const nlohmann::json& value) {
  const auto address = value.find("address");
  if (address == value.end() || !address->is_number_unsigned()) {
    throw UsageError("it needs an \"address\", which is a number");
  }
  const auto digits = value.find("hex");
  if (digits == value.end() || !digits->is_string()) {
    throw UsageError("it needs \"hex\", which is a text of hex digits");
  }
  const auto number = address->get<std::uint64_t>();
  if (number > std::uint64_t{highest_address}) {
    throw UsageError(fmt::format("address 0x{:X} is above 0x{:X}; no card is so large", number,
                                 highest_address));
  }
  return {static_cast<int>(number), bytes_of_digits(digits->get_ref<const std::string&>())};
}

}  // namespace

nlohmann::json parse_json_object(std::string_view text, int schema) {
  nlohmann::json object;
  try {
    object = nlohmann::json::parse(text, expect_shallow);
  } catch (const nlohmann::json::parse_error& error) {
    const std::string_view before =
        text.substr(0, error.byte - std::min<std::size_t>(1, error.byte));
    throw UsageError(fmt::format("line {}: this is no JSON, or it is cut short",
                                 1 + std::ranges::count(before, '\n')));
  } catch (const nlohmann::json::exception&) {
    throw UsageError("it has a number that is too large");
  }
  if (!object.is_object()) throw UsageError("this JSON is no object");
  const auto version = object.find("schema_version");
  if (version == object.end() || !version->is_number_integer()) {
    throw UsageError("\"schema_version\" is missing, the version of what it is made of");
  }
  if (*version != schema) {
    throw UsageError(fmt::format("\"schema_version\" is {}, and only {} is known here",
                                 version->dump(), schema));
  }
  return object;
}

Segments segments_in(const nlohmann::json& object) {
  const auto list = object.find("segments");
  if (list == object.end() || !list->is_array()) {
    throw UsageError("\"segments\" is missing, a list of address and hex");
  }
  SegmentCollector collector("segment");
  int number = 0;
  for (const nlohmann::json& value : *list) {
    ++number;
    try {
      const Segment segment = segment_of(value);
      collector.add(number, segment.address, segment.bytes);
    } catch (const UsageError& error) {
      throw UsageError(fmt::format("segment {}: {}", number, error.what()));
    }
  }
  return collector.collect();
}

nlohmann::ordered_json json_of(const Segments& segments) {
  auto list = nlohmann::ordered_json::array();
  for (const Segment& segment : segments) {
    list.push_back({{"address", segment.address}, {"hex", digits_of(segment.bytes)}});
  }
  return list;
}

Segments read_json(std::string_view text) {
  return segments_in(parse_json_object(text, data_schema));
}

std::string to_json(const Segments& segments) {
  const nlohmann::ordered_json object{{"schema_version", data_schema},
                                      {"segments", json_of(segments)}};
  return object.dump(2) + "\n";
}

}  // namespace quorra::toolkit
