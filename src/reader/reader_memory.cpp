// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The reader's own memory: the application's part, the reader's security code and security mode.

#include "reader/reader_memory.hpp"

#include <quorra.h>

#include <cstdint>
#include <cstring>

#include "link/transfer.hpp"

namespace quorra {
namespace {

constexpr int security_code_size = 3;

constexpr Memory reading{Command::read_reader_memory, CardType::reader};
constexpr Memory writing{Command::write_reader_memory, CardType::reader};

// An address below zero passes, on purpose.
int check_arguments(int address, int length, const unsigned char* buffer) {
  if (address >= application_size) return bad_address;
  if (length < 1) return bad_length;
  if (std::int64_t{application_size} - address < length) return bad_length;
  return buffer == nullptr ? bad_length : ok;
}

bool is_security_code(int length, const unsigned char* code) {
  return length == security_code_size && code != nullptr;
}

}  // namespace

int read_reader_memory(int handle, int address, int count, unsigned char* bytes, Code too_short) {
  return read_frames(handle, reading, address, count, bytes, too_short);
}

int write_reader_memory(int handle, int address, int count, const unsigned char* bytes) {
  return write_frames(handle, writing, address, count, bytes);
}

}  // namespace quorra

using namespace quorra;

int srd_eeprom(int handle, int addr, int len, unsigned char* buf) {
  if (const int code = check_arguments(addr, len, buf); code != ok) return code;
  return read_reader_memory(handle, addr, len, buf);
}

int swr_eeprom(int handle, int addr, int len, const unsigned char* buf) {
  if (const int code = check_arguments(addr, len, buf); code != ok) return code;
  return write_reader_memory(handle, addr, len, buf);
}

int srd_dvsc(int handle, int len, unsigned char* code) {
  if (!is_security_code(len, code)) return bad_length;
  return read_reader_memory(handle, security_code_address, security_code_size, code);
}

int swr_dvsc(int handle, int len, const unsigned char* code) {
  if (!is_security_code(len, code)) return bad_length;
  if (const int result =
          write_reader_memory(handle, security_code_address, security_code_size, code);
      result != ok) {
    return result;
  }
  unsigned char held[security_code_size];
  if (const int result =
          read_reader_memory(handle, security_code_address, security_code_size, held, not_equal);
      result != ok) {
    return result;
  }
  return std::memcmp(held, code, sizeof held) == 0 ? ok : not_equal;
}

int cmp_dvsc(int handle, int len, const unsigned char* code) {
  if (!is_security_code(len, code)) return bad_length;
  Request request(Command::compare_reader_code, CardType::reader, security_code_address);
  return exchange(handle, request.append(code, security_code_size));
}

int setsc_md(int handle, int mode) {
  const unsigned char wanted = mode != 0 ? 0xFF : 0x00;
  if (const int code = write_reader_memory(handle, security_mode_address, 1, &wanted); code != ok) {
    return code;
  }
  unsigned char held{};
  if (const int code = read_reader_memory(handle, security_mode_address, 1, &held, not_equal);
      code != ok) {
    return code;
  }
  return held == wanted ? ok : not_equal;
}
