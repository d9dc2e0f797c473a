// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Commands that follow one another in one session: quorra run.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>
#include <utility>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

using Json = nlohmann::json;

constexpr char wrong_code[] = "presenting the code: the code is wrong (-36); 2 attempts left";
constexpr char refused_before[] =
    "presenting the code: the card has refused this code before; it is not presented again";

std::vector<Json> objects_of(const std::string& output) {
  std::istringstream lines(output);
  std::vector<Json> objects;
  for (std::string line; std::getline(lines, line);)
    objects.push_back(Json::parse(line));
  return objects;
}

class Run : public CommandLine {
 protected:
  // Runs these lines with a virtual reader.
  Outcome run_lines(const std::string& lines, const Arguments& options = {}) {
    write_file(file, lines);
    return run_quorra(Arguments{"run", "--virtual", image, file} + options);
  }

  std::string image = new_card("4442");
  std::string file = folder / "lines";
};

TEST_F(Run, CommandsShareTheSession) {
  // The code stays presented, and the card has its power.
  expect_success(run_lines("code present FFFFFF\n"
                           "write --address 0x40 DEAD\n"
                           "read --address 0x40 --count 2\n"),
                 "The code is right.\n"
                 "Wrote 2 bytes at 0x0040 and read them back.\n"
                 "0040  DE AD                                             |..              |\n");
}

TEST_F(Run, LinesHaveTheWordsOfAShell) {
  write_file(folder / "two words", std::string("\x01\x02", 2));
  const auto expect_text = [this](const std::string& quoted, const std::string& text) {
    SCOPED_TRACE(quoted);
    const Outcome outcome =
        run_lines("write --all --no-verify --address 0x40 --code FFFFFF --text " + quoted +
                  "\nread --address 0x40 --raw --count " + std::to_string(text.size()));
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output,
              "Wrote " + std::to_string(text.size()) + " bytes at 0x0040.\n" + text);
  };
  expect_text("'a  b'", "a  b");
  expect_text(R"("a  b")", "a  b");
  expect_text(R"(a\ \ b)", "a  b");
  expect_text(R"('a\b"c')", R"(a\b"c)");
  expect_text(R"("a\"b\\c\d\$'e")", R"(a"b\c\d$'e)");
  expect_text(R"(a'b c'"d e"f)", "ab cd ef");
  expect_text("a#b", "a#b");
  expect_text("'#a'   # a comment", "#a");
  expect_text("ab\t# a 'comment\r", "ab");
  expect_text("*$HOME~", "*$HOME~");
  expect_success(run_lines("\xEF\xBB\xBF# a comment\n\n  \t\n   quorra beep\r\nbeep  # more"), "");
  EXPECT_EQ(run_lines("verify --address 0x40 --file '" + folder / "two words" + "'\nexpect failed")
                .status,
            0);
  expect_success(run_lines(""), "");
}

TEST_F(Run, LinesComeFromStandardInput) {
  const Arguments from_input = {"run", "--virtual", image, "-"};
  expect_success(
      run_quorra(from_input, {.input = "beep\nexpect ok\nbeep", .streams = {}, .environment = {}}),
      "");
  expect_error(
      run_quorra(from_input, {.input = "beep\nbeep 256\n", .streams = {}, .environment = {}}), 2,
      "quorra: standard input:2: N: 256 is more than 255\n");
}

