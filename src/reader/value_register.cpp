// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The value register: an unsigned number of 32 bits in the reader's own memory, least significant
// byte first.

#include <quorra.h>

#include "link/codes.hpp"
#include "reader/reader_memory.hpp"

namespace quorra {
namespace {

constexpr int value_size = 4;

// The reader has no result below zero: one that would be negative as a signed number is refused.
bool is_negative(unsigned value) { return value > 0x7FFF'FFFFU; }

int read_value(int handle, unsigned* value, Code too_short) {
  unsigned char bytes[value_size];
  if (const int code =
          read_reader_memory(handle, value_register_address, value_size, bytes, too_short);
      code != ok) {
    return code;
  }
  *value = 0;
  for (unsigned i = 0; i < value_size; ++i)
    *value |= static_cast<unsigned>(bytes[i]) << (8 * i);
  return ok;
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int val_read(int handle, unsigned* value) {
  return value == nullptr ? int{bad_length} : read_value(handle, value, ok);
}

int swr_value(int handle, unsigned value) {
  unsigned char bytes[value_size];
  for (unsigned i = 0; i < value_size; ++i)
    bytes[i] = static_cast<unsigned char>(value >> (8 * i));
  return write_reader_memory(handle, value_register_address, value_size, bytes);
}

int val_set(int handle, unsigned value) {
  if (const int code = swr_value(handle, value); code != ok) return code;
  unsigned held{};
  if (const int code = read_value(handle, &held, not_equal); code != ok) return code;
  return held == value ? ok : not_equal;
}

// Past its largest number the register goes on from 0.
int val_inc(int handle, unsigned amount) {
  unsigned held{};
  if (const int code = read_value(handle, &held, value_missing); code != ok) return code;
  return val_set(handle, held + amount);
}

int val_dec(int handle, unsigned amount) {
  unsigned held{};
  if (const int code = read_value(handle, &held, value_missing); code != ok) return code;
  const unsigned left = held - amount;
  return is_negative(left) ? below_zero : val_set(handle, left);
}
