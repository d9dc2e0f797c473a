// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra doctor: the way to the reader and the card, step by step.

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

const Bytes ask_status = sealed("AA B9 00 05 80 00 00 00 00");

void expect_words(const std::string& text, const std::string& words) {
  EXPECT_NE(text.find(words), std::string::npos) << words << "\nin\n" << text;
}

Outcome doctor(const Arguments& arguments, const std::string& columns = "300") {
  return run_quorra(Arguments{"doctor"} + arguments,
                    {.input = {}, .streams = {}, .environment = {{"COLUMNS", columns}}});
}

class Doctor : public ScriptedCommandLine {};

TEST_F(Doctor, VirtualReaderIsWell) {
  const std::string image = new_card("4442");
  expect_success(doctor({"--virtual", image}),
                 "ok       reader         a virtual one, with the card image " + image +
                     "\n"
                     "ok       version        KWSPC-VIRTUAL V1.0\n"
                     "ok       serial number  VIRTUAL-00000001\n"
                     "ok       status         the reader is ready\n"
                     "ok       card           a memory card, 4442\n");
}

TEST_F(Doctor, ReaderThatAFileNamesIsWell) {
  Process simulator({QUORRA_SIM_PROGRAM, "--card", new_card("4428")});
  const std::string file = simulator.read_line();
  const Outcome outcome = doctor({"--config", file});
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  expect_words(outcome.output, "ok       configuration  " + file + " (--config)\n");
  expect_words(outcome.output, ": a comment\n");
  expect_words(outcome.output, "ok       device         /dev/pts/");
  expect_words(outcome.output, "; you may use it; opened by quorra-sim (process ");
  expect_words(outcome.output,
               "ok       speed          the reader answers at 9600 bits per second");
  expect_words(outcome.output, "ok       card           a memory card, 4428 or 4418\n");
}

TEST_F(Doctor, OtherSpeedIsFoundAndTheWayGoesOn) {
  Process simulator({QUORRA_SIM_PROGRAM, "--line-speed", "38400", "--card", new_card("4442")});
  const std::string file = simulator.read_line();
  const Outcome outcome = doctor({"--config", file, "--speed", "115200"});
  EXPECT_EQ(outcome.status, 1);
  expect_words(
      outcome.output,
      "TROUBLE  speed          the reader answers at 38400 bits per second, not at 115200\n"
      "         -> Give --speed 38400, or ");
  expect_words(outcome.output, "ok       card           a memory card, 4442\n");
}

TEST_F(Doctor, EmptySlotIsNoCard) {
  Process simulator({QUORRA_SIM_PROGRAM});
  const Outcome outcome = doctor({"--config", simulator.read_line()});
  EXPECT_EQ(outcome.status, 3);
  expect_words(outcome.output,
               "MISSING  card           no card is in the reader\n"
               "         -> Push a card in to the stop, with its contacts first\n");
}

TEST_F(Doctor, CardOfAnotherKindIsTold) {
  const Outcome memory = doctor({"--virtual", new_card("4442"), "--card", "4428"});
  EXPECT_EQ(memory.status, 1);
  expect_words(memory.output,
               "TROUBLE  card           this is a 4442, not a 4428\n"
               "         -> Give --card 4442, or put the other card in\n");
  const Outcome processor = doctor({"--virtual", new_card("cpu", {"--force"}), "--card", "4442"});
  EXPECT_EQ(processor.status, 1);
  expect_words(processor.output, "TROUBLE  card           a processor card, answer to reset 3B ");
  expect_words(processor.output, "; it was taken for a memory card: --card 4442\n");
  EXPECT_EQ(doctor({"--virtual", new_card("cpu", {"--force"})}).status, 0);
}

TEST_F(Doctor, NamesWhereItLookedForAFile) {
  const Outcome outcome = doctor({});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.output,
            "MISSING  configuration  no reader is named: QUORRA_CONFIG is not set, and there is no "
            "/nowhere/quorra/reader.conf, no /etc/quorra/reader.conf\n"
            "         -> \"quorra setup\" looks for readers and writes such a file; --device names "
            "the device without one\n");
}

