// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Command APDUs, and the status words that end their answers.
#pragma once

#include <optional>

#include "toolkit/bytes.hpp"

namespace quorra::pcsc {

using toolkit::Bytes;

// SW1 and SW2.
enum class StatusWord : unsigned {
  success = 0x9000,
  not_verified = 0x6300,    // nothing is known of the attempts that are left
  attempts_left = 0x63C0,   // the number is added
  memory_failure = 0x6581,  // the card does not hold what was to be written
  wrong_length = 0x6700,
  code_missing = 0x6982,
  no_attempt_left = 0x6983,
  not_allowed = 0x6986,
  not_supported = 0x6A81,
  wrong_data = 0x6A80,
  wrong_parameters = 0x6A86,
  no_such_code = 0x6A88,
  wrong_address = 0x6B00,
  shorter_length = 0x6C00,  // the number of bytes that there are is added
  unknown_instruction = 0x6D00,
  unknown_class = 0x6E00,
  refused = 0x6F00,  // the reader did not do it
};

constexpr StatusWord operator+(StatusWord word, int number) {
  return static_cast<StatusWord>(static_cast<unsigned>(word) + static_cast<unsigned>(number));
}

// Ends a command with a status word.
struct Refusal {
  StatusWord word;
};

struct Answer {
  Bytes data = {};
  StatusWord word = StatusWord::success;
};

struct Command {
  unsigned char cla;
  unsigned char ins;
  unsigned char p1;
  unsigned char p2;
  Bytes data;                   // empty if there is none
  std::optional<int> expected;  // bytes that may come back, 1 to 256

  int address() const { return p1 << 8 | p2; }

  // Throw Refusal if data, or the number of expected bytes, is missing or in excess.
  void expect_only_length() const;
  void expect_only_data() const;
};

// Throws Refusal if the lengths do not fit together, or are extended.
Command parse_command(const Bytes& bytes);

Bytes to_bytes(const Answer& answer);

// The number of bytes that are read where `most` are there. Throws Refusal.
int count_to_read(int expected, int most);

}  // namespace quorra::pcsc
