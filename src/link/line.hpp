// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The line itself: how it is read and written.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "link/session.hpp"

namespace quorra {

// Lets reads and writes of the line return at once, so that every wait ends in its time.
void never_block(int handle);

// As write(2), but goes on when a signal interrupted it, or the line had no room for all: up to 4
// seconds. Gives the result of the last attempt; -1 if it is not all written then.
ssize_t write_line(int handle, const void* bytes, std::size_t count);

inline ssize_t write_text(int handle, const char* text) {
  return write_line(handle, text, text_length(text));
}

}  // namespace quorra
