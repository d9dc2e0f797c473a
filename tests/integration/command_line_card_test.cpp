// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra with each kind of card.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

struct Kind {
  std::string name;
  std::size_t size;
  std::string code = {};  // as an option
};

const Kind all_kinds[] = {
    {"4442", 256, "FFFFFF"}, {"4432", 256},   {"4428", 1024, "FFFF"}, {"4418", 1024},
    {"24c01a", 128},         {"24c02", 256},  {"24c04", 512},         {"24c08", 1024},
    {"24c16", 2048},         {"24c32", 4096}, {"24c64", 8192},        {"93c46a", 128},
    {"93c46", 128},          {"93c57", 256},  {"93c66", 512},         {"45d041", 540672},
};

// The options that name a card.
Arguments at(const std::string& image, const std::string& kind) {
  return {"--virtual", image, "--card", kind, "--quiet"};
}

// Bytes that differ from their neighbours, 256 bytes before and behind, too.
std::string pattern(std::size_t size) {
  std::string bytes;
  for (std::size_t at = 0; at < size; ++at) {
    bytes += static_cast<char>(at + at / 256);
  }
  return bytes;
}

class EachCard : public CommandLine, public ::testing::WithParamInterface<Kind> {};

// At the end of the card there is the part that needs the largest addresses. A 4428 is not written
// in its last three bytes.
TEST_P(EachCard, IsWrittenComparedAndRead) {
  const auto& [name, size, code] = GetParam();
  const std::string image = new_card(name);
  const std::size_t writable = name == "4428" ? 1021 : size;
  const std::size_t count = std::min<std::size_t>(writable - 0x20, 600);
  const std::string address = std::to_string(writable - count);
  const std::string before = memory_of(image);
  ASSERT_EQ(before.size(), size);

  write_file(folder / "data", pattern(count));
  const Arguments data = {"--address", address, "--file", folder / "data"};
  const Arguments present = code.empty() ? Arguments() : Arguments{"--code", code};
  const Outcome written = run_quorra(Arguments{"write"} + at(image, name) + data + present);
  EXPECT_EQ(written.errors, "");
  EXPECT_EQ(written.status, 0);
  EXPECT_NE(written.output.find(" and read them back.\n"), std::string::npos);
  const Outcome compared = run_quorra(Arguments{"verify"} + at(image, name) + data);
  EXPECT_EQ(compared.errors, "");
  EXPECT_EQ(compared.status, 0);

  std::string expected = before;
  expected.replace(writable - count, count, pattern(count));
  EXPECT_TRUE(memory_of(image) == expected);
}

TEST_P(EachCard, TellsHowManyBytesDifferAndTheFirst) {
  const auto& [name, size, code] = GetParam();
  const std::string image = new_card(name, {"--data", "0x31:0102030405"});
  expect_error(run_quorra(Arguments{"verify"} + at(image, name) +
                          Arguments{"--address", "0x31", "01 02 0A 04 0B"}),
               1,
               "quorra: comparing the card: 2 of 5 bytes differ; at 0x0033 the card holds 03, not "
               "0A\n");
  expect_success(run_quorra(Arguments{"verify"} + at(image, name) +
                            Arguments{"--address", "0x32", "02 03 04"}),
                 "The card holds the same 3 bytes at 0x0032.\n");
}

TEST_P(EachCard, FillsAPart) {
  const auto& [name, size, code] = GetParam();
  const std::string image = new_card(name, {"--data", "0x20:0102030405060708"});
  const Arguments present = code.empty() ? Arguments() : Arguments{"--code", code};
  const auto on_card = [&, card = name](const std::string& command, const Arguments& more) {
    return run_quorra(Arguments{command} + at(image, card) + present + more);
  };
  expect_success(on_card("fill", {"--byte", "5A", "--address", "0x21", "--count", "3"}),
                 "Wrote 5A to 3 bytes at 0x0021 and read them back.\n");
  expect_success(on_card("erase", {"--address", "0x25", "--count", "2", "--no-verify"}),
                 "Wrote FF to 2 bytes at 0x0025.\n");
  expect_success(
      run_quorra(Arguments{"read", "--address", "0x20", "--count", "8"} + at(image, name)),
      "0020  01 5A 5A 5A 05 FF FF 08                           |.ZZZ....        |\n");
}

