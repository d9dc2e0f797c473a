// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 101 card: 172 bytes, a two-byte security code, a four-byte erase code, an erase counter of
// 128 bits.

#include <quorra.h>

#include "cards/secure/security.hpp"

namespace quorra {
namespace {

constexpr CardType card = CardType::card_101;
constexpr int capacity = 172;

constexpr Memory reading{Command::read, card, capacity, capacity};
constexpr Memory writing{Command::write, card, capacity, capacity};
constexpr Memory writing_security{Command::write_security, card, capacity, capacity};
constexpr Memory erasing{Command::erase, card, capacity, capacity};

constexpr unsigned char identification[] = {0x0F, 0x0F};

constexpr int code_address = 10;
constexpr int code_size = 2;
constexpr int error_counter_address = 12;
constexpr int flags_address = 22;
constexpr int erase_code_address = 150;
constexpr int erase_code_size = 4;
constexpr int erase_counter_address = 154;
constexpr int erase_counter_size = 16;

}  // namespace
}  // namespace quorra

using namespace quorra;

int srd_101(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, reading, address, count, buffer);
}

int swr_101(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, writing, address, count, buffer);
}

int swrSC_101(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, writing_security, address, count, buffer);
}

int ser_101(int handle, int address, int count) {
  return erase_memory(handle, erasing, address, count);
}

int csc_101(int handle, unsigned length, const unsigned char* code) {
  if (length != code_size) return bad_length;
  return present_code(handle, Command::present_code, {card}, code, code_size);
}

int wsc_101(int handle, int length, const unsigned char* code) {
  if (length != code_size) return bad_length;
  return replace_code(handle, erasing, writing_security, code_address, code_size, code);
}

int rsc_101(int handle, int length, unsigned char* code) {
  if (length != code_size) return bad_length;
  return srd_101(handle, code_address, code_size, code);
}

int rsct_101(int handle, unsigned* counter) {
  return read_counter_or_zero(handle, reading, error_counter_address, counter);
}

int cesc_101(int handle, unsigned length, const unsigned char* code) {
  if (length != erase_code_size) return bad_length;
  return present_code(handle, Command::present_erase_code, {card}, code, erase_code_size);
}

int wesc_101(int handle, int length, const unsigned char* code) {
  if (length != erase_code_size) return bad_length;
  return replace_code(handle, erasing, writing_security, erase_code_address, erase_code_size, code);
}

int resc_101(int handle, int length, unsigned char* code) {
  if (length != erase_code_size) return bad_length;
  return srd_101(handle, erase_code_address, erase_code_size, code);
}

int resct_101(int handle, unsigned* counter) {
  return read_counter(handle, reading, erase_counter_address, erase_counter_size, every_bit,
                      counter);
}

int clrpr_101(int handle) {
  return clear_bit(handle, reading, writing, flags_address, protection_flag);
}

int clrrd_101(int handle) { return clear_bit(handle, reading, writing, flags_address, read_flag); }

int fakefus_101(int handle, unsigned mode) { return set_fake_fuse(handle, {card}, mode != 0); }

int psnl_101(int handle) { return send_command(handle, Command::personalise, {card}); }

int chk_101(int handle) { return check_identification(handle, reading, identification); }