// Whatever is wrong with a line, the write before it is not done.
TEST_F(Run, AllLinesAreReadFirst) {
  const std::string before = memory_of(image);
  const std::string several = " cannot be one of several commands: ";
  const std::pair<std::string, std::string> cases[] = {
      {"raed",
       "The following argument was not expected: raed; did you mean 'read'? See quorra --help"},
      {"read --cuont 1",
       "The following arguments were not expected: --cuont 1; did you mean '--count'? See quorra "
       "--help"},
      {"read --address x", "--address: 'x' is not a number, such as 32 or 0x20"},
      {"write 00", "--address is required, or --at: what is given has no address of its own"},
      {"code", "code wants one of these behind it: present, change, counter; see quorra --help"},
      {"'read", "a quote is not closed"},
      {"read \"", "a quote is not closed"},
      {"read \\", "nothing stands behind the backslash"},
      {"expect", "expect: say what is wanted, such as 'ok', '9000' or 'wrong_code'"},
      {"expect 9*0", "expect: in '9*0', '*' stands for the rest and comes last"},
      {"run x", "run" + several + "it would open another session; put its lines here"},
      {"setup --try", "setup" + several + "it looks for other readers; give it by itself"},
      {"--quiet doctor", "doctor" + several + "it opens the line itself; give it by itself"},
      {"speed show", "speed" + several + "it opens the line itself; give it by itself"},
      {"tap", "tap" + several + "it stands in another program's line; give it by itself"},
      {"trace x", "trace" + several + "it works without a reader; give it by itself"},
      {"complete x", "complete" + several + "it is there for shells"},
      {"read --virtual other",
       "--virtual: all commands have one reader, which is named before them"},
      {"read --config x", "--config: all commands have one reader, which is named before them"},
      {"read --device x", "--device: all commands have one reader, which is named before them"},
      {"read --speed 9600", "--speed: all commands have one reader, which is named before them"},
      {"read --virtual-sam 0=x",
       "--virtual-sam: all commands have one reader, which is named before them"},
  };
  for (const auto& [line, error] : cases) {
    SCOPED_TRACE(line);
    const Outcome outcome = run_lines("write --address 0x40 --code FFFFFF 00\n\n" + line + '\n');
    expect_error(outcome, 2, "quorra: " + file + ":3: " + error + '\n');
  }
  expect_error(run_lines("# nothing\nexpect ok\nbeep"), 2,
               "quorra: " + file + ":2: expect: there is no command before it\n");
  EXPECT_EQ(memory_of(image), before);
}

TEST_F(Run, TheReaderIsNamedOnce) {
  expect_success(run_lines("beep --virtual " + image), "");
  expect_error(run_quorra({"run", "--virtual", image, "--config", "x", file}), 2,
               "quorra: there is one reader: give --config or --virtual, not both\n");
  expect_error(run_quorra({"run", "--virtual", image, folder / "nowhere"}), 2,
               "quorra: reading " + folder / "nowhere" + ": No such file or directory\n");
}

TEST_F(Run, WhatIsExpectedIsCompared) {
  struct Case {
    std::string line;
    std::string expected;
    std::string got;  // what is told instead; empty if it is met
  };
  const std::string tried = ": " + std::string(wrong_code);
  const Case cases[] = {
      {"beep", "ok", ""},
      {"beep", "OK", ""},
      {"beep", "o*", ""},
      {"beep", "*", ""},
      {"beep", "failed", "ok"},
      {"beep", "oki", "ok"},
      {"beep", "o", "ok"},
      {"read --count 4", "A2131091", ""},
      {"read --count 4", "a2 13 10 91", ""},
      {"read --count 4", "A2131?91", ""},
      {"read --count 4", "A213*", ""},
      {"read --count 4", "A2131091*", ""},
      {"read --count 4", "A21310910*", "A2131091"},
      {"read --count 4", "A213109", "A2131091"},
      {"read --count 4", "ok data=A2* card=4442 count=?", ""},
      {"read --count 4", "card=4428", "card=4442"},
      {"read --count 4", "colour=red", "nothing called colour"},
      {"read --count 4", "data=", "data=A2131091"},
      {"code counter", "3", ""},
      {"code counter", "attempts_left=?", ""},
      {"code counter", "2", "3"},
      {"code present 000000", "wrong_code", ""},
      {"code present 000000", "wrong_cod?", "wrong_code" + tried},
      {"code present 000000", "failed", ""},
      {"code present 000000", "-36", ""},
      {"code present 000000", "-3?", ""},
      {"code present 000000", "-37", "wrong_code" + tried},
      {"code present 000000", "ok", "wrong_code" + tried},
      {"code present 000000", "wrong_code attempts_left=2", ""},
      {"code present 000000", "attempts_left=1", "attempts_left=2" + tried},
      {"read --address 256", "usage", ""},
      {"apdu 00", "usage", ""},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.line + " / " + one.expected);
    image = new_card("4442", {"--force"});
    const Outcome outcome = run_lines(one.line + "\n\nexpect " + one.expected + '\n');
    const std::string error = one.got.empty() ? ""
                                              : "quorra: " + file + ":3: expected " + one.expected +
                                                    ", got " + one.got + '\n';
    EXPECT_EQ(outcome.errors, error);
    EXPECT_EQ(outcome.status, one.got.empty() ? 0 : 1);
  }
}

