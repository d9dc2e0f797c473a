// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <ostream>
#include <thread>

#include "simulator/line/auxiliary_port.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using quorra::testing::Outcome;
using quorra::testing::Surroundings;
using ::testing::HasSubstr;
using ::testing::StartsWith;

AuxiliaryPort::Output sort(const std::vector<std::string_view>& pieces) {
  AuxiliaryPort port;
  AuxiliaryPort::Output all;
  const auto add = [&all](const AuxiliaryPort::Output& more) {
    all.screen += more.screen;
    all.port += more.port;
  };
  for (const std::string_view piece : pieces)
    add(port.take(piece));
  add(port.finish());
  return all;
}

// What a program writes, and where it goes.
struct Written {
  std::string_view bytes;
  std::string_view screen;
  std::string_view port;
};

std::ostream& operator<<(std::ostream& stream, const Written& written) {
  return stream << ::testing::PrintToString(written.bytes);
}

class Sorting : public ::testing::TestWithParam<Written> {};

TEST_P(Sorting, is_the_same_wherever_the_bytes_are_cut) {
  const auto& [bytes, screen, port] = GetParam();
  for (std::size_t first = 0; first <= bytes.size(); ++first)
    for (std::size_t second = first; second <= bytes.size(); ++second) {
      const auto output =
          sort({bytes.substr(0, first), bytes.substr(first, second - first), bytes.substr(second)});
      EXPECT_EQ(output.screen, screen) << first << ", " << second;
      EXPECT_EQ(output.port, port) << first << ", " << second;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, Sorting,
    ::testing::Values(Written{"hello\n", "hello\n", ""},  //
                      Written{"a\033[5ib\033[4ic", "ac", "b"},
                      Written{"\033[5i\xAA\033[4i\033[5i\xB0\033[4i", "", "\xAA\xB0"},
                      // Set-up and ends without a beginning go nowhere.
                      Written{"x\033[?4iy\033[4iz", "xyz", ""},
                      // Other sequences are for the screen, also those that begin alike.
                      Written{"\033[5m\033[?4l\033[1;5i\033\033[5iA\033[4i\033",
                              "\033[5m\033[?4l\033[1;5i\033\033", "A"},
                      // Bytes for the device can look like a sequence.
                      Written{"\033[5i\033\033[4i\033[5i[\033[4i", "", "\033["},
                      Written{"\033[5i\033[4j\033[5i\033[?4i\033[4i!", "!",
                              "\033[4j\033[5i\033[?4i"},
                      Written{"\033[5i\033[", "", "\033["}));

TEST(AuxiliaryPort, holds_back_no_more_than_the_beginning_of_a_sequence) {
  AuxiliaryPort port;
  EXPECT_EQ(port.take("a\033[").screen, "a");
  EXPECT_EQ(port.take("m").screen, "\033[m");
  EXPECT_EQ(port.finish().screen, "");
}

TEST(AuxiliaryPort, is_described_in_lines_that_hosts_can_read) {
  EXPECT_EQ(auxiliary_port_lines(),
            "S=\\033[?4i\nI=\\033[4i\nW=\\033[5i\nA=\\033[4i\nC=\\033[4i\n");
}

class OnTerminal : public ::testing::Test {
 protected:
  std::vector<std::string> command(const std::string& script) const {
    return {QUORRA_SIM, "--config", configuration, "--terminal", "--", "sh", "-c", script};
  }
  Outcome run(const std::string& script, const std::string& input = "") const {
    return quorra::testing::run(command(script),
                                {.input = input, .streams = {}, .environment = {}});
  }

  TemporaryFolder folder;
  std::string configuration = folder.path() / "terminal.conf";
};

TEST_F(OnTerminal, a_program_ends_with_its_own_status) {
  EXPECT_EQ(run("exit 0").status, 0);
  EXPECT_EQ(run("exit 7").status, 7);
  EXPECT_EQ(run("kill -KILL $$").status, 128 + SIGKILL);
}

TEST_F(OnTerminal, a_program_writes_to_the_screen) {
  const Outcome outcome = run("echo one; echo two >&2; printf '\\033[1m'");
  EXPECT_EQ(outcome.output, "one\ntwo\n\033[1m");
  EXPECT_EQ(outcome.errors, "");
}

TEST_F(OnTerminal, a_program_has_a_terminal) {
  EXPECT_EQ(run("test -t 0 && test -t 1 && test -t 2 && echo yes >/dev/tty").output, "yes\n");
}

TEST_F(OnTerminal, a_program_is_typed_standard_input) {
  EXPECT_EQ(run("read first; read second; echo $second $first", "a\nb\n").output, "b a\n");
}

TEST_F(OnTerminal, a_program_reads_much_that_is_typed) {
  // More than fits into a terminal at once.
  std::string lines;
  for (int i = 0; i < 20000; ++i)
    lines += "0123456789\n";
  EXPECT_EQ(run("head -n 20000 | wc -c", lines).output, "220000\n");
}

TEST_F(OnTerminal, a_program_learns_its_configuration_file) {
  const Outcome outcome = run("echo $QUORRA_CONFIG; cat $QUORRA_CONFIG");
  EXPECT_THAT(outcome.output, StartsWith(configuration + "\n#"));
  EXPECT_THAT(outcome.output, HasSubstr("\n" + auxiliary_port_lines()));
  EXPECT_FALSE(std::filesystem::exists(configuration));
}

// The version request, wrapped byte by byte as hosts do, and the 15 bytes of the reply.
TEST_F(OnTerminal, a_program_reaches_the_reader) {
  const Outcome outcome =
      run("stty raw\n"
          "for byte in 252 260 000 007 200 000 000 000 000 000 012 227; do\n"
          "  printf '\\033[5i\\'$byte'\\033[4i'\n"
          "done\n"
          "head -c 15 | od -An -tx1\n");
  EXPECT_EQ(outcome.output, " 55 00 00 0a 4b 57 53 50 43 2d 56 49 52 54 37\n");
}

// A request for the version at the auxiliary port, and how many bytes come back.
constexpr const char* request_and_count =
    "printf '\\033[5i\\252\\260\\000\\007\\200\\000\\000\\000\\000\\000\\012\\227\\033[4i'\n"
    "head -c 15 | wc -c\n";

TEST_F(OnTerminal, a_program_gives_its_speed_to_the_auxiliary_port) {
  const auto bytes_at = [](const std::string& speed) {
    return quorra::testing::run({QUORRA_SIM, "--line-speed", "9600", "--terminal", "--", "sh", "-c",
                                 "stty raw " + speed + "\n" + request_and_count})
        .output;
  };
  EXPECT_EQ(bytes_at("9600"), "15\n");
  EXPECT_EQ(bytes_at("19200 min 0 time 5"), "0\n");
}

TEST_F(OnTerminal, a_program_goes_on_when_the_line_hangs_up) {
  const std::string socket = folder.path() / "socket";
  const std::string arm = std::string(QUORRA_SIM) + " control " + socket +
                          R"( '{"command":"fault","kind":"hang_up"}' >/dev/null)";
  const Outcome outcome = quorra::testing::run(
      {QUORRA_SIM, "--socket", socket, "--terminal", "--", "sh", "-c",
       arm + "\nstty raw min 0 time 5\n" + request_and_count + request_and_count + "exit 5"});
  EXPECT_EQ(outcome.output, "0\n0\n");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.status, 5);
}

