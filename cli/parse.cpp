// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/parse.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <system_error>

#include "toolkit/session/errors.hpp"

namespace quorra::cli {
namespace {

constexpr std::string_view separators = " \t\n\r:";

// Removes the mark of a hexadecimal number and says whether it was there.
bool remove_hex_mark(std::string_view& digits) {
  if (!digits.starts_with("0x") && !digits.starts_with("0X")) return false;
  digits.remove_prefix(2);
  return true;
}

// Unlike std::from_chars, it takes the digits as a whole and wants at least one.
template <typename Number>
std::errc to_number(std::string_view digits, int base, Number& number) {
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, number, base);
  if (result.ec == std::errc() && result.ptr != end) return std::errc::invalid_argument;
  return result.ec;
}

template <typename Number>
Number parse_number_as(std::string_view name, std::string_view text) {
  std::string_view digits = text;
  const bool hexadecimal = remove_hex_mark(digits);
  Number number = 0;
  const std::errc error = to_number(digits, hexadecimal ? 16 : 10, number);
  if (error == std::errc::result_out_of_range) {
    throw UsageError(fmt::format("{}: {} is far too large", name, text));
  }
  if (error != std::errc() || (hexadecimal && digits.starts_with('-'))) {
    throw UsageError(fmt::format("{}: '{}' is not a number, such as 32 or 0x20", name, text));
  }
  if (digits.starts_with('-')) {
    throw UsageError(fmt::format("{}: {} is negative", name, text));
  }
  return number;
}

}  // namespace

int parse_number(std::string_view name, std::string_view text) {
  return parse_number_as<int>(name, text);
}

unsigned parse_large_number(std::string_view name, std::string_view text) {
  return parse_number_as<unsigned>(name, text);
}

namespace {

// What `show` makes of a wrong group of digits is in the message.
template <typename Show>
Bytes parse_hex_groups(std::string_view name, std::string_view text, Show show) {
  Bytes bytes;
  for (std::string_view rest = text;;) {
    rest.remove_prefix(std::min(rest.find_first_not_of(separators), rest.size()));
    if (rest.empty()) break;
    const std::string_view group = rest.substr(0, rest.find_first_of(separators));
    rest.remove_prefix(group.size());

    std::string_view digits = group;
    remove_hex_mark(digits);
    const auto bad = digits.find_first_not_of("0123456789abcdefABCDEF");
    if (digits.empty() || bad != std::string_view::npos) {
      throw UsageError(fmt::format("{}: {} is not hexadecimal", name, show(group)));
    }
    if (digits.size() % 2 != 0) {
      throw UsageError(
          fmt::format("{}: {} has an odd number of digits; a byte has two", name, show(group)));
    }
    for (; !digits.empty(); digits.remove_prefix(2)) {
      unsigned char byte = 0;
      to_number(digits.substr(0, 2), 16, byte);
      bytes.push_back(byte);
    }
  }
  return bytes;
}

}  // namespace

Bytes parse_hex(std::string_view name, std::string_view text) {
  return parse_hex_groups(name, text,
                          [](std::string_view group) { return fmt::format("'{}'", group); });
}

Bytes parse_secret_hex(std::string_view name, std::string_view text) {
  return parse_hex_groups(name, text, [](std::string_view) { return "what was given"; });
}

}  // namespace quorra::cli
