// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 4404 card: 52 bytes, a two-byte security code with four attempts, a four-byte erase code.

#include <quorra.h>

#include "cards/secure/security.hpp"

namespace quorra {
namespace {

constexpr CardType card = CardType::card_4404;
constexpr int capacity = 52;

constexpr Memory reading{Command::read, card, capacity, capacity};
constexpr Memory writing{Command::write, card, capacity, capacity};
constexpr Memory erasing{Command::erase, card, capacity, capacity};

// No erase starts in here; one that starts below may run through.
constexpr int never_erased_begin = 14;
constexpr int never_erased_end = 40;

constexpr int code_address = 8;
constexpr int code_size = 2;
constexpr int error_counter_address = 10;
constexpr int flags_address = 14;
constexpr int erase_code_address = 40;
constexpr int erase_code_size = 4;
constexpr int erase_counter_address = 44;
constexpr int erase_counter_size = 8;

}  // namespace
}  // namespace quorra

using namespace quorra;

int srd_4404(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, reading, address, count, buffer);
}

int swr_4404(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, writing, address, count, buffer);
}

int ser_4404(int handle, int address, int count) {
  if (address >= never_erased_begin && address < never_erased_end) return bad_address;
  return erase_memory(handle, erasing, address, count);
}

int csc_4404(int handle, unsigned length, const unsigned char* code) {
  if (length != code_size) return bad_length;
  return present_code(handle, Command::present_code, {card}, code, code_size);
}

int wsc_4404(int handle, int length, const unsigned char* code) {
  if (length != code_size) return bad_length;
  return replace_code(handle, erasing, writing, code_address, code_size, code);
}

int rsc_4404(int handle, int length, unsigned char* code) {
  if (length != code_size) return bad_length;
  return srd_4404(handle, code_address, code_size, code);
}

int rsct_4404(int handle, unsigned* counter) {
  return read_counter(handle, reading, error_counter_address, 1, upper_half, counter);
}

int cesc_4404(int handle, unsigned length, const unsigned char* code) {
  if (length != erase_code_size) return bad_length;
  return present_code(handle, Command::present_erase_code, {card}, code, erase_code_size);
}

int wesc_4404(int handle, int length, const unsigned char* code) {
  if (length != erase_code_size) return bad_length;
  return replace_code(handle, erasing, writing, erase_code_address, erase_code_size, code);
}

int resc_4404(int handle, int length, unsigned char* code) {
  if (length != erase_code_size) return bad_length;
  return srd_4404(handle, erase_code_address, erase_code_size, code);
}

// The count is added to what the caller put there.
int resct_4404(int handle, unsigned* counter) {
  return add_counter(handle, reading, erase_counter_address, erase_counter_size, every_bit,
                     counter);
}

int clrpr_4404(int handle) {
  return clear_bit(handle, reading, writing, flags_address, protection_flag);
}

int clrrd_4404(int handle) { return clear_bit(handle, reading, writing, flags_address, read_flag); }

int fakefus_4404(int handle, unsigned mode) { return set_fake_fuse(handle, {card}, mode != 0); }

// The reader's STATUS is returned as it is, not negated.
int psnl_4404(int handle) {
  Request request(Command::personalise_4404, card);
  if (const int code = request.send(handle); code != ok) return code;
  Reply reply;
  const int code = receive_com(handle, reply.frame());
  return code != ok ? code : reply.status();
}

int chk_4404(int handle) {
  unsigned char held[3];
  if (const int code = srd_4404(handle, 0, sizeof held, held); code != ok) return code;
  // A byte that the reply does not bring is 0, and so none of these.
  const bool first_make = held[0] == 0xB7 && held[1] == 0xA0 && held[2] == 0xFF;
  const bool second_make = held[0] == 0x81 && held[1] == 0x24;
  return first_make || second_make ? ok : not_this_card;
}
