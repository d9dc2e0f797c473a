#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "simulator/cards/cpu/processor_card.hpp"

namespace quorra::simulator {

// The block protocol T=1 over a card that takes whole commands. A block is NAD, PCB, LEN, LEN bytes
// of information and the XOR of them all.
//
// Sequence numbers are not checked: an answer has that of the block it answers. Commands in several
// blocks are refused, and answers always are one block.
class BlockLink {
 public:
  using Bytes = ProcessorCard::Bytes;

  // Learns from the answer to reset whether the card itself speaks T=1.
  void reset(std::span<const std::uint8_t> answer_to_reset);

  // Whether bytes from the host are a block. What is as long as a block and has the right check
  // byte always is one. On a card that speaks T=1 a wrong check byte does not matter, as long as
  // the PCB is one.
  bool takes(std::span<const std::uint8_t> bytes) const;

  // The block that answers a block; absent if the card is silent, or says more than 254 bytes.
  std::optional<Bytes> exchange(ProcessorCard& card, std::span<const std::uint8_t> block);

 private:
  bool card_speaks_blocks_ = false;
  Bytes last_answer_;
};

}  // namespace quorra::simulator
