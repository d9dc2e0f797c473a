// The card kinds that the command line knows. A kind is one row of data.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "cli/errors.hpp"

namespace quorra::cli {

// These read or write `count` bytes at `address`, both in bytes. The result is the library's.
using ReadFunction = int (*)(int handle, int address, int count, unsigned char* buffer);
using WriteFunction = int (*)(int handle, int address, int count, const unsigned char* buffer);

// Bytes that can be made read-only for good: the first `bytes` of a card's memory.
struct Protection {
  int bytes;
  // Tells for each byte whether it is protected: 1, or 0.
  ReadFunction read;
  // Protects bytes; the buffer is what they hold.
  WriteFunction write;
  // What the results of `write` mean; `protecting` if it also reads back what it did.
  OperationKind kind = OperationKind::ordinary;
};

// A code that is presented before the card can be written.
struct SecurityCode {
  int size;
  int attempts;  // wrong codes in a row that lock the card
  int (*present)(int handle, int length, const unsigned char* code);
  int (*change)(int handle, int length, const unsigned char* code);
  int (*read)(int handle, int length, unsigned char* code);
  int (*attempts_left)(int handle, int* counter);
};

// The data bytes of one frame, at most.
inline constexpr int frame_size = 144;

// What a kind cannot do is absent.
struct Card {
  std::string_view name;
  int size;                // in bytes, as are all sizes here
  int writable = size;     // how many bytes, from address 0, can be written
  int unit = 1;            // an address and a count for `read` and `write` are multiples of it
  int page = 1;            // no frame crosses a page
  int piece = frame_size;  // of a long transfer: what one call moves, in whole frames
  ReadFunction read;
  WriteFunction write;
  OperationKind reading = OperationKind::ordinary;  // what the results of `read` mean
  OperationKind writing = OperationKind::ordinary;  // what those of `write` mean
  int (*erase_all)(int handle) = nullptr;
  int (*probe)(int handle);
  std::string_view twin = {};  // another kind that passes the same probe
  std::optional<Protection> protection = std::nullopt;
  std::optional<SecurityCode> code = std::nullopt;
};

std::span<const Card> all_cards();

// The kind of this name, or a null pointer.
const Card* find_card(std::string_view name);

// "4442, 4432, ..."
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

// The same for all bytes of a card, and for those that can be written.
Range readable_range(const Card& card, int address, std::optional<int> count);
Range writable_range(const Card& card, int address, std::optional<int> count);

}  // namespace quorra::cli
