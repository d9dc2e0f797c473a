// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Making bytes of a card read-only for good, and guarding its zones.
#pragma once

#include <string>

#include "toolkit/bytes.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

// Protects the bytes of this range, which are what the card holds there, and makes sure that they
// are read-only then. The card's bytes can be protected one by one. Throws Failure.
void protect_bytes(const Session& session, const Card& card, Range range, const Bytes& bytes,
                   const Operation& protecting);

// A zone that is guarded as a whole, by one of its two flags: once the card is personalised, it is
// not written any more, or read only after its code was presented.
struct ZoneGuard {
  const Memory* zone = nullptr;
  bool against_reading = false;

  bool operator==(const ZoneGuard&) const = default;
};

// "zone 1 of a 102 card is not written any more"
std::string words_for(const Card& card, const ZoneGuard& guard);

// The zone that has flags and holds these bytes of the card; a null pointer if there is none.
const Memory* zone_with_flags(const Card& card, Range range);

// Whether the flag is 0. Throws Failure.
bool is_guarded(const Session& session, const ZoneGuard& guard);

// Clears the flag, which is not 0 yet. A zone without its write flag does not lose the other one
// any more, so that one goes first. Throws Failure.
void guard_zone(const Session& session, const ZoneGuard& guard, const Operation& protecting);

}  // namespace quorra::toolkit
