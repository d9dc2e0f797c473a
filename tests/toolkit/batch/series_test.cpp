// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Series of virtual cards, broken off wherever that can happen: each row gets onto one card, and
// none onto two.
#include "toolkit/batch/series.hpp"

#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "tests/support/open_session.hpp"
#include "tests/support/process.hpp"
#include "tests/toolkit/batch/support.hpp"
#include "toolkit/kinds/known_kind.hpp"
#include "toolkit/memory/refused_codes.hpp"

namespace quorra::testing {
namespace {

using toolkit::Bytes;
using toolkit::Failure;
using toolkit::Journal;
using toolkit::Operator;
using toolkit::Resume;
using toolkit::RowState;
using toolkit::Series;
using toolkit::SeriesOptions;
using toolkit::SeriesPlan;
using toolkit::SeriesRow;
using toolkit::SeriesRows;

// The end of the process, as far as a series can tell.
class Break : public std::exception {};

class BreakingSession : public OpenSession {
 public:
  // Breaks off in place of the call with this number, from 0, or with what it has done already.
  BreakingSession(const std::filesystem::path& configuration, int call, bool is_done,
                  std::function<void()> between)
      : OpenSession(configuration),
        call_(call),
        is_done_(is_done),
        between_(std::move(between)) {}

  toolkit::RefusedCodes* refused_codes() const override { return &refused_codes_; }

 protected:
  void before_call(const toolkit::Operation& /*operation*/) const override {
    if (between_) between_();
    if (call_ == count_ && !is_done_) throw Break();
  }
  void after_call(const toolkit::Operation& /*operation*/, int /*result*/) const override {
    if (call_ == count_++ && is_done_) throw Break();
  }

 private:
  int call_;
  bool is_done_;
  std::function<void()> between_;
  mutable int count_ = 0;
  mutable toolkit::RefusedCodes refused_codes_;
};

constexpr int never = -1;

constexpr std::uint8_t write_command = 0x62;

// The reader refuses to write, once.
constexpr simulator::Fault status_to_write{
    .kind = simulator::FaultKind::status, .parameter = {}, .on = write_command};

constexpr std::uint8_t read_command = 0x61;
constexpr std::uint8_t power_command = 0xB2;
constexpr std::uint8_t eject_command = 0xB8;
constexpr std::uint8_t state_command = 0xB9;

simulator::Fault refused_once(std::uint8_t command) {
  return {.kind = simulator::FaultKind::status, .parameter = {}, .on = command};
}

class SeriesOfCards : public ::testing::Test, protected Operator {
 protected:
  SeriesOfCards() : reader_(options()) {}

  // The plan of these lines; `data` is a table, if there is any.
  void plan_is(const std::string& text, const std::string& data = {}) {
    plan = toolkit::parse_series_plan(folder / "plan.toml", text);
    rows = toolkit::make_rows(plan, data);
  }

  // Three rows of eight bytes on a 24c02.
  void usual_plan(const std::string& lines = {}) {
    plan_is("kind = \"24c02\"\nrows = 3\nlabel = \"{n}\"\n" + lines +
            "[[counter]]\nname = \"n\"\nstart = 5001\n[[write]]\naddress = 0x21\n"
            "value = \"NO{n}\"\nwidth = 8\n");
  }

  // A new card on the pile.
  std::string new_card(const std::string& kind = "24c02") {
    std::string file = folder / ("card" + std::to_string(cards.size()) + ".toml");
    simulator::save_image(simulator::Image(simulator::find_kind(kind)), file);
    cards.push_back(file);
    pile.push_back(file);
    return file;
  }

  void insert(const std::string& file) { reader_->insert(file); }
  void remove() { reader_->remove(); }
  bool is_there() { return reader_->state().card.has_value(); }
  void arm(const simulator::Fault& fault) { reader_->arm(fault); }
  const std::filesystem::path& configuration() { return reader_->configuration(); }

  static void change(const std::string& file,
                     const std::function<void(simulator::Image& image)>& act) {
    simulator::Image image = simulator::load_image(file);
    act(image);
    simulator::save_image(image, file);
  }

