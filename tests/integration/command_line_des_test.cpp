// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra and DES, which needs no reader.

#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

constexpr char key[] = "133457799BBCDFF1";
constexpr char plain[] = "0123456789ABCDEF";
constexpr char enciphered[] = "85E813540F0AB405";
const std::string enciphered_bytes = "\x85\xE8\x13\x54\x0F\x0A\xB4\x05";

// What happens to a block of zeros under this key.
const Arguments zero_key = {"--key", "0000000000000000"};
constexpr char enciphered_zeros[] = "8C A6 4D E9 C1 B1 23 A7";

class Des : public CommandLine {};

TEST_F(Des, EncryptsAndDecrypts) {
  expect_success(run_quorra({"des", "encrypt", "--key", key, plain}), "85 E8 13 54 0F 0A B4 05\n");
  expect_success(run_quorra({"des", "decrypt", "--key", key, enciphered}),
                 "01 23 45 67 89 AB CD EF\n");
  expect_success(run_quorra(Arguments{"des", "encrypt", "00 00 00 00", "00:00:00:00"} + zero_key),
                 std::string(enciphered_zeros) + "\n");
}

// Blocks do not depend on one another.
TEST_F(Des, LongResultsAreDumped) {
  const std::string blocks = std::string(plain) + plain + plain;
  expect_success(run_quorra({"des", "encrypt", "--key", key, blocks}),
                 "0000  85 E8 13 54 0F 0A B4 05  85 E8 13 54 0F 0A B4 05  |...T.......T....|\n"
                 "0010  85 E8 13 54 0F 0A B4 05                           |...T....        |\n");
}

TEST_F(Des, LastBlockIsFilledWithZeros) {
  const Outcome five = run_quorra(Arguments{"des", "encrypt", "0000000000"} + zero_key);
  EXPECT_EQ(five.status, 0);
  EXPECT_EQ(five.output, std::string(enciphered_zeros) + "\n");
  EXPECT_EQ(five.errors, "Filled the last block with 3 bytes of 00.\n");
  const Outcome fifteen = run_quorra(Arguments{"des", "encrypt", std::string(30, '0')} + zero_key);
  EXPECT_EQ(fifteen.output, std::string(enciphered_zeros) + " " + enciphered_zeros + "\n");
  EXPECT_EQ(fifteen.errors, "Filled the last block with 1 byte of 00.\n");
}

TEST_F(Des, ResultComesBeforeTheNoteOnIt) {
  expect_success(run({"/bin/sh", "-c", R"(exec "$0" des encrypt --key 0000000000000000 00 2>&1)",
                      QUORRA_PROGRAM}),
                 std::string(enciphered_zeros) + "\nFilled the last block with 7 bytes of 00.\n");
}

TEST_F(Des, DecryptingWantsWholeBlocks) {
  const std::pair<std::size_t, const char*> cases[] = {
      {1, "1 byte"}, {7, "7 bytes"}, {9, "9 bytes"}, {15, "15 bytes"}};
  for (const auto& [size, words] : cases) {
    expect_error(run_quorra(Arguments{"des", "decrypt", std::string(2 * size, '0')} + zero_key), 2,
                 std::string("quorra: ") + words + " cannot be split into blocks of 8 bytes\n");
  }
}

TEST_F(Des, TakesTextAndFiles) {
  write_file(folder / "key", "13345779 9BBCDFF1\n");
  write_file(folder / "plain", "\x01\x23\x45\x67\x89\xAB\xCD\xEF");
  const Arguments with_key = {"--key-file", folder / "key"};
  expect_success(run_quorra(Arguments{"des", "encrypt", "--file", folder / "plain", "--output",
                                      folder / "out"} +
                            with_key),
                 "Wrote 8 bytes to " + (folder / "out") + ".\n");
  EXPECT_EQ(content_of(folder / "out"), enciphered_bytes);
  expect_success(run_quorra(Arguments{"des", "decrypt", "--file", "-", "--output", "-"} + with_key,
                            {.input = enciphered_bytes, .streams = {}, .environment = {}}),
                 content_of(folder / "plain"));
  const std::string text = "Good morning, all the world";
  EXPECT_EQ(
      run_quorra(Arguments{"des", "encrypt", "--text", text, "--output", folder / "out"} + with_key)
          .status,
      0);
  expect_success(
      run_quorra(Arguments{"des", "decrypt", "--file", folder / "out", "--output", "-"} + with_key),
      text + std::string(5, '\0'));
}

