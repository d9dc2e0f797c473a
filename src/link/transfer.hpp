// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Reading, writing and erasing a memory, cut into frames: the one road of all memory cards and of
// the reader's own memory.
#pragma once

#include "link/exchange.hpp"

namespace quorra {

// The most bytes of a memory that one frame carries.
inline constexpr int largest_chunk = 144;

// A memory as one function reaches it. Addresses and counts are in the card's own unit.
struct Memory {
  Command command = Command::read;
  CardType card = CardType::reader;
  int address_end = 0;  // the first address that is refused with -144
  int size = 0;         // a transfer that runs past it is refused with `past_end`

  Code past_end = bad_length;
  int bytes_per_unit = 1;  // in the caller's buffer and on the line
  int chunk = largest_chunk;
  bool low_byte_twice = false;  // the low address byte also stands where the high one belongs

  int place = 0;  // what the two bytes before the address say
  int base = 0;   // added to every address that is sent
  Receive receive = receive_com;
};

// Checks the arguments, then transfers `count` units frame by frame. Returns -144 (address), -143
// (count below 1, or buffer is a null pointer), `past_end`, a link code or the negated STATUS.
//
// What a reply did not bring reads as zeros. Where it must not be taken for the card's, `too_short`
// is the code that a reply without it gives.
int read_memory(int handle, const Memory& memory, int address, int count, unsigned char* buffer,
                Code too_short = ok);
int write_memory(int handle, const Memory& memory, int address, int count,
                 const unsigned char* buffer);
int erase_memory(int handle, const Memory& memory, int address, int count);

// The transfers themselves, for arguments that were checked. Return 0, a link code or the negated
// STATUS. A frame that fails leaves its part of the buffer as it was.
int read_frames(int handle, const Memory& memory, int address, int count, unsigned char* buffer,
                Code too_short = ok);
int write_frames(int handle, const Memory& memory, int address, int count,
                 const unsigned char* buffer);

}  // namespace quorra
