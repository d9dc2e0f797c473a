// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Memory as people read it.
#pragma once

#include <string>
#include <vector>

#include "cli/parse.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {

// Rows of 16 bytes, each with its address before it and its characters behind it. Rows begin at
// multiples of 16, so the first may begin with a gap.
//
// address: of the first byte. is_protected: a flag for each byte; bytes behind the last flag are
// not protected. A protected byte is marked by a sign behind it, and in colour if that is wanted; a
// last line tells the meaning of the sign if it occurs.
std::string hex_dump(int address, const Bytes& bytes, const std::vector<bool>& is_protected,
                     bool colour);

// What fits a row as hex_text shows it, more as a dump from address 0. Ends with a line end.
std::string hex_or_dump(const Bytes& bytes);

}  // namespace quorra::cli
