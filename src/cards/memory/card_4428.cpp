// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 4428 card: 1024 bytes, each with a protection bit, and a two-byte security code in the last
// two. The 4418 is the same card without the code.

#include <quorra.h>

#include <bit>
#include <cstring>

#include "link/codes.hpp"
#include "link/exchange.hpp"
#include "link/transfer.hpp"

namespace quorra {
namespace {

constexpr int capacity = 1024;
constexpr int code_address = 1022;
constexpr int code_size = 2;

// On the 4428 the last three bytes can only be read: counter and code are out of reach of writing,
// and of reading with protection bits too.
constexpr int writable_size = 1021;

// A byte read with its protection bit takes two bytes on the line.
constexpr int paired = 2;
constexpr int paired_chunk = largest_chunk / paired;

constexpr CardType coded = CardType::card_4428;
constexpr Memory reading_4428{Command::read, coded, capacity, capacity};
constexpr Memory writing_4428{Command::write, coded, writable_size, writable_size};
constexpr Memory reading_pairs_4428{.command = Command::read_with_protection,
                                    .card = coded,
                                    .address_end = writable_size,
                                    .size = writable_size,
                                    .bytes_per_unit = paired,
                                    .chunk = paired_chunk};
constexpr Memory writing_and_protecting_4428{Command::write_with_protection, coded, writable_size,
                                             writable_size};
constexpr Memory protecting_4428{Command::write_protection_bits, coded, writable_size,
                                 writable_size};

constexpr CardType plain = CardType::card_4418;
// Reading alone sends the low address byte twice.
constexpr Memory reading_4418{.command = Command::read,
                              .card = plain,
                              .address_end = capacity,
                              .size = capacity,
                              .low_byte_twice = true};
constexpr Memory writing_4418{Command::write, plain, capacity, capacity};
constexpr Memory reading_pairs_4418{.command = Command::read_with_protection,
                                    .card = plain,
                                    .address_end = capacity,
                                    .size = capacity,
                                    .bytes_per_unit = paired,
                                    .chunk = paired_chunk};
constexpr Memory writing_and_protecting_4418{Command::write_with_protection, plain, capacity,
                                             capacity};
constexpr Memory protecting_4418{Command::write_protection_bits, plain, capacity, capacity};

// What a 4428 card holds at address 0.
constexpr unsigned char signature[] = {0x92, 0x23, 0x10, 0x91};

int send_code(int handle, Command command, int address, int length, const unsigned char* code) {
  if (length != code_size || code == nullptr) return bad_length;
  return exchange(handle, Request(command, coded, address).append(code, code_size));
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int srd_4428(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, reading_4428, address, count, buffer);
}

int swr_4428(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, writing_4428, address, count, buffer);
}

int rdwpb_4428(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, reading_pairs_4428, address, count, buffer);
}

int wrwpb_4428(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, writing_and_protecting_4428, address, count, buffer);
}

int pwr_4428(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, protecting_4428, address, count, buffer);
}

int csc_4428(int handle, int length, const unsigned char* code) {
  return send_code(handle, Command::present_code, 0, length, code);
}

// A plain write of the two bytes that hold the code.
int wsc_4428(int handle, int length, const unsigned char* code) {
  return send_code(handle, Command::write, code_address, length, code);
}

int rsc_4428(int handle, int length, unsigned char* code) {
  if (length != code_size) return bad_length;
  return srd_4428(handle, code_address, code_size, code);
}

int rsct_4428(int handle, int* counter) {
  if (counter == nullptr) return bad_length;
  Request request(Command::read_error_counter, coded);
  request.append(0).append(1);
  Reply reply;
  if (const int code = exchange(handle, request, reply); code != ok) return code;
  *counter = std::popcount(reply.data()[0]);
  return ok;
}

int chk_4428(int handle) {
  unsigned char held[sizeof signature];
  if (const int code = read_memory(handle, reading_4428, 0, sizeof held, held, not_this_card);
      code != ok) {
    return code;
  }
  return std::memcmp(held, signature, sizeof held) == 0 ? ok : not_this_card;
}

int srd_4418(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, reading_4418, address, count, buffer);
}

int swr_4418(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, writing_4418, address, count, buffer);
}

int rdwpb_4418(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, reading_pairs_4418, address, count, buffer);
}

int wrwpb_4418(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, writing_and_protecting_4418, address, count, buffer);
}

int pwr_4418(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, protecting_4418, address, count, buffer);
}

// There is nothing to tell this card by: it is always taken to be there, and nothing is sent.
int chk_4418(int /*handle*/) { return ok; }
