// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A function that reads, writes or erases a card's memory, described so that all of its frames,
// bounds and failures can be told from the description.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/operation.hpp"

namespace quorra::testing {

using ReadFunction = std::function<int(int handle, int address, int count, unsigned char* buffer)>;
using WriteFunction =
    std::function<int(int handle, int address, int count, const unsigned char* buffer)>;
using EraseFunction = std::function<int(int handle, int address, int count)>;

struct MemoryFunction {
  enum class Access { read, write, erase };

  std::string name;
  Access access;
  ReadFunction call;  // what is written comes from the buffer; erasing leaves it alone
  unsigned char command;
  unsigned char card;
  int last_address;  // the last one that passes the address check
  int size;
  int past_end = -143;  // for a count that is too large for the address
  int chunk = 144;
  int bytes_per_unit = 1;
  bool low_byte_twice = false;

  // The two bytes before the address, and what is added to every address that is sent.
  unsigned char variant = 0;
  unsigned char zone = 0;
  int base = 0;

  bool count_first = false;  // a count below 1 is refused before the address is looked at
  bool slow = false;         // the replies may take their time

  // The frames of a transfer, and the content of the card where they lie.
  std::vector<Exchange> exchanges(int address, int count) const;
  Bytes content(int address, int count) const;
};

// Functions of a card of `size` bytes that can be addressed all over.
MemoryFunction reads(std::string name, ReadFunction call, unsigned char card, int size);
MemoryFunction writes(std::string name, const WriteFunction& call, unsigned char command,
                      unsigned char card, int size);
MemoryFunction erases(std::string name, const EraseFunction& call, unsigned char card, int size);

std::ostream& operator<<(std::ostream& stream, const MemoryFunction& function);

// Expects transfers of all sizes, from the beginning of the card and up to its end, to consist of
// the right frames and to bring the right bytes.
void expect_transfers(const MemoryFunction& function, Mode mode);

// Lets the first, a middle and the last frame of a transfer fail in every way.
void expect_transfer_failures(const MemoryFunction& function, Mode mode);

// Expects every address and count outside the card to be refused without traffic.
void expect_transfer_refusals(const MemoryFunction& function);

// Expects a read to take just the bytes it asked for out of replies that are longer or shorter.
void expect_exact_reading(const MemoryFunction& function, Mode mode);

// Expects each frame of a transfer to be waited for just as long as it takes.
void expect_transfer_waits(const MemoryFunction& function);

// All of these.
void expect_memory_function(const MemoryFunction& function);

}  // namespace quorra::testing
