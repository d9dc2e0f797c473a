// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/kinds/probing.hpp"

#include <fmt/core.h>
#include <quorra.h>

namespace quorra::toolkit {
namespace {

constexpr Operation probing{"looking for a card", OperationKind::probing};
constexpr Operation switching_off{"switching the card's power off"};

// A reader may refuse that when there is no card.
void switch_off(const Session& session) {
  const int result = session.attempt(switching_off, turn_off);
  if (result < 0 && !is_status(result, switching_off.kind)) {
    throw Failure(session.describe(switching_off, result));
  }
}

}  // namespace

Probed probe_for(const Session& session, std::span<const std::string_view> kinds) {
  Probed probed;
  for (const std::string_view kind : kinds) {
    if (kind != kinds.front()) switch_off(session);
    const Card* card = find_card(kind);
    const int result = session.attempt(probing, card->probe);
    if (result >= 0) return {.card = card, .explanation = {}};
    if (is_status(result, probing.kind)) {
      if (probed.explanation.empty()) {
        probed.explanation = ": " + session.explain(probing.kind, result);
      }
    } else if (result != not_this_card) {
      throw Failure(session.describe(probing, result));
    }
  }
  return probed;
}

std::string names_of(const Card& card) {
  if (card.twin.empty()) return std::string(card.name);
  return fmt::format("{} or {}", card.name, card.twin);
}

}  // namespace quorra::toolkit
