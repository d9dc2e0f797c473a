// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 93C series: three-wire EEPROM cards of four sizes. The 93c46a is organised in words of two
// bytes, and counts addresses and lengths in words.

#include <quorra.h>

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
  return {{Command::read, card, capacity, capacity}, {Command::write, card, capacity, capacity}};
}

constexpr int word = 2;

constexpr Size size_93c46a = [] {
  Size size = size_of(CardType::card_93c46a, 64);
  size.reading.bytes_per_unit = word;
  size.writing.bytes_per_unit = word;
  return size;
}();
constexpr Size size_93c46 = size_of(CardType::card_93c46, 128);
// Reading past the end of this one card is an error of the address, not of the count.
constexpr Size size_93c57 = [] {
  Size size = size_of(CardType::card_93c57, 256);
  size.reading.past_end = bad_address;
  return size;
}();
// This one card is written with the command of the two-wire cards.
constexpr Size size_93c66 = [] {
  Size size = size_of(CardType::card_93c66, 512);
  size.writing.command = Command::write_pages;
  return size;
}();

// What a probe looks at after it has written its test value at the top address.
enum class Look {
  first_byte_at_top,  // has to be the test value
  exchange_at_top,    // has to be answered, with whatever value
  mirror,             // must not be the test value
};

struct Probe {
  const Size& size;
  int top = 0;
  Look look = Look::mirror;
  int mirror = 0;
  int (*next_size)(int handle) = nullptr;  // passed by a card that is too large
};

bool read_unit(int handle, const Probe& probe, int address, unsigned char (&unit)[word],
               Code too_short = not_this_card) {
  return read_memory(handle, probe.size.reading, address, 1, unit, too_short) == ok;
}

bool write_unit(int handle, const Probe& probe, int address, const unsigned char (&unit)[word]) {
  return write_memory(handle, probe.size.writing, address, 1, unit) == ok;
}

bool looks_right(int handle, const Probe& probe, const unsigned char (&test)[word]) {
  if (!write_unit(handle, probe, probe.top, test)) return false;
  unsigned char held[word] = {};
  const bool any_value = probe.look == Look::exchange_at_top;
  const int looked_at = probe.look == Look::mirror ? probe.mirror : probe.top;
  if (!read_unit(handle, probe, looked_at, held, any_value ? ok : not_this_card)) return false;
  return any_value || (held[0] == test[0]) == (probe.look == Look::first_byte_at_top);
}

bool passes(int handle, const Probe& probe) {
  unsigned char saved[word] = {};
  if (!read_unit(handle, probe, probe.top, saved)) return false;
  if (probe.look == Look::mirror) {
    unsigned char unused[word] = {};
    if (!read_unit(handle, probe, probe.mirror, unused, ok)) return false;
  }
  const unsigned char test[word] = {static_cast<unsigned char>(saved[0] + 1),
                                    static_cast<unsigned char>(saved[1] + 1)};
  const bool right_size = looks_right(handle, probe, test);
  const bool restored = write_unit(handle, probe, probe.top, saved);
  if (!right_size || !restored) return false;
  return probe.next_size == nullptr || probe.next_size(handle) != ok;
}

int result_of(int handle, const Probe& probe) { return passes(handle, probe) ? ok : not_this_card; }

int whole_memory(int handle, Command command, const Size& size) {
  return exchange(handle, Request(command, size.reading.card));
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int srd_93c46a(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_93c46a.reading, address, count, buffer);
}

int swr_93c46a(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_93c46a.writing, address, count, buffer);
}

int srd_93c46(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_93c46.reading, address, count, buffer);
}

int swr_93c46(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_93c46.writing, address, count, buffer);
}

int srd_93c57(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_93c57.reading, address, count, buffer);
}

int swr_93c57(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_93c57.writing, address, count, buffer);
}

int srd_93c66(int handle, int address, int count, unsigned char* buffer) {
  return read_memory(handle, size_93c66.reading, address, count, buffer);
}

int swr_93c66(int handle, int address, int count, const unsigned char* buffer) {
  return write_memory(handle, size_93c66.writing, address, count, buffer);
}

int eral_93c46a(int handle) { return whole_memory(handle, Command::erase_all, size_93c46a); }

int eral_93c46(int handle) { return whole_memory(handle, Command::erase_all, size_93c46); }

int eral_93c57(int handle) { return whole_memory(handle, Command::erase_all, size_93c57); }

int eral_93c66(int handle) { return whole_memory(handle, Command::erase_all, size_93c66); }

int wral_93c46a(int handle) { return whole_memory(handle, Command::write_all, size_93c46a); }

int wral_93c46(int handle) { return whole_memory(handle, Command::write_all, size_93c46); }

int wral_93c57(int handle) { return whole_memory(handle, Command::write_all, size_93c57); }

int wral_93c66(int handle) { return whole_memory(handle, Command::write_all, size_93c66); }

int chk_93c46a(int handle) {
  return result_of(handle, {.size = size_93c46a, .top = 63, .look = Look::first_byte_at_top});
}

int chk_93c46(int handle) {
  return result_of(
      handle,
      {.size = size_93c46, .top = 127, .look = Look::exchange_at_top, .next_size = chk_up57});
}

int chk_93c57(int handle) {
  return result_of(handle, {.size = size_93c57,
                            .top = 255,
                            .look = Look::mirror,
                            .mirror = 127,
                            .next_size = chk_93c66});
}

int chk_93c66(int handle) {
  return result_of(handle, {.size = size_93c66, .top = 511, .look = Look::mirror, .mirror = 255});
}

int chk_up57(int handle) {
  return result_of(handle, {.size = size_93c57, .top = 255, .look = Look::mirror, .mirror = 127});
}
