// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra: series of cards, also when it is killed in the middle of one.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

using namespace std::chrono_literals;

std::size_t count_of(const std::string& text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

class BatchCommand : public CommandLine {
 protected:
  // Rows of "CARD" and the number 501 and following ones.
  std::string plan(int rows, const std::string& lines = {}, const std::string& kind = "24c02") {
    const std::string file = folder / "plan.toml";
    write_file(file, "kind = \"" + kind + "\"\nrows = " + std::to_string(rows) + "\n" + lines +
                         "[[counter]]\nname = \"n\"\nstart = 501\n[[write]]\naddress = 64\n"
                         "value = \"CARD{n}\"\nwidth = 7\n");
    return file;
  }

  std::string journal() const { return journal_text(folder / "plan.toml.log.jsonl"); }

  static std::string journal_text(const std::string& path) {
    return std::filesystem::exists(path) ? content_of(path) : std::string();
  }

  std::string card_file(int number) const {
    return folder / ("card" + std::to_string(number) + ".toml");
  }

  // A card image of its own.
  std::string card(int number, const std::string& kind = "24c02") {
    const std::string file = card_file(number);
    EXPECT_EQ(run({QUORRA_SIM_PROGRAM, "new", kind, file}).status, 0);
    return file;
  }

  static std::string text_on(const std::string& image) {
    const Outcome outcome =
        run_quorra({"read", "--virtual", image, "--address", "64", "--count", "7", "--json"});
    return nlohmann::json::parse(outcome.output)["data"];
  }

  static std::string text_of_row(int row) {
    // The digits of "CARD501".
    return "434152443530" + std::to_string(30 + row);
  }

  void expect_all_rows_once(const std::vector<std::string>& cards, int rows) {
    for (int row = 1; row <= rows; ++row) {
      std::size_t found = 0;
      for (const std::string& image : cards) {
        if (text_on(image) == text_of_row(row)) ++found;
      }
      EXPECT_EQ(found, 1U) << "row " << row << '\n' << journal();
    }
  }
};

// A reader at which somebody puts in one card of a pile after the other, whenever the slot is free.
class Reader {
 public:
  explicit Reader(const std::vector<std::string>& pile)
      : simulator_({QUORRA_SIM_PROGRAM}),
        configuration_(simulator_.read_line()),
        socket_(simulator_.read_line().substr(16)),
        hand_([this, pile] { put_in(pile); }) {}
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader() {
    is_over_ = true;
    hand_.join();
    simulator_.signal(SIGTERM);
    simulator_.wait();
  }

  const std::string& configuration() const { return configuration_; }
  bool control(const std::string& command) const {
    return run({QUORRA_SIM_PROGRAM, "control", socket_, command}).status == 0;
  }
  bool is_pile_empty() const { return is_empty_; }

 private:
  void put_in(const std::vector<std::string>& pile) {
    for (const std::string& card : pile) {
      while (!is_over_ && !control(R"({"command":"insert","file":")" + card + R"("})")) {
        std::this_thread::sleep_for(5ms);
      }
    }
    is_empty_ = true;
  }

  Process simulator_;
  std::string configuration_;
  std::string socket_;
  std::atomic<bool> is_over_ = false;
  std::atomic<bool> is_empty_ = false;
  std::thread hand_;
};

TEST_F(BatchCommand, WritesOneCardAfterTheOther) {
  const std::vector<std::string> cards{card(1), card(2), card(3)};
  const std::string file = plan(3, "after = \"eject\"\nlabel = \"number {n}\"\n");
  const Reader reader(cards);
  const Outcome outcome = run_quorra({"batch", "--config", reader.configuration(), file});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_EQ(outcome.output.substr(0, 24), "3 of 3 rows done (3 now,") << outcome.output;
  EXPECT_NE(outcome.errors.find("row 3 (number 503) is done. 3 done, 0 failed, 0 left; "),
            std::string::npos)
      << outcome.errors;
  expect_all_rows_once(cards, 3);
  const Outcome again = run_quorra({"batch", "--config", reader.configuration(), file, "--json"});
  EXPECT_EQ(again.status, 0);
  const auto told = nlohmann::json::parse(again.output);
  EXPECT_EQ(told["done"], 3);
  EXPECT_EQ(told["done_now"], 0);
  EXPECT_EQ(told["left"], 0);
}

// The kill comes whenever the next row has been begun, so that some of it may be on the card.
TEST_F(BatchCommand, GoesOnAfterKillsInTheMiddleOfCards) {
  constexpr int rows = 4;
  std::vector<std::string> cards;
  for (int number = 1; number <= rows; ++number) {
    cards.push_back(card(number));
  }
  const std::string file = plan(rows, "after = \"eject\"\n");
  const Reader reader(cards);
  const Arguments command{QUORRA_PROGRAM, "batch", "--config", reader.configuration(), file};
  for (std::size_t begun = 1; begun <= rows; ++begun) {
    Process process(command);
    while (count_of(journal(), "\"begun\"") < begun) {
      std::this_thread::yield();
    }
    // It may have come to its end by then.
    process.signal(SIGKILL);
    process.wait();
  }
  const Outcome outcome = run(command);
  EXPECT_EQ(outcome.status, 0) << outcome.output << outcome.errors;
  EXPECT_EQ(count_of(journal(), "\"done\""), rows) << journal();
  expect_all_rows_once(cards, rows);
}

// The kill comes a little later each time, wherever the run is then.
TEST_F(BatchCommand, GoesOnAfterKillsAtAnyTime) {
  constexpr int rows = 6;
  std::vector<std::string> cards;
  for (int number = 1; number <= rows; ++number) {
    cards.push_back(card(number));
  }
  const std::string file = plan(rows, "after = \"eject\"\n");
  const Reader reader(cards);
  const Arguments command{QUORRA_PROGRAM, "batch", "--config", reader.configuration(), file};
  for (auto time = 10ms; time < 400ms; time += 13ms) {
    Process process(command);
    std::this_thread::sleep_for(time);
    process.signal(SIGKILL);
    process.wait();
  }
  const Outcome outcome = run(command);
  EXPECT_EQ(outcome.status, 0) << outcome.output << outcome.errors;
  EXPECT_EQ(count_of(journal(), "\"event\":\"done\""), rows) << journal();
  expect_all_rows_once(cards, rows);
}

// The second kill finds the card as the first one has left it, whatever is done first to a card.
TEST_F(BatchCommand, GoesOnAfterASecondKillBeforeTheCardIsWritten) {
  const std::vector<std::string> cards{card(1)};
  const std::string file = plan(1, "after = \"eject\"\n");
  const Reader reader(cards);
  const Arguments command{QUORRA_PROGRAM, "batch", "--config", reader.configuration(), file};
  while (!reader.is_pile_empty()) {
    std::this_thread::yield();
  }
  // Commands 60 write, and 61 read: no reply comes.
  for (const char* silent : {"0x60", "0x61"}) {
    EXPECT_TRUE(reader.control(R"({"command":"fault","kind":"silence","on":")" +
                               std::string(silent) + R"("})"));
    Process process(command);
    std::this_thread::sleep_for(2s);
    process.signal(SIGKILL);
    process.wait();
    EXPECT_EQ(count_of(journal(), "\"begun\""), 1U) << journal();
  }
  const Outcome outcome = run(command);
  EXPECT_EQ(outcome.status, 0) << outcome.output << outcome.errors << journal();
  expect_all_rows_once(cards, 1);
}

