// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra setup at pseudo-terminals, with and without a reader behind them.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <optional>
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

TEST_F(Setup, ReaderInUseIsNoReaderThatIsMissing) {
  const Terminal line;
  Process holder({"/bin/sh", "-c", R"(exec 9<>"$0"; /usr/bin/flock 9; echo locked; kill -STOP $$)",
                  line.device()});
  ASSERT_EQ(holder.read_line(), "locked");
  const std::string number = std::to_string(holder.number());
  const Arguments command = {"--try", "--device", line.device()};
  expect_error(setup(command), 1,
               "quorra: looking for a reader: another program has each device\n  " + line.device() +
                   ": opening the session: " + line.device() + " is in use by sh (process " +
                   number + ")\nquorra doctor --device DEVICE tells more\n");
  const Outcome outcome = setup(command + Arguments{"--json"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.output.find(R"("word":"in_use","process":)" + number + "}"), std::string::npos)
      << outcome.output;
  EXPECT_EQ(line.read_all(), "");
}

// Whoever says yes has each device asked, and told what came of it.
TEST_F(Setup, TriesWhenItIsToldTo) {
  Process simulator({QUORRA_SIM_PROGRAM, "--version-text", "KWSPC-1"});
  const std::string device = device_of(simulator.read_line());
  const Terminal person;
  Surroundings surroundings = at_home();
  surroundings.streams = {{STDIN_FILENO, person.line()}, {STDERR_FILENO, person.line()}};
  Process program({QUORRA_PROGRAM, "setup", "--device", device}, surroundings);
  person.read_until("[y/N] ");
  person.type("y\n");
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.output, device +
                                "\n  a reader answers at 9600 bits per second: KWSPC-1\nWrote " +
                                file + " for " + device + ".\nnext  quorra info\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(content_of(file), "# Made by quorra setup.\nP=" + device + "\n");
}

TEST_F(Setup, QuestionCanBeInterrupted) {
  const Terminal line;
  const Terminal person;
  Surroundings surroundings = at_home();
  surroundings.streams = {{STDIN_FILENO, person.line()}, {STDERR_FILENO, person.line()}};
  surroundings.environment["NO_COLOR"] = "1";
  Process program({QUORRA_PROGRAM, "setup", "--device", line.device()}, surroundings);
  person.read_until("[y/N] ");
  program.signal(SIGINT);
  EXPECT_EQ(program.wait().signal, SIGINT);
  EXPECT_NE(person.read_all().find("quorra: looking for a reader: interrupted\n"),
            std::string::npos);
  EXPECT_EQ(line.read_all(), "");
  EXPECT_FALSE(std::filesystem::exists(file));
}

// It answers, but not what it is.
TEST_F(Setup, ReaderWithoutAVersionIsOne) {
  const ReaderLine reader;
  const std::string content = content_of(reader.configuration());
  const std::string device = content.substr(2, content.size() - 3);
  Process program({QUORRA_PROGRAM, "setup", "--try", "--quiet", "--device", device}, at_home());
  reader.serve(ask_status, reply(0, {}));
  reader.serve(sealed("AA B0 00 07 80 00 00 00 00 00 12"), hex("54"));
  expect_success(program.wait(), device + "\n  a reader answers at 9600 bits per second\nWrote " +
                                     file + " for " + device + ".\nnext  quorra info\n");
  reader.expect_closed();
}

TEST_F(Setup, ShowsTheFileIfItIsToldTo) {
  const Terminal line;
  for (const char* output : {"-", "/dev/stdout"}) {
    expect_success(setup({"--device", line.device(), "--output", output}),
                   "# Made by quorra setup.\nP=" + line.device() + "\n");
  }
}

TEST_F(Setup, FileNeedsAPlace) {
  const Terminal line;
  const auto setup_with = [&](const std::optional<std::string>& home) {
    return run_quorra({"setup", "--device", line.device()},
                      {.input = {},
                       .streams = {},
                       .environment = {{"HOME", std::nullopt}, {"XDG_CONFIG_HOME", home}}});
  };
  expect_error(setup_with(std::nullopt), 2,
               "quorra: there is no home for a configuration file: name one with --output FILE\n");
  const std::string taken = folder / "taken";
  write_file(taken, "mine");
  expect_error(setup_with(taken), 2,
               "quorra: making the folder " + taken + "/quorra: Not a directory\n");
  EXPECT_EQ(content_of(taken), "mine");
}

// A machine with other serial devices: this one, with other folders in the place of its own.
class OtherMachine : public Setup {
 protected:
  void SetUp() override {
    if (run({"/usr/bin/unshare", "-rm", "/bin/sh", "-c", "mount -t tmpfs none /sys/class/tty"})
            .status != 0) {
      GTEST_SKIP() << "no folders can be put in the place of others here";
    }
    std::filesystem::create_directory(folder / "dev");
  }

  // Runs the program where the shell has done that before; $0 is a folder in which the devices of
  // this machine are, and $1 a pseudo-terminal among them.
  Outcome run_after(const std::string& script, const Arguments& arguments) const {
    const std::string first =
        "mount --rbind /dev \"$0\" && mount -t tmpfs none /sys/class/tty && "
        "mount -t tmpfs none /dev && ";
    return run(Arguments{"/usr/bin/unshare", "-rm", "/bin/sh", "-c",
                         first + script + "shift; exec \"$@\"", folder / "dev",
                         line.device().substr(std::string("/dev").size()), QUORRA_PROGRAM} +
                   arguments,
               at_home());
  }

  // With the pseudo-terminal as its only serial device, which has this name, too.
  static std::string with_device(const std::string& lasting_name) {
    return "mkdir -p /sys/class/tty/ttyQ0/device /dev/serial/by-id && "
           "echo 4 > /sys/class/tty/ttyQ0/type && touch /dev/ttyQ0 && "
           "mount --bind \"$0$1\" /dev/ttyQ0 && ln -s ../../ttyQ0 /dev/serial/by-id/" +
           lasting_name + " && ";
  }

  const Terminal line;
};

TEST_F(OtherMachine, NoDeviceIsNoReader) {
  expect_error(run_after("", {"setup"}), 3,
               "quorra: looking for a reader: this machine has no serial device. Plug the adapter "
               "in; --device names any other terminal device\n");
  EXPECT_FALSE(std::filesystem::exists(file));
  const Outcome doctor = run_after("", {"doctor", "--device", "/dev/ttyUSB0"});
  EXPECT_EQ(doctor.status, 3);
  EXPECT_NE(doctor.output.find("This machine has no serial device; "), std::string::npos)
      << doctor.output;
}

TEST_F(OtherMachine, NameThatLastsIsWritten) {
  const std::string lasting = "/dev/serial/by-id/usb-One";
  for (const std::string& given : {std::string("/dev/ttyQ0"), lasting}) {
    expect_success(run_after(with_device("usb-One"), {"setup", "--yes", "--device", given}),
                   "/dev/ttyQ0\nWrote " + file + " for " + lasting + ".\nnext  quorra info\n");
    EXPECT_EQ(content_of(file), "# Made by quorra setup.\nP=" + lasting + "\n");
  }
}

// The library cuts a name of more than 56 characters, and takes a blank out.
TEST_F(OtherMachine, NameThatAFileCannotHoldIsNotWritten) {
  const std::string longest(56 - std::string("/dev/serial/by-id/").size(), 'x');
  expect_success(
      run_after(with_device(longest), {"setup", "--device", "/dev/ttyQ0"}),
      "/dev/ttyQ0\nWrote " + file + " for /dev/serial/by-id/" + longest + ".\nnext  quorra info\n");
  for (const std::string& name : {longest + "x", std::string("'usb One'")}) {
    SCOPED_TRACE(name);
    expect_success(run_after(with_device(name), {"setup", "--yes", "--device", "/dev/ttyQ0"}),
                   "/dev/ttyQ0\nWrote " + file + " for /dev/ttyQ0.\nnext  quorra info\n");
    EXPECT_EQ(content_of(file), "# Made by quorra setup.\nP=/dev/ttyQ0\n");
  }
}

// Also where nobody listed the device, and its name is a link that is too long.
TEST_F(Setup, WritesANameThatAFileCanHold) {
  const Terminal line;
  const std::string link = folder / std::string(60, 'x');
  std::filesystem::create_symlink(line.device(), link);
  EXPECT_EQ(setup({"--device", link}).status, 0);
  EXPECT_EQ(content_of(file), "# Made by quorra setup.\nP=" + line.device() + "\n");
  const std::string blank = folder / "a line";
  std::filesystem::create_symlink(line.device(), blank);
  const Outcome refused = setup({"--yes", "--device", blank});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.errors.find("is no name that a configuration file could hold"),
            std::string::npos)
      << refused.errors;
  EXPECT_EQ(content_of(file), "# Made by quorra setup.\nP=" + line.device() + "\n");
}

TEST_F(OtherMachine, DevicesAreCompletedAndToldBeforeTheyAreTried) {
  expect_success(run_after(with_device("usb-One"), {"complete", "--device", "/dev/tty"}),
                 "/dev/ttyQ0\t\n:files\n");
  expect_success(run_after(with_device("usb-One"), {"setup"}),
                 "/dev/ttyQ0\nnext  quorra setup --try, which asks at each of them for a reader, "
                 "or\n      quorra setup --device DEVICE, which writes the file for this one\n");
  EXPECT_EQ(line.read_all(), "");
  EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace quorra::testing
