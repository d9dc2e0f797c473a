// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra and the way to its reader: configuration files, devices, and who has them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <regex>
#include <string>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

// ---- What is no configuration file

class NoConfiguration : public CommandLine {
 protected:
  static void expect_refused(const std::string& file, const std::string& words) {
    SCOPED_TRACE(file);
    for (const Arguments& command :
         {Arguments{"info"}, {"speed", "find"}, {"speed", "set", "9600"}}) {
      expect_error(run_quorra(command + Arguments{"--config", file}), 2,
                   "quorra: --config: " + words + "\n");
    }
  }
};

TEST_F(NoConfiguration, DeviceIsToBeNamedInAFile) {
  const Terminal terminal;
  const auto advice = [](const std::string& given, const std::string& device) {
    return given +
           " is a terminal device, not a configuration file. Name a file that holds the line\n"
           "  P=" +
           device + "\nas it is made by\n  echo P=" + device + " > reader.conf";
  };
  expect_refused(terminal.device(), advice(terminal.device(), terminal.device()));
  EXPECT_EQ(terminal.read_all(), "");

  // A name that the library would cut is replaced by the device's own.
  const std::string short_name = folder / "line";
  const std::string long_name = folder / std::string(60, 'x');
  std::filesystem::create_symlink(terminal.device(), short_name);
  std::filesystem::create_symlink(terminal.device(), long_name);
  expect_refused(short_name, advice(short_name, short_name));
  expect_refused(long_name, advice(long_name, terminal.device()));
}

