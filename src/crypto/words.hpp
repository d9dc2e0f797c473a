// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The words that DES works on, as wide as the base instruction set of the machine knows them, and
// how their bits are moved.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace quorra::des {

#if (defined __SSE2__ || defined __ARM_NEON || defined __VSX__) && !defined QUORRA_PLAIN_WORDS
using Slice [[gnu::vector_size(16)]] = std::uint64_t;
using Lanes [[gnu::vector_size(16)]] = std::uint32_t;
inline constexpr std::size_t lanes = 4;
#else
using Slice = std::uint64_t;
using Lanes = std::uint32_t;
inline constexpr std::size_t lanes = 1;
#endif

inline Lanes load(const std::uint32_t* from) {
  Lanes word{};
  std::memcpy(&word, from, sizeof word);
  return word;
}

inline void store(Lanes word, std::uint32_t* to) { std::memcpy(to, &word, sizeof word); }

// Where a bit of one word stands in another one, counted from the least significant.
struct Move {
  std::uint8_t from;
  std::uint8_t to;
};

// What is moved in one piece: a word, or a lane of one.
template <typename Word>
using Part = std::conditional_t<std::is_integral_v<Word>, Word, std::uint32_t>;

template <typename Word>
inline constexpr unsigned width = std::numeric_limits<Part<Word>>::digits;

// The bits that `moves` rotate to the left by `distance`: those that go past the end of the word,
// or the others.
template <typename Word, std::size_t count>
constexpr Part<Word> moving(const std::array<Move, count>& moves, unsigned distance,
                            bool past_end) {
  Part<Word> bits = 0;
  for (const Move move : moves) {
    const bool by_distance = (move.from + distance) % width<Word> == move.to;
    if (by_distance && (move.from > move.to) == past_end) bits |= Part<Word>{1} << move.from;
  }
  return bits;
}

// Adds the bits that go the same way. A vector has no rotation.
template <const auto& moves, unsigned distance, typename Word>
[[gnu::always_inline]] inline void add_moved(Word from, Word& to) {
  constexpr auto left = moving<Word>(moves, distance, false);
  constexpr auto right = moving<Word>(moves, distance, true);
  if constexpr (std::is_integral_v<Word>) {
    if constexpr ((left | right) != 0) to |= std::rotl(from & (left | right), distance);
  } else {
    if constexpr (left != 0) to |= (from & left) << distance;
    if constexpr (right != 0) to |= (from & right) >> (width<Word> - distance);
  }
}

// A word with the bits of another one, or of each of its lanes, where `moves` say; the rest is 0.
template <const auto& moves, typename Word>
[[gnu::always_inline]] inline Word moved(Word from) {
  Word to{};
  [&]<std::size_t... distance>(std::index_sequence<distance...>) __attribute__((always_inline)) {
    (add_moved<moves, distance>(from, to), ...);
  }
  (std::make_index_sequence<width<Word>>());
  return to;
}

}  // namespace quorra::des
