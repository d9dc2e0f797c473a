// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Finding out which kind of memory card is in the reader by reading alone. Nothing is written and
// no code is presented, whatever the card is, so it stays as it was to the last bit.
#pragma once

#include <string>
#include <vector>

#include "toolkit/kinds/card.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

struct Recognition {
  // A null pointer if no kind can be told: the slot is empty, a processor card is in it, or the
  // card shows nothing but what an empty line would show.
  const Card* card = nullptr;
  // The kinds that would have been read alike. If there are any, `card` is a guess: the smallest of
  // a series, whose reads and writes go to the same cells of a larger one.
  std::vector<const Card*> others = {};

  bool is_certain() const { return card != nullptr && others.empty(); }
};

// The card's power is off afterwards; a code that was presented before counts no more. Throws
// Failure if an exchange with the reader fails.
Recognition recognise(const Session& session);

// "24c01a, 24c02 or 24c04": the card and the others
std::string names_of(const Recognition& found);

}  // namespace quorra::toolkit
