// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A frame in words, and as JSON.
#pragma once

#include <string>

#include "toolkit/wire/decoding.hpp"

namespace quorra::toolkit::wire {

enum class Codes : std::uint8_t { hidden, shown };

// "A2 ** **"
std::string hex_of(const Decoded& decoded, std::size_t first, std::size_t size, Codes codes);

// What a request asks for, without its data.
std::string what_is_asked(const Decoded& decoded);

// One line that tells what the frame says, and lines with its data, each with its line end.
std::string in_words(const Decoded& decoded, Codes codes);

// The same as one JSON object, in one line.
std::string as_json(const Decoded& decoded, Codes codes);

}  // namespace quorra::toolkit::wire
