// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What quorra-sim does when the system refuses something: strace makes single system calls fail.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <csignal>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "simulator/cards/image.hpp"
#include "simulator/control/unix_socket.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using quorra::testing::Outcome;
using quorra::testing::Process;
using quorra::testing::Surroundings;
using test::RawClient;
using test::reply;
using test::request;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// The leak checker of the sanitizers cannot work in a program that is being traced.
Surroundings surroundings(const TemporaryFolder& folder) {
  return {.input = {},
          .streams = {},
          .environment = {{"TMPDIR", folder.path().string()}, {"ASAN_OPTIONS", "detect_leaks=0"}}};
}

class FailingCalls : public ::testing::Test {
 protected:
  void SetUp() override {
    constexpr int call_has_failed = 42;
    const std::string trial = "exec " + strace + " -e inject=write:error=EIO sh -c 'echo || exit " +
                              std::to_string(call_has_failed) + "'";
    if (quorra::testing::run({"/bin/sh", "-c", trial}).status != call_has_failed)
      GTEST_SKIP() << "strace cannot make calls fail here";
    EXPECT_EQ(quorra::testing::run({QUORRA_SIM, "new", "4432", card}).status, 0);
  }

  // The command of quorra-sim with those arguments. `failure` is what becomes of which calls, as in
  // "read:error=EIO:when=1"; of those only that concern the file `path`, unless that is empty. A
  // shell expands `path`: its process becomes quorra-sim. Calls to write need a path, because the
  // sanitizers write, too. Words that begin with '@' are names of files in the folder of the test.
  std::vector<std::string> command(const std::string& failure, const std::string& path,
                                   const std::vector<std::string>& arguments) const {
    const std::string calls = failure.substr(0, failure.find(':'));
    std::string script = "exec " + strace + " -e 'trace=" + calls + "'";
    if (calls != "none") script += " -e 'inject=" + failure + "'";
    if (!path.empty()) script += " -P \"" + in_folder(path) + "\"";
    script += " \"$0\" \"$@\"";
    std::vector<std::string> words{"/bin/sh", "-c", script, QUORRA_SIM};
    for (const std::string& argument : arguments)
      words.push_back(in_folder(argument));
    return words;
  }
  Outcome run(const std::string& failure, const std::string& path,
              const std::vector<std::string>& arguments) const {
    return quorra::testing::run(command(failure, path, arguments), surroundings(folder));
  }
  std::string in_folder(const std::string& word) const {
    return word.starts_with('@') ? (folder.path() / word.substr(1)).string() : word;
  }
  std::ptrdiff_t files_in_folder() const {
    return std::distance(std::filesystem::directory_iterator(folder.path()), {});
  }

  const std::string strace = "/usr/bin/strace -f -D -qqq -o /dev/null";
  TemporaryFolder folder;
  std::string card = folder.path() / "card";
};

// Where a new image is written, before it takes its place.
constexpr const char* new_image = "@.quorra-$$-0";
constexpr const char* screen = "$(readlink /proc/$$/fd/1)";

// A call that fails, and what quorra-sim says then.
struct Failure {
  const char* calls;
  const char* path;
  std::vector<std::string> arguments;
  const char* complaint;
};

std::ostream& operator<<(std::ostream& stream, const Failure& failure) {
  return stream << failure.calls << ' ' << failure.path << ' '
                << ::testing::PrintToString(failure.arguments);
}

class FatalFailure : public FailingCalls, public ::testing::WithParamInterface<Failure> {};

TEST_P(FatalFailure, is_told_in_one_line_and_leaves_nothing_behind) {
  const auto& [calls, path, arguments, complaint] = GetParam();
  const std::string before = test::content_of(card);
  const Outcome outcome = run(calls, path, arguments);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.errors, StartsWith("quorra-sim: "));
  EXPECT_THAT(outcome.errors, HasSubstr(complaint));
  EXPECT_EQ(std::ranges::count(outcome.errors, '\n'), 1) << outcome.errors;
  EXPECT_EQ(files_in_folder(), 1);
  EXPECT_EQ(test::content_of(card), before);
}

