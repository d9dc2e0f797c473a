// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>
#include <sstream>
#include <thread>

#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/control/unix_socket.hpp"
#include "simulator/error.hpp"
#include "simulator/stop_signals.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using quorra::testing::Outcome;
using test::Bytes;
using test::hex;
using test::RawClient;
using test::reply;
using test::request;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

std::vector<std::string> with_program(const std::vector<std::string>& arguments) {
  std::vector<std::string> command{QUORRA_SIM};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

// A shell command with the program in $0.
std::vector<std::string> from_shell(const std::string& script) {
  return {"/bin/sh", "-c", script, QUORRA_SIM};
}

Outcome run(const std::vector<std::string>& arguments) {
  return quorra::testing::run(with_program(arguments));
}

// A refusal: status 2 and one line on standard error.
void expect_refusal(const std::vector<std::string>& arguments, const std::string& reason) {
  const Outcome outcome = run(arguments);
  EXPECT_EQ(outcome.status, 2) << reason;
  EXPECT_EQ(outcome.output, "");
  EXPECT_THAT(outcome.errors, StartsWith("quorra-sim: "));
  EXPECT_THAT(outcome.errors, HasSubstr(reason));
  EXPECT_EQ(std::ranges::count(outcome.errors, '\n'), 1) << outcome.errors;
  EXPECT_THAT(outcome.errors, EndsWith("\n"));
}

class Program : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return (folder.path() / name).string(); }
  // Starts quorra-sim in the background; it has its temporary folder in that of the test.
  quorra::testing::Process start(const std::vector<std::string>& arguments) const {
    return quorra::testing::Process(
        with_program(arguments),
        {.input = {}, .streams = {}, .environment = {{"TMPDIR", folder.path().string()}}});
  }
  bool folder_is_empty() const { return std::filesystem::is_empty(folder.path()); }

  TemporaryFolder folder;
};

TEST_F(Program, names_its_configuration_file_first) {
  EXPECT_EQ(run({"new", "4442", path("card")}).status, 0);
  auto reader = start({"--card", path("card")});
  const std::string configuration = reader.read_line();
  EXPECT_THAT(reader.read_line(), MatchesRegex("control socket: /.*"));
  const RawClient host(configuration);
  EXPECT_EQ(host.exchange(request(0x61, "79 00 00 00 00 00 04")), reply(0, "A2 13 10 91"));
  reader.signal(SIGTERM);
  EXPECT_EQ(reader.wait().status, 0);
}

TEST_F(Program, removes_its_files_when_a_signal_ends_it) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    auto reader = start({"--config", path("reader.conf"), "--socket", path("socket")});
    EXPECT_EQ(reader.read_line(), path("reader.conf"));
    EXPECT_TRUE(std::filesystem::exists(path("socket")));
    reader.signal(signal);
    const Outcome outcome = reader.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_TRUE(folder_is_empty());
  }
}

TEST_F(Program, arms_faults_from_the_start) {
  auto reader = start({"--fault", "status,status=6,on=0xB0", "--fault",
                       R"({"kind":"random","seed":7,"status":1,"on":185})"});
  const RawClient host(reader.read_line());
  EXPECT_EQ(host.exchange(request(0xB0, "80 00 00 00 00 00 0A")), reply(6));
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(5));
  EXPECT_EQ(host.exchange(request(0xB8, "80 00 00 00 00")), reply(0x21));
  reader.signal(SIGTERM);
  const Outcome outcome = reader.wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.errors,
            "quorra-sim: random faults: seed 7\n"
            "quorra-sim: random faults: seed 7, 3 exchanges, injected: status 2\n");
}

TEST_F(Program, tells_when_chance_has_done_nothing) {
  auto reader = start({"--fault", "random,seed=0x10,silence=0.5"});
  reader.read_line();
  reader.signal(SIGTERM);
  EXPECT_THAT(reader.wait().errors, HasSubstr("seed 16, 0 exchanges, injected: none\n"));
}

TEST_F(Program, refuses_faults_it_does_not_understand) {
  expect_refusal({"--fault", "fire"}, "fault: unknown kind of fault \"fire\" (known: silence, ");
  expect_refusal({"--fault", ""}, "fault: unknown kind of fault \"\"");
  expect_refusal({"--fault", "silence,times"}, "fault: FIELD=VALUE is expected: times");
  expect_refusal({"--fault", "silence,=1"}, "fault: FIELD=VALUE is expected: =1");
  expect_refusal({"--fault", "silence,times=1,times=2"}, "fault: times is there twice");
  expect_refusal({"--fault", "silence,times=0"}, "\"times\" must be a number from 1 to");
  expect_refusal({"--fault", "silence,fire=1"}, "unknown field \"fire\"");
  expect_refusal({"--fault", "random,silence=2"}, "\"silence\" must be a probability from 0 to 1");
  expect_refusal({"--fault", R"({"kind":)"}, "fault: this is not a JSON object: {\"kind\":");
  expect_refusal({"--fault", R"({"kind":"lie","kind":"partial"})"},
                 "fault: \"kind\" is there twice");
  expect_refusal({"--fault", R"({"command":"fault","kind":"silence"})"},
                 "unknown field \"command\"");
  expect_refusal({"--replay", "x", "--fault", "silence"}, "--replay does not go with --fault");
}

