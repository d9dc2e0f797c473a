// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// All bytes of a card under one address: those of its zones follow each other.
#pragma once

#include "pcsc/memory/codes.hpp"
#include "toolkit/memory/layout.hpp"

namespace quorra::pcsc {

// Throws Refusal, or toolkit::Failure if an exchange fails; what was sent then is not sent again.
class Cells {
 public:
  Cells(const toolkit::Session& session, const toolkit::Card& card, const Codes& codes)
      : session_(session),
        card_(card),
        codes_(codes) {}

  int size() const { return toolkit::size_of(card_); }

  Bytes read(toolkit::Range range) const;
  // What is written is read back. Where a bit would have to become 1 that cannot, nothing is
  // written. Codes, counters, and what ends the issuer's time, are out of reach.
  void write(int address, const Bytes& bytes) const;
  // Leaves FF, as far as the card erases byte by byte.
  void erase(toolkit::Range range) const;
  // Protects bytes for good; the card holds them already.
  void protect(int address, const Bytes& bytes) const;

  // Whether the bytes of the range are protected, by a flag each. Throws Refusal if they have no
  // protection.
  Bytes protection(toolkit::Range range) const;

 private:
  void expect_within(toolkit::Range range) const;
  void expect_no_codes(toolkit::Range range) const;
  void expect_code_presented() const;
  Bytes read_zone(const toolkit::Memory& zone, toolkit::Range range) const;
  void write_piece(const toolkit::Piece& piece, const Bytes& bytes) const;
  void erase_piece(const toolkit::Piece& piece) const;
  bool is_open(const toolkit::Memory& zone) const;
  // Throws the Refusal of a zone that does not take what is to be written.
  [[noreturn]] void refuse(const toolkit::Memory& zone) const;

  const toolkit::Session& session_;
  const toolkit::Card& card_;
  const Codes& codes_;
};

}  // namespace quorra::pcsc
