// The card kinds that the command line knows. A kind is one row of data.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quorra::cli {

// Read-only bits for the first `bytes` bytes of a card's memory.
struct Protection {
  int bytes;
  int (*read)(int handle, int length, unsigned char* buffer);
  int (*write)(int handle, int address, int count, const unsigned char* buffer);
};

// A code that is presented before the card can be written.
struct SecurityCode {
  int size;
  int (*present)(int handle, int length, const unsigned char* code);
  int (*change)(int handle, int length, const unsigned char* code);
  int (*read)(int handle, int length, unsigned char* code);
  int (*attempts_left)(int handle, int* counter);
};

// The functions are the library's own. What a kind cannot do is absent.
struct Card {
  std::string_view name;
  int size;
  int (*read)(int handle, int address, int count, unsigned char* buffer);
  int (*write)(int handle, int address, int count, const unsigned char* buffer);
  int (*probe)(int handle);
  std::optional<Protection> protection;
  std::optional<SecurityCode> code;
};

std::span<const Card> all_cards();

// The kind of this name, or a null pointer.
const Card* find_card(std::string_view name);

// "4442, 4432"
std::string card_names();

// "the memory of a 4442 card"
std::string memory_of(const Card& card);

// `count` bytes of a memory, from `address`.
struct Range {
  int address;
  int count;

  int end() const { return address + count; }
};

// The range that starts at `address` and, without a count, ends with the memory's `size` bytes.
// Throws UsageError if it is empty or not within them; `memory` names the memory in the message.
Range range_within(int size, std::string_view memory, int address, std::optional<int> count);

}  // namespace quorra::cli
