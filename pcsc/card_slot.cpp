// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/card_slot.hpp"

#include <quorra.h>

#include <utility>

#include "pcsc/frames.hpp"
#include "pcsc/processor/processor_card.hpp"

namespace quorra::pcsc {
namespace {

constexpr toolkit::Operation looking{"asking the reader whether there is a card"};
constexpr toolkit::Operation resetting{"resetting the card"};
constexpr toolkit::Operation switching_off{"switching the card's power off"};

CardState card_state(const Link& link) {
  CardState state{};
  const int result = read_card_state(link, state);
  if (result < 0) link.fail(looking, result);
  return state;
}

}  // namespace

bool CardSlot::look() {
  const CardState state = card_state(link());
  if (name_.always_present) return true;
  // A card that lost its power is another one.
  const bool was_swapped = card() != nullptr && had_power_ && !state.has_power;
  return state.is_present && !was_swapped;
}

std::unique_ptr<InsertedCard> CardSlot::activate() {
  std::unique_ptr<InsertedCard> card;
  Bytes answer;
  const int result = reset_processor_card(link(), answer);
  if (result < 0) link().fail(resetting, result);
  if (answer.empty()) throw MuteCard("the card sends no answer to reset");
  card = std::make_unique<ProcessorCard>(link(), std::nullopt, std::move(answer));
  had_power_ = card_state(link()).has_power;
  return card;
}

void CardSlot::deactivate() { link().run(switching_off, turn_off); }

}  // namespace quorra::pcsc