TEST_P(EachCard, NeedsConsentToOverwriteAllOfIt) {
  const auto& [name, size, code] = GetParam();
  const std::string image = new_card(name);
  const std::string before = content_of(image);
  const std::string writable = name == "4428" ? "1021" : std::to_string(size);
  for (const Arguments& command : {Arguments{"erase"}, {"fill", "--byte", "00"}}) {
    const Outcome outcome = run_quorra(command + at(image, name));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.errors.find(": All " + writable +
                                  " bytes of the card are overwritten. Confirm with --yes " + name +
                                  ".\n"),
              std::string::npos);
  }
  EXPECT_TRUE(content_of(image) == before);
}

TEST_P(EachCard, IsKnownByItsImage) {
  const auto& [name, size, code] = GetParam();
  const std::string image = new_card(name, {"--data", "0x31:0102030405"});
  const Outcome outcome = run_quorra({"read", "--raw", "--quiet", "--virtual", image});
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.output.size(), size);
  EXPECT_EQ(outcome.output.substr(0x31, 5), "\x01\x02\x03\x04\x05");
  expect_error(run_quorra({"read", "--zone", "1", "--virtual", image}), 2,
               "quorra: --zone: a " + name + " card has no zones\n");
}

INSTANTIATE_TEST_SUITE_P(Cards, EachCard, ::testing::ValuesIn(all_kinds),
                         [](const auto& test) { return "Card" + test.param.name; });

class Cards : public CommandLine {};

// With --config no image is read, even if the reader is a virtual one.
TEST_F(Cards, ImageCountsOnlyWithoutAnOption) {
  const std::string image = new_card("4442");
  const std::string zones = "quorra: --zone: a 4432 card has no zones\n";
  expect_error(run_quorra({"read", "--zone", "1", "--card", "4432", "--virtual", image}), 2, zones);
  Process simulator({QUORRA_SIM_PROGRAM, "--card", image});
  expect_error(run_quorra({"read", "--zone", "1", "--config", simulator.read_line()}), 2,
               "quorra: --zone: a 4442 card has no zones\n");
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

// ---- Erasing and filling

TEST_F(Cards, ErasesA93cWithItsOwnCommand) {
  for (const char* kind : {"93c46a", "93c46", "93c57", "93c66"}) {
    const std::string image =
        new_card(kind, {"--force", "--data", "0:0102", "--data", "0x7E:0304"});
    const std::size_t size = memory_of(image).size();
    expect_success(run_quorra(Arguments{"erase", "--yes", kind} + at(image, kind)),
                   "Erased all " + std::to_string(size) +
                       " bytes with the card's own command and read them back.\n");
    EXPECT_EQ(memory_of(image), std::string(size, '\xFF'));
    expect_success(run_quorra(Arguments{"erase", "--yes", kind, "--no-verify"} + at(image, kind)),
                   "Erased all " + std::to_string(size) + " bytes with the card's own command.\n");
  }
}

TEST_F(Cards, ErasesAndFillsWholeCardsByWriting) {
  const std::string image = new_card("24c04", {"--data", "0x1FE:0102"});
  expect_success(
      run_quorra(Arguments{"fill", "--byte", "a5", "--yes", "24c04"} + at(image, "24c04")),
      "Wrote A5 to 512 bytes at 0x0000 and read them back.\n");
  EXPECT_EQ(memory_of(image), std::string(512, '\xA5'));
  expect_success(run_quorra(Arguments{"erase", "--yes", "24c04"} + at(image, "24c04")),
                 "Wrote FF to 512 bytes at 0x0000 and read them back.\n");
  EXPECT_EQ(memory_of(image), std::string(512, '\xFF'));
}

TEST_F(Cards, FillingLeavesReadOnlyBytesAlone) {
  const std::string image = new_card("4442", {"--data", "8:AA", "--protect", "8"});
  expect_success(run_quorra(Arguments{"fill", "--byte", "00", "--yes", "4442", "--code", "FFFFFF"} +
                            at(image, "4442")),
                 "Wrote 00 to 243 of 256 bytes at 0x0000 and read them back; read-only bytes: "
                 "13 (0x0000-0x0003, 0x0006-0x0008, 0x0015-0x001A).\n");
  expect_success(run_quorra(Arguments{"read", "--count", "48"} + at(image, "4442")),
                 "0000  A2*13*10*91*00 00 81*15* AA*00 00 00 00 00 00 00  |................|\n"
                 "0010  00 00 00 00 00 FF*FF*FF* FF*FF*FF*00 00 00 00 00  |................|\n"
                 "0020  00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  |................|\n" +
                     std::string(legend));
}

TEST_F(Cards, FillingNeedsTheCode) {
  const std::string image = new_card("4428");
  const Outcome outcome =
      run_quorra(Arguments{"fill", "--byte", "00", "--yes", "4428"} + at(image, "4428"));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors,
            "quorra: filling the card: the reader refused the command with status 35 (0x23): a "
            "byte was not written: it is protected, or the code is missing (-35): at 0x0004 the "
            "card holds FF, not 00\n");
}