INSTANTIATE_TEST_SUITE_P(
    Files, FatalFailure,
    ::testing::Values(
        Failure{"fstat,?newfstatat:error=EIO", "@card", {"show", "@card"}, "not a regular file"},
        Failure{"read:error=EIO", "@card", {"show", "@card"}, "cannot read: Input/output error"},
        Failure{"read:retval=0", "@card", {"show", "@card"}, "format is missing"},
        Failure{"write:error=EIO:when=1",
                new_image,
                {"new", "4442", "@new"},
                "new: cannot write: Input/output error"},
        Failure{"?rename,?renameat,?renameat2:error=EIO",
                "",
                {"new", "4442", "@new"},
                "new: cannot write: Input/output error"},
        Failure{"?access,?faccessat,?faccessat2:error=EACCES",
                "@card",
                {"new", "4442", "@card", "--force"},
                "card: cannot write: Permission denied"},
        Failure{"fchmod:error=EPERM",
                "",
                {"new", "4442", "@card", "--force"},
                "card: cannot keep the permissions: Operation not permitted"},
        Failure{
            "?mkdir,?mkdirat:error=EACCES", "", {}, "cannot make a folder: Permission denied"}));

INSTANTIATE_TEST_SUITE_P(
    Reader, FatalFailure,
    ::testing::Values(
        Failure{"openat:error=ENOENT", "/dev/ptmx", {}, "pseudo-terminal: No such file"},
        Failure{"eventfd2:error=EMFILE", "", {}, "eventfd: Too many open files"},
        Failure{"socket:error=EMFILE", "", {}, "control: Too many open files"},
        Failure{"bind:error=EACCES", "", {}, "control: Permission denied"},
        Failure{"listen:error=ENOBUFS", "", {}, "control: No buffer space available"},
        Failure{"listen:error=ENOBUFS",
                "",
                {"--socket", "@control"},
                "control: No buffer space available"},
        Failure{"ppoll:error=ENOMEM", "", {}, "ppoll: Cannot allocate memory"}));

INSTANTIATE_TEST_SUITE_P(LiveCard, FatalFailure,
                         ::testing::Values(Failure{"socket:error=EMFILE:when=1",
                                                   "",
                                                   {"--card", "vicc://127.0.0.1:0"},
                                                   "vicc://127.0.0.1:0: Too many open files"},
                                           Failure{"setsockopt:error=EPERM:when=1",
                                                   "",
                                                   {"--card", "vicc://127.0.0.1:0"},
                                                   "vicc://127.0.0.1:0: Operation not permitted"},
                                           Failure{"listen:error=ENOBUFS:when=1",
                                                   "",
                                                   {"--card", "vicc://127.0.0.1:0"},
                                                   "vicc://127.0.0.1:0: No buffer space available"},
                                           Failure{
                                               "getsockname:error=ENOBUFS:when=1",
                                               "",
                                               {"--card", "vicc://127.0.0.1:0"},
                                               "vicc://127.0.0.1:0: No buffer space available"}));

INSTANTIATE_TEST_SUITE_P(
    Terminal, FatalFailure,
    ::testing::Values(
        Failure{"signalfd4:error=EMFILE", "", {"--terminal", "--", "true"}, "signalfd: Too many"},
        Failure{"fcntl:error=EPERM:when=1",
                "/dev/ptmx",
                {"--terminal", "--", "true"},
                "pseudo-terminal: Operation not permitted"},
        Failure{"fcntl:error=EPERM:when=2",
                "/dev/ptmx",
                {"--terminal", "--", "true"},
                "pseudo-terminal: Operation not permitted"},
        Failure{"clone:error=EAGAIN", "", {"--terminal", "--", "true"}, "fork: Resource tempor"},
        Failure{"poll:error=ENOMEM", "", {"--terminal", "--", "true"}, "poll: Cannot allocate"}));

TEST_F(FailingCalls, one_by_one_keep_a_terminal_from_being_set_up_or_do_not_matter) {
  // More than setting up two pseudo-terminals takes.
  constexpr int calls = 20;
  int refusals = 0;
  for (int call = 1; call <= calls; ++call) {
    const Outcome outcome = run("ioctl:error=EPERM:when=" + std::to_string(call), "",
                                {"--terminal", "--", "echo", "x"});
    const bool refused = outcome.status == 2;
    refusals += refused ? 1 : 0;
    EXPECT_EQ(outcome.status, refused ? 2 : 0);
    EXPECT_EQ(outcome.output, refused ? "" : "x\n");
    EXPECT_THAT(outcome.errors,
                ::testing::MatchesRegex(
                    refused ? "quorra-sim: (pseudo-)?terminal: Operation not permitted\n" : ""));
    EXPECT_EQ(files_in_folder(), 1);
  }
  EXPECT_GT(refusals, 5);
}

