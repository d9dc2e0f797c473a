// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra tap between programs and their readers, on pseudo-terminals.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/integration/wire_bench.hpp"
#include "tests/support/bytes.hpp"

namespace quorra::testing {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

class Tap : public WireBench {};

TEST_F(Tap, ShowsWhatAProgramAndItsReaderSay) {
  start_reader(new_card("4442"));
  start_tap();
  EXPECT_EQ(run_at_tap({"write", "--code", "FFFFFF", "--address", "64", "--text", "Hello"}),
            "Wrote 5 bytes at 0x0040 and read them back.\n");
  const std::string shown = stop_tap();
  EXPECT_THAT(shown, HasSubstr("    0.000000 -> read the version, reader, count 10; check byte 97 "
                               "is right\n"));
  EXPECT_THAT(shown, ContainsRegex("[0-9]\\.[0-9]{6} <- done, after [0-9.]+ ms, 10 bytes; check "
                                   "byte 37 is right\n"
                                   " +4B 57 53 50 43 2D 56 49 52 54 +\\|KWSPC-VIRT\\|\n"));
  EXPECT_THAT(shown, HasSubstr(" -> write, 4442 or 4432, address 0x0040, count 5; check byte BB is "
                               "right\n"
                               "                48 65 6C 6C 6F "));
}

TEST_F(Tap, HidesCodes) {
  start_reader(new_card("4442", {"--code", "31587F"}));
  start_tap({"--output", recording()});
  run_at_tap({"code", "present", "31587F"});
  run_at_tap({"code", "change", "--code", "31587F", "415A2B", "--yes", "4442"});
  const std::string shown = stop_tap();
  EXPECT_THAT(shown,
              HasSubstr("-> present the code, 4442 or 4432, 3 bytes; check byte ** is right\n"
                        "                ** ** **"));
  const std::string recorded = content_of(recording());
  for (const std::string& code : {std::string("\x31\x58\x7F"), std::string("\x41\x5A\x2B")}) {
    EXPECT_EQ(recorded.find(code), std::string::npos);
  }
  for (const char* code : {"31 58 7F", "41 5A 2B"}) {
    EXPECT_THAT(shown, Not(HasSubstr(code)));
    EXPECT_THAT(run_quorra({"trace", recording(), "--show-codes"}).output, Not(HasSubstr(code)));
  }
}

TEST_F(Tap, ShowsCodesIfToldTo) {
  start_reader(new_card("4442", {"--code", "31587F"}));
  start_tap({"--output", recording(), "--show-codes"});
  run_at_tap({"code", "present", "31587F"});
  EXPECT_THAT(stop_tap(), HasSubstr("31 58 7F"));
  EXPECT_NE(content_of(recording()).find("\x31\x58\x7F"), std::string::npos);
  EXPECT_THAT(run_quorra({"trace", recording()}).output, Not(HasSubstr("31 58 7F")));
  EXPECT_THAT(run_quorra({"trace", "--show-codes", recording()}).output, HasSubstr("31 58 7F"));
}

TEST_F(Tap, HidesTheCodesOfProcessorCards) {
  start_reader(new_card("cpu"));
  start_tap({"--output", recording()});
  run_at_tap({"apdu", "00 20 00 01 04 31 32 33 34"});
  EXPECT_THAT(stop_tap(), HasSubstr("exchange with the card (VERIFY), processor card"));
  EXPECT_EQ(content_of(recording()).find("1234"), std::string::npos);
}

TEST_F(Tap, TellsInJson) {
  start_reader(new_card("4442"));
  tap = std::make_unique<Process>(
      Arguments{QUORRA_PROGRAM, "tap", "--json", "--config", configuration()});
  const auto beginning = nlohmann::json::parse(tap->read_line());
  write_file(tapped_configuration(), beginning["configuration"].get<std::string>());
  EXPECT_EQ(beginning["terminal"], tapped_device());
  run_at_tap({"read", "--address", "0x10", "--count", "2"});
  std::istringstream lines(stop_tap());
  std::vector<nlohmann::json> told;
  for (std::string line; std::getline(lines, line);) {
    told.push_back(nlohmann::json::parse(line));
  }
  ASSERT_GE(told.size(), 4U);
  for (std::size_t i = 0; i < told.size(); ++i) {
    EXPECT_EQ(told[i]["number"], i + 1);
  }
  const auto read = std::ranges::find_if(
      told, [](const auto& frame) { return frame.contains("address") && frame["address"] == 16; });
  ASSERT_NE(read, told.end());
  EXPECT_EQ((*read)["command"]["words"], "read");
  EXPECT_EQ((*read)["count"], 2);
  EXPECT_EQ((*read)["check"]["right"], true);
}

TEST_F(Tap, RecordsWhatItShows) {
  start_reader(new_card("24c16"));
  start_tap({"--output", recording()});
  run_at_tap({"read", "--card", "24c16", "--count", "300"});
  const std::string shown = stop_tap();
  expect_success(run_quorra({"trace", recording()}), shown);
  // A recording comes through a pipe, too.
  Surroundings piped;
  piped.input = content_of(recording());
  expect_success(run_quorra({"trace", "-"}, piped), shown);
}

TEST_F(Tap, ShowsSpoiltAndPartialFrames) {
  start_reader(new_card("4442"));
  start_tap();
  control(R"({"command":"fault","kind":"wrong_check","on":"0xB0"})");
  EXPECT_EQ(run_quorra({"info", "--config", tapped_configuration()}).status, 3);
  control(R"({"command":"fault","kind":"noise","count":2,"on":"0xB0"})");
  EXPECT_EQ(run_quorra({"info", "--config", tapped_configuration()}).status, 3);
  run_at_tap({"read", "--count", "1"});
  const std::string shown = stop_tap();
  EXPECT_THAT(shown, HasSubstr("10 bytes; check byte C8 is wrong\n"));
  EXPECT_THAT(shown, HasSubstr(" <- 2 stray bytes\n                C3 C3 "));
}

TEST_F(Tap, FollowsTheSpeedOfTheProgram) {
  start_reader(new_card("4442"), {"--line-speed", "19200"});
  start_tap();
  EXPECT_EQ(run_at_tap({"speed", "show", "--speed", "19200"}),
            "The reader answers at 19200 bits per second.\n");
}

TEST_F(Tap, TakesTheDeviceForItself) {
  start_reader(new_card("4442"));
  start_tap();
  const std::string holder =
      device() + " is in use by quorra (process " + std::to_string(tap->number()) + ")\n";
  expect_error(run_quorra({"tap", device()}), 1, "quorra: tapping " + device() + ": " + holder);
  expect_error(run_quorra({"info", "--config", configuration()}), 1,
               "quorra: opening the session: " + holder);
  const Outcome told = run_quorra({"tap", device(), "--json"});
  EXPECT_EQ(told.status, 1);
  EXPECT_THAT(told.output,
              HasSubstr(R"("word":"in_use","process":)" + std::to_string(tap->number()) + "}"));
  run_at_tap({"info"});
}

TEST_F(Tap, LinkIsThereAsLongAsTheTap) {
  start_reader(new_card("4442"));
  const std::string link = folder / "link";
  std::filesystem::create_symlink("/dev/pts/4294967295", link);  // of a tap that was killed
  start_tap({"--link", link});
  EXPECT_EQ(tapped_device(), link);
  EXPECT_THAT(std::filesystem::read_symlink(link).string(), ::testing::StartsWith("/dev/pts/"));
  run_at_tap({"info"});
  stop_tap();
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST_F(Tap, LeavesFilesOfOthersAlone) {
  start_reader(new_card("4442"));
  write_file(folder / "taken", "mine");
  expect_error(run_quorra({"tap", device(), "--link", folder / "taken"}), 2,
               "quorra: --link: " + (folder / "taken") + ": File exists\n");
  EXPECT_EQ(content_of(folder / "taken"), "mine");
}

TEST_F(Tap, RecordsOverNoCardThatIsInAReader) {
  const std::string card = new_card("4442");
  const std::string image = content_of(card);
  start_reader(card);
  const Outcome outcome = run_quorra({"tap", device(), "--output", card});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.errors,
              ::testing::StartsWith("quorra: opening " + card + ": it is in use by "));
  EXPECT_EQ(content_of(card), image);
}

TEST_F(Tap, HangsUpWithTheReader) {
  start_reader(new_card("4442"));
  start_tap({"--output", recording()});
  const std::string name = device();
  const int program = open(tapped_device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(program, 0);
  control(R"({"command":"fault","kind":"hang_up"})");
  const Bytes request = hex("AA B9 00 05 80 00 00 00 00 96");
  EXPECT_EQ(write(program, request.data(), request.size()), 10);
  const Outcome outcome = tap->wait();
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "quorra: tapping " + name + ": the line hung up\n");
  pollfd polled{.fd = program, .events = POLLIN, .revents = 0};
  EXPECT_EQ(poll(&polled, 1, -1), 1);
  EXPECT_NE(polled.revents & POLLHUP, 0);
  close(program);
  expect_success(run_quorra({"trace", recording()}), outcome.output);
  EXPECT_THAT(outcome.output, HasSubstr("-> ask for the status, reader"));
}

TEST_F(Tap, KilledLeavesARecordingOfAllFrames) {
  start_reader(new_card("4442"));
  start_tap({"--output", recording()});
  run_at_tap({"read", "--count", "4"});
  tap->signal(SIGKILL);
  const Outcome outcome = tap->wait();
  EXPECT_EQ(outcome.signal, SIGKILL);
  expect_success(run_quorra({"trace", recording()}), outcome.output);
  EXPECT_THAT(outcome.output, HasSubstr("-> read, 4442 or 4432, address 0x0000, count 4"));
}

TEST_F(Tap, CannotShowOnAFullDevice) {
  start_reader(new_card("4442"));
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  Surroundings surroundings;
  surroundings.streams[1] = full;
  expect_error(run_quorra({"tap", device()}, surroundings), 1,
               "quorra: writing to standard output: No space left on device\n");
  close(full);
}

TEST_F(Tap, WantsADevice) {
  expect_error(run_quorra({"tap"}), 2, "quorra: nothing to tap: give DEVICE or --config\n");
  expect_error(
      run_quorra({"tap", "/dev/null"}), 1,
      "quorra: tapping /dev/null: /dev/null is a character device, not a terminal device\n");
  expect_error(run_quorra({"tap", "/dev/nowhere"}), 3,
               "quorra: tapping /dev/nowhere: /dev/nowhere cannot be opened: No such file or "
               "directory: there is no such device\n");
  const Terminal terminal;
  const std::string configuration = folder / "reader.conf";
  write_file(configuration, "P=" + terminal.device() + "\n");
  for (const char* option : {"--output", "--write-config"}) {
    expect_error(run_quorra({"tap", "--config", configuration, option, configuration}), 2,
                 "quorra: " + (option + (": " + configuration)) +
                     " is the file of --config, which would be lost; name another one\n");
  }
  expect_error(run_quorra({"tap", terminal.device(), "--output", folder / "no/file"}), 2,
               "quorra: --output: " + (folder / "no/file") + ": No such file or directory\n");
}

TEST_F(Tap, WantsOneDevice) {
  const std::string direct = folder / "direct.conf";
  const std::string terminal = folder / "terminal.conf";
  const std::string without_end = folder / "without_end.conf";
  write_file(direct, "P=/dev/nowhere\n");
  write_file(terminal, "S=\\033[5i\n");
  write_file(without_end, "W=\\033[5i\n");
  struct Case {
    Arguments arguments;
    std::string words;
  };
  const std::string several = "there is one reader: give --device, --config or DEVICE, not several";
  const std::string no_sequences = "--config: its lines W and A name no sequences";
  const Case cases[] = {
      {{"--virtual", "card.toml"},
       "a virtual reader that ends with the command has no line to tap; quorra-sim is one that "
       "goes on"},
      {{"--device", "/dev/x", "/dev/y"}, several},
      {{"--device", "/dev/x", "--config", direct}, several},
      {{"--config", direct, "/dev/x"},
       "--config names a device already; give it or DEVICE, not both"},
      {{"--config", direct, "--terminal"}, "--config is not for a serial terminal"},
      {{"--config", terminal, "/dev/x"}, no_sequences},
      {{"--config", without_end, "--terminal", "/dev/x"}, no_sequences},
  };
  for (const auto& [arguments, words] : cases) {
    SCOPED_TRACE(::testing::PrintToString(arguments));
    expect_error(run_quorra(Arguments{"tap"} + arguments), 2, "quorra: " + words + "\n");
  }
  expect_error(run_quorra({"tap", "--device", "/dev/nowhere"}), 3,
               "quorra: tapping /dev/nowhere: /dev/nowhere cannot be opened: No such file or "
               "directory: there is no such device\n");
}

TEST_F(Tap, CannotRecordOnAFullDevice) {
  const Terminal line;
  expect_error(run_quorra({"tap", line.device(), "--output", "/dev/full"}), 1,
               "quorra: writing /dev/full: No space left on device\n");
}

// A link that a killed tap has left is replaced; any other is somebody's.
TEST_F(Tap, TakesOverItsOwnLinksAlone) {
  const Terminal line;
  const std::string link = folder / "link";
  std::filesystem::create_symlink("/nowhere", link);
  expect_error(run_quorra({"tap", line.device(), "--link", link}), 2,
               "quorra: --link: " + link + ": File exists\n");
  EXPECT_EQ(std::filesystem::read_symlink(link), "/nowhere");
  std::filesystem::remove(link);
  std::filesystem::create_symlink("/dev/pts/none", link);
  Process tapping({QUORRA_PROGRAM, "tap", line.device(), "--link", link});
  EXPECT_EQ(tapping.read_line(), "P=" + link);
  EXPECT_NE(std::filesystem::read_symlink(link), "/dev/pts/none");
  tapping.signal(SIGINT);
  EXPECT_EQ(tapping.wait().signal, SIGINT);
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

// The line to a reader that is the test itself.
class TapOfATerminal : public CommandLine {
 protected:
  void start(const Arguments& options = {}) {
    tap = std::make_unique<Process>(Arguments{QUORRA_PROGRAM, "tap", line.device()} + options);
    const std::string first = tap->read_line();
    ASSERT_EQ(first.substr(0, 2), "P=");
    program = open(first.substr(2).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(program, 0);
  }
  ~TapOfATerminal() override { close(program); }

  void send(std::string_view bytes) const {
    EXPECT_EQ(write(program, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  std::string receive(std::size_t count) const {
    std::string bytes(count, '\0');
    std::size_t size = 0;
    while (size < count) {
      const ssize_t got = read(program, bytes.data() + size, count - size);
      if (got <= 0) break;
      size += static_cast<std::size_t>(got);
    }
    bytes.resize(size);
    return bytes;
  }

  Terminal line;
  std::unique_ptr<Process> tap;
  int program = -1;
};

TEST_F(TapOfATerminal, PassesAllBytesUnchanged) {
  start();
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  send(bytes);
  EXPECT_EQ(line.read(bytes.size()), bytes);
  line.type(bytes);
  EXPECT_EQ(receive(bytes.size()), bytes);
}

TEST_F(TapOfATerminal, GivesTheLineItsSettingsBack) {
  const auto settings = [this] {
    termios found{};
    EXPECT_EQ(tcgetattr(line.line(), &found), 0);
    return found;
  };
  termios before = settings();
  before.c_lflag |= ISIG | ICANON;
  ASSERT_EQ(tcsetattr(line.line(), TCSANOW, &before), 0);
  start();
  EXPECT_EQ(settings().c_lflag & (ISIG | ICANON), 0U);
  tap->signal(SIGTERM);
  expect_ended_by(tap->wait(), SIGTERM, "");
  EXPECT_EQ(settings().c_lflag, before.c_lflag);
}

// What the program does not want any more does not reach it, but is shown.
TEST_F(TapOfATerminal, PassesAFlushOn) {
  start();
  tap->freeze();
  line.type("old");
  int waiting = 0;
  while (waiting < 3) {
    ASSERT_EQ(ioctl(line.line(), FIONREAD, &waiting), 0);
  }
  EXPECT_EQ(tcflush(program, TCIFLUSH), 0);
  send("?");
  tap->signal(SIGCONT);
  // The flush came before this byte.
  EXPECT_EQ(line.read(1), "?");
  line.type("new");
  EXPECT_EQ(receive(3), "new");
  tap->signal(SIGINT);
  EXPECT_THAT(tap->wait().output, HasSubstr("|old"));
}

TEST_F(TapOfATerminal, ShowsWhatIsNotCompleteInTheEnd) {
  start();
  send("\xAA\xB9");
  EXPECT_EQ(line.read(2), "\xAA\xB9");
  tap->signal(SIGINT);
  EXPECT_THAT(tap->wait().output, HasSubstr("-> partial frame, 2 bytes: ask for the status\n"));
}

// In terminal mode the device is the terminal at which the program would be, and the tap is at it
// in its place.
class TapInTerminalMode : public CommandLine {
 protected:
  Outcome run_behind_tap(const std::string& options) {
    const std::string script = "line=$(tty); " + std::string(QUORRA_PROGRAM) + " tap $line " +
                               options + " --output " + recording + " --write-config " +
                               configuration + " > " + shown + " & tap=$!\n" + "until test -s " +
                               configuration + "; do sleep 0.01; done\n" +
                               "terminal=$(sed -n 's/.* has to be //p' " + configuration + ")\n" +
                               "QUORRA_CONFIG=" + configuration + " " + QUORRA_TERMINAL_PROGRAM +
                               " > $terminal\n" + "until grep -aq chk_24c02 " + recording +
                               "; do sleep 0.01; done\nkill $tap; wait $tap; echo tap $?\n";
    return run({QUORRA_SIM_PROGRAM, "--card", new_card("4442", {"--data", "0x20:1B5B34691B"}),
                "--terminal", "--", "/bin/sh", "-c", script});
  }

  std::string recording = folder / "line.pcapng";
  std::string configuration = folder / "tapped.conf";
  std::string shown = folder / "shown";
};

TEST_F(TapInTerminalMode, ShowsFramesAndTheScreen) {
  const Outcome outcome = run_behind_tap("--terminal");
  // The program's screen is what the terminal shows.
  EXPECT_THAT(outcome.output, HasSubstr("srd_4442 0: A2 13 10 91")) << outcome.errors;
  EXPECT_THAT(outcome.output, HasSubstr("1B 5B 34 69 1B"));
  EXPECT_THAT(outcome.output, HasSubstr("chk_24c02 -133"));
  EXPECT_THAT(outcome.output, HasSubstr("tap 143"));
  const std::string told = content_of(shown);
  EXPECT_THAT(told, HasSubstr("S=\\033[?4i\nI=\\033[4i\nW=\\033[5i\nA=\\033[4i\nC=\\033[4i\n"));
  EXPECT_THAT(told, HasSubstr("-> read the version, reader, count 10; check byte 97 is right\n"));
  EXPECT_THAT(told, HasSubstr("-> read, 4442 or 4432, address 0x0000, count 144; check byte 25 is "
                              "right\n"));
  EXPECT_THAT(told, HasSubstr("-> to the screen, "));
  EXPECT_THAT(content_of(recording), HasSubstr("srd_4442 0: A2 13 10 91"));
  // The recording tells the same, without what the tap said first.
  const std::string traced = run_quorra({"trace", recording}).output;
  EXPECT_FALSE(traced.empty());
  EXPECT_EQ(told.substr(told.size() - traced.size()), traced);
}

TEST_F(TapInTerminalMode, TakesTheSequencesOfAConfigurationFile) {
  write_file(folder / "own.conf", "S=\\033[?4i\nW=\\033[5i\nA=\\033[4i\n");
  const Outcome outcome = run_behind_tap("--config " + (folder / "own.conf"));
  EXPECT_THAT(outcome.output, HasSubstr("srd_4442 0: A2 13 10 91")) << outcome.errors;
  EXPECT_THAT(content_of(shown), HasSubstr("S=\\033[?4i\nI=\nW=\\033[5i\nA=\\033[4i\nC=\n"));
}

}  // namespace
}  // namespace quorra::testing