  // Runs the command, as far as it gets. False if it broke off.
  bool run(SeriesOptions how = {}, int call = never, bool is_done = false) {
    how.poll_microseconds = 0;
    Journal journal(plan, rows);
    const BreakingSession session(reader_->configuration(), call, is_done, between_calls);
    Series series(session, plan, rows, journal, *this, how);
    try {
      series.run();
    } catch (const Break&) {
      return false;
    }
    done = series.done();
    return true;
  }

  static Bytes bytes_on(const std::string& file, int address, int count) {
    const simulator::Image image = simulator::load_image(file);
    const auto memory = image.field("memory");
    return {memory.begin() + address, memory.begin() + address + count};
  }

  // On how many cards the row is, as a whole.
  int cards_with(const SeriesRow& row) {
    int count = 0;
    for (const std::string& file : cards) {
      bool has_all = true;
      for (const toolkit::Segment& segment : row.bytes) {
        const int size = static_cast<int>(segment.bytes.size());
        has_all = has_all && bytes_on(file, segment.address, size) == segment.bytes;
      }
      count += has_all ? 1 : 0;
    }
    return count;
  }

  void expect_each_row_once(const std::string& where = {}) {
    for (const SeriesRow& row : rows.rows) {
      EXPECT_EQ(cards_with(row), 1) << "row " << row.number << ' ' << where;
    }
    EXPECT_EQ(Journal(plan, rows).count(RowState::done), rows.count()) << where;
  }

  // Begins again with new cards.
  void forget_all() {
    if (is_there()) remove();
    for (const char* name : {"plan.toml.log.jsonl", "plan.toml.log.csv"}) {
      std::filesystem::remove(folder / name);
    }
    cards.clear();
    pile.clear();
    said.clear();
  }

  // What the series says to who stands at the reader.
  void want_card(const SeriesRow& row, bool was_begun) override {
    said += "card " + std::to_string(row.number) + (was_begun ? " again\n" : "\n");
    if (pile.empty()) throw Break();
    insert(pile.front());
    pile.pop_front();
  }
  void want_removal() override {
    said += "remove\n";
    if (takes_time) return;
    remove();
    if (!exchanges || pile.empty()) return;
    insert(pile.front());
    pile.pop_front();
  }
  void tell_done(const SeriesRow& row, double /*seconds*/) override {
    said += "done " + std::to_string(row.number) + "\n";
  }
  void tell_failed(const SeriesRow& row, const Failure& failure) override {
    said += "failed " + std::to_string(row.number) + ": " + failure.what() + "\n";
  }
  void tell_refused(const std::string& reason) override { said += "refused: " + reason + "\n"; }
  void tell(const std::string& note) override { said += "note: " + note + "\n"; }
  Resume decide(const SeriesRow& row, const std::string& situation) override {
    said += "decide " + std::to_string(row.number) + "\n";
    asked = situation;
    if (answers.empty()) throw Break();
    const Resume answer = answers.front();
    answers.pop_front();
    return answer;
  }

  TemporaryDirectory folder;
  SeriesPlan plan;
  SeriesRows rows;
  std::vector<std::string> cards;
  std::deque<std::string> pile;
  std::deque<Resume> answers;
  std::string said;
  std::string asked;        // why somebody had to decide
  bool exchanges = false;   // the next card is in the reader before anybody looks
  bool takes_time = false;  // a card is not taken out at once
  std::function<void()> between_calls;
  int done = 0;

 private:
  static simulator::Options options() {
    simulator::Options options;
    options.has_control_socket = false;
    return options;
  }

  simulator::RunningReader reader_;
};

TEST_F(SeriesOfCards, EachCardGetsTheNextRow) {
  usual_plan();
  for (int card = 0; card < 3; ++card)
    new_card();
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said, "card 1\ndone 1\nremove\ncard 2\ndone 2\nremove\ncard 3\ndone 3\n");
  EXPECT_EQ(done, 3);
  expect_each_row_once();
  EXPECT_EQ(hex(bytes_on(cards[1], 0x20, 10)), "FF 4E 4F 35 30 30 32 20 20 FF");
}

TEST_F(SeriesOfCards, EjectsCardsWhereThePlanSaysSo) {
  usual_plan("after = \"eject\"\n");
  for (int card = 0; card < 3; ++card)
    new_card();
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said, "card 1\ndone 1\ncard 2\ndone 2\ncard 3\ndone 3\n");
  EXPECT_FALSE(is_there());
  expect_each_row_once();
}