TEST_F(NoConfiguration, OtherKindsOfFilesAreRefused) {
  const auto not_a_file = [](const std::string& file, const std::string& kind) {
    expect_refused(file, file + " is " + kind + ", not a configuration file");
  };
  const std::string fifo = folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  not_a_file(fifo, "a FIFO");

  const std::string socket_name = folder / "socket";
  const int unix_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socket_name.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(unix_socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(unix_socket);
  not_a_file(socket_name, "a socket");

  not_a_file(std::filesystem::temp_directory_path(), "a directory");
  not_a_file("/dev/zero", "a character device");
  not_a_file("/dev/ptmx", "a character device");
  expect_refused("", "the name of the file is empty; see quorra --help");
  expect_refused(folder / "nowhere", "the configuration file " + (folder / "nowhere") +
                                         " cannot be read: No such file or directory");
}

TEST_F(NoConfiguration, FileThatCannotBeReadIsRefused) {
  const std::string file = folder / "reader.conf";
  write_file(file, "P=/dev/ttyS0\n");
  ASSERT_EQ(chmod(file.c_str(), 0), 0);
  const std::string words = "quorra: --config: the configuration file ";
  expect_error(run(without_privileges({QUORRA_PROGRAM, "info", "--config", file})), 2,
               words + file + " cannot be read: Permission denied\n");
  // It has no memory at address 0, where a file begins.
  const std::string memory = "/proc/self/mem";
  expect_refused(memory,
                 "the configuration file " + memory + " cannot be read: Input/output error");
}

TEST_F(NoConfiguration, LargeFileIsRefused) {
  const std::string file = folder / "reader.conf";
  const Terminal terminal;
  const std::string device = "P=" + terminal.device() + "\n";
  constexpr std::size_t largest = 65536;
  std::string content = device + std::string(largest - device.size() - 1, '#') + "\n";
  write_file(file, content);
  // The session begins; nobody answers.
  Process program({QUORRA_PROGRAM, "info", "--config", file});
  EXPECT_EQ(terminal.read(ask_version.size()), std::string(ask_version.begin(), ask_version.end()));
  write_file(file, content + "#");
  const std::string words = file + " has more than 65536 bytes, and is no configuration file";
  expect_refused(file, words);
  std::filesystem::resize_file(file, std::uintmax_t{1} << 40);
  expect_refused(file, words);
}

TEST_F(NoConfiguration, DeviceThatTheLibraryWouldCutIsRefused) {
  const std::string file = folder / "reader.conf";
  write_file(file, "# the till\nP=/dev/ttyS0");
  expect_refused(file, file +
                           " has no line end behind \"P=/dev/ttyS0\"; the last line needs one, "
                           "too");
  write_file(file, "P=/dev/" + std::string(52, 'x') + "\n");
  expect_refused(file, file +
                           " names a device in a line of 59 characters, of which the last ones "
                           "would be lost; up to 58 are possible. Perhaps the device has a "
                           "shorter name");
}

TEST_F(NoConfiguration, LongestDeviceIsTaken) {
  const std::string file = folder / "reader.conf";
  const std::string device = "/dev/" + std::string(51, 'x');
  // Only pieces of lines that begin with P count.
  write_file(file, "XP=" + std::string(200, 'x') + "\nP=" + device + "\n");
  expect_error(run_quorra({"info", "--config", file}), 3,
               "quorra: opening the session: " + device +
                   " cannot be opened: No such file or directory: there is no such device\n");
}

// ---- Devices

class Devices : public CommandLine {
 protected:
  std::string configuration(const std::string& device) {
    write_file(folder / "reader.conf", "P=" + device + "\n");
    return folder / "reader.conf";
  }
  void expect_unusable(const std::string& device, const std::string& words, int status = 1) {
    SCOPED_TRACE(device);
    configuration(device);
    for (const Arguments& command :
         {Arguments{"info"}, {"speed", "find"}, {"speed", "set", "9600", "--find", "--yes"}}) {
      expect_error(run_quorra(command + Arguments{"--config", folder / "reader.conf"}), status,
                   "quorra: opening the session: " + words + "\n");
    }
  }
};

TEST_F(Devices, NothingIsWrittenToWhatIsNone) {
  const std::string file = folder / "file";
  const std::string link = folder / "link";
  const std::string fifo = folder / "fifo";
  write_file(file, "some text");
  std::filesystem::create_symlink(file, link);
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  expect_unusable(file, file + " is a regular file, not a terminal device");
  expect_unusable(link, link + " is a regular file, not a terminal device");
  EXPECT_EQ(content_of(file), "some text");
  expect_unusable(fifo, fifo + " is a FIFO, not a terminal device");
  expect_unusable("/dev", "/dev is a directory, not a terminal device");
  expect_unusable("/dev/null", "/dev/null is a character device, not a terminal device");
  expect_unusable("", "the line P= of " + (folder / "reader.conf") + " names no device", 2);
}

TEST_F(Devices, DeviceThatIsGoneIsTold) {
  const std::string device = folder / "line";
  const std::string link = folder / "link";
  std::filesystem::create_symlink(device, link);
  const std::string words = " cannot be opened: No such file or directory: there is no such device";
  expect_unusable(device, device + words, 3);
  expect_unusable(link, link + words, 3);
}

// As for a user who may do no more than the permissions say.
TEST_F(Devices, WhoMayUseTheDeviceIsTold) {
  const Terminal terminal;
  const auto words_at = [&](mode_t mode) {
    EXPECT_EQ(chmod(terminal.device().c_str(), mode), 0);
    const Outcome outcome = run(
        without_privileges({QUORRA_PROGRAM, "info", "--config", configuration(terminal.device())}));
    EXPECT_EQ(outcome.status, 1);
    return outcome.errors;
  };
  const std::string denied =
      "quorra: opening the session: " + terminal.device() + " cannot be opened: Permission denied";
  EXPECT_EQ(words_at(0), denied + ": only its owner may use it\n");
  ASSERT_EQ(chown(terminal.device().c_str(), static_cast<uid_t>(-1), getgid()), 0);
  const std::string group = run({"/usr/bin/id", "-gn"}).output;
  const std::string name = group.substr(0, group.size() - 1);
  EXPECT_EQ(words_at(S_IRGRP | S_IWGRP), denied + ": it is for the group " + name +
                                             ". Join it with \"sudo usermod -aG " + name +
                                             " $USER\", and log in again\n");

  // A folder on the way to it tells nothing of the device.
  const std::string closed = folder / "closed";
  ASSERT_TRUE(std::filesystem::create_directory(closed));
  std::filesystem::create_symlink(terminal.device(), closed + "/line");
  ASSERT_EQ(chmod(closed.c_str(), 0), 0);
  expect_error(
      run(without_privileges(
          {QUORRA_PROGRAM, "info", "--config", configuration(closed + "/line")})),
      1, "quorra: opening the session: " + closed + "/line cannot be opened: Permission denied\n");
  ASSERT_EQ(chmod(closed.c_str(), 0700), 0);

  if (geteuid() != 0) GTEST_SKIP() << "only root gives a device to a group without a name";
  ASSERT_EQ(chown(terminal.device().c_str(), static_cast<uid_t>(-1), 54321), 0);
  EXPECT_EQ(words_at(S_IRGRP | S_IWGRP),
            denied +
                ": it is for the group 54321. Join it with \"sudo usermod -aG 54321 $USER\", "
                "and log in again\n");
}

TEST_F(Devices, WhatTheSystemSaysIsExplained) {
  // The line of this program's standard input, whose other end is gone.
  int user = -1;
  int line = -1;
  ASSERT_EQ(openpty(&user, &line, nullptr, nullptr, nullptr), 0);
  close(user);
  const Surroundings on_line = {.input = {}, .streams = {{STDIN_FILENO, line}}, .environment = {}};
  expect_error(
      run_quorra({"info", "--config", configuration("/proc/self/fd/0")}, on_line), 3,
      "quorra: opening the session: /proc/self/fd/0 cannot be opened: Input/output error: no "
      "hardware answers there, or the other end of the line is gone\n");
  close(line);

  // A program without a terminal of its own.
  expect_error(run({"/usr/bin/setsid", "--wait", QUORRA_PROGRAM, "info", "--config",
                    configuration("/dev/tty")}),
               3,
               "quorra: opening the session: /dev/tty cannot be opened: No such device or address: "
               "no hardware is behind it\n");

  const Terminal terminal;
  ASSERT_EQ(ioctl(terminal.line(), TIOCEXCL), 0);
  const Outcome refused = run(
      without_privileges({QUORRA_PROGRAM, "info", "--config", configuration(terminal.device())}));
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.errors.find("quorra: opening the session: " + terminal.device() +
                                " cannot be opened: Device or resource busy: another program "
                                "keeps it for itself"),
            0U)
      << refused.errors;
  // The system lets the administrator open it.
  const Outcome outcome = run_quorra({"info", "--json", "--device", terminal.device()});
  EXPECT_EQ(outcome.status, 1);
  const std::string kept = R"("message":"opening the session: )" + terminal.device();
  EXPECT_NE(outcome.output.find(kept), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find(": another program keeps it for itself; opened by "),
            std::string::npos)
      << outcome.output;
  const std::string self = "(process " + std::to_string(getpid()) + ")";
  EXPECT_NE(outcome.output.find(self), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find(R"("word":"in_use")"), std::string::npos) << outcome.output;
  EXPECT_EQ(terminal.read_all(), "");
}

