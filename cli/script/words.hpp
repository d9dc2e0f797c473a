// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The words of a line, as a shell takes a line apart.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorra::cli {

// Blanks separate words. What stands in single quotes, what stands in double quotes, and what
// follows a backslash loses its meaning; in double quotes a backslash does that only for itself, a
// double quote, '$' and '`'. '#' at the beginning of a word begins a comment. Nothing else has a
// meaning. Throws UsageError if there is no end of a quote, or nothing behind a backslash.
std::vector<std::string> words_of(std::string_view line);

// The same of a line that is still being typed, up to where it ends: the last word is the one that
// is being typed, and may be empty.
struct TypedWords {
  std::vector<std::string> words;
  std::size_t last_begins = 0;  // where the last word begins in the line
  char quote = '\0';            // the one that is open
};
TypedWords typed_words_of(std::string_view line);

}  // namespace quorra::cli
