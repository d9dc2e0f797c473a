#include "cards/transfer.hpp"

#include <cstring>

namespace quorra {
namespace {

int check_arguments(const Memory& memory, int address, int count, const unsigned char* buffer) {
  if (address < 0 || address >= memory.address_end) return bad_address;
  if (count < 1) return bad_length;
  if (memory.size - address < count) return memory.past_end;
  return buffer == nullptr ? bad_length : ok;
}

std::size_t bytes(const Memory& memory, int units) {
  return static_cast<std::size_t>(units) * static_cast<std::size_t>(memory.bytes_per_unit);
}

Request request_at(const Memory& memory, int address) {
  const int sent = memory.low_byte_twice ? address % 256 * 257 : address;
  return {memory.command, memory.card, sent};
}

}  // namespace

int read_memory(int handle, const Memory& memory, int address, int count, unsigned char* buffer) {
  if (const int code = check_arguments(memory, address, count, buffer); code != ok) return code;
  return for_each_chunk(count, memory.chunk, [&](int offset, int size) {
    Request request = request_at(memory, address + offset);
    request.append(0).append(static_cast<unsigned char>(size));
    Reply reply;
    if (const int code = exchange(handle, request, reply); code != ok) return code;
    std::memcpy(buffer + bytes(memory, offset), reply.data(), bytes(memory, size));
    return int{ok};
  });
}

int write_memory(int handle, const Memory& memory, int address, int count,
                 const unsigned char* buffer) {
  if (const int code = check_arguments(memory, address, count, buffer); code != ok) return code;
  return for_each_chunk(count, memory.chunk, [&](int offset, int size) {
    Request request = request_at(memory, address + offset);
    request.append(buffer + bytes(memory, offset), size * memory.bytes_per_unit);
    Reply reply;
    return exchange(handle, request, reply);
  });
}

}  // namespace quorra
