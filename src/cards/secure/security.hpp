// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the families of security memory cards have in common.
#pragma once

#include "link/transfer.hpp"

namespace quorra {

// The bits of a zone's flag byte.
inline constexpr unsigned char protection_flag = 0x80;
inline constexpr unsigned char read_flag = 0x40;

// Which bits of a counter's byte are counted.
inline constexpr unsigned char every_bit = 0xFF;
inline constexpr unsigned char upper_half = 0xF0;

// Where the frame of a card's own command goes.
struct Target {
  CardType card = CardType::reader;
  int place = 0;
  int address = 0;
};

// Sends a command with nothing but its target. Returns 0, a link code or the negated STATUS.
int send_command(int handle, Command command, const Target& target);

// Presents a code of `size` bytes. Returns 0, -143 (code is a null pointer), a link code or the
// negated STATUS.
int present_code(int handle, Command command, const Target& target, const unsigned char* code,
                 int size);

// Makes the card behave as if its fuse were blown, or ends that. Returns as send_command.
int set_fake_fuse(int handle, const Target& target, bool blown);

// Erases the code's bytes, then writes them. A failed erase ends it, and nothing is written.
// Returns as present_code, and what `erasing` and `writing` refuse.
int replace_code(int handle, const Memory& erasing, const Memory& writing, int address, int size,
                 const unsigned char* code);

// Counts the 1 bits among the masked bits of `size` bytes (at most 16) and stores or adds their
// number. The counter stays as it is when the bytes cannot be read. Returns 0, -143 (counter is a
// null pointer) or what reading gave.
int read_counter(int handle, const Memory& reading, int address, int size, unsigned char mask,
                 unsigned* counter);
int add_counter(int handle, const Memory& reading, int address, int size, unsigned char mask,
                unsigned* counter);

// Counts the 1 bits of one byte; when it cannot be read, the counter becomes 0.
int read_counter_or_zero(int handle, const Memory& reading, int address, unsigned* counter);

// Clears one bit of a byte of the card. Writes nothing when the bit is 0 already. Returns 0, -133
// (the reply does not bring the byte) or what reading or writing gave.
int clear_bit(int handle, const Memory& reading, const Memory& writing, int address,
              unsigned char bit);

// Compares the card's first two bytes with `identification`. Returns 0, -133 when they differ, or
// what reading them gave.
int check_identification(int handle, const Memory& reading, const unsigned char* identification);

}  // namespace quorra