TEST_F(SeriesOfCards, NoticesACardThatWasExchangedAtOnce) {
  exchanges = true;
  usual_plan();
  new_card("4442");
  for (int card = 0; card < 3; ++card)
    new_card();
  EXPECT_TRUE(run());
  EXPECT_EQ(said,
            "card 1\nrefused: this is a 4442, not a 24c02\nremove\n"
            "note: that this is a 24c02 could not be checked: a 24c01a, 24c02, 24c04, 24c08 or "
            "24c16 would be read alike\n"
            "done 1\nremove\ndone 2\nremove\ndone 3\n");
  expect_each_row_once();
}

TEST_F(SeriesOfCards, EndsAtTheLimit) {
  usual_plan();
  new_card();
  new_card();
  EXPECT_TRUE(run({.force = true, .limit = 2}));
  EXPECT_EQ(said, "card 1\ndone 1\nremove\ncard 2\ndone 2\n");
  said.clear();
  EXPECT_TRUE(run({.force = true, .limit = 0}));
  EXPECT_EQ(said, "");
}

TEST_F(SeriesOfCards, RefusesACardOfAnotherKind) {
  usual_plan();
  const std::string other = new_card("4442");
  const Bytes before = bytes_on(other, 0, 256);
  new_card();
  new_card();
  new_card();
  EXPECT_TRUE(run());
  EXPECT_EQ(said.substr(0, said.find("card 1\n", 2)),
            "card 1\nrefused: this is a 4442, not a 24c02\nremove\n");
  EXPECT_EQ(bytes_on(other, 0, 256), before);
  expect_each_row_once();
  EXPECT_EQ(Journal(plan, rows).refused(), 1);
}

TEST_F(SeriesOfCards, RefusesACardThatIsDone) {
  usual_plan();
  const std::string first = new_card();
  pile.push_back(first);
  new_card();
  new_card();
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said,
            "card 1\ndone 1\nremove\ncard 2\nrefused: the card carries the data of row 1 (5001) "
            "already\nremove\ncard 2\ndone 2\nremove\ncard 3\ndone 3\n");
  expect_each_row_once();
}

// The last card of a run that ended is still there when the next one begins.
TEST_F(SeriesOfCards, DoesNotWriteACardThatWasLeftInTheReader) {
  for (const std::string lines : {"", "rewrite = true\n"}) {
    usual_plan(lines);
    new_card();
    EXPECT_TRUE(run({.force = true, .limit = 1}));
    new_card();
    new_card();
    EXPECT_TRUE(run({.force = true}));
    EXPECT_NE(said.find("refused: the card carries the data of row 1"), std::string::npos);
    expect_each_row_once(lines);
    forget_all();
  }
}

TEST_F(SeriesOfCards, WritesADoneCardAgainWhereThePlanSaysSo) {
  usual_plan("rewrite = true\n");
  const std::string only = new_card();
  pile.assign(3, only);
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said, "card 1\ndone 1\nremove\ncard 2\ndone 2\nremove\ncard 3\ndone 3\n");
  EXPECT_EQ(cards_with(rows.row(3)), 1);
}

TEST_F(SeriesOfCards, TheRowOfABadCardGoesToTheNextOne) {
  usual_plan();
  for (int card = 0; card < 4; ++card)
    new_card();
  // The first command that writes is answered with an error.
  arm(status_to_write);
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said.substr(0, 17), "card 1\nfailed 1: ") << said;
  EXPECT_NE(said.find("remove\ncard 1\ndone 1\n"), std::string::npos) << said;
  expect_each_row_once();
  EXPECT_EQ(Journal(plan, rows).failed(), 1);
}

TEST_F(SeriesOfCards, StopsOnAFailureIfItIsTold) {
  usual_plan();
  new_card();
  arm(status_to_write);
  EXPECT_TRUE(run({.force = true, .stops_on_failure = true}));
  EXPECT_EQ(Journal(plan, rows).next(), 1);
  EXPECT_EQ(said.find("remove"), std::string::npos);
}

TEST_F(SeriesOfCards, NeedsTheCardThatIsTheOnlyOne) {
  usual_plan();
  EXPECT_THROW(static_cast<void>(run({.force = true, .has_one_card = true})), toolkit::NoCard);
  EXPECT_EQ(said, "");
}

