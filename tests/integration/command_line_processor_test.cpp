// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra with processor cards, in the card slot and as SAMs.

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

// The virtual card has the files 0001 (512 bytes), 0002 (128 bytes, only with the code "1234") and
// 0003 (8 records of 16 bytes), all FF at first.
constexpr char select_file[] = "00A40000020001";
constexpr char selected_file[] =
    "> 00 A4 00 00 02 00 01\n"
    "6F 0B 80 02 02 00 82 01 01 83 02 00 01\n"
    "9000: done\n";
constexpr char sixteen_ff[] = "FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF\n";

void expect_outcome(const Outcome& outcome, int status, const std::string& output,
                    const std::string& errors) {
  EXPECT_EQ(outcome.output, output);
  EXPECT_EQ(outcome.errors, errors);
  EXPECT_EQ(outcome.status, status);
}

class Processor : public CommandLine {
 protected:
  Outcome send(const Arguments& apdus, const Surroundings& surroundings = {}) {
    return run_quorra(Arguments{"apdu", "--virtual", card} + apdus, surroundings);
  }

  const std::string card = new_card("cpu");
};

// ---- Conversations

TEST_F(Processor, AnswersInHexAndWords) {
  expect_success(send({select_file, "00 D6 00 10 03 41:42:43", "00B0000F05"}),
                 std::string(selected_file) +
                     "> 00 D6 00 10 03 41 42 43\n"
                     "9000: done\n"
                     "> 00 B0 00 0F 05\n"
                     "FF 41 42 43 FF\n"
                     "9000: done\n");
  // What was written stays in the image.
  expect_success(send({select_file, "00B0001003"}), std::string(selected_file) +
                                                        "> 00 B0 00 10 03\n"
                                                        "41 42 43\n"
                                                        "9000: done\n");
}

// 150 bytes come as 128 and 22, which the card announces with 6116.
TEST_F(Processor, LongAnswersAreFetchedAndDumped) {
  const Outcome outcome = send({select_file, "00D600010141", "00D600940142", "00B0000096"});
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.status, 0);
  const std::string row = "FF FF FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |................|\n";
  std::string dump = "0000  FF 41 FF FF FF FF FF FF  FF FF FF FF FF FF FF FF  |.A..............|\n";
  for (const char* address : {"0010", "0020", "0030", "0040", "0050", "0060", "0070", "0080"}) {
    dump += std::string(address) + "  " + row;
  }
  dump += "0090  FF FF FF FF 42 FF                                 |....B.          |\n";
  EXPECT_EQ(outcome.output.substr(outcome.output.find("> 00 B0")),
            "> 00 B0 00 00 96\n" + dump + "9000: done\n");
}

TEST_F(Processor, WrongLengthsAreRepeatedRight) {
  expect_success(send({"00A4000C020003", "00B20104FF"}), std::string("> 00 A4 00 0C 02 00 03\n"
                                                                     "9000: done\n"
                                                                     "> 00 B2 01 04 FF\n") +
                                                             sixteen_ff + "9000: done\n");
}

TEST_F(Processor, CodeIsVerified) {
  const std::string select_private = "00A4000C020002";
  const std::string selected_private = "> 00 A4 00 0C 02 00 02\n9000: done\n";
  expect_outcome(send({select_private, "00B0000010"}), 1,
                 selected_private + "> 00 B0 00 00 10\n6982: security condition not satisfied\n",
                 "quorra: the card answers 6982: security condition not satisfied\n");
  expect_outcome(send({"002000010431323335"}), 1,
                 "> 00 20 00 01 04 31 32 33 35\n63C2: 2 attempts left\n",
                 "quorra: the card answers 63C2: 2 attempts left\n");
  expect_success(send({"002000010431323334", select_private, "00B0000010"}),
                 "> 00 20 00 01 04 31 32 33 34\n9000: done\n" + selected_private +
                     "> 00 B0 00 00 10\n" + sixteen_ff + "9000: done\n");
  expect_outcome(send({"--continue", "002000010431323335", "002000010431323335",
                       "002000010431323335", "002000010431323334"}),
                 1,
                 "> 00 20 00 01 04 31 32 33 35\n63C2: 2 attempts left\n"
                 "> 00 20 00 01 04 31 32 33 35\n63C1: 1 attempt left\n"
                 "> 00 20 00 01 04 31 32 33 35\n63C0: 0 attempts left\n"
                 "> 00 20 00 01 04 31 32 33 34\n6983: the code or key is blocked\n",
                 "quorra: the card answers 6983: the code or key is blocked\n");
}

TEST_F(Processor, StopsAtTheFirstErrorUnlessToldOtherwise) {
  const std::string not_found = "> 00 A4 00 00 02 AB CD\n6A82: file or application not found\n";
  expect_outcome(send({"00A4000002ABCD", select_file, select_file}), 1, not_found,
                 "quorra: the card answers 6A82: file or application not found; 1 of 3 APDUs "
                 "sent\n");
  expect_success(send({"00A4000002ABCD", select_file, "--continue"}), not_found + selected_file);
}

TEST_F(Processor, InternalAuthenticationIsDes) {
  const std::string with_key = new_card("cpu", {"--force", "--key", "133457799BBCDFF1"});
  const Outcome outcome = run_quorra({"apdu", "--virtual", with_key, "00880000080123456789ABCDEF"});
  expect_success(outcome,
                 "> 00 88 00 00 08 01 23 45 67 89 AB CD EF\n85 E8 13 54 0F 0A B4 05\n"
                 "9000: done\n");
}

// 261 bytes are the longest command with one byte of length. The card takes 32 in a block.
TEST_F(Processor, LongCommandsAndAnswersAreChained) {
  const std::string data(2 * 255, 'A');
  const Outcome outcome =
      send({"00A4000C020001", "00D60000FF" + data, "00B0000000", "00D60000FF" + data + "00"});
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.output.find("\n00F0  AA AA AA AA AA AA AA AA  AA AA AA AA AA AA AA FF  "),
            std::string::npos);
}

