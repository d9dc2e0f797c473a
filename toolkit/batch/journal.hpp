// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What became of each row and card of a series: lines of JSON beside the plan, and the results as
// CSV beside them. A line counts once it is whole, and is on the disk before anything that depends
// on it is done.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/batch/rows.hpp"
#include "toolkit/bytes.hpp"
#include "toolkit/session/descriptor.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {

inline constexpr int journal_schema = 1;

enum class SeriesEvent {
  begun,    // the row belongs to the card in the reader; nothing has been written to it
  resumed,  // a card that was begun is in the reader again
  done,     // the card has all of the row
  failed,   // the card could not be finished, and another one gets the row
  skipped,  // what became of the card is not known, and no other one gets the row
  refused,  // a card was not written, whatever the row
};

// "begun"
std::string_view name_of(SeriesEvent event);

struct JournalRecord {
  SeriesEvent event;
  std::string time = {};  // UTC, "2026-11-22T10:02:47Z"
  int row = 0;            // 0 if none is concerned
  int line = 0;           // in the file with the data
  std::string label = {};
  std::optional<double> seconds = {};
  std::optional<int> code = {};  // of the library
  std::string word = {};         // for the code, or for why a card was refused
  std::string message = {};
  Bytes before = {};  // of a card that is begun: what it held where the row goes
};

std::string to_json(const JournalRecord& record);
// None if it is no record.
std::optional<JournalRecord> parse_record(std::string_view line);

enum class RowState { open, done, skipped };

// A row that was begun, of which nobody knows how it ended.
struct BegunRow {
  int row = 0;
  Bytes before;
};

// The journal cannot be written or read, so nothing may be done that depends on it.
class JournalError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Where the logs of a plan are.
std::string journal_of(const SeriesPlan& plan);
std::string results_of(const SeriesPlan& plan);

class Journal {
 public:
  // Goes on with the journal, or begins one. What a write that was broken off has left at its end
  // is taken away. Throws UsageError if another process has it, if plan or data are others than at
  // its beginning, or if it was damaged; JournalError.
  Journal(const SeriesPlan& plan, const SeriesRows& rows);

  // Returns when the record is on the disk. Throws JournalError.
  void append(JournalRecord record);

  RowState state(int row) const { return states_[static_cast<std::size_t>(row - 1)]; }
  int count(RowState state) const;
  // Cards.
  int failed() const { return failed_; }
  int refused() const { return refused_; }
  // The first open row; none if all are done or skipped.
  std::optional<int> next() const;
  const std::optional<BegunRow>& pending() const { return pending_; }
  // Whether a card has ever got any byte of the row, as far as is known.
  bool was_begun(int row) const { return begun_[static_cast<std::size_t>(row - 1)]; }
  // Names the series, and no other one.
  const std::string& id() const { return id_; }

 private:
  void read(const SeriesPlan& plan, const SeriesRows& rows);
  void begin(const SeriesPlan& plan, const SeriesRows& rows);
  std::string changed_file(std::string_view line, const SeriesPlan& plan, const SeriesRows& rows);
  [[noreturn]] void refuse_other_file() const;
  void refuse_changed(const std::string& file, const std::vector<JournalRecord>& records) const;
  void cut(std::size_t size) const;
  void apply(const JournalRecord& record);
  void write_results();
  static void write(int descriptor, const std::string& path, const std::string& text);

  std::string path_;
  std::string results_path_;
  Descriptor file_;
  std::optional<Descriptor> results_;
  std::string id_;
  std::string text_of_results_;  // of the records that were read
  std::vector<RowState> states_;
  std::vector<bool> begun_;
  std::optional<BegunRow> pending_;
  int failed_ = 0;
  int refused_ = 0;
};

}  // namespace quorra::toolkit
