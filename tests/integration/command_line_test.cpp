// The program quorra, run as a user runs it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <string>
#include <vector>

#include "tests/support/bytes.hpp"
#include "tests/support/process.hpp"

namespace quorra::testing {
namespace {

using Arguments = std::vector<std::string>;

// A blank 4442 has read-only bytes at 0x00-0x03, 0x06-0x07 and 0x15-0x1A, and the code FF FF FF.
constexpr char blank_first_rows[] =
    "0000  A2*13*10*91*FF FF 81*15* FF FF FF FF FF FF FF FF  |................|\n"
    "0010  FF FF FF FF FF FF*FF*FF* FF*FF*FF*FF FF FF FF FF  |................|\n";
constexpr char legend[] = "*  read-only for good\n";

// A reader at the auxiliary port of a serial terminal.
constexpr char terminal_configuration[] = R"(W=\033[5i
A=\033[4i
C=\033[0i
)";

constexpr char no_reader[] =
    "quorra: opening the session: no reader answers, or there is no terminal to reach it through "
    "(-136)\n";
constexpr char refused_write[] =
    "quorra: writing the card: the reader refused the command with status 35 (0x23): a byte was "
    "not "
    "written: it is protected, or the code is missing (-35)";
constexpr char refused_code[] =
    "quorra: presenting the code: the reader refused the command with status 36 (0x24): the "
    "security code is wrong (-36)";

Outcome run_quorra(const Arguments& arguments, Surroundings surroundings = {}) {
  Arguments command = {QUORRA_PROGRAM};
  command.insert(command.end(), arguments.begin(), arguments.end());
  surroundings.environment.try_emplace("NO_COLOR", std::nullopt);
  return run(command, surroundings);
}

void expect_success(const Outcome& outcome, const std::string& output) {
  EXPECT_EQ(outcome.output, output);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.status, 0);
}

void expect_error(const Outcome& outcome, int status, const std::string& errors) {
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors, errors);
  EXPECT_EQ(outcome.status, status);
}

class CommandLine : public ::testing::Test {
 protected:
  // A card image, made by "quorra-sim new" with these options.
  std::string new_card(const std::string& kind, const Arguments& options = {}) {
    std::string image = folder / "card.toml";
    Arguments command = {QUORRA_SIM_PROGRAM, "new", kind, image};
    command.insert(command.end(), options.begin(), options.end());
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    return image;
  }

  static std::string memory_of(const std::string& image) {
    return run_quorra({"read", "--virtual", image, "--raw"}).output;
  }

