// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra in a long transfer: how it is cut, watched and interrupted.

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

// A virtual reader with a card in it, and a line as fast as `options` say.
class Bench {
 public:
  explicit Bench(const std::string& image, const Arguments& options = {})
      : process_(Arguments{QUORRA_SIM_PROGRAM, "--card", image} + options) {
    configuration_ = process_.read_line();
    const std::string words = "control socket: ";
    socket_ = process_.read_line().substr(words.size());
  }

  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;
  // So asked, it removes the files it made.
  ~Bench() {
    process_.signal(SIGTERM);
    EXPECT_EQ(process_.wait().status, 0);
  }

  const std::string& configuration() const { return configuration_; }

  // Arms a fault: "kind":"silence", for example.
  void arm(const std::string& fault) const {
    EXPECT_EQ(control(R"({"command":"fault",)" + fault + "}").status, 0);
  }

  // Waits until a reply that nobody waits for any more has gone by.
  void wait_for_silence() const {
    for (int before = -1; before != exchanges(); usleep(300'000)) {
      before = exchanges();
    }
  }

  // How many requests have arrived.
  int exchanges() const {
    const std::string state = control(R"({"command":"state"})").output;
    std::smatch number;
    if (!std::regex_search(state, number, std::regex(R"("exchanges":\s*(\d+))"))) return -1;
    return std::stoi(number[1]);
  }

 private:
  Outcome control(const std::string& command) const {
    return run({QUORRA_SIM_PROGRAM, "control", socket_, command});
  }

  Process process_;
  std::string configuration_;
  std::string socket_;
};

// The words for a transfer of so many bytes that is under way.
std::string under_way(const std::string& total, const std::string& done_word) {
  return R"((\d+) of )" + total + " bytes " + done_word + R"(, \d+ bytes/s, \d+:\d\d left)";
}

class Transfer : public CommandLine {};

// A card is cut at multiples of 144 bytes from where the transfer begins. Every call for a 45d041
// begins with four exchanges that look for the card.
TEST_F(Transfer, PiecesCostNoFurtherFrames) {
  struct Case {
    std::string kind;
    Arguments part;
    int exchanges;
  };
  const Case cases[] = {
      {"24c64", {"--address", "100", "--count", "8092"}, 57},
      {"24c64", {"--address", "100", "--count", "144"}, 1},
      {"24c64", {"--address", "100", "--count", "145"}, 2},
      {"93c46a", {}, 1},
      {"4428", {}, 8},
      {"4418", {}, 15},
      // Pieces from offset 100 of page 0, of pages 8 to 15, and of pages 16 and 17.
      {"45d041", {"--address", "100", "--count", "4488"}, 3 * 4 + 2 + 16 * 2 + 1},
      {"45d041", {"--address", "100", "--count", "2012"}, 4 + 16},
      {"45d041", {"--address", "100", "--count", "2013"}, 2 * 4 + 16 + 1},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.kind);
    const Bench bench(new_card(one.kind, {"--force"}));
    const Outcome outcome =
        run_quorra(Arguments{"read", "--raw", "--quiet", "--config", bench.configuration(),
                             "--force", "--card", one.kind} +
                   one.part);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    constexpr int opening = 1;
    EXPECT_EQ(bench.exchanges(), opening + one.exchanges);
  }
}

