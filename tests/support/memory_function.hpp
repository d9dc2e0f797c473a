// A function that reads or writes a card's memory, described so that all of its frames, bounds and
// failures can be told from the description.
#pragma once

#include <functional>
#include <ostream>
#include <vector>

#include "tests/support/operation.hpp"

namespace quorra::testing {

using ReadFunction = int (*)(int handle, int address, int count, unsigned char* buffer);
using WriteFunction = int (*)(int handle, int address, int count, const unsigned char* buffer);

struct MemoryFunction {
  const char* name;
  ReadFunction read;    // one of the two
  WriteFunction write;  // is null
  unsigned char command;
  unsigned char card;
  int last_address;  // the last one that passes the address check
  int size;
  int past_end = -143;  // for a count that is too large for the address
  int chunk = 144;
  int bytes_per_unit = 1;
  bool low_byte_twice = false;

  // Calls the function; what it reads goes into `buffer`, what it writes comes from there.
  int call(int handle, int address, int count, unsigned char* buffer) const;

  // The frames of a transfer, and the content of the card where they lie.
  std::vector<Exchange> exchanges(int address, int count) const;
  Bytes content(int address, int count) const;
};

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

}  // namespace quorra::testing
