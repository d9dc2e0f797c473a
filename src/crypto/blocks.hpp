// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Two ways through DES. No branch and no address depends on key or text in either.
#pragma once

#include <cstddef>
#include <cstdint>

#include "crypto/tables.hpp"

namespace quorra::des {

enum class Direction { encrypt, decrypt };

// The length of whole blocks.
constexpr std::uint64_t padded_length(std::uint64_t length) {
  return (length + block_size - 1) / block_size * block_size;
}

// Works on `length` bytes of input, completed by zeros to whole blocks, with a key of 8 bytes.
// Each is a function of its own, so that all it keeps on the stack lies below the frame of its
// caller.

// One block after the other.
void crypt_few(Direction direction, const unsigned char* key, const unsigned char* input,
               std::size_t length, unsigned char* output);

// Batches of blocks at the same time, the last one filled up.
void crypt_many(Direction direction, const unsigned char* key, const unsigned char* input,
                std::size_t length, unsigned char* output);

}  // namespace quorra::des
