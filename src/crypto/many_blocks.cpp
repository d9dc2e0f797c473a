// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// DES for many blocks at a time. Each cell of the block is a slice: a word with this cell of each
// block. A permutation is then nothing but where a cell is read, and a box is a circuit of gates.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

#include "crypto/blocks.hpp"
#include "crypto/circuit.hpp"
#include "crypto/circuits.hpp"
#include "crypto/key_ring.hpp"
#include "crypto/tables.hpp"
#include "crypto/words.hpp"

namespace quorra::des {
namespace {

// The slice of a cell when each block was a word of 64 bits in the order of the machine's bytes.
constexpr std::size_t slice_of(std::size_t cell) {
  const std::size_t slice = cell / 8 * 8 + 7 - cell % 8;
  return std::endian::native == std::endian::little ? slice : slice ^ 56U;
}

// The halves of a block are interleaved: a cell of the left one is one slice before the cell with
// the same number in the right one. Here a half is where its first slice is, and a cell is how far
// behind that its own one is.
constexpr Table<half> place_in_half = [] {
  Table<half> places{};
  for (std::size_t i = 0; i < half; ++i)
    places[i] = static_cast<std::uint8_t>(slice_of(initial_permutation[i] - 1U));
  return places;
}();

constexpr bool halves_are_interleaved() {
  for (std::size_t i = 0; i < half; ++i) {
    if (slice_of(initial_permutation[half + i] - 1U) != place_in_half[i] + 1U) return false;
  }
  return true;
}
static_assert(halves_are_interleaved());

// Where what the boxes put out belongs.
constexpr Table<half> place_of_output = [] {
  Table<half> places{};
  for (std::size_t i = 0; i < half; ++i)
    places[round_permutation[i] - 1U] = place_in_half[i];
  return places;
}();

template <std::size_t box, const auto& circuit>
[[gnu::always_inline]] inline void substitute(const Slice* right, const Slice* key, Slice* left) {
  static_assert(is_box<circuit>(box));
  Slice inputs[box_inputs];
  [&]<std::size_t... i>(std::index_sequence<i...>) __attribute__((always_inline)) {
    ((inputs[i] = right[place_in_half[expansion[box * box_inputs + i] - 1U]] ^
                  key[place_in_ring[box * box_inputs + i]]),
     ...);
  }
  (std::make_index_sequence<box_inputs>());
  Slice outputs[box_outputs];
  evaluate<circuit>(inputs, outputs);
  [&]<std::size_t... i>(std::index_sequence<i...>) __attribute__((always_inline)) {
    ((left[place_of_output[box * box_outputs + i]] ^= outputs[i]), ...);
  }
  (std::make_index_sequence<box_outputs>());
}

// Works the right half and a round key into the left half.
[[gnu::noinline]] void apply_round(const Slice* right, const Slice* key, Slice* left) {
  substitute<0, circuits::box_1>(right, key, left);
  substitute<1, circuits::box_2>(right, key, left);
  substitute<2, circuits::box_3>(right, key, left);
  substitute<3, circuits::box_4>(right, key, left);
  substitute<4, circuits::box_5>(right, key, left);
  substitute<5, circuits::box_6>(right, key, left);
  substitute<6, circuits::box_7>(right, key, left);
  substitute<7, circuits::box_8>(right, key, left);
}

using Slices = std::array<Slice, block_cells>;

// The bits of a word whose number has not the bit `side`, which is a power of two.
constexpr std::uint64_t numbers_without(unsigned side) {
  std::uint64_t bits = 0;
  for (unsigned i = 0; i < 64; ++i)
    bits |= ((i & side) == 0 ? std::uint64_t{1} : 0) << i;
  return bits;
}

// Exchanges two of the quarters of all squares with `side` bits in the quarter.
template <unsigned side>
[[gnu::always_inline]] inline void exchange(Slice& above, Slice& below) {
  constexpr std::uint64_t kept = numbers_without(side);
  const Slice change = (above >> side ^ below) & kept;
  above ^= change << side;
  below ^= change;
}

// What transposing does in squares of which each holds eight words, `step` words apart.
template <unsigned step>
[[gnu::always_inline]] inline void transpose_eight(Slice (&words)[8]) {
  for (std::size_t i = 0; i < 4; ++i)
    exchange<4 * step>(words[i], words[i + 4]);
  for (const std::size_t i : {0U, 1U, 4U, 5U})
    exchange<2 * step>(words[i], words[i + 2]);
  for (std::size_t i = 0; i < 8; i += 2)
    exchange<step>(words[i], words[i + 1]);
}

// Makes slices of blocks and blocks of slices: bit b of word w becomes bit w of word b. `swapped`
// is 1 if words 0 and 1, 2 and 3 ... are to change places before, else 0.
[[gnu::noinline]] void transpose(Slices& words, std::size_t swapped) {
  for (Slice* group = words.data(); group != words.data() + words.size(); group += 8) {
    Slice taken[8];
    for (std::size_t i = 0; i < 8; i += 2) {
      taken[i] = group[i + swapped];
      taken[i + 1] = group[i + 1 - swapped];
    }
    transpose_eight<1>(taken);
    std::copy_n(taken, 8, group);
  }
  for (Slice* group = words.data(); group != words.data() + 8; ++group) {
    Slice taken[8];
    for (std::size_t i = 0; i < 8; ++i)
      taken[i] = group[8 * i];
    transpose_eight<8>(taken);
    for (std::size_t i = 0; i < 8; ++i)
      group[8 * i] = taken[i];
  }
}

}  // namespace

void crypt_many(Direction direction, const unsigned char* key, const unsigned char* input,
                std::size_t length, unsigned char* output) {
  KeyRing<Slice> ring;
  fill_key_ring(key, ring);

  Slices slices;
  for (std::size_t done = 0; done < length;) {
    const std::size_t taken = std::min(length - done, sizeof slices);
    const auto padded = static_cast<std::size_t>(padded_length(taken));
    auto* const bytes = reinterpret_cast<unsigned char*>(slices.data());
    std::memcpy(bytes, input + done, taken);
    std::memset(bytes + taken, 0, sizeof slices - taken);
    transpose(slices, 0);
    Slice* left = slices.data();
    Slice* right = left + 1;
    for (std::size_t i = 0; i < rounds; ++i) {
      const std::size_t round = direction == Direction::encrypt ? i : rounds - 1 - i;
      apply_round(right, &ring[shift_in_round[round]], left);
      std::swap(left, right);
    }
    // The halves are joined the other way round.
    transpose(slices, 1);
    std::memcpy(output + done, bytes, padded);
    done += taken;
  }
}

}  // namespace quorra::des
