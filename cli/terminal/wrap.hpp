// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Text in the width of a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorra::cli {

// The columns for text on standard output: those of COLUMNS, if that is a number, or of the
// terminal, or 80.
std::size_t text_width();

// Breaks the text between words, so that no line is longer than `width` unless a word is. The first
// line begins at the column `begin`; each further one is indented by `indent`.
std::string wrap(std::string_view text, std::size_t width, std::size_t begin, std::size_t indent);

// The same for paragraphs, of which each line has an end. Lines that are indented are commands;
// where one has to be broken, a backslash tells so.
std::string wrap_paragraphs(std::string_view text, std::size_t width);

}  // namespace quorra::cli
