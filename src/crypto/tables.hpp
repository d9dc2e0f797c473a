// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The tables of the standard, which count cells from 1: a cell is a bit of a block or of a key, the
// first is the most significant one of the first byte.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace quorra::des {

inline constexpr std::size_t block_size = 8;
inline constexpr std::size_t block_cells = 64;
inline constexpr std::size_t half = 32;
inline constexpr std::size_t rounds = 16;
inline constexpr std::size_t round_key_cells = 48;

template <std::size_t size>
using Table = std::array<std::uint8_t, size>;

inline constexpr Table<64> initial_permutation{
    58, 50, 42, 34, 26, 18, 10, 2,  60, 52, 44, 36, 28, 20, 12, 4,  62, 54, 46, 38, 30, 22,
    14, 6,  64, 56, 48, 40, 32, 24, 16, 8,  57, 49, 41, 33, 25, 17, 9,  1,  59, 51, 43, 35,
    27, 19, 11, 3,  61, 53, 45, 37, 29, 21, 13, 5,  63, 55, 47, 39, 31, 23, 15, 7,
};

inline constexpr Table<64> final_permutation{
    40, 8,  48, 16, 56, 24, 64, 32, 39, 7,  47, 15, 55, 23, 63, 31, 38, 6,  46, 14, 54, 22,
    62, 30, 37, 5,  45, 13, 53, 21, 61, 29, 36, 4,  44, 12, 52, 20, 60, 28, 35, 3,  43, 11,
    51, 19, 59, 27, 34, 2,  42, 10, 50, 18, 58, 26, 33, 1,  41, 9,  49, 17, 57, 25,
};

inline constexpr Table<48> expansion{
    32, 1,  2,  3,  4,  5,  4,  5,  6,  7,  8,  9,  8,  9,  10, 11, 12, 13, 12, 13, 14, 15, 16, 17,
    16, 17, 18, 19, 20, 21, 20, 21, 22, 23, 24, 25, 24, 25, 26, 27, 28, 29, 28, 29, 30, 31, 32, 1,
};

inline constexpr Table<32> round_permutation{
    16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
    2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25,
};

inline constexpr Table<56> permuted_choice_1{
    57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18, 10, 2,  59, 51, 43,
    35, 27, 19, 11, 3,  60, 52, 44, 36, 63, 55, 47, 39, 31, 23, 15, 7,  62, 54,
    46, 38, 30, 22, 14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4,
};

// Without parity; the halves are rotated before each round.
inline constexpr std::size_t key_cells = permuted_choice_1.size();
inline constexpr std::size_t key_half = key_cells / 2;

inline constexpr Table<48> permuted_choice_2{
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32,
};