TEST_F(Processor, CardsOfT0AreSpokenToAsWell) {
  const std::string plain = new_card("cpu", {"--force", "--atr", "3B0651554F525241"});
  const std::string output =
      std::string(selected_file) + "> 00 B0 01 A1 10\n" + sixteen_ff + "9000: done\n";
  expect_success(run_quorra({"apdu", "--virtual", plain, select_file, "00B001A110"}), output);
}

// A code is compared once, whatever is lost on the way.
TEST_F(Processor, NoAttemptIsSpentTwiceAndNoneForNothing) {
  for (const char* fault : {"silence", "wrong_check", "wrong_start", "short_reply", "status"}) {
    const std::string fresh = new_card("cpu", {"--force"});
    Process simulator({QUORRA_SIM_PROGRAM, "--card", fresh});
    const std::string configuration = simulator.read_line();
    const std::string socket = simulator.read_line().substr(std::string("control socket: ").size());
    const auto arm = [&](const std::string& times) {
      EXPECT_EQ(run({QUORRA_SIM_PROGRAM, "control", socket,
                     R"({"command":"fault","on":"0x21",)" + times + R"(,"kind":")" + fault + "\"}"})
                    .status,
                0);
    };
    const Arguments wrong = {"apdu", "--config", configuration, "--no-reset", "002000010431323335"};
    // The first of these frames makes the blocks begin anew, and the second settles sizes. The
    // third one is hit, which brings the command.
    arm(R"("every":3)");
    expect_outcome(run_quorra(wrong), 1, "> 00 20 00 01 04 31 32 33 35\n63C2: 2 attempts left\n",
                   "quorra: the card answers 63C2: 2 attempts left\n");
    simulator.signal(SIGTERM);
    EXPECT_EQ(simulator.wait().status, 0);
  }
}

TEST_F(Processor, ResetForgetsTheSelectedFile) {
  Process simulator({QUORRA_SIM_PROGRAM, "--card", card});
  const std::string configuration = simulator.read_line();
  const Arguments apdu = {"apdu", "--config", configuration};
  const std::string request = "> 00 B0 00 00 01\n";
  expect_success(run_quorra(apdu + Arguments{select_file}), selected_file);
  expect_success(run_quorra(apdu + Arguments{"--no-reset", "00B0000001"}),
                 request + "FF\n9000: done\n");
  expect_outcome(run_quorra(apdu + Arguments{"00B0000001"}), 1,
                 request + "6986: command not allowed: no file is selected\n",
                 "quorra: the card answers 6986: command not allowed: no file is selected\n");
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

// ---- Scripts

TEST_F(Processor, ScriptsAreSentLineByLine) {
  const std::string script =
      "# selects and reads\n"
      "\n"
      "  \t\r\n"
      "00A40000020001 # the first file\r\n"
      "00 B0 00 00 01";
  const std::string output = std::string(selected_file) + "> 00 B0 00 00 01\nFF\n9000: done\n";
  write_file(folder / "script", script);
  expect_success(send({"--script", folder / "script"}), output);
  expect_success(send({"--script", "-"}, {.input = script, .streams = {}, .environment = {}}),
                 output);
  write_file(folder / "script", "\xEF\xBB\xBF" + script);
  expect_success(send({"--script", folder / "script"}), output);
}

TEST_F(Processor, ScriptErrorsNameFileAndLine) {
  const std::string script = folder / "script";
  const auto expect_refused = [&](const std::string& content, const std::string& words) {
    write_file(script, content);
    expect_error(send({"--script", script}), 2, "quorra: " + words + "\n");
  };
  expect_refused("00B0000001\n# 1\n00B000000G\n", script + ":3: '00B000000G' is not hexadecimal");
  expect_refused("00B0000", script + ":1: '00B0000' has an odd number of digits; a byte has two");
  expect_refused("\n00B000", script +
                                 ":2: '00B000' has 3 bytes; an APDU has at least 4, and is one "
                                 "word or stands in quotes");
  expect_refused(std::string(std::size_t{2} * 65545, '0'),
                 script + ":1: the APDU has 65545 bytes; an APDU has 65544 at most");
  expect_refused("# nothing\n", "--script: " + script + " has no APDU");
  expect_refused(std::string(1024 * 1024 + 1, '\n'),
                 "--script: " + script + " holds more than 1048576 bytes");
  expect_refused(std::string(1024 * 1024, '\n'), "--script: " + script + " has no APDU");
  expect_error(send({"--script", "-"}, {.input = "GG", .streams = {}, .environment = {}}), 2,
               "quorra: standard input:1: 'GG' is not hexadecimal\n");
  expect_error(send({"--script", folder / "nowhere"}), 2,
               "quorra: reading " + (folder / "nowhere") + ": No such file or directory\n");
}

// ---- Usage

TEST_F(Processor, RefusesWrongUsage) {
  struct Case {
    Arguments arguments;
    std::string words;
  };
  const std::string hint = "; see quorra --help";
  const std::string too_short = "; an APDU has at least 4, and is one word or stands in quotes";
  const std::string image = card;
  const Case cases[] = {
      {{"apdu"}, "nothing to send: give an APDU or --script"},
      {{"apdu", "00B00000", "--script", "x"}, "give APDUs or --script, not both"},
      {{"apdu", "00", "B0"}, "APDU: '00' has 1 byte" + too_short},
      {{"apdu", "00B000"}, "APDU: '00B000' has 3 bytes" + too_short},
      {{"apdu", "XY"}, "APDU: 'XY' is not hexadecimal"},
      {{"apdu", "00B00000", "--sam", "256"}, "--sam: 256 is more than 255" + hint},
      {{"atr", "--sam", "-1"}, "--sam: -1 is negative"},
      {{"read"}, image + " is a processor card: quorra apdu sends it commands"},
      {{"write", "--address", "0", "00"},
       image + " is a processor card: quorra apdu sends it commands"},
      {{"detect", "--by-writing", "--yes"},
       image + " is a processor card: quorra apdu sends it commands"},
      {{"read", "--card", "cpu"},
       "--card: quorra apdu speaks with processor cards, and needs no --card" + hint},
      {{"atr", "--virtual-sam", "0"}, "--virtual-sam: '0' is not N=FILE, such as 0=sam.toml"},
      {{"atr", "--virtual-sam", "0="}, "--virtual-sam: '0=' is not N=FILE, such as 0=sam.toml"},
      {{"atr", "--virtual-sam", "x=a"}, "--virtual-sam: 'x' is not a number, such as 32 or 0x20"},
      {{"atr", "--virtual-sam", "1=a", "--virtual-sam", "1=b"},
       "--virtual-sam: there are two SAMs with the number 1"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.words);
    expect_error(run_quorra(one.arguments + Arguments{"--virtual", image}), 2,
                 "quorra: " + one.words + "\n");
  }
}

TEST_F(Processor, VirtualSamsNeedAVirtualReader) {
  expect_error(run_quorra({"atr", "--virtual-sam", "0=a", "--config", "b"}), 2,
               "quorra: there is one reader: give --config or --virtual-sam, not both\n");
  expect_error(run_quorra({"atr", "--virtual-sam", "0=a", "--speed", "9600"}), 2,
               "quorra: --speed belongs to --config; a virtual reader has no speed\n");
  const Outcome outcome = run_quorra({"atr", "--virtual-sam", "8=" + card});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.errors,
            "quorra: starting the virtual reader: the slots of the SAMs are 0 to 7\n");
}