TEST_F(SeriesOfCards, EndsWhereTheReaderDoesNotTellWhetherThereIsACard) {
  usual_plan();
  arm(refused_once(state_command));
  EXPECT_THROW(static_cast<void>(run({.force = true})), Failure);
  EXPECT_EQ(said, "");
}

TEST_F(SeriesOfCards, WaitsUntilACardIsTakenOut) {
  usual_plan();
  new_card();
  new_card();
  takes_time = true;
  int looks = 0;
  between_calls = [&] {
    if (said.ends_with("remove\n") && ++looks == 5) remove();
  };
  EXPECT_TRUE(run({.force = true, .limit = 2}));
  EXPECT_GE(looks, 5);
  EXPECT_EQ(said, "card 1\ndone 1\nremove\ncard 2\ndone 2\n");
}

// A reader that cannot eject says so, and somebody takes the card out.
TEST_F(SeriesOfCards, AsksForTheCardThatWasNotEjected) {
  usual_plan("after = \"eject\"\n");
  for (int card = 0; card < 3; ++card)
    new_card();
  arm(refused_once(eject_command));
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said.substr(0, said.find("ejecting")), "card 1\ndone 1\nnote: ");
  EXPECT_NE(said.find("\nremove\ncard 2\ndone 2\ncard 3\ndone 3\n"), std::string::npos) << said;
  expect_each_row_once();
}

// Without power it cannot be told from the next one, so it is taken for the same until it is out.
TEST_F(SeriesOfCards, WaitsForACardThatGetsNoPower) {
  usual_plan();
  new_card("4442");
  new_card();
  arm(refused_once(power_command));
  EXPECT_TRUE(run({.limit = 1}));
  EXPECT_EQ(said.substr(0, said.find("note")),
            "card 1\nrefused: this is a 4442, not a 24c02\nremove\ncard 1\n");
  EXPECT_EQ(done, 1);
}

TEST_F(SeriesOfCards, RefusesAProcessorCard) {
  usual_plan();
  new_card("cpu");
  new_card();
  EXPECT_TRUE(run({.limit = 1}));
  EXPECT_EQ(said.substr(0, said.find("note")),
            "card 1\nrefused: this is a processor card, not a 24c02\nremove\ncard 1\n");
  EXPECT_EQ(done, 1);
}

TEST_F(SeriesOfCards, BelievesWhoeverKnowsTheKind) {
  usual_plan();
  const std::string file = new_card();
  const Bytes blank = bytes_on(file, 0, 256);
  insert(file);
  EXPECT_TRUE(run({.known_kind = toolkit::find_card("4442"), .has_one_card = true}));
  EXPECT_EQ(said, "refused: this is a 4442, not a 24c02\n");
  EXPECT_EQ(bytes_on(file, 0, 256), blank);
}

// Nothing was written on it, so its row goes to the next one.
TEST_F(SeriesOfCards, RefusesACardThatCannotBeRead) {
  usual_plan();
  const std::string file = new_card();
  const Bytes blank = bytes_on(file, 0, 256);
  new_card();
  arm(refused_once(read_command));
  EXPECT_TRUE(run({.force = true, .limit = 1}));
  EXPECT_EQ(said.substr(0, 45), "card 1\nrefused: reading what the card holds: ") << said;
  EXPECT_NE(said.find("\nremove\ncard 1\ndone 1\n"), std::string::npos) << said;
  EXPECT_EQ(bytes_on(file, 0, 256), blank);
  EXPECT_EQ(Journal(plan, rows).refused(), 1);
}

// Another journal may have given that card its data; this one does not know it.
TEST_F(SeriesOfCards, GivesItsRowToACardThatHappensToCarryIt) {
  usual_plan();
  change(new_card(), [this](simulator::Image& image) {
    const toolkit::Segment& row = rows.row(1).bytes.front();
    std::ranges::copy(row.bytes, image.field("memory").begin() + row.address);
  });
  EXPECT_TRUE(run({.force = true, .limit = 1}));
  EXPECT_EQ(said, "card 1\ndone 1\n");
}

