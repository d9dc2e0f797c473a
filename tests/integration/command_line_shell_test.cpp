// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Commands that are typed at a terminal: quorra shell.

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

constexpr char prompt[] = "quorra> ";
constexpr char enter[] = "\r";

using Environment = std::map<std::string, std::optional<std::string>>;

// A shell on a terminal of its own. What the terminal shows has the typed text in it.
class RunningShell {
 public:
  RunningShell(const Arguments& options, const std::string& states)
      : RunningShell(Arguments{QUORRA_PROGRAM, "shell"} + options,
                     Environment{{"XDG_STATE_HOME", states}}) {}

  RunningShell(const Arguments& command, Environment environment)
      : program_(command, {.input = "",
                           .streams = {{STDIN_FILENO, terminal_.line()},
                                       {STDOUT_FILENO, terminal_.line()},
                                       {STDERR_FILENO, terminal_.line()}},
                           .environment = with_usual(std::move(environment))}) {
    terminal_.read_until(prompt);
  }

  // Types a line, and returns what is shown from its end to the next prompt.
  std::string enter_line(const std::string& line) const {
    terminal_.type(line + enter);
    const std::string shown = read_until(prompt);
    const std::size_t end = shown.size() - (sizeof prompt - 1);
    const std::size_t begin = shown.find('\n') + 1;
    return begin > end ? "" : shown.substr(begin, end - begin);
  }

  // The same of keys for which the line is shown again and again: that this output follows.
  void expect_shown(const std::string& keys, const std::string& output) const {
    terminal_.type(keys + enter);
    EXPECT_TRUE(read_until('\n' + output + prompt).ends_with('\n' + output + prompt)) << keys;
  }

  // What is shown up to this text, without carriage returns.
  std::string read_until(const std::string& text) const {
    std::string sought;
    for (const char character : text)
      sought += character == '\n' ? std::string("\r\n") : std::string(1, character);
    std::string shown = terminal_.read_until(sought);
    std::erase(shown, '\r');
    return shown;
  }

  Outcome end(const std::string& keys = "exit\r") {
    terminal_.type(keys);
    return program_.wait();
  }

  const Terminal& terminal() const { return terminal_; }
  Process& program() { return program_; }

 private:
  static Environment with_usual(Environment environment) {
    environment.insert({{"TERM", "dumb"},
                        {"NO_COLOR", "1"},
                        {"QUORRA_CONFIG", std::nullopt},
                        {"XDG_CONFIG_HOME", "/nowhere"}});
    return environment;
  }

  Terminal terminal_;
  Process program_;
};

class ShellTest : public CommandLine {
 protected:
  std::unique_ptr<RunningShell> start(const Arguments& options = {}) {
    return std::make_unique<RunningShell>(Arguments{"--virtual", image} + options,
                                          folder / "state");
  }

  std::string history() const { return content_of(folder / "state/quorra/history"); }

  std::string image = new_card("4442");
};

TEST_F(ShellTest, CommandsShareTheSession) {
  const auto shell = start();
  EXPECT_EQ(shell->enter_line("code present FFFFFF"), "The code is right.\n");
  EXPECT_EQ(shell->enter_line("quorra write --address 0x40 DEAD   # dead"),
            "Wrote 2 bytes at 0x0040 and read them back.\n");
  EXPECT_EQ(shell->enter_line("read --address 0x40 --count 2"),
            "0040  DE AD                                             |..              |\n");
  EXPECT_EQ(shell->enter_line(""), "");
  EXPECT_EQ(shell->enter_line("# nothing"), "");
  EXPECT_EQ(shell->end().status, 0);
}

TEST_F(ShellTest, ErrorsDoNotEndIt) {
  const auto shell = start();
  EXPECT_EQ(
      shell->enter_line("raed"),
      "quorra: The following argument was not expected: raed; did you mean 'read'? See quorra "
      "--help\n");
  EXPECT_EQ(shell->enter_line("read 'x"), "quorra: a quote is not closed\n");
  EXPECT_EQ(
      shell->enter_line("read --address 256"),
      "quorra: address 0x0100 is not in the memory of a 4442 card, which is 0x0000 to 0x00FF\n");
  EXPECT_EQ(
      shell->enter_line("setup"),
      "quorra: setup cannot be one of several commands: it looks for other readers; give it by "
      "itself\n");
  EXPECT_EQ(shell->enter_line("shell"),
            "quorra: shell cannot be one of several commands: it would open another session\n");
  EXPECT_EQ(shell->enter_line("code counter --virtual other"),
            "quorra: --virtual: all commands have one reader, which is named before them\n");
  EXPECT_EQ(shell->enter_line("code counter"), "3 attempts left.\n");
  EXPECT_EQ(shell->end().status, 0);
}

