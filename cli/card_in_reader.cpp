// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/card_in_reader.hpp"

#include <fmt/core.h>

#include <algorithm>

#include "cli/report.hpp"
#include "toolkit/kinds/known_kind.hpp"
#include "toolkit/kinds/recognition.hpp"
#include "toolkit/processor/conversation.hpp"
#include "toolkit/session/frames.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation recognising{"recognising the card"};
constexpr Operation looking{"looking for a card"};

constexpr std::string_view force_words = "--force goes on all the same";

bool is_processor_card(const Connection& connection) {
  return !if_possible([&] {
            static_cast<void>(reset(connection, {}));
            return std::string("it answers");
          }).empty();
}

[[noreturn]] void refuse(const std::string& what, const Card& wanted) {
  throw Failure(fmt::format("{}: this is {}, not a {}; {}", recognising.doing, what, wanted.name,
                            force_words),
                {.word = "wrong_card"});
}

[[noreturn]] void refuse_processor_card() {
  throw Failure(
      fmt::format("{}: this is a processor card: quorra apdu sends it commands", recognising.doing),
      {.word = "wrong_card"});
}

[[noreturn]] void refuse_empty_slot(const Operation& operation) {
  throw NoCard(fmt::format("{}: no card is in the reader", operation.doing), {.word = "no_card"});
}

bool may_be(const Recognition& found, const Card& card) {
  return found.card == &card || std::ranges::find(found.others, &card) != found.others.end();
}

CardState state_of_card(const Connection& connection) {
  CardState state{};
  const int result = read_card_state(connection, state);
  if (result < 0 && !is_status(result, recognising.kind)) connection.fail(recognising, result);
  if (result == 0 && !state.is_present) refuse_empty_slot(recognising);
  return state;
}

std::string doubt_about(const Recognition& found) {
  if (found.is_certain()) return {};
  return found.card == nullptr ? "reading does not tell which kind it is"
                               : fmt::format("a {} would be read alike", names_of(found));
}

// Each command tells it, also one that goes by what an earlier one has found.
void tell_doubt(const Settings& settings, const Card& card, const std::string& doubt) {
  if (doubt.empty()) return;
  note(settings, fmt::format("that this is a {} could not be checked: {}", card.name, doubt));
}

// The kind of a card that nobody has named.
const Card& find_kind(const Settings& settings, const Connection& connection) {
  const bool has_power = state_of_card(connection).has_power;
  const KnownKind known(connection);
  if (const Card* card = has_power ? known.get() : nullptr) {
    tell_doubt(settings, *card, known.doubt());
    return *card;
  }
  known.forget();
  const Recognition found = recognise(connection);
  if (found.card == nullptr) {
    if (is_processor_card(connection)) refuse_processor_card();
    throw Failure(fmt::format("{}: reading does not tell which kind it is; name it with --card",
                              recognising.doing),
                  {.word = "unknown_card"});
  }
  known.set(*found.card, "", doubt_about(found));
  if (!found.is_certain()) {
    note(settings, fmt::format("reading does not tell whether this is a {}; it is taken for a {}, "
                               "unless --card names another one",
                               names_of(found), found.card->name));
  }
  return *found.card;
}

const Card& kind_for(const Settings& settings) {
  if (settings.card != nullptr) return *settings.card;
  expect_one_reader(settings);
  if (settings.image) return card_of_image(*settings.image);
  return find_kind(settings, Connection(settings));
}

void expect_kind(const Settings& settings, const Connection& connection, const Card& card) {
  const bool has_power = state_of_card(connection).has_power;
  const KnownKind known(connection);
  if (has_power && known.get() == &card) return tell_doubt(settings, card, known.doubt());
  known.forget();
  const Recognition found = recognise(connection);
  if (found.card == nullptr && is_processor_card(connection)) refuse_processor_card();
  if (found.card != nullptr && !may_be(found, card)) refuse("a " + names_of(found), card);
  known.set(card, "", doubt_about(found));
  tell_doubt(settings, card, doubt_about(found));
}

void expect_kind_of_image(const Settings& settings, const Card& card) {
  const Card& held = card_of_image(*settings.image);
  if (&held != &card) refuse(fmt::format("a {}", held.name), card);
}

}  // namespace

void expect_card(const Connection& connection) { static_cast<void>(state_of_card(connection)); }

void expect_card_behind(const Failure& failure, const Connection& connection, SamNumber sam) {
  constexpr int empty_slot = -0x21;
  const std::optional<int>& code = failure.particulars().code;
  if (!code || !is_status(*code, looking.kind)) return;
  if (sam) {
    if (*code != empty_slot) return;
    throw NoCard(fmt::format("looking for a SAM: none is in slot {}", *sam), {.word = "no_card"});
  }
  CardState state{};
  if (read_card_state(connection, state) == 0 && !state.is_present) refuse_empty_slot(looking);
}

CardInReader::CardInReader(const Settings& settings, const std::optional<std::string>& yes)
    : settings_(settings),
      kind_(&kind_for(settings)) {
  if (!yes || lower_case(*yes) == kind_->name) return;
  throw UsageError(fmt::format("--yes: the card is a {}, not a {}", kind_->name, *yes));
}

Connection CardInReader::connect() {
  const std::shared_ptr<OpenReader> reader = Connection(settings_).reader();
  const Connection connection(settings_, reader);
  // The card of the image may have been ejected by a command before this one.
  if (settings_.image && settings_.shared != nullptr) expect_card(connection);
  if (settings_.card != nullptr) {
    if (settings_.image) {
      if (!settings_.force) expect_kind_of_image(settings_, *kind_);
    } else if (settings_.force) {
      KnownKind(connection).forget();
    } else {
      expect_kind(settings_, connection, *kind_);
    }
  }
  return {settings_, reader};
}

}  // namespace quorra::cli