TEST_F(Run, BytesThatWereReadAreTextToo) {
  image = new_card("24c01a", {"--force", "--data", "0:476F6F64"});
  expect_success(run_lines("read --count 4 --card 24c01a\nexpect text=Go*\nexpect 476F????"),
                 "0000  47 6F 6F 64                                       |Good            |\n");
}

TEST_F(Run, StatusWordsAreCompared) {
  image = new_card("cpu", {"--force"});
  const Outcome met = run_lines(
      "apdu 00A40000023F00\n"
      "expect 9000\n"
      "expect 6F*\n"
      "apdu 002000010431323335\n"
      "expect 63C?\n"
      "apdu --no-reset 00A40000023F01\n"
      "expect 6A8?\n"
      "apdu --continue 00A40000023F01 00A40000023F00\n"
      "expect 90??\n");
  EXPECT_EQ(met.errors, "");
  EXPECT_EQ(met.status, 0);
  const Outcome other = run_lines("apdu 00A40000023F01\nexpect 9000\nbeep 256");
  EXPECT_EQ(
      other.errors,
      "quorra: " + file +
          ":2: expected 9000, got 6A82: the card answers 6A82: file or application not found\n");
  EXPECT_EQ(other.status, 1);
}

TEST_F(Run, EndsWithTheFirstCommandThatGoesWrong) {
  expect_error(run_lines("beep\nbeep 256\nread"), 2,
               "quorra: " + file + ":2: N: 256 is more than 255\n");
  const Outcome failed = run_lines("code counter\ncode present 000000\nread");
  EXPECT_EQ(failed.output, "3 attempts left.\n");
  EXPECT_EQ(failed.errors, "quorra: " + file + ":2: " + wrong_code + '\n');
  EXPECT_EQ(failed.status, 1);
  const Outcome unexpected = run_lines("beep\nexpect failed\nread");
  expect_error(unexpected, 1, "quorra: " + file + ":2: expected failed, got ok\n");
}

TEST_F(Run, NoReaderIsToldByTheExitStatus) {
  write_file(file, "beep\n");
  write_file(folder / "reader.conf", "P=/dev/quorra-is-not-there\n");
  EXPECT_EQ(run_quorra({"run", "--config", folder / "reader.conf", file}).status, 3);
}

TEST_F(Run, GoesOnIfItIsToldTo) {
  const Outcome outcome =
      run_lines("beep 256\ncode counter\nexpect 2\ncode present FFFFFF\n", {"--keep-going"});
  EXPECT_EQ(outcome.output, "3 attempts left.\nThe code is right.\n");
  EXPECT_EQ(outcome.errors, "quorra: " + file + ":1: N: 256 is more than 255\nquorra: " + file +
                                ":3: expected 2, got 3\n");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(run_lines("beep\n", {"--keep-going"}).status, 0);
}

TEST_F(Run, ExpectedFailuresAreNone) {
  expect_success(run_lines("code present 000000\nexpect wrong_code\ncode counter\n"),
                 "As expected: " + std::string(wrong_code) + "\n2 attempts left.\n");
}