TEST_F(Processor, InfoNamesAProcessorCard) {
  expect_success(run_quorra({"info", "--virtual", card}),
                 "library        KW###DRVSFT-V6.60B\n"
                 "reader         KWSPC-VIRTUAL V1.0\n"
                 "serial number  VIRTUAL-00000001\n"
                 "answers        yes\n"
                 "card           processor card, answer to reset 3B 86 01 51 55 4F 52 52 41 8D\n");
}

// ---- SAMs

TEST_F(Processor, SamsAnswerBesideTheCard) {
  const std::string first = folder / "first.toml";
  const std::string last = folder / "last.toml";
  for (const auto& [file, byte] : {std::pair{first, "A0"}, {last, "A7"}}) {
    ASSERT_EQ(
        run({QUORRA_SIM_PROGRAM, "new", "cpu", file, "--data", std::string("0:") + byte}).status,
        0);
  }
  const Arguments apdu = {"apdu",      "--virtual-sam", "0=" + first, "--virtual-sam",
                          "7=" + last, select_file,     "00B0000001"};
  const auto said = [](const std::string& byte) {
    return std::string(selected_file) + "> 00 B0 00 00 01\n" + byte + "\n9000: done\n";
  };
  expect_success(run_quorra(apdu + Arguments{"--sam", "0"}), said("A0"));
  expect_success(run_quorra(apdu + Arguments{"--sam", "7"}), said("A7"));
  expect_success(run_quorra(apdu + Arguments{"--virtual", card}), said("FF"));
  const char* const none = "quorra: looking for a SAM: none is in slot 1\n";
  expect_error(run_quorra(apdu + Arguments{"--sam", "1"}), 3, none);
  expect_error(run_quorra({"atr", "--virtual-sam", "0=" + first, "--sam", "1"}), 3, none);
  expect_error(run_quorra(apdu + Arguments{"--sam", "8"}), 1,
               "quorra: selecting the SAM: the reader refused the command with status 21 (0x15): "
               "an address, a count or another value is out of range (-21)\n");
  expect_error(run_quorra(apdu), 3, "quorra: looking for a card: no card is in the reader\n");
}

TEST_F(Processor, SamsAnswerResets) {
  expect_success(run_quorra({"atr", "--virtual-sam", "3=" + card, "--sam", "3"}),
                 run_quorra({"atr", "--virtual", card}).output);
}

// ---- Answers to reset

struct Reset {
  std::string name;
  std::string answer;
  std::string meaning;  // or, where `error` is not empty, nothing
  std::string error = {};
};

constexpr char usual_speed[] =
    "speed          Fi 372, Di 1: up to 13440 bits per second, at 5 MHz\n";