inline constexpr Table<rounds> shifts{1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

// Box after box, row after row.
inline constexpr std::size_t boxes = 8;
inline constexpr std::size_t rows = 4;
inline constexpr std::size_t columns = 16;

inline constexpr Table<boxes * rows * columns> substitution{
    14, 4,  13, 1,  2,  15, 11, 8,  3,  10, 6,  12, 5,  9,  0,  7,   //
    0,  15, 7,  4,  14, 2,  13, 1,  10, 6,  12, 11, 9,  5,  3,  8,   //
    4,  1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,  3,  10, 5,  0,   //
    15, 12, 8,  2,  4,  9,  1,  7,  5,  11, 3,  14, 10, 0,  6,  13,  //

    15, 1,  8,  14, 6,  11, 3,  4,  9,  7,  2,  13, 12, 0,  5,  10,  //
    3,  13, 4,  7,  15, 2,  8,  14, 12, 0,  1,  10, 6,  9,  11, 5,   //
    0,  14, 7,  11, 10, 4,  13, 1,  5,  8,  12, 6,  9,  3,  2,  15,  //
    13, 8,  10, 1,  3,  15, 4,  2,  11, 6,  7,  12, 0,  5,  14, 9,   //

    10, 0,  9,  14, 6,  3,  15, 5,  1,  13, 12, 7,  11, 4,  2,  8,   //
    13, 7,  0,  9,  3,  4,  6,  10, 2,  8,  5,  14, 12, 11, 15, 1,   //
    13, 6,  4,  9,  8,  15, 3,  0,  11, 1,  2,  12, 5,  10, 14, 7,   //
    1,  10, 13, 0,  6,  9,  8,  7,  4,  15, 14, 3,  11, 5,  2,  12,  //

    7,  13, 14, 3,  0,  6,  9,  10, 1,  2,  8,  5,  11, 12, 4,  15,  //
    13, 8,  11, 5,  6,  15, 0,  3,  4,  7,  2,  12, 1,  10, 14, 9,   //
    10, 6,  9,  0,  12, 11, 7,  13, 15, 1,  3,  14, 5,  2,  8,  4,   //
    3,  15, 0,  6,  10, 1,  13, 8,  9,  4,  5,  11, 12, 7,  2,  14,  //

    2,  12, 4,  1,  7,  10, 11, 6,  8,  5,  3,  15, 13, 0,  14, 9,   //
    14, 11, 2,  12, 4,  7,  13, 1,  5,  0,  15, 10, 3,  9,  8,  6,   //
    4,  2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,  6,  3,  0,  14,  //
    11, 8,  12, 7,  1,  14, 2,  13, 6,  15, 0,  9,  10, 4,  5,  3,   //

    12, 1,  10, 15, 9,  2,  6,  8,  0,  13, 3,  4,  14, 7,  5,  11,  //
    10, 15, 4,  2,  7,  12, 9,  5,  6,  1,  13, 14, 0,  11, 3,  8,   //
    9,  14, 15, 5,  2,  8,  12, 3,  7,  0,  4,  10, 1,  13, 11, 6,   //
    4,  3,  2,  12, 9,  5,  15, 10, 11, 14, 1,  7,  6,  0,  8,  13,  //

    4,  11, 2,  14, 15, 0,  8,  13, 3,  12, 9,  7,  5,  10, 6,  1,   //
    13, 0,  11, 7,  4,  9,  1,  10, 14, 3,  5,  12, 2,  15, 8,  6,   //
    1,  4,  11, 13, 12, 3,  7,  14, 10, 15, 6,  8,  0,  5,  9,  2,   //
    6,  11, 13, 8,  1,  4,  10, 7,  9,  5,  0,  15, 14, 2,  3,  12,  //

    13, 2,  8,  4,  6,  15, 11, 1,  10, 9,  3,  14, 5,  0,  12, 7,  //
    1,  15, 13, 8,  10, 3,  7,  4,  12, 5,  6,  11, 0,  14, 9,  2,  //
    7,  11, 4,  1,  9,  12, 14, 2,  0,  6,  10, 13, 15, 3,  5,  8,  //
    2,  1,  14, 7,  4,  10, 8,  13, 15, 12, 9,  0,  3,  5,  6,  11,
};

// What a box makes of six cells, of which the first is the most significant bit of `input`.
constexpr unsigned substituted(std::size_t box, std::size_t input) {
  const std::size_t row = (input >> 5U) * 2 + (input & 1U);
  const std::size_t column = input >> 1U & 15U;
  return substitution[(box * rows + row) * columns + column];
}

// Whether each entry is one of the cells 1 to `cells`, and none stands there twice.
template <std::size_t size>
constexpr bool picks_different_cells(const Table<size>& table, std::size_t cells) {
  std::array<bool, block_cells + 1> picked{};
  for (const std::uint8_t cell : table) {
    if (cell < 1 || cell > cells || picked[cell]) return false;
    picked[cell] = true;
  }
  return true;
}

template <std::size_t size>
constexpr bool is_permutation(const Table<size>& table) {
  return picks_different_cells(table, size);
}

constexpr bool undo_each_other(const Table<64>& first, const Table<64>& second) {
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (first[second[i] - 1U] != i + 1) return false;
  }
  return true;
}

// Each group of six is four neighbours and the cell on either side of them.
constexpr bool expands(const Table<48>& table) {
  for (std::size_t i = 0; i < table.size(); ++i) {
    const std::size_t cell = i / 6 * 4 + i % 6;  // 0 is the cell before the first: the last
    if (table[i] != (cell + half - 1) % half + 1) return false;
  }
  return true;
}

constexpr bool leaves_parity_out(const Table<56>& table) {
  return std::ranges::none_of(table, [](std::uint8_t cell) { return cell % 8 == 0; });
}

constexpr bool rows_are_permutations(const Table<boxes * rows * columns>& table) {
  for (std::size_t row = 0; row < boxes * rows; ++row) {
    unsigned values = 0;
    for (std::size_t column = 0; column < columns; ++column)
      values |= 1U << table[row * columns + column];
    if (values != 0xFFFFU) return false;
  }
  return true;
}

constexpr std::size_t sum(const Table<rounds>& table) {
  std::size_t total = 0;
  for (const std::uint8_t value : table)
    total += value;
  return total;
}

static_assert(is_permutation(initial_permutation) && is_permutation(final_permutation));
static_assert(undo_each_other(initial_permutation, final_permutation));
static_assert(is_permutation(round_permutation));
static_assert(expands(expansion));
static_assert(picks_different_cells(permuted_choice_1, 64) && leaves_parity_out(permuted_choice_1));
static_assert(picks_different_cells(permuted_choice_2, 56));
static_assert(rows_are_permutations(substitution));
static_assert(sum(shifts) == 28, "after all rounds the halves of the key are back in place");

}  // namespace quorra::des
