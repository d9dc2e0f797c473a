// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Codes that are no arguments, and the word for what cannot be undone.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "tests/integration/command_line.hpp"
#include "tests/support/process.hpp"

namespace quorra::testing {
namespace {

class Secrets : public CommandLine {
 protected:
  std::string file(const std::string& name, const std::string& content) const {
    std::ofstream(folder / name, std::ios::binary) << content;
    return folder / name;
  }
};

TEST_F(Secrets, CodesComeFromAFile) {
  const std::string image = new_card("4442", {"--code", "123456"});
  for (const char* content : {"123456\n", "12 34 56", "12:34:56\r\n"}) {
    SCOPED_TRACE(content);
    const std::string code = file("code", content);
    expect_success(run_quorra({"code", "present", "--virtual", image, "--code-file", code}),
                   "The code is right.\n");
  }
  expect_success(run_quorra({"write", "--virtual", image, "--address", "0x20", "--code-file",
                             folder / "code", "A1A2"}),
                 "Wrote 2 bytes at 0x0020 and read them back.\n");
  expect_success(run_quorra({"code", "change", "--virtual", image, "--code-file", folder / "code",
                             "--new-code-file", file("new", "AABBCC")}),
                 "The code is changed.\n");
  expect_success(run_quorra({"code", "present", "--virtual", image, "AABBCC"}),
                 "The code is right.\n");
  expect_success(run_quorra({"code", "present", "--virtual", image, "--code-file", "-"},
                            {.input = "AABBCC\n", .streams = {}, .environment = {}}),
                 "The code is right.\n");
}

TEST_F(Secrets, CodesComeFromADescriptor) {
  const std::string image = new_card("102", {"--force"});
  const Arguments script = {"/bin/sh", "-c",
                            R"sh(printf 'FFFF\nrest\n' > "$1.in"; exec 3< "$1.in"
         "$0" erase --virtual "$1" --zone 1 --address 16 --count 2 --code-fd 3 --yes 102 &&
         cat <&3)sh",
                            QUORRA_PROGRAM, image};
  // What follows the line belongs to others.
  expect_success(run(script), "Erased 2 bytes at 0x0010 and read them back.\nrest\n");
}

TEST_F(Secrets, EveryWrongWayIsRefusedBeforeAnythingIsSent) {
  const std::string image = new_card("4442");
  const std::string before = content_of(image);
  const std::string words = file("words", "no code");
  const std::string shorter = file("shorter", "1234");
  const std::string longer = file("longer", std::string(257, ' '));
  struct Case {
    Arguments arguments;
    std::string words;
  };
  const Case cases[] = {
      {{"code", "present"}, "HEX is required, or --code-file or --code-fd; see quorra --help"},
      {{"code", "change", "123456"},
       "--code is required, or --code-file or --code-fd; see quorra --help"},
      {{"code", "change", "--code", "FFFFFF"},
       "NEW is required, or --new-code-file or --new-code-fd; see quorra --help"},
      {{"code", "present", "FFFFFF", "--code-file", words},
       "give one of HEX, --code-file and --code-fd, not several"},
      {{"code", "present", "--code-fd", "3", "--code-file", words},
       "give one of HEX, --code-file and --code-fd, not several"},
      {{"code", "present", "-"}, "HEX: there is nobody to ask; give --code-file or --code-fd"},
      {{"code", "change", "--code", "FFFFFF", "-"},
       "NEW: there is nobody to ask; give --new-code-file or --new-code-fd"},
      {{"read", "--code", "-"}, "--code: there is nobody to ask; give --code-file or --code-fd"},
      {{"code", "present", "--code-file", words}, "--code-file: what was given is not hexadecimal"},
      {{"code", "present", "--code-file", shorter},
       "--code-file: the code of a 4442 card is 3 bytes, not 2"},
      {{"code", "present", "--code-file", longer},
       "--code-file: " + longer + " holds more than 256 bytes"},
      {{"code", "present", "--code-file", folder / "nowhere"},
       "reading " + (folder / "nowhere") + ": No such file or directory"},
      {{"code", "present", "--code-fd", "77"},
       "--code-fd: cannot read from 77: Bad file descriptor"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.words);
    expect_error(run_quorra(one.arguments + Arguments{"--virtual", image}), 2,
                 "quorra: " + one.words + "\n");
  }
  EXPECT_EQ(content_of(image), before);
}

TEST_F(Secrets, ALineOfADescriptorIsNoLongerThanAnySecret) {
  const std::string image = new_card("4442");
  const auto present = [&](const std::string& line) {
    return run({"/bin/sh", "-c", R"("$0" code present --virtual "$1" --code-fd 3 3< "$2")",
                QUORRA_PROGRAM, image, file("line", line)});
  };
  expect_success(present("FFFFFF" + std::string(250, ' ')), "The code is right.\n");
  expect_error(present("FFFFFF" + std::string(251, ' ')), 2,
               "quorra: --code-fd: the line is longer than 256 bytes\n");
}

// The signal is there before the program begins, and waits until it is let in.
TEST_F(Secrets, ASignalEndsTheWaitForADescriptor) {
  const std::string image = new_card("4442");
  const std::string before = content_of(image);
  const std::string fifo = folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  expect_ended_by(
      run({"/usr/bin/env", "--block-signal=TERM", "/bin/sh", "-c",
           R"(kill -TERM $$; exec "$0" code present --virtual "$1" --code-fd 3 3<> "$2")",
           QUORRA_PROGRAM, image, fifo}),
      SIGTERM, "quorra: --code-fd: interrupted\n");
  EXPECT_EQ(content_of(image), before);
}

// A program with a person before it.
class AtATerminal : public Secrets {
 protected:
  Process start(const Arguments& arguments) const {
    return Process(Arguments{QUORRA_PROGRAM} + arguments,
                   {.input = {},
                    .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                    .environment = {{"NO_COLOR", "1"}}});
  }

