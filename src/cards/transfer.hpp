// Reading and writing a card's memory, cut into frames: the one road of all memory cards.
#pragma once

#include "link/exchange.hpp"

namespace quorra {

// A memory as one function reaches it.
struct Memory {
  Command command;
  CardType card;
  int address_end;  // the first address that is refused with -144
  int size;         // a transfer that runs past it is refused with -143
};

// 0, -144 (address) or -143 (count, or buffer is a null pointer), in this order.
int check_transfer(const Memory& memory, int address, int count, const unsigned char* buffer);

// Checks the arguments, then transfers `count` bytes frame by frame.
int read_memory(int handle, const Memory& memory, int address, int count, unsigned char* buffer);
int write_memory(int handle, const Memory& memory, int address, int count,
                 const unsigned char* buffer);

}  // namespace quorra
