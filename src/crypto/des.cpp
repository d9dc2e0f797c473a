// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// DES in electronic-codebook fashion, and keys and blocks as cells: bytes that hold one bit each, 0
// or 1, the most significant bit first.

#include <quorra.h>
#include <strings.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "crypto/blocks.hpp"
#include "crypto/key_ring.hpp"
#include "crypto/tables.hpp"

namespace quorra {
namespace {

using namespace des;

using Cell = unsigned char;

// Up to here, one block after the other takes less time than a batch.
constexpr std::size_t few = 5 * block_size;

// What the functions that are called below need of the stack, and some room.
#ifdef __OPTIMIZE__
constexpr std::size_t stack_of_few = 2048;
constexpr std::size_t stack_of_many = 6144;
#else
constexpr std::size_t stack_of_few = 8192;
constexpr std::size_t stack_of_many = 24576;
#endif

// Overwrites what the function called before left on the stack. Wiping its variables is not enough:
// the compiler keeps copies of cells where it likes.
template <std::size_t size>
[[gnu::noinline]] void wipe_stack() {
  unsigned char used[size];
  explicit_bzero(used, sizeof used);
}

// A round finds its key from where the halves have been rotated to.
[[gnu::noinline]] void choose_round_key(const Cell* ring, Cell* round_key) {
  for (std::size_t i = 0; i < round_key_cells; ++i)
    round_key[i] = ring[place_in_ring[i]] & 1U;
}

[[gnu::noinline]] void choose_packed_round_key(const Cell* ring, unsigned char* round_key) {
  Cell cells[round_key_cells];
  choose_round_key(ring, cells);
  Bit_Char(cells, round_key_cells, round_key);
}

template <auto choose, std::size_t size>
[[gnu::noinline]] void make_round_keys(const unsigned char* key,
                                       unsigned char (*round_keys)[size]) {
  KeyRing<Cell> ring;
  fill_key_ring(key, ring);
  for (std::size_t i = 0; i < rounds; ++i)
    choose(&ring[shift_in_round[i]], round_keys[i]);
}

// A function of its own, so that all it keeps on the stack lies below the frame of its caller.
[[gnu::noinline]] void crypt_pieces(Direction direction, const unsigned char* key,
                                    std::size_t taken, const unsigned char* input,
                                    std::size_t length, unsigned char* output) {
  unsigned char whole_key[block_size]{};
  std::copy_n(key, taken, whole_key);
  if (length > few)
    crypt_many(direction, whole_key, input, length, output);
  else
    crypt_few(direction, whole_key, input, length, output);
}

int crypt(Direction direction, const unsigned char* key, int key_length, const unsigned char* input,
          unsigned length, unsigned char* output) {
  const auto taken =
      static_cast<std::size_t>(std::clamp(key_length, 0, static_cast<int>(block_size)));
  if (length == 0 || input == nullptr || output == nullptr) return 0;
  if (key == nullptr && taken > 0) return 0;

  crypt_pieces(direction, key, taken, input, length, output);
  if (length > few)
    wipe_stack<stack_of_many>();
  else
    wipe_stack<stack_of_few>();
  return static_cast<int>(std::min<std::uint64_t>(padded_length(length), INT_MAX));
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
  make_round_keys<choose_round_key>(key, round_keys);
  wipe_stack<stack_of_many>();
}

void Gen_Childkey2(const unsigned char* key, unsigned char (*round_keys)[6]) {
  if (key == nullptr || round_keys == nullptr) return;
  make_round_keys<choose_packed_round_key>(key, round_keys);
  wipe_stack<stack_of_many>();
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