// What opens the session is taken for data of the frame that the killed run had begun.
TEST_F(BatchCommand, GoesOnBehindHalfAFrame) {
  const std::vector<std::string> cards{card(1)};
  const std::string file = plan(1, "after = \"eject\"\n");
  const Reader reader(cards);
  const std::string configuration = content_of(reader.configuration());
  const std::string device = configuration.substr(
      configuration.find("P=") + 2, configuration.rfind('\n') - configuration.find("P=") - 2);
  // A request whose 64 bytes of data do not come.
  write_file(device, std::string("\xAA\x60\x00\x46\x79\x00", 6));
  const Outcome outcome = run_quorra({"batch", "--config", reader.configuration(), file});
  EXPECT_EQ(outcome.status, 0) << outcome.output << outcome.errors;
  expect_all_rows_once(cards, 1);
}

TEST_F(BatchCommand, GuardsZones) {
  const std::string file = folder / "zones.toml";
  write_file(folder / "code.txt", "FFFF");
  write_file(
      file,
      "kind = \"102\"\nrows = 2\n[code]\nfile = \"code.txt\"\n[[write]]\nat = \"zone1.data\"\n"
      "value = \"A\"\n[[protect]]\nat = \"zone1\"\n[[protect]]\nat = \"zone1.data\"\n"
      "reading = true\n");
  const Outcome shown = run_quorra({"batch", "--dry-run", file});
  EXPECT_EQ(shown.status, 0) << shown.errors;
  EXPECT_NE(
      shown.output.find("Then, once the card is personalised: zone 1 of a 102 card is read only "
                        "after its code was presented\n"
                        "Then, once the card is personalised: zone 1 of a 102 card is not "
                        "written any more\n"),
      std::string::npos)
      << shown.output;
  const std::string image = card(1, "102");
  const Arguments command{"batch", "--virtual", image, file, "--rows", "1"};
  EXPECT_EQ(run_quorra(command).status, 2);
  const Outcome outcome = run_quorra(command + Arguments{"--yes", "102"});
  EXPECT_EQ(outcome.status, 1) << outcome.output << outcome.errors;
  EXPECT_EQ(outcome.output.substr(0, 16), "1 of 2 rows done") << outcome.output;
  const Outcome zone = run_quorra(
      {"read", "--virtual", image, "--zone", "1", "--count", "2", "--code", "FFFF", "--json"});
  EXPECT_EQ(nlohmann::json::parse(zone.output)["data"], "3F41");
  // It looks blank now.
  const std::string before = content_of(image);
  const Outcome again = run_quorra(command + Arguments{"--yes", "102"});
  EXPECT_NE(again.output.find("1 refused"), std::string::npos) << again.output;
  EXPECT_NE(again.errors.find("zone 1 of a 102 card is guarded against reading already"),
            std::string::npos)
      << again.errors;
  EXPECT_EQ(content_of(image), before);
}

