// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How far a card has become what a row wants, told by what it holds. Bytes are written in the order
// of their addresses, so a card whose writing was broken off has new ones first and old ones behind
// them, with one in between that may be neither.
#pragma once

#include "toolkit/bytes.hpp"

namespace quorra::toolkit {

enum class CardProgress {
  other,      // no state on the way from the one to the other
  untouched,  // what it held before
  begun,      // some bytes that differ are the wanted ones
  complete,   // all bytes are the wanted ones
};

struct HeldProgress {
  CardProgress progress = CardProgress::other;
  int written = 0;  // bytes, from the first one, that are the wanted ones
};

// All have the same size. `unit`: bytes that the card writes at once.
HeldProgress find_progress(const Bytes& before, const Bytes& wanted, const Bytes& held, int unit);

}  // namespace quorra::toolkit
