// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The journal of a series: what it keeps, and what it makes of a file that was broken off.
#include "toolkit/batch/journal.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "tests/support/failing_call.hpp"
#include "tests/support/process.hpp"
#include "tests/toolkit/batch/support.hpp"

namespace quorra::testing {
namespace {

using toolkit::Bytes;
using toolkit::Journal;
using toolkit::JournalError;
using toolkit::JournalRecord;
using toolkit::parse_record;
using toolkit::RowState;
using toolkit::SeriesEvent;
using toolkit::SeriesPlan;
using toolkit::SeriesRows;

class SeriesJournal : public ::testing::Test {
 protected:
  SeriesJournal() { load(10); }

  void load(int start) {
    plan = toolkit::parse_series_plan(
        folder / "plan.toml",
        "kind = \"24c02\"\nrows = 3\n[[counter]]\nname = \"n\"\nstart = " + std::to_string(start) +
            "\n[[write]]\naddress = 0\nvalue = \"{n}\"\nwidth = 4\n");
    rows = toolkit::make_rows(plan, {});
  }

  static JournalRecord record(SeriesEvent event, int row) {
    return {.event = event, .row = row, .label = "card " + std::to_string(row)};
  }

  void append(SeriesEvent event, int row) const { Journal(plan, rows).append(record(event, row)); }

  std::string path() const { return folder / "plan.toml.log.jsonl"; }
  std::string results() const { return folder / "plan.toml.log.csv"; }

  std::string refusal() const {
    return usage_error([&] { Journal journal(plan, rows); });
  }

  // The words of the JournalError that `act` throws while the call fails; empty if it throws none.
  template <typename Act>
  static std::string trouble(const char* call, int error, FailingCall::Which which, Act act) {
    const FailingCall failing(call, error, which);
    try {
      act();
    } catch (const JournalError& thrown) {
      return thrown.what();
    }
    return {};
  }
  std::string trouble(const char* call, int error, FailingCall::Which which = {}) const {
    return trouble(call, error, which, [this] { const Journal journal(plan, rows); });
  }