TEST_F(Cards, ErasingAsksOnATerminal) {
  const std::string image = new_card("24c01a", {"--data", "0:00"});
  const auto erase = [&image](const std::string& answer) {
    const Terminal terminal;
    Process program(Arguments{QUORRA_PROGRAM, "erase"} + at(image, "24c01a"),
                    {.input = {},
                     .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                     .environment = {{"NO_COLOR", "1"}}});
    EXPECT_EQ(terminal.read_until("on: "),
              "All 128 bytes of the card are overwritten. Type 24c01a to go on: ");
    terminal.type(answer);
    Outcome outcome = program.wait();
    outcome.errors = terminal.read_all();
    return outcome;
  };
  expect_error(erase("n\n"), 2, "quorra: erasing the card: not confirmed with 24c01a\n");
  EXPECT_EQ(memory_of(image).front(), '\0');
  expect_success(erase("24C01A\n"), "Wrote FF to 128 bytes at 0x0000 and read them back.\n");
  EXPECT_EQ(memory_of(image).front(), '\xFF');
}

// ---- 4428 and 4418

TEST_F(Cards, Dumps4428) {
  const std::string image =
      new_card("4428", {"--data", "0x104:48656C6C6F", "--protect", "0x106-0x107"});
  expect_success(
      run_quorra(Arguments{"read", "--address", "0x100", "--count", "16"} + at(image, "4428")),
      "0100  FF FF FF FF 48 65 6C*6C* 6F FF FF FF FF FF FF FF  |....Hello.......|\n" +
          std::string(legend));
  // The error counter and the code, which reads as zeros before it was presented.
  expect_success(run_quorra(Arguments{"read", "--address", "0x3F8"} + at(image, "4428")),
                 "03F0                           FF FF FF FF FF FF 00 00  |        ........|\n");
}

TEST_F(Cards, Reads4418BehindItsFirst256Bytes) {
  const std::string image = new_card("4418", {"--data", "0x12C:AABB", "--protect", "0x3FF"});
  expect_success(
      run_quorra(Arguments{"read", "--address", "0x12B", "--count", "4"} + at(image, "4418")),
      "0120                                    FF AA BB FF     |           .... |\n");
  expect_success(run_quorra(Arguments{"read", "--address", "0x3FE"} + at(image, "4418")),
                 "03F0                                             FF FF* |              ..|\n" +
                     std::string(legend));
}

TEST_F(Cards, CodeOf4428) {
  const std::string image = new_card("4428", {"--code", "1234"});
  const Arguments card = at(image, "4428");
  expect_success(run_quorra(Arguments{"code", "counter"} + card), "8 attempts left.\n");
  expect_error(run_quorra(Arguments{"code", "present", "FFFF"} + card), 1,
               refused_code + std::string("; 7 attempts left\n"));
  expect_success(run_quorra(Arguments{"code", "change", "--code", "1234", "5678"} + card),
                 "The code is changed.\n");
  expect_success(run_quorra(Arguments{"code", "present", "56:78"} + card), "The code is right.\n");
  expect_success(run_quorra(Arguments{"code", "counter"} + card), "8 attempts left.\n");
}

