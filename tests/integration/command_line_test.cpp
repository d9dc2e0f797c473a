// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra, run as a user runs it: what it does with every card, and with a 4442.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <string>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

// A blank 4442 has read-only bytes at 0x00-0x03, 0x06-0x07 and 0x15-0x1A, and the code FF FF FF.
constexpr char blank_first_rows[] =
    "0000  A2*13*10*91*FF FF 81*15* FF FF FF FF FF FF FF FF  |................|\n"
    "0010  FF FF FF FF FF FF*FF*FF* FF*FF*FF*FF FF FF FF FF  |................|\n";

// ---- Help and usage

TEST_F(CommandLine, TellsItsVersion) {
  expect_success(run_quorra({"--version"}), "quorra " QUORRA_VERSION "\n");
}

TEST_F(CommandLine, HelpsWithEachSubcommand) {
  for (const Arguments& subcommand : {Arguments{"info"},
                                      {"detect"},
                                      {"read"},
                                      {"write"},
                                      {"erase"},
                                      {"fill"},
                                      {"verify"},
                                      {"code"},
                                      {"code", "present"},
                                      {"code", "change"},
                                      {"code", "counter"},
                                      {"protect"},
                                      {"map"},
                                      {"personalise"},
                                      {"fuse"},
                                      {"fuse", "imitate"},
                                      {"fuse", "release"},
                                      {"units"},
                                      {"units", "show"},
                                      {"units", "spend"},
                                      {"units", "carry"},
                                      {"apdu"},
                                      {"atr"},
                                      {"memory"},
                                      {"memory", "read"},
                                      {"memory", "write"},
                                      {"security"},
                                      {"security", "show"},
                                      {"security", "set"},
                                      {"security", "compare"},
                                      {"security", "mode"},
                                      {"value"},
                                      {"value", "show"},
                                      {"value", "set"},
                                      {"value", "add"},
                                      {"value", "subtract"},
                                      {"speed"},
                                      {"speed", "show"},
                                      {"speed", "find"},
                                      {"speed", "set"},
                                      {"beep"},
                                      {"power"},
                                      {"eject"},
                                      {"des"},
                                      {"des", "encrypt"},
                                      {"des", "decrypt"},
                                      {"run"},
                                      {"shell"}}) {
    Arguments arguments = subcommand;
    arguments.emplace_back("--help");
    const Outcome help = run_quorra(arguments);
    std::string name = "quorra";
    for (const std::string& word : subcommand) {
      name += ' ' + word;
    }
    SCOPED_TRACE(name);
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    EXPECT_NE(help.output.find("Usage: " + name + " "), std::string::npos);
    const std::size_t example = help.output.find("Example");
    ASSERT_NE(example, std::string::npos);
    EXPECT_NE(help.output.find("  " + name + " ", example), std::string::npos);
  }
}

TEST_F(CommandLine, WantsACommand) {
  const Outcome outcome = run_quorra({});
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors.find("quorra: quorra wants one of these behind it: info, detect, "), 0U)
      << outcome.errors;
  EXPECT_EQ(outcome.status, 2);
}

TEST_F(CommandLine, NamesTheKindsOfCards) {
  const auto told = [](const std::string& kind) {
    return run_quorra({"read", "--card", kind}).errors;
  };
  EXPECT_EQ(told("mystery").find("quorra: --card: 'mystery' is no kind of card; there are 4442, "),
            0U);
  EXPECT_EQ(told("4443").find(
                "quorra: --card: '4443' is no kind of card; did you mean '4442'? There are"),
            0U)
      << told("4443");
}

// An error that is told as JSON has nobody to read it, either.
TEST_F(CommandLine, ErrorsEndWithWhoeverReadsThem) {
  std::array<int, 2> pipe_ends{};
  ASSERT_EQ(pipe2(pipe_ends.data(), O_CLOEXEC), 0);
  close(pipe_ends[0]);
  const Outcome outcome =
      run_quorra({"read", "--json", "--virtual", "/nowhere"},
                 {.input = {}, .streams = {{STDOUT_FILENO, pipe_ends[1]}}, .environment = {}});
  close(pipe_ends[1]);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.signal, SIGPIPE);
}

TEST_F(CommandLine, EmulatorsHoldProcessorCards) {
  expect_error(run_quorra({"read", "--virtual", "vicc://localhost:1"}), 2,
               "quorra: vicc://localhost:1 is a processor card: quorra apdu sends it commands\n");
}