const Reset resets[] = {
    {"Shortest", "3B 00",
     std::string("TS             3B  direct convention\n"
                 "T0             00\n"
                 "protocols      T=0\n") +
         usual_speed +
         "guard time     12 bits\n"
         "T=0 waits      WI 10\n"
         "historical     none\n"},
    {"InverseWithTimes", "3F C2 05 40 14 41 0A",
     std::string("TS             3F  inverse convention\n"
                 "T0             C2\n"
                 "TC1            05\n"
                 "TD1            40\n"
                 "TC2            14\n"
                 "protocols      T=0\n") +
         usual_speed +
         "guard time     17 bits\n"
         "T=0 waits      WI 20\n"
         "historical     41 0A  |A.|\n"},
    {"TwoProtocols", "3B 80 80 01 01",
     std::string("TS             3B  direct convention\n"
                 "T0             80\n"
                 "TD1            80\n"
                 "TD2            01\n"
                 "TCK            01  right\n"
                 "protocols      T=0, T=1\n") +
         usual_speed +
         "guard time     12 bits\n"
         "T=0 waits      WI 10\n"
         "T=1 blocks     up to 32 bytes of information (IFSC)\n"
         "T=1 waits      BWI 4, CWI 13\n"
         "T=1 check      LRC\n"
         "historical     none\n"},
    {"Everything", "3B F4 96 00 FF 91 81 F1 FE 53 01 1F C7 00 05 90 00 9D",
     "TS             3B  direct convention\n"
     "T0             F4\n"
     "TA1            96\n"
     "TB1            00\n"
     "TC1            FF\n"
     "TD1            91\n"
     "TA2            81\n"
     "TD2            F1\n"
     "TA3            FE\n"
     "TB3            53\n"
     "TC3            01\n"
     "TD3            1F\n"
     "TA4            C7\n"
     "TCK            9D  right\n"
     "protocols      T=1; begins with T=1, which cannot be changed\n"
     "speed          Fi 512, Di 32: up to 312500 bits per second, at 5 MHz\n"
     "guard time     12 bits with T=0, 11 with T=1\n"
     "T=1 blocks     up to 254 bytes of information (IFSC)\n"
     "T=1 waits      BWI 5, CWI 3\n"
     "T=1 check      CRC\n"
     "supply         5 V, 3 V, 1.8 V\n"
     "clock stop     at either level\n"
     "historical     00 05 90 00  |....|\n"
     "status         05 90 00\n"},
    {"HistoricalObjects", "3B 07 80 31 C0 73 45 42 43",
     std::string("TS             3B  direct convention\n"
                 "T0             07\n"
                 "protocols      T=0\n") +
         usual_speed +
         "guard time     12 bits\n"
         "T=0 waits      WI 10\n"
         "historical     80 31 C0 73 45 42 43  |.1.sEBC|\n"
         "card services  C0\n"
         "capabilities   45 42 43\n"},
    {"BrokenObjects", "3B 05 80 62 41 73 42",
     std::string("TS             3B  direct convention\n"
                 "T0             05\n"
                 "protocols      T=0\n") +
         usual_speed +
         "guard time     12 bits\n"
         "T=0 waits      WI 10\n"
         "historical     80 62 41 73 42  |.bAsB|\n"
         "pre-issuing    41 73\n"
         "no object      42\n"},
    {"SpeedOfItsOwn", "3B 80 10 10",
     "TS             3B  direct convention\n"
     "T0             80\n"
     "TD1            10\n"
     "TA2            10\n"
     "protocols      T=0; begins with T=0, which can be changed\n"
     "speed          another one than TA1 says\n"
     "guard time     12 bits\n"
     "T=0 waits      WI 10\n"
     "historical     none\n"},
    {"SupplyBesideOneProtocol", "3B 80 80 1F 43 5C",
     std::string("TS             3B  direct convention\n"
                 "T0             80\n"
                 "TD1            80\n"
                 "TD2            1F\n"
                 "TA3            43\n"
                 "TCK            5C  right\n"
                 "protocols      T=0\n") +
         usual_speed +
         "guard time     12 bits\n"
         "T=0 waits      WI 10\n"
         "supply         5 V, 3 V\n"
         "clock stop     at the low level\n"
         "historical     none\n"},
    {"ReservedValues", "3B 90 71 81 31 FF 20 8E",
     "TS             3B  direct convention\n"
     "T0             90\n"
     "TA1            71\n"
     "TD1            81\n"
     "TD2            31\n"
     "TA3            FF\n"
     "TB3            20\n"
     "TCK            8E  right\n"
     "protocols      T=1\n"
     "speed          reserved values\n"
     "guard time     12 bits\n"
     "T=1 blocks     reserved value\n"
     "T=1 waits      BWI 2, CWI 0\n"
     "T=1 check      LRC\n"
     "historical     none\n"},
    {"ReservedDivisor", "3B 10 1A",
     "TS             3B  direct convention\n"
     "T0             10\n"
     "TA1            1A\n"
     "protocols      T=0\n"
     "speed          reserved values\n"
     "guard time     12 bits\n"
     "T=0 waits      WI 10\n"
     "historical     none\n"},
    {"SupplyOfNoClass", "3B 80 80 1F 00 1F",
     std::string("TS             3B  direct convention\n"
                 "T0             80\n"
                 "TD1            80\n"
                 "TD2            1F\n"
                 "TA3            00\n"
                 "TCK            1F  right\n"
                 "protocols      T=0\n") +
         usual_speed +
         "guard time     12 bits\n"
         "T=0 waits      WI 10\n"
         "supply         reserved value\n"
         "clock stop     not possible\n"
         "historical     none\n"},
    {"NoRoomForAStatus", "3B 03 00 90 00",
     std::string("TS             3B  direct convention\n"
                 "T0             03\n"
                 "protocols      T=0\n") +
         usual_speed +
         "guard time     12 bits\n"
         "T=0 waits      WI 10\n"
         "historical     00 90 00  |...|\n"},
    {"NoFirstByte", "00 00", "", "TS is 00, neither 3B nor 3F"},
    {"OneByte", "3B", "", "it ends before T0"},
    {"NoTA1", "3B 10", "", "it ends before TA1"},
    {"NoTD2", "3B 80 80", "", "it ends before TD2"},
    {"NoHistoricalByte", "3B 02 41", "", "it ends before historical byte 2"},
    {"NoTCK", "3B 80 01", "", "it ends before TCK"},
    {"WrongTCK", "3B 80 01 80", "", "TCK is 80, and 81 would be right"},
    {"BytesBehindIt", "3B 00 00 FF", "", "2 bytes behind its end"},
    {"ByteBehindIt", "3B 80 01 81 00", "", "1 byte behind its end"},
};

class Resets : public CommandLine, public ::testing::WithParamInterface<Reset> {};

TEST_P(Resets, AreTakenApart) {
  const Reset& one = GetParam();
  const std::string image = new_card("cpu", {"--atr", one.answer});
  const std::string error =
      one.error.empty() ? "" : "quorra: decoding the answer to reset: " + one.error + "\n";
  const int status = one.error.empty() ? 0 : 1;
  const std::string output = one.answer + '\n' + one.meaning;
  expect_outcome(run_quorra({"atr", "--virtual", image}), status, output, error);
  expect_outcome(run_quorra({"atr", "--virtual-sam", "0=" + image, "--sam", "0"}), status, output,
                 error);
}

INSTANTIATE_TEST_SUITE_P(Answers, Resets, ::testing::ValuesIn(resets),
                         [](const auto& test) { return test.param.name; });

// ---- Cards that answer whatever the test wants

const Bytes reset_card = sealed("AA 20 80 05 20 00 00 00 00");

// A block of T=1.
Bytes block(unsigned char control, const Bytes& information) {
  return sealed(Bytes{0, control, static_cast<unsigned char>(information.size())} + information);
}

// The frame that brings an APDU to the card.
Bytes frame(unsigned char control, const Bytes& apdu) {
  return sealed(
      Bytes{0xAA, 0x21, 0x80, static_cast<unsigned char>(apdu.size() + 9), 0x20, 0, 0, 0, 0} +
      block(control, apdu));
}

