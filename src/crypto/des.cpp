// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// DES in electronic-codebook fashion, on cells: arrays of bytes that hold one bit each, 0 or 1, the
// most significant bit first.

#include <quorra.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace quorra {
namespace {

using Cell = unsigned char;

constexpr std::size_t block_size = 8;
constexpr std::size_t block_cells = 64;
constexpr std::size_t half = 32;
constexpr std::size_t rounds = 16;
constexpr std::size_t round_key_cells = 48;

// The tables of the standard count cells from 1.

template <std::size_t size>
using Table = std::array<std::uint8_t, size>;

constexpr Table<64> initial_permutation{
    58, 50, 42, 34, 26, 18, 10, 2,  60, 52, 44, 36, 28, 20, 12, 4,  62, 54, 46, 38, 30, 22,
    14, 6,  64, 56, 48, 40, 32, 24, 16, 8,  57, 49, 41, 33, 25, 17, 9,  1,  59, 51, 43, 35,
    27, 19, 11, 3,  61, 53, 45, 37, 29, 21, 13, 5,  63, 55, 47, 39, 31, 23, 15, 7,
};

constexpr Table<64> final_permutation{
    40, 8,  48, 16, 56, 24, 64, 32, 39, 7,  47, 15, 55, 23, 63, 31, 38, 6,  46, 14, 54, 22,
    62, 30, 37, 5,  45, 13, 53, 21, 61, 29, 36, 4,  44, 12, 52, 20, 60, 28, 35, 3,  43, 11,
    51, 19, 59, 27, 34, 2,  42, 10, 50, 18, 58, 26, 33, 1,  41, 9,  49, 17, 57, 25,
};

constexpr Table<48> expansion{
    32, 1,  2,  3,  4,  5,  4,  5,  6,  7,  8,  9,  8,  9,  10, 11, 12, 13, 12, 13, 14, 15, 16, 17,
    16, 17, 18, 19, 20, 21, 20, 21, 22, 23, 24, 25, 24, 25, 26, 27, 28, 29, 28, 29, 30, 31, 32, 1,
};

constexpr Table<32> round_permutation{
    16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
    2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25,
};

constexpr Table<56> permuted_choice_1{
    57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18, 10, 2,  59, 51, 43,
    35, 27, 19, 11, 3,  60, 52, 44, 36, 63, 55, 47, 39, 31, 23, 15, 7,  62, 54,
    46, 38, 30, 22, 14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4,
};

constexpr Table<48> permuted_choice_2{
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32,
};

constexpr Table<rounds> shifts{1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

// Box after box, row after row.
constexpr std::size_t boxes = 8;
constexpr std::size_t rows = 4;
constexpr std::size_t columns = 16;

constexpr Table<boxes * rows * columns> substitution{
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

// All that a call knows.
struct Workspace {
  std::array<unsigned char, block_size> key;
  Cell round_keys[rounds][round_key_cells];
  std::array<Cell, block_cells> cells;
  std::array<Cell, block_cells> halves;
  std::array<unsigned char, 8000> buffer;
};

template <const auto& table>
void permute(const Cell* from, Cell* to) {
  [=]<std::size_t... i>(std::index_sequence<i...>) { ((to[i] = from[table[i] - 1U]), ...); }
  (std::make_index_sequence<table.size()>());
}

// Where cell i of what the boxes emit stands after the permutation of the round.
constexpr Table<half> emitted_to = [] {
  Table<half> places{};
  for (std::size_t i = 0; i < half; ++i)
    places[round_permutation[i] - 1U] = static_cast<std::uint8_t>(i);
  return places;
}();

template <std::size_t box>
void substitute(const Cell* right, const Cell* key, Cell* left) {
  constexpr std::size_t first = box * 6;
  const auto x = [=](std::size_t i) -> unsigned {
    return right[expansion[first + i] - 1U] ^ key[first + i];
  };
  const unsigned row = x(0) << 1U | x(5);
  const unsigned column = x(1) << 3U | x(2) << 2U | x(3) << 1U | x(4);
  const unsigned value = substitution[(box * rows + row) * columns + column];
  left[emitted_to[box * 4]] ^= static_cast<Cell>(value >> 3U & 1U);
  left[emitted_to[box * 4 + 1]] ^= static_cast<Cell>(value >> 2U & 1U);
  left[emitted_to[box * 4 + 2]] ^= static_cast<Cell>(value >> 1U & 1U);
  left[emitted_to[box * 4 + 3]] ^= static_cast<Cell>(value & 1U);
}

// Works the right half and a round key into the left half.
void apply_round(const Cell* right, const Cell* key, Cell* left) {
  [=]<std::size_t... box>(std::index_sequence<box...>) { (substitute<box>(right, key, left), ...); }
  (std::make_index_sequence<boxes>());
}

// Overwrites what the function called before left on the stack. Wiping its variables is not enough:
// the compiler keeps copies of cells where it likes.
[[gnu::noinline]] void wipe_stack() {
  unsigned char used[2 * sizeof(Workspace)];
  explicit_bzero(used, sizeof used);
}

// Rotates the 28 cells of one half of the key to the left by one.
void rotate(Cell* cells) { std::rotate(cells, cells + 1, cells + 28); }

[[gnu::noinline]] void make_round_keys(const unsigned char* key, Cell (*round_keys)[48]) {
  Cell cells[block_cells];
  Cell halves[56];
  Char_Bit(key, block_size, cells);
  permute<permuted_choice_1>(cells, halves);
  for (std::size_t i = 0; i < rounds; ++i) {
    for (unsigned shift = 0; shift < shifts[i]; ++shift) {
      rotate(halves);
      rotate(halves + 28);
    }
    permute<permuted_choice_2>(halves, round_keys[i]);
  }
}

[[gnu::noinline]] void make_packed_round_keys(const unsigned char* key,
                                              unsigned char (*round_keys)[6]) {
  Cell cells[rounds][round_key_cells];
  make_round_keys(key, cells);
  for (std::size_t i = 0; i < rounds; ++i)
    Bit_Char(cells[i], round_key_cells, round_keys[i]);
}

enum class Direction { encrypt, decrypt };

void crypt_block(Workspace& work, Direction direction, const unsigned char* in,
                 unsigned char* out) {
  Char_Bit(in, block_size, work.cells.data());
  permute<initial_permutation>(work.cells.data(), work.halves.data());
  Cell* left = work.halves.data();
  Cell* right = left + half;
  for (std::size_t i = 0; i < rounds; ++i) {
    const std::size_t key = direction == Direction::encrypt ? i : rounds - 1 - i;
    apply_round(right, work.round_keys[key], left);
    std::swap(left, right);
  }
  // The halves are joined the other way round. After an even number of rounds each is back in the
  // place where it began.
  std::copy_n(right, half, work.cells.begin());
  std::copy_n(left, half, work.cells.begin() + half);
  permute<final_permutation>(work.cells.data(), work.halves.data());
  Bit_Char(work.halves.data(), block_cells, out);
}

// The result of both directions: the length of the output, as far as an int can say it.
int padded_length(unsigned length) {
  const std::uint64_t padded = (std::uint64_t{length} + block_size - 1) / block_size * block_size;
  return static_cast<int>(std::min<std::uint64_t>(padded, INT_MAX));
}

// A function of its own, so that all it keeps on the stack lies below the frame of its caller.
[[gnu::noinline]] void crypt_pieces(Direction direction, const unsigned char* key,
                                    std::size_t taken, const unsigned char* input, unsigned length,
                                    unsigned char* output) {
  Workspace work{};
  std::copy_n(key, taken, work.key.begin());
  make_round_keys(work.key.data(), work.round_keys);
  for (std::size_t done = 0; done < length;) {
    const std::size_t piece = std::min(length - done, work.buffer.size());
    const std::size_t padded = (piece + block_size - 1) / block_size * block_size;
    std::memcpy(work.buffer.data(), input + done, piece);
    std::memset(work.buffer.data() + piece, 0, padded - piece);
    for (std::size_t at = 0; at < padded; at += block_size)
      crypt_block(work, direction, work.buffer.data() + at, output + done + at);
    done += piece;
  }
}

int crypt(Direction direction, const unsigned char* key, int key_length, const unsigned char* input,
          unsigned length, unsigned char* output) {
  const auto taken =
      static_cast<std::size_t>(std::clamp(key_length, 0, static_cast<int>(block_size)));
  if (length == 0 || input == nullptr || output == nullptr) return 0;
  if (key == nullptr && taken > 0) return 0;

  crypt_pieces(direction, key, taken, input, length, output);
  wipe_stack();
  return padded_length(length);
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int ic_encrypt(const unsigned char* key, const unsigned char* input, unsigned length,
               unsigned char* output) {
  return DES_Encrypt(key, block_size, input, length, output);
}

int ic_decrypt(const unsigned char* key, const unsigned char* input, unsigned length,
               unsigned char* output) {
  DES_Decrypt(key, block_size, input, length, output);
  return 0;
}

int DES_Encrypt(const unsigned char* key, int key_length, const unsigned char* input,
                unsigned length, unsigned char* output) {
  return crypt(Direction::encrypt, key, key_length, input, length, output);
}

int DES_Decrypt(const unsigned char* key, int key_length, const unsigned char* input,
                unsigned length, unsigned char* output) {
  return crypt(Direction::decrypt, key, key_length, input, length, output);
}

void Gen_Childkey1(const unsigned char* key, unsigned char (*round_keys)[48]) {
  if (key == nullptr || round_keys == nullptr) return;
  make_round_keys(key, round_keys);
  wipe_stack();
}

void Gen_Childkey2(const unsigned char* key, unsigned char (*round_keys)[6]) {
  if (key == nullptr || round_keys == nullptr) return;
  make_packed_round_keys(key, round_keys);
  wipe_stack();
}

void Char_Bit(const unsigned char* bytes, int count, unsigned char* cells) {
  if (bytes == nullptr || cells == nullptr) return;
  for (int i = 0; i < count; ++i) {
    for (unsigned bit = 0; bit < 8; ++bit)
      *cells++ = static_cast<Cell>(bytes[i] >> (7 - bit) & 1U);
  }
}

void Bit_Char(const unsigned char* cells, int count, unsigned char* bytes) {
  if (bytes == nullptr || cells == nullptr) return;
  for (int i = 0; i < count / 8; ++i) {
    unsigned byte = 0;
    for (unsigned bit = 0; bit < 8; ++bit)
      byte = byte << 1U | (*cells++ & 1U);
    bytes[i] = static_cast<unsigned char>(byte);
  }
}
