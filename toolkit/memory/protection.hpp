// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Making bytes of a card read-only for good.
#pragma once

#include "toolkit/bytes.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

// Protects the bytes of this range, which are what the card holds there, and makes sure that they
// are read-only then. The card's bytes can be protected one by one. Throws Failure.
void protect_bytes(const Session& session, const Card& card, Range range, const Bytes& bytes,
                   const Operation& protecting);

}  // namespace quorra::toolkit
