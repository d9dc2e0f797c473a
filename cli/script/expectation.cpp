// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/script/expectation.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <optional>

#include "cli/parse.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

// Fields that are the result of a command, if it tells them.
constexpr const char* result_fields[] = {"data",          "value", "answer_to_reset",
                                         "attempts_left", "code",  "erasures_left"};

bool is_digit(unsigned char character) { return std::isdigit(character) != 0; }

// Bytes and status words have capitals for digits.
bool is_hex_digit(unsigned char character) {
  return std::isxdigit(character) != 0 && std::islower(character) == 0;
}

bool fits(std::string_view pattern, std::string_view text) {
  const bool is_hex = std::ranges::all_of(text, is_hex_digit);
  const bool is_open = pattern.ends_with('*');
  if (is_open) {
    pattern.remove_suffix(1);
    text = text.substr(0, pattern.size());
  }
  return std::ranges::equal(lower_case(pattern), lower_case(text), [is_hex](char wanted, char got) {
    return wanted == got ||
           (wanted == '?' && (is_hex || is_digit(static_cast<unsigned char>(got))));
  });
}

void check_pattern(std::string_view pattern) {
  const std::size_t star = pattern.find('*');
  if (star == std::string_view::npos || star + 1 == pattern.size()) return;
  throw UsageError(fmt::format("expect: in '{}', '*' stands for the rest and comes last", pattern));
}

std::string text_of(const Json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::optional<std::string> member(const Json& object, const std::string& name) {
  const auto found = object.find(name);
  if (found == object.end()) return std::nullopt;
  return text_of(*found);
}

const Json& error_of(const Json& object) {
  static const Json none = Json::object();
  const auto found = object.find("error");
  return found == object.end() ? none : *found;
}

// A field of the object or of the error in it. The bytes that were read are text, too.
std::optional<std::string> field(const Json& object, const std::string& name) {
  if (auto value = member(object, name)) return value;
  if (auto value = member(error_of(object), name)) return value;
  const auto data = name == "text" ? member(object, "data") : std::nullopt;
  if (!data) return std::nullopt;
  const Bytes bytes = parse_hex("data", *data);
  return std::string(bytes.begin(), bytes.end());
}

// What may be wanted, the most telling first.
std::vector<std::string> results_of(const Json& object) {
  std::vector<std::string> results;
  const auto add = [&results](const std::optional<std::string>& result) {
    if (result) results.push_back(*result);
  };
  // The answer to the last APDU: its status words, alone or behind its data.
  const auto exchanges = object.find("exchanges");
  if (exchanges != object.end() && !exchanges->empty()) {
    const auto status_words = member(exchanges->back(), "status_words");
    add(status_words);
    if (status_words) add(member(exchanges->back(), "data").value_or("") + *status_words);
  }
  for (const char* name : result_fields) {
    add(member(object, name));
  }
  const Json& error = error_of(object);
  for (const char* name : {"word", "code", "kind"}) {
    add(member(error, name));
  }
  results.emplace_back(object.value("ok", false) ? "ok" : "failed");
  return results;
}

}  // namespace

Expectation::Expectation(const std::vector<std::string>& words)
    : text_(fmt::format("{}", fmt::join(words, " "))) {
  if (words.empty()) {
    throw UsageError("expect: say what is wanted, such as 'ok', '9000' or 'wrong_code'");
  }
  for (const std::string& word : words) {
    const std::size_t sign = word.find('=');
    if (sign == std::string::npos) {
      result_ += word;
    } else {
      fields_.push_back({word.substr(0, sign), word.substr(sign + 1)});
      check_pattern(fields_.back().pattern);
    }
  }
  check_pattern(result_);
}

bool Expectation::is_met_by(const Json& object) const {
  const auto results = results_of(object);
  const auto fits_result = [this](const std::string& result) { return fits(result_, result); };
  if (!result_.empty() && std::ranges::none_of(results, fits_result)) return false;
  return std::ranges::all_of(fields_, [&](const Field& wanted) {
    const auto value = field(object, wanted.name);
    return value && fits(wanted.pattern, *value);
  });
}

std::string Expectation::got(const Json& object) const {
  std::vector<std::string> words;
  if (!result_.empty()) {
    const auto results = results_of(object);
    const auto found = std::ranges::find_if(
        results, [this](const std::string& result) { return fits(result_, result); });
    words.push_back(found == results.end() ? results.front() : *found);
  }
  for (const Field& wanted : fields_) {
    const auto value = field(object, wanted.name);
    words.push_back(value ? fmt::format("{}={}", wanted.name, *value)
                          : fmt::format("nothing called {}", wanted.name));
  }
  return fmt::format("{}", fmt::join(words, " "));
}

}  // namespace quorra::cli
