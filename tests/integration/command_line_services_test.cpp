// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra and what the reader itself offers: memory, security code, value, speed,
// buzzer, power and ejection.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

// How the virtual reader refuses a wrong code of its own.
constexpr char wrong_reader_code[] =
    "quorra: presenting the reader's security code: the reader refused the command with status 36 "
    "(0x24): the security code is wrong (-36)\n";

// A virtual reader that lives longer than a command.
class Services : public CommandLine {
 protected:
  Outcome quorra(const Arguments& arguments, const Surroundings& surroundings = {}) {
    return run_quorra(arguments + Arguments{"--config", configuration}, surroundings);
  }

  Process simulator{{QUORRA_SIM_PROGRAM}};
  const std::string configuration = simulator.read_line();
};

// ---- Memory

TEST_F(Services, MemoryIsWrittenAndRead) {
  expect_success(quorra({"memory", "read", "--address", "0x17E"}),
                 "0170                                             FF FF  |              ..|\n");
  expect_success(quorra({"memory", "write", "--address", "0x17E", "DE AD"}),
                 "Wrote 2 bytes at 0x017E and read them back.\n");
  expect_success(quorra({"memory", "write", "--address", "0", "--text", "Till 7", "--no-verify"}),
                 "Wrote 6 bytes at 0x0000.\n");
  expect_success(quorra({"memory", "read", "--count", "8"}),
                 "0000  54 69 6C 6C 20 37 FF FF                           |Till 7..        |\n");
  const std::string all = "Till 7" + std::string(384 - 8, '\xFF') + "\xDE\xAD";
  expect_success(quorra({"memory", "read", "--raw"}), all);
  expect_success(quorra({"memory", "read", "--output", folder / "saved"}),
                 "Read 384 bytes at 0x0000 into " + (folder / "saved") + ".\n");
  EXPECT_EQ(content_of(folder / "saved"), all);
  expect_success(quorra({"memory", "write", "--address", "0x100", "--file", "-"},
                        {.input = "from a file", .streams = {}, .environment = {}}),
                 "Wrote 11 bytes at 0x0100 and read them back.\n");
  expect_success(quorra({"memory", "read", "--address", "256", "--count", "11", "--raw"}),
                 "from a file");
}

TEST_F(Services, MemoryHasBounds) {
  struct Case {
    Arguments arguments;
    std::string words;
  };
  write_file(folder / "large", std::string(385, 'x'));
  const Case cases[] = {
      {{"read", "--address", "384"},
       "address 0x0180 is not in the reader's memory, which is 0x0000 to 0x017F"},
      {{"read", "--address", "383", "--count", "2"},
       "2 bytes at 0x017F do not fit: the reader's memory ends at 0x017F"},
      {{"read", "--count", "0"}, "a count of 0 leaves nothing to do"},
      {{"write", "--address", "383", "DEAD"},
       "2 bytes at 0x017F do not fit: the reader's memory ends at 0x017F"},
      {{"write", "--address", "0"}, "nothing to write: give HEX, --text or --file"},
      {{"write", "00"}, "--address is required; see quorra --help"},
      {{"write", "--address", "0", "--file", folder / "large"},
       "--file: " + (folder / "large") + " holds more than the 384 bytes of the reader's memory"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.words);
    expect_error(quorra(Arguments{"memory"} + one.arguments), 2, "quorra: " + one.words + "\n");
  }
  expect_success(quorra({"memory", "write", "--address", "0", "--text", std::string(384, 'x')}),
                 "Wrote 384 bytes at 0x0000 and read them back.\n");
}

// ---- Security code

TEST_F(Services, SecurityCodeIsComparedAndChanged) {
  expect_success(quorra({"security", "show"}), "FF FF FF\n");
  expect_error(quorra({"security", "compare", "123456"}), 1, wrong_reader_code);
  expect_success(quorra({"security", "compare", "FF FF FF"}), "The reader accepts the code.\n");
  expect_error(quorra({"security", "set", "123456"}), 2,
               "quorra: changing the reader's security code: The reader's present code becomes "
               "invalid. Confirm with --yes.\n");
  expect_error(quorra({"security", "set", "123456", "--code", "000000", "--yes"}), 1,
               wrong_reader_code);
  expect_success(quorra({"security", "set", "123456", "--yes"}),
                 "The reader's security code is changed.\n");
  expect_success(quorra({"security", "show"}), "12 34 56\n");
  for (const Arguments& arguments :
       {Arguments{"compare", "1234"}, {"set", "12345678"}, {"set", "1234", "--yes"}}) {
    const std::string size = arguments[1] == "12345678" ? "4" : "2";
    expect_error(quorra(Arguments{"security"} + arguments), 2,
                 "quorra: HEX: the reader's security code is 3 bytes, not " + size + "\n");
  }
  expect_error(quorra({"security", "mode", "on", "--code", "12"}), 2,
               "quorra: --code: the reader's security code is 3 bytes, not 1\n");
}