TEST_F(Run, EachCommandTellsAnObject) {
  const Outcome outcome = run_lines(
      "beep\n"
      "# nothing\n"
      "code present 000000\n"
      "expect wrong_code\n"
      "expect attempts_left=2\n"
      "code counter\n"
      "expect 3\n",
      {"--json"});
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.status, 1);
  const auto objects = objects_of(outcome.output);
  ASSERT_EQ(objects.size(), 3U);
  for (const Json& object : objects)
    EXPECT_EQ(object["schema_version"], 1);
  EXPECT_EQ(objects[0]["command"], "beep");
  EXPECT_EQ(objects[0]["ok"], true);
  EXPECT_EQ(objects[0]["line"], 1);
  EXPECT_FALSE(objects[0].contains("expect"));
  EXPECT_EQ(objects[1]["command"], "code present");
  EXPECT_EQ(objects[1]["ok"], true);
  EXPECT_EQ(objects[1]["line"], 3);
  EXPECT_EQ(objects[1]["expect"], "wrong_code attempts_left=2");
  EXPECT_EQ(objects[1]["got"], "wrong_code attempts_left=2");
  EXPECT_EQ(objects[1]["error"]["code"], -36);
  EXPECT_EQ(objects[2]["ok"], false);
  EXPECT_EQ(objects[2]["line"], 6);
  EXPECT_EQ(objects[2]["exit_status"], 1);
  EXPECT_EQ(objects[2]["expect"], "3");
  EXPECT_EQ(objects[2]["got"], "2");
  EXPECT_EQ(objects[2]["attempts_left"], 2);
  EXPECT_EQ(objects[2]["error"]["message"], "expected 3, got 2");

  const auto failed = objects_of(run_lines("beep 256\n", {"--json"}).output);
  ASSERT_EQ(failed.size(), 1U);
  EXPECT_EQ(failed[0]["ok"], false);
  EXPECT_EQ(failed[0]["line"], 1);
  EXPECT_EQ(failed[0]["error"]["kind"], "usage");

  const auto refused = objects_of(run_lines("beep\nfly\n", {"--json"}).output);
  ASSERT_EQ(refused.size(), 1U);
  EXPECT_EQ(refused[0]["command"], "run");
  EXPECT_EQ(refused[0]["exit_status"], 2);
}

TEST_F(Run, ALineMayTellAnObjectByItself) {
  const Outcome outcome = run_lines("code counter\ncode counter --json\n");
  EXPECT_EQ(outcome.output,
            "3 attempts left.\n"
            "{\"schema_version\":1,\"command\":\"code counter\",\"ok\":true,\"line\":2,"
            "\"card\":\"4442\",\"attempts_left\":3}\n");
}

TEST_F(Run, ARefusedCodeIsNotPresentedAgain) {
  const Outcome outcome = run_lines(
      "code present 000000\n"
      "expect wrong_code\n"
      "code counter\n"
      "write --address 0x40 --code 000000 00\n"
      "expect refused_before\n"
      "code present 000001\n"
      "expect wrong_code\n"
      "code present FFFFFF --yes 4442\n"
      "code present 000000\n");
  EXPECT_EQ(outcome.output,
            "As expected: " + std::string(wrong_code) +
                "\n2 attempts left.\nAs expected: " + refused_before +
                "\nAs expected: presenting the code: the code is wrong (-36); 1 attempt "
                "left: a wrong code locks the card for good\nThe code is right.\n");
  EXPECT_EQ(outcome.errors, "quorra: " + file + ":9: " + refused_before + '\n');
  EXPECT_EQ(outcome.status, 1);
  // The last one cost no attempt.
  expect_success(run_lines("code counter"), "3 attempts left.\n");
  // It may be the right one when the code was changed.
  EXPECT_EQ(run_lines("code present 000000\n"
                      "expect wrong_code\n"
                      "code change --code FFFFFF 000000\n"
                      "code present 000000\n")
                .status,
            0);
}

TEST_F(Run, ARefusedEraseCodeIsNotPresentedAgain) {
  image = new_card("102", {"--force"});
  const std::string erase = "code present --erase --zone 1 000000000000\n";
  const Outcome outcome = run_lines("code present FFFF\n" + erase + "expect failed\n" + erase);
  EXPECT_EQ(outcome.errors,
            "quorra: " + file +
                ":4: presenting the erase code: the card has refused this code before; it is not "
                "presented again\n");
  EXPECT_EQ(outcome.status, 1);
}