TEST_F(BatchCommand, EndsBySignalWithTotals) {
  const std::string file = plan(2);
  const Reader reader({card(1)});
  Process process({QUORRA_PROGRAM, "batch", "--config", reader.configuration(), file});
  while (count_of(journal(), "\"event\":\"done\"") == 0) {
    std::this_thread::yield();
  }
  process.signal(SIGINT);
  const Outcome outcome = process.wait();
  EXPECT_EQ(outcome.signal, SIGINT);
  EXPECT_EQ(outcome.output.substr(0, 23), "1 of 2 rows done (1 now") << outcome.output;
  EXPECT_NE(outcome.errors.find("interrupted"), std::string::npos) << outcome.errors;
}

// The card that was begun is gone; the one in the reader may be another one.
class BegunCommand : public BatchCommand {
 protected:
  BegunCommand() : file(plan(2)), images{card(1), card(2), card(3)} {
    const Reader reader({images[0]});
    {
      Process process({QUORRA_PROGRAM, "batch", "--config", reader.configuration(), file});
      while (count_of(journal(), "\"event\":\"done\"") == 0) {
        std::this_thread::yield();
      }
      process.signal(SIGKILL);
    }
    // The claim of the second row, as a run leaves it that is killed right behind it.
    const std::string begun =
        R"({"time":"2026-11-22T10:02:47Z","event":"begun","row":2,"before":")" +
        std::string(14, 'F') + "\"}\n";
    write_file(folder / "plan.toml.log.jsonl", journal() + begun);
  }

  // Runs the command at a terminal, and gives these answers to what it asks. A signal comes when it
  // has shown the last words.
  Outcome run_asked(const std::vector<std::string>& answers, int signal = 0,
                    const std::string& last_words = {}, const Arguments& options = {}) {
    const Reader reader({images[1]});
    const Terminal terminal;
    Surroundings surroundings;
    surroundings.streams = {{0, terminal.line()}, {2, terminal.line()}};
    Process process(
        Arguments{QUORRA_PROGRAM, "batch", "--config", reader.configuration(), file} + options,
        surroundings);
    for (const std::string& answer : answers) {
      shown += terminal.read_until("[y/N] ");
      terminal.type(answer);
    }
    if (signal != 0) {
      terminal.read_until(last_words);
      process.signal(signal);
    }
    return process.wait();
  }

  Outcome run_with(const Arguments& options) const {
    const Reader reader({images[1]});
    return run_quorra(Arguments{"batch", "--config", reader.configuration(), file} + options);
  }

  std::string file;
  std::vector<std::string> images;
  std::string shown;
};

