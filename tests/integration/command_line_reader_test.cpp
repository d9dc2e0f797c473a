// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra at a reader that a configuration file names.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/integration/command_line_reader.hpp"
#include "tests/support/bytes.hpp"

namespace quorra::testing {
namespace {

// A reader at the auxiliary port of a serial terminal.
constexpr char terminal_configuration[] = R"(W=\033[5i
A=\033[4i
C=\033[0i
)";

// ---- A reader with a configuration file

TEST_F(CommandLine, UsesTheReaderThatAConfigurationFileNames) {
  const std::string image = new_card("4442");
  Process simulator({QUORRA_SIM_PROGRAM, "--card", image});
  const std::string configuration = simulator.read_line();
  expect_success(run_quorra({"write", "--config", configuration, "--speed", "115200", "--address",
                             "0x20", "--code", "FFFFFF", "DEAD"}),
                 "Wrote 2 bytes at 0x0020 and read them back.\n");
  expect_success(
      run_quorra({"read", "--config", configuration, "--address", "0x20", "--count", "2"}),
      "0020  DE AD                                             |..              |\n");
  // The card kept its power between the sessions. A virtual reader says that it is one.
  expect_error(
      run_quorra({"write", "--config", configuration, "--address", "0", "--code", "FFFFFF", "00"}),
      1, protected_byte("0x0000"));
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

// A folder has taken the place of the image. Then the reader refuses all requests, also the one
// that asks what it is, with which a session begins.
TEST_F(CommandLine, TellsThatAVirtualReaderCannotSaveTheCard) {
  const std::string image = new_card("4432");
  Process simulator({QUORRA_SIM_PROGRAM, "--card", image});
  const std::string configuration = simulator.read_line();
  std::filesystem::remove(image);
  std::filesystem::create_directory(image);
  expect_error(run_quorra({"write", "--config", configuration, "--card", "4432", "--force",
                           "--address", "0x20", "AA"}),
               1,
               "quorra: writing the card: the reader refused the command with status 49 (0x31): "
               "the image file could not be saved (-49); not known: 0x0020\n");
  // The change waits to be saved, so it refuses already when a session begins.
  const std::string refused =
      "quorra: opening the session: the reader refused the command with status 49 (0x31): "
      "the image file could not be saved (-49)\n";
  expect_error(run_quorra({"read", "--config", configuration, "--card", "4432"}), 1, refused);
  expect_error(run_quorra({"speed", "show", "--config", configuration}), 1, refused);
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 2);
}

TEST_F(CommandLine, InfoTellsThatThereIsNoCard) {
  Process simulator(
      {QUORRA_SIM_PROGRAM, "--version-text", "KWSPC-1", "--serial", "0123456789ABCDEF"});
  const std::string configuration = simulator.read_line();
  expect_success(run_quorra({"info", "--config", configuration}),
                 "library        KW###DRVSFT-V6.60B\n"
                 "reader         KWSPC-1\n"
                 "serial number  0123456789ABCDEF\n"
                 "answers        yes\n"
                 "card           none recognised: the reader refused the command "
                 "with status 33 (0x21) (-33)\n");
  const std::string none = "quorra: recognising the card: no card is in the reader\n";
  expect_error(run_quorra({"read", "--config", configuration}), 3, none);
  expect_error(run_quorra({"read", "--config", configuration, "--card", "24c02"}), 3, none);
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

TEST_F(CommandLine, TellsWhyNoSessionOpens) {
  const auto read = [this](const std::string& configuration, const Arguments& more = {}) {
    write_file(folder / "reader.conf", configuration);
    Arguments arguments = {"read", "--config", folder / "reader.conf"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_quorra(arguments);
  };
  expect_error(run_quorra({"read", "--config", folder / "nowhere"}), 2,
               "quorra: --config: the configuration file " + (folder / "nowhere") +
                   " cannot be read: No such file or directory\n");
  expect_error(read("P=/nowhere/line\n"), 3,
               "quorra: opening the session: /nowhere/line cannot be opened: No such file or "
               "directory: there is no such device\n");
  const std::string nowhere =
      "quorra: opening the session: " + (folder / "reader.conf") +
      " has no line P= with the name of a device, so the reader is at the terminal that is "
      "standard output; but standard output is no terminal";
  const std::string bytes = {'\x01', '\0', '\xFF'};
  for (const std::string& content : {std::string(terminal_configuration), std::string(),
                                     std::string("# P=/dev/none\n"), bytes}) {
    expect_error(read(content), 2, nowhere + "\n");
  }
  expect_error(read("\xEF\xBB\xBFP=/nowhere/line\n"), 2,
               nowhere +
                   ". The file begins with a byte order mark, which hides its first line: save it "
                   "without one\n");
  expect_error(read("\xEF\xBB\xBF# note\nP=/nowhere/line\n"), 3,
               "quorra: opening the session: /nowhere/line cannot be opened: No such file or "
               "directory: there is no such device\n");
  expect_error(
      read("P=/dev/null\n", {"--speed", "1200"}), 2,
      "quorra: --speed: 1200 is none of the speeds of a serial device: 9600, 19200, 38400, "
      "57600, 115200\n");
  expect_error(read("", {"--speed", "38400"}), 2,
               "quorra: --speed: 38400 is none of the speeds of a terminal's auxiliary port: 1200, "
               "2400, 4800, 9600, 19200\n");
}

// ---- A reader that answers whatever the test wants

class ScriptedCard : public ScriptedCommandLine {
 protected:
  const Bytes read_two = sealed("AA 61 00 07 79 00 00 00 20 00 02");
  const Bytes write_two = sealed("AA 60 00 07 79 00 00 00 20 DE AD");
  const Bytes read_counter = sealed("AA 67 00 07 79 00 00 00 00 00 04");
  const Bytes switch_off = sealed("AA B3 00 05 80 00 00 00 00");
  const Bytes present_code = sealed("AA 64 00 08 79 00 00 00 00 11 22 33");
};

TEST_F(ScriptedCard, RefusesAReaderThatAnswersBadly) {
  Process program = start({"read"});
  reader.serve(ask_version, hex("54"));
  expect_error(program.wait(), 3, reader.no_reader());
  reader.expect_closed();
}

// The reader takes the first request for the end of what a program had begun when it was killed.
TEST_F(ScriptedCard, OpensBehindHalfAFrame) {
  Process program = start({"beep", "5"});
  reader.serve(ask_version, reply(17, {}));
  reader.serve_opening();
  reader.serve(sealed("AA B4 00 07 80 00 00 00 00 00 05"), reply(0, {}));
  expect_success(program.wait(), "");
  Process refused = start({"beep", "5"});
  reader.serve(ask_version, reply(17, {}));
  reader.serve(ask_version, reply(17, {}));
  reader.serve_identity();
  EXPECT_EQ(refused.wait().status, 1);
  reader.expect_closed();
}

TEST_F(ScriptedCard, WriteComparesWhatItReadsBack) {
  Process program = start({"write", "--address", "0x20", "DEAD"});
  reader.serve_opening();
  reader.serve(read_two, reply(0, hex("FF FF")));
  reader.serve(write_two, reply(0, {}));
  reader.serve(read_two, reply(0, hex("DE AF")));
  expect_error(program.wait(), 1,
               "quorra: reading back what was written: at 0x0021 the card holds AF, not AD; "
               "written: 0x0020; not written: 0x0021\n");
  reader.expect_closed();
}

TEST_F(ScriptedCard, WriteReadsNothingBackIfToldSo) {
  Process program = start({"write", "--address", "0x20", "--no-verify", "DEAD"});
  reader.serve_opening();
  reader.serve(read_two, reply(0, hex("FF FF")));
  reader.serve(write_two, reply(0, {}));
  expect_success(program.wait(), "Wrote 2 bytes at 0x0020.\n");
  reader.expect_closed();
}

TEST_F(ScriptedCard, TellsWhatTheLibraryReports) {
  struct Case {
    Bytes answer;
    std::string words;
    bool is_status = false;
  };
  const Case cases[] = {
      {hex("54"), "the reader's reply has a wrong first byte (-128)"},
      {hex("55"), "timeout waiting for the reader's reply (-132)"},
      {hex("55 00 00 02 DE AD 00"), "the check byte of the reader's reply is wrong (-133)"},
      {reply(37, {}), "the reader refused the command with status 37 (0x25) (-37)", true},
      {reply(1, {}), "the reader refused the command with status 1 (0x01) (-1)", true},
      {reply(255, {}), "the reader refused the command with status 255 (0xFF) (-255)", true},
      {reply(132, {}), "timeout waiting for the reader's reply (-132)"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.words);
    Process program = start({"read", "--address", "0x20", "--count", "2", "--raw"});
    reader.serve_opening();
    reader.serve(read_two, one.answer);
    if (one.is_status) reader.serve_identity();
    expect_error(program.wait(), 1, "quorra: reading the card: " + one.words + "\n");
    reader.expect_closed();
  }
}

TEST_F(ScriptedCard, ProtectWordsItsOwnMeaningsOfTheNumbers) {
  const Bytes read_byte = sealed("AA 61 00 07 79 00 00 00 08 00 01");
  const Bytes read_bits = sealed("AA 74 00 07 79 00 00 00 00 00 04");
  const Bytes protect_byte = sealed("AA 75 00 06 79 00 00 00 08 41");
  const Bytes writable = reply(0, hex("FF FF FF FF"));
  const auto protect = [&](const Bytes& bits_after) {
    Process program = start({"protect", "--address", "8", "--yes", "4442"});
    reader.serve_opening();
    reader.serve(read_byte, reply(0, hex("41")));
    reader.serve(read_bits, writable);
    reader.serve(protect_byte, reply(0, {}));
    reader.serve(read_bits, bits_after);
    return program.wait();
  };
  expect_error(protect(reply(0x21, {})), 1,
               "quorra: protecting: the result could not be read back (-128)\n");
  expect_error(protect(writable), 1,
               "quorra: protecting: a byte is still writable, or is not what was written (-129)\n");
  reader.expect_closed();
}

TEST_F(ScriptedCard, DoesNotGuessTheAttemptsAfterADisturbedExchange) {
  Process program = start({"code", "present", "112233"});
  reader.serve_opening();
  reader.serve(read_counter, reply(0, hex("07 00 00 00")));
  reader.serve(present_code, hex("54"));
  expect_error(program.wait(), 1,
               "quorra: presenting the code: the reader's reply has a wrong first byte (-128)\n");
  reader.expect_closed();
}

// Without standard output and error, the line to the reader must not become one of them.
TEST_F(ScriptedCard, AsksNoQuestionsOfTheReader) {
  const Terminal terminal;
  Process program({"/bin/sh", "-c", R"(exec "$0" "$@" >&- 2>&-)", QUORRA_PROGRAM, "code", "present",
                   "112233", "--card", "4442", "--force", "--config", reader.configuration()},
                  {.input = {}, .streams = {{STDIN_FILENO, terminal.line()}}, .environment = {}});
  reader.serve_opening();
  reader.serve(read_counter, reply(0, hex("01 00 00 00")));
  terminal.type("n\n");
  EXPECT_EQ(program.wait().status, 2);
  reader.expect_closed();
}

// Only a virtual reader is known to mean by its STATUS what the program says.
TEST_F(ScriptedCard, StatusIsNotExplainedForAReaderThatDoesNotTellWhatItIs) {
  Process program = start({"read", "--address", "0x20", "--count", "2"});
  reader.serve_opening();
  reader.serve(read_two, reply(37, {}));
  reader.serve(sealed("AA B0 00 07 80 00 00 00 00 00 12"), reply(1, {}));
  expect_error(program.wait(), 1,
               "quorra: reading the card: the reader refused the command with status 37 (0x25) "
               "(-37)\n");
  reader.expect_closed();
}

TEST_F(ScriptedCard, EraseReadsBack) {
  Process program = start({"erase", "--card", "93c46", "--yes", "93c46"});
  reader.serve_opening();
  reader.serve(sealed("AA 78 00 05 69 00 00 00 00"), reply(0, {}));
  Bytes held(128, 0xFF);
  held[5] = 0x7F;
  reader.serve(sealed("AA 61 00 07 69 00 00 00 00 00 80"), reply(0, held));
  expect_error(program.wait(), 1,
               "quorra: reading back what was erased: at 0x0005 the card holds 7F, not FF\n");
  reader.expect_closed();
}

TEST_F(ScriptedCard, NewCodeIsReadBack) {
  Process program = start({"code", "change", "--code", "112233", "445566"});
  reader.serve_opening();
  reader.serve(read_counter, reply(0, hex("07 00 00 00")));
  reader.serve(present_code, reply(0, {}));
  reader.serve(sealed("AA 66 00 08 79 00 00 00 00 44 55 66"), reply(0, {}));
  reader.serve(sealed("AA 65 00 07 79 00 00 00 00 00 04"), reply(0, hex("07 44 55 67")));
  expect_error(program.wait(), 1,
               "quorra: reading back the new code: the card holds another code\n");
  reader.expect_closed();
}

TEST_F(ScriptedCard, InfoShowsBytesThatAreNoText) {
  Process program = start({"info"});
  reader.serve_opening();
  reader.serve(sealed("AA B0 00 07 80 00 00 00 00 00 12"), reply(0, text("KWSPC")));
  reader.serve(sealed("AA B7 00 07 80 00 00 01 90 00 10"), reply(0, counting(16, 0xF1)));
  reader.serve(sealed("AA B9 00 05 80 00 00 00 00"), reply(0x86, {}));
  reader.serve(sealed("AA 61 00 07 79 00 00 00 06 00 02"), reply(0, hex("FF FF")));
  reader.serve(switch_off, reply(0, {}));
  reader.serve(sealed("AA 61 00 07 77 00 00 00 00 00 04"), reply(0, hex("92 23 10 FF")));
  for (const char* security_card :
       {"AA 61 00 07 7A 00 00 00 00 00 03", "AA 61 00 07 7B 00 00 00 00 00 03",
        "AA 61 00 07 72 00 00 00 00 00 02", "AA 61 00 07 73 00 00 00 00 00 02",
        "AA 61 00 07 73 0B 00 00 00 00 02"}) {
    reader.serve(switch_off, reply(0, {}));
    reader.serve(sealed(security_card), reply(0, hex("FF FF FF")));
  }
  for (int attempt = 0; attempt < 4; ++attempt) {
    reader.serve(sealed("AA 20 80 05 20 00 00 00 00"), reply(0x22, {}));
  }
  reader.serve_identity();
  expect_success(program.wait(),
                 "library        KW###DRVSFT-V6.60B\n"
                 "reader         KWSPC\n"
                 "serial number  F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF 00\n"
                 "answers        yes\n"
                 "card           none recognised\n");
  reader.expect_closed();
}

// The signal comes while the program waits for the reply to a write. The write is done, and nothing
// after it.
TEST_F(ScriptedCard, SignalsEndItBetweenTwoCalls) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Process program = start({"write", "--address", "0x20", "DEAD"});
    reader.serve_opening();
    reader.serve(read_two, reply(0, hex("FF FF")));
    reader.expect(write_two);
    program.signal(signal);
    reader.answer(reply(0, {}));
    expect_ended_by(program.wait(), signal,
                    "quorra: reading back what was written: interrupted; 0 of 2 bytes read back; "
                    "written: 0x0020-0x0021\n");
    reader.expect_closed();
  }
}

// All is done then, and told; but whoever runs the program in a loop wants the loop to end.
TEST_F(ScriptedCard, SignalDuringTheLastCallEndsItAfterItsWork) {
  Process program = start({"write", "--address", "0x20", "--no-verify", "DEAD"});
  reader.serve_opening();
  reader.serve(read_two, reply(0, hex("FF FF")));
  reader.expect(write_two);
  program.signal(SIGINT);
  reader.answer(reply(0, {}));
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.output, "Wrote 2 bytes at 0x0020.\n");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.signal, SIGINT);
  reader.expect_closed();
}

TEST_F(ScriptedCard, SpeaksThroughASerialTerminal) {
  const std::string configuration = folder / "terminal.conf";
  write_file(configuration, terminal_configuration);
  const auto wrapped = [](const Bytes& frame) {
    std::string bytes;
    for (const unsigned char byte : frame) {
      bytes += "\x1b[5i" + std::string(1, static_cast<char>(byte)) + "\x1b[4i";
    }
    return bytes;
  };
  const Terminal terminal;
  const auto serve = [&](const Bytes& request, const Bytes& answer) {
    EXPECT_EQ(terminal.read(wrapped(request).size()), wrapped(request));
    terminal.type(std::string(answer.begin(), answer.end()));
  };
  const int line = terminal.line();
  Process program({QUORRA_PROGRAM, "code", "present", "112233", "--card", "4442", "--force",
                   "--config", configuration},
                  {.input = {},
                   .streams = {{STDIN_FILENO, line}, {STDOUT_FILENO, line}, {STDERR_FILENO, line}},
                   .environment = {}});
  serve(ask_version, good_version);
  serve(read_counter, reply(0, hex("01 00 00 00")));
  EXPECT_EQ(terminal.read_until("on: "),
            "1 attempt left: a wrong code locks the card for good. Type 4442 to go on: ");
  terminal.type("4442\r");
  serve(present_code, reply(0, {}));
  EXPECT_EQ(program.wait().status, 0);
  // The result comes when the line is a terminal again.
  EXPECT_EQ(terminal.read_all(), "\x1b[0iThe code is right.\n");
}

TEST_F(ScriptedCard, IgnoredSignalsStayIgnored) {
  Process program({"/bin/sh", "-c", R"(trap '' HUP; exec "$0" "$@")", QUORRA_PROGRAM, "write",
                   "--address", "0x20", "DEAD", "--card", "4442", "--force", "--config",
                   reader.configuration()});
  reader.serve_opening();
  reader.serve(read_two, reply(0, hex("FF FF")));
  reader.expect(write_two);
  program.signal(SIGHUP);
  reader.answer(reply(0, {}));
  reader.serve(read_two, reply(0, hex("DE AD")));
  expect_success(program.wait(), "Wrote 2 bytes at 0x0020 and read them back.\n");
  reader.expect_closed();
}

}  // namespace
}  // namespace quorra::testing