TEST_F(ShellTest, EndsByItsWordsAndAtTheEndOfInput) {
  for (const char* keys : {"exit\r", "quit\r", "\x04"}) {
    const auto shell = start();
    const Outcome outcome = shell->end(keys);
    EXPECT_EQ(outcome.status, 0) << keys;
  }
}

TEST_F(ShellTest, TellsWhatItIsAskedFor) {
  const auto shell = start();
  EXPECT_NE(shell->enter_line("help read").find("Usage: quorra read "), std::string::npos);
  EXPECT_EQ(shell->enter_line("code counter --json"),
            "{\"schema_version\":1,\"command\":\"code counter\",\"ok\":true,\"card\":\"4442\","
            "\"attempts_left\":3}\n");
  EXPECT_EQ(shell->enter_line("expect 3"), "");
  EXPECT_EQ(shell->enter_line("expect 2"), "quorra: expected 2, got 3\n");
  shell->end();
}

TEST_F(ShellTest, QuestionsAreAnswered) {
  const auto shell = start();
  shell->enter_line("code present FFFFFF");
  shell->terminal().type("protect --address 16\r");
  shell->read_until("Type 4442 to go on: ");
  shell->terminal().type("4442\n");
  EXPECT_EQ(shell->read_until(prompt), "4442\nProtected 1 byte at 0x0010.\nquorra> ");
  shell->end();
}

TEST_F(ShellTest, ARefusedCodeIsNotPresentedAgain) {
  const auto shell = start();
  shell->enter_line("code present 000000");
  EXPECT_EQ(
      shell->enter_line("code present 000000"),
      "quorra: presenting the code: the card has refused this code before; it is not presented "
      "again\n");
  EXPECT_EQ(shell->enter_line("code counter"), "2 attempts left.\n");
  shell->end();
}