TEST_F(Services, SecurityModeGuardsTheSettings) {
  const auto refused = [](const std::string& what) {
    return "quorra: " + what +
           ": the reader refused the command with status 65 (0x41): the reader's security mode is "
           "on, and its code has not been presented (-65)\n";
  };
  expect_success(quorra({"security", "mode", "on"}), "The reader's security mode is on.\n");
  expect_error(quorra({"value", "set", "5"}), 1, refused("setting the value"));
  expect_error(quorra({"security", "mode", "off"}), 1,
               refused("switching the reader's security mode"));
  expect_error(quorra({"security", "set", "123456", "--yes"}), 1,
               refused("changing the reader's security code"));
  expect_success(quorra({"memory", "write", "--address", "0", "00"}),
                 "Wrote 1 byte at 0x0000 and read them back.\n");
  expect_error(quorra({"security", "mode", "off", "--code", "123456"}), 1, wrong_reader_code);
  expect_success(quorra({"security", "mode", "off", "--code", "FFFFFF"}),
                 "The reader's security mode is off.\n");
  expect_success(quorra({"value", "set", "5"}), "5\n");
}

TEST_F(Services, NewSecurityCodeIsConfirmedOnATerminal) {
  const Terminal terminal;
  for (const auto& [answer, status] : {std::pair{"n\n", 1}, {"y\n", 0}}) {
    Process program({QUORRA_PROGRAM, "security", "set", "123456", "--config", configuration},
                    {.input = {},
                     .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                     .environment = {}});
    EXPECT_EQ(terminal.read_until("[y/N] "),
              "The reader's present code becomes invalid. Go on? [y/N] ");
    terminal.type(answer);
    EXPECT_EQ(program.wait().status, status);
    const std::string left = terminal.read_all();
    EXPECT_NE(left.find(status == 0 ? "" : "not confirmed"), std::string::npos);
    expect_success(quorra({"security", "show"}), status == 0 ? "12 34 56\n" : "FF FF FF\n");
  }
}

// ---- Value

TEST_F(Services, ValueIsCounted) {
  const std::string too_low =
      "quorra: subtracting from the value: the result would be below 0, or above 2147483647 "
      "(-135); the register holds ";
  const std::string too_high =
      "quorra: adding to the value: the register holds 4294967295, and "
      "ends at 4294967295\n";
  expect_success(quorra({"value", "show"}), "0\n");
  expect_success(quorra({"value", "set", "10"}), "10\n");
  expect_success(quorra({"value", "add", "0x20"}), "42\n");
  expect_error(quorra({"value", "subtract", "43"}), 1, too_low + "42\n");
  expect_success(quorra({"value", "subtract", "42"}), "0\n");
  expect_success(quorra({"value", "add", "4294967295"}), "4294967295\n");
  expect_error(quorra({"value", "add", "1"}), 1, too_high);
  expect_error(quorra({"value", "subtract", "1"}), 1, too_low + "4294967295\n");
  expect_success(quorra({"value", "subtract", "0x80000000"}), "2147483647\n");
  expect_success(quorra({"value", "show"}), "2147483647\n");
}

TEST_F(Services, ValueIsANumber) {
  for (const auto& [number, words] : {std::pair{"4294967296", "N: 4294967296 is far too large"},
                                      {"0x100000000", "N: 0x100000000 is far too large"},
                                      {"x", "N: 'x' is not a number, such as 32 or 0x20"},
                                      {"1.5", "N: '1.5' is not a number, such as 32 or 0x20"}}) {
    expect_error(quorra({"value", "set", number}), 2, std::string("quorra: ") + words + "\n");
  }
  expect_error(quorra({"value", "add"}), 2, "quorra: N is required; see quorra --help\n");
}

// ---- Buzzer, power and ejection

