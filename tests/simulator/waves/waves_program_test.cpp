// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Waves as users of quorra-sim ask for them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using quorra::testing::Outcome;
using quorra::testing::Process;
using test::content_of;
using test::RawClient;
using test::request;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

class WavesOfProgram : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return (folder.path() / name).string(); }
  Outcome run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), QUORRA_SIM);
    return quorra::testing::run(arguments);
  }
  // Starts a reader with a 24c02. `shell` comes before the program.
  Process start(const std::vector<std::string>& options, const std::string& shell = "") const {
    static_cast<void>(test::new_card(folder, "24c02"));
    std::vector<std::string> command{
        "/bin/sh",    "-c",       shell + " exec \"$0\" \"$@\"", QUORRA_SIM, "--card",
        path("card"), "--config", path("reader.conf"),           "--socket", path("socket")};
    command.insert(command.end(), options.begin(), options.end());
    return Process(command);
  }
  Outcome control(const std::string& line) const { return run({"control", path("socket"), line}); }
  void read_a_byte() const {
    EXPECT_EQ(RawClient(path("reader.conf")).exchange(request(0x61, "61 00 00 00 05 00 01")).at(1),
              0);
  }
  static Outcome end(Process& program) {
    program.signal(SIGTERM);
    return program.wait();
  }

  TemporaryFolder folder;
};

TEST_F(WavesOfProgram, are_recorded_from_the_start) {
  Process program = start({"--waves", path("x.vcd")});
  program.read_line();
  read_a_byte();
  const Outcome outcome = end(program);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_THAT(content_of(path("x.vcd")),
              AllOf(HasSubstr("$comment card 24c02 $end"),
                    HasSubstr("sread,_24c02,_address_0x0005,_count_1 )")));
}

TEST_F(WavesOfProgram, come_and_go_by_the_socket) {
  Process program = start({});
  program.read_line();
  EXPECT_THAT(control(R"({"command":"state"})").output, HasSubstr(R"("waves":null)"));
  EXPECT_EQ(control(R"({"command":"waves","on":false})").output, "{\"ok\":true}\n");
  const std::string file = path("x.vcd");
  EXPECT_EQ(control(R"({"command":"waves","file":")" + file + "\"}").output, "{\"ok\":true}\n");
  EXPECT_THAT(control(R"({"command":"state"})").output, HasSubstr(R"("waves":")" + file + '"'));
  read_a_byte();
  EXPECT_EQ(control(R"({"command":"waves","on":false})").output, "{\"ok\":true}\n");
  const std::string recorded = content_of(file);
  EXPECT_THAT(recorded, HasSubstr("address_0x0005"));
  read_a_byte();
  EXPECT_EQ(content_of(file), recorded);
  EXPECT_EQ(control(R"({"command":"waves","on":true,"file":")" + file + "\"}").status, 0);
  EXPECT_EQ(end(program).status, 0);
}

TEST_F(WavesOfProgram, are_refused_by_the_socket_where_they_cannot_be) {
  Process program = start({});
  program.read_line();
  const std::pair<const char*, const char*> cases[] = {
      {R"({"command":"waves"})", R"({"ok":false,"error":"\"file\" is missing"})"},
      {R"({"command":"waves","on":true})", R"({"ok":false,"error":"\"file\" is missing"})"},
      {R"({"command":"waves","on":1})", R"({"ok":false,"error":"\"on\" must be true or false"})"},
      {R"({"command":"waves","file":7})", R"({"ok":false,"error":"\"file\" must be a string"})"},
      {R"({"command":"waves","on":false,"file":"x"})",
       R"({"ok":false,"error":"with \"on\":false there is no \"file\""})"},
      {R"({"command":"waves","file":"/nowhere/x"})",
       R"({"ok":false,"error":"/nowhere/x: No such file or directory"})"},
      {R"({"command":"waves","file":"/dev/full"})",
       R"({"ok":false,"error":"/dev/full: No space left on device; the waves end there"})"},
      {R"({"command":"waves","file":"x","off":1})",
       R"({"ok":false,"error":"unknown field \"off\""})"},
  };
  for (const auto& [line, answer] : cases) {
    const Outcome outcome = control(line);
    EXPECT_EQ(outcome.status, 1) << line;
    EXPECT_EQ(outcome.output, std::string(answer) + '\n');
  }
  EXPECT_THAT(control(R"({"command":"state"})").output, HasSubstr(R"("waves":null)"));
  EXPECT_EQ(end(program).status, 0);
}

TEST_F(WavesOfProgram, that_cannot_be_written_are_told_at_the_start) {
  const std::pair<const char*, const char*> cases[] = {
      {"/nowhere/x", "quorra-sim: /nowhere/x: No such file or directory\n"},
      {"/dev/full", "quorra-sim: /dev/full: No space left on device; the waves end there\n"},
      {"", "quorra-sim: --waves: the name of the file is empty; see quorra-sim --help\n"},
  };
  for (const auto& [file, complaint] : cases) {
    const Outcome outcome = run({"--waves", file});
    EXPECT_EQ(outcome.status, 2) << file;
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, complaint);
  }
  const std::string card = test::new_card(folder, "24c02").string();
  const std::string before = content_of(card);
  EXPECT_THAT(run({"--card", card, "--waves", card}).errors,
              EndsWith(": in use by another virtual reader\n"));
  EXPECT_THAT(run({"--waves", card}).errors, EndsWith(": there is another file of that name\n"));
  EXPECT_EQ(content_of(card), before);
}