TEST_F(BegunCommand, AsksWhetherTheCardGetsTheRow) {
  EXPECT_EQ(run_asked({"y\n"}).status, 0);
  EXPECT_NE(shown.find("row 2 was begun on a card when the last run broke off. This card holds "
                       "nothing of it; it may be that card, or another one. This card gets row 2. "
                       "Go on? "),
            std::string::npos)
      << shown;
  expect_all_rows_once(images, 2);
}

TEST_F(BegunCommand, LeavesTheRowOutIfItIsTold) {
  const Outcome outcome = run_asked({"n\n", "y\n"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.output.find(", 1 left out, 0 left."), std::string::npos) << outcome.output;
  EXPECT_EQ(text_on(images[1]), std::string(14, 'F'));
}

TEST_F(BegunCommand, WritesNothingWithoutAnAnswer) {
  const Outcome outcome = run_with({});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.errors.find("--resume-row again gives the row to this card, --resume-row skip "
                                "to none\n"),
            std::string::npos)
      << outcome.errors;
  EXPECT_EQ(text_on(images[1]), std::string(14, 'F'));
  EXPECT_EQ(run_with({"--resume-row", "again"}).status, 0);
  expect_all_rows_once(images, 2);
}

TEST_F(BegunCommand, LeavesTheRowOutWithAnOption) {
  const Outcome outcome = run_with({"--resume-row", "skip", "--json"});
  EXPECT_EQ(outcome.status, 1);
  const auto told = nlohmann::json::parse(outcome.output);
  EXPECT_EQ(told["skipped"], 1);
  EXPECT_EQ(told["left"], 0);
  EXPECT_EQ(text_on(images[1]), std::string(14, 'F'));
}

TEST_F(BatchCommand, IsForOneAtATime) {
  const std::string file = plan(2);
  const Reader reader({});
  Process process({QUORRA_PROGRAM, "batch", "--config", reader.configuration(), file});
  while (count_of(journal(), "\n") == 0) {
    std::this_thread::yield();
  }
  expect_error(run_quorra({"batch", "--config", reader.configuration(), file}), 2,
               "quorra: " + file + ".log.jsonl: another quorra batch is at work with this plan\n");
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait().signal, SIGTERM);
}

TEST_F(BatchCommand, SendsNothingIfThePlanIsWrong) {
  const std::string file = plan(2, "labell = \"\"\n");
  expect_error(run_quorra({"batch", "--virtual", folder / "nowhere.toml", file}), 2,
               "quorra: " + file + ":3: unknown key 'labell'; did you mean 'label'?\n");
  EXPECT_EQ(journal(), "");
}

TEST_F(BatchCommand, TellsWhichReaderIsMissing) {
  const Outcome outcome = run_quorra({"batch", "--device", folder / "no-device", plan(2)});
  EXPECT_NE(outcome.status, 0);
  EXPECT_NE(outcome.errors.find("no-device"), std::string::npos) << outcome.errors;
}

TEST_F(BatchCommand, DryRunShowsTheFirstRows) {
  expect_success(
      run_quorra({"batch", "--dry-run", "--rows", "1", plan(5)}),
      folder / "plan.toml" + std::string(": 5 rows for 24c02 cards\nrow 1:\n"
                                         "0040  43 41 52 44 35 30 31                              "
                                         "|CARD501         |\n"));
  EXPECT_EQ(journal(), "");
}

TEST_F(BatchCommand, AVirtualCardTakesOneRow) {
  const std::string image = card(1);
  const std::string file = plan(2);
  expect_error(run_quorra({"batch", "--virtual", image, file}), 2,
               "quorra: --virtual has one card, and 2 rows are left: --rows 1 writes the next row "
               "to it\n");
  EXPECT_EQ(run_quorra({"batch", "--virtual", image, file, "--rows", "1"}).status, 1);
  EXPECT_EQ(text_on(image), text_of_row(1));
  EXPECT_EQ(run_quorra({"batch", "--virtual", image, file}).status, 1);
  EXPECT_EQ(text_on(image), text_of_row(1));
  const std::string other = card(2);
  EXPECT_EQ(run_quorra({"batch", "--virtual", other, file}).status, 0);
  EXPECT_EQ(text_on(other), text_of_row(2));
}

