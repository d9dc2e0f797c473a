// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/text.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <numeric>

namespace quorra::toolkit {
namespace {

bool are_alike(char one, char other) {
  return std::tolower(static_cast<unsigned char>(one)) ==
         std::tolower(static_cast<unsigned char>(other));
}

// How many characters have to be put in, left out, replaced or exchanged with their neighbour to
// make one of the other.
std::size_t edits_between(std::string_view one, std::string_view other) {
  std::vector<std::vector<std::size_t>> edits(one.size() + 1,
                                              std::vector<std::size_t>(other.size() + 1));
  std::iota(edits.front().begin(), edits.front().end(), std::size_t{0});
  for (std::size_t i = 1; i <= one.size(); ++i) {
    edits[i][0] = i;
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const bool same = are_alike(one[i - 1], other[j - 1]);
      edits[i][j] = std::min(
          {edits[i - 1][j - 1] + (same ? 0 : 1), edits[i - 1][j] + 1, edits[i][j - 1] + 1});
      if (i > 1 && j > 1 && are_alike(one[i - 1], other[j - 2]) &&
          are_alike(one[i - 2], other[j - 1])) {
        edits[i][j] = std::min(edits[i][j], edits[i - 2][j - 2] + 1);
      }
    }
  }
  return edits.back().back();
}

}  // namespace

std::string lower_case(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), [](unsigned char character) {
    return static_cast<char>(std::tolower(character));
  });
  return result;
}

std::string counted(int number, std::string_view noun) {
  return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

std::string hex_text(const Bytes& bytes) { return fmt::format("{:02X}", fmt::join(bytes, " ")); }

std::string plain_hex(const Bytes& bytes) { return fmt::format("{:02X}", fmt::join(bytes, "")); }

bool is_printable(unsigned char byte) { return byte >= 0x20 && byte < 0x7F; }

std::string nearest(std::string_view text, const std::vector<std::string>& names) {
  constexpr std::size_t longest = 64;
  if (text.size() > longest) return {};
  const auto edits = [text](const std::string& name) { return edits_between(text, name); };
  const auto best = std::ranges::min_element(names, {}, edits);
  if (best == names.end()) return {};
  // Of a short name, one character may be wrong, of a longer one every third.
  return edits(*best) <= std::max<std::size_t>(1, best->size() / 3) ? *best : std::string();
}

}  // namespace quorra::toolkit