TEST_F(Transfer, IsInterruptedBetweenTwoFrames) {
  const std::string image = new_card("24c64");
  write_file(folder / "data", std::string(8192, '\x5A'));
  std::size_t done = 0;
  {
    const Bench bench(image, {"--speed", "38400"});
    const Terminal terminal;
    Process program({QUORRA_PROGRAM, "write", "--config", bench.configuration(), "--force",
                     "--card", "24c64", "--address", "0", "--file", folder / "data"},
                    {.input = {},
                     .streams = {{STDERR_FILENO, terminal.line()}},
                     .environment = {{"NO_COLOR", "1"}}});
    // What the card holds is read first.
    std::string bars = terminal.read_until("written");
    bars += terminal.read_until("left");
    EXPECT_TRUE(std::regex_search(
        bars, std::regex("\r\x1b\\[K\\[#*-*\\] " + under_way("8192", "written") + "$")))
        << bars;
    program.signal(SIGINT);
    const Outcome outcome = program.wait();
    EXPECT_EQ(outcome.signal, SIGINT);
    EXPECT_EQ(outcome.output, "");

    // The bar is taken away.
    const std::string last = terminal.read_all();
    std::smatch words;
    ASSERT_TRUE(std::regex_search(
        last, words,
        std::regex(
            "\r\x1b\\[Kquorra: writing the card: interrupted; (\\d+) of 8192 bytes "
            "written; written: 0x0000-0x[0-9A-F]{4}(; not known: 0x[0-9A-F]{4}-0x[0-9A-F]{4})?"
            "; not written: 0x[0-9A-F]{4}-0x1FFF\n$")))
        << last;
    done = std::stoul(words[1]);
    EXPECT_GT(done, 0U);
    EXPECT_LT(done, 8192U);
    EXPECT_EQ(done % 144, 0U);

    // The line gets its settings back, and the next session begins as any other.
    bench.wait_for_silence();
    expect_success(run_quorra({"read", "--config", bench.configuration(), "--force", "--card",
                               "24c64", "--count", "2"}),
                   "0000  5A 5A                                             |ZZ              |\n");
  }
  // The reader may have written one more frame, whose reply was not waited for.
  const std::string memory = memory_of(image);
  const std::size_t written = memory.find('\xFF');
  EXPECT_TRUE(written == done || written == done + 144) << written << " after " << done;
  EXPECT_EQ(memory, std::string(written, '\x5A') + std::string(8192 - written, '\xFF'));
}

// The pieces of a 45d041 end with a page.
TEST_F(Transfer, IsInterruptedAtTheEndOfAPage) {
  const std::string image = new_card("45d041");
  const Bench bench(image, {"--speed", "57600"});
  const Terminal terminal;
  Process program({QUORRA_PROGRAM, "read", "--raw", "--config", bench.configuration(), "--force",
                   "--card", "45d041", "--address", "100"},
                  {.input = {},
                   .streams = {{STDERR_FILENO, terminal.line()}},
                   .environment = {{"NO_COLOR", "1"}}});
  terminal.read_until("left");
  program.signal(SIGINT);
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.signal, SIGINT);
  EXPECT_EQ(outcome.output, "");
  const std::string last = terminal.read_all();
  std::smatch words;
  ASSERT_TRUE(std::regex_search(
      last, words,
      std::regex("quorra: reading the card: interrupted; (\\d+) of 540572 bytes read\n$")))
      << last;
  EXPECT_EQ((100 + std::stoul(words[1])) % 264, 0U);
}

// Both transfers take far longer than what a line of progress waits for.
TEST_F(Transfer, TellsItsProgressInLinesIfItIsNotQuiet) {
  const Arguments slowly = {"--speed", "4800"};
  const Bench first(new_card("24c16"), slowly);
  ASSERT_EQ(rename((folder / "card.toml").c_str(), (folder / "first.toml").c_str()), 0);
  const Bench second(new_card("24c16"), slowly);
  const auto read = [](const Bench& bench) {
    return Arguments{QUORRA_PROGRAM,        "read",    "--raw",  "--config",
                     bench.configuration(), "--force", "--card", "24c16"};
  };
  Process telling(read(first));
  Process silent(read(second) + Arguments{"--quiet"});
  const Outcome told = telling.wait();
  EXPECT_EQ(told.status, 0);
  EXPECT_EQ(told.output, std::string(2048, '\xFF'));
  const std::regex lines("(" + under_way("2048", "read") + "\n)+");
  EXPECT_TRUE(std::regex_match(told.errors, lines)) << told.errors;
  expect_success(silent.wait(), std::string(2048, '\xFF'));
}

