// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// JSON: an object with the version of its schema, and segments of address and hex digits. Other
// members say nothing of the data.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

#include "toolkit/files/segments.hpp"

namespace quorra::toolkit {

inline constexpr int data_schema = 1;

// An object of which `schema` is the version. Throws UsageError, with the line of what is no JSON.
nlohmann::json parse_json_object(std::string_view text, int schema);

// What the member "segments" tells. Throws UsageError.
Segments segments_in(const nlohmann::json& object);

nlohmann::ordered_json json_of(const Segments& segments);

// The object of a file.
Segments read_json(std::string_view text);
std::string to_json(const Segments& segments);

}  // namespace quorra::toolkit