// Another card may have the code that this one refused.
TEST_F(Run, AnotherCardIsAskedForItsCode) {
  const std::string socket = folder / "socket";
  Process simulator({QUORRA_SIM_PROGRAM, "--card", image, "--socket", socket});
  const std::string configuration = simulator.read_line();
  // Commands that wait for their input give the time to change the card.
  const std::string pause = folder / "pause";
  ASSERT_EQ(mkfifo(pause.c_str(), 0600), 0);
  const std::string wait = "apdu --script " + pause + "\nexpect usage\n";
  write_file(file, "code present 000000\nexpect wrong_code\n" + wait + wait +
                       "code present 000000\nexpect attempts_left=1\n");
  Process program({QUORRA_PROGRAM, "run", "--card", "4442", "--config", configuration, file});
  EXPECT_EQ(program.read_line(), "As expected: " + std::string(wrong_code));
  for (const std::string& change : {std::string(R"({"command":"remove"})"),
                                    R"({"command":"insert","file":")" + image + R"("})"}) {
    EXPECT_EQ(run({QUORRA_SIM_PROGRAM, "control", socket, change}).status, 0);
    write_file(pause, "no APDU\n");
    EXPECT_EQ(program.read_line().substr(0, 12), "As expected:");
  }
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.status, 0);
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

TEST_F(Run, ACardThatWasEjectedIsNoCard) {
  const Outcome outcome = run_lines("read --count 1\neject\nread --count 1\n");
  EXPECT_EQ(outcome.status, 3);
  EXPECT_TRUE(outcome.errors.ends_with(":3: recognising the card: no card is in the reader\n"))
      << outcome.errors;
}

TEST_F(Run, OutputThatCannotBeWrittenEndsIt) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  const std::string before = memory_of(image);
  write_file(file, "code counter\nwrite --address 0x40 --code FFFFFF 00\n");
  const Outcome outcome =
      run_quorra({"run", "--virtual", image, file},
                 {.input = "", .streams = {{STDOUT_FILENO, full}}, .environment = {}});
  close(full);
  EXPECT_EQ(outcome.errors, "quorra: writing to standard output: No space left on device\n");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(memory_of(image), before);
}

TEST_F(Run, LongLinesAndFilesHaveTheirBounds) {
  EXPECT_EQ(
      run_lines("read\nexpect 00\n").errors,
      "quorra: " + file + ":2: expected 00, got A2131091FFFF8115" + std::string(48, 'F') + "...\n");
  const std::string comment = "#" + std::string(1023, 'x') + "\n";
  std::string lines;
  while (lines.size() < std::size_t{1024} * 1024 - comment.size())
    lines += comment;
  lines += std::string(std::size_t{1024} * 1024 - lines.size(), '\n');
  expect_success(run_lines(lines), "");
  expect_error(run_lines(lines + "\n"), 2, "quorra: " + file + " holds more than 1048576 bytes\n");
}

TEST_F(Run, WorksWithoutAReaderIfNoCommandNeedsOne) {
  write_file(file, "des encrypt --key 0000000000000000 0000000000000000\n");
  expect_success(run_quorra({"run", file}), "8C A6 4D E9 C1 B1 23 A7\n");
  const Outcome outcome = run_quorra({"run", "--speed", "9600", file});
  EXPECT_EQ(outcome.errors.find("quorra: no reader given."), 0U) << outcome.errors;
  EXPECT_EQ(outcome.status, 2);
}

// What the command failed of is told, and not what was expected of it.
TEST_F(Run, FailureOfACommandIsItsError) {
  const auto objects = objects_of(run_lines("code present 000000 --json\nexpect ok\n").output);
  ASSERT_EQ(objects.size(), 1U);
  EXPECT_EQ(objects[0]["error"]["word"], "wrong_code");
  EXPECT_EQ(objects[0]["expect"], "ok");
  EXPECT_EQ(objects[0]["got"], "wrong_code");
  EXPECT_EQ(objects[0]["exit_status"], 1);
}