TEST_F(Transfer, TakesItsBarAway) {
  const Bench bench(new_card("24c16"), {"--speed", "9600"});
  const Terminal terminal;
  Process program({QUORRA_PROGRAM, "read", "--raw", "--config", bench.configuration(), "--force",
                   "--card", "24c16"},
                  {.input = {}, .streams = {{STDERR_FILENO, terminal.line()}}, .environment = {}});
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, std::string(2048, '\xFF'));
  const std::string drawn = terminal.read_all();
  EXPECT_TRUE(std::regex_match(
      drawn, std::regex("(\r\x1b\\[K\\[#*-*\\] " + under_way("2048", "read") + ")+\r\x1b\\[K")))
      << drawn;
}

// In a line that is as wide as the terminal, it would leave one behind with each step.
TEST_F(Transfer, KeepsItsBarToOneLine) {
  const Bench bench(new_card("24c16"), {"--speed", "9600"});
  const Terminal terminal;
  const winsize size = {.ws_row = 10, .ws_col = 20, .ws_xpixel = 0, .ws_ypixel = 0};
  ASSERT_EQ(ioctl(terminal.line(), TIOCSWINSZ, &size), 0);
  Process program({QUORRA_PROGRAM, "read", "--raw", "--config", bench.configuration(), "--force",
                   "--card", "24c16"},
                  {.input = {}, .streams = {{STDERR_FILENO, terminal.line()}}, .environment = {}});
  EXPECT_EQ(program.wait().status, 0);
  const std::string drawn = terminal.read_all();
  EXPECT_TRUE(std::regex_match(drawn, std::regex("(\r\x1b\\[K\\[#*-*\\] [\\d ]{4})+\r\x1b\\[K")))
      << drawn;
}

TEST_F(Transfer, DoesNotWaitForATerminalThatIsStopped) {
  const Bench bench(new_card("24c16"), {"--speed", "9600"});
  const Terminal terminal;
  const auto start = [&] {
    return Process({QUORRA_PROGRAM, "read", "--raw", "--config", bench.configuration(), "--force",
                    "--card", "24c16"},
                   {.input = {}, .streams = {{STDERR_FILENO, terminal.line()}}, .environment = {}});
  };
  ASSERT_EQ(tcflow(terminal.line(), TCOOFF), 0);
  const Outcome outcome = start().wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, std::string(2048, '\xFF'));
  ASSERT_EQ(tcflow(terminal.line(), TCOON), 0);
  EXPECT_EQ(terminal.read_all(), "");

  Process interrupted = start();
  terminal.read_until("left");
  ASSERT_EQ(tcflow(terminal.line(), TCOOFF), 0);
  interrupted.signal(SIGINT);
  EXPECT_EQ(interrupted.wait().signal, SIGINT);
}

// A transfer that fails on its way tells how far it came.
TEST_F(Transfer, TellsHowFarItCameBeforeItFailed) {
  const Bench bench(new_card("24c16"));
  bench.arm(R"("kind":"status","status":35,"every":2,"on":"0x62")");
  write_file(folder / "data", std::string(700, '\0'));
  const Arguments write = {"write",  "--config", bench.configuration(),
                           "--card", "24c16",    "--address",
                           "0x100",  "--file",   folder / "data"};
  expect_error(run_quorra(write + Arguments{"--force"}), 1,
               refused_write +
                   std::string(": at 0x0190 the card holds FF, not 00; 144 of 700 bytes written; "
                               "written: 0x0100-0x018F; not written: 0x0190-0x03BB\n"));
}

// What the card holds is read first, frames that differ are written, and read back.
TEST_F(Transfer, OnlyFramesThatDifferAreSent) {
  const std::string image = new_card("24c16");
  std::string bytes(2048, '\xFF');
  bytes[1000] = '\0';
  write_file(folder / "data", bytes);
  constexpr int opening = 1;
  constexpr int frames = 15;
  const auto exchanges = [&](const Arguments& options) {
    const Bench bench(image);
    const Outcome outcome =
        run_quorra(Arguments{"write", "--config", bench.configuration(), "--force", "--card",
                             "24c16", "--address", "0", "--file", folder / "data", "--quiet"} +
                   options);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    return bench.exchanges();
  };
  EXPECT_EQ(exchanges({"--plan"}), opening + frames);
  EXPECT_EQ(exchanges({}), opening + frames + 2);
  EXPECT_EQ(exchanges({}), opening + frames);
  EXPECT_EQ(exchanges({"--all"}), opening + 3 * frames);
  EXPECT_EQ(exchanges({"--all", "--no-verify"}), opening + 2 * frames);
}