TEST_F(BatchCommand, WhatCannotBeUndoneHasToBeConfirmed) {
  const std::string image = card(1, "4442");
  write_file(folder / "code.txt", "FFFFFF\n");
  const std::string file =
      plan(1, "[code]\nfile = \"code.txt\"\n[[protect]]\naddress = 16\ncount = 2\n", "4442");
  const std::string before = content_of(image);
  expect_error(run_quorra({"batch", "--virtual", image, file}), 2,
               "quorra: personalising a series of cards: Each 4442 card of this series gets bytes "
               "that are read-only for good. Confirm with --yes 4442.\n");
  expect_error(run_quorra({"batch", "--virtual", image, file, "--yes", "4428"}), 2,
               "quorra: --yes: the plan is for 4442 cards, not for 4428\n");
  EXPECT_EQ(content_of(image), before);
  EXPECT_EQ(run_quorra({"batch", "--virtual", image, file, "--yes", "4442"}).status, 0);
  EXPECT_NE(content_of(image).find("\"0x10-0x11\""), std::string::npos) << content_of(image);
}

TEST_F(BatchCommand, CodesAreAskedForAndNotLogged) {
  const std::string image = card(1, "4442");
  const std::string file = plan(1, "[code]\nask = true\n", "4442");
  write_file(folder / "secret.txt", "A1B2C3\n");
  const Outcome nobody = run_quorra({"batch", "--virtual", image, file});
  EXPECT_EQ(nobody.status, 2) << nobody.errors;
  const Outcome wrong =
      run_quorra({"batch", "--virtual", image, file, "--code-file", folder / "secret.txt"});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_NE(wrong.errors.find("the code is wrong"), std::string::npos) << wrong.errors;
  const Outcome right = run_quorra({"batch", "--virtual", image, file, "--code", "FFFFFF"});
  EXPECT_EQ(right.status, 0) << right.errors;
  for (const std::string& text : {journal(), wrong.output, wrong.errors, right.output, right.errors,
                                  content_of(folder / "plan.toml.log.csv")}) {
    EXPECT_EQ(text.find("A1B2C3"), std::string::npos) << text;
  }
  expect_error(run_quorra({"batch", "--virtual", image, plan(1, "", "4442"), "--code", "FFFFFF"}),
               2,
               "quorra: " + file +
                   " has changed since its series was begun, of which 1 card is done: undo the "
                   "change, or, for a new series that begins with the first row, move " +
                   file + ".log.jsonl and " + file + ".log.csv away\n");
}

// What cannot be meant is refused before anything is sent or logged.
TEST_F(BatchCommand, RefusesWhatCannotBeMeant) {
  const std::string file = plan(2);
  const std::string large = folder / "large.toml";
  write_file(large, std::string(65537, '#'));
  const std::string exact = folder / "exact.toml";
  const std::string content = content_of(file);
  write_file(exact, content + std::string(65536 - content.size(), '#'));
  write_file(folder / "code.txt", "FFFFFF");
  const std::string with_code = folder / "with_code.toml";
  write_file(with_code,
             "kind = \"4442\"\nrows = 1\n[code]\nfile = \"code.txt\"\n[[write]]\naddress = 64\n"
             "value = \"A\"\n");
  const std::string image = card(1);
  const std::string before = content_of(image);
  struct Case {
    Arguments arguments;
    std::string error;
  };
  const Case cases[] = {
      {{"-"}, "PLAN is a file: the logs lie beside it"},
      {{file, "--card", "24c16"}, file + " is a plan for 24c02 cards, not for 24c16"},
      {{large, "--dry-run"}, large + ": there are more than 65536 bytes"},
      {{file, "--rows", "1", "--code", "FFFFFF"}, "--code: " + file + " does not ask for it"},
      {{with_code, "--code", "FFFFFF"}, "--code: " + with_code + " does not ask for it"},
  };
  for (const auto& [arguments, error] : cases) {
    SCOPED_TRACE(error);
    expect_error(run_quorra(Arguments{"batch", "--virtual", image} + arguments), 2,
                 "quorra: " + error + '\n');
  }
  EXPECT_EQ(content_of(image), before);
  EXPECT_EQ(run_quorra({"batch", "--dry-run", exact}).status, 0);
  EXPECT_EQ(run_quorra({"batch", "--dry-run", file, "--card", "24c02"}).status, 0);
}