TEST_F(Services, BuzzerSounds) {
  expect_success(quorra({"beep"}), "");
  expect_success(quorra({"beep", "255"}), "");
  expect_error(quorra({"beep", "256"}), 2, "quorra: N: 256 is more than 255\n");
}

TEST_F(Services, CardIsPoweredAndEjected) {
  const std::string image = new_card("4442");
  expect_error(quorra({"eject"}), 3, "quorra: looking for a card: no card is in the reader\n");
  Process other({QUORRA_SIM_PROGRAM, "--card", image});
  const Arguments config = {"--config", other.read_line()};
  // Power lost, code lost.
  expect_success(run_quorra(Arguments{"code", "present", "FFFFFF"} + config),
                 "The code is right.\n");
  expect_success(run_quorra(Arguments{"write", "--address", "0x20", "01"} + config),
                 "Wrote 1 byte at 0x0020 and read it back.\n");
  expect_success(run_quorra(Arguments{"power", "off"} + config), "The card's power is off.\n");
  expect_success(run_quorra(Arguments{"power", "on"} + config), "The card's power is on.\n");
  EXPECT_EQ(run_quorra(Arguments{"write", "--address", "0x20", "02"} + config).status, 1);
  expect_success(run_quorra(Arguments{"eject"} + config), "The card is ejected.\n");
  EXPECT_EQ(run_quorra(Arguments{"read"} + config).status, 3);
}

TEST_F(Services, SamsArePowered) {
  const std::string sam = new_card("cpu");
  Process other({QUORRA_SIM_PROGRAM, "--sam", "0=" + sam});
  const Arguments config = {"--config", other.read_line()};
  const Arguments select = {"apdu", "--sam", "0", "00A4000C020001"};
  const Arguments read = {"apdu", "--sam", "0", "--no-reset", "00B0000001"};
  EXPECT_EQ(run_quorra(select + config).status, 0);
  EXPECT_EQ(run_quorra(read + config).status, 0);
  expect_success(run_quorra(Arguments{"power", "off", "--sam"} + config),
                 "The SAMs' power is off.\n");
  expect_success(run_quorra(Arguments{"power", "on", "--sam"} + config),
                 "The SAMs' power is on.\n");
  EXPECT_EQ(run_quorra(read + config).status, 1);
}

TEST_F(Services, PowerIsOnOrOff) {
  expect_error(quorra({"power", "up"}), 2,
               "quorra: STATE: up not in {on,off}; see quorra --help\n");
  expect_error(quorra({"security", "mode", "up"}), 2,
               "quorra: STATE: up not in {on,off}; see quorra --help\n");
  expect_error(quorra({"power"}), 2, "quorra: STATE is required; see quorra --help\n");
}

// ---- Speed

TEST_F(Services, SpeedIsChanged) {
  Process reader({QUORRA_SIM_PROGRAM, "--line-speed", "19200"});
  const Arguments config = {"--config", reader.read_line()};
  const Arguments at_19200 = config + Arguments{"--speed", "19200"};
  expect_success(run_quorra(Arguments{"speed", "show"} + at_19200),
                 "The reader answers at 19200 bits per second.\n");
  expect_success(run_quorra(Arguments{"speed", "set", "38400", "--yes"} + at_19200),
                 "The reader answers at 38400 bits per second.\n"
                 "next  quorra info --config " +
                     config[1] + " --speed 38400\n");
  // It is there already.
  expect_success(run_quorra(Arguments{"speed", "set", "38400", "--find", "--yes"} + config),
                 "The reader answers at 38400 bits per second.\n"
                 "next  quorra info --config " +
                     config[1] + " --speed 38400\n");
  // A serial device is not opened at that speed.
  expect_success(
      run_quorra(Arguments{"speed", "set", "4800", "--yes", "--speed", "38400"} + config),
      "The reader was told to change to 4800 bits per second.\n");
}

