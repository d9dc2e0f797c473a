// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/memory_function.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <set>
#include <string>
#include <utility>

namespace quorra::testing {
namespace {

using Access = MemoryFunction::Access;

constexpr unsigned char guard = 0xEE;

std::string transfer_name(const MemoryFunction& function, int address, int count) {
  return function.name + "(" + std::to_string(address) + ", " + std::to_string(count) + ")";
}

// The bytes that `call` leaves in a buffer with one more byte than it may fill.
struct Buffer {
  Buffer(const MemoryFunction& function, int address, int count)
      : bytes(function.access == Access::read ? Bytes(size_of(function, count), guard)
                                              : function.content(address, count)) {
    bytes.push_back(guard);
  }
  static std::size_t size_of(const MemoryFunction& function, int count) {
    return static_cast<std::size_t>(count) * static_cast<std::size_t>(function.bytes_per_unit);
  }
  Bytes bytes;
};

void expect_transfer(const MemoryFunction& function, Mode mode, int address, int count) {
  Buffer buffer(function, address, count);
  expect_result(
      {transfer_name(function, address, count),
       [&](int handle) { return function.call(handle, address, count, buffer.bytes.data()); },
       function.exchanges(address, count)},
      mode, 0);
  EXPECT_EQ(buffer.bytes, function.content(address, count) + Bytes{guard})
      << transfer_name(function, address, count);
}

}  // namespace

Bytes MemoryFunction::content(int address, int count) const {
  Bytes bytes;
  for (int at = address * bytes_per_unit; at < (address + count) * bytes_per_unit; ++at) {
    bytes.push_back(static_cast<unsigned char>(at * 7 + at / 256 + 1));
  }
  return bytes;
}

std::vector<Exchange> MemoryFunction::exchanges(int address, int count) const {
  std::vector<Exchange> all;
  while (count > 0) {
    const int taken = std::min(count, chunk);
    const int sent = base + address;
    const auto low = static_cast<unsigned char>(sent % 256);
    const auto high = low_byte_twice ? low : static_cast<unsigned char>(sent / 256);
    const Bytes data = content(address, taken);
    const Bytes place = {card, variant, zone, high, low};
    const Bytes body =
        place + (access == Access::write ? data : Bytes{0, static_cast<unsigned char>(taken)});
    all.push_back({sealed(Bytes{0xAA, command, 0, static_cast<unsigned char>(body.size())} + body),
                   reply(0, access == Access::read ? data : Bytes{}), slow});
    address += taken;
    count -= taken;
  }
  return all;
}

MemoryFunction reads(std::string name, ReadFunction call, unsigned char card, int size) {
  return {.name = std::move(name),
          .access = Access::read,
          .call = std::move(call),
          .command = 0x61,
          .card = card,
          .last_address = size - 1,
          .size = size};
}

MemoryFunction writes(std::string name, const WriteFunction& call, unsigned char command,
                      unsigned char card, int size) {
  return {.name = std::move(name),
          .access = Access::write,
          .call = call,
          .command = command,
          .card = card,
          .last_address = size - 1,
          .size = size};
}

MemoryFunction erases(std::string name, const EraseFunction& call, unsigned char card, int size) {
  return {.name = std::move(name),
          .access = Access::erase,
          .call = [call](int handle, int address, int count,
                         unsigned char*) { return call(handle, address, count); },
          .command = 0x76,
          .card = card,
          .last_address = size - 1,
          .size = size};
}

std::ostream& operator<<(std::ostream& stream, const MemoryFunction& function) {
  return stream << function.name;
}

void expect_transfers(const MemoryFunction& function, Mode mode) {
  std::set<int> counts = {1, 2, function.size};
  for (const int chunks : {1, 2, 7}) {
    for (const int difference : {-1, 0, 1})
      counts.insert(chunks * function.chunk + difference);
  }
  // The frames are the same in both modes, but in terminal mode each of their bytes travels alone.
  const int most = mode == Mode::terminal ? function.chunk + 1 : function.size;
  for (const int count : counts) {
    if (count > std::min(most, function.size)) continue;
    const int rest = function.size - count;
    for (const int address :
         std::set<int>{0, rest / 2, rest, std::min(rest, function.last_address)}) {
      if (address <= function.last_address) expect_transfer(function, mode, address, count);
    }
  }
}

void expect_transfer_failures(const MemoryFunction& function, Mode mode) {
  const int frames = mode == Mode::terminal ? 1 : 3;
  const int count = std::min(function.size, frames * function.chunk);
  const std::vector<Exchange> exchanges = function.exchanges(0, count);
  for (std::size_t frame = 0; frame < exchanges.size(); ++frame) {
    Buffer buffer(function, 0, count);
    expect_failures(
        {transfer_name(function, 0, count),
         [&](int handle) { return function.call(handle, 0, count, buffer.bytes.data()); },
         exchanges},
        mode, frame);
    if (function.access != Access::read) continue;
    const std::size_t received =
        frame * static_cast<std::size_t>(function.chunk * function.bytes_per_unit);
    const Bytes content = function.content(0, count);
    Bytes expected(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(received));
    expected.resize(content.size() + 1, guard);
    EXPECT_EQ(buffer.bytes, expected) << "the frames before the failure stay, the rest is left";
  }
}

void expect_transfer_refusals(const MemoryFunction& function) {
  const int size = function.size;
  const int last = function.last_address;
  struct Refusal {
    int address;
    int count;
    int result;
  };
  // Where both the address and the count are wrong.
  const int both = function.count_first ? -143 : -144;
  const Refusal refusals[] = {
      {last + 1, 1, -144},
      {last + 1, size + 1, -144},
      {last + 1, 0, both},
      {-1, 1, -144},
      {-1, size + 1, -144},
      {-1, 0, both},
      {INT_MIN, 1, -144},
      {INT_MAX, 1, -144},
      {INT_MIN, INT_MIN, both},
      {INT_MIN, INT_MAX, -144},
      {INT_MAX, INT_MAX, -144},
      {0, 0, -143},
      {0, -1, -143},
      {0, INT_MIN, -143},
      {last, 0, -143},
      {last, INT_MIN, -143},
      {0, size + 1, function.past_end},
      {0, INT_MAX, function.past_end},
      {last, size - last + 1, function.past_end},
      {last, INT_MAX, function.past_end},
      {last / 2, size - last / 2 + 1, function.past_end},
  };
  Bytes buffer(16);
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(transfer_name(function, refusal.address, refusal.count));
    expect_refusal(refusal.result, [&](int handle) {
      return function.call(handle, refusal.address, refusal.count, buffer.data());
    });
  }
  if (function.access == Access::erase) return;
  expect_refusal(-143, [&](int handle) { return function.call(handle, 0, 1, nullptr); });
  expect_refusal(-144, [&](int handle) { return function.call(handle, last + 1, 1, nullptr); });
}

