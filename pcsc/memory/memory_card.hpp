// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A memory card that answers commands as PC/SC describes them for storage cards.
#pragma once

#include "pcsc/memory/cells.hpp"
#include "pcsc/slots/inserted_card.hpp"

namespace quorra::pcsc {

class MemoryCard final : public InsertedCard {
 public:
  // Gives the card its power. Both arguments outlive this. Throws toolkit::Failure.
  MemoryCard(toolkit::Session& session, const toolkit::Card& kind);

  const Bytes& answer_to_reset() const override { return answer_to_reset_; }

  // It has no protocol of its own.
  bool speaks(int /*protocol*/) const override { return true; }

  // Throws toolkit::Failure if an exchange fails: nobody knows then what became of the command, and
  // it is not repeated.
  Bytes transmit(const Bytes& command) override;

 private:
  struct Row;
  static const Row rows[];

  Answer carry_out(const Bytes& bytes);

  Answer read(const Command& command);
  Answer read_at_offset(const Command& command);
  Answer write(const Command& command);
  Answer write_at_offset(const Command& command);
  Answer erase(const Command& command);
  Answer erase_at_offset(const Command& command);
  Answer present_code(const Command& command);
  Answer change_code(const Command& command);
  Answer get_data(const Command& command);
  Answer select_type(const Command& command);

  // How many bytes there are from the address on. Throws Refusal if it is beyond the end.
  int left_from(int address) const;
  Bytes identification() const;

  toolkit::Session& session_;
  const toolkit::Card& kind_;
  Codes codes_;
  Cells cells_;
  unsigned char dialect_ = 0;  // the type that FF A4 selected; 0: none
  Bytes answer_to_reset_;
};

}  // namespace quorra::pcsc
