// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>

#include "simulator/cards/chip.hpp"

namespace quorra::simulator {

// What the chips of the security memories have in common: their bus, and the comparison of codes.
// Which cells can be seen, written and erased is left to each of them.
//
// The chip addresses one bit and shows it on IO; bits follow each other most significant first.
// RST and C4 say what a clock pulse does, at the moment when CLK rises. It is done when CLK falls:
//
//   RST   C4
//   high  low   the first bit is addressed
//   low   low   the next bit is addressed; behind the last one comes the first one
//   low   high  the addressed bit is written to 0 if IO is low, or erased if IO is high
//   high  high  IO is compared with the addressed bit of a code, and the next bit is addressed
//
// After the last two, until C4 falls, IO is not the addressed bit: the chip pulls it low if it has
// written or erased, or if the bit completed a right code. Nothing happens, and IO stays high,
// before the first bit was addressed for the first time.
class SecurityChip : public Chip {
 public:
  void contacts_changed(const Contacts& before, const Contacts& now) final;

 protected:
  // A code in the memory. One with attempts is compared only after an attempt was paid.
  struct Code {
    std::size_t address;
    std::size_t size;
    bool has_attempts;
  };

  static constexpr std::uint8_t erased_byte = 0xFF;

  // `byte_count` is how many bytes can be addressed.
  SecurityChip(Image content, std::size_t byte_count);

  // Lets this copy, which still points to the cells of its original, have its own.
  void find_cells() { memory_ = image().field("memory"); }

  std::span<std::uint8_t> memory() const { return memory_; }
  // Whether the level of C8 is low.
  bool c8_is_low() const { return c8_is_low_; }
  // Whether the code at that address was presented since the chip got its power.
  bool is_presented(std::size_t code_address) const { return presented_.contains(code_address); }
  // Allows one comparison of the code at that address.
  void pay_attempt(std::size_t code_address) { paid_ = code_address; }

  // Writes a bit of the memory to 0. Returns whether it was 1.
  bool clear(std::size_t address, std::uint8_t bit);
  void erase_byte(std::size_t address) { program(memory_[address], erased_byte); }

 private:
  // What a reader sees of the byte at this moment.
  virtual std::uint8_t shown(std::size_t address) const = 0;
  // Writes one bit, or erases what is erased together with that byte. They return whether the
  // chip's rules allow it.
  virtual bool write(std::size_t address, std::uint8_t bit) = 0;
  virtual bool erase(std::size_t address) = 0;
  // The code to which the byte belongs.
  virtual std::optional<Code> code_at(std::size_t address) const = 0;
  // Called when power is lost, for what the derived chip keeps no longer.
  virtual void forget() {}

  void lose_power();
  void end_pulse();
  void address_next();
  bool program_bit(bool level);
  bool compare(bool level);
  // Show the addressed bit; the first of them looks anew at what a reader sees of its byte.
  void show();
  void show_bit();
  std::uint8_t addressed_bit() const { return static_cast<std::uint8_t>(0x80U >> bit_ % 8); }

  std::span<std::uint8_t> memory_;
  std::size_t bit_count_;

  // The contacts at the moment when CLK rose.
  Contacts pulse_;
  bool c8_is_low_ = true;
  bool is_reset_ = false;
  std::size_t bit_ = 0;
  std::uint8_t shown_byte_ = erased_byte;

  // The addresses of the codes that were presented.
  std::set<std::size_t> presented_;
  // The address of the code whose next comparison is paid.
  std::optional<std::size_t> paid_;
  // The comparison that is under way: how many bits came, whether all of them were right, and
  // whether the chip was paid for it.
  std::size_t compared_bits_ = 0;
  bool is_right_ = false;
  bool counts_ = false;
};

}  // namespace quorra::simulator
