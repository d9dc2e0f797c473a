// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Files whose lines are records of hex digits.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "toolkit/bytes.hpp"

namespace quorra::toolkit {

// The bytes of a file as its characters.
std::string_view text_of(const Bytes& content);

// Pairs of hex digits. Throws UsageError.
Bytes bytes_of_digits(std::string_view digits);

// What a byte of a text looks like in a message: 'x', or 0x07.
std::string shown_character(char character);

// Has `read` read each line of a text. Lines end with LF or CR LF; blanks at their end do not
// count, and lines of nothing are passed over. The message of a UsageError that it throws gets the
// number of the line.
using ReadLine = std::function<void(int number, std::string_view line)>;
void for_each_line(std::string_view text, const ReadLine& read);

// Throws UsageError unless both are the same.
void expect_checksum(unsigned given, unsigned found);

// The number in `count` bytes, the highest one first.
unsigned big_endian(const Bytes& bytes, std::size_t first, std::size_t count);

// "12A0FF"
std::string digits_of(const Bytes& bytes);

}  // namespace quorra::toolkit