  TemporaryDirectory folder;
  SeriesPlan plan;
  SeriesRows rows;
};

TEST_F(SeriesJournal, BeginsWithTheFirstRow) {
  const Journal journal(plan, rows);
  EXPECT_EQ(journal.next(), 1);
  EXPECT_FALSE(journal.pending());
  EXPECT_EQ(journal.count(RowState::open), 3);
  EXPECT_EQ(journal.id().size(), 16U);
}

TEST_F(SeriesJournal, GoesOnWhereItWas) {
  std::string id;
  {
    Journal journal(plan, rows);
    id = journal.id();
    JournalRecord begun = record(SeriesEvent::begun, 1);
    begun.before = {0xFF, 0x00, 0x12, 0x34};
    journal.append(begun);
    journal.append(record(SeriesEvent::done, 1));
    begun.row = 2;
    journal.append(begun);
  }
  const Journal journal(plan, rows);
  EXPECT_EQ(journal.id(), id);
  EXPECT_EQ(journal.state(1), RowState::done);
  EXPECT_EQ(journal.next(), 2);
  ASSERT_TRUE(journal.pending());
  EXPECT_EQ(journal.pending()->row, 2);
  EXPECT_EQ(journal.pending()->before, (Bytes{0xFF, 0x00, 0x12, 0x34}));
  EXPECT_TRUE(journal.was_begun(1));
  EXPECT_TRUE(journal.was_begun(2));
  EXPECT_FALSE(journal.was_begun(3));
}

TEST_F(SeriesJournal, AFailedRowIsOpenAndASkippedOneIsNot) {
  append(SeriesEvent::begun, 1);
  append(SeriesEvent::failed, 1);
  {
    const Journal journal(plan, rows);
    EXPECT_EQ(journal.next(), 1);
    EXPECT_FALSE(journal.pending());
    EXPECT_TRUE(journal.was_begun(1));
    EXPECT_EQ(journal.failed(), 1);
  }
  append(SeriesEvent::begun, 1);
  append(SeriesEvent::resumed, 1);
  EXPECT_TRUE(Journal(plan, rows).pending());
  append(SeriesEvent::skipped, 1);
  append(SeriesEvent::refused, 0);
  const Journal journal(plan, rows);
  EXPECT_EQ(journal.next(), 2);
  EXPECT_EQ(journal.state(1), RowState::skipped);
  EXPECT_EQ(journal.refused(), 1);
  EXPECT_FALSE(journal.pending());
}

TEST_F(SeriesJournal, EndsWithTheLastRow) {
  for (const int row : {1, 2, 3}) {
    append(SeriesEvent::done, row);
  }
  EXPECT_EQ(Journal(plan, rows).next(), std::nullopt);
}

// However many bytes of the last line are there, the line counts only as a whole.
TEST_F(SeriesJournal, TakesALineThatWasBrokenOffAsNotWritten) {
  append(SeriesEvent::begun, 1);
  const std::string begun = content_of(path());
  append(SeriesEvent::done, 1);
  const std::string done = content_of(path());
  ASSERT_GT(done.size(), begun.size());
  for (std::size_t size = begun.size(); size < done.size(); ++size) {
    write_file(path(), done.substr(0, size));
    const Journal journal(plan, rows);
    EXPECT_EQ(journal.state(1), RowState::open) << size;
    EXPECT_TRUE(journal.pending()) << size;
    EXPECT_EQ(content_of(path()), begun) << size;
  }
  write_file(path(), done);
  EXPECT_EQ(Journal(plan, rows).state(1), RowState::done);
}

TEST_F(SeriesJournal, GoesOnBehindALineThatWasBrokenOff) {
  append(SeriesEvent::done, 1);
  write_file(path(), content_of(path()) + R"({"time":"2026)");
  append(SeriesEvent::done, 2);
  EXPECT_EQ(Journal(plan, rows).next(), 3);
}

TEST_F(SeriesJournal, BeginsAnewWithoutAWholeFirstLine) {
  { const Journal journal(plan, rows); }
  const std::string head = content_of(path());
  for (std::size_t size = 0; size < head.size(); size += 20) {
    write_file(path(), head.substr(0, size));
    EXPECT_EQ(Journal(plan, rows).next(), 1) << size;
    EXPECT_EQ(std::ranges::count(content_of(path()), '\n'), 1) << size;
  }
}

TEST_F(SeriesJournal, IsOfOnePlanAndItsData) {
  append(SeriesEvent::refused, 0);
  load(9);
  EXPECT_EQ(Journal(plan, rows).refused(), 0);  // it begins anew: no card was begun
  load(10);
  append(SeriesEvent::begun, 1);
  append(SeriesEvent::done, 1);
  load(11);
  EXPECT_EQ(refusal(),
            plan.file +
                " has changed since its series was begun, of which 1 card is done: undo "
                "the change, or, for a new series that begins with the first row, move " +
                path() + " and " + results() + " away");
  load(10);
  EXPECT_EQ(refusal(), "");
  plan.data = "cards.csv";
  rows.digest = "other";
  EXPECT_EQ(refusal().substr(0, refusal().find(" has")), folder / "cards.csv");
}

TEST_F(SeriesJournal, IsForOneAtATime) {
  const Journal journal(plan, rows);
  EXPECT_EQ(refusal(), path() + ": another quorra batch is at work with this plan");
}

TEST_F(SeriesJournal, RefusesWhatWasDamaged) {
  append(SeriesEvent::done, 1);
  append(SeriesEvent::done, 2);
  const std::string content = content_of(path());
  const auto with = [&](std::string_view text, std::string_view other) {
    std::string changed = content;
    changed.replace(changed.find(text), text.size(), other);
    write_file(path(), changed);
    return refusal();
  };
  EXPECT_EQ(with(R"("row":1)", R"("row":4)"), path() + ":2: the line was damaged or changed");
  EXPECT_EQ(with(R"("row":2)", R"("row":-1)"), path() + ":3: the line was damaged or changed");
  EXPECT_EQ(with(R"("event":"done")", R"("event":"dome")"),
            path() + ":2: the line was damaged or changed");
  EXPECT_EQ(with(R"("event":"series")", R"("event":"serial")"),
            path() + ":1: it is no journal of a series; move it away to begin one");
  EXPECT_EQ(with(R"("schema_version":1)", R"("schema_version":2)"),
            path() + ":1: the journal is of another version");
  write_file(path(), "something else\n");
  EXPECT_EQ(refusal(), path() + ":1: it is no journal of a series; move it away to begin one");
  EXPECT_EQ(content_of(path()), "something else\n");
  write_file(path(), "something else");
  EXPECT_NE(refusal(), "");
  EXPECT_EQ(content_of(path()), "something else");
}

TEST_F(SeriesJournal, RecordsSurviveBeingWritten) {
  JournalRecord written{.event = SeriesEvent::failed, .time = "2026-11-22T10:02:47Z", .row = 2};
  written.line = 3;
  written.label = "M\u00FCller, \"Anna\"";
  written.seconds = 1.5;
  written.code = -35;
  written.word = "status";
  written.message = "writing the card: no";
  written.before = {1, 2};
  const std::string line = to_json(written);
  EXPECT_EQ(line,
            "{\"time\":\"2026-11-22T10:02:47Z\",\"event\":\"failed\",\"row\":2,\"line\":3,"
            "\"label\":\"M\u00FCller, \\\"Anna\\\"\",\"seconds\":1.5,\"code\":-35,"
            "\"word\":\"status\",\"message\":\"writing the card: no\",\"before\":\"0102\"}\n");
  const auto read = parse_record(line);
  ASSERT_TRUE(read);
  EXPECT_EQ(to_json(*read), line);
  EXPECT_FALSE(parse_record("{}"));
  EXPECT_FALSE(parse_record("[]"));
  EXPECT_FALSE(parse_record(R"({"event":"done","time":1})"));
  EXPECT_FALSE(parse_record(R"({"event":"done","time":"","row":"1"})"));
  EXPECT_FALSE(parse_record(R"({"event":"done","time":"","before":"0"})"));
}

TEST_F(SeriesJournal, TellsResultsAsCsv) {
  {
    Journal journal(plan, rows);
    journal.append(record(SeriesEvent::begun, 1));
    JournalRecord failed = record(SeriesEvent::failed, 1);
    failed.seconds = 0.25;
    failed.code = -35;
    failed.word = "status";
    failed.message = "a, \"b\"";
    journal.append(failed);
  }
  const std::string header = "time,row,line,label,result,seconds,code,word,message\n";
  const std::string whole = content_of(results());
  EXPECT_EQ(whole.substr(0, header.size()), header);
  const std::string line = whole.substr(header.size());
  EXPECT_EQ(line.substr(line.find(',')), ",1,,card 1,failed,0.2,-35,status,\"a, \"\"b\"\"\"\n");
  // The journal puts right what a break has left.
  for (const std::size_t size : {std::size_t{0}, header.size(), whole.size() - 5}) {
    write_file(results(), whole.substr(0, size));
    const Journal journal(plan, rows);
    EXPECT_EQ(content_of(results()), whole);
  }
  write_file(results(), whole + "more\n");
  const Journal journal(plan, rows);
  EXPECT_EQ(content_of(results()), whole);
}

TEST_F(SeriesJournal, SaysWhyItCannotBeOpened) {
  std::filesystem::create_directory(path());
  EXPECT_EQ(refusal(), path() + ": Is a directory");
}

TEST_F(SeriesJournal, SaysWhyItsResultsCannotBeOpened) {
  std::filesystem::create_directory(results());
  EXPECT_EQ(refusal(), results() + ": Is a directory");
}

// A plan with fewer rows than were done has changed; its journal is not damaged.
TEST_F(SeriesJournal, KnowsAPlanThatWasCutFromADamagedLine) {
  append(SeriesEvent::begun, 3);
  append(SeriesEvent::done, 3);
  plan = toolkit::parse_series_plan(
      folder / "plan.toml", "kind = \"24c02\"\nrows = 2\n[[write]]\naddress = 0\nvalue = \"A\"\n");
  rows = toolkit::make_rows(plan, {});
  EXPECT_EQ(refusal().substr(0, refusal().find(" has")), plan.file);
}

// A card that was refused has taken no row, whichever one it would have been.
TEST_F(SeriesJournal, ARefusedCardLeavesItsRowOpen) {
  append(SeriesEvent::refused, 1);
  const Journal journal(plan, rows);
  EXPECT_EQ(journal.refused(), 1);
  EXPECT_EQ(journal.next(), 1);
}

TEST_F(SeriesJournal, SaysWhichCallHasFailed) {
  EXPECT_EQ(trouble("flock", ENOLCK), "locking " + path() + ": No locks available");
  EXPECT_EQ(trouble("write", ENOSPC), "writing " + path() + ": No space left on device");
  EXPECT_EQ(trouble("fsync", EIO), "writing " + path() + ": Input/output error");
  append(SeriesEvent::done, 1);
  EXPECT_EQ(trouble("read", EIO), "reading " + path() + ": Input/output error");
  EXPECT_EQ(trouble("read", EIO, {.first = 2}), "reading " + results() + ": Input/output error");
  const std::string whole = content_of(path());
  write_file(path(), whole + R"({"time":)");
  EXPECT_EQ(trouble("ftruncate", EIO),
            "taking a broken line off " + path() + ": Input/output error");
  write_file(path(), whole);
  write_file(results(), "something else\n");
  EXPECT_EQ(trouble("ftruncate", EIO), "writing " + results() + ": Input/output error");
  EXPECT_EQ(trouble("write", ENOSPC), "writing " + results() + ": No space left on device");
}

// Nothing was lost of what the journal had before.
TEST_F(SeriesJournal, KeepsWhatItHadWhenTheDiskIsFull) {
  {
    Journal journal(plan, rows);
    journal.append(record(SeriesEvent::done, 1));
    EXPECT_EQ(trouble("write", ENOSPC, {}, [&] { journal.append(record(SeriesEvent::done, 2)); }),
              "writing " + path() + ": No space left on device");
    EXPECT_EQ(journal.state(2), RowState::open);
  }
  const Journal journal(plan, rows);
  EXPECT_EQ(journal.state(1), RowState::done);
  EXPECT_EQ(journal.next(), 2);
}

// Some file systems cannot be told to put a file on the disk, and some folders cannot be opened.
TEST_F(SeriesJournal, IsWrittenWhereNothingCanBePutOnTheDiskAtOnce) {
  EXPECT_EQ(trouble("fsync", EINVAL), "");
  EXPECT_EQ(Journal(plan, rows).next(), 1);
  std::filesystem::remove(path());
  EXPECT_EQ(trouble("open", EACCES, {.first = 1, .count = 1}), "");
  EXPECT_EQ(Journal(plan, rows).next(), 1);
}

}  // namespace
}  // namespace quorra::testing
