// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Many cards, one after the other: each gets a row, and each row gets onto one card.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/batch/journal.hpp"
#include "toolkit/batch/plan.hpp"
#include "toolkit/batch/rows.hpp"
#include "toolkit/kinds/known_kind.hpp"
#include "toolkit/memory/plan.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

// What becomes of a row that was begun on a card that is not in the reader now, as far as can be
// told.
enum class Resume {
  again,       // the card in the reader gets it
  skip,        // no other card gets it
  other_card,  // the card that was begun is looked for
};

// Who stands at the reader.
class Operator {
 public:
  Operator() = default;
  Operator(const Operator&) = delete;
  Operator& operator=(const Operator&) = delete;
  virtual ~Operator() = default;

  // The slot is empty. `was_begun`: on a card, which is wanted back.
  virtual void want_card(const SeriesRow& row, bool was_begun) = 0;
  virtual void want_removal() = 0;
  virtual void tell_done(const SeriesRow& row, double seconds) = 0;
  virtual void tell_failed(const SeriesRow& row, const Failure& failure) = 0;
  virtual void tell_refused(const std::string& reason) = 0;
  virtual void tell(const std::string& note) = 0;
  // May throw.
  virtual Resume decide(const SeriesRow& row, const std::string& situation) = 0;
};

struct SeriesOptions {
  const Card* known_kind = nullptr;  // of the only card, which is not recognised by reading then
  bool force = false;                // whatever kind the card seems to be
  bool has_one_card = false;         // it stays in the slot
  bool stops_on_failure = false;
  std::optional<int> limit = {};    // cards to be done
  Bytes code = {};                  // of all cards
  int poll_microseconds = 100'000;  // between two looks whether there is a card
};

class Series {
 public:
  // All of them outlive it.
  Series(const Session& session, const SeriesPlan& plan, const SeriesRows& rows, Journal& journal,
         Operator& person, SeriesOptions options);

  // Returns when all rows are done or it has been told to stop. Throws Interrupted, and NoReader if
  // the reader answers no more: the row that was begun is then known to the journal. Throws
  // JournalError, and what the operator throws.
  void run();

  // Cards done since the beginning of `run`.
  int done() const { return done_; }

 private:
  enum class Outcome { done, failed, refused, skipped };

  bool has_card();
  bool is_still_there();
  void wait_for_card();
  void mark_card();
  void leave();

  Outcome treat(const SeriesRow& row);
  Outcome write_row(const SeriesRow& row, bool resumes, const Held& held, const Bytes& bytes);
  void personalise(const SeriesRow& row, const Plan& plan);
  void protect() const;

  std::optional<std::string> other_kind();
  const Memory* hidden_zone() const;
  bool is_kept_card(const SeriesRow& row) const;
  bool is_begun_card(const SeriesRow& row, const Bytes& bytes) const;
  std::optional<int> carried_row(const Bytes& bytes) const;
  std::string tag_of(const SeriesRow& row) const;

  Outcome refuse(const std::string& word, const std::string& reason,
                 const Particulars& particulars = {});
  Outcome fail(const SeriesRow& row, const Failure& failure, double seconds);
  void expect_reader(const Failure& failure);

  const Session& session_;
  const SeriesPlan& plan_;
  const SeriesRows& rows_;
  Journal& journal_;
  Operator& person_;
  SeriesOptions options_;
  KnownKind known_;
  std::map<std::string, std::vector<int>> rows_by_digits_;
  bool has_power_ = false;     // the card that `has_card` saw last
  bool had_power_ = false;     // when it was done with
  int last_row_ = 0;           // that was done
  bool is_last_card_ = false;  // the one that has it
  bool was_there_ = false;     // the card was in the reader when the run began
  bool code_counts_ = false;   // the last card took its code
  bool has_to_stop_ = false;
  bool is_kind_noted_ = false;
  int done_ = 0;
};

}  // namespace quorra::toolkit
