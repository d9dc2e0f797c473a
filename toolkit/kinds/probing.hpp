// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Finding out which card is in the reader.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "toolkit/kinds/card.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

// The first card whose probe finds it, or why there is none.
struct Probed {
  const Card* card = nullptr;
  std::string explanation;  // of a reader that refused to look, after a colon; may be empty
};

// Probes for these kinds, one after the other, with the card's power switched off in between.
// Throws Failure.
Probed probe_for(const Session& session, std::span<const std::string_view> kinds);

// "4442 or 4432", for kinds that one probe finds alike.
std::string names_of(const Card& card);

}  // namespace quorra::toolkit
