// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace quorra::simulator {
namespace {

constexpr std::string_view digits = "0123456789ABCDEF";
constexpr std::size_t bytes_per_line = 16;

void append_hex(std::string& text, std::uint8_t byte) {
  text += digits[byte >> 4U];
  text += digits[byte & 0x0FU];
}

std::optional<unsigned> digit_value(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<unsigned>(digit - '0');
  if (digit >= 'A' && digit <= 'F') return static_cast<unsigned>(digit - 'A') + 10;
  if (digit >= 'a' && digit <= 'f') return static_cast<unsigned>(digit - 'a') + 10;
  return std::nullopt;
}

}  // namespace

std::string to_hex(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve(bytes.size() * 3);
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    append_hex(text, byte);
  }
  return text;
}

std::optional<std::vector<std::uint8_t>> parse_hex(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 2);
  while (!text.empty()) {
    if (text.front() == ' ') {
      text.remove_prefix(1);
      continue;
    }
    if (text.size() < 2) return std::nullopt;
    const auto high = digit_value(text[0]);
    const auto low = digit_value(text[1]);
    if (!high || !low) return std::nullopt;
    bytes.push_back(static_cast<std::uint8_t>(*high << 4U | *low));
    text.remove_prefix(2);
  }
  return bytes;
}

std::optional<std::size_t> parse_number(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  }
  std::size_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stopped_at, error] = std::from_chars(text.data(), end, number, base);
  if (error != std::errc{} || stopped_at != end) return std::nullopt;
  return number;
}

std::optional<AddressRange> parse_address_range(std::string_view text) {
  const std::size_t hyphen = text.find('-');
  const auto first = parse_number(text.substr(0, hyphen));
  const auto last =
      hyphen == std::string_view::npos ? first : parse_number(text.substr(hyphen + 1));
  if (!first || !last || *first > *last) return std::nullopt;
  return AddressRange{.first = *first, .last = *last};
}

std::string to_text(const AddressRange& range) {
  if (range.first == range.last) return fmt::format("0x{:02X}", range.first);
  return fmt::format("0x{:02X}-0x{:02X}", range.first, range.last);
}

std::string hex_dump(std::span<const std::uint8_t> bytes, bool characters) {
  std::string text;
  text.reserve(bytes.size() * 5);
  for (std::size_t address = 0; address < bytes.size(); address += bytes_per_line) {
    const auto line = bytes.subspan(address, std::min(bytes_per_line, bytes.size() - address));
    fmt::format_to(std::back_inserter(text), "{:04X}:", address);
    for (const std::uint8_t byte : line) {
      text += ' ';
      append_hex(text, byte);
    }
    if (characters) {
      text.append((bytes_per_line - line.size()) * 3 + 2, ' ');
      for (const std::uint8_t byte : line) {
        const auto character = static_cast<char>(byte);
        text += is_printable(character) ? character : '.';
      }
    }
    text += '\n';
  }
  return text;
}

std::size_t place_in_hex_dump(std::size_t address) {
  constexpr std::size_t address_width = std::string_view("0000: ").size();
  constexpr std::size_t byte_width = std::string_view("00 ").size();
  constexpr std::size_t line_width = address_width + bytes_per_line * byte_width;
  return address / bytes_per_line * line_width + address_width +
         address % bytes_per_line * byte_width;
}

bool is_printable(char character) { return character >= ' ' && character <= '~'; }

std::string on_one_line(std::string_view text) {
  std::string line(text);
  std::ranges::replace_if(
      line, [](char character) { return static_cast<unsigned char>(character) < ' '; }, ' ');
  return line;
}

}  // namespace quorra::simulator