// Whatever was under way goes on with the next run.
TEST_F(SeriesOfCards, AnInterruptionAtAnyCallEndsIt) {
  bool is_over = false;
  for (int call = 0; !is_over; ++call) {
    usual_plan();
    new_card();
    int count = 0;
    between_calls = [&] {
      if (count++ == call) throw toolkit::Interrupted("interrupted");
    };
    try {
      is_over = run({.force = true, .limit = 1});
    } catch (const toolkit::Interrupted&) {
      EXPECT_EQ(said.find("failed"), std::string::npos) << call << said;
      EXPECT_EQ(said.find("refused"), std::string::npos) << call << said;
    }
    between_calls = nullptr;
    if (!is_over && said.find("done") == std::string::npos) {
      ASSERT_TRUE(run({.force = true, .limit = 1})) << call << said;
    }
    EXPECT_EQ(cards_with(rows.row(1)), 1) << call << said;
    forget_all();
  }
}

// Wherever the process ends, whether the call was made or not: the same command goes on with the
// card in the reader.
TEST_F(SeriesOfCards, GoesOnAfterABreakAtAnyCall) {
  for (const bool is_done : {false, true}) {
    bool is_over = false;
    for (int call = 0; !is_over; ++call) {
      usual_plan();
      for (int card = 0; card < 3; ++card)
        new_card();
      is_over = run({.force = true}, call, is_done);
      const std::string where = "call " + std::to_string(call) + (is_done ? " done\n" : "\n");
      if (!is_over) {
        ASSERT_TRUE(run({.force = true})) << where << said;
        EXPECT_EQ(said.find("decide"), std::string::npos) << where << said;
      }
      expect_each_row_once(where + said);
      forget_all();
    }
  }
}

// The same, and the card has lost its power: only its content tells which one it is.
TEST_F(SeriesOfCards, GoesOnWithACardThatWasTakenOut) {
  bool is_over = false;
  int questions = 0;
  for (int call = 0; !is_over; ++call) {
    usual_plan();
    for (int card = 0; card < 3; ++card)
      new_card();
    is_over = run({.force = true}, call);
    const std::string where = "call " + std::to_string(call) + "\n";
    if (!is_over) {
      if (is_there()) {
        remove();
        insert(cards[cards.size() - pile.size() - 1]);
      }
      // Nothing has been written: that may be any card.
      answers = {Resume::again};
      ASSERT_TRUE(run({.force = true})) << where << said;
      if (answers.empty()) ++questions;
      answers.clear();
    }
    expect_each_row_once(where + said);
    forget_all();
  }
  EXPECT_EQ(questions, rows.count());
}

// A card that was begun, and is not the one in the reader.
class BegunElsewhere : public SeriesOfCards {
 protected:
  BegunElsewhere() {
    usual_plan();
    new_card();
    EXPECT_TRUE(run({.force = true, .limit = 1}));
    remove();
    begun = new_card();
    // The first call that writes is the last one of this run.
    const std::size_t before = said.size();
    for (int call = 0; bytes_on(begun, 0x21, 1) == Bytes{0xFF}; ++call) {
      if (is_there()) remove();
      pile = {begun};
      std::filesystem::remove(folder / "plan.toml.log.csv");
      write_file(folder / "plan.toml.log.jsonl", first_row());
      EXPECT_FALSE(run({.force = true}, call, true));
    }
    EXPECT_EQ(said.find("done 2", before), std::string::npos);
    remove();
    said.clear();
  }

  // The journal as far as its first row is done.
  std::string first_row() {
    const std::string all = content_of(folder / "plan.toml.log.jsonl");
    std::size_t end = 0;
    for (int line = 0; line < 3; ++line)
      end = all.find('\n', end) + 1;
    return all.substr(0, end);
  }

  void expect_begun_has_row() { EXPECT_EQ(bytes_on(begun, 0x21, 8), joined(rows.row(2).bytes)); }

  std::string begun;
};

TEST_F(BegunElsewhere, IsRecognisedWhenItComesBack) {
  pile = {begun};
  new_card();
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said, "card 2 again\ndone 2\nremove\ncard 3\ndone 3\n");
  expect_each_row_once();
}

