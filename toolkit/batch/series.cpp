// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/batch/series.hpp"

#include <fmt/core.h>
#include <quorra.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "toolkit/batch/progress.hpp"
#include "toolkit/kinds/recognition.hpp"
#include "toolkit/memory/codes.hpp"
#include "toolkit/memory/protection.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/memory/writing.hpp"
#include "toolkit/processor/conversation.hpp"
#include "toolkit/session/frames.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

constexpr Operation waiting{"waiting for a card"};
constexpr Operation looking{.doing = "reading what the card holds", .done = "read"};
constexpr Operation erasing{"erasing the card"};
constexpr Operation writing{.doing = "writing the card", .done = "written"};
constexpr Operation protecting{.doing = "protecting", .done = "protected"};
constexpr Operation ejecting{"ejecting the card"};

int pause(int /*handle*/, int microseconds) { return ic_delay(microseconds); }

// Of what was read, the bytes where the row goes.
Bytes bytes_under(const Segments& held, const Segments& row) {
  Bytes bytes;
  for (const Segment& segment : row) {
    const Bytes part = joined(held.within(segment.range()));
    bytes.insert(bytes.end(), part.begin(), part.end());
  }
  return bytes;
}

bool is_processor_card(const Session& session) {
  return !if_possible([&] {
            static_cast<void>(reset(session, {}));
            return std::string("it answers");
          }).empty();
}

std::string name_of(const SeriesRow& row) {
  return row.label.empty() ? fmt::format("row {}", row.number)
                           : fmt::format("row {} ({})", row.number, row.label);
}

}  // namespace

Series::Series(const Session& session, const SeriesPlan& plan, const SeriesRows& rows,
               Journal& journal, Operator& person, SeriesOptions options)
    : session_(session),
      plan_(plan),
      rows_(rows),
      journal_(journal),
      person_(person),
      options_(std::move(options)),
      known_(session) {
  for (const SeriesRow& row : rows.rows) {
    rows_by_digits_[plain_hex(joined(row.bytes))].push_back(row.number);
  }
}

void Series::run() {
  was_there_ = has_card();
  while (const auto number = journal_.next()) {
    if (options_.limit && done_ >= *options_.limit) return;
    const SeriesRow& row = rows_.row(*number);
    if (!has_card()) {
      if (options_.has_one_card) {
        throw NoCard(fmt::format("{}: no card is in the reader", waiting.doing),
                     {.word = "no_card"});
      }
      person_.want_card(row, journal_.pending().has_value());
      wait_for_card();
      was_there_ = false;
    }
    const Outcome outcome = treat(row);
    if (outcome == Outcome::skipped) continue;
    was_there_ = false;
    if (options_.has_one_card || has_to_stop_) return;
    // The next card may take what this one has refused.
    if (RefusedCodes* refused = session_.refused_codes()) refused->clear();
    if (outcome == Outcome::failed && options_.stops_on_failure) return;
    leave();
  }
}

// A reader that has lost a byte answers the next time.
bool Series::has_card() {
  constexpr int attempts = 2;
  CardState state{};
  int result = 0;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    result = read_card_state(session_, state);
    if (result == 0) {
      has_power_ = state.has_power;
      return state.is_present;
    }
    if (is_status(result, waiting.kind)) session_.fail(waiting, result);
    session_.drain(waiting);
  }
  throw NoReader(session_.describe(waiting, result), particulars_of(result, waiting.kind));
}

void Series::wait_for_card() {
  while (!has_card()) {
    session_.attempt(waiting, pause, options_.poll_microseconds);
  }
  // Contacts bounce while a card is moved.
  session_.attempt(waiting, pause, options_.poll_microseconds);
}

// A card that was exchanged for another one between two looks has no power.
bool Series::is_still_there() { return has_card() && (has_power_ || !had_power_); }

// Gives the card power, so that it can be told from the next one.
void Series::mark_card() {
  if (has_card() && !has_power_) {
    known_.forget();
    session_.attempt(waiting, turn_on);
    static_cast<void>(has_card());
  }
  had_power_ = has_power_;
}

void Series::leave() {
  const bool is_over = !journal_.next() || (options_.limit && done_ >= *options_.limit);
  // A reader that ejects nothing has the last card still in it.
  if (plan_.ejects && !is_last_card_) {
    const int result = session_.attempt(ejecting, auto_pull);
    if (result >= 0) return;
    person_.tell(session_.describe(ejecting, result));
  }
  if (is_over || !is_still_there()) return;
  person_.want_removal();
  while (is_still_there()) {
    session_.attempt(waiting, pause, options_.poll_microseconds);
  }
}

