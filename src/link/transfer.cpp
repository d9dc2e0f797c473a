// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "link/transfer.hpp"

#include <cstring>

namespace quorra {
namespace {

int check_range(const Memory& memory, int address, int count) {
  if (address < 0 || address >= memory.address_end) return bad_address;
  if (count < 1) return bad_length;
  return memory.size - address < count ? memory.past_end : ok;
}

int check_arguments(const Memory& memory, int address, int count, const unsigned char* buffer) {
  if (const int code = check_range(memory, address, count); code != ok) return code;
  return buffer == nullptr ? bad_length : ok;
}

std::size_t bytes(const Memory& memory, int units) {
  return static_cast<std::size_t>(units) * static_cast<std::size_t>(memory.bytes_per_unit);
}

Request request_at(const Memory& memory, int address) {
  const int sent = memory.base + (memory.low_byte_twice ? address % 256 * 257 : address);
  return {memory.command, memory.card, sent, memory.place};
}

// A request that names `count` units and carries none.
int exchange_count(int handle, const Memory& memory, int address, int count, Reply& reply) {
  Request request = request_at(memory, address);
  request.append(0).append(static_cast<unsigned char>(count));
  return exchange(handle, request, reply, memory.receive);
}

}  // namespace

int read_memory(int handle, const Memory& memory, int address, int count, unsigned char* buffer,
                Code too_short) {
  const int code = check_arguments(memory, address, count, buffer);
  return code != ok ? code : read_frames(handle, memory, address, count, buffer, too_short);
}

int read_frames(int handle, const Memory& memory, int address, int count, unsigned char* buffer,
                Code too_short) {
  return for_each_chunk(count, memory.chunk, [&](int offset, int size) {
    Reply reply;
    const int code = exchange_count(handle, memory, address + offset, size, reply);
    if (code != ok) return code;
    const std::size_t wanted = bytes(memory, size);
    if (too_short != ok && static_cast<std::size_t>(reply.length()) < wanted) return int{too_short};
    std::memcpy(buffer + bytes(memory, offset), reply.data(), wanted);
    return int{ok};
  });
}

int write_memory(int handle, const Memory& memory, int address, int count,
                 const unsigned char* buffer) {
  const int code = check_arguments(memory, address, count, buffer);
  return code != ok ? code : write_frames(handle, memory, address, count, buffer);
}

int write_frames(int handle, const Memory& memory, int address, int count,
                 const unsigned char* buffer) {
  return for_each_chunk(count, memory.chunk, [&](int offset, int size) {
    Request request = request_at(memory, address + offset);
    request.append(buffer + bytes(memory, offset), size * memory.bytes_per_unit);
    Reply reply;
    return exchange(handle, request, reply, memory.receive);
  });
}

int erase_memory(int handle, const Memory& memory, int address, int count) {
  if (const int code = check_range(memory, address, count); code != ok) return code;
  return for_each_chunk(count, memory.chunk, [&](int offset, int size) {
    Reply reply;
    return exchange_count(handle, memory, address + offset, size, reply);
  });
}

}  // namespace quorra