// The first five of the eight bytes are those of row 1, too, which is on another card.
TEST_F(BegunElsewhere, IsRecognisedByTheBytesThatOnlyItsRowHas) {
  change(begun, [](simulator::Image& image) {
    std::fill_n(image.field("memory").begin() + 0x21 + 6, 2, std::uint8_t{0xFF});
  });
  pile = {begun};
  EXPECT_TRUE(run({.force = true, .limit = 1}));
  EXPECT_EQ(said, "card 2 again\ndone 2\n");
  expect_begun_has_row();
}

TEST_F(BegunElsewhere, IsAskedForByTheBytesThatAnotherRowHasToo) {
  change(begun, [](simulator::Image& image) {
    std::fill_n(image.field("memory").begin() + 0x21 + 5, 3, std::uint8_t{0xFF});
  });
  pile = {begun};
  EXPECT_FALSE(run({.force = true}));
  EXPECT_EQ(said, "card 2 again\ndecide 2\n");
}

// It has its power, but somebody has noted something else for it in the meantime.
TEST_F(BegunElsewhere, IsRecognisedByItsBytesWhereTheNoteIsNotOfThisSeries) {
  insert(begun);
  {
    const OpenSession session(configuration());
    ASSERT_EQ(turn_on(session.handle()), 0);
    toolkit::KnownKind(session).set(*plan.card, "another");
  }
  EXPECT_TRUE(run({.force = true, .limit = 1}));
  EXPECT_EQ(said, "done 2\n");
  expect_begun_has_row();
}

TEST_F(BegunElsewhere, IsAskedForWithWhatTheOtherCardLooksLike) {
  const std::string blank = new_card();
  pile = {blank};
  EXPECT_FALSE(run({.force = true}));
  EXPECT_EQ(asked,
            "row 2 (5002) was begun on a card when the last run broke off. This card holds nothing "
            "of it; it may be that card, or another one");
  remove();
  change(blank, [](simulator::Image& image) {
    std::fill_n(image.field("memory").begin(), 64, std::uint8_t{0xA5});
  });
  pile = {blank};
  EXPECT_FALSE(run({.force = true}));
  EXPECT_EQ(asked,
            "row 2 (5002) was begun on a card when the last run broke off. This card does not look "
            "like that one");
}

TEST_F(BegunElsewhere, IsAskedForWhenAnotherCardComes) {
  const std::string other = new_card();
  pile = {other, begun, other};
  answers = {Resume::other_card};
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said,
            "card 2 again\ndecide 2\nrefused: it is not the card that row 2 (5002) was begun on\n"
            "remove\ncard 2 again\ndone 2\nremove\ncard 3\ndone 3\n");
  expect_each_row_once();
}

TEST_F(BegunElsewhere, MayBeGivenUpForAnotherCard) {
  new_card();
  new_card();
  answers = {Resume::again};
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said, "card 2 again\ndecide 2\ndone 2\nremove\ncard 3\ndone 3\n");
  // The card that was given up carries the row, too; so it is refused from now on.
  EXPECT_EQ(cards_with(rows.row(2)), 2);
}

TEST_F(BegunElsewhere, MayBeLeftOut) {
  new_card();
  answers = {Resume::skip};
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said, "card 2 again\ndecide 2\ndone 3\n");
  EXPECT_EQ(cards_with(rows.row(2)), 1);
  const Journal journal(plan, rows);
  EXPECT_EQ(journal.state(2), RowState::skipped);
  EXPECT_EQ(journal.state(3), RowState::done);
}

TEST_F(BegunElsewhere, LosesNothingWithoutAnAnswer) {
  const std::string other = new_card();
  const Bytes blank = bytes_on(other, 0, 256);
  EXPECT_FALSE(run({.force = true}));
  EXPECT_EQ(bytes_on(other, 0, 256), blank);
  ASSERT_TRUE(Journal(plan, rows).pending());
  EXPECT_EQ(Journal(plan, rows).pending()->row, 2);
}

TEST_F(BegunElsewhere, IsNotACardThatIsDone) {
  pile = {cards[0], begun};
  new_card();
  EXPECT_TRUE(run({.force = true}));
  EXPECT_EQ(said.substr(0, said.find("remove")),
            "card 2 again\nrefused: the card carries the data of row 1 (5001) already\n");
  expect_each_row_once();
}

