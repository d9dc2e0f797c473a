// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/bytes.hpp"

#include <cstdio>
#include <numeric>
#include <stdexcept>

namespace quorra::testing {

Bytes hex(std::string_view text) {
  Bytes bytes;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] == ' ') {
      ++at;
      continue;
    }
    std::size_t digits = 0;
    bytes.push_back(
        static_cast<unsigned char>(std::stoul(std::string(text.substr(at, 2)), &digits, 16)));
    if (digits != 2) throw std::invalid_argument("not hexadecimal: " + std::string(text));
    at += 2;
  }
  return bytes;
}

Bytes sealed(std::string_view text) { return sealed(hex(text)); }

Bytes sealed(Bytes frame) {
  unsigned char check = 0;
  for (const unsigned char byte : frame) {
    check = static_cast<unsigned char>(check ^ byte);
  }
  frame.push_back(check);
  return frame;
}

Bytes reply(unsigned char status, const Bytes& data) {
  return sealed(Bytes{0x55, status, 0x00, static_cast<unsigned char>(data.size())} + data);
}

Bytes counting(std::size_t count, unsigned char first) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes text(std::string_view characters) { return {characters.begin(), characters.end()}; }

std::string to_hex(const Bytes& bytes) {
  std::string text;
  for (const unsigned char byte : bytes) {
    char digits[4];
    (void)std::snprintf(digits, sizeof digits, "%02X ", byte);
    text += digits;
  }
  if (!text.empty()) text.pop_back();
  return text;
}

}  // namespace quorra::testing
