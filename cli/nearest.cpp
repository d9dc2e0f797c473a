// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/nearest.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace quorra::cli {
namespace {

bool are_alike(char left, char right) {
  return std::tolower(static_cast<unsigned char>(left)) ==
         std::tolower(static_cast<unsigned char>(right));
}

// How many characters have to be put in, taken away, replaced or swapped with their neighbour.
std::size_t distance(std::string_view left, std::string_view right) {
  const std::size_t columns = right.size() + 1;
  std::vector<std::size_t> before(columns);
  std::vector<std::size_t> above(columns);
  std::vector<std::size_t> row(columns);
  for (std::size_t j = 0; j < columns; ++j)
    above[j] = j;
  for (std::size_t i = 1; i <= left.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j < columns; ++j) {
      const std::size_t replaced = above[j - 1] + (are_alike(left[i - 1], right[j - 1]) ? 0 : 1);
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, replaced});
      const bool is_swap = i > 1 && j > 1 && are_alike(left[i - 1], right[j - 2]) &&
                           are_alike(left[i - 2], right[j - 1]);
      if (is_swap) row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before.swap(above);
    above.swap(row);
  }
  return above.back();
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& names) {
  // So many mistakes leave more of the word right than wrong.
  const std::size_t most = std::max<std::size_t>(1, word.size() / 3);
  std::string found;
  std::size_t least = most + 1;
  for (const std::string& name : names) {
    const std::size_t mistakes = distance(word, name);
    if (mistakes >= least || mistakes >= word.size()) continue;
    least = mistakes;
    found = name;
  }
  return found;
}

std::string suggestion(std::string_view word, const std::vector<std::string>& names) {
  const std::string found = nearest(word, names);
  return found.empty() ? std::string() : fmt::format("; did you mean '{}'?", found);
}

}  // namespace quorra::cli