TEST_F(Program, tears_a_command) {
  const std::string file = path("card");
  EXPECT_EQ(run({"new", "4442", file, "--data", "0x20:00"}).status, 0);
  const std::string before = test::content_of(file);
  const std::vector<std::string> requests{"64 79 00 00 00 00 FF FF FF", "607900000020 0F"};
  const Outcome text = run({"tear", file, requests[0], requests[1]});
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.errors, "");
  // 26 rising edges until the command is whole, 255 while the card programs the byte, and those
  // with which it is read back.
  EXPECT_THAT(text.output, MatchesRegex("4442: [0-9]+ clocks, STATUS 0x00 .success.\n"
                                        "old: clock 1-26\n"
                                        "between: clock 27-281\n"
                                        "  memory 0x0020: 00 -> FF\n"
                                        "new: clock 282-[0-9]+\n"
                                        "  memory 0x0020: 00 -> 0F\n"));
  const Outcome told = run({"tear", "--json", file, requests[0], requests[1]});
  EXPECT_EQ(told.status, 0);
  const auto json = nlohmann::json::parse(told.output);
  EXPECT_EQ(json.at("kind"), "4442");
  EXPECT_EQ(json.at("status"), 0);
  EXPECT_EQ(json.at("status_name"), "success");
  ASSERT_EQ(json.at("states").size(), 3U);
  EXPECT_EQ(json.at("states").at(1),
            nlohmann::json::parse(R"({"state":"between","clocks":[[27,281]],"changes":[
              {"field":"memory","address":32,"old":"00","found":"FF"}]})"));
  EXPECT_EQ(json.at("states").at(2).at("clocks").at(0).at(1), json.at("clocks"));
  EXPECT_EQ(test::content_of(file), before) << "the card stays as it is";
}

TEST_F(Program, tells_a_content_that_comes_without_a_cut_alone) {
  EXPECT_EQ(run({"new", "93c46", path("card")}).status, 0);
  const Outcome outcome = run({"tear", path("card"), "79 69 00 00 00 00"});
  EXPECT_THAT(outcome.output, HasSubstr("\nnew: "));
  EXPECT_EQ(run({"new", "cpu", path("processor")}).status, 0);
  const Outcome processor = run({"tear", path("processor"), "21 20 0000 0000 00 A4 00 0C 02 00 01",
                                 "21 20 0000 0000 00 D6 00 00 01 AB"});
  EXPECT_EQ(processor.output,
            "cpu: 0 clocks, STATUS 0x00 (success)\n"
            "new: without a cut\n"
            "  memory 0x0000: FF -> AB\n");
}

TEST_F(Program, refuses_to_tear_what_is_no_request) {
  EXPECT_EQ(run({"new", "4442", path("card")}).status, 0);
  expect_refusal({"tear", path("card"), "write"}, "is expected: write");
  expect_refusal({"tear", path("card"), "AA 60 00 05 79 00 00 00 00 00"}, "begins like a frame");
  expect_refusal({"tear", path("nowhere"), "60 79"}, "No such file or directory");
  expect_refusal({"tear", path("card"), "64 79 0000 0000 00 00 00", "60 79 0000 0020 AA"},
                 "STATUS 0x24, wrong_code");
}

TEST_F(Program, keeps_its_reader_in_a_file) {
  for (const char* const expected : {"FF", "AB"}) {
    auto reader = start({"--reader", path("reader")});
    {
      const RawClient host(reader.read_line());
      EXPECT_EQ(host.exchange(request(0xB7, "80 00 00 00 00 00 01")), reply(0, expected));
      EXPECT_EQ(host.exchange(request(0xB6, "80 00 00 00 00 AB")), reply(0));
    }
    reader.signal(SIGTERM);
    EXPECT_EQ(reader.wait().status, 0);
  }
  const Outcome shown = run({"show", path("reader")});
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.output, StartsWith("kind: reader (memory of a reader)\nmemory: 416 bytes\n"
                                       "0000: AB FF"));
  expect_refusal({"--card", path("reader")}, "unknown kind of card \"reader\"");
  EXPECT_EQ(run({"new", "4442", path("card")}).status, 0);
  expect_refusal({"--reader", path("card")}, path("card") + ":3: kind must be \"reader\"");
  expect_refusal({"--reader", ""}, "the name of the file is empty");
}