TEST_F(Cards, Protects4428And4418) {
  for (const auto& [kind, present] :
       {std::pair{"4428", Arguments{"--code", "FFFF"}}, {"4418", Arguments{}}}) {
    const std::string image = new_card(kind, {"--force", "--data", "0x200:0102030405"});
    const Arguments protect = Arguments{"protect", "--yes", kind} + at(image, kind) + present;
    expect_success(run_quorra(protect + Arguments{"--address", "0x201", "--count", "2"}),
                   "Protected 2 bytes at 0x0201.\n");
    expect_success(run_quorra(protect + Arguments{"--address", "0x201", "--count", "200"}),
                   "Protected 200 bytes at 0x0201 (already protected: 2).\n");
    expect_success(
        run_quorra(Arguments{"read", "--address", "0x200", "--count", "4"} + at(image, kind)),
        "0200  01 02*03*04*                                      |....            |\n" +
            std::string(legend));
    expect_success(
        run_quorra(Arguments{"read", "--address", "0x2C8", "--count", "2"} + at(image, kind)),
        "02C0                           FF*FF                    |        ..      |\n" +
            std::string(legend));
  }
}

TEST_F(Cards, Protecting4428NeedsTheCode) {
  const std::string image = new_card("4428");
  expect_error(
      run_quorra(Arguments{"protect", "--yes", "4428", "--address", "0x200"} + at(image, "4428")),
      1, "quorra: protecting: the byte at 0x0200 is still writable\n");
}

// ---- 93c46a and 45d041

TEST_F(Cards, HalfWordsOfA93c46aKeepTheirOtherHalf) {
  const std::string image = new_card("93c46a", {"--data", "0:010203040506"});
  expect_success(run_quorra(Arguments{"write", "--address", "1", "A1A2A3A4"} + at(image, "93c46a")),
                 "Wrote 4 bytes at 0x0001 and read them back.\n");
  expect_success(
      run_quorra(Arguments{"read", "--address", "0", "--count", "7"} + at(image, "93c46a")),
      "0000  01 A1 A2 A3 A4 06 FF                              |.......         |\n");
  expect_success(run_quorra(Arguments{"write", "--address", "126", "B1"} + at(image, "93c46a")),
                 "Wrote 1 byte at 0x007E and read it back.\n");
  expect_success(run_quorra(Arguments{"read", "--address", "125"} + at(image, "93c46a")),
                 "0070                                          FF B1 FF  |             ...|\n");
}

TEST_F(Cards, ShowsFiveDigitsOfAddressesThatNeedThem) {
  const std::string image = new_card("45d041", {"--data", "0x10000:41", "--data", "0x83FFF:42"});
  expect_success(
      run_quorra(Arguments{"read", "--address", "0xFFFF", "--count", "2"} + at(image, "45d041")),
      "0FFF0                                                FF  |               .|\n"
      "10000  41                                                |A               |\n");
  expect_success(run_quorra(Arguments{"read", "--address", "0x83FFF"} + at(image, "45d041")),
                 "83FF0                                                42  |               B|\n");
}

TEST_F(Cards, TellsThatThereIsNo45d041) {
  const std::string image = new_card("24c02");
  expect_error(run_quorra(Arguments{"read", "--force"} + at(image, "45d041")), 1,
               "quorra: reading the card: the card is not there, or the reader's reply has a wrong "
               "first byte (-128)\n");
  expect_error(
      run_quorra(Arguments{"write", "--force", "--address", "0", "AA"} + at(image, "45d041")), 1,
      "quorra: reading what the card holds: the card is not there, or the reader's reply has a "
      "wrong "
      "first byte (-128)\n");
}

// ---- info and detect

TEST_F(Cards, InfoWritesToNoCard) {
  for (const Kind& kind : all_kinds) {
    const std::string image = new_card(kind.name, {"--force"});
    const std::string before = content_of(image);
    EXPECT_EQ(run_quorra({"info", "--virtual", image}).status, 0);
    EXPECT_TRUE(content_of(image) == before) << kind.name;
  }
}