// The card that was begun has kept its power ever since, and nobody has given power to another one.
bool Series::is_kept_card(const SeriesRow& row) const {
  return journal_.pending() && has_power_ && known_.tag() == tag_of(row);
}

std::string Series::tag_of(const SeriesRow& row) const {
  return fmt::format("{}-{}", journal_.id(), row.number);
}

// Why the card cannot be of the plan's kind.
std::optional<std::string> Series::other_kind() {
  const Card& wanted = *plan_.card;
  if (options_.force) return std::nullopt;
  if (options_.known_kind != nullptr) {
    if (options_.known_kind == &wanted) return std::nullopt;
    return fmt::format("this is a {}, not a {}", options_.known_kind->name, wanted.name);
  }
  known_.forget();
  const Recognition found = recognise(session_);
  if (found.card == nullptr && is_processor_card(session_)) {
    return fmt::format("this is a processor card, not a {}", wanted.name);
  }
  const bool may_be = found.card == nullptr || found.card == &wanted ||
                      std::ranges::find(found.others, &wanted) != found.others.end();
  if (!may_be) return fmt::format("this is a {}, not a {}", names_of(found), wanted.name);
  if (!found.is_certain() && !std::exchange(is_kind_noted_, true)) {
    person_.tell(fmt::format("that this is a {} could not be checked: {}", wanted.name,
                             found.card == nullptr
                                 ? "reading does not tell which kind it is"
                                 : "a " + names_of(found) + " would be read alike"));
  }
  return std::nullopt;
}

// A zone that the plan guards against reading, and that is so already.
const Memory* Series::hidden_zone() const {
  for (const ZoneGuard& guard : plan_.guards) {
    if (guard.against_reading && is_guarded(session_, guard)) return guard.zone;
  }
  return nullptr;
}

// What the card holds fits the row that was begun, and no other one that has been.
bool Series::is_begun_card(const SeriesRow& row, const Bytes& bytes) const {
  const Bytes& before = journal_.pending()->before;
  const Bytes wanted = joined(row.bytes);
  if (before.size() != wanted.size()) return false;
  const HeldProgress found = find_progress(before, wanted, bytes, plan_.card->memory.unit);
  if (found.progress != CardProgress::begun && found.progress != CardProgress::complete)
    return false;
  return std::ranges::none_of(rows_.rows, [&](const SeriesRow& other) {
    if (other.number == row.number || !journal_.was_begun(other.number)) return false;
    const Bytes others = joined(other.bytes);
    return std::equal(wanted.begin(), wanted.begin() + found.written, others.begin());
  });
}

// The finished row that the card carries.
std::optional<int> Series::carried_row(const Bytes& bytes) const {
  const auto found = rows_by_digits_.find(plain_hex(bytes));
  if (found == rows_by_digits_.end()) return std::nullopt;
  for (const int row : found->second) {
    if (journal_.state(row) != RowState::open) return row;
  }
  return std::nullopt;
}

Series::Outcome Series::refuse(const std::string& word, const std::string& reason,
                               const Particulars& particulars) {
  JournalRecord record{.event = SeriesEvent::refused};
  record.code = particulars.code;
  record.word = word;
  record.message = reason;
  mark_card();
  journal_.append(record);
  person_.tell_refused(reason);
  return Outcome::refused;
}

Series::Outcome Series::treat(const SeriesRow& row) {
  is_last_card_ = false;
  try {
    // Its kind is known, and finding it out anew would take its power: a break right then would
    // leave nothing to know it by.
    const bool is_kept = is_kept_card(row);
    const auto reason = is_kept ? std::nullopt : other_kind();
    if (reason) return refuse("wrong_card", *reason);
    if (const auto* zone = is_kept ? nullptr : hidden_zone()) {
      return refuse("guarded", fmt::format("{} is guarded against reading already, so what it "
                                           "carries is not known",
                                           name_of(*plan_.card, *zone)));
    }
    const Held held =
        read_held(session_, *plan_.card, ranges_to_read(*plan_.card, row.bytes), looking);
    const Bytes bytes = bytes_under(held.bytes, row.bytes);
    const bool resumes = journal_.pending() && (is_kept || is_begun_card(row, bytes));
    if (resumes) return write_row(row, true, held, bytes);
    if (const auto carried = carried_row(bytes); carried && (!plan_.rewrites || was_there_)) {
      is_last_card_ = *carried == last_row_;
      return refuse("done_before", fmt::format("the card carries the data of {} already",
                                               name_of(rows_.row(*carried))));
    }
    if (journal_.pending()) {
      const bool is_untouched = journal_.pending()->before == bytes;
      const Resume resume = person_.decide(
          row, fmt::format("{} was begun on a card when the last run broke off. This card {}",
                           name_of(row),
                           is_untouched ? "holds nothing of it; it may be that card, or another one"
                                        : "does not look like that one"));
      if (resume == Resume::other_card) {
        return refuse("other_card",
                      fmt::format("it is not the card that {} was begun on", name_of(row)));
      }
      if (resume == Resume::skip) {
        JournalRecord record{.event = SeriesEvent::skipped, .row = row.number, .line = row.line};
        record.label = row.label;
        journal_.append(record);
        return Outcome::skipped;
      }
    }
    return write_row(row, false, held, bytes);
  } catch (const NoReader&) {
    throw;
  } catch (const Interrupted&) {
    throw;
  } catch (const Failure& failure) {  // before the row was the card's
    expect_reader(failure);
    return refuse(std::string(failure.particulars().word), failure.what(), failure.particulars());
  }
}

