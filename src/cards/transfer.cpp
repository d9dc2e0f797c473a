#include "cards/transfer.hpp"

#include <cstring>

namespace quorra {
namespace {

// The most bytes of card memory that one frame carries.
constexpr int chunk_size = 144;

}  // namespace

int check_transfer(const Memory& memory, int address, int count, const unsigned char* buffer) {
  if (address < 0 || address >= memory.address_end) return bad_address;
  if (count < 1 || memory.size - address < count) return bad_length;
  return buffer == nullptr ? bad_length : ok;
}

int read_memory(int handle, const Memory& memory, int address, int count, unsigned char* buffer) {
  if (const int code = check_transfer(memory, address, count, buffer); code != ok) return code;
  return for_each_chunk(count, chunk_size, [&](int offset, int size) {
    Request request(memory.command, memory.card, address + offset);
    request.append(0).append(static_cast<unsigned char>(size));
    Reply reply;
    if (const int code = exchange(handle, request, reply); code != ok) return code;
    std::memcpy(buffer + offset, reply.data(), static_cast<std::size_t>(size));
    return int{ok};
  });
}

int write_memory(int handle, const Memory& memory, int address, int count,
                 const unsigned char* buffer) {
  if (const int code = check_transfer(memory, address, count, buffer); code != ok) return code;
  return for_each_chunk(count, chunk_size, [&](int offset, int size) {
    Request request(memory.command, memory.card, address + offset);
    request.append(buffer + offset, size);
    Reply reply;
    return exchange(handle, request, reply);
  });
}

}  // namespace quorra