  TemporaryDirectory folder;
};

// ---- Help and usage

TEST_F(CommandLine, TellsItsVersion) {
  expect_success(run_quorra({"--version"}), "quorra " QUORRA_VERSION "\n");
}

TEST_F(CommandLine, HelpsWithEachSubcommand) {
  for (const Arguments& subcommand : {Arguments{"info"},
                                      {"read"},
                                      {"write"},
                                      {"code"},
                                      {"code", "present"},
                                      {"code", "change"},
                                      {"code", "counter"},
                                      {"protect"}}) {
    Arguments arguments = subcommand;
    arguments.emplace_back("--help");
    const Outcome help = run_quorra(arguments);
    std::string name = "quorra";
    for (const std::string& word : subcommand) {
      name += ' ' + word;
    }
    SCOPED_TRACE(name);
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    EXPECT_NE(help.output.find("Usage: " + name + " "), std::string::npos);
    const std::size_t example = help.output.find("Example");
    ASSERT_NE(example, std::string::npos);
    EXPECT_NE(help.output.find("  " + name + " ", example), std::string::npos);
  }
}

TEST_F(CommandLine, TellsHowToNameAReader) {
  const Outcome outcome = run_quorra({"read"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors.find("quorra: no reader given."), 0U);
  EXPECT_NE(outcome.errors.find("--config FILE"), std::string::npos);
  EXPECT_NE(outcome.errors.find("--virtual IMAGE"), std::string::npos);
}

// Of these, none gets as far as noticing that there is no such image or configuration file.
TEST_F(CommandLine, RefusesWrongUsageBeforeItDoesAnything) {
  struct Case {
    Arguments arguments;
    std::string error;
  };
  const std::string parse_hint = "; see quorra --help";
  const Case cases[] = {
      {{}, "quorra wants one of these behind it: info, read, write, code, protect" + parse_hint},
      {{"fly"}, "The following argument was not expected: fly" + parse_hint},
      {{"read", "--fast"}, "The following argument was not expected: --fast" + parse_hint},
      {{"read", "--address"}, "--address: 1 required N missing" + parse_hint},
      {{"code"}, "code wants one of these behind it: present, change, counter" + parse_hint},
      {{"code", "fly"}, "The following argument was not expected: fly" + parse_hint},
      {{"write", "AA"}, "--address is required" + parse_hint},
      {{"code", "present"}, "HEX is required" + parse_hint},
      {{"code", "change", "112233"}, "--code is required" + parse_hint},
      {{"protect"}, "--address is required" + parse_hint},
      {{"read", "--card", "4443"},
       "--card: '4443' is no kind of card; there are 4442, 4432" + parse_hint},
      {{"read", "--config", "nowhere"},
       "there is one reader: give --config or --virtual, not both"},
      {{"read", "--speed", "9600"}, "--speed belongs to --config; a virtual reader has no speed"},

      {{"read", "--address", "-1"}, "--address: -1 is negative"},
      {{"read", "--address", "0x-1"}, "--address: '0x-1' is not a number, such as 32 or 0x20"},
      {{"read", "--address", "0x"}, "--address: '0x' is not a number, such as 32 or 0x20"},
      {{"read", "--address", ""}, "--address: '' is not a number, such as 32 or 0x20"},
      {{"read", "--address", "+1"}, "--address: '+1' is not a number, such as 32 or 0x20"},
      {{"read", "--address", "12 "}, "--address: '12 ' is not a number, such as 32 or 0x20"},
      {{"read", "--address", "1f"}, "--address: '1f' is not a number, such as 32 or 0x20"},
      {{"read", "--count", "99999999999"}, "--count: 99999999999 is far too large"},
      {{"read", "--count", "0x100000000"}, "--count: 0x100000000 is far too large"},

      {{"read", "--address", "256"},
       "address 0x0100 is not in the memory of a 4442 card, which is 0x0000 to 0x00FF"},
      {{"read", "--address", "0xFF", "--count", "2"},
       "2 bytes at 0x00FF do not fit: the memory of a 4442 card ends at 0x00FF"},
      {{"read", "--address", "1", "--count", "2147483647"},
       "2147483647 bytes at 0x0001 do not fit: the memory of a 4442 card ends at 0x00FF"},
      {{"read", "--count", "0"}, "a count of 0 leaves nothing to do"},

      {{"write", "--address", "0"}, "nothing to write: give HEX, --text or --file"},
      {{"write", "--address", "0", "--text", ""}, "nothing to write: there is not one byte"},
      {{"write", "--address", "0", "AA", "--text", "a"},
       "give one of HEX, --text and --file, not several"},
      {{"write", "--address", "0", "ABC"},
       "HEX: 'ABC' has an odd number of digits; a byte has two"},
      {{"write", "--address", "0", "A2:1:10"},
       "HEX: '1' has an odd number of digits; a byte has two"},
      {{"write", "--address", "0", "A2", "1G"}, "HEX: '1G' is not hexadecimal"},
      {{"write", "--address", "0", "0x"}, "HEX: '0x' is not hexadecimal"},
      {{"write", "--address", "254", "A1A2A3"},
       "3 bytes at 0x00FE do not fit: the memory of a 4442 card ends at 0x00FF"},
      {{"write", "--address", "256", "A1"},
       "address 0x0100 is not in the memory of a 4442 card, which is 0x0000 to 0x00FF"},
      {{"write", "--address", "0", "--file", "/nowhere/data"},
       "reading /nowhere/data: No such file or directory"},
      {{"write", "--address", "0", "--file", "/dev/zero"},
       "--file: /dev/zero holds more than the 256 bytes of a 4442 card"},
      {{"write", "--address", "0", "--code", "FFFF", "A1"},
       "--code: the code of a 4442 card is 3 bytes, not 2"},
      {{"write", "--card", "4432", "--address", "0", "--code", "FFFFFF", "A1"},
       "a 4432 card has no code"},

      {{"code", "present", "11", "22"}, "HEX: the code of a 4442 card is 3 bytes, not 2"},
      {{"code", "change", "--code", "112233", "11223344"},
       "NEW: the code of a 4442 card is 3 bytes, not 4"},
      {{"code", "--card", "4432", "counter"}, "a 4432 card has no code"},
      {{"code", "--card", "4432", "present", "112233"}, "a 4432 card has no code"},
      {{"code", "--card", "4432", "change", "--code", "112233", "112233"},
       "a 4432 card has no code"},

      {{"protect", "--address", "32", "--yes"},
       "address 0x0020 is not in the part of a 4442 card that can be protected, which is 0x0000 to "
       "0x001F"},
      {{"protect", "--address", "30", "--count", "3", "--yes"},
       "3 bytes at 0x001E do not fit: the part of a 4442 card that can be protected ends at "
       "0x001F"},
      {{"protect", "--address", "0"}, "protecting cannot be undone: confirm with --yes"},
  };
  for (const Case& one : cases) {
    Arguments arguments = {"--virtual", "nowhere.toml"};
    arguments.insert(arguments.end(), one.arguments.begin(), one.arguments.end());
    SCOPED_TRACE(one.error);
    expect_error(run_quorra(arguments), 2, "quorra: " + one.error + "\n");
  }
}

TEST_F(CommandLine, TakesItsOwnOptionsBeforeAndAfterTheSubcommand) {
  const std::string image = new_card("4442");
  expect_success(run_quorra({"--virtual", image, "--card", "4442", "code", "counter"}),
                 "3 attempts left.\n");
  expect_success(run_quorra({"code", "--virtual", image, "counter", "--card", "4442"}),
                 "3 attempts left.\n");
}

TEST_F(CommandLine, RefusesABadImage) {
  const std::string damaged = folder / "damaged.toml";
  write_file(damaged, "format = \"none\"\n");
  for (const std::string& image : {damaged, folder / "nowhere.toml"}) {
    const Outcome outcome = run_quorra({"read", "--virtual", image});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors.find("quorra: starting the virtual reader: "), 0U) << outcome.errors;
    EXPECT_NE(outcome.errors.find(image), std::string::npos) << outcome.errors;
  }
  expect_error(run_quorra({"read", "--virtual", ""}), 2,
               "quorra: --virtual: the name of the image is empty\n");
}

// ---- info

TEST_F(CommandLine, InfoTellsLibraryReaderAndCard) {
  for (const char* kind : {"4442", "4432"}) {
    const std::string image = new_card(kind);
    expect_success(run_quorra({"info", "--virtual", image}),
                   "library        KW###DRVSFT-V6.60B\n"
                   "reader         KWSPC-VIRTUAL V1.0\n"
                   "serial number  VIRTUAL-00000001\n"
                   "answers        yes\n"
                   "card           4442 or 4432\n");
    ASSERT_EQ(unlink(image.c_str()), 0);
  }
}

TEST_F(CommandLine, InfoTellsThatThereIsAnotherCard) {
  const std::string image = new_card("4432", {"--data", "6:0000"});
  const std::string output = run_quorra({"info", "--virtual", image}).output;
  EXPECT_NE(output.find("card           none recognised\n"), std::string::npos) << output;
}

// ---- read

TEST_F(CommandLine, ReadShowsTheWholeCard) {
  const std::string image = new_card("4442", {"--data", "0x40:476F6F64206D6F726E696E6721", "--data",
                                              "0x7E:7E7F1F20", "--data", "0xFE:0080"});
  expect_success(
      run_quorra({"read", "--virtual", image}),
      blank_first_rows +
          std::string(
              "0020  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "0030  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "0040  47 6F 6F 64 20 6D 6F 72  6E 69 6E 67 21 FF FF FF  |Good morning!...|\n"
              "0050  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "0060  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "0070  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF 7E 7F  |..............~.|\n"
              "0080  1F 20 FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |. ..............|\n"
              "0090  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00A0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00B0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00C0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00D0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00E0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n"
              "00F0  FF FF FF FF FF FF FF FF  FF FF FF FF FF FF 00 80  |................|\n") +
          legend);
}

TEST_F(CommandLine, ReadShowsAPart) {
  const std::string image = new_card("4442", {"--data", "0x20:30313233343536373839"});
  expect_success(run_quorra({"read", "--virtual", image, "--address", "0x1A", "--count", "10"}),
                 "0010                                 FF*FF FF FF FF FF  |          ......|\n"
                 "0020  30 31 32 33                                       |0123            |\n"
                 "*  read-only for good\n");
  // Nothing in it is protected, so the sign is not explained.
  expect_success(run_quorra({"read", "--virtual", image, "--address", "33", "--count", "1"}),
                 "0020     31                                             | 1              |\n");
}

TEST_F(CommandLine, ReadSavesTheBytes) {
  const std::string image = new_card("4442", {"--data", "0x20:00010A0D80"});
  const std::string expected("\x00\x01\x0A\x0D\x80", 5);
  const Arguments part = {"read", "--virtual", image, "--address", "0x20", "--count", "5"};
  const auto with = [&part](const Arguments& more) {
    Arguments all = part;
    all.insert(all.end(), more.begin(), more.end());
    return all;
  };
  const std::string file = folder / "bytes";
  write_file(file, "something longer than that");
  expect_success(run_quorra(with({"--output", file})),
                 "Read 5 bytes at 0x0020 into " + file + ".\n");
  EXPECT_EQ(content_of(file), expected);
  expect_success(run_quorra(with({"--raw"})), expected);
  expect_success(run_quorra(with({"--output", "-"})), expected);

  expect_error(run_quorra(with({"--output", "/nowhere/bytes"})), 2,
               "quorra: opening /nowhere/bytes: No such file or directory\n");
  expect_error(run_quorra(with({"--output", "/dev/full"})), 1,
               "quorra: writing /dev/full: No space left on device\n");
}

// ---- write

TEST_F(CommandLine, WriteNeedsTheCode) {
  const std::string image = new_card("4442");
  expect_error(run_quorra({"write", "--virtual", image, "--address", "0x20", "DEAD"}), 1,
               refused_write + std::string(": at 0x0020 the card holds FF, not DE\n"));
  expect_success(
      run_quorra({"write", "--virtual", image, "--address", "0x20", "--code", "ffFFff", "DEAD"}),
      "Wrote 2 bytes at 0x0020 and read them back.\n");
  EXPECT_EQ(memory_of(image).substr(0x20, 3), "\xDE\xAD\xFF");
}

TEST_F(CommandLine, WriteTakesHexTextAndFiles) {
  const std::string image = new_card("4432");
  const auto write = [&image](const Arguments& data, const std::string& input = {}) {
    Arguments all = {"--card", "4432", "--virtual", image, "write", "--address", "0x20"};
    all.insert(all.end(), data.begin(), data.end());
    return run_quorra(all, {.input = input, .streams = {}, .environment = {}});
  };
  const std::string done = "Wrote 4 bytes at 0x0020 and read them back.\n";
  const auto held = [&] { return memory_of(image).substr(0x20, 4); };
  for (const Arguments& hex : {Arguments{"01 a2:B3", "0xc4"},
                               {"0x01A2B3C4"},
                               {"01:A2:B3:C4"},
                               {"01", "A2", "B3", "C4"},
                               {" 01A2 0xB3C4 "}}) {
    expect_success(write({"00000000"}), done);
    expect_success(write(hex), done);
    EXPECT_EQ(held(), "\x01\xA2\xB3\xC4");
  }
  expect_success(write({"--text", "Good"}), done);
  EXPECT_EQ(held(), "Good");
  write_file(folder / "data", "File");
  expect_success(write({"--file", folder / "data"}), done);
  EXPECT_EQ(held(), "File");
  expect_success(write({"--file", "-"}, "Pipe"), done);
  EXPECT_EQ(held(), "Pipe");
  expect_success(write({"--no-verify", "AABBCCDD"}), "Wrote 4 bytes at 0x0020.\n");
  EXPECT_EQ(held(), "\xAA\xBB\xCC\xDD");
}

TEST_F(CommandLine, WriteFillsTheWholeCard) {
  const std::string image = new_card("4432");
  const std::string before = memory_of(image);
  std::string data = before;
  for (std::size_t at = 0x20; at < data.size(); ++at) {
    data[at] = static_cast<char>(at);
  }
  write_file(folder / "data", data);
  expect_success(run_quorra({"write", "--card", "4432", "--virtual", image, "--address", "0",
                             "--file", folder / "data"}),
                 "Wrote 256 bytes at 0x0000 and read them back.\n");
  EXPECT_EQ(memory_of(image), data);
}

TEST_F(CommandLine, WriteNamesTheFirstByteThatIsProtected) {
  const std::string image = new_card("4442", {"--protect", "10-11"});
  expect_error(
      run_quorra({"write", "--virtual", image, "--address", "8", "--code", "FFFFFF", "01020304"}),
      1, refused_write + std::string(": at 0x000A the card holds FF, not 03\n"));
}

TEST_F(CommandLine, WriteWithAWrongCodeWritesNothing) {
  const std::string image = new_card("4442");
  const std::string before = memory_of(image);
  expect_error(
      run_quorra({"write", "--virtual", image, "--address", "0x20", "--code", "000000", "DEAD"}), 1,
      refused_code + std::string("; 2 attempts left\n"));
  EXPECT_EQ(memory_of(image), before);
}

// ---- code

TEST_F(CommandLine, CodeCountsAttempts) {
  const std::string image = new_card("4442", {"--code", "123456"});
  const auto counter = [&image] { return run_quorra({"code", "counter", "--virtual", image}); };
  const auto present = [&image](const std::string& code) {
    return run_quorra({"code", "present", "--virtual", image, code});
  };
  expect_success(counter(), "3 attempts left.\n");
  expect_error(present("123457"), 1, refused_code + std::string("; 2 attempts left\n"));
  expect_success(counter(), "2 attempts left.\n");
  expect_error(
      present("FFFFFF"), 1,
      refused_code + std::string("; 1 attempt left: a wrong code locks the card for good\n"));
  expect_success(counter(), "1 attempt left: a wrong code locks the card for good.\n");

  // Even the right one is not tried now without a word of consent.
  expect_error(present("123456"), 2,
               "quorra: presenting the code: 1 attempt left: a wrong code locks the card for good. "
               "Confirm with --yes.\n");
  expect_success(counter(), "1 attempt left: a wrong code locks the card for good.\n");
  expect_success(run_quorra({"code", "present", "--virtual", image, "--yes", "123456"}),
                 "The code is right.\n");
  expect_success(counter(), "3 attempts left.\n");
}

TEST_F(CommandLine, CodeLocksTheCard) {
  const std::string image = new_card("4442", {"--counter", "1"});
  expect_error(
      run_quorra({"write", "--virtual", image, "--address", "0x20", "--code", "000000", "DEAD"}), 2,
      "quorra: presenting the code: 1 attempt left: a wrong code locks the card for good. Confirm "
      "with --yes.\n");
  expect_error(run_quorra({"code", "present", "--virtual", image, "--yes", "000000"}), 1,
               refused_code + std::string("; 0 attempts left: the card is locked for good\n"));
  expect_success(run_quorra({"code", "counter", "--virtual", image}),
                 "0 attempts left: the card is locked for good.\n");
  expect_error(run_quorra({"code", "present", "--virtual", image, "--yes", "FFFFFF"}), 1,
               "quorra: presenting the code: 0 attempts left: the card is locked for good\n");
}

TEST_F(CommandLine, CodeIsChanged) {
  const std::string image = new_card("4442");
  expect_success(
      run_quorra({"code", "change", "--virtual", image, "--code", "FFFFFF", "12", "34", "56"}),
      "The code is changed.\n");
  expect_success(run_quorra({"code", "present", "--virtual", image, "12:34:56"}),
                 "The code is right.\n");
  expect_error(run_quorra({"code", "change", "--virtual", image, "--code", "FFFFFF", "000000"}), 1,
               refused_code + std::string("; 2 attempts left\n"));
  expect_success(run_quorra({"code", "present", "--virtual", image, "123456"}),
                 "The code is right.\n");
}

// ---- protect

TEST_F(CommandLine, ProtectLastsInTheImage) {
  const std::string image = new_card("4442");
  expect_success(run_quorra({"protect", "--virtual", image, "--address", "8", "--count", "4",
                             "--code", "FFFFFF", "--yes"}),
                 "Protected 4 bytes at 0x0008.\n");
  expect_success(run_quorra({"read", "--virtual", image, "--count", "16"}),
                 "0000  A2*13*10*91*FF FF 81*15* FF*FF*FF*FF*FF FF FF FF  |................|\n" +
                     std::string(legend));
  expect_error(
      run_quorra({"write", "--virtual", image, "--address", "8", "--code", "FFFFFF", "01"}), 1,
      refused_write + std::string(": at 0x0008 the card holds FF, not 01\n"));
}

TEST_F(CommandLine, ProtectTellsWhatIsProtectedAlready) {
  const std::string image = new_card("4442");
  expect_success(
      run_quorra({"protect", "--virtual", image, "--address", "0", "--count", "4", "--yes"}),
      "Already protected: 4 bytes at 0x0000.\n");
  expect_success(run_quorra({"protect", "--virtual", image, "--address", "2", "--count", "3",
                             "--code", "FFFFFF", "--yes"}),
                 "Protected 3 bytes at 0x0002 (already protected: 2).\n");
}

TEST_F(CommandLine, ProtectNeedsTheCode) {
  const std::string image = new_card("4442");
  expect_error(run_quorra({"protect", "--virtual", image, "--address", "8", "--yes"}), 1,
               "quorra: protecting: a byte is still writable, or is not what was written (-129)\n");
  expect_success(
      run_quorra({"protect", "--virtual", image, "--address", "8", "--code", "FFFFFF", "--yes"}),
      "Protected 1 byte at 0x0008.\n");
}

// ---- On a terminal

TEST_F(CommandLine, ProtectAsksOnATerminal) {
  const std::string image = new_card("4442", {"--data", "8:4142"});
  const auto protect = [&image](const std::string& answer) {
    const Terminal terminal;
    Process program({QUORRA_PROGRAM, "protect", "--virtual", image, "--address", "8", "--count",
                     "2", "--code", "FFFFFF"},
                    {.input = {},
                     .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                     .environment = {{"NO_COLOR", "1"}}});
    EXPECT_EQ(terminal.read_until("[y/N] "),
              "0000                           41 42                    |        AB      |\n"
              "Protecting these bytes cannot be undone. Go on? [y/N] ");
    terminal.type(answer);
    Outcome outcome = program.wait();
    outcome.errors = terminal.read_all();
    return outcome;
  };
  for (const char* no : {"n\n", "\n", "yesterday\n", "\x04"}) {
    expect_error(protect(no), 1, "quorra: protecting: not confirmed\n");
  }
  expect_success(protect("Yes\n"), "Protected 2 bytes at 0x0008.\n");
}

TEST_F(CommandLine, LastAttemptIsConfirmedOnATerminal) {
  const std::string image = new_card("4442", {"--counter", "1"});
  const Terminal terminal;
  Process program({QUORRA_PROGRAM, "code", "present", "--virtual", image, "FFFFFF"},
                  {.input = {},
                   .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                   .environment = {}});
  EXPECT_EQ(terminal.read_until("[y/N] "),
            "1 attempt left: a wrong code locks the card for good. Go on? [y/N] ");
  terminal.type("y\n");
  expect_success(program.wait(), "The code is right.\n");
}

TEST_F(CommandLine, QuestionIsInterrupted) {
  const std::string image = new_card("4442");
  const std::string before = content_of(image);
  const Terminal terminal;
  Process program({QUORRA_PROGRAM, "protect", "--virtual", image, "--address", "8"},
                  {.input = {},
                   .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                   .environment = {{"NO_COLOR", "1"}}});
  terminal.read_until("[y/N] ");
  program.signal(SIGINT);
  expect_error(program.wait(), 1, "");
  EXPECT_EQ(terminal.read_all(), "\nquorra: protecting: interrupted\n");
  EXPECT_EQ(content_of(image), before);
}

TEST_F(CommandLine, ColoursAreForTerminals) {
  const std::string image = new_card("4442");
  const auto on_terminal = [](int stream, const Arguments& arguments, const char* no_color) {
    const Terminal terminal;
    Surroundings surroundings;
    surroundings.streams = {{stream, terminal.line()}};
    surroundings.environment["NO_COLOR"] = no_color;
    run_quorra(arguments, surroundings);
    return terminal.read_all();
  };
  const Arguments read = {"read", "--virtual", image, "--address", "3", "--count", "2"};
  const std::string plain =
      "0000           91*FF                                    |   ..           |\n"
      "*  read-only for good\n";
  const std::string coloured =
      "0000           \x1b[33m91*\x1b[0mFF                                    |   ..           |\n"
      "\x1b[33m*\x1b[0m  read-only for good\n";
  expect_success(run_quorra(read), plain);
  EXPECT_EQ(on_terminal(STDOUT_FILENO, read, ""), coloured);
  EXPECT_EQ(on_terminal(STDOUT_FILENO, read, "1"), plain);

  const Arguments wrong = {"read", "--count", "0"};
  EXPECT_EQ(on_terminal(STDERR_FILENO, wrong, ""),
            "\x1b[31mquorra: \x1b[0ma count of 0 leaves nothing to do\n");
  EXPECT_EQ(on_terminal(STDERR_FILENO, wrong, "1"), "quorra: a count of 0 leaves nothing to do\n");
}

// ---- Output that goes nowhere

TEST_F(CommandLine, TellsThatOutputIsLost) {
  const std::string image = new_card("4442");
  std::array<int, 2> pipe_ends{};
  ASSERT_EQ(pipe2(pipe_ends.data(), O_CLOEXEC), 0);
  close(pipe_ends[0]);
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  for (const Arguments& arguments :
       {Arguments{"read", "--virtual", image}, {"read", "--virtual", image, "--raw"}, {"--help"}}) {
    Surroundings surroundings;
    surroundings.streams = {{STDOUT_FILENO, pipe_ends[1]}};
    expect_error(run_quorra(arguments, surroundings), 1,
                 "quorra: writing to standard output: Broken pipe\n");
    surroundings.streams = {{STDOUT_FILENO, full}};
    expect_error(run_quorra(arguments, surroundings), 1,
                 "quorra: writing to standard output: No space left on device\n");
  }
  close(full);
  close(pipe_ends[1]);

  expect_error(
      run({"/bin/sh", "-c", R"(exec "$0" read --virtual "$1" >&-)", QUORRA_PROGRAM, image}), 1,
      "quorra: writing to standard output: Bad file descriptor\n");
}

// ---- A reader with a configuration file

TEST_F(CommandLine, UsesTheReaderThatAConfigurationFileNames) {
  const std::string image = new_card("4442");
  Process simulator({QUORRA_SIM_PROGRAM, "--card", image});
  const std::string configuration = simulator.read_line();
  expect_success(run_quorra({"write", "--config", configuration, "--speed", "115200", "--address",
                             "0x20", "--code", "FFFFFF", "DEAD"}),
                 "Wrote 2 bytes at 0x0020 and read them back.\n");
  expect_success(
      run_quorra({"read", "--config", configuration, "--address", "0x20", "--count", "2"}),
      "0020  DE AD                                             |..              |\n");
  // The card kept its power between the sessions; the program does not know the reader is virtual.
  expect_error(
      run_quorra({"write", "--config", configuration, "--address", "0", "--code", "FFFFFF", "00"}),
      1,
      "quorra: writing the card: the reader refused the command with status 35 (0x23) "
      "(-35): at 0x0000 the card holds A2, not 00\n");
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

TEST_F(CommandLine, InfoTellsThatThereIsNoCard) {
  Process simulator(
      {QUORRA_SIM_PROGRAM, "--version-text", "KWSPC-1", "--serial", "0123456789ABCDEF"});
  const std::string configuration = simulator.read_line();
  expect_success(run_quorra({"info", "--config", configuration}),
                 "library        KW###DRVSFT-V6.60B\n"
                 "reader         KWSPC-1\n"
                 "serial number  0123456789ABCDEF\n"
                 "answers        yes\n"
                 "card           none recognised: the reader refused the command "
                 "with status 33 (0x21) (-33)\n");
  expect_error(run_quorra({"read", "--config", configuration}), 1,
               "quorra: reading the card: the reader refused the command with status 33 (0x21) "
               "(-33)\n");
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

TEST_F(CommandLine, TellsWhyNoSessionOpens) {
  const auto read = [this](const std::string& configuration, const Arguments& more = {}) {
    write_file(folder / "reader.conf", configuration);
    Arguments arguments = {"read", "--config", folder / "reader.conf"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_quorra(arguments);
  };
  expect_error(
      run_quorra({"read", "--config", folder / "nowhere"}), 2,
      "quorra: opening the session: the configuration file cannot be opened or read (-1)\n");
  expect_error(read("P=/nowhere/line\n"), 1,
               "quorra: opening the session: the serial device cannot be opened (-16)\n");
  expect_error(read(terminal_configuration), 1, no_reader);
  expect_error(
      read("P=/dev/null\n", {"--speed", "1200"}), 2,
      "quorra: --speed: 1200 is none of the speeds of a serial device: 9600, 19200, 38400, "
      "57600, 115200\n");
  expect_error(read("", {"--speed", "38400"}), 2,
               "quorra: --speed: 38400 is none of the speeds of a terminal's auxiliary port: 1200, "
               "2400, 4800, 9600, 19200\n");
}

// ---- A reader that answers whatever the test wants

// What opening a session asks for, and a good answer.
const Bytes ask_version = sealed("AA B0 00 07 80 00 00 00 00 00 0A");
const Bytes good_version = reply(0, text("KWSPC-1234"));

class ReaderLine {
 public:
  ReaderLine() : settings_(settings()) {
    write_file(configuration(), "P=" + line_.device() + "\n");
  }

  std::string configuration() const { return folder_ / "reader.conf"; }

  // Waits for a request and answers it.
  void serve(const Bytes& request, const Bytes& reply) const {
    expect(request);
    answer(reply);
  }
  void expect(const Bytes& request) const {
    const std::string got = line_.read(request.size());
    EXPECT_EQ(to_hex({got.begin(), got.end()}), to_hex(request));
  }
  void answer(const Bytes& reply) const { line_.type(std::string(reply.begin(), reply.end())); }

  void serve_opening() const { serve(ask_version, good_version); }

  // That nothing more was asked for, and that the line is as it was found.
  void expect_closed() const {
    EXPECT_EQ(line_.read_all(), "");
    const termios now = settings();
    EXPECT_EQ(now.c_iflag, settings_.c_iflag);
    EXPECT_EQ(now.c_oflag, settings_.c_oflag);
    EXPECT_EQ(now.c_cflag, settings_.c_cflag);
    EXPECT_EQ(now.c_lflag, settings_.c_lflag);
    EXPECT_TRUE(std::ranges::equal(now.c_cc, settings_.c_cc));
  }

 private:
  termios settings() const {
    termios now{};
    EXPECT_EQ(tcgetattr(line_.line(), &now), 0);
    return now;
  }

  TemporaryDirectory folder_;
  Terminal line_;
  termios settings_;
};

class ScriptedCommandLine : public CommandLine {
 protected:
  Process start(Arguments arguments) {
    arguments.insert(arguments.begin(), QUORRA_PROGRAM);
    arguments.insert(arguments.end(), {"--config", reader.configuration()});
    return Process(arguments);
  }

  const Bytes read_two = sealed("AA 61 00 07 79 00 00 00 20 00 02");
  const Bytes write_two = sealed("AA 60 00 07 79 00 00 00 20 DE AD");
  const Bytes read_counter = sealed("AA 67 00 07 79 00 00 00 00 00 04");
  const Bytes present_code = sealed("AA 64 00 08 79 00 00 00 00 11 22 33");

  ReaderLine reader;
};

TEST_F(ScriptedCommandLine, RefusesAReaderThatAnswersBadly) {
  Process program = start({"read"});
  reader.serve(ask_version, hex("54"));
  expect_error(program.wait(), 1, no_reader);
  reader.expect_closed();
}

TEST_F(ScriptedCommandLine, WriteComparesWhatItReadsBack) {
  Process program = start({"write", "--address", "0x20", "DEAD"});
  reader.serve_opening();
  reader.serve(write_two, reply(0, {}));
  reader.serve(read_two, reply(0, hex("DE AF")));
  expect_error(program.wait(), 1,
               "quorra: reading back what was written: at 0x0021 the card holds AF, not AD\n");
  reader.expect_closed();
}

TEST_F(ScriptedCommandLine, WriteReadsNothingBackIfToldSo) {
  Process program = start({"write", "--address", "0x20", "--no-verify", "DEAD"});
  reader.serve_opening();
  reader.serve(write_two, reply(0, {}));
  expect_success(program.wait(), "Wrote 2 bytes at 0x0020.\n");
  reader.expect_closed();
}

TEST_F(ScriptedCommandLine, TellsWhatTheLibraryReports) {
  struct Case {
    Bytes answer;
    std::string words;
  };
  const Case cases[] = {
      {hex("54"), "the reader's reply has a wrong first byte (-128)"},
      {hex("55"), "timeout waiting for the reader's reply (-132)"},
      {hex("55 00 00 02 DE AD 00"), "the check byte of the reader's reply is wrong (-133)"},
      {reply(37, {}), "the reader refused the command with status 37 (0x25) (-37)"},
      {reply(1, {}), "the reader refused the command with status 1 (0x01) (-1)"},
      {reply(255, {}), "the reader refused the command with status 255 (0xFF) (-255)"},
      {reply(132, {}), "timeout waiting for the reader's reply (-132)"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.words);
    Process program = start({"read", "--address", "0x20", "--count", "2", "--raw"});
    reader.serve_opening();
    reader.serve(read_two, one.answer);
    expect_error(program.wait(), 1, "quorra: reading the card: " + one.words + "\n");
    reader.expect_closed();
  }
}

TEST_F(ScriptedCommandLine, ProtectWordsItsOwnMeaningsOfTheNumbers) {
  const Bytes read_byte = sealed("AA 61 00 07 79 00 00 00 08 00 01");
  const Bytes read_bits = sealed("AA 74 00 07 79 00 00 00 00 00 04");
  const Bytes protect_byte = sealed("AA 75 00 06 79 00 00 00 08 41");
  const Bytes writable = reply(0, hex("FF FF FF FF"));
  const auto protect = [&](const Bytes& bits_after) {
    Process program = start({"protect", "--address", "8", "--yes"});
    reader.serve_opening();
    reader.serve(read_byte, reply(0, hex("41")));
    reader.serve(read_bits, writable);
    reader.serve(protect_byte, reply(0, {}));
    reader.serve(read_bits, bits_after);
    return program.wait();
  };
  expect_error(protect(reply(0x21, {})), 1,
               "quorra: protecting: the result could not be read back (-128)\n");
  expect_error(protect(writable), 1,
               "quorra: protecting: a byte is still writable, or is not what was written (-129)\n");
  reader.expect_closed();
}

TEST_F(ScriptedCommandLine, DoesNotGuessTheAttemptsAfterADisturbedExchange) {
  Process program = start({"code", "present", "112233"});
  reader.serve_opening();
  reader.serve(read_counter, reply(0, hex("07 00 00 00")));
  reader.serve(present_code, hex("54"));
  expect_error(program.wait(), 1,
               "quorra: presenting the code: the reader's reply has a wrong first byte (-128)\n");
  reader.expect_closed();
}

// Without standard output and error, the line to the reader must not become one of them.
TEST_F(ScriptedCommandLine, AsksNoQuestionsOfTheReader) {
  const Terminal terminal;
  Process program({"/bin/sh", "-c", R"(exec "$0" "$@" >&- 2>&-)", QUORRA_PROGRAM, "code", "present",
                   "112233", "--config", reader.configuration()},
                  {.input = {}, .streams = {{STDIN_FILENO, terminal.line()}}, .environment = {}});
  reader.serve_opening();
  reader.serve(read_counter, reply(0, hex("01 00 00 00")));
  terminal.type("n\n");
  EXPECT_EQ(program.wait().status, 2);
  reader.expect_closed();
}

TEST_F(ScriptedCommandLine, NewCodeIsReadBack) {
  Process program = start({"code", "change", "--code", "112233", "445566"});
  reader.serve_opening();
  reader.serve(read_counter, reply(0, hex("07 00 00 00")));
  reader.serve(present_code, reply(0, {}));
  reader.serve(sealed("AA 66 00 08 79 00 00 00 00 44 55 66"), reply(0, {}));
  reader.serve(sealed("AA 65 00 07 79 00 00 00 00 00 04"), reply(0, hex("07 44 55 67")));
  expect_error(program.wait(), 1,
               "quorra: reading back the new code: the card holds another code\n");
  reader.expect_closed();
}

TEST_F(ScriptedCommandLine, InfoShowsBytesThatAreNoText) {
  Process program = start({"info"});
  reader.serve_opening();
  reader.serve(sealed("AA B0 00 07 80 00 00 00 00 00 12"), reply(0, text("KWSPC")));
  reader.serve(sealed("AA B7 00 07 80 00 00 01 90 00 10"), reply(0, counting(16, 0xF1)));
  reader.serve(sealed("AA B9 00 05 80 00 00 00 00"), reply(0x86, {}));
  for (int card = 0; card < 2; ++card) {
    reader.serve(sealed("AA 61 00 07 79 00 00 00 06 00 02"), reply(0, hex("FF FF")));
  }
  expect_success(program.wait(),
                 "library        KW###DRVSFT-V6.60B\n"
                 "reader         KWSPC\n"
                 "serial number  F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF 00\n"
                 "answers        yes\n"
                 "card           none recognised\n");
  reader.expect_closed();
}

// The signal comes while the program waits for the reply to a write. The write is done, and nothing
// after it.
TEST_F(ScriptedCommandLine, SignalsEndItBetweenTwoCalls) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Process program = start({"write", "--address", "0x20", "DEAD"});
    reader.serve_opening();
    reader.expect(write_two);
    program.signal(signal);
    reader.answer(reply(0, {}));
    expect_error(program.wait(), 1, "quorra: reading back what was written: interrupted\n");
    reader.expect_closed();
  }
}

TEST_F(ScriptedCommandLine, SignalAfterTheLastCallIsTooLate) {
  Process program = start({"write", "--address", "0x20", "--no-verify", "DEAD"});
  reader.serve_opening();
  reader.expect(write_two);
  program.signal(SIGINT);
  reader.answer(reply(0, {}));
  expect_success(program.wait(), "Wrote 2 bytes at 0x0020.\n");
  reader.expect_closed();
}

TEST_F(ScriptedCommandLine, SpeaksThroughASerialTerminal) {
  const std::string configuration = folder / "terminal.conf";
  write_file(configuration, terminal_configuration);
  const auto wrapped = [](const Bytes& frame) {
    std::string bytes;
    for (const unsigned char byte : frame) {
      bytes += "\x1b[5i" + std::string(1, static_cast<char>(byte)) + "\x1b[4i";
    }
    return bytes;
  };
  const Terminal terminal;
  const auto serve = [&](const Bytes& request, const Bytes& answer) {
    EXPECT_EQ(terminal.read(wrapped(request).size()), wrapped(request));
    terminal.type(std::string(answer.begin(), answer.end()));
  };
  const int line = terminal.line();
  Process program({QUORRA_PROGRAM, "code", "present", "112233", "--config", configuration},
                  {.input = {},
                   .streams = {{STDIN_FILENO, line}, {STDOUT_FILENO, line}, {STDERR_FILENO, line}},
                   .environment = {}});
  serve(ask_version, good_version);
  serve(read_counter, reply(0, hex("01 00 00 00")));
  EXPECT_EQ(terminal.read_until("[y/N] "),
            "1 attempt left: a wrong code locks the card for good. Go on? [y/N] ");
  terminal.type("y\r");
  serve(present_code, reply(0, {}));
  EXPECT_EQ(program.wait().status, 0);
  // The result comes when the line is a terminal again.
  EXPECT_EQ(terminal.read_all(), "\x1b[0iThe code is right.\n");
}

TEST_F(ScriptedCommandLine, IgnoredSignalsStayIgnored) {
  Process program({"/bin/sh", "-c", R"(trap '' HUP; exec "$0" "$@")", QUORRA_PROGRAM, "write",
                   "--address", "0x20", "DEAD", "--config", reader.configuration()});
  reader.serve_opening();
  reader.expect(write_two);
  program.signal(SIGHUP);
  reader.answer(reply(0, {}));
  reader.serve(read_two, reply(0, hex("DE AD")));
  expect_success(program.wait(), "Wrote 2 bytes at 0x0020 and read them back.\n");
  reader.expect_closed();
}

}  // namespace
}  // namespace quorra::testing
