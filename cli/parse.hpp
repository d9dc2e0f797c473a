// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Reading numbers and bytes as people write them. All functions throw UsageError; `name` is what
// the message calls the text, for example the option it belongs to.
#pragma once

#include <string_view>

#include "toolkit/bytes.hpp"

namespace quorra::cli {

// What programs share is named here as if it was the command line's own.
using namespace toolkit;

// A decimal number, or a hexadecimal one that begins with 0x; not negative.
int parse_number(std::string_view name, std::string_view text);

// The same up to 4294967295.
unsigned parse_large_number(std::string_view name, std::string_view text);

// Pairs of hex digits. Blanks and colons may stand between bytes, and 0x before them.
Bytes parse_hex(std::string_view name, std::string_view text);

// The same of a code or a key: the message does not show it.
Bytes parse_secret_hex(std::string_view name, std::string_view text);

}  // namespace quorra::cli