// ---- One program at a time

class Locks : public ScriptedCommandLine {
 protected:
  std::string device() const {
    const std::string content = content_of(reader.configuration());
    return content.substr(2, content.size() - 3);
  }
  std::string in_use_by(const std::string& holder) const {
    return "quorra: opening the session: " + device() + " is in use by " + holder + "\n";
  }
  Outcome another(const Arguments& command) const {
    return run_quorra(command + Arguments{"--config", reader.configuration()});
  }
};

TEST_F(Locks, SecondProgramIsToldWhoIsFirst) {
  Process first = start({"info"});
  reader.expect(ask_version);
  const std::string words = in_use_by("quorra (process " + std::to_string(first.number()) + ")");
  expect_error(another({"info"}), 1, words);
  expect_error(another({"speed", "find"}), 1, words);
  expect_error(another({"speed", "set", "9600", "--find", "--yes"}), 1, words);
  expect_error(another({"speed", "show"}), 1, words);
  reader.answer(hex("54"));
  expect_error(first.wait(), 3, reader.no_reader());
  reader.expect_closed();
}

TEST_F(Locks, EndWithTheProgramWhateverEndsIt) {
  Process first = start({"info"});
  reader.expect(ask_version);
  first.signal(SIGKILL);
  EXPECT_EQ(first.wait().signal, SIGKILL);
  Process second = start({"info"});
  reader.expect(ask_version);
  reader.answer(hex("54"));
  expect_error(second.wait(), 3, reader.no_reader());
}

