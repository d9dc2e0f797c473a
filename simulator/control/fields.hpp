// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

namespace quorra::simulator {

using Json = nlohmann::ordered_json;

// What is no JSON object is no object here either. Throws Error if a name is there twice: it cannot
// be told which of the values is meant.
Json parse_object(std::string_view text);

// The fields of a JSON object, which must outlive this one. Each function throws Error with a text
// for the answer.
class Fields {
 public:
  explicit Fields(const Json& object) : object_(object) {}

  bool has(std::string_view name) const { return object_.contains(name); }
  std::string text(std::string_view name) const;
  // The name of a file.
  std::string file(std::string_view name) const;
  bool flag(std::string_view name) const;
  // A number, or a string that holds one, so that 0x61 can be written.
  unsigned number(std::string_view name, unsigned least, unsigned most) const;
  // From 0 to 1; a number, or a string that holds one.
  double probability(std::string_view name) const;

  void refuse_all_but(std::span<const std::string_view> known) const;

 private:
  const Json& require(std::string_view name) const;

  const Json& object_;
};

}  // namespace quorra::simulator