// The card leaves the slot while the second frame is written.
TEST_F(Transfer, TellsWhatIsWrittenOfACardThatWasPulled) {
  const Bench bench(new_card("24c16"));
  write_file(folder / "data", std::string(432, '\0'));
  const Arguments write = {"write",  "--config",     bench.configuration(), "--card",
                           "24c16",  "--force",      "--address",           "0x10",
                           "--file", folder / "data"};
  bench.arm(R"("kind":"pull_card","every":2,"on":"0x62")");
  const Outcome outcome = run_quorra(write + Arguments{"--json"});
  EXPECT_EQ(outcome.status, 1);
  const auto error = nlohmann::json::parse(outcome.output).at("error");
  const auto ranges = [](int address, int count) {
    return nlohmann::json::array({{{"address", address}, {"count", count}}});
  };
  EXPECT_EQ(error.at("written"), ranges(0x10, 144));
  EXPECT_EQ(error.at("unknown"), ranges(0xA0, 144));
  EXPECT_EQ(error.at("not_written"), ranges(0x130, 144));
  EXPECT_EQ(error.at("erased"), nlohmann::json::array());
  const auto message = error.at("message").get<std::string>();
  EXPECT_TRUE(
      message.ends_with("; written: 0x0010-0x009F; not known: 0x00A0-0x012F; not written: "
                        "0x0130-0x01BF"))
      << message;
}

// ---- What was done before a failure

struct Disturbed {
  std::string name;
  std::string kind;
  Arguments options;  // of the new card
  Arguments command;
  std::string fault;
  std::string error;
};

constexpr char spoilt[] = "the reader's reply has a wrong first byte (-128)";
constexpr char refused[] =
    "the reader refused the command with status 35 (0x23): a byte was not written: it is "
    "protected, or the code is missing (-35)";
const Arguments two_units = {"--data", "8:7FFFFFFF03"};  // in the last stage
// It reads twice before each of its steps, which are: two units of the last stage, a carry, three
// units. In the end it reads twice again.
const Arguments spend_five = {"units", "spend", "5", "--yes", "4406"};