TEST_F(Program, names_the_help_when_words_are_not_expected) {
  expect_refusal({"--fire"}, "not expected: --fire; see quorra-sim --help\n");
  expect_refusal({"new", "4442"}, "FILE is required; see quorra-sim --help\n");
  expect_refusal({"show", path("nowhere")}, "No such file or directory\n");
}

TEST_F(Program, has_a_time_of_its_own) {
  auto reader = start({"--time", "virtual", "--speed", "1"});
  const RawClient host(reader.read_line());
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "00"));
  expect_refusal({"--time", "summer"}, "the time must be wall or virtual: summer");
  expect_refusal({"--replay", "x", "--time", "virtual"}, "--replay does not go with --time");
  expect_refusal({"--replay", "x", "--reader", "y"}, "--replay does not go with --reader");
}

TEST_F(Program, can_be_started_again_after_it_was_killed) {
  const std::vector<std::string> arguments{"--config", path("reader.conf"), "--socket",
                                           path("socket")};
  {
    auto killed = start(arguments);
    EXPECT_EQ(killed.read_line(), path("reader.conf"));
    killed.signal(SIGKILL);
    EXPECT_EQ(killed.wait().status, -1);
  }
  EXPECT_FALSE(folder_is_empty());
  auto reader = start(arguments);
  EXPECT_EQ(reader.read_line(), path("reader.conf"));
  const RawClient host(path("reader.conf"));
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "00"));
}

TEST_F(Program, speaks_to_a_running_reader) {
  auto reader = start({"--socket", path("socket"), "--version-text", "V", "--serial",
                       "ABCDEFGHIJKLMNOP", "--speed", "115200"});
  const std::string configuration = reader.read_line();
  const RawClient host(configuration);
  EXPECT_EQ(host.exchange(request(0xB0, "80 00 00 00 00 00 0A")), reply(0, "56"));
  EXPECT_EQ(host.exchange(request(0xB7, "80 00 00 01 90 00 02")), reply(0, "41 42"));

  Outcome outcome = run({"control", path("socket"), R"({"command":"state"})"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, HasSubstr("\"exchanges\":2"));
  outcome = run({"control", path("socket"), R"({"command":"remove"})"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "{\"ok\":false,\"error\":\"no card is in the slot\"}\n");
  EXPECT_EQ(run({"control", path("socket"), R"({"command":"stop"})"}).output, "{\"ok\":true}\n");
  EXPECT_EQ(reader.wait().status, 0);
  EXPECT_FALSE(std::filesystem::exists(configuration));
}

TEST_F(Program, keeps_the_card_when_it_is_killed) {
  run({"new", "4432", path("card")});
  auto reader = start({"--card", path("card")});
  const RawClient host(reader.read_line());
  EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 01 02 03")), reply(0));
  reader.signal(SIGKILL);
  reader.wait();
  EXPECT_THAT(load_image(path("card")).field("memory").subspan(0x20, 3),
              ElementsAreArray(hex("01 02 03")));
}

TEST_F(Program, has_a_loadable_card_whenever_it_is_killed) {
  run({"new", "4432", path("card")});
  for (unsigned kill = 0; kill < 25; ++kill) {
    auto reader = start({"--card", path("card")});
    const RawClient host(reader.read_line());
    // As many requests as the reader gets to before the signal.
    for (int i = 0; i < 20; ++i)
      host.send(request(0x60, i % 2 == 0 ? "79 00 00 00 20 55" : "79 00 00 00 20 AA"));
    ::usleep(kill * 100);
    reader.signal(SIGKILL);
    reader.wait();
    EXPECT_NO_THROW(load_image(path("card")));
  }
}

TEST_F(Program, has_its_card_for_itself) {
  run({"new", "cpu", path("card")});
  auto reader = start({"--card", path("card"), "--socket", path("socket")});
  reader.read_line();
  const std::string in_use = path("card") + ": in use by another virtual reader";
  expect_refusal({"--card", path("card")}, in_use);
  expect_refusal({"--sam", "0=" + path("card")}, in_use);
  EXPECT_EQ(run({"show", path("card")}).status, 0);
  reader.signal(SIGKILL);
  reader.wait();
  auto next = start({"--card", path("card"), "--socket", path("socket")});
  EXPECT_THAT(next.read_line(), StartsWith("/"));
}

TEST_F(Program, replaces_no_card_that_a_reader_uses) {
  run({"new", "4442", path("card")});
  const std::string content = test::content_of(path("card"));
  const std::vector<std::string> force{"new", "4432", path("card"), "--force"};
  quorra::testing::Process reader(
      from_shell("echo $$; exec $0 --card " + path("card")),
      {.input = {}, .streams = {}, .environment = {{"TMPDIR", folder.path().string()}}});
  const std::string process = reader.read_line();
  reader.read_line();
  expect_refusal(force,
                 path("card") + ": in use by another virtual reader (process " + process + ")");
  EXPECT_EQ(test::content_of(path("card")), content);
  reader.signal(SIGTERM);
  EXPECT_EQ(reader.wait().status, 0);
  EXPECT_EQ(run(force).status, 0);
  EXPECT_EQ(load_image(path("card")).kind().name, "4432");
}

TEST_F(Program, leaves_a_file_alone_that_took_the_place_of_its_card) {
  run({"new", "4432", path("card")});
  auto reader = start({"--card", path("card")});
  const RawClient host(reader.read_line());
  std::filesystem::rename(path("card"), path("moved"));
  EXPECT_EQ(run({"new", "24c02", path("card")}).status, 0);
  const std::string content = test::content_of(path("card"));
  EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 55")),
            reply(test::status::image_not_saved));
  reader.signal(SIGTERM);
  const Outcome outcome = reader.wait();
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.errors, HasSubstr(path("card") + ": another file has taken its place"));
  EXPECT_EQ(test::content_of(path("card")), content);
}