TEST_F(Services, SpeedsAreChecked) {
  const auto expect_refused = [&](const Arguments& arguments, const std::string& words) {
    expect_error(run_quorra(Arguments{"speed"} + arguments), 2, "quorra: " + words + "\n");
  };
  const std::string speeds =
      " is none of the speeds of a reader: 1200, 2400, 4800, 9600, 19200, "
      "38400";
  const std::string line =
      "a serial device, has no such speed, but 9600, 19200, 38400, 57600, 115200";
  expect_refused({"set", "57600", "--config", configuration}, "N: 57600" + speeds);
  expect_refused({"set", "0", "--config", configuration}, "N: 0" + speeds);
  expect_refused({"set", "19200", "--config", configuration},
                 "changing the reader's speed: The reader changes to 19200 bits per second. "
                 "Confirm with --yes.");
  expect_refused({"set", "19200", "--find", "--config", configuration},
                 "changing the reader's speed: The reader changes to 19200 bits per second. "
                 "Confirm with --yes.");
  expect_refused({"set", "2400", "--config", configuration},
                 "changing the reader's speed: The reader changes to 2400 bits per second. This "
                 "line, " +
                     line + ": it will not reach the reader any more. Confirm with --yes.");
  expect_refused({"set", "2400", "--find", "--yes", "--config", configuration},
                 "--find: a serial device has no such speed, but 9600, 19200, 38400, 57600, "
                 "115200");
  for (const Arguments& command : {Arguments{"show"}, {"find"}, {"set", "9600", "--yes"}}) {
    const Outcome outcome = run_quorra(Arguments{"speed"} + command);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors.find("quorra: no reader given."), 0U);
    expect_refused(command + Arguments{"--virtual", "x"},
                   "speed belongs to --config; a virtual reader has no speed");
  }
  expect_refused({"find", "--config", folder / "nowhere"},
                 "--config: the configuration file " + (folder / "nowhere") +
                     " cannot be read: No such file or directory");
}

class ScriptedServices : public ScriptedCommandLine {
 protected:
  // What looks for a reader at each speed; a wrong first byte is no answer.
  void serve_search(const std::vector<bool>& answers) const {
    for (const bool good : answers) {
      reader.serve(sealed("AA B9 00 05 80 00 00 00 00"), good ? reply(0, {}) : hex("54"));
    }
  }
  std::string hint() const {
    return "; quorra speed find --config " + reader.configuration() + " looks for its speed\n";
  }
  std::string found(const std::string& speed) const {
    return "The reader answers at " + speed + " bits per second.\nnext  quorra info --config " +
           reader.configuration() + " --speed " + speed + "\n";
  }

  const Bytes read_value = sealed("AA B7 00 07 80 00 00 01 85 00 04");
  // Without the line end.
  std::string no_answer() const {
    std::string words = reader.no_reader();
    words.pop_back();
    return words;
  }
};

TEST_F(ScriptedServices, SpeedThatGetsNoAnswerIsTold) {
  Process program = start({"speed", "show", "--speed", "19200"});
  reader.serve(ask_version, hex("54"));
  expect_error(program.wait(), 3, no_answer() + hint());
  reader.expect_closed();
}

TEST_F(ScriptedServices, SpeedIsFound) {
  Process program = start({"speed", "find", "--speed", "57600"});
  serve_search({false, true});
  expect_success(program.wait(), found("19200"));
  reader.expect_closed();
}

// At 4800 a serial device is opened at 9600.
TEST_F(ScriptedServices, SpeedOfALateReaderIsThatOfTheLine) {
  Process program = start({"speed", "find"});
  serve_search({false, false, false, true});
  expect_success(program.wait(), found("9600"));
  reader.expect_closed();
}

TEST_F(ScriptedServices, NoSpeedIsFound) {
  Process program = start({"speed", "find"});
  serve_search({false, false, false, false, false, false});
  expect_error(
      program.wait(), 3,
      "quorra: looking for the reader's speed: no reader answers at any speed (-141); on a "
      "serial device only 9600, 19200, 38400 can be reached\n");
  reader.expect_closed();
}

TEST_F(ScriptedServices, SearchIsInterrupted) {
  Process program = start({"speed", "find"});
  reader.expect(sealed("AA B9 00 05 80 00 00 00 00"));
  program.signal(SIGINT);
  reader.answer(reply(0, {}));
  expect_ended_by(program.wait(), SIGINT, "quorra: looking for the reader's speed: interrupted\n");
  reader.expect_closed();
}

TEST_F(ScriptedServices, ReaderIsFoundAndChanged) {
  Process program = start({"speed", "set", "38400", "--find", "--yes"});
  reader.serve(ask_version, hex("54"));
  serve_search({true});
  reader.serve_opening();
  reader.serve(sealed("AA B7 00 07 80 00 00 01 80 00 01"), reply(0, hex("34")));
  reader.serve(sealed("AA B1 00 06 80 00 00 00 00 37"), reply(0, {}));
  reader.serve_opening();
  expect_success(program.wait(), found("38400"));
  reader.expect_closed();
}

