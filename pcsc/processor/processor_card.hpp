// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A processor card, in the card slot or as a SAM inside the reader.
#pragma once

#include <optional>

#include "pcsc/slots/inserted_card.hpp"
#include "toolkit/processor/block_protocol.hpp"
#include "toolkit/processor/card_line.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::pcsc {

// Whether an APDU has lengths of several bytes.
bool has_extended_length(const Bytes& command);

class ProcessorCard final : public InsertedCard {
 public:
  // A card that was just reset. Throws toolkit::Failure.
  ProcessorCard(const toolkit::Session& session, toolkit::SamNumber sam, Bytes answer_to_reset);

  const Bytes& answer_to_reset() const override { return answer_to_reset_; }

  bool speaks(int protocol) const override { return protocol == protocol_; }

  // Every command is sent once, in the protocol that the answer to reset names first. What is too
  // long for it, or has lengths of several bytes, gets the answer 6700.
  Bytes transmit(const Bytes& command) override;

 private:
  Bytes transmit_in_blocks(const Bytes& command);

  Bytes answer_to_reset_;
  int protocol_ = 0;  // as the answer to reset names it first
  toolkit::CardLine line_;
  std::optional<toolkit::BlockProtocol> blocks_;
  // The numbers of the blocks are not known on both sides.
  bool out_of_step_ = false;
};

}  // namespace quorra::pcsc
