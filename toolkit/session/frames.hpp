// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Commands of the reader for which the library has no function, or only one that repeats them or
// drops their answer.
#pragma once

#include "toolkit/bytes.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

struct CardState {
  bool is_present;
  bool has_power;
};

// What the reader says of the card slot: 0, or the library's code, or the negated STATUS. Throws
// what a call in this session throws, as all of these.
int read_card_state(const Session& session, CardState& state);

// Resets the processor card in the slot: 0 and its answer to reset, or as above.
int reset_processor_card(const Session& session, Bytes& answer_to_reset);

}  // namespace quorra::toolkit