TEST_F(ScriptedServices, ReaderMayBeLostByTheChange) {
  Process program = start({"speed", "set", "19200", "--yes"});
  reader.serve_opening();
  reader.serve(sealed("AA B7 00 07 80 00 00 01 80 00 01"), reply(0, hex("34")));
  reader.serve(sealed("AA B1 00 06 80 00 00 00 00 35"), reply(0, {}));
  reader.serve(ask_version, hex("54"));
  expect_error(program.wait(), 3, no_answer() + hint());
  reader.expect_closed();
}

TEST_F(ScriptedServices, SearchMayFail) {
  Process program = start({"speed", "set", "9600", "--find", "--yes"});
  reader.serve(ask_version, hex("54"));
  serve_search({false, false, false, false, false, false});
  expect_error(
      program.wait(), 3,
      "quorra: changing the reader's speed: no reader answers at " + reader.device() + " (-136)\n");
  reader.expect_closed();
}

// ---- What is read back

TEST_F(ScriptedServices, MemoryIsReadBack) {
  Process program = start({"memory", "write", "--address", "0x10", "DEAD"});
  reader.serve_opening();
  reader.serve(sealed("AA B6 00 07 80 00 00 00 10 DE AD"), reply(0, {}));
  reader.serve(sealed("AA B7 00 07 80 00 00 00 10 00 02"), reply(0, hex("DE AF")));
  expect_error(program.wait(), 1,
               "quorra: reading back the reader's memory: at 0x0011 the reader holds AF, not AD\n");
  reader.expect_closed();
}

TEST_F(ScriptedServices, ValueIsReadBack) {
  constexpr char held[] =
      ": the reader holds something else afterwards, or a byte could not be sent to it (-129)";
  Process set = start({"value", "set", "0x01020304"});
  reader.serve_opening();
  reader.serve(sealed("AA B6 00 09 80 00 00 01 85 04 03 02 01"), reply(0, {}));
  reader.serve(read_value, reply(0, hex("00 00 00 00")));
  expect_error(set.wait(), 1, std::string("quorra: setting the value") + held + "\n");

  Process subtract = start({"value", "subtract", "1"});
  reader.serve_opening();
  reader.serve(read_value, reply(0, hex("02 00 00 00")));
  reader.serve(sealed("AA B6 00 09 80 00 00 01 85 01 00 00 00"), reply(0, {}));
  reader.serve(read_value, reply(0, hex("02 00 00 00")));
  reader.serve(read_value, reply(0, hex("02 00 00 00")));
  expect_error(
      subtract.wait(), 1,
      std::string("quorra: subtracting from the value") + held + "; the register holds 2\n");
  reader.expect_closed();
}

TEST_F(ScriptedServices, NewSecurityCodeIsWantedBeforeTheReaderIsAsked) {
  expect_error(start({"security", "set", "123456"}).wait(), 2,
               "quorra: changing the reader's security code: The reader's present code becomes "
               "invalid. Confirm with --yes.\n");
  reader.expect_closed();
}

TEST_F(ScriptedServices, SecurityIsReadBack) {
  constexpr char held[] =
      ": the reader holds something else afterwards, or a byte could not be sent to it (-129)\n";
  Process set = start({"security", "set", "123456", "--yes"});
  reader.serve_opening();
  reader.serve(sealed("AA B6 00 08 80 00 00 01 82 12 34 56"), reply(0, {}));
  reader.serve(sealed("AA B7 00 07 80 00 00 01 82 00 03"), reply(0, hex("12 34 57")));
  expect_error(set.wait(), 1, std::string("quorra: changing the reader's security code") + held);
  Process mode = start({"security", "mode", "on"});
  reader.serve_opening();
  reader.serve(sealed("AA B6 00 06 80 00 00 01 81 FF"), reply(0, {}));
  reader.serve(sealed("AA B7 00 07 80 00 00 01 81 00 01"), reply(0, hex("00")));
  expect_error(mode.wait(), 1, std::string("quorra: switching the reader's security mode") + held);
  reader.expect_closed();
}

}  // namespace
}  // namespace quorra::testing
