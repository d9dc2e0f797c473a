// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The protocol T=1 of ISO/IEC 7816-3, as the host speaks it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "toolkit/bytes.hpp"
#include "toolkit/processor/card_line.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {

// The information that a block holds before sizes are settled.
inline constexpr std::size_t usual_block_size = 32;

// Commands and answers in blocks with an LRC, which are numbered 0 and 1 in turn, in chains where
// they are longer than a block. A block that is lost or spoilt on either way is asked for again; no
// command reaches the card twice.
class BlockProtocol {
 public:
  // For a card that was just reset and takes so many bytes of information in a block.
  explicit BlockProtocol(const CardLine& line, std::size_t card_size = usual_block_size);

  // Makes a card that was not reset begin its numbers anew. False if it answers something that is
  // no block. Throws Failure.
  bool resynchronise();

  // Tells the card that it may send as much in a block as a reply of the reader carries. Nothing
  // changes if it does not agree. Throws Failure.
  void announce_size() const;

  // Brings a command and returns the answer. Throws Failure.
  Bytes transmit(const Bytes& command);

 private:
  // What is good of what came from the card.
  struct Block {
    unsigned char control = 0;
    Bytes information;

    bool is_information() const;
    bool is_receipt() const;
    bool is_request() const;
    // Of an information block, its own; of a receipt, that of the block which the card expects.
    bool number() const;
    bool is_followed() const;
  };

  // Why nothing good came: the library's code, or words.
  struct Trouble {
    int code = 0;
    std::string words;
  };

  std::optional<Block> carry(const Bytes& block, Wait wait, Trouble& trouble) const;
  Block converse(const Bytes& block);
  Bytes respond(const Block& request);
  [[noreturn]] void fail(const Trouble& trouble) const;

  const CardLine& line_;
  std::size_t card_size_;
  // The numbers of the next information blocks: of ours, and of the card's.
  bool next_ = false;
  bool expected_ = false;
};

}  // namespace quorra::toolkit
