// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "simulator/cards/cpu/processor_card.hpp"

namespace quorra::simulator {

// The card's side of the block protocol T=1 of ISO/IEC 7816-3, over a card that takes whole
// commands. A block is NAD, PCB, LEN, LEN bytes of information and the XOR of them all.
//
// Both sides number their information blocks 0 and 1 in turn. A command may come in a chain of
// blocks, and an answer goes in one if it is longer than what the host says it can take. A block
// that comes twice is answered twice, and carried out once.
class BlockLink {
 public:
  using Bytes = ProcessorCard::Bytes;

  // Begins anew as after a reset. The answer to reset tells whether the card speaks T=1, and how
  // much information it takes in a block.
  void reset(std::span<const std::uint8_t> answer_to_reset);

  // Whether bytes from the host are a block. To a card that does not speak T=1 none are. To one
  // that does, bytes are a block if they are as long as their LEN says, and have a right check byte
  // or the PCB of a block.
  bool takes(std::span<const std::uint8_t> bytes) const;

  // The block that answers a block; absent if the card is silent. Whoever cannot carry a block of
  // the size that the host has asked for has to refuse it.
  std::optional<Bytes> exchange(ProcessorCard& card, std::span<const std::uint8_t> block);

 private:
  static constexpr std::size_t usual_size = 32;

  void begin_anew();
  std::optional<Bytes> take_information(ProcessorCard& card, std::span<const std::uint8_t> block);
  Bytes take_receipt(std::span<const std::uint8_t> block);
  Bytes take_request(std::span<const std::uint8_t> block);
  Bytes send_next(std::uint8_t address);
  Bytes refuse(std::uint8_t address, unsigned error) const;

  bool card_speaks_blocks_ = false;
  // The most information in a block to the card, and in one from it.
  std::size_t card_size_ = usual_size;
  std::size_t host_size_ = usual_size;
  // The numbers of the next information blocks: of the host's, and of the card's.
  bool expected_ = false;
  bool next_ = false;
  // What has come of a command, and what is left of an answer.
  Bytes command_;
  Bytes unsent_;
  // The last information block that was taken, and the answer to it or the latest part of that.
  Bytes last_block_;
  Bytes last_answer_;
};

}  // namespace quorra::simulator