// Calls that a signal interrupts, or that can do nothing at first, and a command that uses them.
struct Interruption {
  const char* calls;
  const char* path;
  std::vector<std::string> arguments;
};

std::ostream& operator<<(std::ostream& stream, const Interruption& interruption) {
  return stream << interruption.calls << ' ' << interruption.path << ' '
                << ::testing::PrintToString(interruption.arguments);
}

class InterruptedProgram : public FailingCalls,
                           public ::testing::WithParamInterface<Interruption> {};

TEST_P(InterruptedProgram, does_the_same_as_ever) {
  const auto& [calls, path, arguments] = GetParam();
  const Outcome outcome = run(calls, path, arguments);
  const Outcome usual = run("none", "", arguments);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, usual.output);
  EXPECT_EQ(outcome.errors, "");
}

INSTANTIATE_TEST_SUITE_P(
    Calls, InterruptedProgram,
    ::testing::Values(
        Interruption{"read:error=EINTR:when=1", "@card", {"show", "@card"}},
        Interruption{"write:error=EINTR:when=1", new_image, {"new", "4442", "@card", "--force"}},
        Interruption{"poll:error=EINTR:when=1", "", {"--terminal", "--", "echo", "x"}},
        Interruption{"read:error=EINTR:when=1", "/dev/ptmx", {"--terminal", "--", "echo", "x"}},
        Interruption{"write:error=EINTR:when=1", screen, {"--terminal", "--", "echo", "x"}}));

// A reader in the background some of whose calls fail.
class ReaderWithFailingCalls : public FailingCalls {
 protected:
  void start(const std::string& failure, const std::string& path) {
    reader.emplace(command(failure, path, {"--card", card, "--socket", socket}),
                   surroundings(folder));
    host.emplace(reader->read_line());
  }
  void expect_good_end() {
    reader->signal(SIGTERM);
    const Outcome outcome = reader->wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
  }
  Outcome ask() const {
    return quorra::testing::run({QUORRA_SIM, "control", socket, R"({"command":"clear_faults"})"});
  }

  const test::Bytes read = request(0x61, "79 00 00 00 00 00 04");
  const test::Bytes content = reply(0, "A2 13 10 91");
  const test::Bytes write = request(0x60, "79 00 00 00 20 01 02 03");
  std::string socket = folder.path() / "socket";
  std::optional<Process> reader;
  std::optional<RawClient> host;
};

TEST_F(ReaderWithFailingCalls, serves_its_host_when_calls_are_interrupted) {
  for (const auto* const calls :
       {"read:error=EINTR:when=1", "read:error=EAGAIN:when=1", "write:error=EINTR:when=1",
        "write:error=EAGAIN:when=1", "ppoll:error=EINTR:when=1"}) {
    start(calls, "/dev/ptmx");
    EXPECT_EQ(host->exchange(read), content) << calls;
    expect_good_end();
  }
}

TEST_F(ReaderWithFailingCalls, ends_when_its_line_fails) {
  for (const auto* const calls : {"read:error=EIO", "write:error=EIO"}) {
    start(calls, "/dev/ptmx");
    host->send(read);
    const Outcome outcome = reader->wait();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, "quorra-sim: pseudo-terminal: Input/output error\n");
  }
}

TEST_F(ReaderWithFailingCalls, saves_the_card_when_that_is_interrupted) {
  start("pwrite64:error=EINTR:when=1", "");
  EXPECT_EQ(host->exchange(write), reply(0));
  EXPECT_EQ(load_image(card).field("memory")[0x22], 0x03);
  expect_good_end();
}

