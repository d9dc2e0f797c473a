// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The kinds of cards. A kind is one row of data.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "toolkit/range.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {

// These read, write or erase `count` bytes at `address`, both in bytes. The result is the
// library's, here and below.
using ReadFunction = int (*)(int handle, int address, int count, unsigned char* buffer);
using WriteFunction = int (*)(int handle, int address, int count, const unsigned char* buffer);
using EraseFunction = int (*)(int handle, int address, int count);

// Does something with all of a card, or with all of a zone.
using CardFunction = int (*)(int handle);

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

// What the card counts down: the attempts at a code, or the erasures of a zone.
struct Counter {
  int most;
  int (*read)(int handle, int* left);
};

// A code that is presented before the card can be written, or erased.
struct Code {
  int size;
  std::optional<Counter> counter = std::nullopt;
  int (*present)(int handle, const unsigned char* code);
  int (*change)(int handle, const unsigned char* code);
  // Absent where the card does not show its code to everybody who may change it.
  int (*read)(int handle, unsigned char* code) = nullptr;
  OperationKind presenting = OperationKind::ordinary;  // what the results of `present` mean
  bool keeps_zeros = false;                            // a bit of it that is 0 cannot become 1
  std::string_view guards = "the card";                // what is locked when no attempt is left
};

// The two flags in the first byte of an application zone: bit 7 lets it be written, bit 6 lets it
// be read without the code.
inline constexpr unsigned char write_flag = 0x80;
inline constexpr unsigned char read_flag = 0x40;

struct Flags {
  int address;
  CardFunction clear_write_flag;
  CardFunction clear_read_flag;
};

// What bytes of a card are for. The number of a code or zone stands in the area.
enum class AreaRole {
  identification,
  protectable,  // bytes that can be made read-only for good, before others that cannot
  issuer,       // bytes that the card's issuer may use
  code,
  attempts,
  flags,
  data,
  erase_code,
  erasures,
  personalisation,  // the bit that ends the issuer's time
  units,            // one stage of a counter
};

struct Area {
  int first = 0;  // address; the area lasts until the next one begins
  AreaRole role = AreaRole::data;
  int number = 0;
};

// The data bytes of one frame, at most.
inline constexpr int frame_size = 144;

// Bytes with addresses of their own: those of a card, or of one of its zones. What cannot be done
// with them is absent.
struct Memory {
  int zone = 0;
  int size;                // in bytes, as are all sizes here
  int writable = size;     // how many bytes, from address 0, `write` reaches
  int unit = 1;            // an address and a count for `read` and `write` are multiples of it
  int page = 1;            // no frame crosses a page
  int piece = frame_size;  // of a long transfer: what one call moves, in whole frames
  ReadFunction read;
  WriteFunction write;
  OperationKind reading = OperationKind::ordinary;    // what the results of `read` mean
  OperationKind writing = OperationKind::ordinary;    // what those of `write` mean
  WriteFunction write_security = nullptr;             // reaches all bytes, codes and counters too
  EraseFunction erase = nullptr;                      // turns bits back to 1
  bool keeps_zeros = false;                           // writing turns bits from 1 to 0 only
  std::optional<Range> no_erase_from = std::nullopt;  // addresses where an erase cannot begin
  std::optional<Code> erase_code = std::nullopt;
  std::optional<Flags> flags = std::nullopt;
  std::span<const Area> areas = {};  // absent where all bytes are data
  int told_from = 0;                 // messages add this to addresses
};

// A counter of units that takes the place of the code when the card is personalised. A unit is a
// bit that is 1; each stage is one byte, and each of its units is worth 8 of the stage behind it.
struct UnitCounter {
  int first_stage;  // address
  int stages;
  unsigned char not_personalised;  // the bit of the first stage that personalising clears
  // Spends a unit of the stage at `address`, and fills the stage behind it with 8.
  int (*carry)(int handle, int address);
  std::span<const Area> areas;  // of a personalised card
};

// What a kind cannot do is absent.
struct Card {
  std::string_view name;
  Memory memory;                               // of all of the card, or of its zone 0
  std::span<const Memory> further_zones = {};  // zone 1 and the following ones
  CardFunction erase_all = nullptr;
  CardFunction probe;
  std::string_view twin = {};  // another kind that passes the same probe
  std::optional<Protection> protection = std::nullopt;
  std::span<const Code> codes = {};  // by number
  CardFunction personalise = nullptr;
  std::string_view personalised = {};  // what a personalised card is like: a sentence or two
  int (*imitate_fuse)(int handle, unsigned int mode) = nullptr;
  std::optional<UnitCounter> units = std::nullopt;

  bool has_zones() const { return !further_zones.empty(); }
};

std::span<const Card> all_cards();

// The kind of this name, or a null pointer.
const Card* find_card(std::string_view name);

// "4442, 4432, ..."
std::string card_names();

// The card's memory, or that of a zone. Throws UsageError if there is no such zone.
const Memory& memory_of(const Card& card, std::optional<int> zone);

// "a 4442 card", "zone 1 of a 102 card"
std::string name_of(const Card& card, const Memory& memory);

// "8192 bytes", "178 bytes in 3 zones"
std::string describe_size(const Card& card);

// The range that starts at `address` and, without a count, ends with the memory's `size` bytes.
// Throws UsageError if it is empty or not within them; `name` names the memory in the message.
Range range_within(int size, std::string_view name, int address, std::optional<int> count);
// The same for bytes that do not begin at 0.
Range range_within(Range room, std::string_view name, int address, std::optional<int> count);

// The same for all bytes of a memory, and for those that can be written.
Range readable_range(const Card& card, const Memory& memory, int address, std::optional<int> count);
Range writable_range(const Card& card, const Memory& memory, int address, std::optional<int> count);

}  // namespace quorra::toolkit