// A card in the slot that answers to nothing may be of any kind.
TEST_F(CommandLine, TellsThatNothingTellsTheKind) {
  const std::string configuration = folder / "reader.conf";
  Process simulator({QUORRA_SIM_PROGRAM, "--card", new_card("cpu"), "--fault",
                     "status,every=1,on=0x20,status=5", "--config", configuration});
  ASSERT_EQ(simulator.read_line(), configuration);
  expect_error(run_quorra({"detect", "--config", configuration}), 1,
               "quorra: looking for a card: reading does not tell which kind it is; quorra detect "
               "--by-writing --config " +
                   configuration +
                   " tries the kinds one after the other, and writes to the card\n");
  expect_error(run_quorra({"read", "--config", configuration}), 1,
               "quorra: recognising the card: reading does not tell which kind it is; name it "
               "with --card\n");
  const Outcome named = run_quorra({"read", "--config", configuration, "--card", "4442"});
  EXPECT_EQ(named.errors.find("quorra: that this is a 4442 could not be checked: reading does not "
                              "tell which kind it is\n"),
            0U)
      << named.errors;
  EXPECT_EQ(named.status, 1);
}

// Nothing is sent to a card of which nobody knows whether it is there.
TEST_F(CommandLine, TellsThatTheStateOfTheCardIsUnknown) {
  const std::string configuration = folder / "reader.conf";
  Process simulator({QUORRA_SIM_PROGRAM, "--card", new_card("4442"), "--fault",
                     "wrong_check,every=1,on=0xB9", "--config", configuration});
  ASSERT_EQ(simulator.read_line(), configuration);
  for (const Arguments& command : {Arguments{"read"}, {"read", "--card", "4442"}, {"detect"}}) {
    expect_error(run_quorra(command + Arguments{"--config", configuration}), 1,
                 "quorra: recognising the card: the check byte of the reader's reply is wrong "
                 "(-133)\n");
  }
  // A code that was refused may still be the wrong one.
  write_file(folder / "lines",
             "code present 000000\nexpect wrong_code\ncode present 000000\nexpect failed\n"
             "code counter\nexpect 2\n");
  const Outcome outcome =
      run_quorra({"run", "--card", "4442", "--force", "--config", configuration, folder / "lines"});
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(CommandLine, RecordingsThatAreNoneAreRefused) {
  const auto trace = [](const std::string& file, const std::string& input) {
    return run({"/bin/sh", "-c", R"(exec "$0" trace "$1" < )" + input, QUORRA_PROGRAM, file});
  };
  expect_error(trace("-", "/dev/null"), 1,
               "quorra: reading standard input: it is too short for a pcapng file\n");
  expect_error(trace("-", "/dev/zero"), 2,
               "quorra: standard input holds more than 67108864 bytes, and is no regular file\n");
  expect_error(trace("/dev/zero", "/dev/null"), 2,
               "quorra: /dev/zero holds more than 67108864 bytes, and is no regular file\n");
}

TEST_F(CommandLine, TellsHowToNameAReader) {
  const Outcome outcome = run_quorra({"read"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors.find("quorra: no reader given."), 0U);
  EXPECT_NE(outcome.errors.find("--config FILE"), std::string::npos);
  EXPECT_NE(outcome.errors.find("--virtual IMAGE"), std::string::npos);
}

// Of these, none gets as far as noticing that there is no such image or configuration file.
TEST_F(CommandLine, RefusesWrongUsageBeforeItDoesAnything) {
  struct Case {
    Arguments arguments;
    std::string error;
  };
  const std::string parse_hint = "; see quorra --help";
  const Case cases[] = {
      {{},
       "quorra wants one of these behind it: info, detect, kinds, map, read, write, erase, fill, "
       "verify, backup, restore, diff, batch, code, protect, personalise, fuse, units, apdu, atr, "
       "memory, "
       "security, value, setup, doctor, speed, beep, power, eject, des, run, shell, tap, trace, "
       "help" +
           parse_hint},
      {{"fly"}, "The following argument was not expected: fly" + parse_hint},
      {{"read", "--fast"}, "The following argument was not expected: --fast" + parse_hint},
      {{"read", "--address"}, "--address: 1 required N missing" + parse_hint},
      {{"code"}, "code wants one of these behind it: present, change, counter" + parse_hint},
      {{"code", "fly"}, "The following argument was not expected: fly" + parse_hint},
      {{"write", "AA"}, "--address is required, or --at: what is given has no address of its own"},
      {{"code", "present"}, "HEX is required, or --code-file or --code-fd" + parse_hint},
      {{"code", "change", "112233"},
       "--code is required, or --code-file or --code-fd" + parse_hint},
      {{"protect"}, "--address or --at is required" + parse_hint},
      {{"read", "--card", "4443"},
       "--card: '4443' is no kind of card; did you mean '4442'? There are 4442, 4432, 4428, 4418, "
       "24c01a, 24c02, 24c04, "
       "24c08, 24c16, 24c32, 24c64, 93c46a, 93c46, 93c57, 93c66, 45d041, 4404, 4406, 101, 102, "
       "1604, 1604b" +
           parse_hint},
      {{"read", "--config", "nowhere"},
       "there is one reader: give --config or --virtual, not both"},
      {{"read", "--speed", "9600"}, "--speed belongs to --config; a virtual reader has no speed"},

      {{"read", "--address", "-1"}, "--address: -1 is negative"},
      {{"read", "--address", "0x-1"}, "--address: '0x-1' is not a number, such as 32 or 0x20"},
      {{"read", "--address", "0x"}, "--address: '0x' is not a number, such as 32 or 0x20"},
      {{"read", "--address", ""}, "--address: '' is not a number, such as 32 or 0x20"},
      {{"read", "--address", "+1"}, "--address: '+1' is not a number, such as 32 or 0x20"},
      {{"read", "--address", "12 "}, "--address: '12 ' is not a number, such as 32 or 0x20"},
      {{"read", "--address", "1f"}, "--address: '1f' is not a number, such as 32 or 0x20"},
      {{"read", "--count", "99999999999"}, "--count: 99999999999 is far too large"},
      {{"read", "--count", "0x100000000"}, "--count: 0x100000000 is far too large"},

      {{"read", "--address", "256"},
       "address 0x0100 is not in the memory of a 4442 card, which is 0x0000 to 0x00FF"},
      {{"read", "--address", "0xFF", "--count", "2"},
       "2 bytes at 0x00FF do not fit: the memory of a 4442 card ends at 0x00FF"},
      {{"read", "--address", "1", "--count", "2147483647"},
       "2147483647 bytes at 0x0001 do not fit: the memory of a 4442 card ends at 0x00FF"},
      {{"read", "--count", "0"}, "a count of 0 leaves nothing to do"},

      {{"write", "--address", "0"}, "nothing to write: give HEX, --text or --file"},
      {{"write", "--address", "0", "--text", ""}, "nothing to write: there is not one byte"},
      {{"write", "--address", "0", "AA", "--text", "a"},
       "give one of HEX, --text and --file, not several"},
      {{"write", "--address", "0", "ABC"},
       "HEX: 'ABC' has an odd number of digits; a byte has two"},
      {{"write", "--address", "0", "A2:1:10"},
       "HEX: '1' has an odd number of digits; a byte has two"},
      {{"write", "--address", "0", "A2", "1G"}, "HEX: '1G' is not hexadecimal"},
      {{"write", "--address", "0", "0x"}, "HEX: '0x' is not hexadecimal"},
      {{"write", "--address", "254", "A1A2A3"},
       "3 bytes at 0x00FE do not fit: the memory of a 4442 card ends at 0x00FF"},
      {{"write", "--address", "256", "A1"},
       "address 0x0100 is not in the memory of a 4442 card, which is 0x0000 to 0x00FF"},
      {{"write", "--address", "0", "--file", "/nowhere/data"},
       "reading /nowhere/data: No such file or directory"},
      {{"write", "--address", "0", "--file", "/dev/zero"},
       "--file: /dev/zero holds more than the 256 bytes of a 4442 card"},
      {{"write", "--address", "0", "--code", "FFFF", "A1"},
       "--code: the code of a 4442 card is 3 bytes, not 2"},
      {{"write", "--card", "4432", "--address", "0", "--code", "FFFFFF", "A1"},
       "a 4432 card has no code"},

      {{"verify", "AA"}, "--address is required, or --at: what is given has no address of its own"},
      {{"verify", "--address", "0"}, "nothing to compare: give HEX, --text or --file"},
      {{"verify", "--address", "255", "AABB"},
       "2 bytes at 0x00FF do not fit: the memory of a 4442 card ends at 0x00FF"},
      {{"fill", "--yes", "4442"}, "--byte is required" + parse_hint},
      {{"fill", "--byte", "AABB", "--yes", "4442"}, "--byte: one byte is wanted, such as 5A"},
      {{"fill", "--byte", "", "--yes", "4442"}, "--byte: one byte is wanted, such as 5A"},
      {{"fill", "--byte", "5", "--yes", "4442"},
       "--byte: '5' has an odd number of digits; a byte has two"},
      {{"fill", "--byte", "5A"},
       "filling the card: All 256 bytes of the card are overwritten. Confirm with --yes 4442."},
      {{"erase"},
       "erasing the card: All 256 bytes of the card are overwritten. Confirm with --yes 4442."},
      {{"erase", "--address", "256"},
       "address 0x0100 is not in the memory of a 4442 card, which is 0x0000 to 0x00FF"},
      {{"erase", "--count", "0"}, "a count of 0 leaves nothing to do"},
      {{"detect", "--by-writing"},
       "looking for a card: Looking for a card writes to it and puts the bytes back; on a card of "
       "another kind some of them may stay changed. Confirm with --yes."},
      {{"write", "--card", "4428", "--address", "1020", "AABB"},
       "2 bytes at 0x03FC do not fit: the part of a 4428 card that can be written ends at 0x03FC"},
      {{"write", "--card", "4428", "--at", "code", "1234"},
       "the code of a 4428 card is not written as bytes are; quorra code change changes it"},
      {{"erase", "--card", "4428", "--address", "1021", "--yes", "4428"},
       "address 0x03FD is not in the part of a 4428 card that can be written, which is 0x0000 to "
       "0x03FC"},
      {{"protect", "--card", "4428", "--address", "1021", "--yes", "4428"},
       "address 0x03FD is not in the part of a 4428 card that can be protected, which is 0x0000 to "
       "0x03FC"},
      {{"protect", "--card", "24c02", "--address", "0", "--yes", "24c02"},
       "the bytes of a 24c02 card cannot be protected"},
      {{"write", "--card", "24c02", "--address", "0", "--code", "FFFFFF", "A1"},
       "a 24c02 card has no code"},
      {{"code", "--card", "93c46", "counter"}, "a 93c46 card has no code"},
      {{"code", "--card", "4428", "present", "112233"},
       "HEX: the code of a 4428 card is 2 bytes, not 3"},
      {{"read", "--card", "93c46a", "--address", "127", "--count", "2"},
       "2 bytes at 0x007F do not fit: the memory of a 93c46a card ends at 0x007F"},
      {{"read", "--card", "45d041", "--address", "540672"},
       "address 0x84000 is not in the memory of a 45d041 card, which is 0x0000 to 0x83FFF"},

      {{"code", "present", "11", "22"}, "HEX: the code of a 4442 card is 3 bytes, not 2"},
      {{"code", "change", "--code", "112233", "11223344"},
       "NEW: the code of a 4442 card is 3 bytes, not 4"},
      {{"code", "--card", "4432", "counter"}, "a 4432 card has no code"},
      {{"code", "--card", "4432", "present", "112233"}, "a 4432 card has no code"},
      {{"code", "--card", "4432", "change", "--code", "112233", "112233"},
       "a 4432 card has no code"},

      {{"protect", "--address", "32", "--yes", "4442"},
       "address 0x0020 is not in the part of a 4442 card that can be protected, which is 0x0000 to "
       "0x001F"},
      {{"protect", "--address", "30", "--count", "3", "--yes", "4442"},
       "3 bytes at 0x001E do not fit: the part of a 4442 card that can be protected ends at "
       "0x001F"},
      {{"protect", "--address", "0"},
       "protecting: Protecting these bytes cannot be undone. Confirm with --yes 4442."},
  };
  for (const Case& one : cases) {
    Arguments arguments = Arguments{"--virtual", "nowhere.toml"} + one.arguments;
    const bool names_card = std::ranges::find(arguments, "--card") != arguments.end();
    if (!names_card) arguments = Arguments{"--card", "4442"} + arguments;
    SCOPED_TRACE(one.error);
    expect_error(run_quorra(arguments), 2, "quorra: " + one.error + "\n");
  }
}

TEST_F(CommandLine, TakesItsOwnOptionsBeforeAndAfterTheSubcommand) {
  const std::string image = new_card("4442");
  expect_success(run_quorra({"--virtual", image, "--card", "4442", "code", "counter"}),
                 "3 attempts left.\n");
  expect_success(run_quorra({"code", "--virtual", image, "counter", "--card", "4442"}),
                 "3 attempts left.\n");
}

TEST_F(CommandLine, RefusesABadImage) {
  const std::string damaged = folder / "damaged.toml";
  write_file(damaged, "format = \"none\"\n");
  for (const std::string& image : {damaged, folder / "nowhere.toml"}) {
    const Outcome outcome = run_quorra({"read", "--virtual", image});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors.find("quorra: starting the virtual reader: "), 0U) << outcome.errors;
    EXPECT_NE(outcome.errors.find(image), std::string::npos) << outcome.errors;
  }
  expect_error(run_quorra({"read", "--virtual", ""}), 2,
               "quorra: --virtual: the name of the file is empty; see quorra --help\n");
  expect_error(run_quorra({"read", "--virtual", damaged, "--config", "nowhere"}), 2,
               "quorra: there is one reader: give --config or --virtual, not both\n");
}

// ---- info

TEST_F(CommandLine, InfoTellsLibraryReaderAndCard) {
  for (const char* kind : {"4442", "4432"}) {
    const std::string image = new_card(kind);
    expect_success(run_quorra({"info", "--virtual", image}),
                   "library        KW###DRVSFT-V6.60B\n"
                   "reader         KWSPC-VIRTUAL V1.0\n"
                   "serial number  VIRTUAL-00000001\n"
                   "answers        yes\n"
                   "card           4442 or 4432\n");
    ASSERT_EQ(unlink(image.c_str()), 0);
  }
}

TEST_F(CommandLine, InfoTellsThatThereIsAnotherCard) {
  const std::string image = new_card("4432", {"--data", "6:0000"});
  const std::string output = run_quorra({"info", "--virtual", image}).output;
  EXPECT_NE(output.find("card           none recognised\n"), std::string::npos) << output;
}

// ---- read

TEST_F(CommandLine, ReadShowsTheWholeCard) {
  const std::string image = new_card("4442", {"--data", "0x40:476F6F64206D6F726E696E6721", "--data",
                                              "0x7E:7E7F1F20", "--data", "0xFE:0080"});
  expect_success(
      run_quorra({"read", "--virtual", image}),
      blank_first_rows +
          std::string(
              "0020  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "0030  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "0040  47 6F 6F 64 20 6D 6F 72  6E 69 6E 67 21 FF FF FF  |Good morning!...|\n"
              "0050  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "0060  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "0070  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF 7E 7F  |..............~.|\n"
              "0080  1F 20 FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |. ..............|\n"
              "0090  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00A0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00B0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00C0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00D0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00E0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00F0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF 00 80  |................|\n") +
          legend);
}

TEST_F(CommandLine, ReadShowsAPart) {
  const std::string image = new_card("4442", {"--data", "0x20:30313233343536373839"});
  expect_success(run_quorra({"read", "--virtual", image, "--address", "0x1A", "--count", "10"}),
                 "0010                                 FF*FF FF FF FF FF  |          ......|\n"
                 "0020  30 31 32 33                                       |0123            |\n"
                 "*  read-only for good\n");
  // Nothing in it is protected, so the sign is not explained.
  expect_success(run_quorra({"read", "--virtual", image, "--address", "0X21", "--count", "1"}),
                 "0020     31                                             | 1              |\n");
}

TEST_F(CommandLine, ReadSavesTheBytes) {
  const std::string image = new_card("4442", {"--data", "0x20:00010A0D80"});
  const std::string expected("\x00\x01\x0A\x0D\x80", 5);
  const Arguments part = {"read", "--virtual", image, "--address", "0x20", "--count", "5"};
  const auto with = [&part](const Arguments& more) {
    Arguments all = part;
    all.insert(all.end(), more.begin(), more.end());
    return all;
  };
  const std::string file = folder / "bytes";
  write_file(file, "something longer than that");
  expect_success(run_quorra(with({"--output", file})),
                 "Read 5 bytes at 0x0020 into " + file + ".\n");
  EXPECT_EQ(content_of(file), expected);
  expect_success(run_quorra(with({"--raw"})), expected);
  expect_success(run_quorra(with({"--output", "-"})), expected);

  expect_error(run_quorra(with({"--output", "/nowhere/bytes"})), 2,
               "quorra: opening /nowhere/bytes: No such file or directory\n");
  expect_error(run_quorra(with({"--output", "/dev/full"})), 1,
               "quorra: writing /dev/full: No space left on device\n");
}

// ---- write

TEST_F(CommandLine, WriteNeedsTheCode) {
  const std::string image = new_card("4442");
  expect_error(run_quorra({"write", "--virtual", image, "--address", "0x20", "DEAD"}), 1,
               refused_write + std::string(": at 0x0020 the card holds FF, not DE\n"));
  expect_success(
      run_quorra({"write", "--virtual", image, "--address", "0x20", "--code", "ffFFff", "DEAD"}),
      "Wrote 2 bytes at 0x0020 and read them back.\n");
  EXPECT_EQ(memory_of(image).substr(0x20, 3), "\xDE\xAD\xFF");
}

TEST_F(CommandLine, WriteTakesHexTextAndFiles) {
  const std::string image = new_card("4432");
  const auto write = [&image](const Arguments& data, const std::string& input = {}) {
    Arguments all = {"--card", "4432", "--virtual", image, "write", "--address", "0x20"};
    all.insert(all.end(), data.begin(), data.end());
    return run_quorra(all, {.input = input, .streams = {}, .environment = {}});
  };
  const std::string done = "Wrote 4 bytes at 0x0020 and read them back.\n";
  const auto held = [&] { return memory_of(image).substr(0x20, 4); };
  for (const Arguments& hex : {Arguments{"01 a2:B3", "0xc4"},
                               {"0x01A2B3C4"},
                               {"01:A2:B3:C4"},
                               {"01", "A2", "B3", "C4"},
                               {" 01A2 0xB3C4 "}}) {
    expect_success(write({"00000000"}), done);
    expect_success(write(hex), done);
    EXPECT_EQ(held(), "\x01\xA2\xB3\xC4");
  }
  expect_success(write({"--text", "Good"}), done);
  EXPECT_EQ(held(), "Good");
  write_file(folder / "data", "File");
  expect_success(write({"--file", folder / "data"}), done);
  EXPECT_EQ(held(), "File");
  expect_success(write({"--file", "-"}, "Pipe"), done);
  EXPECT_EQ(held(), "Pipe");
  expect_success(write({"--no-verify", "AABBCCDD"}), "Wrote 4 bytes at 0x0020.\n");
  EXPECT_EQ(held(), "\xAA\xBB\xCC\xDD");
}

TEST_F(CommandLine, WriteFillsTheWholeCard) {
  const std::string image = new_card("4432");
  const std::string before = memory_of(image);
  std::string data = before;
  for (std::size_t at = 0x20; at < data.size(); ++at) {
    data[at] = static_cast<char>(at);
  }
  write_file(folder / "data", data);
  expect_success(run_quorra({"write", "--card", "4432", "--virtual", image, "--address", "0",
                             "--file", folder / "data"}),
                 "Wrote 256 bytes at 0x0000 and read them back.\n");
  EXPECT_EQ(memory_of(image), data);
}

TEST_F(CommandLine, WriteNamesTheFirstByteThatIsProtected) {
  const std::string image = new_card("4442", {"--protect", "10-11"});
  expect_error(
      run_quorra({"write", "--virtual", image, "--address", "8", "--code", "FFFFFF", "01020304"}),
      1,
      "quorra: writing the card: 2 bytes cannot become what they should, at 0x000A-0x000B: "
      "read-only for good; nothing was written; --skip-protected leaves them out\n");
}

TEST_F(CommandLine, WriteWithAWrongCodeWritesNothing) {
  const std::string image = new_card("4442");
  const std::string before = memory_of(image);
  expect_error(
      run_quorra({"write", "--virtual", image, "--address", "0x20", "--code", "000000", "DEAD"}), 1,
      refused_code + std::string("; 2 attempts left\n"));
  EXPECT_EQ(memory_of(image), before);
}

// ---- code

TEST_F(CommandLine, CodeCountsAttempts) {
  const std::string image = new_card("4442", {"--code", "123456"});
  const auto counter = [&image] { return run_quorra({"code", "counter", "--virtual", image}); };
  const auto present = [&image](const std::string& code) {
    return run_quorra({"code", "present", "--virtual", image, code});
  };
  expect_success(counter(), "3 attempts left.\n");
  expect_error(present("123457"), 1, refused_code + std::string("; 2 attempts left\n"));
  expect_success(counter(), "2 attempts left.\n");
  expect_error(
      present("FFFFFF"), 1,
      refused_code + std::string("; 1 attempt left: a wrong code locks the card for good\n"));
  expect_success(counter(), "1 attempt left: a wrong code locks the card for good.\n");

  // Even the right one is not tried now without a word of consent.
  expect_error(present("123456"), 2,
               "quorra: presenting the code: 1 attempt left: a wrong code locks the card for good. "
               "Confirm with --yes 4442.\n");
  expect_success(counter(), "1 attempt left: a wrong code locks the card for good.\n");
  expect_success(run_quorra({"code", "present", "--virtual", image, "--yes", "4442", "123456"}),
                 "The code is right.\n");
  expect_success(counter(), "3 attempts left.\n");
}

TEST_F(CommandLine, CodeLocksTheCard) {
  const std::string image = new_card("4442", {"--counter", "1"});
  expect_error(
      run_quorra({"write", "--virtual", image, "--address", "0x20", "--code", "000000", "DEAD"}), 2,
      "quorra: presenting the code: 1 attempt left: a wrong code locks the card for good. Confirm "
      "with --yes 4442.\n");
  expect_error(run_quorra({"code", "present", "--virtual", image, "--yes", "4442", "000000"}), 1,
               refused_code + std::string("; 0 attempts left: the card is locked for good\n"));
  expect_success(run_quorra({"code", "counter", "--virtual", image}),
                 "0 attempts left: the card is locked for good.\n");
  expect_error(run_quorra({"code", "present", "--virtual", image, "--yes", "4442", "FFFFFF"}), 1,
               "quorra: presenting the code: 0 attempts left: the card is locked for good\n");
}

TEST_F(CommandLine, CodeIsChanged) {
  const std::string image = new_card("4442");
  expect_success(
      run_quorra({"code", "change", "--virtual", image, "--code", "FFFFFF", "12", "34", "56"}),
      "The code is changed.\n");
  expect_success(run_quorra({"code", "present", "--virtual", image, "12:34:56"}),
                 "The code is right.\n");
  expect_error(run_quorra({"code", "change", "--virtual", image, "--code", "FFFFFF", "000000"}), 1,
               refused_code + std::string("; 2 attempts left\n"));
  expect_success(run_quorra({"code", "present", "--virtual", image, "123456"}),
                 "The code is right.\n");
}

// ---- protect

TEST_F(CommandLine, ProtectLastsInTheImage) {
  const std::string image = new_card("4442");
  expect_success(run_quorra({"protect", "--virtual", image, "--address", "8", "--count", "4",
                             "--code", "FFFFFF", "--yes", "4442"}),
                 "Protected 4 bytes at 0x0008.\n");
  expect_success(run_quorra({"read", "--virtual", image, "--count", "16"}),
                 "0000  A2*13*10*91*FF FF 81*15* FF*FF*FF*FF*FF FF FF FF  |................|\n" +
                     std::string(legend));
  expect_error(
      run_quorra({"write", "--virtual", image, "--address", "8", "--code", "FFFFFF", "01"}), 1,
      protected_byte("0x0008"));
}

TEST_F(CommandLine, ProtectTellsWhatIsProtectedAlready) {
  const std::string image = new_card("4442");
  expect_success(run_quorra({"protect", "--virtual", image, "--address", "0", "--count", "4",
                             "--yes", "4442"}),
                 "Already protected: 4 bytes at 0x0000.\n");
  expect_success(run_quorra({"protect", "--virtual", image, "--address", "2", "--count", "3",
                             "--code", "FFFFFF", "--yes", "4442"}),
                 "Protected 3 bytes at 0x0002 (already protected: 2).\n");
}

TEST_F(CommandLine, ProtectNeedsTheCode) {
  const std::string image = new_card("4442");
  expect_error(run_quorra({"protect", "--virtual", image, "--address", "8", "--yes", "4442"}), 1,
               "quorra: protecting: a byte is still writable, or is not what was written (-129)\n");
  expect_success(run_quorra({"protect", "--virtual", image, "--address", "8", "--code", "FFFFFF",
                             "--yes", "4442"}),
                 "Protected 1 byte at 0x0008.\n");
}

// ---- On a terminal

TEST_F(CommandLine, ProtectTakesARegion) {
  const std::string image = new_card("4442");
  expect_success(run_quorra({"protect", "--virtual", image, "--at", "protectable+9", "--count", "2",
                             "--code", "FFFFFF", "--yes", "4442"}),
                 "Protected 2 bytes at 0x0009.\n");
  expect_error(run_quorra({"protect", "--virtual", image, "--at", "data", "--yes", "4442"}), 2,
               "quorra: address 0x0020 is not in the part of a 4442 card that can be protected, "
               "which is 0x0000 to 0x001F\n");
}

TEST_F(CommandLine, ProtectAsksOnATerminal) {
  const std::string image = new_card("4442", {"--data", "8:4142"});
  const auto protect = [&image](const std::string& answer) {
    const Terminal terminal;
    Process program({QUORRA_PROGRAM, "protect", "--virtual", image, "--address", "8", "--count",
                     "2", "--code", "FFFFFF"},
                    {.input = {},
                     .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                     .environment = {{"NO_COLOR", "1"}}});
    EXPECT_EQ(terminal.read_until("on: "),
              "0000                           41 42                    |        AB      |\n"
              "Protecting these bytes cannot be undone. Type 4442 to go on: ");
    terminal.type(answer);
    Outcome outcome = program.wait();
    outcome.errors = terminal.read_all();
    return outcome;
  };
  for (const char* no : {"y\n", "yes\n", "\n", "4428\n", "44422\n", "\x04"}) {
    expect_error(protect(no), 2, "quorra: protecting: not confirmed with 4442\n");
  }
  expect_success(protect(" 4442 \n"), "Protected 2 bytes at 0x0008.\n");
}

TEST_F(CommandLine, LastAttemptIsConfirmedOnATerminal) {
  const std::string image = new_card("4442", {"--counter", "1"});
  const Terminal terminal;
  Process program({QUORRA_PROGRAM, "code", "present", "--virtual", image, "FFFFFF"},
                  {.input = {},
                   .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                   .environment = {}});
  EXPECT_EQ(terminal.read_until("on: "),
            "1 attempt left: a wrong code locks the card for good. Type 4442 to go on: ");
  terminal.type("4442\n");
  expect_success(program.wait(), "The code is right.\n");
}

TEST_F(CommandLine, QuestionIsInterrupted) {
  const std::string image = new_card("4442");
  const std::string before = content_of(image);
  const Terminal terminal;
  Process program({QUORRA_PROGRAM, "protect", "--virtual", image, "--address", "8"},
                  {.input = {},
                   .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                   .environment = {{"NO_COLOR", "1"}}});
  terminal.read_until("to go on: ");
  program.signal(SIGINT);
  expect_ended_by(program.wait(), SIGINT, "");
  EXPECT_EQ(terminal.read_all(), "\nquorra: protecting: interrupted\n");
  EXPECT_EQ(content_of(image), before);
}

TEST_F(CommandLine, ColoursAreForTerminals) {
  const std::string image = new_card("4442");
  const auto on_terminal = [](int stream, const Arguments& arguments, const char* no_color) {
    const Terminal terminal;
    Surroundings surroundings;
    surroundings.streams = {{stream, terminal.line()}};
    surroundings.environment["NO_COLOR"] = no_color;
    run_quorra(arguments, surroundings);
    return terminal.read_all();
  };
  const Arguments read = {"read", "--virtual", image, "--address", "3", "--count", "2"};
  const std::string plain =
      "0000           91*FF                                    |   ..           |\n"
      "*  read-only for good\n";
  const std::string coloured =
      "0000           \x1b[33m91*\x1b[0mFF                                    |   ..           |\n"
      "\x1b[33m*\x1b[0m  read-only for good\n";
  expect_success(run_quorra(read), plain);
  EXPECT_EQ(on_terminal(STDOUT_FILENO, read, ""), coloured);
  EXPECT_EQ(on_terminal(STDOUT_FILENO, read, "1"), plain);

  const Arguments wrong = {"read", "--count", "x"};
  EXPECT_EQ(on_terminal(STDERR_FILENO, wrong, ""),
            "\x1b[31mquorra: \x1b[0m--count: 'x' is not a number, such as 32 or 0x20\n");
  EXPECT_EQ(on_terminal(STDERR_FILENO, wrong, "1"),
            "quorra: --count: 'x' is not a number, such as 32 or 0x20\n");
}

// ---- Output that goes nowhere

TEST_F(CommandLine, TellsThatOutputIsLost) {
  const std::string image = new_card("4442");
  std::array<int, 2> pipe_ends{};
  ASSERT_EQ(pipe2(pipe_ends.data(), O_CLOEXEC), 0);
  close(pipe_ends[0]);
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  for (const Arguments& arguments : {Arguments{"read", "--virtual", image},
                                     {"read", "--virtual", image, "--raw"},
                                     {"read", "--virtual", image, "--json"},
                                     {"--help"}}) {
    Surroundings surroundings;
    surroundings.streams = {{STDOUT_FILENO, pipe_ends[1]}};
    expect_ended_by(run_quorra(arguments, surroundings), SIGPIPE, "");
    surroundings.streams = {{STDOUT_FILENO, full}};
    expect_error(run_quorra(arguments, surroundings), 1,
                 "quorra: writing to standard output: No space left on device\n");
  }
  // Whoever ignores the signal wants to be told.
  expect_error(run({"/bin/sh", "-c", R"(trap '' PIPE; exec "$0" --help)", QUORRA_PROGRAM},
                   {.input = {}, .streams = {{STDOUT_FILENO, pipe_ends[1]}}, .environment = {}}),
               1, "quorra: writing to standard output: Broken pipe\n");
  close(full);
  close(pipe_ends[1]);

  expect_error(
      run({"/bin/sh", "-c", R"(exec "$0" read --virtual "$1" >&-)", QUORRA_PROGRAM, image}), 1,
      "quorra: writing to standard output: Bad file descriptor\n");
}

}  // namespace
}  // namespace quorra::testing