TEST_F(Cards, InfoFindsCardsByReadingThem) {
  for (const auto& [kind, words] : {std::pair{"4428", "4428 or 4418"},
                                    {"4418", "4428 or 4418"},
                                    {"4404", "4404"},
                                    {"4406", "4406"},
                                    {"101", "102 or 101"},
                                    {"102", "102 or 101"},
                                    {"1604", "1604"},
                                    {"1604b", "1604b"}}) {
    const std::string image = new_card(kind, {"--force"});
    const std::string before = content_of(image);
    const std::string output = run_quorra({"info", "--virtual", image}).output;
    EXPECT_NE(output.find(std::string("card           ") + words + "\n"), std::string::npos)
        << output;
    EXPECT_TRUE(content_of(image) == before) << kind;
  }
}

TEST_F(Cards, DetectTellsWhatIsThere) {
  const std::string with_code_4442 =
      "4442 or 4432\nsize  256 bytes\n"
      "can   read and write, protect 32 bytes, code of 3 bytes with 3 attempts (the 4432: no "
      "code)\n";
  const std::string with_code_4428 =
      "4428 or 4418\nsize  1024 bytes\n"
      "can   read and write, protect 1021 bytes, code of 2 bytes with 8 attempts (the 4418: no "
      "code)\n";
  const std::string plain = "can   read and write\n";
  const std::string erasable = "can   read and write, erase all at once\n";
  struct Case {
    std::string kind;
    std::string words;
    std::string named;
  };
  const Case cases[] = {
      {"4442", with_code_4442, "4442"},
      {"4432", with_code_4442, "4442"},
      {"4428", with_code_4428, "4428"},
      {"4418", with_code_4428, "4428"},
      {"24c01a", "24c01a\nsize  128 bytes\n" + plain, "24c01a"},
      {"24c02", "24c02\nsize  256 bytes\n" + plain, "24c02"},
      {"24c04", "24c04\nsize  512 bytes\n" + plain, "24c04"},
      {"24c08", "24c08\nsize  1024 bytes\n" + plain, "24c08"},
      {"24c16", "24c16\nsize  2048 bytes\n" + plain, "24c16"},
      {"24c32", "24c32\nsize  4096 bytes\n" + plain, "24c32"},
      {"24c64", "24c64\nsize  8192 bytes\n" + plain, "24c64"},
      {"93c46a", "93c46a\nsize  128 bytes\n" + erasable, "93c46a"},
      {"93c46", "93c46\nsize  128 bytes\n" + erasable, "93c46"},
      {"93c57", "93c57\nsize  256 bytes\n" + erasable, "93c57"},
      {"93c66", "93c66\nsize  512 bytes\n" + erasable, "93c66"},
      {"45d041", "45d041\nsize  540672 bytes, in 2048 pages of 264\n" + plain, "45d041"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.kind);
    const std::string image = new_card(one.kind, {"--force"});
    const std::string before = memory_of(image);
    expect_success(run_quorra({"detect", "--by-writing", "--yes", "--virtual", image}),
                   "card  " + one.words + "next  quorra read --virtual " + image + " --card " +
                       one.named + "\n");
    EXPECT_TRUE(memory_of(image) == before);
  }
}

// The probes for cards of 4096 bytes and more send two bytes of address. A smaller card takes the
// second for data.
TEST_F(Cards, DetectChangesTwoBytesOfASmall24c) {
  const auto changed = [this](const std::string& kind, std::size_t size) {
    const std::string before = pattern(size);
    write_file(folder / "memory", before);
    const std::string image = new_card(kind, {"--force", "--memory", folder / "memory"});
    EXPECT_EQ(run_quorra({"detect", "--by-writing", "--yes", "--virtual", image}).status, 0);
    const std::string after = memory_of(image);
    std::vector<std::size_t> addresses;
    for (std::size_t address = 0; address < size; ++address) {
      if (after.at(address) != before[address]) addresses.push_back(address);
    }
    return addresses;
  };
  const std::vector<std::size_t> two = {0x0F, 0x1F};
  EXPECT_EQ(changed("24c01a", 128), two);
  EXPECT_EQ(changed("24c16", 2048), two);
  EXPECT_TRUE(changed("24c32", 4096).empty());
  EXPECT_TRUE(changed("24c64", 8192).empty());
  EXPECT_TRUE(changed("93c57", 256).empty());
  EXPECT_TRUE(changed("93c66", 512).empty());
}

