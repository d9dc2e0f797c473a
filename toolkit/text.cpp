// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/text.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorra::toolkit {

std::string counted(int number, std::string_view noun) {
  return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

std::string hex_text(const Bytes& bytes) { return fmt::format("{:02X}", fmt::join(bytes, " ")); }

bool is_printable(unsigned char byte) { return byte >= 0x20 && byte < 0x7F; }

}  // namespace quorra::toolkit
