// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cards/secure/security.hpp"

#include <bit>
#include <cstring>

namespace quorra {
namespace {

constexpr int largest_counter = 16;
constexpr int identification_size = 2;

Request request_to(Command command, const Target& target) {
  return {command, target.card, target.address, target.place};
}

}  // namespace

int send_command(int handle, Command command, const Target& target) {
  return exchange(handle, request_to(command, target));
}

int present_code(int handle, Command command, const Target& target, const unsigned char* code,
                 int size) {
  if (code == nullptr) return bad_length;
  return exchange(handle, request_to(command, target).append(code, size));
}

int set_fake_fuse(int handle, const Target& target, bool blown) {
  return exchange(handle, request_to(Command::set_fake_fuse, target).append(blown ? 0xFF : 0x00));
}

int replace_code(int handle, const Memory& erasing, const Memory& writing, int address, int size,
                 const unsigned char* code) {
  if (code == nullptr) return bad_length;
  if (const int result = erase_memory(handle, erasing, address, size); result != ok) return result;
  return write_memory(handle, writing, address, size, code);
}

int add_counter(int handle, const Memory& reading, int address, int size, unsigned char mask,
                unsigned* counter) {
  if (counter == nullptr) return bad_length;
  unsigned char held[largest_counter];
  if (const int code = read_memory(handle, reading, address, size, held); code != ok) return code;
  for (int i = 0; i < size; ++i)
    *counter += static_cast<unsigned>(std::popcount(static_cast<unsigned char>(held[i] & mask)));
  return ok;
}

int read_counter(int handle, const Memory& reading, int address, int size, unsigned char mask,
                 unsigned* counter) {
  unsigned ones = 0;
  if (counter == nullptr) return bad_length;
  if (const int code = add_counter(handle, reading, address, size, mask, &ones); code != ok) {
    return code;
  }
  *counter = ones;
  return ok;
}

int read_counter_or_zero(int handle, const Memory& reading, int address, unsigned* counter) {
  if (counter == nullptr) return bad_length;
  *counter = 0;
  return add_counter(handle, reading, address, 1, every_bit, counter);
}

int clear_bit(int handle, const Memory& reading, const Memory& writing, int address,
              unsigned char bit) {
  unsigned char held{};
  if (const int code = read_memory(handle, reading, address, 1, &held, value_missing); code != ok) {
    return code;
  }
  if ((held & bit) == 0) return ok;
  held = static_cast<unsigned char>(held & ~bit);
  return write_memory(handle, writing, address, 1, &held);
}

int check_identification(int handle, const Memory& reading, const unsigned char* identification) {
  unsigned char held[identification_size];
  if (const int code = read_memory(handle, reading, 0, sizeof held, held, not_this_card);
      code != ok) {
    return code;
  }
  return std::memcmp(held, identification, sizeof held) == 0 ? ok : not_this_card;
}

}  // namespace quorra