// The card is changed while a folder has the place of its file.
class ChangedCard : public Program {
 protected:
  ChangedCard() {
    run({"new", "4432", path("card")});
    reader.emplace(
        with_program({"--card", path("card")}),
        quorra::testing::Surroundings{
            .input = {}, .streams = {}, .environment = {{"TMPDIR", folder.path().string()}}});
    const RawClient host(reader->read_line());
    std::filesystem::remove(path("card"));
    std::filesystem::create_directory(path("card"));
    EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 01")),
              reply(test::status::image_not_saved));
  }

  std::optional<quorra::testing::Process> reader;
};

TEST_F(ChangedCard, that_cannot_be_saved_is_a_failure) {
  reader->signal(SIGTERM);
  const Outcome outcome = reader->wait();
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.errors, ::testing::EndsWith("\nquorra-sim: " + path("card") +
                                                  ": not a regular file; what changed on the card "
                                                  "is lost\n"));
}

TEST_F(ChangedCard, is_saved_at_the_end_when_that_is_possible_again) {
  std::filesystem::remove(path("card"));
  reader->signal(SIGTERM);
  EXPECT_EQ(reader->wait().status, 0);
  EXPECT_EQ(load_image(path("card")).field("memory")[0x20], 0x01);
}

TEST_F(Program, leaves_nothing_behind_when_a_new_card_cannot_be_written) {
  const Outcome outcome =
      quorra::testing::run(from_shell("ulimit -S -f 0; exec $0 new 4442 " + path("card")));
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.errors, "quorra-sim: " + path("card") + ": cannot write: File too large\n");
  EXPECT_TRUE(folder_is_empty());
}

// The processor time that a process has used, in seconds.
double processor_time(const std::string& process) {
  const std::string line = test::content_of("/proc/" + process + "/stat");
  // What follows the name of the program, which may hold anything: the state, ten numbers, and the
  // ticks in the program and in the system for it.
  std::istringstream words(line.substr(line.rfind(')') + 1));
  std::string skipped;
  for (int word = 0; word < 11; ++word)
    words >> skipped;
  double program = 0;
  double system = 0;
  words >> program >> system;
  return (program + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

TEST_F(Program, rests_when_it_has_no_descriptor_for_a_client) {
  quorra::testing::Process reader(
      from_shell("echo $$; ulimit -n 14; exec $0 --socket " + path("socket")),
      {.input = {}, .streams = {}, .environment = {{"TMPDIR", folder.path().string()}}});
  const std::string process = reader.read_line();
  reader.read_line();
  std::vector<FileDescriptor> clients;
  for (int client = 0; client < 14; ++client)
    clients.push_back(connect_to(path("socket")));

  using Seconds = std::chrono::duration<double>;
  const auto begin = Clock::now();
  const double used_before = processor_time(process);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const double used = processor_time(process) - used_before;
  EXPECT_LT(used / Seconds(Clock::now() - begin).count(), 0.1);

  // Those who wait are served as soon as the others have gone.
  const FileDescriptor last = std::move(clients.back());
  clients.clear();
  const std::string_view line = "{\"command\":\"clear_faults\"}\n";
  ASSERT_EQ(::send(last.get(), line.data(), line.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(line.size()));
  const std::string_view answer = "{\"ok\":true}\n";
  std::string received(answer.size(), '\0');
  EXPECT_EQ(::recv(last.get(), received.data(), received.size(), MSG_WAITALL),
            static_cast<ssize_t>(answer.size()));
  EXPECT_EQ(received, answer);
  reader.signal(SIGTERM);
  EXPECT_EQ(reader.wait().status, 0);
}

TEST_F(Program, writes_no_text_to_the_line_when_it_was_started_without_standard_streams) {
  run({"new", "4432", path("card")});
  quorra::testing::Process reader(
      from_shell("exec $0 --card " + path("card") + " 2>&-"),
      {.input = {}, .streams = {}, .environment = {{"TMPDIR", folder.path().string()}}});
  const RawClient host(reader.read_line());
  std::filesystem::remove(path("card"));
  std::filesystem::create_directory(path("card"));
  EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 01")),
            reply(test::status::image_not_saved));
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(test::status::image_not_saved));
  std::filesystem::remove(path("card"));
  EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "03"));
}

