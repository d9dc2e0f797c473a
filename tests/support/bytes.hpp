// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Bytes of frames, written the way one reads them off a line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorra::testing {

using Bytes = std::vector<unsigned char>;

// The bytes of a text of two-digit hexadecimal numbers, with or without blanks between them:
// "AA B0 00".
Bytes hex(std::string_view text);

// The same with the check byte of a frame behind them: the XOR of all.
Bytes sealed(std::string_view text);
Bytes sealed(Bytes frame);

// A reply frame with the given STATUS and data.
Bytes reply(unsigned char status, const Bytes& data);

// `count` bytes, each one more than the one before.
Bytes counting(std::size_t count, unsigned char first = 0);

Bytes operator+(Bytes left, const Bytes& right);

Bytes text(std::string_view characters);

std::string to_hex(const Bytes& bytes);

}  // namespace quorra::testing