  const Terminal terminal;
};

TEST_F(AtATerminal, ACodeIsAskedFor) {
  const std::string image = new_card("4442", {"--code", "123456"});
  Process program = start({"code", "present", "--virtual", image, "-"});
  EXPECT_EQ(terminal.read_until("Code: "), "Code: ");
  terminal.type("123456\n");
  expect_success(program.wait(), "The code is right.\n");
}

TEST_F(AtATerminal, ANewCodeIsAskedForTwice) {
  const std::string image = new_card("4442");
  Process program = start({"code", "change", "--virtual", image, "--code", "-", "-"});
  terminal.read_until("Code: ");
  terminal.type("FFFFFF\n");
  terminal.read_until("New code: ");
  terminal.type("123456\n");
  terminal.read_until("New code again: ");
  terminal.type("123456\n");
  expect_success(program.wait(), "The code is changed.\n");
  expect_success(run_quorra({"code", "present", "--virtual", image, "123456"}),
                 "The code is right.\n");
}

TEST_F(AtATerminal, ANewCodeThatIsTypedOtherwiseChangesNothing) {
  const std::string image = new_card("4442");
  const std::string before = content_of(image);
  Process program = start({"code", "change", "--virtual", image, "--code", "FFFFFF", "-"});
  terminal.read_until("New code: ");
  terminal.type("123456\n");
  terminal.read_until("New code again: ");
  terminal.type("123457\n");
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(terminal.read_until("ones\n"), "\nquorra: NEW: these are two different ones\n");
  EXPECT_EQ(content_of(image), before);
}

TEST_F(Secrets, YesIsForTheKindThatItNames) {
  const std::string image = new_card("4404", {"--force"});
  const std::string before = content_of(image);
  struct Case {
    Arguments arguments;
    std::string kind;
  };
  for (const Arguments& arguments : {Arguments{"personalise", "--code", "FFFF"},
                                     {"erase", "--code", "FFFF"},
                                     {"fill", "--byte", "00"},
                                     {"protect", "--code", "FFFF"},
                                     {"code", "present", "FFFF"},
                                     {"read"},
                                     {"verify", "--address", "0", "FF"},
                                     {"write", "--address", "0", "FF"},
                                     {"map"},
                                     {"backup", folder / "b.json"}}) {
    SCOPED_TRACE(arguments.front());
    expect_error(run_quorra(arguments + Arguments{"--virtual", image, "--yes", "4406"}), 2,
                 "quorra: --yes: the card is a 4404, not a 4406\n");
    const Outcome without = run_quorra(arguments + Arguments{"--virtual", image, "--yes"});
    EXPECT_EQ(without.status, 2);
  }
  EXPECT_EQ(content_of(image), before);
  expect_success(run_quorra({"personalise", "--code", "FFFF", "--virtual", image, "--yes", "4404"}),
                 "The card is personalised.\n");
}

TEST_F(Secrets, WhatIdentifiesACardIsNotChangedByTheWay) {
  const std::string image = new_card("101", {"--force"});
  const std::string before = content_of(image);
  const Arguments code = {"--virtual", image, "--code", "FFFF"};
  const std::string warning =
      "Bytes that identify the card become others. Confirm with --yes 101.\n";
  expect_error(run_quorra(Arguments{"write", "--address", "0", "0000"} + code), 2,
               "quorra: writing the card: " + warning);
  expect_error(
      run_quorra(Arguments{"fill", "--byte", "00", "--address", "9", "--count", "1"} + code), 2,
      "quorra: filling the card: " + warning);
  EXPECT_EQ(content_of(image), before);
  // What it holds already may be written, and so may the bytes behind.
  EXPECT_EQ(run_quorra(Arguments{"write", "--address", "0", "0F0F"} + code).status, 0);
  EXPECT_EQ(run_quorra(Arguments{"write", "--address", "13", "00"} + code).status, 0);
  EXPECT_EQ(run_quorra(Arguments{"write", "--address", "0", "0000", "--yes", "101"} + code).status,
            0);
}

}  // namespace
}  // namespace quorra::testing