class ScriptedProcessor : public ScriptedCommandLine {
 protected:
  // Starts a conversation without a reset. Its beginning is still to be served.
  Process start_with(const Arguments& apdus) {
    return start(Arguments{"apdu", "--no-reset"} + apdus);
  }
  // The opening of the session; then the card's blocks begin anew, and sizes are settled.
  void serve_beginning() const {
    reader.serve_opening();
    reader.serve(frame(0xC0, {}), reply(0, block(0xE0, {})));
    serve_size();
  }
  void serve_size() const {
    reader.serve(frame(0xC1, hex("FB")), reply(0, block(0xE1, hex("FB"))));
  }
  void serve_reset(const std::string& answer) const {
    for (int times = 0; times < 2; ++times) {
      reader.serve(reset_card, reply(0, hex(answer)));
    }
  }
  void serve_apdu(unsigned char control, const std::string& apdu, const std::string& answer) const {
    reader.serve(frame(control, hex(apdu)), reply(0, block(control, hex(answer))));
  }
  // What is asked of a reader that refused a command: whether it is a virtual one, and whether a
  // card is there.
  void serve_refusal() const {
    reader.serve_identity();
    reader.serve(sealed("AA B9 00 05 80 00 00 00 00"), reply(0, hex("03")));
  }
};

TEST_F(ScriptedProcessor, BlocksAreNumberedAlternately) {
  Process program = start({"apdu", "00B0000004", "00B0000104"});
  reader.serve_opening();
  serve_reset("3B 80 01 81");
  reader.serve(hex("AA 21 80 0A 20 00 00 00 00 00 C1 01 FB 3B 21"),
               reply(0, hex("00 E1 01 FB 1B")));
  reader.serve(hex("AA 21 80 0E 20 00 00 00 00 00 00 05 00 B0 00 00 04 B1 25"),
               reply(0, hex("00 00 04 41 42 61 02 64")));
  reader.serve(hex("AA 21 80 0E 20 00 00 00 00 00 40 05 00 C0 00 00 02 87 25"),
               reply(0, hex("00 40 04 43 44 90 00 D3")));
  reader.serve(hex("AA 21 80 0E 20 00 00 00 00 00 00 05 00 B0 00 01 04 B0 25"),
               reply(0, hex("00 00 02 90 00 92")));
  expect_success(program.wait(),
                 "> 00 B0 00 00 04\n41 42 43 44\n9000: done\n> 00 B0 00 01 04\n9000: done\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, RepeatsACommandWithTheRightLength) {
  struct Case {
    std::string apdu;
    std::string repeated;  // empty: it is not
  };
  const std::string data(2 * 21, '1');
  const Case cases[] = {
      {"00 B0 00 00", "00 B0 00 00 05"},
      {"00 B0 00 00 10", "00 B0 00 00 05"},
      {"00 88 00 00 02 11 22", "00 88 00 00 02 11 22 05"},
      {"00 88 00 00 02 11 22 00", "00 88 00 00 02 11 22 05"},
      {"00 88 00 00 15" + data, "00 88 00 00 15" + data + "05"},
      {"00 88 00 00 03 11 22", ""},
      {"00 B0 00 00 00 00 10", ""},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.apdu);
    Process program = start_with({one.apdu});
    serve_beginning();
    serve_apdu(0x00, one.apdu, "6C 05");
    // A second 6Cxx is the answer.
    if (!one.repeated.empty()) serve_apdu(0x40, one.repeated, "6C 06");
    const std::string words = one.repeated.empty() ? "6C05: 5 bytes would be the right length"
                                                   : "6C06: 6 bytes would be the right length";
    const Outcome outcome = program.wait();
    EXPECT_EQ(outcome.errors, "quorra: the card answers " + words + "\n");
    EXPECT_EQ(outcome.status, 1);
    reader.expect_closed();
  }
}

TEST_F(ScriptedProcessor, StatusWordsHaveWords) {
  const std::pair<const char*, const char*> cases[] = {
      {"6282", "6282: warning: the file or record ended before all bytes were read"},
      {"62F1", "62F1: warning: nothing was changed"},
      {"63C1", "63C1: 1 attempt left"},
      {"63CF", "63CF: 15 attempts left"},
      {"63D0", "63D0: warning: memory was changed"},
      {"6700", "6700: wrong length"},
      {"6701", "6701: the card's own status words"},
      {"69F0", "69F0: command not allowed"},
      {"6A86", "6A86: wrong parameters P1 P2"},
      {"6C00", "6C00: 256 bytes would be the right length"},
      {"6D00", "6D00: instruction not supported"},
      {"6F00", "6F00: failed; the card does not say why"},
      {"9001", "9001: the card's own status words"},
  };
  for (const auto& [words, meaning] : cases) {
    // 6Cxx is not followed here, because the command has a wrong length already.
    Process program = start_with({"00B0000005 00"});
    serve_beginning();
    serve_apdu(0x00, "00 B0 00 00 05 00", words);
    expect_outcome(program.wait(), 1, std::string("> 00 B0 00 00 05 00\n") + meaning + "\n",
                   std::string("quorra: the card answers ") + meaning + "\n");
  }
}

// Receipts: of the last information block, and of trouble with a block of the card.
const Bytes wants_first = frame(0x82, {});
const Bytes wants_second = frame(0x92, {});

// The card is asked for its block twice more.
TEST_F(ScriptedProcessor, RefusesWhatIsNoAnswer) {
  const std::pair<Bytes, const char*> cases[] = {
      {block(0x91, {}), "the card found the check byte of the block wrong (PCB 91)"},
      {block(0x92, {}), "the card found the block wrong (PCB 92)"},
      {block(0x90, {}), "the card wants a block again (PCB 90)"},
      {block(0x40, hex("90 00")), "the card's block is not the one that is due (PCB 40)"},
      {block(0x01, hex("90 00")), "the card sends no block of T=1 (PCB 01)"},
      {block(0x83, {}), "the card sends no block of T=1 (PCB 83)"},
      {block(0xC0, {}), "the card sends no block of T=1 (PCB C0)"},
      {block(0xE1, hex("20")), "the card sends no block of T=1 (PCB E1)"},
      {hex("00 00 02 90 00 93"), "the check byte of the card's block is wrong"},
      {hex("00 00 03 90 00"), "the block says that it has 7 bytes, more than came"},
      {hex("00 00 FF 90 00"), "the block says that it has 259 bytes, more than came"},
      {hex("90 00 00"), "the card sends no block of T=1"},
      {{}, "the card sends no block of T=1"},
  };
  for (const auto& [answer, words] : cases) {
    Process program = start_with({"00B0000004"});
    serve_beginning();
    reader.serve(frame(0, hex("00B0000004")), reply(0, answer));
    for (int times = 0; times < 2; ++times) {
      reader.serve(wants_first, reply(0, answer));
    }
    expect_outcome(program.wait(), 1, "> 00 B0 00 00 04\n",
                   std::string("quorra: sending the APDU: ") + words + "\n");
    reader.expect_closed();
  }
}