TEST_F(Program, cannot_run_when_there_is_no_standard_output) {
  const Outcome outcome = quorra::testing::run(from_shell("exec $0 >&-"));
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.errors, "quorra-sim: standard output: Bad file descriptor\n");
}

TEST_F(Program, is_not_ended_by_signals_that_were_ignored_when_it_began) {
  quorra::testing::Process reader(from_shell("trap '' HUP INT; exec $0"));
  const RawClient host(reader.read_line());
  for (const int signal : {SIGHUP, SIGINT}) {
    reader.signal(signal);
    EXPECT_EQ(host.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "00"));
  }
  reader.signal(SIGTERM);
  EXPECT_EQ(reader.wait().status, 0);
}

TEST(StopSignals, are_those_that_are_not_ignored) {
  for (const int ignored : stop_signals) {
    std::map<int, void (*)(int)> actions;
    for (const int signal : stop_signals)
      actions[signal] = std::signal(signal, signal == ignored ? SIG_IGN : SIG_DFL);
    const sigset_t signals = set_of_stop_signals();
    for (const int signal : stop_signals) {
      EXPECT_EQ(sigismember(&signals, signal), signal == ignored ? 0 : 1);
      static_cast<void>(std::signal(signal, actions[signal]));
    }
  }
}

TEST_F(Program, shows_a_trace_until_the_reader_ends) {
  auto reader = start({"--socket", path("socket")});
  const RawClient host(reader.read_line());
  quorra::testing::Process control(
      with_program({"control", path("socket"), R"({"command":"trace","on":true})"}));
  EXPECT_EQ(control.read_line(), R"({"ok":true})");
  host.exchange(request(0xB9, "80 00 00 00 00"));
  EXPECT_THAT(control.read_line(),
              ::testing::MatchesRegex(R"(\{"trace":"in","number":1,"time":[0-9.e-]+,"card":null,)"
                                      R"("fault":null,"frame":"AA B9 00 05 80 00 00 00 00 96"\})"));
  EXPECT_THAT(control.read_line(),
              ::testing::MatchesRegex(R"(\{"trace":"out","number":1,"time":[0-9.e-]+,"card":null,)"
                                      R"("fault":null,"frame":"55 00 00 01 00 54"\})"));
  EXPECT_EQ(run({"control", path("socket"), R"({"command":"trace","on":false})"}).output,
            "{\"ok\":true}\n");
  reader.signal(SIGTERM);
  EXPECT_EQ(reader.wait().status, 0);
  const Outcome outcome = control.wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output + outcome.errors, "");
}

TEST_F(Program, does_not_wait_for_ever_for_a_reader_that_stands_still) {
  auto reader = start({"--socket", path("socket")});
  reader.read_line();
  reader.freeze();
  // One that does not listen, and no other client gets into its queue.
  const FileDescriptor deaf(::socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind_to(deaf, socket_address(path("deaf"))), 0);
  ASSERT_EQ(::listen(deaf.get(), 0), 0);
  const FileDescriptor first = connect_to(path("deaf"));
  ASSERT_TRUE(first.is_open());

  const auto ask = [this](const std::string& name) {
    return with_program({"control", path(name), R"({"command":"state"})"});
  };
  quorra::testing::Process asking(ask("socket"));
  quorra::testing::Process connecting(ask("deaf"));
  quorra::testing::Process starting(with_program({"--socket", path("deaf")}));
  const auto expect_end = [](quorra::testing::Process& process, const std::string& complaint) {
    const Outcome outcome = process.wait();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, "quorra-sim: " + complaint + "\n");
  };
  expect_end(asking, path("socket") + ": no answer within 10 seconds");
  expect_end(connecting, path("deaf") + ": no answer within 10 seconds");
  expect_end(starting, path("deaf") + ": the socket is in use");
}