TEST_F(ReaderWithFailingCalls, saves_the_card_with_the_next_command_when_it_could_not_before) {
  start("pwrite64:error=EIO:when=1", "");
  EXPECT_EQ(host->exchange(write), reply(test::status::image_not_saved));
  EXPECT_EQ(load_image(card).field("memory")[0x22], 0xFF);
  EXPECT_EQ(host->exchange(read), content);
  EXPECT_EQ(load_image(card).field("memory")[0x22], 0x03);
  reader->signal(SIGTERM);
  const Outcome outcome = reader->wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.errors, "quorra-sim: " + card + ": cannot write: Input/output error\n");
}

TEST_F(FailingCalls, keep_a_reader_from_a_socket_that_cannot_be_removed) {
  const auto socket = folder.path() / "socket";
  {
    const FileDescriptor stale(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(bind_to(stale, socket_address(socket)), 0);
  }
  const Outcome outcome = run("?unlink,?unlinkat:error=EACCES", "@socket", {"--socket", "@socket"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.errors, "quorra-sim: " + socket.string() + ": Permission denied\n");
  EXPECT_TRUE(std::filesystem::exists(socket));
}

TEST_F(ReaderWithFailingCalls, does_without_locks_where_the_file_system_has_none) {
  start("flock:error=ENOLCK", "");
  EXPECT_EQ(host->exchange(read), content);
  expect_good_end();
}

TEST_F(ReaderWithFailingCalls, keeps_its_card_when_nobody_can_tell_who_has_it) {
  start("none", "");
  const Outcome outcome = run("openat:error=EACCES", "/proc/locks", {"--card", card});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.errors, "quorra-sim: " + card + ": in use by another virtual reader\n");
  expect_good_end();
}

TEST_F(ReaderWithFailingCalls, answers_its_client_when_calls_are_interrupted) {
  for (const auto* const calls : {"recvfrom:error=EINTR:when=1", "recvfrom:error=EAGAIN:when=1",
                                  "sendto:error=EINTR:when=1", "sendto:error=EAGAIN:when=1"}) {
    start(calls, "");
    EXPECT_EQ(ask().output, "{\"ok\":true}\n") << calls;
    expect_good_end();
  }
}

TEST_F(ReaderWithFailingCalls, takes_a_client_later_when_it_cannot_now) {
  start("accept4:error=EMFILE:when=1", "");
  EXPECT_EQ(ask().output, "{\"ok\":true}\n");
  expect_good_end();
}

TEST_F(FailingCalls, of_a_reader_on_a_terminal_do_not_end_its_program) {
  const Outcome outcome =
      run("ppoll:error=ENOMEM", "", {"--terminal", "--", "sh", "-c", "sleep 0.2; exit 3"});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.errors, "quorra-sim: ppoll: Cannot allocate memory\n");
}

TEST_F(ReaderWithFailingCalls, gives_up_a_client_whose_connection_fails) {
  for (const auto* const calls :
       {"recvfrom:error=ECONNRESET:when=1", "sendto:error=ECONNRESET:when=1"}) {
    start(calls, "");
    const Outcome outcome = ask();
    EXPECT_EQ(outcome.status, 2) << calls;
    EXPECT_EQ(outcome.errors, "quorra-sim: " + socket + ": no answer\n");
    EXPECT_EQ(ask().output, "{\"ok\":true}\n") << calls;
    expect_good_end();
  }
}

// The other end of the control socket.
TEST_F(ReaderWithFailingCalls, is_controlled_by_a_program_whose_calls_are_interrupted) {
  start("none", "");
  const std::vector<std::string> state{"control", socket, R"({"command":"clear_faults"})"};
  EXPECT_EQ(run("recvfrom:error=EINTR:when=1", "", state).output, "{\"ok\":true}\n");
  const std::pair<const char*, const char*> failures[] = {
      {"socket:error=EMFILE", "Too many open files"},
      {"sendto:error=EPIPE", "Broken pipe"},
      {"connect:error=EAGAIN", "no answer within 10 seconds"},
      {"sendto:error=EAGAIN", "no answer within 10 seconds"},
      {"setsockopt:error=EPERM:when=1", "Operation not permitted"},
      {"setsockopt:error=EPERM:when=2", "setsockopt: Operation not permitted"}};
  for (const auto& [calls, complaint] : failures) {
    const Outcome outcome = run(calls, "", state);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, ::testing::EndsWith(std::string(complaint) + "\n"));
  }
  expect_good_end();
}

}  // namespace
}  // namespace quorra::simulator