TEST_F(ScriptedProcessor, AnswersEndWithStatusWords) {
  for (const char* answer : {"", "90", "90 00 41 42"}) {
    Process program = start_with({"00B0000004"});
    serve_beginning();
    serve_apdu(0x00, "00B0000004", answer);
    expect_outcome(program.wait(), 1, "> 00 B0 00 00 04\n",
                   "quorra: sending the APDU: the answer ends without status words\n");
    reader.expect_closed();
  }
}

// ---- Blocks that are lost

constexpr char read_four[] = "00B0000004";
constexpr char read_four_done[] = "> 00 B0 00 00 04\n41\n9000: done\n";

TEST_F(ScriptedProcessor, SendsABlockAgainOnlyWhenTheCardWantsIt) {
  Process program = start_with({read_four});
  serve_beginning();
  // The card has not understood it; then the reader's reply is spoilt; then all is well.
  reader.serve(frame(0x00, hex(read_four)), reply(0, block(0x81, {})));
  reader.serve(frame(0x00, hex(read_four)), hex("55 00 00 00 56"));
  reader.serve(wants_first, reply(0, block(0x00, hex("41 90 00"))));
  expect_success(program.wait(), read_four_done);
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, TellsTheFirstTroubleWhenNothingHelps) {
  Process program = start_with({read_four});
  serve_beginning();
  reader.serve(frame(0x00, hex(read_four)), reply(0x21, {}));
  reader.serve(wants_first, reply(0, block(0x92, {})));
  reader.serve(wants_first, reply(0, block(0x92, {})));
  serve_refusal();
  expect_outcome(program.wait(), 1, "> 00 B0 00 00 04\n",
                 "quorra: sending the APDU: the reader refused the command with status 33 (0x21) "
                 "(-33)\n");
  reader.expect_closed();
}

// ---- Requests of the card