TEST_F(ShellTest, TheHistoryHasNoCodes) {
  const char* const with_codes[] = {
      "code present FFFFFF",
      "code present --yes 4442 FF FF FF",
      "quorra code present FFFFFF",
      "read --count 1 --code FFFFFF",
      "read --count 1 --code=FFFFFF",
      "code change --code FFFFFF FFFFFF",
      "des encrypt --key 0011223344556677 00",
      "security compare FFFFFF",
      "apdu 0020000103FFFFFF",
      "apdu '00 20 00 01 03 FF FF FF'",
      "apdu 00 20 00 01 03 FF FF FF",
      "code presnt FFFFFF",
      "write --at code FFFFFF",
      "write --at=zone1.Erase-Code+1 FF",
      "write --at zone0 FFFFFF",
      "write --at all FFFFFF",
      "write --at zone1.erase_code FF",
      "verify --at code FFFFFF",
      "write --security --address 8 FFFF",
  };
  {
    const auto shell = start();
    for (const char* line : with_codes)
      shell->enter_line(line);
    shell->enter_line("read --count 1");
    shell->enter_line("  code   counter # FF");
    shell->enter_line("apdu 00A4000000");
    shell->enter_line("read --at code");
    shell->enter_line("write --at data FF");
    shell->end();
  }
  EXPECT_EQ(history(),
            "read --count 1\n  code   counter # FF\napdu 00A4000000\nread --at code\n"
            "write --at data FF\n");
  struct stat found {};
  ASSERT_EQ(stat((folder / "state/quorra/history").c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777U, 0600U);
  ASSERT_EQ(stat((folder / "state/quorra").c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777U, 0700U);
}

// Ctrl-P is the line before.
TEST_F(ShellTest, LinesComeBack) {
  {
    const auto shell = start();
    shell->enter_line("code counter");
    shell->enter_line("code present 000000");
    shell->expect_shown("\x10", "2 attempts left.\n");
    shell->end();
  }
  EXPECT_EQ(history(), "code counter\n");
  const auto shell = start();
  shell->expect_shown("\x10", "2 attempts left.\n");
  shell->end();
}

TEST_F(ShellTest, OldLinesGoAndPermissionsStay) {
  std::filesystem::create_directories(folder / "state/quorra");
  std::string lines;
  for (int line = 0; line < 1005; ++line)
    lines += "# line " + std::to_string(line) + '\n';
  write_file(folder / "state/quorra/history", lines);
  ASSERT_EQ(chmod((folder / "state/quorra/history").c_str(), 0644), 0);
  start()->end();
  EXPECT_EQ(history(), lines.substr(lines.find("# line 5\n")));
  struct stat found {};
  ASSERT_EQ(stat((folder / "state/quorra/history").c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777U, 0600U);
}

TEST_F(ShellTest, NeedsNoHistory) {
  write_file(folder / "state", "no folder");
  const auto shell = start();
  EXPECT_EQ(shell->enter_line("code counter"), "3 attempts left.\n");
  EXPECT_EQ(shell->end().status, 0);
}

TEST_F(ShellTest, LinesAreEdited) {
  const auto shell = start();
  // To the beginning, and to the end.
  shell->expect_shown(
      "counterX\x7F\x01"
      "code \x05",
      "3 attempts left.\n");
  shell->expect_shown(
      "write --code FFFFFF --address 0x40 --no-verify --text '\xC3\xA4\xC3\xB6\x7F'",
      "Wrote 2 bytes at 0x0040.\n");
  EXPECT_EQ(shell->enter_line("read --address 0x40 --count 2"),
            "0040  C3 A4                                             |..              |\n");
  shell->end();
}

TEST_F(ShellTest, WordsAreCompleted) {
  write_file(folder / "a file", "\x01");
  std::filesystem::create_directories(folder / "some/folder");
  write_file(folder / "some/folder/one", "\x02\x03");
  const auto shell = start();
  shell->expect_shown("cod\tcou\t", "3 attempts left.\n");
  shell->expect_shown(
      "read --coun\t1 --ca\t444\x32",
      "0000  A2*                                               |.               |\n" +
          std::string(legend));
  const std::string write = "write --code FFFFFF --all --address 0x40 --no-ver\t ";
  shell->expect_shown(write + "--fil\t" + folder / "a\t", "Wrote 1 byte at 0x0040.\n");
  shell->expect_shown(write + "--file '" + folder / "a f\t", "Wrote 1 byte at 0x0040.\n");
  shell->expect_shown(write + "--file=" + folder / "so\tfo\to\t", "Wrote 2 bytes at 0x0040.\n");
  // Several fit: they are shown.
  shell->terminal().type("code \t");
  const std::string shown = shell->read_until("present");
  EXPECT_NE(shown.find("change"), std::string::npos);
  EXPECT_NE(shown.find("counter"), std::string::npos);
  shell->expect_shown("counter", "3 attempts left.\n");
  EXPECT_EQ(shell->end("ex\t\r").status, 0);
}

TEST_F(ShellTest, InterruptEndsTheLineAlone) {
  const auto shell = start();
  shell->terminal().type("code present 000000");
  shell->read_until("000000");
  shell->program().signal(SIGINT);
  shell->read_until(prompt);
  EXPECT_EQ(shell->enter_line("code counter"), "3 attempts left.\n");
  EXPECT_EQ(shell->end().status, 0);
}

TEST_F(ShellTest, OtherSignalsEndIt) {
  for (const int signal : {SIGTERM, SIGHUP}) {
    const auto shell = start();
    shell->program().signal(signal);
    EXPECT_EQ(shell->program().wait().signal, signal);
  }
}

TEST_F(ShellTest, InterruptAtAQuestionEndsTheCommandAlone) {
  const auto shell = start();
  shell->enter_line("code present FFFFFF");
  shell->terminal().type("protect --address 16\r");
  shell->read_until("to go on: ");
  shell->program().signal(SIGINT);
  EXPECT_EQ(shell->read_until(prompt), "\nquorra: protecting: interrupted\nquorra> ");
  EXPECT_EQ(shell->enter_line("code counter"), "3 attempts left.\n");
  EXPECT_EQ(shell->end().status, 0);
}

// Without a terminal it is "run -".
TEST_F(ShellTest, WithoutATerminalLinesAreRead) {
  expect_success(
      run_quorra({"shell", "--virtual", image},
                 {.input = "code counter\nexpect 3\n", .streams = {}, .environment = {}}),
      "3 attempts left.\n");
  expect_error(run_quorra({"shell", "--virtual", image},
                          {.input = "code counter\nfly\n", .streams = {}, .environment = {}}),
               2,
               "quorra: standard input:2: The following argument was not expected: fly; see quorra "
               "--help\n");
}

class ShellAtReader : public ScriptedCommandLine {
 protected:
  const Bytes beep = sealed("AA B4 00 07 80 00 00 00 00 00 05");
};

// The line is opened anew behind it: the reply may still come.
TEST_F(ShellAtReader, InterruptEndsTheCommandAlone) {
  RunningShell shell({"--config", reader.configuration()}, folder / "state");
  shell.terminal().type("beep 5\r");
  reader.serve_opening();
  reader.expect(beep);
  shell.program().signal(SIGINT);
  EXPECT_NE(shell.read_until(prompt).find("quorra: sounding the buzzer: interrupted\n"),
            std::string::npos);
  shell.terminal().type("beep 5\r");
  reader.serve_opening();
  reader.serve(beep, reply(0, {}));
  shell.read_until(prompt);
  shell.terminal().type("beep 5\r");
  reader.serve(beep, reply(0, {}));
  shell.read_until(prompt);
  EXPECT_EQ(shell.end().status, 0);
  reader.expect_closed();
}

// A card that has no power now, but had it behind the last command, is another one.
TEST_F(ShellTest, AnotherCardIsAskedForItsCode) {
  const std::string socket = folder / "socket";
  Process simulator({QUORRA_SIM_PROGRAM, "--card", image, "--socket", socket});
  const std::string configuration = simulator.read_line();
  RunningShell shell({"--card", "4442", "--config", configuration}, folder / "state");
  shell.enter_line("code present 000000");
  EXPECT_EQ(
      shell.enter_line("code present 000000").find("quorra: presenting the code: the card has"),
      0U);
  for (const std::string& change : {std::string(R"({"command":"remove"})"),
                                    R"({"command":"insert","file":")" + image + R"("})"}) {
    EXPECT_EQ(run({QUORRA_SIM_PROGRAM, "control", socket, change}).status, 0);
  }
  EXPECT_EQ(shell.enter_line("code present 000000")
                .find("quorra: presenting the code: the code is wrong"),
            0U);
  shell.end();
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

TEST_F(ShellTest, HistoryLiesInTheHomeIfNothingElseIsNamed) {
  const Arguments command{QUORRA_PROGRAM, "shell", "--virtual", image};
  const std::string home = folder / "home";
  // What is no absolute name of a folder does not count.
  for (const std::optional<std::string>& states :
       {std::optional<std::string>(), std::optional<std::string>("state")}) {
    RunningShell shell(command, {{"XDG_STATE_HOME", states}, {"HOME", home}});
    shell.enter_line("code counter");
    EXPECT_EQ(shell.end().status, 0);
    EXPECT_EQ(content_of(home + "/.local/state/quorra/history"), "code counter\n");
  }
  // Without a home there is none.
  RunningShell homeless(command, {{"XDG_STATE_HOME", std::nullopt}, {"HOME", std::nullopt}});
  EXPECT_EQ(homeless.enter_line("code counter"), "3 attempts left.\n");
  EXPECT_EQ(homeless.end().status, 0);
}

// A line in which a code is asked for holds none.
TEST_F(ShellTest, LinesThatAskForACodeComeBack) {
  {
    const auto shell = start();
    shell->terminal().type("code present -\r");
    shell->read_until("Code: ");
    shell->terminal().type("FFFFFF\n");
    shell->read_until("The code is right.\n");
    shell->end();
  }
  EXPECT_EQ(history(), "code present -\n");
}

TEST_F(ShellTest, CompletesNamesOfFilesInTheFolderItIsIn) {
  std::filesystem::create_directories(folder / "here/under");
  write_file(folder / "here/bytes", "\x01");
  write_file(folder / "here/.hidden", "\x02\x03");
  write_file(folder / "here/-dash", "\x04\x05\x06");
  RunningShell shell(Arguments{"/bin/sh", "-c", R"(cd "$0" && exec "$@")", folder / "here",
                               QUORRA_PROGRAM, "shell", "--virtual", image},
                     {{"XDG_STATE_HOME", folder / "state"}});
  const std::string write = "write --code FFFFFF --all --address 0x40 --no-verify ";
  shell.expect_shown(write + "--file by\t", "Wrote 1 byte at 0x0040.\n");
  shell.expect_shown(write + "--file .h\t", "Wrote 2 bytes at 0x0040.\n");
  shell.expect_shown(write + "--file=./-d\t", "Wrote 3 bytes at 0x0040.\n");
  // Hidden files are shown to those who begin their names.
  shell.terminal().type("diff \t");
  const std::string shown = shell.read_until("under/");
  EXPECT_NE(shown.find("bytes"), std::string::npos);
  EXPECT_EQ(shown.find(".hidden"), std::string::npos);
  shell.end(
      "\x15"
      "exit\r");
}

TEST_F(ShellTest, CompletesBehindItsOwnNameAndNothingInComments) {
  const auto shell = start();
  shell->expect_shown("quorra cod\tcounter", "3 attempts left.\n");
  EXPECT_EQ(shell->enter_line("# rea\t").find("read"), std::string::npos);
  shell->expect_shown(
      "\x15"
      "fly\t\x15"
      "code counter",
      "3 attempts left.\n");
  // There are more kinds than a line has room for.
  shell->terminal().type("read --card 24c\t");
  const std::string shown = shell->read_until("24c64");
  EXPECT_NE(shown.find("24c01a"), std::string::npos);
  shell->expect_shown(
      "\x15"
      "code counter",
      "3 attempts left.\n");
  shell->terminal().type("help \t");
  EXPECT_NE(shell->read_until("write").find("\n"), std::string::npos);
  shell->expect_shown(
      "\x15"
      "code counter",
      "3 attempts left.\n");
  shell->end();
}

// Bytes that are no text, and a window that gets another size, leave the line as it is.
TEST_F(ShellTest, OddKeysAndSignalsLeaveTheLine) {
  const auto shell = start();
  shell->expect_shown(
      "code \xFF"
      "counter",
      "3 attempts left.\n");
  shell->expect_shown(std::string("code\0 counter", 13), "3 attempts left.\n");
  shell->terminal().type("code cou");
  shell->read_until("code cou");
  shell->program().signal(SIGWINCH);
  shell->expect_shown("nter", "3 attempts left.\n");
  EXPECT_EQ(shell->end().status, 0);
}

// What stands behind "--" is no option, and nothing stands behind it.
TEST_F(ShellTest, WordsThatLookLikeOptionsAreNone) {
  const auto shell = start();
  EXPECT_EQ(shell->enter_line("write --address 0x40 -- --at"),
            "quorra: HEX: '--at' is not hexadecimal\n");
  EXPECT_EQ(shell->enter_line("code counter"), "3 attempts left.\n");
  shell->end();
}

TEST_F(ShellTest, ExpectsNothingBeforeTheFirstCommand) {
  const auto shell = start();
  EXPECT_EQ(shell->enter_line("expect ok"), "quorra: expect: there is no command before it\n");
  shell->end();
}

TEST_F(ShellTest, NeedsNoReaderUntilACommandDoes) {
  const Environment environment{{"XDG_STATE_HOME", folder / "state"}};
  RunningShell shell(Arguments{QUORRA_PROGRAM, "shell"}, environment);
  EXPECT_NE(shell.enter_line("help read").find("Usage: quorra read "), std::string::npos);
  EXPECT_EQ(shell.enter_line("code counter").find("quorra: no reader given."), 0U);
  EXPECT_EQ(shell.end().status, 0);
  // A speed is that of a reader.
  for (const char* command : {"run", "shell"}) {
    const Outcome outcome = run_quorra({command, "--speed", "9600", "/dev/null"});
    EXPECT_EQ(outcome.status, 2);
  }
  const Terminal terminal;
  Surroundings at_terminal;
  at_terminal.streams = {{STDIN_FILENO, terminal.line()}};
  const Outcome outcome = run_quorra({"shell", "--speed", "9600"}, at_terminal);
  EXPECT_EQ(outcome.errors.find("quorra: no reader given."), 0U) << outcome.errors;
  EXPECT_EQ(outcome.status, 2);
}

// Whoever has not installed it is told which package it is; the other commands do without it.
TEST_F(ShellTest, NeedsALibraryToEditLines) {
  std::filesystem::create_directories(folder / "libraries");
  const std::string library = folder / "libraries/libedit.so.2";
  const Terminal terminal;
  const auto shell_with_it = [&](const Arguments& command) {
    return run_quorra(command, {.input = {},
                                .streams = {{STDIN_FILENO, terminal.line()}},
                                .environment = {{"LD_LIBRARY_PATH", folder / "libraries"}}});
  };
  write_file(library, "");
  expect_error(shell_with_it({"shell", "--virtual", image}), 1,
               "quorra: editing lines: " + library +
                   ": file too short; install the Debian package libedit2\n");
  expect_success(shell_with_it({"code", "counter", "--virtual", image}), "3 attempts left.\n");
  // Something else that has its name.
  std::filesystem::remove(library);
  Dl_info other_library{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&gnu_get_libc_version), &other_library), 0);
  std::filesystem::create_symlink(other_library.dli_fname, library);
  const Outcome other = shell_with_it({"shell", "--virtual", image});
  EXPECT_EQ(other.errors.find("quorra: editing lines: "), 0U) << other.errors;
  EXPECT_NE(other.errors.find("undefined symbol: el_init"), std::string::npos) << other.errors;
  EXPECT_EQ(other.status, 1);
}

}  // namespace
}  // namespace quorra::testing
