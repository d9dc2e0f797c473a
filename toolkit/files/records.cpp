// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/files/records.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>

#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {

std::string_view text_of(const Bytes& content) {
  return {static_cast<const char*>(static_cast<const void*>(content.data())), content.size()};
}

Bytes bytes_of_digits(std::string_view digits) {
  const auto bad = digits.find_first_not_of("0123456789abcdefABCDEF");
  if (bad != std::string_view::npos) {
    throw UsageError(fmt::format("{} is not a hex digit", shown_character(digits[bad])));
  }
  if (digits.size() % 2 != 0) {
    throw UsageError(
        fmt::format("{} hex digits: a byte has two, so one is missing or too many", digits.size()));
  }
  Bytes bytes(digits.size() / 2);
  const char* digit = digits.data();
  for (unsigned char& byte : bytes) {
    std::from_chars(digit, digit + 2, byte, 16);
    digit += 2;
  }
  return bytes;
}

std::string shown_character(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return is_printable(byte) ? fmt::format("'{}'", character) : fmt::format("0x{:02X}", byte);
}

void for_each_line(std::string_view text, const ReadLine& read) {
  constexpr std::string_view blanks = " \t\r";
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    line = line.substr(0, line.find_last_not_of(blanks) + 1);
    if (line.empty()) continue;
    line.remove_prefix(line.find_first_not_of(blanks));
    try {
      read(number, line);
    } catch (const UsageError& error) {
      throw UsageError(fmt::format("line {}: {}", number, error.what()));
    }
  }
}

void expect_checksum(unsigned given, unsigned found) {
  if (given == found) return;
  throw UsageError(
      fmt::format("the checksum is {:02X}, but the record's bytes give {:02X}", given, found));
}

unsigned big_endian(const Bytes& bytes, std::size_t first, std::size_t count) {
  unsigned number = 0;
  for (std::size_t at = first; at < first + count; ++at) {
    number = number << 8 | bytes[at];
  }
  return number;
}

std::string digits_of(const Bytes& bytes) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const unsigned char byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 0xFU];
  }
  return text;
}

}  // namespace quorra::toolkit