TEST_F(WavesOfProgram, do_not_go_with_a_recording_of_the_line) {
  const Outcome outcome = run({"--replay", "x", "--waves", "y"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.errors, "quorra-sim: --replay does not go with --waves\n");
}

// Blocks of the shell's limit have 512 bytes, or 1024. The head of the file has fewer.
TEST_F(WavesOfProgram, that_cannot_go_on_are_told_at_once_and_at_the_end) {
  const std::string file = path("x.vcd");
  Process program = start({"--waves", file}, "ulimit -S -f 2;");
  program.read_line();
  for (int i = 0; i < 4; ++i)
    read_a_byte();
  EXPECT_THAT(control(R"({"command":"state"})").output, HasSubstr(R"("waves":null)"));
  const Outcome outcome = end(program);
  EXPECT_EQ(outcome.status, 2);
  const std::string complaint = "quorra-sim: " + file + ": File too large; the waves end there\n";
  EXPECT_EQ(outcome.errors, complaint + complaint);
}

TEST_F(WavesOfProgram, that_cannot_go_on_are_told_when_the_socket_ends_them) {
  const std::string file = path("x.vcd");
  Process program = start({"--waves", file}, "ulimit -S -f 2;");
  program.read_line();
  for (int i = 0; i < 4; ++i)
    read_a_byte();
  const Outcome answer = control(R"({"command":"waves","on":false})");
  EXPECT_EQ(answer.output,
            R"({"ok":false,"error":")" + file + ": File too large; the waves end there\"}\n");
  EXPECT_EQ(control(R"({"command":"waves","on":false})").status, 0);
  const Outcome outcome = end(program);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.errors, StartsWith("quorra-sim: " + file));
}

class Play : public WavesOfProgram {
 protected:
  // Waves of a byte that is read from a new 24c02.
  void SetUp() override {
    Process program = start({"--waves", path("x.vcd")});
    program.read_line();
    read_a_byte();
    EXPECT_EQ(end(program).status, 0);
  }
  void expect_refusal(const std::vector<std::string>& arguments, const std::string& why) const {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 2) << why;
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "quorra-sim: " + why + '\n');
  }
};

TEST_F(Play, says_that_a_card_does_the_same) {
  const Outcome outcome = run({"play", path("x.vcd"), "--card", path("card")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output,
              MatchesRegex("The 24c02 does what was recorded: [0-9]+ comparisons.\n"));
  EXPECT_EQ(outcome.errors, "");
}

TEST_F(Play, says_where_a_card_differs) {
  EXPECT_EQ(run({"new", "24c02", path("other"), "--data", "5:FE"}).status, 0);
  const std::string before = content_of(path("other"));
  const Outcome outcome = run({"play", path("x.vcd"), "--card", path("other")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output,
              MatchesRegex("#[0-9]+ \\([.0-9]+ ms\\) to #[0-9]+ \\([.0-9]+ ms\\): "
                           "IO_card is 1 in the capture, and 0 with this card\n"
                           "The 24c02 does not do what was recorded: 1 difference in [0-9]+ "
                           "comparisons.\n"));
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(content_of(path("other")), before);
}

TEST_F(Play, takes_names_of_signals) {
  std::string waves = content_of(path("x.vcd"));
  waves.replace(waves.find(" CLK "), 5, " SCL ");
  test::write_file(path("x.vcd"), waves);
  EXPECT_EQ(run({"play", path("x.vcd"), "--card", path("card")}).status, 2);
  EXPECT_EQ(run({"play", path("x.vcd"), "--card", path("card"), "--signal", "CLK=SCL"}).status, 0);
}

TEST_F(Play, refuses_what_it_cannot_play) {
  const std::string file = path("x.vcd");
  const std::string card = path("card");
  expect_refusal({"play", path("none"), "--card", card},
                 path("none") + ": No such file or directory");
  expect_refusal({"play", card, "--card", card}, card + ": no value change dump (VCD)");
  expect_refusal({"play", "/dev/null", "--card", card}, "/dev/null: no value change dump (VCD)");
  expect_refusal({"play", folder.path().string(), "--card", card},
                 folder.path().string() + ": no value change dump (VCD)");
  EXPECT_THAT(run({"play", file, "--card", path("none")}).errors, HasSubstr(path("none")));
  EXPECT_THAT(run({"play", file}).errors, HasSubstr("--card"));
  for (const char* const text : {"CLK", "CLK=", "SCL=CLK", "=CLK"})
    expect_refusal({"play", file, "--card", card, "--signal", text},
                   std::string("signal must be CONTACT=NAME, such as CLK=D0: ") + text);
  expect_refusal({"play", file, "--card", card, "--signal", "CLK=a", "--signal", "CLK=b"},
                 "there are two signals for CLK");
  test::write_file(file, content_of(file).substr(0, 1000));
  const Outcome outcome = run({"play", file, "--card", card});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.errors, HasSubstr("the file is cut off"));
}

}  // namespace
}  // namespace quorra::simulator
