// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Speaking with a processor card, in the card slot or as a SAM inside the reader.
#pragma once

#include <cstddef>
#include <optional>

#include "toolkit/bytes.hpp"
#include "toolkit/processor/block_protocol.hpp"
#include "toolkit/processor/card_line.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

// Makes the SAM the one that is spoken with: switches the SAMs' power on and selects it. Nothing is
// to be done for the card slot. Throws Failure.
void select(const Session& session, SamNumber sam);

// Resets the card and returns its answer to reset, as long as the reader says it is. Throws
// Failure.
Bytes reset(const Session& session, SamNumber sam);

// What a card says to a command.
struct CardAnswer {
  Bytes data;
  unsigned status_words = 0;  // SW1 and SW2
};

// The longest APDU there is: a header of 4 bytes, 3 bytes for the length of 65535 bytes of data,
// and 2 for the expected length.
inline constexpr std::size_t longest_apdu = 4 + 3 + 65535 + 2;

// APDUs and their answers, in the card's protocol: in blocks of T=1 or, for any other, as they are.
class Conversation {
 public:
  // `answer_to_reset`: that of a card that was just reset; none if it was not. Throws Failure.
  Conversation(const Session& session, SamNumber sam, const std::optional<Bytes>& answer_to_reset);
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  // How long an APDU can be in this protocol.
  std::size_t longest_apdu() const { return blocks_ ? toolkit::longest_apdu : most_bytes_to_card; }

  // Sends an APDU of up to `longest_apdu()` bytes. What the card announces with 61xx is fetched
  // with GET RESPONSE, and a command to which it answers 6Cxx is repeated with the length xx.
  // Throws Failure, also when nothing good comes, or an answer that does not end after 65536 bytes.
  CardAnswer send(const Bytes& apdu);

 private:
  CardAnswer exchange(const Bytes& apdu);
  CardAnswer exchange_with_right_length(const Bytes& apdu);

  CardLine line_;
  std::optional<BlockProtocol> blocks_;
};

}  // namespace quorra::toolkit