TEST_F(Doctor, ReadsTheFileLineByLine) {
  const std::string file = folder / "reader.conf";
  const std::string long_line = "W=" + std::string(60, 'w');
  write_file(file, "# note\nS=\\033[5i\nx=1\n\n" + long_line + "\nE\nP=/dev/none # mine\nA=2\n");
  const Outcome outcome = doctor({"--config", file});
  EXPECT_EQ(outcome.status, 3);
  expect_words(outcome.output, "TROUBLE  configuration  " + file + " (--config)\n");
  expect_words(
      outcome.output,
      "         line 1: # note: a comment\n"
      "         line 2: S=\\033[5i = S \"<1B>[5i\": sent first to the serial terminal\n"
      "         line 3: x=1: ignored: 'x' is no key\n"
      "         line 4: : empty\n"
      "         line 5: W=" +
          std::string(57, 'w') + " = W \"" + std::string(56, 'w') +
          "\": sent to the serial terminal before each byte; cut at 59 characters, of "
          "which the last one is lost\n"
          "         line 5: www: what is behind character 59 of a line counts as a line of "
          "its own: ignored: 'w' is no key\n"
          "         line 6: E = E \"\": read, but used for nothing; there is no '=', so "
          "nothing is set\n"
          "         line 7: P=/dev/none # mine = P \"/dev/none#mine\": the serial device; "
          "blanks are removed, and what stands behind one is part of the value\n"
          "         line 8: A=2: ignored: it stands behind the line that names the "
          "device\n");
  expect_words(outcome.output,
               "MISSING  device         opening the session: /dev/none#mine cannot");

  write_file(file, "P=/dev/none");
  const Outcome without_end = doctor({"--config", file});
  EXPECT_EQ(without_end.status, 2);
  expect_words(without_end.output, "; the line has no end, and its last character is lost\n");
}

TEST_F(Doctor, DeviceThatIsNoneIsToldWithARemedy) {
  const Outcome missing = doctor({"--device", "/dev/nothing"});
  EXPECT_EQ(missing.status, 3);
  expect_words(missing.output, "-> The adapter may be unplugged, or have another name since");
  const Outcome other = doctor({"--device", "/dev/null"});
  EXPECT_EQ(other.status, 1);
  expect_words(other.output,
               "TROUBLE  device         opening the session: /dev/null is a character "
               "device, not a terminal device\n         -> Name the serial device at which the "
               "reader is, one that you may use\n");
}

TEST_F(Doctor, ReaderThatAnswersNowhereIsNone) {
  Process program({QUORRA_PROGRAM, "doctor", "--config", reader.configuration(), "--json"});
  reader.serve(ask_version, hex("54"));
  for (int speeds = 0; speeds < 3; ++speeds)
    reader.serve(ask_status, hex("54"));
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.output.find(
                R"({"schema_version":1,"command":"doctor","ok":false,"exit_status":3,"steps":[)"),
            0U);
  expect_words(outcome.output,
               R"({"step":"speed","state":"missing","text":"no reader answers, at )"
               R"(none of the speeds 9600, 19200, 38400","remedy":"Has the reader )");
  reader.expect_closed();
}

TEST_F(Doctor, CanBeInterrupted) {
  Process program({QUORRA_PROGRAM, "doctor", "--config", reader.configuration()});
  reader.serve_opening();
  reader.expect(ask_version);
  program.signal(SIGINT);
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.signal, SIGINT);
  EXPECT_EQ(outcome.output, "");
  reader.expect_restored();
}

TEST_F(Doctor, FitsTheTerminal) {
  const std::string image = new_card("cpu", {"--force"});
  const Outcome narrow = doctor({"--virtual", image, "--card", "4442"}, "40");
  std::istringstream lines(narrow.output);
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    if (line.find(image) != std::string::npos) continue;  // a word that is longer
    EXPECT_LE(line.size(), 40U) << line;
  }
  EXPECT_GT(count, 8);
}

TEST_F(Doctor, ColoursAreLeftOutIfNotWanted) {
  const std::string image = new_card("4442");
  for (const bool wanted : {true, false}) {
    const Terminal terminal;
    Process program({QUORRA_PROGRAM, "doctor", "--virtual", image},
                    {.input = {},
                     .streams = {{STDOUT_FILENO, terminal.line()}},
                     .environment = {{"NO_COLOR", wanted ? "" : "1"}}});
    EXPECT_EQ(program.wait().status, 0);
    const std::string output = terminal.read_all();
    expect_words(output, "a memory card, 4442");
    EXPECT_EQ(output.find("\x1b[") != std::string::npos, wanted);
  }
}

