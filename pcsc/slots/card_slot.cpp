// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/slots/card_slot.hpp"

#include <quorra.h>

#include <string>
#include <utility>

#include "pcsc/log.hpp"
#include "pcsc/memory/memory_card.hpp"
#include "pcsc/processor/processor_card.hpp"
#include "toolkit/kinds/recognition.hpp"
#include "toolkit/session/frames.hpp"

namespace quorra::pcsc {
namespace {

constexpr toolkit::Operation looking{"asking the reader whether there is a card"};
constexpr toolkit::Operation resetting{"resetting the card"};
constexpr toolkit::Operation switching_off{"switching the card's power off"};

toolkit::CardState card_state(const Link& link) {
  toolkit::CardState state{};
  const int result = toolkit::read_card_state(link, state);
  if (result < 0) link.fail(looking, result);
  return state;
}

// "the card is a 24c02, or a 24c04, or a 24c08"
std::string describe(const toolkit::Recognition& found) {
  if (found.card == nullptr) return "the card is none that is known";
  std::string words = "the card is a " + std::string(found.card->name);
  for (const toolkit::Card* other : found.others) {
    words.append(", or a ").append(other->name);
  }
  return words;
}

}  // namespace

bool CardSlot::look() {
  const toolkit::CardState state = card_state(link());
  if (name_.always_present) return true;
  // A card that lost its power is another one.
  const bool was_swapped = card() != nullptr && had_power_ && !state.has_power;
  return state.is_present && !was_swapped;
}

std::unique_ptr<InsertedCard> CardSlot::activate() {
  std::unique_ptr<InsertedCard> card;
  if (name_.card != CardChoice::memory) card = find_processor_card();
  if (card == nullptr && name_.card != CardChoice::processor) card = find_memory_card();
  if (card == nullptr)
    throw MuteCard("the card sends no answer to reset, and none is known for it");
  had_power_ = card_state(link()).has_power;
  return card;
}

std::unique_ptr<InsertedCard> CardSlot::find_processor_card() {
  Bytes answer;
  const int result = toolkit::reset_processor_card(link(), answer);
  const bool may_be_another =
      name_.card == CardChoice::automatic && is_status(result, resetting.kind);
  if (result < 0 && !may_be_another) link().fail(resetting, result);
  if (answer.empty()) return nullptr;
  return std::make_unique<ProcessorCard>(link(), std::nullopt, std::move(answer));
}

std::unique_ptr<InsertedCard> CardSlot::find_memory_card() {
  toolkit::Recognition found{.card = name_.kind};
  if (name_.card == CardChoice::automatic) {
    found = recognise(link());
    log(Severity::information, describe(found));
  }
  if (found.card == nullptr) return nullptr;
  return std::make_unique<MemoryCard>(link(), *found.card);
}

void CardSlot::deactivate() { link().run(switching_off, turn_off); }

}  // namespace quorra::pcsc
