// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The codes of a card, and which of them were presented.
#pragma once

#include <set>

#include "pcsc/memory/apdu.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::pcsc {

// The number of the erase code of zone n is this, and n.
inline constexpr int erase_code_bit = 0x80;

// Whether the reader did what it was told. Throws toolkit::Failure unless it said so itself.
bool is_accepted(const toolkit::Session& session, const toolkit::Operation& operation, int result);

// Whether a bit that is held as 0 would have to become 1. Both have the same size.
bool needs_bits_set(const Bytes& wanted, const Bytes& held);

// Throws Refusal, or toolkit::Failure if an exchange fails; what was sent then is not sent again.
class Codes {
 public:
  Codes(const toolkit::Session& session, const toolkit::Card& card)
      : session_(session),
        card_(card) {}

  // Asks for the attempts that are left.
  int attempts_left(int number) const;

  void present(int number, const Bytes& key);
  // The code of that number must have been presented.
  void change(int number, const Bytes& key);

  bool is_presented(int number) const { return presented_.contains(number); }
  bool none_is_presented() const { return presented_.empty(); }
  // The card has lost its power.
  void forget() { presented_.clear(); }

  // The number of bytes of a code.
  int size(int number) const { return code(number).size; }

 private:
  const toolkit::Code& code(int number) const;
  int count_attempts(const toolkit::Code& counted) const;
  void expect_codes_in_use() const;

  const toolkit::Session& session_;
  const toolkit::Card& card_;
  std::set<int> presented_;
};

}  // namespace quorra::pcsc