TEST_F(Locks, AreThoseOfAnyProgram) {
  const int mine = open(device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  for (const int kind : {LOCK_SH, LOCK_EX}) {
    ASSERT_EQ(flock(mine, kind), 0);
    const Outcome outcome = another({"info"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.errors.find("(process " + std::to_string(getpid()) + ")"), std::string::npos)
        << outcome.errors;
  }
  close(mine);
}

// The lock belongs to whoever has the line open, and not only to the program that asked for it.
TEST_F(Locks, MayOutliveTheProgramThatSetThem) {
  Process holder(
      {"/bin/sh", "-c", R"(exec 9<>"$0"; /usr/bin/flock 9; echo locked; kill -STOP $$)", device()});
  EXPECT_EQ(holder.read_line(), "locked");
  const std::string holder_number = std::to_string(holder.number());
  expect_error(another({"info"}), 1, in_use_by("sh (process " + holder_number + ")"));
  const Outcome outcome = another({"info", "--json"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.output.find(R"("word":"in_use","process":)" + holder_number + "}"),
            std::string::npos)
      << outcome.output;
}

// Every step on the way to the reader in turn finds no descriptor left.
TEST_F(Locks, TooManyOpenFilesAreTold) {
#ifdef QUORRA_INSTRUMENTED
  GTEST_SKIP() << "the sanitizers want descriptors of their own";
#endif
  const auto with_descriptors = [&](int count, const Arguments& command) {
    return run(Arguments{"/bin/sh", "-c",
                         "exec 3<&- 4<&- 5<&- 6<&- 7<&- 8<&- 9<&-; ulimit -n " +
                             std::to_string(count) + R"(; exec "$0" "$@")",
                         QUORRA_PROGRAM} +
               command + Arguments{"--config", reader.configuration()});
  };
  const std::string unread =
      "quorra: opening the session: the configuration file cannot be opened or read (-1)\n";
  expect_error(with_descriptors(4, {"info"}), 2, unread);
  expect_error(with_descriptors(4, {"speed", "find"}), 1,
               "quorra: holding signals back: Too many open files\n");
  expect_error(with_descriptors(5, {"speed", "find"}), 2, unread);
  expect_error(with_descriptors(5, {"info"}), 2, unread);
  expect_error(with_descriptors(6, {"info"}), 2, unread);
  expect_error(with_descriptors(6, {"speed", "find"}), 1,
               "quorra: looking for the reader's speed: the configuration file cannot be opened or "
               "read (-1)\n");
  EXPECT_EQ(reader.read_all(), "");

  // The list of locks is not to be had either.
  const int mine = open(device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(flock(mine, LOCK_EX), 0);
  expect_error(with_descriptors(6, {"info"}), 1, in_use_by("another program"));
  close(mine);
}

TEST_F(Locks, LineThatHasACarrierKeepsItsSettings) {
  const int line = open(device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios settings{};
  ASSERT_EQ(tcgetattr(line, &settings), 0);
  for (const tcflag_t carrier : {tcflag_t{0}, tcflag_t{CLOCAL}}) {
    settings.c_cflag = (settings.c_cflag & ~tcflag_t{CLOCAL}) | carrier;
    ASSERT_EQ(tcsetattr(line, TCSANOW, &settings), 0);
    Process program = start({"info"});
    reader.serve(ask_version, hex("54"));
    expect_error(program.wait(), 3, reader.no_reader());
    termios now{};
    ASSERT_EQ(tcgetattr(line, &now), 0);
    EXPECT_EQ(now.c_cflag & CLOCAL, carrier);
  }
  close(line);
}

// The terminal that is standard output is the line then.
TEST_F(Locks, HoldForASerialTerminal) {
  const Terminal terminal;
  const std::string configuration = folder / "terminal.conf";
  write_file(configuration, "W=w\nA=a\n");
  const Arguments command = {QUORRA_PROGRAM, "info", "--config", configuration};
  Process first(command,
                {.input = {}, .streams = {{STDOUT_FILENO, terminal.line()}}, .environment = {}});
  terminal.read_until(
      "w\xAA"
      "a");
  const Outcome second =
      run(command, {.input = {}, .streams = {{STDOUT_FILENO, terminal.line()}}, .environment = {}});
  EXPECT_EQ(second.errors, "quorra: opening the session: " + terminal.device() +
                               " is in use by quorra (process " + std::to_string(first.number()) +
                               ")\n");
  EXPECT_EQ(second.status, 1);
}

TEST_F(CommandLine, LineAtASerialTerminalIsInUse) {
  const std::string socket = folder / "socket";
  Process simulator({QUORRA_SIM_PROGRAM, "--terminal", "--socket", socket, "--", "/bin/sh", "-c",
                     "echo started; exec sleep 1000"});
  EXPECT_EQ(simulator.read_line().substr(0, 7), "started");
  const std::string state =
      run({QUORRA_SIM_PROGRAM, "control", socket, R"({"command":"state"})"}).output;
  std::smatch device;
  ASSERT_TRUE(std::regex_search(state, device, std::regex(R"re("device":\s*"([^"]+)")re")))
      << state;
  write_file(folder / "reader.conf", "P=" + device[1].str() + "\n");
  expect_error(run_quorra({"info", "--config", folder / "reader.conf"}), 1,
               "quorra: opening the session: " + device[1].str() +
                   " is in use by quorra-sim (process " + std::to_string(simulator.number()) +
                   ")\n");
  simulator.signal(SIGTERM);
  simulator.wait();
}

// ---- Signals

class Signals : public ScriptedCommandLine {
 protected:
  // Lets the program wait for a reader that says no more, and ends it.
  void expect_end(const Arguments& command, const std::vector<Bytes>& requests,
                  const std::string& words) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      Process program = start(command);
      for (const Bytes& request : requests) {
        reader.expect(request);
        if (&request != &requests.back()) reader.answer(good_version);
      }
      program.signal(signal);
      expect_ended_by(program.wait(), signal, "quorra: " + words + ": interrupted\n");
      reader.expect_restored();
      reader.read_all();
    }
  }

  const Bytes ask_status = sealed("AA B9 00 05 80 00 00 00 00");
};

TEST_F(Signals, EndWaitsForASilentReader) {
  expect_end({"read"}, {ask_version}, "opening the session");
  expect_end({"beep"}, {ask_version, sealed("AA B4 00 07 80 00 00 00 00 00 32")},
             "sounding the buzzer");
  expect_end({"speed", "set", "9600", "--find", "--yes"}, {ask_version},
             "changing the reader's speed");
}

// By themselves the three searches take 27 seconds each.
TEST_F(Signals, CutASearchShort) {
  const auto begin = std::chrono::steady_clock::now();
  expect_end({"speed", "find"}, {ask_status}, "looking for the reader's speed");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(40));
}

TEST_F(Signals, EndTheLoopOfAShell) {
  Process shell({"/bin/sh", "-c", R"(for i in 1 2 3; do "$0" "$@"; echo next; done)",
                 QUORRA_PROGRAM, "info", "--config", reader.configuration()},
                {.input = {}, .streams = {}, .environment = {}, .has_own_group = true});
  reader.expect(ask_version);
  // As a terminal does it, which tells all that runs on it.
  ASSERT_EQ(kill(-shell.number(), SIGINT), 0);
  expect_ended_by(shell.wait(), SIGINT, "quorra: opening the session: interrupted\n");
  EXPECT_EQ(reader.read_all(), "");
}

TEST_F(Signals, LeaveNothingOfAVirtualReader) {
  const std::string image = new_card("4442", {"--counter", "1"});
  const Terminal terminal;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Process program({QUORRA_PROGRAM, "code", "present", "--virtual", image, "FFFFFF"},
                    {.input = {},
                     .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                     .environment = {{"NO_COLOR", "1"}, {"TMPDIR", folder / ""}}});
    terminal.read_until("to go on: ");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / ""), {}), 2);
    program.signal(signal);
    EXPECT_EQ(program.wait().signal, signal);
    EXPECT_EQ(terminal.read_until("interrupted\n"), "\nquorra: presenting the code: interrupted\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / ""), {}), 1);
  }
}

// The reader has changed by then. What follows would wait for it anew.
TEST_F(Signals, EndAChangeOfSpeed) {
  Process program = start({"speed", "set", "19200", "--yes"});
  reader.serve_opening();
  reader.serve(sealed("AA B7 00 07 80 00 00 01 80 00 01"), reply(0, hex("34")));
  reader.serve(sealed("AA B1 00 06 80 00 00 00 00 35"), reply(0, {}));
  program.signal(SIGTERM);
  expect_ended_by(program.wait(), SIGTERM, "quorra: opening the session: interrupted\n");
  reader.expect_closed();
}

// Nothing that must not be torn is under way: the signal does what it does to any program.
TEST_F(Signals, EndItWhileItWaitsForItsInput) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  Process program({QUORRA_PROGRAM, "verify", "--address", "0", "--file", "-", "--card", "4442",
                   "--config", reader.configuration()},
                  {.input = {}, .streams = {{STDIN_FILENO, ends[0]}}, .environment = {}});
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  // Once it has taken that, it waits for more.
  for (int unread = 1; unread != 0; usleep(1000))
    ASSERT_EQ(ioctl(ends[0], FIONREAD, &unread), 0);
  program.signal(SIGTERM);
  expect_ended_by(program.wait(), SIGTERM, "");
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace quorra::testing
