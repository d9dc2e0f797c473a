// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 4406 card: 13 bytes, a three-byte security code with eight attempts, counter stages.

#include <quorra.h>

#include <cstring>

#include "cards/secure/security.hpp"

namespace quorra {
namespace {

constexpr CardType card = CardType::card_4406;
constexpr int capacity = 13;

constexpr Memory reading{Command::read, card, capacity, capacity};
constexpr Memory writing{Command::write, card, capacity, capacity};

// A stage is named by the one before it, which gives a bit for it: the last stage cannot be named.
constexpr int stage_end = 12;

constexpr int personalisation_address = 8;
constexpr unsigned char not_personalised = 0x80;
constexpr int error_counter_address = 9;
constexpr int code_address = 10;
constexpr int code_size = 3;

}  // namespace
}  // namespace quorra

using namespace quorra;

int srd_4406(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, reading, address, count, buffer);
}

int swr_4406(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, writing, address, count, buffer);
}

int eswc_4406(int handle, int address) {
  if (address < 0 || address >= stage_end) return bad_address;
  return send_command(handle, Command::erase_stage, {card, 0, address});
}

// The card shows its code only to whoever has presented it.
int csc_4406(int handle, unsigned length, const unsigned char* code) {
  if (length != code_size) return bad_length;
  const int result = present_code(handle, Command::present_code, {card}, code, code_size);
  if (result != ok) return result;
  unsigned char held[code_size];
  if (const int read = read_memory(handle, reading, code_address, code_size, held, not_equal);
      read != ok) {
    return read;
  }
  return std::memcmp(held, code, code_size) == 0 ? ok : not_equal;
}

int wsc_4406(int handle, int length, const unsigned char* code) {
  if (length != code_size) return bad_length;
  return swr_4406(handle, code_address, code_size, code);
}

int rsc_4406(int handle, int length, unsigned char* code) {
  if (length != code_size) return bad_length;
  return srd_4406(handle, code_address, code_size, code);
}

int rsct_4406(int handle, unsigned* counter) {
  return read_counter(handle, reading, error_counter_address, 1, every_bit, counter);
}

int psnl_4406(int handle) {
  return clear_bit(handle, reading, writing, personalisation_address, not_personalised);
}

int chk_4406(int handle) {
  unsigned char held[3];
  if (srd_4406(handle, 0, sizeof held, held) != ok) return not_this_card;
  // A byte that the reply does not bring is 0, and so none of these.
  const bool this_card = (held[0] == 0x98 && held[1] == 0x20) || held[2] == 0x22;
  return this_card ? ok : not_this_card;
}