Series::Outcome Series::write_row(const SeriesRow& row, bool resumes, const Held& held,
                                  const Bytes& bytes) {
  const auto start = std::chrono::steady_clock::now();
  const auto seconds = [start] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  const Plan plan = make_plan(*plan_.card, held, row.bytes);
  if (!plan.obstacles.empty()) {
    const ObstacleAt& first = plan.obstacles.front();
    const Failure failure(fmt::format("{}: at 0x{:04X}, {}", writing.doing, first.range.address,
                                      words_for(first.obstacle)),
                          {.word = "unwritable", .address = first.range.address});
    if (resumes) return fail(row, failure, seconds());
    return refuse("unwritable", failure.what());
  }
  JournalRecord record{.event = resumes ? SeriesEvent::resumed : SeriesEvent::begun,
                       .row = row.number,
                       .line = row.line};
  record.label = row.label;
  if (!resumes) record.before = bytes;
  known_.set(*plan_.card, tag_of(row));
  journal_.append(record);
  try {
    personalise(row, plan);
  } catch (const NoReader&) {
    throw;
  } catch (const Interrupted&) {
    throw;
  } catch (const Failure& failure) {
    expect_reader(failure);
    return fail(row, failure, seconds());
  }
  record.event = SeriesEvent::done;
  record.before.clear();
  record.seconds = seconds();
  mark_card();
  journal_.append(record);
  last_row_ = row.number;
  ++done_;
  person_.tell_done(row, *record.seconds);
  return Outcome::done;
}

// If the reader answers no more, nobody knows what the card has become: the row stays begun.
void Series::expect_reader(const Failure& failure) {
  if (is_unanswered(failure.particulars().code.value_or(0))) session_.drain(waiting);
  static_cast<void>(has_card());
}

Series::Outcome Series::fail(const SeriesRow& row, const Failure& failure, double seconds) {
  const Particulars& particulars = failure.particulars();
  JournalRecord record{.event = SeriesEvent::failed, .row = row.number, .line = row.line};
  record.label = row.label;
  record.seconds = seconds;
  record.code = particulars.code;
  record.word = particulars.word;
  record.message = failure.what();
  mark_card();
  journal_.append(record);
  person_.tell_failed(row, failure);
  // Each further card with the wrong code would lose an attempt, too.
  if (particulars.word == "wrong_code" && !std::exchange(code_counts_, false)) {
    has_to_stop_ = true;
    person_.tell(
        "the code is presented to no further card: it was wrong, and right on none before");
  }
  return Outcome::failed;
}

void Series::personalise(const SeriesRow& row, const Plan& plan) {
  if (plan_.code) {
    const Key key{plan_.code->code, row.code.empty() ? options_.code : row.code};
    const Confirm refuse_last = [](const Operation& operation, const std::string& warning) {
      throw Failure(
          fmt::format("{}: {} In a series the last attempt is not used.", operation.doing, warning),
          {.word = "last_attempt", .attempts_left = 1});
    };
    present_code(session_, *plan_.card, key, refuse_last);
    code_counts_ = true;
  }
  carry_out(session_, plan, {.erasing = erasing, .writing = writing, .verify = plan_.verifies});
  protect();
}

void Series::protect() const {
  const Card& card = *plan_.card;
  for (const Range& range : plan_.protection) {
    const std::vector<bool> is_protected = read_protection(session_, card, range);
    if (std::ranges::find(is_protected, false) == is_protected.end()) continue;
    protect_bytes(session_, card, range, read_memory(session_, card.memory, range, looking),
                  protecting);
  }
  for (const ZoneGuard& guard : plan_.guards) {
    if (!is_guarded(session_, guard)) guard_zone(session_, guard, protecting);
  }
}

}  // namespace quorra::toolkit
