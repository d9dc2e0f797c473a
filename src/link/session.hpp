// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the files of the link share about the one session.
#pragma once

#include <cstddef>
#include <cstring>

namespace quorra {

// The room of each text among the session globals, and of one line of the configuration file.
inline constexpr std::size_t text_size = 60;

// The length of a text among the session globals, whatever an application has put there.
inline std::size_t text_length(const char* text) { return strnlen(text, text_size - 1); }

}  // namespace quorra
