// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 24C series: two-wire EEPROM cards of seven sizes, and the probes that tell the sizes apart by
// where a small card's memory shows again under the addresses of a larger one.

#include <quorra.h>

#include <climits>

#include "link/codes.hpp"
#include "link/exchange.hpp"
#include "link/transfer.hpp"

namespace quorra {
namespace {

struct Size {
  Memory reading;
  Memory writing;
};

constexpr Size size_of(CardType card, int capacity) {
  return {{Command::read, card, capacity, capacity},
          {Command::write_pages, card, capacity, capacity}};
}

constexpr Size size_24c01a = size_of(CardType::card_24c01a, 128);
constexpr Size size_24c02 = size_of(CardType::card_24c02, 256);
// Writing past the end of this one card is an error of the address, not of the count.
constexpr Size size_24c04 = [] {
  Size size = size_of(CardType::card_24c04, 512);
  size.writing.past_end = bad_address;
  return size;
}();
// The reader knows this card by the same type as the 24c04.
constexpr Size size_24c08 = size_of(CardType::card_24c04, 1024);
constexpr Size size_24c16 = size_of(CardType::card_24c16, 2048);
constexpr Size size_24c32 = size_of(CardType::card_24c32, 4096);
constexpr Size size_24c64 = size_of(CardType::card_24c64, 8192);

constexpr int none = INT_MIN;
constexpr int mirrors_max = 2;

// A probe writes a test value at the top address of its size, and looks whether it shows there and
// does not show at the mirror addresses, where a smaller card has the same cell.
struct Probe {
  const Size& size;
  int top = 0;
  int mirrors[mirrors_max] = {none, none};
  int (*next_size)(int handle) = nullptr;  // passed by a card that is too large
  int guarded = none;                      // kept and put back around the check of the next size
};

bool read_byte(int handle, const Probe& probe, int address, unsigned char* byte) {
  return read_memory(handle, probe.size.reading, address, 1, byte, not_this_card) == ok;
}

bool write_byte(int handle, const Probe& probe, int address, unsigned char byte) {
  return write_memory(handle, probe.size.writing, address, 1, &byte) == ok;
}

unsigned char next(unsigned char byte) { return static_cast<unsigned char>(byte + 1); }

bool shows_only_at_top(int handle, const Probe& probe, unsigned char test) {
  unsigned char held{};
  if (!write_byte(handle, probe, probe.top, test)) return false;
  if (!read_byte(handle, probe, probe.top, &held) || held != test) return false;
  for (const int mirror : probe.mirrors) {
    if (mirror == none) break;
    if (!read_byte(handle, probe, mirror, &held) || held == test) return false;
  }
  return true;
}

bool passes(int handle, const Probe& probe) {
  unsigned char saved{};
  if (!read_byte(handle, probe, probe.top, &saved)) return false;
  unsigned char mirrored[mirrors_max] = {};
  for (int i = 0; i < mirrors_max && probe.mirrors[i] != none; ++i) {
    if (!read_byte(handle, probe, probe.mirrors[i], &mirrored[i])) return false;
  }
  unsigned char guarded{};
  if (probe.guarded != none && !read_byte(handle, probe, probe.guarded, &guarded)) return false;

  // The test value differs from what each mirror address holds.
  unsigned char test = next(probe.mirrors[0] == none ? saved : mirrored[0]);
  if (probe.mirrors[1] != none && test == mirrored[1]) test = next(test);

  const bool right_size = shows_only_at_top(handle, probe, test);
  const bool restored = write_byte(handle, probe, probe.top, saved);
  if (!right_size || !restored) return false;

  const bool too_large = probe.next_size != nullptr && probe.next_size(handle) == ok;
  if (probe.guarded != none && !write_byte(handle, probe, probe.guarded, guarded)) return false;
  return !too_large;
}

int result_of(int handle, const Probe& probe) { return passes(handle, probe) ? ok : not_this_card; }

}  // namespace
}  // namespace quorra

using namespace quorra;

int srd_24c01a(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_24c01a.reading, address, count, buffer);
}

int swr_24c01a(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_24c01a.writing, address, count, buffer);
}

int srd_24c02(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_24c02.reading, address, count, buffer);
}

int swr_24c02(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_24c02.writing, address, count, buffer);
}

int srd_24c04(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_24c04.reading, address, count, buffer);
}

int swr_24c04(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_24c04.writing, address, count, buffer);
}

int srd_24c08(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_24c08.reading, address, count, buffer);
}

int swr_24c08(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_24c08.writing, address, count, buffer);
}

int srd_24c16(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_24c16.reading, address, count, buffer);
}

int swr_24c16(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_24c16.writing, address, count, buffer);
}

int srd_24c32(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_24c32.reading, address, count, buffer);
}

int swr_24c32(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_24c32.writing, address, count, buffer);
}

int srd_24c64(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_24c64.reading, address, count, buffer);
}

int swr_24c64(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_24c64.writing, address, count, buffer);
}

int chk_24c01a(int handle) {
  return result_of(handle, {.size = size_24c01a, .top = 127, .next_size = chk_up02});
}

int chk_24c02(int handle) {
  return result_of(handle,
                   {.size = size_24c02, .top = 255, .mirrors = {127, none}, .next_size = chk_up04});
}

int chk_24c04(int handle) {
  return result_of(handle,
                   {.size = size_24c04, .top = 511, .mirrors = {255, none}, .next_size = chk_up08});
}

int chk_24c08(int handle) {
  return result_of(
      handle, {.size = size_24c08, .top = 1023, .mirrors = {511, none}, .next_size = chk_up16});
}

int chk_24c16(int handle) {
  return result_of(handle, {.size = size_24c16,
                            .top = 2047,
                            .mirrors = {1023, none},
                            .next_size = chk_up32,
                            .guarded = 15});
}

// From here on an address has two bytes: a smaller card takes the high one for the whole address.
int chk_24c32(int handle) {
  return result_of(
      handle, {.size = size_24c32, .top = 4095, .mirrors = {3840, none}, .next_size = chk_24c64});
}

int chk_24c64(int handle) {
  return result_of(handle, {.size = size_24c64, .top = 8191, .mirrors = {4095, 7936}});
}

int chk_up02(int handle) {
  return result_of(handle, {.size = size_24c02, .top = 255, .mirrors = {127, none}});
}

int chk_up04(int handle) {
  return result_of(handle, {.size = size_24c04, .top = 511, .mirrors = {255, none}});
}

int chk_up08(int handle) {
  return result_of(handle, {.size = size_24c08, .top = 1023, .mirrors = {511, none}});
}

int chk_up16(int handle) {
  return result_of(handle, {.size = size_24c16, .top = 2047, .mirrors = {1023, none}});
}

int chk_up32(int handle) {
  return result_of(handle, {.size = size_24c32, .top = 4095, .mirrors = {3840, none}});
}
