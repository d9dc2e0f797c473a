// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "tests/simulator/cards/contact_driver.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator::test {

// Drives the bus of a security memory.
class SecurityMaster : public ContactDriver {
 public:
  using ContactDriver::ContactDriver;

  void power_up() {
    ContactDriver::power_up();
    position_.reset();
  }

  void address_first() {
    rst(true);
    pulse();
    rst(false);
    position_ = 0;
  }
  void address_next() {
    pulse();
    if (position_) ++*position_;
  }
  // Addresses the first bit of a byte, or a later one.
  void address(std::size_t byte, std::size_t bit = 0) {
    const std::size_t target = byte * 8 + bit;
    if (!position_ || target < *position_) address_first();
    while (*position_ < target)
      address_next();
  }

  std::uint8_t get() {
    unsigned byte = 0;
    for (int i = 0; i < 8; ++i) {
      byte = byte << 1U | (io_level() ? 1U : 0U);
      address_next();
    }
    return static_cast<std::uint8_t>(byte);
  }
  std::uint8_t read(std::size_t byte) {
    address(byte);
    return get();
  }
  Bytes read(std::size_t first, std::size_t count) {
    Bytes bytes;
    address(first);
    while (bytes.size() < count)
      bytes.push_back(get());
    return bytes;
  }

  // Programs the addressed bit with that level of IO; returns whether the chip says it did.
  bool program(bool level) {
    c4(true);
    io(level);
    pulse();
    io(true);
    const bool done = !io_level();
    c4(false);
    return done;
  }
  bool write(std::size_t byte, std::size_t bit) {
    address(byte, bit);
    return program(false);
  }
  bool erase(std::size_t byte) {
    address(byte);
    return program(true);
  }

  // Presents bits to the code that is addressed; returns whether the chip says it is right.
  bool compare(const Bytes& code) {
    rst(true);
    c4(true);
    for (const std::uint8_t byte : code)
      for (unsigned mask = 0x80; mask != 0; mask /= 2) {
        io((byte & mask) != 0);
        address_next();
      }
    io(true);
    const bool right = !io_level();
    c4(false);
    rst(false);
    return right;
  }
  bool compare(std::size_t byte, const Bytes& code) {
    address(byte);
    return compare(code);
  }

 private:
  // Which bit is addressed, if the master knows.
  std::optional<std::size_t> position_;
};

}  // namespace quorra::simulator::test