const Disturbed disturbed[] = {
    {"FirstUnits", "4406", two_units, spend_five, R"("kind":"wrong_check","on":"0x60")",
     "spending units: the check byte of the reader's reply is wrong (-133); at least 0 of 5 units "
     "spent"},
    {"BeforeTheCarry", "4406", two_units, spend_five,
     R"("kind":"wrong_start","every":5,"on":"0x61")",
     std::string("reading whether the card is personalised: ") + spoilt + "; 2 of 5 units spent"},
    {"Carry", "4406", two_units, spend_five, R"("kind":"wrong_start","on":"0x70")",
     std::string("spending units: ") + spoilt + "; at least 2 of 5 units spent"},
    {"RefusedCarry", "4406", two_units, spend_five, R"("kind":"status","status":35,"on":"0x70")",
     "spending units: the reader refused the command with status 35 (0x23): a byte was not "
     "written: it is protected, or the code is missing (-35); 2 of 5 units spent"},
    {"FurtherUnits", "4406", two_units, spend_five, R"("kind":"short_reply","every":2,"on":"0x60")",
     "spending units: timeout waiting for the reader's reply (-132); at least 2 of 5 units spent"},
    {"AfterTheLastUnit", "4406", two_units, spend_five,
     R"("kind":"wrong_start","every":9,"on":"0x61")",
     std::string("reading whether the card is personalised: ") + spoilt + "; 5 of 5 units spent"},
    {"AfterACarry",
     "4406",
     two_units,
     {"units", "carry", "11", "--yes", "4406"},
     R"("kind":"wrong_start","every":3,"on":"0x61")",
     std::string("reading whether the card is personalised: ") + spoilt + "; the carry is done"},
    {"ProtectedBytes",
     "4418",
     {},
     {"protect", "--address", "0x200", "--yes", "4418"},
     R"("kind":"wrong_start","every":3,"on":"0x6E")",
     std::string("reading the protection bits: ") + spoilt + "; the bytes may be protected now"},
    {"ProtectedZone",
     "102",
     {},
     {"protect", "--zone", "1", "--code", "FFFF", "--yes", "102"},
     R"("kind":"wrong_start","every":4,"on":"0x61")",
     std::string("reading the flags: ") + spoilt + "; the flag may be cleared now"},
    {"FillingAfterAnErase",
     "102",
     {"--data", "0x6C:00"},
     {"fill", "--zone", "2", "--byte", "0F", "--address", "0x10", "--count", "4", "--code", "FFFF",
      "--erase-code", "FFFFFFFF", "--yes", "102"},
     R"("kind":"wrong_start","on":"0x60")",
     std::string("filling the card: ") + spoilt +
         "; written: 0x0000-0x000F, 0x0014-0x003F; "
         "not known: 0x0010-0x0013"},
    {"Value",
     "4442",
     {},
     {"value", "set", "5"},
     R"("kind":"wrong_start","every":2,"on":"0xB7")",
     std::string("reading the value: ") + spoilt + "; the value is changed"},
    {"Subtraction",
     "4442",
     {},
     {"value", "subtract", "0"},
     R"("kind":"status","status":35,"on":"0xB6")",
     std::string("subtracting from the value: ") + refused},
    {"Code",
     "4442",
     {},
     {"code", "present", "000000"},
     R"("kind":"status","status":35,"on":"0x64")",
     std::string("presenting the code: ") + refused + "; 3 attempts left"},
    {"AttemptsAfterACode",
     "4442",
     {},
     {"code", "present", "000000"},
     R"("kind":"status","status":35,"every":2,"on":"0x67")",
     "presenting the code: the reader refused the command with status 36 (0x24): the security "
     "code is wrong (-36)"},
    {"ProtectionBits",
     "4442",
     {},
     {"protect", "--address", "0x10", "--yes", "4442"},
     R"("kind":"wrong_start","on":"0x74")",
     std::string("reading the protection bits: ") + spoilt},
    {"ProtectionBesideBytes",
     "4428",
     {},
     {"read"},
     R"("kind":"wrong_start","on":"0x6E")",
     std::string("reading the protection bits: ") + spoilt},
    {"BytesBesideProtection",
     "4418",
     {},
     {"read"},
     R"("kind":"wrong_start","on":"0x6E")",
     std::string("reading the card: ") + spoilt},
    {"Flag",
     "102",
     {},
     {"protect", "--zone", "1", "--code", "FFFF", "--yes", "102"},
     R"("kind":"wrong_start","on":"0x60")",
     std::string("protecting: ") + spoilt},
    {"RefusedFlag",
     "102",
     {},
     {"protect", "--zone", "1", "--code", "FFFF", "--yes", "102"},
     R"("kind":"status","status":35,"on":"0x60")",
     std::string("protecting: ") + refused},
    {"WritingWhatIsHeld",
     "24c16",
     {},
     {"write", "--address", "0", "FF", "--all"},
     R"("kind":"status","status":35,"on":"0x62")",
     std::string("writing the card: ") + refused},
    {"Probe",
     "4442",
     {},
     {"info"},
     R"("kind":"wrong_start","on":"0x61")",
     std::string("looking for a card: ") + spoilt},
    {"PowerBetweenProbes",
     "24c16",
     {},
     {"info"},
     R"("kind":"wrong_start","on":"0xB3")",
     std::string("switching the card's power off: ") + spoilt},
};

class DisturbedCommand : public CommandLine, public ::testing::WithParamInterface<Disturbed> {};

TEST_P(DisturbedCommand, TellsWhatWasDone) {
  const Disturbed& one = GetParam();
  const Bench bench(new_card(one.kind, one.options));
  bench.arm(one.fault);
  expect_error(run_quorra(one.command + Arguments{"--force", "--card", one.kind, "--config",
                                                  bench.configuration()}),
               1, "quorra: " + one.error + "\n");
}

INSTANTIATE_TEST_SUITE_P(Steps, DisturbedCommand, ::testing::ValuesIn(disturbed),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace quorra::testing