// The codes of such a card do not lie in its memory.
TEST_F(Run, WritingCardsWithoutCodesIsNoChangeOfCodes) {
  image = new_card("24c02", {"--force"});
  expect_success(run_lines("write --address 0 41\nwrite --address 1 42\nread --count 2\n"),
                 "Wrote 1 byte at 0x0000 and read it back.\n"
                 "Wrote 1 byte at 0x0001 and read it back.\n"
                 "0000  41 42                                             |AB              |\n");
}

class RunAtReader : public ScriptedCommandLine {
 protected:
  Process start_lines(const std::string& lines, const Arguments& options = {}) {
    write_file(folder / "lines", lines);
    return start(Arguments{"run", folder / "lines"} + options);
  }

  std::string at(const std::string& line) const {
    return "quorra: " + folder / "lines" + ":" + line + ": ";
  }

  const Bytes beep = sealed("AA B4 00 07 80 00 00 00 00 00 05");
};

TEST_F(RunAtReader, OpensTheLineOnce) {
  Process program = start_lines("beep 5\nbeep 5\n");
  reader.serve_opening();
  reader.serve(beep, reply(0, {}));
  reader.serve(beep, reply(0, {}));
  expect_success(program.wait(), "");
  reader.expect_closed();
}

// What comes of a reply that was too late is not taken for the next one.
TEST_F(RunAtReader, OpensTheLineAnewAfterTrouble) {
  Process program = start_lines("beep 5\nexpect bad_start_byte\nbeep 5\n");
  reader.serve_opening();
  reader.serve(beep, hex("00"));
  reader.serve_opening();
  reader.serve(beep, reply(0, {}));
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.status, 0);
  reader.expect_closed();
}

TEST_F(RunAtReader, SignalsEndItInACommand) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Process program = start_lines("beep 5\nbeep 5\n", {"--keep-going"});
    reader.serve_opening();
    reader.serve(beep, reply(0, {}));
    reader.expect(beep);
    program.signal(signal);
    expect_ended_by(program.wait(), signal, at("2") + "sounding the buzzer: interrupted\n");
    reader.expect_closed();
  }
}

TEST_F(RunAtReader, SignalsEndItBetweenCommands) {
  Process program = start_lines("beep 5\nexpect ok\nbeep 5\n", {"--keep-going"});
  reader.serve_opening();
  reader.expect(beep);
  program.signal(SIGINT);
  reader.answer(reply(0, {}));
  expect_ended_by(program.wait(), SIGINT, at("3") + "not begun: interrupted\n");
  reader.expect_closed();
}

// The session is open, but a command waits for its input.
TEST_F(RunAtReader, SignalsEndAWaitForInput) {
  const std::string fifo = folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  Process program = start_lines("beep 5\nwrite --address 0x40 --file " + fifo + '\n');
  reader.serve_opening();
  reader.serve(beep, reply(0, {}));
  const int writer = open(fifo.c_str(), O_WRONLY | O_CLOEXEC);
  program.signal(SIGINT);
  expect_ended_by(program.wait(), SIGINT, at("2") + "reading " + fifo + ": interrupted\n");
  close(writer);
  reader.expect_closed();
}

// The same, where the bytes come from standard input.
TEST_F(RunAtReader, SignalsEndAWaitForStandardInput) {
  const std::string fifo = folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const int both = open(fifo.c_str(), O_RDWR | O_CLOEXEC);
  write_file(folder / "lines", "beep 5\nwrite --address 0x40 --file -\n");
  Process program({QUORRA_PROGRAM, "run", folder / "lines", "--config", reader.configuration(),
                   "--force", "--card", "4442"},
                  {.input = {}, .streams = {{STDIN_FILENO, both}}, .environment = {}});
  reader.serve_opening();
  reader.serve(beep, reply(0, {}));
  // Whoever has taken the first byte waits for more.
  EXPECT_EQ(write(both, "x", 1), 1);
  for (int unread = 1; unread > 0;) {
    ASSERT_EQ(ioctl(both, FIONREAD, &unread), 0);
    std::this_thread::yield();
  }
  program.signal(SIGINT);
  expect_ended_by(program.wait(), SIGINT, at("2") + "reading standard input: interrupted\n");
  close(both);
  reader.expect_closed();
}

}  // namespace
}  // namespace quorra::testing
