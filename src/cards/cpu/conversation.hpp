// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Speaking with a processor card, in the card slot or in the slot of a SAM: the frames, the retry
// rule, and the road on which a long answer is fetched piece by piece.
#pragma once

#include "link/exchange.hpp"

namespace quorra {

// What the check byte of a frame covers. A frame begins with nine bytes of our own: header, card
// type, four zeros. What follows them is for the card.
enum class Checked { first_nine, all };

// How the two kinds of slot are spoken to.
struct Slot {
  CardType card = CardType::processor_card;
  int attempts = 1;                  // for a frame, or for a whole conversation
  Checked command = Checked::all;    // by the frame of a plain command
  Checked block = Checked::all;      // by the first frame of a conversation; later ones: first_nine
  bool attempts_start_anew = false;  // with every frame that asks for more of an answer
  bool wrong_length_sends_again = false;  // 6C: the block goes out again, its length put right,
                                          // instead of a request for the answer
};

// Some bytes, sent from where they lie.
struct Piece {
  const unsigned char* bytes = nullptr;
  int count = 0;
};

// What a card is sent. `size` is what the frame announces, also when it is below 0 or too large for
// its LEN byte.
struct Message {
  int size = 0;
  Piece pieces[4];
};

// What a retry rule remembers.
struct Attempts {
  int allowed = 1;
  int failed = 0;
};

// Sends the message and receives the reply until both went well and STATUS is 0, or the attempts
// are used up. Before each reply all of the buffer is zero, but for its first `filled` bytes: those
// are 0xFF. Returns 0, or the link code or negated STATUS of the last failure.
int exchange_message(int handle, Command command, CardType card, const Message& message,
                     Checked checked, int filled, Attempts& attempts, Reply& reply);

// Sends the n bytes of a command and stores the data of the reply. Returns 0, -143 (a pointer that
// is needed is null), a link code or the negated STATUS.
int exchange_command(int handle, const Slot& slot, int n, const unsigned char* command,
                     unsigned char* output);

// Sends a T=1 block of n bytes, fetches what the card announces, and stores all of it as one block.
// Returns as exchange_command.
int exchange_block(int handle, const Slot& slot, int n, const unsigned char* block,
                   unsigned char* output);

}  // namespace quorra
