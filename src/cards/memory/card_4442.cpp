// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 4442 card: 256 bytes, the first 32 with protection bits, a three-byte security code. The 4432
// is the same card without the code and is served by the same commands.

#include <quorra.h>

#include <bit>
#include <cstring>

#include "link/codes.hpp"
#include "link/exchange.hpp"
#include "link/transfer.hpp"

namespace quorra {
namespace {

constexpr CardType card = CardType::card_4442;
constexpr int capacity = 256;
constexpr int protectable = 32;
constexpr int protection_size = protectable / 8;
constexpr int code_size = 3;

constexpr Memory reading{Command::read, card, capacity, capacity};
// Writing lets the address one past the end through to the count check; no count is good there.
constexpr Memory writing{Command::write, card, capacity + 1, capacity};
constexpr Memory protecting{Command::write_protection, card, protectable, protectable};

// What a 4442 card holds at address 6.
constexpr int signature_address = 6;
constexpr unsigned char signature[] = {0x81, 0x15};

// The commands that ask for the security memory and the protection memory want four bytes.
int read_four_bytes(int handle, Command command, Reply& reply) {
  Request request(command, card);
  request.append(0).append(4);
  return exchange(handle, request, reply);
}

int send_code(int handle, Command command, int length, const unsigned char* code) {
  if (length != code_size || code == nullptr) return bad_length;
  return exchange(handle, Request(command, card).append(code, code_size));
}

bool still_writable(const unsigned char* protection, int address) {
  return (protection[address / 8] & (0x80 >> (address % 8))) != 0;
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int srd_4442(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, reading, address, count, buffer);
}

int swr_4442(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, writing, address, count, buffer);
}

int prd_4442(int handle, int length, unsigned char* buffer) {
  if (length != protection_size || buffer == nullptr) return bad_length;
  Reply reply;
  if (const int code = read_four_bytes(handle, Command::read_protection, reply); code != ok) {
    return code;
  }
  std::memcpy(buffer, reply.data(), protection_size);
  return ok;
}

int pwr_4442(int handle, int address, int count, const unsigned char* buffer) {
  if (const int code = write_memory(handle, protecting, address, count, buffer); code != ok) {
    return code;
  }
  Reply protection;
  if (read_four_bytes(handle, Command::read_protection, protection) != ok ||
      protection.length() < protection_size) {
    return not_verified;
  }
  for (int written = address; written < address + count; ++written) {
    if (still_writable(protection.data(), written)) return not_equal;
  }
  unsigned char held[protectable];
  if (read_memory(handle, reading, address, count, held, not_verified) != ok) return not_verified;
  return std::memcmp(held, buffer, static_cast<std::size_t>(count)) == 0 ? ok : not_equal;
}

int csc_4442(int handle, int length, const unsigned char* code) {
  return send_code(handle, Command::present_code, length, code);
}

int wsc_4442(int handle, int length, const unsigned char* code) {
  return send_code(handle, Command::write_security, length, code);
}

int rsc_4442(int handle, int length, unsigned char* code) {
  if (length != code_size || code == nullptr) return bad_length;
  Reply reply;
  if (const int result = read_four_bytes(handle, Command::read_code, reply); result != ok) {
    return result;
  }
  // The error counter stands before the code.
  std::memcpy(code, reply.data() + 1, code_size);
  return ok;
}

int rsct_4442(int handle, int* counter) {
  if (counter == nullptr) return bad_length;
  Reply reply;
  if (const int code = read_four_bytes(handle, Command::read_error_counter, reply); code != ok) {
    return code;
  }
  *counter = std::popcount(reply.data()[0]);
  return ok;
}

int chk_4442(int handle) {
  unsigned char held[sizeof signature];
  if (const int code =
          read_memory(handle, reading, signature_address, sizeof held, held, not_this_card);
      code != ok) {
    return code;
  }
  return std::memcmp(held, signature, sizeof held) == 0 ? ok : not_this_card;
}

int srd_4432(int handle, int address, int count, unsigned char* buffer) {
  return srd_4442(handle, address, count, buffer);
}

int swr_4432(int handle, int address, int count, const unsigned char* buffer) {
  return swr_4442(handle, address, count, buffer);
}

int prd_4432(int handle, int length, unsigned char* buffer) {
  return prd_4442(handle, length, buffer);
}

int pwr_4432(int handle, int address, int count, const unsigned char* buffer) {
  return pwr_4442(handle, address, count, buffer);
}

int chk_4432(int handle) { return chk_4442(handle); }
