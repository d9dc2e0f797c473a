// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The key of DES with each of its cells in a word.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "crypto/tables.hpp"

namespace quorra::des {

// Each half of the key stands twice in a row, so that a round, for which both have been rotated,
// has its key at the same places, counted from how far that was.
template <typename Word>
using KeyRing = std::array<Word, 4 * key_half>;

// A word of which all bits are `bit`.
template <typename Word>
[[gnu::always_inline]] inline Word all_bits(std::uint64_t bit) {
  if constexpr (std::is_integral_v<Word>)
    return static_cast<Word>(0 - bit);
  else
    return Word{} - bit;
}

// Each cell of the key as a word with nothing but this bit.
template <typename Word>
[[gnu::always_inline]] inline void fill_key_ring(const unsigned char* key, KeyRing<Word>& ring) {
  for (std::size_t i = 0; i < key_cells; ++i) {
    const std::size_t cell = permuted_choice_1[i] - 1U;
    const std::uint64_t bit = key[cell / 8] >> (7 - cell % 8) & 1U;
    const std::size_t place = i < key_half ? i : key_half + i;
    ring[place] = ring[place + key_half] = all_bits<Word>(bit);
  }
}

// How far the halves have been rotated in each round.
inline constexpr Table<rounds> shift_in_round = [] {
  Table<rounds> all{};
  std::uint8_t shift = 0;
  for (std::size_t i = 0; i < rounds; ++i)
    all[i] = shift = static_cast<std::uint8_t>(shift + shifts[i]);
  return all;
}();

// Where each cell of a round's key stands when nothing is rotated.
inline constexpr Table<round_key_cells> place_in_ring = [] {
  Table<round_key_cells> places{};
  for (std::size_t i = 0; i < round_key_cells; ++i) {
    const std::size_t cell = permuted_choice_2[i] - 1U;
    places[i] = static_cast<std::uint8_t>(cell < key_half ? cell : cell + key_half);
  }
  return places;
}();

}  // namespace quorra::des