TEST_F(OnTerminal, a_program_does_not_wait_for_a_line_that_has_hung_up) {
  const std::string socket = folder.path() / "socket";
  const std::string arm = std::string(QUORRA_SIM) + " control " + socket +
                          R"( '{"command":"fault","kind":"hang_up"}' >/dev/null)";
  // More than is kept for the line.
  const Outcome outcome = quorra::testing::run(
      {QUORRA_SIM, "--socket", socket, "--terminal", "--", "sh", "-c",
       arm + "\nstty raw min 0 time 5\n" + request_and_count +
           "printf '\\033[5i'\nhead -c 300000 /dev/zero\nprintf '\\033[4i'\necho done"});
  EXPECT_EQ(outcome.output, "0\ndone\n");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(OnTerminal, a_program_ends_also_where_the_ends_of_programs_were_ignored) {
  const Outcome outcome = quorra::testing::run({"/usr/bin/env", "--ignore-signal=CHLD", QUORRA_SIM,
                                                "--terminal", "--", "sh", "-c", "exit 3"});
  EXPECT_EQ(outcome.status, 3);
}

// What it has left behind, and what does not mind the hang-up, may go on writing.
TEST_F(OnTerminal, a_program_that_has_ended_says_no_more) {
  const Outcome outcome = run("trap '' HUP; yes & sleep 0.1; exit 3");
  EXPECT_EQ(outcome.status, 3);
}

TEST_F(OnTerminal, a_program_has_a_terminal_of_the_size_of_standard_output) {
  const quorra::testing::Terminal terminal;
  const winsize size{.ws_row = 33, .ws_col = 77, .ws_xpixel = 0, .ws_ypixel = 0};
  ASSERT_EQ(::ioctl(terminal.line(), TIOCSWINSZ, &size), 0);
  const Outcome outcome = quorra::testing::run(
      command("stty size"), {.input = {}, .streams = {{1, terminal.line()}}, .environment = {}});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(terminal.read(6), "33 77\n");
}

TEST_F(OnTerminal, a_program_gets_the_signals) {
  quorra::testing::Process terminal(
      command("trap 'echo caught; exit 9' TERM\n"
              "echo ready\n"
              "while :; do sleep 0.01; done"));
  EXPECT_EQ(terminal.read_line(), "ready");
  terminal.signal(SIGTERM);
  const Outcome outcome = terminal.wait();
  EXPECT_EQ(outcome.output, "caught\n");
  EXPECT_EQ(outcome.status, 9);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

// The first program, a shell, does not end by it.
TEST_F(OnTerminal, what_a_program_has_started_gets_ctrl_c) {
  quorra::testing::Process terminal(
      command("trap : INT\n"
              "sh -c 'echo ready; while :; do sleep 0.01; done'\n"
              "echo $?"));
  EXPECT_EQ(terminal.read_line(), "ready");
  terminal.signal(SIGINT);
  const Outcome outcome = terminal.wait();
  EXPECT_EQ(outcome.output, "130\n");
  EXPECT_EQ(outcome.status, 0);
}

// A program that writes without end to a screen that nobody reads.
void expect_end_by_signal_where_nothing_is_read(int screen) {
  quorra::testing::Process terminal({QUORRA_SIM, "--terminal", "--", "yes"},
                                    {.input = {}, .streams = {{1, screen}}, .environment = {}});
  pollfd room{.fd = screen, .events = POLLOUT, .revents = 0};
  while (::poll(&room, 1, 0) != 0)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  terminal.signal(SIGTERM);

  const FileDescriptor end(static_cast<int>(::syscall(SYS_pidfd_open, terminal.number(), 0)));
  pollfd ended{.fd = end.get(), .events = POLLIN, .revents = 0};
  constexpr int patience_ms = 60'000;
  ASSERT_EQ(::poll(&ended, 1, patience_ms), 1);
  EXPECT_EQ(terminal.wait().status, 128 + SIGTERM);
}

TEST_F(OnTerminal, a_program_gets_the_signals_also_when_nobody_reads_what_it_writes) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  const FileDescriptor reading(ends[0]);
  const FileDescriptor writing(ends[1]);
  expect_end_by_signal_where_nothing_is_read(writing.get());
}

TEST_F(OnTerminal, a_program_gets_the_signals_also_when_its_screen_is_full) {
  const quorra::testing::Terminal screen;
  expect_end_by_signal_where_nothing_is_read(screen.line());
}

// Somebody else's standard output does not become one whose writes can fail.
TEST_F(OnTerminal, a_program_leaves_its_screen_as_it_is) {
  const quorra::testing::Terminal screen;
  quorra::testing::Process terminal(
      command("read line"),
      {.input = {}, .streams = {{0, screen.line()}, {1, screen.line()}}, .environment = {}});
  EXPECT_EQ(::fcntl(screen.line(), F_GETFL) & O_NONBLOCK, 0);
  screen.type("end\n");
  EXPECT_EQ(terminal.wait().status, 0);
  EXPECT_EQ(::fcntl(screen.line(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(OnTerminal, nothing_is_lost_when_what_a_program_writes_is_read_late) {
  const Outcome outcome = quorra::testing::run(
      {"/bin/sh", "-c", "$0 --terminal -- head -c 300000 /dev/zero | (sleep 0.2; wc -c)",
       QUORRA_SIM});
  EXPECT_EQ(outcome.output, "300000\n");
}

TEST_F(OnTerminal, a_program_that_ignores_the_hang_up_is_killed) {
  const std::string ids = folder.path() / "ids";
  const Outcome outcome =
      quorra::testing::run({"/bin/sh", "-c",
                            "$0 --terminal -- sh -c 'echo $$ >$0; trap \"\" HUP; "
                            "while :; do echo x 2>/dev/null; sleep 0.01; done' $1 | true",
                            QUORRA_SIM, ids});
  EXPECT_EQ(outcome.errors, "quorra-sim: standard output: Broken pipe\n");
  const int program = std::stoi(test::content_of(ids));
  EXPECT_EQ(::kill(program, 0), -1) << program;
}

TEST_F(OnTerminal, a_program_that_is_not_there_cannot_be_run) {
  const Outcome outcome = quorra::testing::run({QUORRA_SIM, "--terminal", "--", "/nowhere/x"});
  EXPECT_EQ(outcome.status, 127);
  EXPECT_EQ(outcome.output, "quorra-sim: the program cannot be run\n");
}

TEST_F(OnTerminal, there_must_be_a_program) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{QUORRA_SIM, "--terminal"},
        std::vector<std::string>{QUORRA_SIM, "--terminal", "--"}}) {
    const Outcome outcome = quorra::testing::run(arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, StartsWith("quorra-sim: --terminal needs a program"));
  }
}

}  // namespace
}  // namespace quorra::simulator
