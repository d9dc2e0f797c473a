// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorra::simulator {

// Bytes as pairs of hexadecimal digits with a blank between them: "0A FF".
std::string to_hex(std::span<const std::uint8_t> bytes);

// Reads pairs of hexadecimal digits, with or without blanks between the pairs.
std::optional<std::vector<std::uint8_t>> parse_hex(std::string_view text);

// Reads a decimal number, or a hexadecimal one with 0x before it.
std::optional<std::size_t> parse_number(std::string_view text);

// Addresses from `first` to `last`, both included.
struct AddressRange {
  std::size_t first = 0;
  std::size_t last = 0;
};

// Reads ADDRESS or ADDRESS-ADDRESS, in the order low to high.
std::optional<AddressRange> parse_address_range(std::string_view text);

// Writes an address, or two with a hyphen: "0x15", "0x00-0x03".
std::string to_text(const AddressRange& range);

// Lines of ADDRESS: BYTES, 16 bytes to a line; with `characters`, printable bytes follow as text.
std::string hex_dump(std::span<const std::uint8_t> bytes, bool characters);

// Where the digits of a byte begin in a hex dump without characters. For addresses of four digits.
std::size_t place_in_hex_dump(std::size_t address);

// The names of the rows of a table: "first, second".
template <typename Rows>
std::string list_names(const Rows& rows) {
  std::string list;
  for (const auto& row : rows) {
    if (!list.empty()) list += ", ";
    list += row.name;
  }
  return list;
}

// Whether it is a character of ASCII that shows on paper, or a blank.
bool is_printable(char character);

// The text on one line: control characters become blanks.
std::string on_one_line(std::string_view text);

}  // namespace quorra::simulator