TEST_F(Cards, DetectTellsWhenItRecognisesNone) {
  const std::string image = new_card("4432", {"--data", "6:0000"});
  expect_error(run_quorra({"detect", "--by-writing", "--yes", "--virtual", image}), 1,
               "quorra: looking for a card: none recognised\n");
  Process simulator({QUORRA_SIM_PROGRAM});
  const std::string configuration = simulator.read_line();
  expect_error(run_quorra({"detect", "--by-writing", "--yes", "--config", configuration}), 3,
               "quorra: recognising the card: no card is in the reader\n");
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

TEST_F(Cards, DetectNamesACommandThatAShellTakes) {
  const std::string made = new_card("24c02");
  const std::string image = folder / "it's a card.toml";
  ASSERT_EQ(rename(made.c_str(), image.c_str()), 0);
  const std::string sam = "0=" + new_card("cpu");
  const std::string output =
      run_quorra({"detect", "--by-writing", "--yes", "--virtual", image, "--virtual-sam", sam})
          .output;
  const std::size_t command = output.find("next  quorra ");
  ASSERT_NE(command, std::string::npos);
  const std::string rest = output.substr(command + std::string("next  quorra ").size());
  EXPECT_NE(rest.find(R"('\'')"), std::string::npos);
  EXPECT_NE(rest.find(" --virtual-sam " + sam + " "), std::string::npos) << rest;
  const Outcome read =
      run({"/bin/sh", "-c", std::string(QUORRA_PROGRAM) + " " + rest.substr(0, rest.size() - 1)});
  EXPECT_EQ(read.status, 0) << read.errors;
  EXPECT_EQ(read.output.substr(0, 6), "0000  ");
}

// What reading tells of cards as they are made; their images stay as they are.
TEST_F(Cards, DetectReadsOnly) {
  const struct {
    const char* kind;
    const char* names;
  } cases[] = {{"4442", "4442"},
               {"4432", "4432 or 4442"},
               {"4428", "4428 or 4418"},
               {"24c02", "24c01a, 24c02, 24c04, 24c08 or 24c16"},
               {"24c64", "24c32, 24c64, 24c01a or 24c02"},
               {"93c66", "93c66"},
               {"45d041", "45d041"},
               {"4404", "4404"},
               {"4406", "4406"},
               {"102", "101 or 102"},
               {"1604", "1604"},
               {"1604b", "1604b"}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.kind);
    const std::string image = new_card(one.kind, {"--force"});
    const std::string before = content_of(image);
    const Outcome outcome = run_quorra({"detect", "--virtual", image});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find('\n')),
              std::string("card  ") + one.names);
    EXPECT_EQ(content_of(image), before);
  }
  const Outcome processor = run_quorra({"detect", "--virtual", new_card("cpu", {"--force"})});
  EXPECT_EQ(processor.status, 0);
  EXPECT_EQ(processor.output.rfind("card  processor card, answer to reset 3B", 0), 0U)
      << processor.output;
  expect_error(run_quorra({"detect", "--virtual-sam", "0=" + new_card("cpu", {"--force"})}), 3,
               "quorra: recognising the card: no card is in the reader\n");
}

TEST_F(Cards, DetectAsksOnATerminal) {
  const std::string image = new_card("24c02");
  const Terminal terminal;
  Process program({QUORRA_PROGRAM, "detect", "--by-writing", "--virtual", image},
                  {.input = {},
                   .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                   .environment = {{"NO_COLOR", "1"}}});
  EXPECT_EQ(terminal.read_until("[y/N] "),
            "Looking for a card writes to it and puts the bytes back; on a card of another kind "
            "some of them may stay changed. Go on? [y/N] ");
  terminal.type("n\n");
  expect_error(program.wait(), 1, "");
  EXPECT_EQ(terminal.read_all(), "quorra: looking for a card: not confirmed\n");
}

}  // namespace
}  // namespace quorra::testing