TEST_F(Des, RefusesWrongUsage) {
  write_file(folder / "short", "13 34 57");
  write_file(folder / "long", "133457799BBCDFF1 00");
  struct Case {
    Arguments arguments;
    std::string words;
  };
  const Case cases[] = {
      {{plain}, "--key: there is nobody to ask; give --key-file or --key-fd"},
      {{plain, "--key", key, "--key-file", "x"},
       "give one of --key, --key-file and --key-fd, not several"},
      {{plain, "--key", "13345779"}, "--key: a key is 8 bytes, not 4"},
      {{plain, "--key", "133457799BBCDFF100"}, "--key: a key is 8 bytes, not 9"},
      {{plain, "--key", "secret"}, "--key: what was given is not hexadecimal"},
      {{plain, "--key-file", folder / "short"}, "--key-file: a key is 8 bytes, not 3"},
      {{plain, "--key-file", folder / "long"}, "--key-file: a key is 8 bytes, not 9"},
      {{plain, "--key-file", folder / "nowhere"},
       "reading " + (folder / "nowhere") + ": No such file or directory"},
      {{"--key", key}, "nothing to encrypt: give HEX, --text or --file"},
      {{"--key", key, "--text", ""}, "nothing to encrypt: there is not one byte"},
      {{"--key", key, plain, "--text", "x"}, "give one of HEX, --text and --file, not several"},
      {{plain, "--key-file", ""}, "--key-file: the name of the file is empty; see quorra --help"},
      {{"--key", key, "--file", ""}, "--file: the name of the file is empty; see quorra --help"},
      {{"--key", key, plain, "--output", ""},
       "--output: the name of the file is empty; see quorra --help"},
      {{"--key", key, plain, "--output", (folder / "nowhere") + "/x"},
       "opening " + (folder / "nowhere") + "/x: No such file or directory"},
      {{"--key", key, "--file", folder / ""}, "reading " + folder / "" + ": Is a directory"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.words);
    expect_error(run_quorra(Arguments{"des", "encrypt"} + one.arguments), 2,
                 "quorra: " + one.words + "\n");
  }
}

TEST_F(Des, ShownBytesLeaveNoRoomForJson) {
  const Outcome outcome =
      run_quorra({"des", "encrypt", "--json", "--key", key, "--output", "-", plain});
  EXPECT_EQ(outcome.output,
            R"({"schema_version":1,"command":"des encrypt","ok":false,"exit_status":2,)"
            R"("error":{"kind":"usage","message":"--json goes to standard output, and the bytes )"
            R"(cannot go there, too"}})"
            "\n");
  EXPECT_EQ(outcome.status, 2);
}

TEST_F(Des, StandardInputMayBeNoFile) {
  expect_error(run({"/bin/sh", "-c", R"(exec "$0" des encrypt --key "$1" --file - < /)",
                    QUORRA_PROGRAM, key}),
               2, "quorra: reading standard input: Is a directory\n");
}

// The key is asked for on the terminal, which does not show it.
class DesOnTerminal : public Des {
 protected:
  // If it is ended by a signal, it leaves no memory dump.
  Process start() const {
    return Process(
        {"/bin/sh", "-c", R"(ulimit -c 0; exec "$0" des encrypt "$1")", QUORRA_PROGRAM, plain},
        {.input = {},
         .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
         .environment = {{"NO_COLOR", "1"}},
         .has_own_group = true});
  }
  bool echoes() const {
    termios settings{};
    EXPECT_EQ(tcgetattr(terminal.line(), &settings), 0);
    return (settings.c_lflag & ECHO) != 0;
  }
  void wait_for_question() const {
    EXPECT_EQ(terminal.read_until("Key: "), "Key: ");
    // The program makes the terminal silent after the question.
    while (echoes())
      usleep(1000);
  }
  void show_what_is_typed() const {
    termios settings{};
    EXPECT_EQ(tcgetattr(terminal.line(), &settings), 0);
    settings.c_lflag |= ECHO;
    EXPECT_EQ(tcsetattr(terminal.line(), TCSANOW, &settings), 0);
  }

  const Terminal terminal;
};

TEST_F(DesOnTerminal, AsksForTheKey) {
  show_what_is_typed();
  Process program = start();
  wait_for_question();
  terminal.type(std::string(key) + "\n");
  expect_success(program.wait(), "85 E8 13 54 0F 0A B4 05\n");
  EXPECT_EQ(terminal.read_all(), "\n");
  EXPECT_TRUE(echoes());
}

TEST_F(DesOnTerminal, QuestionIsInterrupted) {
  show_what_is_typed();
  Process program = start();
  wait_for_question();
  program.signal(SIGINT);
  EXPECT_EQ(program.wait().signal, SIGINT);
  EXPECT_EQ(terminal.read_all(), "\nquorra: asking for the key: interrupted\n");
  EXPECT_TRUE(echoes());
}

TEST_F(DesOnTerminal, IsNotLeftSilentByQuitting) {
  show_what_is_typed();
  Process program = start();
  wait_for_question();
  program.signal(SIGQUIT);
  terminal.type(std::string(key) + "\n");
  EXPECT_EQ(program.wait().signal, SIGQUIT);
  EXPECT_TRUE(echoes());
}

TEST_F(DesOnTerminal, IsNotLeftSilentByStopping) {
  show_what_is_typed();
  Process program = start();
  wait_for_question();
  program.signal(SIGTSTP);
  terminal.type(std::string(key) + "\n");
  for (int tries = 0; !echoes() && tries < 10'000; ++tries)
    usleep(1000);
  EXPECT_TRUE(echoes());
  program.signal(SIGCONT);
  expect_success(program.wait(), "85 E8 13 54 0F 0A B4 05\n");
}

TEST_F(DesOnTerminal, WrongKeyIsRefused) {
  Process program = start();
  EXPECT_EQ(terminal.read_until("Key: "), "Key: ");
  terminal.type("1234\n");
  EXPECT_EQ(program.wait().status, 2);
  EXPECT_EQ(terminal.read_all(), "\nquorra: --key: a key is 8 bytes, not 2\n");
}

}  // namespace
}  // namespace quorra::testing
