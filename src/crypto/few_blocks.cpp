// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// DES for one block: all boxes look up at the same time, by choosing between all entries of their
// tables.
//
// A half of a block is a word of four rows with eight columns. Cell 4 b + r of the half (counted
// from 0) stands in row r and column b; row 0 are the most significant bits, and so is column 0 of
// a row. Box b thus finds four of its six inputs in its own column, one under the other; the first
// is in the last row of the column before, and the last in the first row of the column behind.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "crypto/blocks.hpp"
#include "crypto/circuit.hpp"
#include "crypto/tables.hpp"
#include "crypto/words.hpp"

namespace quorra::des {
namespace {

using Half = std::uint32_t;
using Block = std::uint64_t;

constexpr std::uint8_t bit_at(std::size_t row, std::size_t column) {
  return static_cast<std::uint8_t>(31 - (row * boxes + column));
}

constexpr std::uint8_t bit_of_half(std::size_t cell) { return bit_at(cell % rows, cell / rows); }

// The two halves of a block that is in work: the left one in the upper half of a word.
constexpr std::uint8_t bit_of_halves(std::size_t cell) {
  return static_cast<std::uint8_t>(cell < half ? 32 + bit_of_half(cell) : bit_of_half(cell - half));
}

// A cell of a block or key in a word whose first byte is the least significant one.
constexpr std::uint8_t bit_of_block(std::size_t cell) {
  return static_cast<std::uint8_t>(cell / 8 * 8 + 7 - cell % 8);
}

constexpr std::array<Move, block_cells> into_halves = [] {
  std::array<Move, block_cells> moves{};
  for (std::size_t i = 0; i < block_cells; ++i)
    moves[i] = {bit_of_block(initial_permutation[i] - 1U), bit_of_halves(i)};
  return moves;
}();

constexpr std::array<Move, block_cells> out_of_halves = [] {
  std::array<Move, block_cells> moves{};
  for (std::size_t i = 0; i < block_cells; ++i)
    moves[i] = {bit_of_halves(final_permutation[i] - 1U), bit_of_block(i)};
  return moves;
}();

// In which row the tables have an output of a box. With these rows nine rotations are enough to
// take all outputs where they belong; if each output stood in the row of its number, it would be
// more.
constexpr std::uint8_t row_of_output[boxes][box_outputs] = {
    {1, 0, 3, 2}, {1, 0, 3, 2}, {0, 1, 2, 3}, {2, 1, 3, 0},
    {3, 0, 1, 2}, {3, 1, 2, 0}, {1, 3, 0, 2}, {0, 1, 2, 3},
};

constexpr std::array<Move, half> out_of_boxes = [] {
  std::array<Move, half> moves{};
  for (std::size_t i = 0; i < half; ++i) {
    const std::size_t output = round_permutation[i] - 1U;
    const std::size_t box = output / box_outputs;
    moves[i] = {bit_at(row_of_output[box][output % box_outputs], box), bit_of_half(i)};
  }
  return moves;
}();

// The entries of all boxes for the same input. The inputs of a box make the number of an entry in
// this order: those that take longest to get stand last, and there the lanes of a word are.
constexpr std::size_t order_of_inputs[box_inputs] = {1, 2, 3, 4, 0, 5};

constexpr std::array<Half, box_cases> entries = [] {
  std::array<Half, box_cases> words{};
  for (std::size_t entry = 0; entry < box_cases; ++entry) {
    std::size_t input = 0;
    for (std::size_t i = 0; i < box_inputs; ++i) {
      const std::size_t bit = entry >> (box_inputs - 1 - i) & 1U;
      input |= bit << (box_inputs - 1 - order_of_inputs[i]);
    }
    for (std::size_t box = 0; box < boxes; ++box) {
      for (std::size_t i = 0; i < box_outputs; ++i) {
        const Half bit = substituted(box, input) >> (box_outputs - 1 - i) & 1U;
        words[entry] |= bit << bit_at(row_of_output[box][i], box);
      }
    }
  }
  return words;
}();

// A choice between two words by bits is one of them, and the difference where the bit is 1. The
// first choice finds the difference ready.
constexpr std::size_t choices = box_cases / 2;

struct Entries {
  alignas(16) std::array<Half, choices> where_0{};
  alignas(16) std::array<Half, choices> difference{};
};

constexpr Entries first_choice = [] {
  Entries words;
  for (std::size_t i = 0; i < choices; ++i) {
    words.where_0[i] = entries[i];
    words.difference[i] = entries[i] ^ entries[choices + i];
  }
  return words;
}();

// The lanes of a word in which a bit of the number of an entry is 0.
template <unsigned bit>
Lanes lanes_without() {
  constexpr auto numbers = [] {
    std::array<Half, lanes> words{};
    for (std::size_t i = 0; i < lanes; ++i)
      words[i] = (i >> bit & 1U) == 0 ? ~Half{0} : 0;
    return words;
  }();
  return load(numbers.data());
}

// What the boxes put out for their inputs, each of which is a row of its own, four times in a word.
Half look_up(const Half (&inputs)[box_inputs]) {
  const auto input = [&](std::size_t i) -> Lanes { return Lanes{} ^ inputs[order_of_inputs[i]]; };
  constexpr std::size_t words = choices / lanes;
  Lanes chosen[words];
  for (std::size_t i = 0; i < words; ++i) {
    chosen[i] = load(&first_choice.where_0[i * lanes]) ^
                (load(&first_choice.difference[i * lanes]) & input(0));
  }
  std::size_t next = 1;
  for (std::size_t left = words / 2; left > 0; left /= 2) {
    for (std::size_t i = 0; i < left; ++i)
      chosen[i] ^= (chosen[i] ^ chosen[left + i]) & input(next);
    ++next;
  }
  if constexpr (lanes > 1)
    chosen[0] &= (input(4) ^ lanes_without<1>()) & (input(5) ^ lanes_without<0>());
  Half parts[lanes];
  store(chosen[0], parts);
  Half sum = 0;
  for (const Half part : parts)
    sum |= part;
  return sum;
}

// The two halves of the key, as a word each whose lowest bit is the first cell.
constexpr std::uint8_t bit_of_key(std::size_t cell) {
  return static_cast<std::uint8_t>(cell % key_half);
}

constexpr std::array<Move, key_cells> into_key_halves = [] {
  std::array<Move, key_cells> moves{};
  for (std::size_t i = 0; i < key_cells; ++i) {
    const std::size_t word = i >= key_half ? 0 : 32;
    moves[i] = {bit_of_block(permuted_choice_1[i] - 1U),
                static_cast<std::uint8_t>(word + bit_of_key(i))};
  }
  return moves;
}();

// The key of a round is two words. What changes the half itself stands like the half; what changes
// the first inputs of the boxes is the lowest row of the other word, and above it are the last
// ones.
constexpr bool is_edge(std::size_t input) { return input == 0 || input == box_inputs - 1; }

constexpr std::uint8_t bit_of_round_key(std::size_t box, std::size_t input) {
  if (!is_edge(input)) return bit_at(input - 1, box);
  return bit_at(input == 0 ? rows - 1 : rows - 2, box);
}

// Half of the boxes have their keys from either half of the key.
template <std::size_t size>
constexpr std::array<Move, size> out_of_key_half(std::size_t first_box, bool edges) {
  std::array<Move, size> moves{};
  std::size_t made = 0;
  for (std::size_t box = first_box; box < first_box + boxes / 2; ++box) {
    for (std::size_t input = 0; input < box_inputs; ++input) {
      if (is_edge(input) != edges) continue;
      moves[made++] = {bit_of_key(permuted_choice_2[box * box_inputs + input] - 1U),
                       bit_of_round_key(box, input)};
    }
  }
  return moves;
}

constexpr auto left_to_half = out_of_key_half<16>(0, false);
constexpr auto left_to_edges = out_of_key_half<8>(0, true);
constexpr auto right_to_half = out_of_key_half<16>(boxes / 2, false);
constexpr auto right_to_edges = out_of_key_half<8>(boxes / 2, true);

struct RoundKeys {
  std::array<Half, rounds> half;
  std::array<Half, rounds> edges;
};

Block load_block(const unsigned char* bytes) {
  Block block = 0;
  for (std::size_t i = 0; i < block_size; ++i)
    block |= Block{bytes[i]} << 8 * i;
  return block;
}

void store_block(Block block, unsigned char* bytes) {
  for (std::size_t i = 0; i < block_size; ++i)
    bytes[i] = static_cast<unsigned char>(block >> 8 * i);
}

// As many rounds as a word has lanes, from the halves of the key as they have been rotated.
[[gnu::noinline]] void choose_round_keys(const Half* left, const Half* right, Half* key_of_half,
                                         Half* key_of_edges) {
  const Lanes lefts = load(left);
  const Lanes rights = load(right);
  store(moved<left_to_half>(lefts) | moved<right_to_half>(rights), key_of_half);
  store(moved<left_to_edges>(lefts) | moved<right_to_edges>(rights), key_of_edges);
}

void make_round_keys(const unsigned char* key, RoundKeys& keys) {
  const Block cells = moved<into_key_halves>(load_block(key));
  const auto left = static_cast<Half>(cells >> 32U);
  const auto right = static_cast<Half>(cells);
  // Before each round the halves have been rotated. What goes beyond 28 bits is never used.
  std::array<Half, rounds> lefts{};
  std::array<Half, rounds> rights{};
  unsigned shift = 0;
  for (std::size_t i = 0; i < rounds; ++i) {
    shift += shifts[i];
    lefts[i] = left >> shift | left << (key_half - shift);
    rights[i] = right >> shift | right << (key_half - shift);
  }
  for (std::size_t i = 0; i < rounds; i += lanes)
    choose_round_keys(&lefts[i], &rights[i], &keys.half[i], &keys.edges[i]);
}

// What the boxes make of a half and the key of a round, where it belongs.
Half substitute(Half right, Half half_key, Half edges_key) {
  const Half first = (right >> 1U & 0x7FU) | right << 7U;
  const Half last = (right >> 23U & 0xFEU) | right >> 31U;
  const auto in_all_rows = [](Half row) -> Half { return (row & 0xFFU) * 0x01010101U; };
  right ^= half_key;
  return moved<out_of_boxes>(look_up({
      in_all_rows(first ^ edges_key),
      in_all_rows(right >> 24U),
      in_all_rows(right >> 16U),
      in_all_rows(right >> 8U),
      in_all_rows(right),
      in_all_rows(last ^ edges_key >> 8U),
  }));
}

// Several blocks at the same time, as the machine can do more at once than one needs.
template <std::size_t blocks>
void crypt_together(const RoundKeys& keys, Direction direction, unsigned char* bytes) {
  Half left[blocks];
  Half right[blocks];
  for (std::size_t i = 0; i < blocks; ++i) {
    const Block halves = moved<into_halves>(load_block(bytes + i * block_size));
    left[i] = static_cast<Half>(halves >> 32U);
    right[i] = static_cast<Half>(halves);
  }
  // With all of its bits turned round, the number of a round is counted from the last one.
  const std::size_t turned = direction == Direction::encrypt ? 0 : rounds - 1;
  for (std::size_t round = 0; round < rounds; ++round) {
    const std::size_t key = round ^ turned;
    for (std::size_t i = 0; i < blocks; ++i) {
      left[i] ^= substitute(right[i], keys.half[key], keys.edges[key]);
      std::swap(left[i], right[i]);
    }
  }
  // The halves are joined the other way round.
  for (std::size_t i = 0; i < blocks; ++i)
    store_block(moved<out_of_halves>(Block{right[i]} << 32U | left[i]), bytes + i * block_size);
}

constexpr std::size_t at_once = 2;

}  // namespace

void crypt_few(Direction direction, const unsigned char* key, const unsigned char* input,
               std::size_t length, unsigned char* output) {
  RoundKeys keys{};
  make_round_keys(key, keys);
  unsigned char bytes[at_once * block_size];
  for (std::size_t done = 0; done < length;) {
    const std::size_t taken = std::min(length - done, sizeof bytes);
    const auto padded = static_cast<std::size_t>(padded_length(taken));
    std::memset(bytes, 0, sizeof bytes);
    std::memcpy(bytes, input + done, taken);
    if (padded == block_size)
      crypt_together<1>(keys, direction, bytes);
    else
      crypt_together<at_once>(keys, direction, bytes);
    std::memcpy(output + done, bytes, padded);
    done += taken;
  }
}

}  // namespace quorra::des