TEST_F(Program, makes_cards) {
  Bytes raw(256);
  std::iota(raw.begin(), raw.end(), std::uint8_t{0});
  test::write_file(path("raw"), {reinterpret_cast<const char*>(raw.data()), raw.size()});
  const Outcome outcome = run({"new", "4442", path("card"), "--code", "12 34 56", "--counter", "3",
                               "--memory", path("raw"), "--data", "0x20:AABB", "--data", "255:CC",
                               "--protect", "8", "--protect", "0x1E-0x1F"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output + outcome.errors, "");
  const Image image = load_image(path("card"));
  EXPECT_THAT(image.field("code"), ElementsAreArray(hex("12 34 56")));
  EXPECT_THAT(image.field("counter"), ElementsAreArray(hex("03")));
  raw[0x20] = 0xAA;
  raw[0x21] = 0xBB;
  raw[0xFF] = 0xCC;
  EXPECT_THAT(image.field("memory"), ElementsAreArray(raw));
  EXPECT_THAT(address_list(image.field("protected")),
              ::testing::ElementsAre("0x00-0x03", "0x06-0x08", "0x15-0x1A", "0x1E-0x1F"));
}

TEST_F(Program, overwrites_a_card_only_when_it_is_told_to) {
  run({"new", "4442", path("card"), "--counter", "1"});
  expect_refusal({"new", "4442", path("card")}, "exists already");
  EXPECT_EQ(load_image(path("card")).field("counter").front(), 1);
  EXPECT_EQ(run({"new", "4442", path("card"), "--force"}).status, 0);
  EXPECT_EQ(load_image(path("card")).field("counter").front(), 7);
}

TEST_F(Program, takes_one_value_for_an_option_before_the_file) {
  EXPECT_EQ(run({"new", "24c02", "--data", "0:12", path("card")}).status, 0);
  EXPECT_EQ(load_image(path("card")).field("memory").front(), 0x12);
  EXPECT_EQ(run({"new", "4432", "--protect", "8", path("other")}).status, 0);
  EXPECT_EQ(load_image(path("other")).field("protected")[8], 1);
  const std::string third = path("third");
  expect_refusal({"new", "24c02", third, "--data", "0:12", "1:34"}, "not expected: 1:34");
  expect_refusal({"new", "4432", third, "--protect", "8", "9"}, "not expected: 9");
}

TEST_F(Program, refuses_content_that_fits_no_card) {
  const std::string card = path("card");
  test::write_file(path("short"), "x");
  expect_refusal({"new", "4443", card}, "unknown kind of card \"4443\" (known: 4442, 4432, ");
  expect_refusal({"new", "4442", card, "--code", "1234"}, "code must be 3 bytes");
  expect_refusal({"new", "4442", card, "--code", ""}, "code must be 3 bytes");
  expect_refusal({"new", "4432", card, "--code", "123456"}, "a 4432 has no code");
  expect_refusal({"new", "4432", card, "--counter", "3"}, "a 4432 has no counter");
  expect_refusal({"new", "4442", card, "--counter", "8"}, "counter must be 0 to 7");
  expect_refusal({"new", "4442", card, "--data", "AA"}, "data must be ADDRESS:HEX");
  expect_refusal({"new", "4442", card, "--data", "0:"}, "data must be ADDRESS:HEX");
  expect_refusal({"new", "4442", card, "--data", "255:AABB"}, "data goes beyond the 256 bytes");
  expect_refusal({"new", "4442", card, "--data", "257:AA"}, "data goes beyond the 256 bytes");
  expect_refusal({"new", "4442", card, "--protect", "32"}, "protect must be ADDRESS");
  expect_refusal({"new", "4442", card, "--protect", "3-"}, "protect must be ADDRESS");
  expect_refusal({"new", "4442", card, "--memory", path("short")}, "1 bytes, but a 4442 has 256");
  expect_refusal({"new", "4442", card, "--memory", path("none")}, "cannot open");
  expect_refusal({"new", "4442", path("none/card")}, "No such file or directory");
  EXPECT_FALSE(std::filesystem::exists(card));
}

TEST_F(Program, shows_a_card) {
  run({"new", "4442", path("card"), "--data", "0xF0:48656C6C6F"});
  const Outcome outcome = run({"show", path("card")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, StartsWith("kind: 4442 ("));
  EXPECT_THAT(outcome.output, HasSubstr("\ncode: FF FF FF\ncounter: 7\n"));
  EXPECT_THAT(outcome.output, HasSubstr("\nprotected: 0x00-0x03 0x06-0x07 0x15-0x1A\n"));
  EXPECT_THAT(
      outcome.output,
      HasSubstr("\n00F0: 48 65 6C 6C 6F FF FF FF FF FF FF FF FF FF FF FF  Hello...........\n"));
}

TEST_F(Program, makes_and_shows_a_card_that_has_only_memory) {
  EXPECT_EQ(run({"new", "24c02", path("card"), "--data", "0xF0:48656C6C6F"}).status, 0);
  const Outcome outcome = run({"show", path("card")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, StartsWith("kind: 24c02 (256 bytes, two-wire EEPROM)\nmemory: "));
  EXPECT_THAT(
      outcome.output,
      HasSubstr("\n00F0: 48 65 6C 6C 6F FF FF FF FF FF FF FF FF FF FF FF  Hello...........\n"));
  expect_refusal({"new", "24c02", path("other"), "--code", "123456"}, "a 24c02 has no code");
  test::write_file(path("raw"), std::string(128, 'x'));
  EXPECT_EQ(run({"new", "93c46a", path("words"), "--memory", path("raw")}).status, 0);
  EXPECT_THAT(load_image(path("words")).field("memory"), ::testing::Each('x'));
}

TEST_F(Program, makes_and_shows_cards_of_1024_bytes) {
  EXPECT_EQ(run({"new", "4428", path("card"), "--code", "1234", "--counter", "127", "--data",
                 "1020:AA", "--protect", "0x3FF"})
                .status,
            0);
  const Outcome outcome = run({"show", path("card")});
  EXPECT_THAT(outcome.output, HasSubstr("\ncode: 12 34\ncounter: 127\n"));
  EXPECT_THAT(outcome.output, HasSubstr(" 0x15-0x1A 0x3FF\n"));
  EXPECT_EQ(load_image(path("card")).field("memory").back(), 0xAA);
  expect_refusal({"new", "4428", path("other"), "--data", "1021:00"}, "beyond the 1021 bytes");
  expect_refusal({"new", "4418", path("other"), "--code", "1234"}, "a 4418 has no code");
}

TEST_F(Program, makes_and_shows_a_card_with_raw_bytes) {
  EXPECT_EQ(run({"new", "45d041", path("card"), "--data", "0x83FFE:4142"}).status, 0);
  const Outcome outcome = run({"show", path("card")});
  EXPECT_THAT(outcome.output, HasSubstr("\nmemory: 540672 bytes\n0000: FF FF"));
  EXPECT_THAT(outcome.output, HasSubstr("\n83FF0: FF FF FF FF FF FF FF FF FF FF FF FF FF FF 41 42  "
                                        "..............AB\n"));
  expect_refusal({"new", "45d041", path("other"), "--protect", "0"}, "a 45d041 has no protected");
}

TEST_F(Program, makes_and_shows_a_processor_card) {
  EXPECT_EQ(run({"new", "cpu", path("card"), "--atr", "3B 02 14 50", "--code", "35363738",
                 "--counter", "2", "--key", "0123456789ABCDEF", "--data", "0x1FE:4142"})
                .status,
            0);
  const Outcome outcome = run({"show", path("card")});
  EXPECT_THAT(outcome.output, StartsWith("kind: cpu ("));
  EXPECT_THAT(outcome.output, HasSubstr("\natr: 3B 02 14 50\ncode: 35 36 37 38\ncounter: 2\n"
                                        "key: 01 23 45 67 89 AB CD EF\nmemory: 512 bytes\n"));
  EXPECT_THAT(outcome.output, HasSubstr("\nprivate: 128 bytes\n"));
  EXPECT_THAT(outcome.output, HasSubstr("\nrecords: 128 bytes\n"));
  const std::string other = path("other");
  EXPECT_EQ(run({"new", "cpu", other, "--atr", std::string(66, 'A')}).status, 0);
  expect_refusal({"new", "cpu", other, "--atr", ""}, "atr must be 1 to 33 bytes");
  expect_refusal({"new", "cpu", other, "--atr", "3"}, "atr must be 1 to 33 bytes");
  expect_refusal({"new", "cpu", other, "--atr", std::string(68, 'A')}, "atr must be 1 to 33 bytes");
  expect_refusal({"new", "cpu", other, "--key", "01"}, "key must be 8 bytes");
  expect_refusal({"new", "4442", other, "--atr", "3B"}, "a 4442 has no atr");
  expect_refusal({"new", "4442", other, "--key", "01"}, "a 4442 has no key");
}

TEST_F(Program, puts_sams_into_the_reader) {
  run({"new", "cpu", path("sam")});
  auto reader = start({"--sam", "0=" + path("sam"), "--socket", path("socket")});
  const RawClient host(reader.read_line());
  EXPECT_EQ(host.exchange(request(0xB2, "21 00000000")), reply(0));
  EXPECT_EQ(host.exchange(request(0x20, "21 00000000")), reply(0, "3B 86 01 51 55 4F 52 52 41 8D"));
  const Outcome outcome = run({"control", path("socket"), R"({"command":"state"})"});
  EXPECT_THAT(outcome.output, HasSubstr(R"("sams":[{"slot":0,"kind":"cpu","file":")" + path("sam") +
                                        R"(","powered":true,)"));

  expect_refusal({"--sam", path("sam")}, "sam must be SLOT=FILE");
  expect_refusal({"--sam", "x=" + path("sam")}, "sam must be SLOT=FILE");
  expect_refusal({"--sam", "0="}, "sam must be SLOT=FILE");
  expect_refusal({"--sam", "8=" + path("sam")}, "the slots of the SAMs are 0 to 7");
  expect_refusal({"--sam", "1=" + path("sam"), "--sam", "1=x"}, "there are two SAMs for slot 1");
  expect_refusal({"--sam", "1=" + path("none")}, path("none") + ": cannot open");
}

TEST_F(Program, insists_on_a_line_speed) {
  auto reader = start({"--line-speed", "4800", "--socket", path("socket")});
  const RawClient host(reader.read_line());
  host.set_speed(B4800);
  EXPECT_EQ(host.exchange(request(0xB7, "80 0000 0180 00 01")), reply(0, "03"));
  EXPECT_THAT(run({"control", path("socket"), R"({"command":"state"})"}).output,
              HasSubstr("\"line_speed\":4800"));
  expect_refusal({"--line-speed", "57600"}, "the line speed must be 1200, 2400, ");
}

TEST_F(Program, lists_the_kinds) {
  const Outcome outcome = run({"kinds"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, StartsWith("4442 "));
  EXPECT_THAT(outcome.output, HasSubstr("\n4432 "));
}

TEST_F(Program, helps) {
  Outcome outcome = run({"--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, HasSubstr("Usage: quorra-sim"));
  EXPECT_EQ(outcome.errors, "");
  outcome = run({"new", "--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, HasSubstr("--protect"));
  outcome = run({"--version"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, MatchesRegex("quorra-sim [0-9.]+\n"));
  for (const auto* const option : {"--help", "--version"}) {
    outcome = quorra::testing::run(from_shell(std::string("exec $0 ") + option + " >/dev/full"));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, "quorra-sim: standard output: No space left on device\n");
  }
}

TEST_F(Program, refuses_options_that_make_no_sense) {
  expect_refusal({"--nonsense"}, "--nonsense");
  expect_refusal({"nonsense"}, "nonsense");
  expect_refusal({"--speed", "fast"}, "--speed");
  expect_refusal({"--speed", "-1"}, "--speed");
  expect_refusal({"--speed", "4294967295"}, "the speed must be at most");
  expect_refusal({"--version-text", ""}, "the version text must be");
  expect_refusal({"--serial", "1"}, "the serial number must be");
  for (const std::string number : {"page", "99999", "65536", "-1", "1.5", ""})
    expect_refusal({"--web", number}, "--web: a number from 0 to 65535 is expected: " + number);
  expect_refusal({"--line-speed", "fast"},
                 "--line-speed: a number from 0 to 4294967295 is expected: fast");
  expect_refusal({"new", "4442", path("a"), path("b")}, path("b"));
}

// They are named as the documentation does.
TEST_F(Program, names_what_is_missing) {
  expect_refusal({"new"}, "KIND is required");
  expect_refusal({"new", "4442"}, "FILE is required");
  expect_refusal({"show"}, "FILE is required");
  expect_refusal({"tear"}, "IMAGE is required");
  expect_refusal({"tear", path("card")}, "REQUEST is required");
  expect_refusal({"play"}, "FILE is required");
  expect_refusal({"play", path("waves")}, "--card is required");
  expect_refusal({"control"}, "SOCKET is required");
  expect_refusal({"control", path("socket")}, "JSON is required");
}

// What they ask for would not happen.
TEST_F(Program, refuses_options_of_a_reader_before_a_subcommand) {
  expect_refusal({"--web", "0", "kinds"}, "--web does not go with kinds");
  expect_refusal({"--card", path("card"), "show", path("card")}, "--card does not go with show");
  expect_refusal({"--terminal", "new", "4442", path("card")}, "--terminal does not go with new");
  EXPECT_FALSE(std::filesystem::exists(path("card")));
}

TEST_F(Program, refuses_empty_names_of_files) {
  const std::string empty = ": the name of the file is empty";
  for (const std::string option : {"--card", "--config", "--socket"})
    expect_refusal({option, ""}, option + empty);
  expect_refusal({"--sam", "0="}, "sam must be SLOT=FILE");
  expect_refusal({"new", "4442", ""}, "FILE" + empty);
  expect_refusal({"new", "4442", path("card"), "--memory", ""}, "--memory" + empty);
  expect_refusal({"show", ""}, "FILE" + empty);
  expect_refusal({"control", "", "{}"}, "SOCKET" + empty);
}

TEST_F(Program, refuses_a_card_it_cannot_load) {
  expect_refusal({"--card", path("none")}, path("none") + ": cannot open");
  test::write_file(path("damaged"), "format = 1\nkind = \"4442\"\n");
  expect_refusal({"--card", path("damaged")}, path("damaged") + ": code is missing");
  expect_refusal({"show", path("damaged")}, path("damaged") + ": code is missing");
  test::write_file(path("binary"), std::string("\0\xff\n\x01", 4));
  expect_refusal({"--card", path("binary")}, path("binary") + ":1: ");
}

TEST_F(Program, refuses_a_socket_that_is_in_use) {
  auto reader = start({"--socket", path("socket")});
  const std::string configuration = reader.read_line();
  expect_refusal({"--socket", path("socket")}, path("socket") + ": the socket is in use");
  EXPECT_EQ(run({"control", path("socket"), R"({"command":"state"})"}).status, 0);
}

TEST_F(Program, refuses_to_control_what_is_not_there) {
  expect_refusal({"control", path("none"), "{}"}, path("none") + ": No such file or directory");
}

}  // namespace
}  // namespace quorra::simulator