TEST_F(Doctor, WrongUsageIsRefused) {
  expect_error(doctor({"--virtual", "a", "--device", "b"}), 2,
               "quorra: there is one reader: give --device or --virtual, not both\n");
  expect_error(doctor({"--config", "a", "--device", "b"}), 2,
               "quorra: there is one reader: give --config or --device, not both\n");
}

TEST_F(Doctor, KindThatIsNamedNeedsNoRemedy) {
  for (const auto& [held, named, words] : {std::array{"4442", "4442", "4442"},
                                           {"4428", "4428", "4428 or 4418"},
                                           {"4428", "4418", "4428 or 4418"}}) {
    SCOPED_TRACE(named);
    const Outcome outcome = doctor({"--virtual", new_card(held, {"--force"}), "--card", named});
    expect_words(outcome.output,
                 "ok       card           a memory card, " + std::string(words) + "\n");
    EXPECT_EQ(outcome.output.find("->"), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.status, 0);
  }
}

TEST_F(Doctor, VirtualReaderMayHaveASamAlone) {
  const Outcome outcome = doctor({"--virtual-sam", "3=" + new_card("cpu")});
  EXPECT_EQ(outcome.status, 3);
  expect_words(outcome.output, "ok       reader         a virtual one, with an empty slot\n");
  expect_words(outcome.output, "MISSING  card           no card is in the reader\n");
}

TEST_F(Doctor, FileThatIsFoundIsNamed) {
  const std::string file = folder / "home/quorra/reader.conf";
  std::filesystem::create_directories(folder / "home/quorra");
  write_file(file, "P=/dev/nowhere\n");
  const Outcome outcome = run_quorra(
      {"doctor"}, {.input = {},
                   .streams = {},
                   .environment = {{"COLUMNS", "300"}, {"XDG_CONFIG_HOME", folder / "home"}}});
  EXPECT_EQ(outcome.status, 3);
  expect_words(outcome.output, "ok       configuration  " + file + " (found)\n");
}

TEST_F(Doctor, WhoUsesTheDeviceIsTold) {
  const Terminal line;
  Process holder({"/usr/bin/flock", "-x", line.device(), "/bin/sh", "-c", "echo held; sleep 60"});
  ASSERT_EQ(holder.read_line(), "held");
  const Outcome outcome = doctor({"--device", line.device()});
  EXPECT_EQ(outcome.status, 1);
  expect_words(outcome.output,
               "TROUBLE  device         opening the session: " + line.device() + " is in use by ");
  expect_words(outcome.output, "-> End the program that has opened it, or wait for its end\n");
}

TEST_F(Doctor, DeviceThatIsKeptIsInUse) {
  const Terminal line;
  ASSERT_EQ(ioctl(line.line(), TIOCEXCL), 0);
  const Outcome outcome = run(without_privileges(
      {"/usr/bin/env", "COLUMNS=500", QUORRA_PROGRAM, "doctor", "--device", line.device()}));
  EXPECT_EQ(outcome.status, 1);
  expect_words(outcome.output, "-> End the program that has opened it, or wait for its end\n");
}

TEST_F(Doctor, DeviceThatNobodyMayOpenIsTold) {
  const Terminal line;
  ASSERT_EQ(chmod(line.device().c_str(), 0), 0);
  const Outcome outcome = run(without_privileges(
      {"/usr/bin/env", "COLUMNS=500", QUORRA_PROGRAM, "doctor", "--device", line.device()}));
  EXPECT_NE(outcome.status, 0);
  expect_words(outcome.output, "you may not use it; opened by ");
  EXPECT_EQ(line.read_all(), "");
}

// A serial terminal that nobody is at: there is no line P= in the file.
TEST_F(Doctor, SerialTerminalHasToBeOne) {
  const std::string file = folder / "terminal.conf";
  write_file(file, "S=\\033[5i\n");
  const Outcome outcome = doctor({"--config", file});
  EXPECT_EQ(outcome.status, 2);
  expect_words(outcome.output,
               "TROUBLE  configuration  opening the session: " + file +
                   " has no line P= with the name of a device, so the reader is at the terminal "
                   "that is standard output; but standard output is no terminal\n");
}

