// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra setup at pseudo-terminals, with and without a reader behind them.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

const Bytes ask_status = sealed("AA B9 00 05 80 00 00 00 00");

class Setup : public CommandLine {
 protected:
  Surroundings at_home() const {
    return {.input = {}, .streams = {}, .environment = {{"XDG_CONFIG_HOME", folder / "home"}}};
  }
  Outcome setup(const Arguments& arguments) {
    return run_quorra(Arguments{"setup"} + arguments, at_home());
  }

  const std::string file = folder / "home/quorra/reader.conf";
};

// The device of the virtual reader that has this configuration file.
std::string device_of(const std::string& configuration) {
  const std::string content = content_of(configuration);
  const std::size_t begin = content.find("\nP=") + 3;
  return content.substr(begin, content.find('\n', begin) - begin);
}

TEST_F(Setup, FindsAReaderAndItsSpeed) {
  Process simulator({QUORRA_SIM_PROGRAM, "--line-speed", "19200", "--version-text", "KWSPC-1"});
  const std::string device = device_of(simulator.read_line());
  const Outcome outcome = setup({"--try", "--device", device});
  EXPECT_EQ(outcome.output, device +
                                "\n  a reader answers at 19200 bits per second: KWSPC-1\n"
                                "Wrote " +
                                file + " for " + device + ".\nnext  quorra info --speed 19200\n");
  EXPECT_EQ(outcome.errors, device + " at 9600...\n" + device + " at 19200...\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(
      content_of(file),
      "# Made by quorra setup.\n# The reader has another speed: --speed 19200\nP=" + device + "\n");
  // That file is found then.
  EXPECT_EQ(run_quorra({"info", "--speed", "19200"}, at_home()).status, 0);
}

TEST_F(Setup, TellsPrograms) {
  Process simulator({QUORRA_SIM_PROGRAM, "--version-text", "KWSPC-1"});
  const std::string device = device_of(simulator.read_line());
  const std::string output = folder / "own.conf";
  expect_success(setup({"--try", "--device", device, "--output", output, "--json"}),
                 R"({"schema_version":1,"command":"setup","ok":true,"devices":[{"path":")" +
                     device +
                     R"(","tried":true,"answers":true,"speed":9600,"version":"KWSPC-1"}],)"
                     R"("device":")" +
                     device + R"(","configuration":")" + output + "\"}\n");
  EXPECT_EQ(content_of(output), "# Made by quorra setup.\nP=" + device + "\n");
}

TEST_F(Setup, WritesTheFileWithoutTryingIfNobodyWantsIt) {
  const Terminal line;
  expect_success(setup({"--device", line.device()}), line.device() + "\nWrote " + file + " for " +
                                                         line.device() + ".\nnext  quorra info\n");
  EXPECT_EQ(line.read_all(), "");
  EXPECT_EQ(content_of(file), "# Made by quorra setup.\nP=" + line.device() + "\n");
}

TEST_F(Setup, ReplacesNothingUnasked) {
  const Terminal line;
  std::filesystem::create_directories(folder / "home/quorra");
  write_file(file, "precious\n");
  const Outcome refused = setup({"--device", line.device()});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.errors, "quorra: writing the configuration file: " + file +
                                " is there already and will be replaced. Confirm with --yes.\n");
  EXPECT_EQ(content_of(file), "precious\n");
  EXPECT_EQ(setup({"--device", line.device(), "--yes"}).status, 0);
  EXPECT_EQ(content_of(file), "# Made by quorra setup.\nP=" + line.device() + "\n");
}

TEST_F(Setup, AsksBeforeItSendsAnything) {
  const Terminal line;
  const Terminal person;
  Surroundings surroundings = at_home();
  surroundings.streams = {{STDIN_FILENO, person.line()}, {STDERR_FILENO, person.line()}};
  Process program({QUORRA_PROGRAM, "setup", "--device", line.device()}, surroundings);
  EXPECT_EQ(person.read_until("[y/N] "),
            line.device() +
                "\nTrying sends bytes to whatever is connected: a modem, a printer or a machine, "
                "too. Ask each of these devices for a reader? [y/N] ");
  person.type("n\n");
  EXPECT_EQ(program.wait().status, 0);
  EXPECT_EQ(line.read_all(), "");
  EXPECT_EQ(content_of(file), "# Made by quorra setup.\nP=" + line.device() + "\n");
}

TEST_F(Setup, ReaderThatNeverAnswersWellIsNone) {
  const ReaderLine reader;
  const std::string content = content_of(reader.configuration());
  const std::string device = content.substr(2, content.size() - 3);
  Process program({QUORRA_PROGRAM, "setup", "--try", "--quiet", "--device", device}, at_home());
  for (int speeds = 0; speeds < 3; ++speeds)
    reader.serve(ask_status, hex("54"));
  expect_error(program.wait(), 3,
               "quorra: looking for a reader: none answers\n  " + device +
                   ": no reader answers at any speed\n"
                   "quorra doctor --device DEVICE tells more\n");
  reader.expect_closed();
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Setup, SilentReaderCanBeInterrupted) {
  const ReaderLine reader;
  const std::string content = content_of(reader.configuration());
  Process program({QUORRA_PROGRAM, "setup", "--try", "--quiet", "--device",
                   content.substr(2, content.size() - 3)},
                  at_home());
  reader.expect(ask_status);
  program.signal(SIGINT);
  expect_ended_by(program.wait(), SIGINT, "quorra: looking for a reader: interrupted\n");
  reader.expect_closed();
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Setup, WrongUsageIsRefused) {
  const std::string words =
      "quorra: setup looks for readers at serial devices; only --device may name one\n";
  expect_error(setup({"--virtual", "card.toml"}), 2, words);
  expect_error(setup({"--config", "reader.conf"}), 2, words);
  expect_error(setup({"--speed", "9600"}), 2, words);
  const std::string absent = "/nowhere/line";
  expect_error(setup({"--try", "--device", absent}), 3,
               "quorra: looking for a reader: none answers\n  " + absent +
                   ": opening the session: " + absent +
                   " cannot be opened: No such file or directory: there is no such device\n"
                   "quorra doctor --device DEVICE tells more\n");
}

}  // namespace
}  // namespace quorra::testing
