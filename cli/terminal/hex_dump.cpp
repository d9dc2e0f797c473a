// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/hex_dump.hpp"

#include <fmt/color.h>
#include <fmt/core.h>

#include <algorithm>

namespace quorra::cli {
namespace {

constexpr int row_size = 16;
constexpr char protected_sign = '*';

}  // namespace

std::string hex_dump(int address, const Bytes& bytes, const std::vector<bool>& is_protected,
                     bool colour) {
  const auto style = colour ? fg(fmt::terminal_color::yellow) : fmt::text_style();
  const int end = address + static_cast<int>(bytes.size());
  const int address_digits = end > 0x10000 ? 5 : 4;
  const auto marked = [&](int at) {
    const auto index = static_cast<std::size_t>(at - address);
    return index < is_protected.size() && is_protected[index];
  };

  std::string dump;
  bool any_marked = false;
  for (int row = address - address % row_size; row < end; row += row_size) {
    std::string cells;
    std::string characters;
    for (int at = row; at < row + row_size; ++at) {
      if (at == row + row_size / 2) cells += ' ';
      if (at < address || at >= end) {
        cells += "   ";
        characters += ' ';
        continue;
      }
      const unsigned char byte = bytes[static_cast<std::size_t>(at - address)];
      cells += marked(at) ? fmt::format(style, "{:02X}{}", byte, protected_sign)
                          : fmt::format("{:02X} ", byte);
      characters += is_printable(byte) ? static_cast<char>(byte) : '.';
      any_marked = any_marked || marked(at);
    }
    dump += fmt::format("{:0{}X}  {} |{}|\n", row, address_digits, cells, characters);
  }
  if (any_marked) {
    dump += fmt::format("{}  read-only for good\n", fmt::format(style, "{}", protected_sign));
  }
  return dump;
}

std::string hex_or_dump(const Bytes& bytes) {
  return bytes.size() <= row_size ? hex_text(bytes) + '\n' : hex_dump(0, bytes, {}, false);
}

}  // namespace quorra::cli
