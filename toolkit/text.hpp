// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Numbers and bytes in words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "toolkit/bytes.hpp"

namespace quorra::toolkit {

// "1 byte", "2 bytes"
std::string counted(int number, std::string_view noun);

// "A2 13 10"
std::string hex_text(const Bytes& bytes);

// "A21310"
std::string plain_hex(const Bytes& bytes);

// Whether the byte is a printable ASCII character.
bool is_printable(unsigned char byte);

// The text without capitals.
std::string lower_case(std::string_view text);

// The name that somebody who typed the text may have meant; empty if none is alike. Capitals make
// no difference.
std::string nearest(std::string_view text, const std::vector<std::string>& names);

}  // namespace quorra::toolkit
