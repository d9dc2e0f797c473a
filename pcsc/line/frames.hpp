// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Commands of the reader for which the library has no function, or only one that repeats them or
// drops their answer.
#pragma once

#include "toolkit/bytes.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::pcsc {

using toolkit::Bytes;

struct CardState {
  bool is_present;
  bool has_power;
};

// What the reader says of the card slot: 0, or the library's code, or the negated STATUS. Throws
// ReaderGone, as all of these.
int read_card_state(const toolkit::Session& session, CardState& state);

// Resets the processor card in the slot: 0 and its answer to reset, or as above.
int reset_processor_card(const toolkit::Session& session, Bytes& answer_to_reset);

}  // namespace quorra::pcsc