// A journal that was changed by hand may say that another number of bytes was there before.
TEST_F(SeriesOfCards, IsNotSureOfACardThatTheJournalDescribesOtherwise) {
  usual_plan();
  {
    Journal journal(plan, rows);
    journal.append({.event = toolkit::SeriesEvent::begun, .row = 1, .before = Bytes(3, 0xFF)});
  }
  new_card();
  answers = {Resume::again};
  EXPECT_TRUE(run({.force = true, .limit = 1}));
  EXPECT_EQ(said, "card 1 again\ndecide 1\ndone 1\n");
}

// All rows are the same, so a card with the whole of one may be that of another.
TEST_F(SeriesOfCards, CannotTellCardsApartThatAreTheSame) {
  plan_is("kind = \"24c02\"\nrows = 2\n[[write]]\naddress = 0\nvalue = \"SAME\"\n");
  new_card();
  EXPECT_TRUE(run({.force = true, .limit = 1}));
  remove();
  {
    Journal journal(plan, rows);
    journal.append({.event = toolkit::SeriesEvent::begun, .row = 2, .before = Bytes(4, 0xFF)});
  }
  pile = {cards[0]};
  new_card();
  answers = {Resume::again};
  EXPECT_TRUE(run({.force = true}));
  EXPECT_NE(said.find("refused: the card carries the data of row 1 already"), std::string::npos);
  EXPECT_EQ(cards_with(rows.row(2)), 2);
}

class SeriesWithCode : public SeriesOfCards {
 protected:
  SeriesWithCode() {
    plan_is(
        "kind = \"4442\"\nrows = 2\n[code]\nask = true\n[[counter]]\nname = \"n\"\nstart = 7\n"
        "[[write]]\nat = \"data\"\nvalue = \"{n}\"\nwidth = 200\n"
        "[[write]]\naddress = 10\nvalue = \"{n}\"\nwidth = 4\n"
        "[[protect]]\naddress = 10\ncount = 4\n");
  }

  static std::string protected_on(const std::string& file) {
    const auto image = simulator::load_image(file);
    std::string all;
    for (const std::string& range : simulator::address_list(image.field("protected"))) {
      all += range + " ";
    }
    return all;
  }
};

TEST_F(SeriesWithCode, PresentsItWritesAndProtects) {
  new_card("4442");
  new_card("4442");
  EXPECT_TRUE(run({.code = {0xFF, 0xFF, 0xFF}}));
  EXPECT_EQ(said, "card 1\ndone 1\nremove\ncard 2\ndone 2\n");
  expect_each_row_once();
  for (const std::string& file : cards) {
    EXPECT_EQ(protected_on(file), "0x00-0x03 0x06-0x07 0x0A-0x0D 0x15-0x1A ");
  }
}

TEST_F(SeriesWithCode, GoesOnAfterABreakAtAnyCall) {
  bool is_over = false;
  for (int call = 0; !is_over; ++call) {
    new_card("4442");
    new_card("4442");
    is_over = run({.code = {0xFF, 0xFF, 0xFF}}, call, true);
    if (!is_over) {
      ASSERT_TRUE(run({.code = {0xFF, 0xFF, 0xFF}})) << call << said;
    }
    EXPECT_EQ(said.find("failed"), std::string::npos) << call << said;
    expect_each_row_once("call " + std::to_string(call) + "\n" + said);
    for (const std::string& file : cards) {
      EXPECT_EQ(protected_on(file), "0x00-0x03 0x06-0x07 0x0A-0x0D 0x15-0x1A ") << call;
    }
    forget_all();
  }
}

TEST_F(SeriesWithCode, PresentsAWrongCodeToOneCardOnly) {
  new_card("4442");
  new_card("4442");
  EXPECT_TRUE(run({.code = {0xFF, 0xFF, 0xFE}}));
  EXPECT_NE(said.find("failed 1: presenting the code: the code is wrong (-36); 2 attempts left\n"),
            std::string::npos)
      << said;
  EXPECT_EQ(pile.size(), 1U);
  EXPECT_EQ(Journal(plan, rows).next(), 1);
}