TEST_F(ScriptedProcessor, GivesTheCardTimeAndTakesItsSizes) {
  Process program = start_with({"00 D6 00 00 03 11 22 33"});
  serve_beginning();
  // From now on four bytes are the most. What was sent stays as it was.
  reader.serve(frame(0x00, hex("00 D6 00 00 03 11 22 33")), reply(0, block(0xC1, hex("04"))));
  reader.serve(frame(0xE1, hex("04")), reply(0, block(0xC3, hex("05"))));
  reader.serve(frame(0xE3, hex("05")), reply(0, block(0xC3, hex("01"))));
  reader.serve(frame(0xE3, hex("01")), reply(0, block(0x00, hex("61 02"))));
  reader.serve(frame(0x60, hex("00 C0 00 00")), reply(0, block(0x80, {})));
  reader.serve(frame(0x00, hex("02")), reply(0, block(0x40, hex("41 42 90 00"))));
  expect_success(program.wait(), "> 00 D6 00 00 03 11 22 33\n41 42\n9000: done\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, TakesNoSizeThatIsNone) {
  Process program = start_with({"00 D6 00 00 03 11 22 33"});
  serve_beginning();
  const Bytes sizes[] = {hex("00"), hex("FF"), hex("04 04"), {}};
  Bytes last = frame(0x00, hex("00 D6 00 00 03 11 22 33"));
  for (const Bytes& size : sizes) {
    reader.serve(last, reply(0, block(0xC1, size)));
    last = frame(0xE1, size);
  }
  reader.serve(last, reply(0, block(0x00, hex("61 02"))));
  serve_apdu(0x40, "00C0000002", "41 42 90 00");
  EXPECT_EQ(program.wait().status, 0);
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, EndsWhenTheCardBreaksOff) {
  Process program = start_with({read_four});
  serve_beginning();
  reader.serve(frame(0x00, hex(read_four)), reply(0, block(0xC2, {})));
  expect_outcome(program.wait(), 1, "> 00 B0 00 00 04\n",
                 "quorra: sending the APDU: the card breaks off (PCB C2)\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, EndsWhenTheCardWantsTimeForEver) {
  Process program = start_with({read_four});
  serve_beginning();
  const Bytes wants_time = reply(0, block(0xC3, hex("01")));
  reader.serve(frame(0x00, hex(read_four)), wants_time);
  for (int times = 0; times < 1000; ++times) {
    reader.serve(frame(0xE3, hex("01")), wants_time);
  }
  expect_outcome(program.wait(), 1, "> 00 B0 00 00 04\n",
                 "quorra: sending the APDU: the card asks for something without end (PCB C3)\n");
  reader.expect_closed();
}

// ---- Sizes and chains

constexpr char long_command[] = "00 D6 00 00 03 11 22 33";

TEST_F(ScriptedProcessor, ChainsWhatTheCardCannotTakeInOneBlock) {
  Process program = start({"apdu", long_command});
  reader.serve_opening();
  // T=1, and blocks of three bytes.
  serve_reset("3B 80 81 11 03 13");
  serve_size();
  reader.serve(frame(0x20, hex("00 D6 00")), reply(0, block(0x90, {})));
  // The card wants this one again, and then its receipt is lost.
  reader.serve(frame(0x60, hex("00 03 11")), reply(0, block(0x91, {})));
  reader.serve(frame(0x60, hex("00 03 11")), reply(0x22, {}));
  reader.serve(wants_first, reply(0, block(0x80, {})));
  reader.serve(frame(0x00, hex("22 33")), reply(0, block(0x00, hex("90 00"))));
  expect_success(program.wait(), "> 00 D6 00 00 03 11 22 33\n9000: done\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, TakesNoAnswerInTheMiddleOfACommand) {
  Process program = start({"apdu", long_command});
  reader.serve_opening();
  serve_reset("3B 80 81 11 03 13");
  serve_size();
  reader.serve(frame(0x20, hex("00 D6 00")), reply(0, block(0x00, hex("90 00"))));
  for (int times = 0; times < 2; ++times) {
    reader.serve(wants_first, reply(0, block(0x00, hex("90 00"))));
  }
  expect_outcome(
      program.wait(), 1, "> 00 D6 00 00 03 11 22 33\n",
      "quorra: sending the APDU: the card's block is not the one that is due (PCB 00)\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, FollowsAnAnswerInSeveralBlocks) {
  Process program = start_with({read_four, read_four});
  serve_beginning();
  reader.serve(frame(0x00, hex(read_four)), reply(0, block(0x20, hex("41"))));
  // A block is lost, and another one comes twice.
  reader.serve(frame(0x90, {}), reply(0x22, {}));
  reader.serve(wants_second, reply(0, block(0x60, hex("42"))));
  reader.serve(frame(0x80, {}), reply(0, block(0x60, hex("42"))));
  reader.serve(wants_first, reply(0, block(0x00, hex("90 00"))));
  serve_apdu(0x40, read_four, "");
  Outcome outcome = program.wait();
  // The card's next block would have had the number 1, and the test's has it.
  EXPECT_EQ(outcome.output, "> 00 B0 00 00 04\n41 42\n9000: done\n> 00 B0 00 00 04\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, BlocksHoldNoMoreThanAFrameCarries) {
  // 246 bytes are the most that a frame carries, and the card would take 254.
  Process program = start({"apdu", std::string(2 * 247, '1')});
  reader.serve_opening();
  serve_reset("3B 80 81 11 FE EE");
  serve_size();
  const Bytes first = frame(0x20, Bytes(246, 0x11));
  ASSERT_EQ(first[3], 0xFF);
  reader.serve(first, reply(0, block(0x90, {})));
  reader.serve(frame(0x40, hex("11")), reply(0, block(0x00, hex("90 00"))));
  EXPECT_EQ(program.wait().status, 0);
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, GoesOnWithACardThatSettlesNoSize) {
  Process program = start_with({read_four});
  reader.serve_opening();
  reader.serve(frame(0xC0, {}), reply(0, block(0xE0, {})));
  for (int times = 0; times < 3; ++times) {
    reader.serve(frame(0xC1, hex("FB")), reply(0, block(0x82, {})));
  }
  serve_apdu(0x00, read_four, "41 90 00");
  expect_success(program.wait(), read_four_done);
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, EndsWhenTheReaderFailsBeforeTheFirstApdu) {
  const std::pair<Bytes, Bytes> cases[] = {
      {frame(0xC0, {}), reply(0, block(0x82, {}))},
      {frame(0xC0, {}), reply(0x22, {})},
  };
  constexpr std::size_t refused = 1;
  const char* const words[] = {
      "quorra: sending the APDU: the card does not begin its blocks anew (PCB 82)\n",
      "quorra: sending the APDU: the reader refused the command with status 34 (0x22) (-34)\n"};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    Process program = start_with({read_four});
    reader.serve_opening();
    for (int times = 0; times < 3; ++times) {
      reader.serve(cases[i].first, cases[i].second);
    }
    if (i == refused) serve_refusal();
    expect_outcome(program.wait(), 1, "", words[i]);
    reader.expect_closed();
  }
  Process program = start_with({read_four});
  reader.serve_opening();
  reader.serve(frame(0xC0, {}), reply(0, block(0xE0, {})));
  for (int times = 0; times < 3; ++times) {
    reader.serve(frame(0xC1, hex("FB")), reply(0x22, {}));
  }
  serve_refusal();
  expect_outcome(program.wait(), 1, "", words[refused]);
  reader.expect_closed();
}

// ---- Cards without blocks

// The frame that brings bytes to the card as they are.
Bytes plain_frame(const Bytes& bytes) {
  return sealed(
      Bytes{0xAA, 0x21, 0x80, static_cast<unsigned char>(bytes.size() + 5), 0x20, 0, 0, 0, 0} +
      bytes);
}

TEST_F(ScriptedProcessor, SpeaksWithoutBlocksToACardOfT0) {
  Process program = start({"apdu", read_four});
  reader.serve_opening();
  serve_reset("3B 00");
  reader.serve(plain_frame(hex(read_four)), reply(0, hex("61 01")));
  reader.serve(plain_frame(hex("00C0000001")), reply(0, hex("41 90 00")));
  expect_success(program.wait(), read_four_done);
  reader.expect_closed();
}

// TA2 counts more than the protocol that is offered first.
TEST_F(ScriptedProcessor, SpeaksTheProtocolThatTheCardInsistsOn) {
  Process program = start({"apdu", read_four});
  reader.serve_opening();
  serve_reset("3B 80 10 01");
  serve_size();
  serve_apdu(0x00, read_four, "41 90 00");
  expect_success(program.wait(), read_four_done);
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, AsksACardThatWasNotResetForItsProtocol) {
  Process program = start_with({read_four});
  reader.serve_opening();
  reader.serve(frame(0xC0, {}), reply(0, hex("6A 86")));
  reader.serve(plain_frame(hex(read_four)), reply(0, hex("41 90 00")));
  expect_success(program.wait(), read_four_done);
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, AsksACardWhoseAnswerToResetIsNoneForItsProtocol) {
  Process program = start({"apdu", read_four});
  reader.serve_opening();
  serve_reset("3B 80");
  reader.serve(frame(0xC0, {}), reply(0, block(0xE0, {})));
  serve_size();
  serve_apdu(0x00, read_four, "41 90 00");
  expect_success(program.wait(), read_four_done);
  reader.expect_closed();
}

// Without blocks nothing tells whether the card had the command.
TEST_F(ScriptedProcessor, RepeatsNothingWithoutBlocks) {
  Process program = start({"apdu", read_four});
  reader.serve_opening();
  serve_reset("3B 00");
  reader.serve(plain_frame(hex(read_four)), reply(0x22, {}));
  serve_refusal();
  expect_outcome(program.wait(), 1, "> 00 B0 00 00 04\n",
                 "quorra: sending the APDU: the reader refused the command with status 34 (0x22) "
                 "(-34)\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, LongestApduWithoutBlocksFitsAFrame) {
  // With an expected length it would have 251 bytes.
  const std::string longest = "00880000F5" + std::string(2 * 245, '1');
  const Bytes apdu = hex(longest);
  Process program = start({"apdu", longest});
  reader.serve_opening();
  serve_reset("3B 00");
  reader.serve(plain_frame(apdu), reply(0, hex("6C 05")));
  EXPECT_EQ(program.wait().errors,
            "quorra: the card answers 6C05: 5 bytes would be the right length\n");
  reader.expect_closed();

  Process refused = start({"apdu", read_four, std::string(2 * 251, '1')});
  reader.serve_opening();
  serve_reset("3B 00");
  expect_outcome(refused.wait(), 2, "",
                 "quorra: an APDU has 251 bytes; a frame to the reader carries 250 at most, and "
                 "the card does not speak T=1\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, LongestBlockIsAnAnswer) {
  Process program = start_with({"00B00000F9"});
  serve_beginning();
  reader.serve(frame(0, hex("00B00000F9")), reply(0, block(0, Bytes(249, 0x41) + hex("90 00"))));
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_NE(outcome.output.find("\n00F0  41 41 41 41 41 41 41 41  41                       |AAAAA"
                                "AAAA       |\n9000: done\n"),
            std::string::npos);
  reader.expect_closed();
}

// The card announces 128 more bytes with each of 512 answers; the last one ends with `last`.
TEST_F(ScriptedProcessor, EndlessAnswersEnd) {
  const Bytes apdu = hex("00B00000");
  const Bytes fetch = hex("00C0000080");
  const auto converse = [&](const Bytes& last) {
    Process program = start_with({"00B00000"});
    serve_beginning();
    reader.serve(frame(0, apdu), reply(0, block(0, hex("61 80"))));
    unsigned char control = 0x40;
    for (int piece = 1; piece <= 512; ++piece) {
      const Bytes words = piece < 512 ? hex("61 80") : last;
      reader.serve(frame(control, fetch), reply(0, block(control, Bytes(128, 0x41) + words)));
      control ^= 0x40;
    }
    if (last.front() == 0x61) {
      reader.serve(frame(control, hex("00C0000001")), reply(0, block(control, hex("41 90 00"))));
    }
    Outcome outcome = program.wait();
    reader.expect_closed();
    return outcome;
  };
  const Outcome complete = converse(hex("90 00"));
  EXPECT_EQ(complete.status, 0);
  EXPECT_NE(complete.output.find("\nFFF0  41 41"), std::string::npos);
  expect_outcome(converse(hex("61 01")), 1, "> 00 B0 00 00\n",
                 "quorra: sending the APDU: the answer does not end after 65536 bytes\n");
}

// Of 65538 bytes and more there are no answers: the status words of the longest one stand in the
// bytes before.
TEST_F(ScriptedProcessor, EndlessChainsOfBlocksEnd) {
  Process program = start_with({"00B00000"});
  serve_beginning();
  Bytes request = frame(0, hex("00B00000"));
  constexpr int blocks = 65538 / 251 + 1;
  for (int number = 0; number < blocks; ++number) {
    const bool is_odd = number % 2 != 0;
    reader.serve(request, reply(0, block(is_odd ? 0x60 : 0x20, Bytes(251, 0x41))));
    request = frame(is_odd ? 0x80 : 0x90, {});
  }
  expect_outcome(program.wait(), 1, "> 00 B0 00 00\n",
                 "quorra: sending the APDU: the answer does not end after 65536 bytes\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, AnnouncementsMustBeKept) {
  Process program = start_with({"00B00000"});
  serve_beginning();
  serve_apdu(0x00, "00B00000", "61 05");
  serve_apdu(0x40, "00C0000005", "61 05");
  expect_outcome(
      program.wait(), 1, "> 00 B0 00 00\n",
      "quorra: sending the APDU: the card announces more of its answer, and sends none\n");
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, SignalsEndAConversationBetweenTwoCalls) {
  Process program = start_with({"00B0000004", "00B0000104"});
  serve_beginning();
  reader.expect(frame(0, hex("00B0000004")));
  program.signal(SIGINT);
  reader.answer(reply(0, block(0, hex("90 00"))));
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.output, "> 00 B0 00 00 04\n9000: done\n> 00 B0 00 01 04\n");
  EXPECT_EQ(outcome.errors, "quorra: sending the APDU: interrupted\n");
  EXPECT_EQ(outcome.signal, SIGINT);
  reader.expect_closed();
}

// The length of an answer to reset has 16 bits. What the reader announces and does not send is 0.
TEST_F(ScriptedProcessor, AnswersToResetMayBeTooLong) {
  Process program = start({"atr"});
  reader.serve_opening();
  for (int times = 0; times < 2; ++times) {
    reader.serve(reset_card, sealed("55 00 01 02 3B 00"));
  }
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.errors,
            "quorra: decoding the answer to reset: it has 258 bytes, and 33 are the most\n");
  EXPECT_EQ(outcome.status, 1);
  reader.expect_closed();
}

TEST_F(ScriptedProcessor, AnswersToResetMayBeOfAnyLength) {
  const auto expect_length = [this](const Bytes& answer, const std::string& error) {
    Process program = start({"atr"});
    reader.serve_opening();
    for (int times = 0; times < 2; ++times) {
      reader.serve(reset_card, reply(0, answer));
    }
    const Outcome outcome = program.wait();
    EXPECT_EQ(outcome.errors,
              error.empty() ? "" : "quorra: decoding the answer to reset: " + error + "\n");
    reader.expect_closed();
  };
  expect_length({}, "it is empty");
  const Bytes longest =
      Bytes{0x3B} + sealed(hex("FF 11 00 00 F1 01 00 0A F1 20 4D 00 71 20 4D 00") + Bytes(15, 'A'));
  ASSERT_EQ(longest.size(), 33U);
  expect_length(longest, "");
  expect_length(longest + Bytes{0}, "it has 34 bytes, and 33 are the most");
}

}  // namespace
}  // namespace quorra::testing