TEST_F(BatchCommand, NotesRowsThatWriteTheSame) {
  const std::string file = folder / "plan.toml";
  const std::string beginning = "kind = \"24c02\"\nrows = 3\n";
  const std::string field = "[[write]]\naddress = 64\nvalue = \"CARD{n}\"\nwidth = 7\n";
  write_file(file, beginning + "[[counter]]\nname = \"n\"\nstart = 501\nstep = 0\n" + field);
  const Outcome outcome = run_quorra({"batch", "--dry-run", file});
  EXPECT_EQ(outcome.errors, "quorra: " + file + ": rows 1 and 2 write the same bytes\n");
  EXPECT_EQ(outcome.status, 0);
  // That is meant where nothing could differ.
  write_file(file, beginning + "[[write]]\naddress = 64\nvalue = \"CARD\"\n");
  EXPECT_EQ(run_quorra({"batch", "--dry-run", file}).errors, "");
}

TEST_F(BatchCommand, TellsAProgramHowManyAreDone) {
  const std::string file = plan(2);
  const std::string progress = folder / "progress";
  const Outcome outcome =
      run(Arguments{"/bin/sh", "-c", "exec \"$0\" \"$@\" 3> " + progress, QUORRA_PROGRAM} +
          Arguments{"batch", "--virtual", card(1), file, "--rows", "1", "--progress-fd", "3",
                    "--quiet"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors.find("is done"), std::string::npos) << outcome.errors;
  EXPECT_NE(content_of(progress).find(
                R"({"doing":"personalising a series of cards","done":1,"total":2})"),
            std::string::npos)
      << content_of(progress);
}

// The reader ejects nothing: whoever stands there is told when the next card can come.
TEST_F(BatchCommand, AsksForTheCardToBeTakenOut) {
  const std::string file = plan(2);
  const Terminal terminal;
  Surroundings surroundings;
  surroundings.streams = {{2, terminal.line()}};
  const std::string next = card(2);
  {
    const Reader reader({card(1)});
    Process process({QUORRA_PROGRAM, "batch", "--config", reader.configuration(), file},
                    surroundings);
    const std::string shown = terminal.read_until("Take the card out.\n");
    EXPECT_NE(shown.find("row 1 is done. 1 done, 0 failed, 1 left; "), std::string::npos) << shown;
    EXPECT_TRUE(reader.control(R"({"command":"remove"})"));
    terminal.read_until("Put in a card for row 2.\n");
    EXPECT_TRUE(reader.control(R"({"command":"insert","file":")" + next + R"("})"));
    EXPECT_EQ(process.wait().status, 0);
  }
  expect_all_rows_once({card_file(1), card_file(2)}, 2);
}

// The row stays that of the card that is not there.
TEST_F(BegunCommand, WaitsForTheCardIfNeitherIsWanted) {
  const Outcome outcome = run_asked({"n\n", "n\n"}, SIGINT, "Take the card out.\n");
  EXPECT_EQ(outcome.signal, SIGINT);
  EXPECT_NE(
      outcome.output.find("Row 2 is begun on a card: the same command goes on with that card.\n"),
      std::string::npos)
      << outcome.output;
  EXPECT_EQ(text_on(images[1]), std::string(14, 'F'));
}

TEST_F(BegunCommand, SignalAtAQuestionEndsIt) {
  const Outcome outcome = run_asked({}, SIGTERM, "This card gets row 2. Go on? [y/N] ", {"--json"});
  EXPECT_EQ(outcome.signal, SIGTERM);
  const auto told = nlohmann::json::parse(outcome.output);
  EXPECT_EQ(told["begun_row"], 2);
  EXPECT_EQ(told["error"]["kind"], "interrupted");
  EXPECT_EQ(text_on(images[1]), std::string(14, 'F'));
}

}  // namespace
}  // namespace quorra::testing