// One card has another code than those before it; the next one gets the code again.
TEST_F(SeriesWithCode, GoesOnBehindACardWithAnotherCode) {
  new_card("4442");
  change(new_card("4442"), [](simulator::Image& image) {
    image.assign("code", {0x12, 0x34, 0x56});
  });
  new_card("4442");
  EXPECT_TRUE(run({.code = {0xFF, 0xFF, 0xFF}}));
  EXPECT_EQ(said,
            "card 1\ndone 1\nremove\ncard 2\nfailed 2: presenting the code: the code is wrong "
            "(-36); 2 attempts left\nremove\ncard 2\ndone 2\n");
  expect_each_row_once();
}

TEST_F(SeriesWithCode, TakesTheCodeOfEachCardFromItsRow) {
  plan_is(
      "kind = \"4442\"\ndata = \"cards.csv\"\n[code]\ncolumn = \"pin\"\n"
      "[[write]]\nat = \"data\"\nvalue = \"{name}\"\nwidth = 8\n",
      "name,pin\nAnna,FFFFFF\nBo,123456\n");
  new_card("4442");
  change(new_card("4442"), [](simulator::Image& image) {
    image.assign("code", {0x12, 0x34, 0x56});
  });
  EXPECT_TRUE(run({.code = {0x00, 0x00, 0x00}}));
  EXPECT_EQ(said, "card 1\ndone 1\nremove\ncard 2\ndone 2\n");
  expect_each_row_once();
}

// It has the first byte of its row, and the second one cannot be written any more.
TEST_F(SeriesWithCode, ACardThatWasBegunAndCannotHoldTheRowHasFailed) {
  const Bytes wanted = joined(rows.row(1).bytes);
  Bytes before(wanted.size(), 0xFF);
  change(new_card("4442"), [&](simulator::Image& image) {
    const auto memory = image.field("memory");
    std::copy_n(memory.begin() + 10, 4, before.begin());
    std::copy_n(memory.begin() + 32, 200, before.begin() + 4);
    memory[10] = wanted[0];
    image.field("protected")[11] = 1;
  });
  {
    Journal journal(plan, rows);
    journal.append({.event = toolkit::SeriesEvent::begun, .row = 1, .before = before});
  }
  EXPECT_TRUE(run({.stops_on_failure = true, .code = {0xFF, 0xFF, 0xFF}}));
  EXPECT_EQ(said, "card 1 again\nfailed 1: writing the card: at 0x000B, read-only for good\n");
  EXPECT_EQ(Journal(plan, rows).failed(), 1);
}

// The only way to lose a card for good.
TEST_F(SeriesWithCode, DoesNotUseTheLastAttempt) {
  const std::string file = new_card("4442");
  auto image = simulator::load_image(file);
  image.assign("counter", {1});
  simulator::save_image(image, file);
  new_card("4442");
  new_card("4442");
  EXPECT_TRUE(run({.code = {0xFF, 0xFF, 0xFF}}));
  EXPECT_EQ(
      said.substr(0, said.find("remove")),
      "card 1\nfailed 1: presenting the code: 1 attempt left: a wrong code locks the card for "
      "good. In a series the last attempt is not used.\n");
  const simulator::Image image_after = simulator::load_image(file);
  EXPECT_EQ(image_after.field("counter").front(), 1);
  expect_each_row_once();
}

TEST_F(SeriesWithCode, RefusesACardThatCannotHoldTheRow) {
  const std::string file = new_card("4442");
  auto image = simulator::load_image(file);
  image.field("protected")[11] = 1;
  simulator::save_image(image, file);
  const Bytes before = bytes_on(file, 0, 256);
  new_card("4442");
  new_card("4442");
  EXPECT_TRUE(run({.code = {0xFF, 0xFF, 0xFF}}));
  EXPECT_EQ(said.substr(0, said.find("remove")),
            "card 1\nrefused: writing the card: at 0x000B, read-only for good\n");
  EXPECT_EQ(bytes_on(file, 0, 256), before);
  expect_each_row_once();
}

// The reader comes back with the next run.
TEST_F(SeriesOfCards, AReaderThatIsGoneLeavesTheRowBegun) {
  usual_plan();
  new_card();
  arm({.kind = simulator::FaultKind::hang_up, .parameter = {}, .on = write_command});
  EXPECT_THROW(static_cast<void>(run({.force = true})), toolkit::NoReader);
  ASSERT_TRUE(Journal(plan, rows).pending());
  EXPECT_EQ(Journal(plan, rows).pending()->row, 1);
}

}  // namespace
}  // namespace quorra::testing