void expect_exact_reading(const MemoryFunction& function, Mode mode) {
  const Bytes data = counting(255, 1);
  const auto wanted = static_cast<std::size_t>(2 * function.bytes_per_unit);
  for (const std::size_t brought :
       {std::size_t{0}, std::size_t{1}, wanted, wanted + 1, data.size()}) {
    std::vector<Exchange> exchanges = function.exchanges(1, 2);
    exchanges[0].reply =
        reply(0, Bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(brought)));
    Buffer buffer(function, 1, 2);
    expect_result(
        {function.name + " with " + std::to_string(brought) + " bytes",
         [&](int handle) { return function.call(handle, 1, 2, buffer.bytes.data()); }, exchanges},
        mode, 0);
    Bytes expected(data.begin(),
                   data.begin() + static_cast<std::ptrdiff_t>(std::min(brought, wanted)));
    expected.resize(wanted, 0);
    EXPECT_EQ(buffer.bytes, expected + Bytes{guard});
  }
  if (function.size <= function.chunk) return;

  // A frame brings nothing of what the one before it brought.
  const int count = std::min(function.size, 2 * function.chunk);
  std::vector<Exchange> exchanges = function.exchanges(0, count);
  exchanges[1].reply = reply(0, {});
  Buffer buffer(function, 0, count);
  expect_result(
      {function.name + " with a second frame without bytes",
       [&](int handle) { return function.call(handle, 0, count, buffer.bytes.data()); }, exchanges},
      mode, 0);
  EXPECT_EQ(buffer.bytes, function.content(0, function.chunk) +
                              Bytes(Buffer::size_of(function, count - function.chunk), 0) +
                              Bytes{guard});
}

void expect_transfer_waits(const MemoryFunction& function) {
  const int count = std::min(function.size, 2 * function.chunk);
  Buffer buffer(function, 0, count);
  expect_waits({transfer_name(function, 0, count),
                [&](int handle) { return function.call(handle, 0, count, buffer.bytes.data()); },
                function.exchanges(0, count)});
}

void expect_memory_function(const MemoryFunction& function) {
  for (const Mode mode : {Mode::direct, Mode::terminal}) {
    expect_transfers(function, mode);
    expect_transfer_failures(function, mode);
  }
  expect_transfer_refusals(function);
  expect_transfer_waits(function);
  if (function.access == Access::read) expect_exact_reading(function, Mode::direct);
}

}  // namespace quorra::testing