TEST_F(Doctor, SerialTerminalIsWell) {
  const Outcome outcome =
      run({QUORRA_SIM_PROGRAM, "--card", new_card("4442"), "--terminal", "--", QUORRA_PROGRAM,
           "doctor"},
          {.input = {}, .streams = {}, .environment = {{"COLUMNS", "300"}, {"NO_COLOR", "1"}}});
  EXPECT_EQ(outcome.status, 0);
  expect_words(outcome.output, "; no line P=: the reader is at this terminal\n");
  expect_words(outcome.output, "ok       card           a memory card, 4442\n");
}

TEST_F(Doctor, FileThatNamesNoDeviceIsNotWell) {
  const std::string file = folder / "reader.conf";
  const std::string trouble = "TROUBLE  configuration  opening the session: ";
  for (const std::string content : {"", "# P=/dev/none\n"}) {
    write_file(file, content);
    const Outcome outcome = doctor({"--config", file});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output.find(trouble + file + " has no line P= with "), 0U) << outcome.output;
    EXPECT_EQ(outcome.output.find("device  "), std::string::npos) << outcome.output;
  }
  write_file(file, "P=\n");
  const Outcome unnamed = doctor({"--config", file});
  EXPECT_EQ(unnamed.status, 2);
  expect_words(unnamed.output, trouble + "the line P= of " + file + " names no device\n");
  write_file(file, "\xEF\xBB\xBFP=/dev/none\n");
  const Outcome marked = doctor({"--config", file});
  EXPECT_EQ(marked.status, 2);
  expect_words(marked.output, ". The file begins with a byte order mark, ");
  expect_words(marked.output, "P=/dev/none: ignored: a byte order mark stands before it\n");
}

// Each line of an advice stays one.
TEST_F(Doctor, DeviceIsNoConfigurationFile) {
  const Terminal line;
  const Outcome outcome = doctor({"--config", line.device()});
  EXPECT_EQ(outcome.status, 2);
  const std::string indent(24, ' ');
  expect_words(outcome.output,
               "TROUBLE  configuration  " + line.device() +
                   " is a terminal device, not a configuration file. Name a file that holds the "
                   "line\n" +
                   indent + "  P=" + line.device() + "\n" + indent + "as it is made by\n" + indent +
                   "  echo P=" + line.device() + " > reader.conf\n");
}

// What a reader does that is there, but of which each reply is spoilt or a refusal.
struct BadReader {
  const char* name;
  const char* fault;
  const char* kind;
  std::vector<std::string> words;
};

class DoctorAtABadReader : public CommandLine, public ::testing::WithParamInterface<BadReader> {};

TEST_P(DoctorAtABadReader, TellsTheStepsThatFail) {
  const BadReader& bad = GetParam();
  Process simulator({QUORRA_SIM_PROGRAM, "--fault", bad.fault, "--card", new_card(bad.kind)});
  const Outcome outcome = doctor({"--config", simulator.read_line()}, "500");
  EXPECT_EQ(outcome.status, 1);
  for (const std::string& words : bad.words)
    expect_words(outcome.output, words);
}

const BadReader bad_readers[] = {
    // What asks for the serial number.
    {"serial_number",
     "status,every=1,on=0xB7,status=5",
     "4442",
     {"TROUBLE  serial number  reading the serial number: ",
      "-> The reader answered before: a loose cable or disturbance on the line may be the cause",
      "ok       card           a memory card, 4442\n"}},
    // What asks for the status, and whether a card is there.
    {"state",
     "wrong_check,every=1,on=0xB9",
     "4442",
     {"TROUBLE  status         asking whether the reader answers: the check byte of the reader's "
      "reply is wrong (-133)\n",
      "TROUBLE  card           examining the reader: the check byte of the reader's reply is wrong "
      "(-133)\n         -> Take the card out, put it in again, and try again\n"}},
    // A card that answers to nothing.
    {"silent_card",
     "status,every=1,on=0x20,status=5",
     "cpu",
     {"TROUBLE  card           a card is in the slot, but it answers neither as a memory card nor "
      "to a reset\n         -> It may be in upside down or the wrong way round"}},
};

INSTANTIATE_TEST_SUITE_P(Readers, DoctorAtABadReader, ::testing::ValuesIn(bad_readers),
                         [](const auto& one) { return one.param.name; });

}  // namespace
}  // namespace quorra::testing
