// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What frames say in words, and that no code is shown.

#include "toolkit/wire/decoding.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/bytes.hpp"
#include "toolkit/wire/telling.hpp"

namespace quorra::toolkit::wire {
namespace {

using namespace std::chrono_literals;
using quorra::testing::hex;
using quorra::testing::reply;
using quorra::testing::sealed;
using quorra::testing::to_hex;

Frame whole(Direction direction, const Bytes& bytes, Time time = 0s) {
  return {.direction = direction, .wholeness = Wholeness::whole, .time = time, .bytes = bytes};
}

// A conversation: what is told of its last frame.
struct Told {
  Decoder decoder;

  Decoded ask(const Bytes& bytes, Time time = 0s) {
    return decoder.take(whole(Direction::request, bytes, time));
  }
  Decoded answer(const Bytes& bytes, Time time = 0s) {
    return decoder.take(whole(Direction::reply, bytes, time));
  }
};

std::string hidden(const Decoded& decoded) {
  return hex_of(decoded, 0, decoded.frame.bytes.size(), Codes::hidden);
}

std::string first_line(const Decoded& decoded) {
  const std::string text = in_words(decoded, Codes::hidden);
  return text.substr(0, text.find('\n'));
}

TEST(WireWords, OfARead) {
  Told told;
  EXPECT_EQ(in_words(told.ask(sealed("AA 61 00 07 79 00 00 00 20 00 10"), 5s), Codes::hidden),
            "    0.000000 -> read, 4442 or 4432, address 0x0020, count 16; check byte 85 is "
            "right\n");
  EXPECT_EQ(in_words(told.answer(reply(0, hex("48 69 00 FF")), 5s + 1500us), Codes::hidden),
            "    0.001500 <- done, after 1.500 ms, 4 bytes; check byte 8F is right\n"
            "                48 69 00 FF                                      |Hi..|\n");
}

TEST(WireWords, OfAWrite) {
  Told told;
  EXPECT_EQ(in_words(told.ask(sealed("AA 62 00 07 66 00 00 1F FE 41 42")), Codes::hidden),
            "    0.000000 -> write pages, 24c64, address 0x1FFE, count 2; check byte 4B is right\n"
            "                41 42                                            |AB|\n");
}

TEST(WireWords, OfZonesAndPages) {
  Told told;
  EXPECT_EQ(
      first_line(told.ask(sealed("AA 61 00 07 73 0B 02 02 21 00 10"))),
      "    0.000000 -> read, 1604b, zone 2, address 0x0221, count 16; check byte 85 is right");
  EXPECT_EQ(first_line(told.ask(sealed("AA 61 00 07 6E 01 02 00 80 00 90"))),
            "    0.000000 -> read, 45d041, page 258, address 0x0080, count 144; check byte B1 is "
            "right");
}

TEST(WireWords, OfAWrongCheckByte) {
  Told told;
  EXPECT_EQ(first_line(told.ask(hex("AA B9 00 05 80 00 00 00 00 69"))),
            "    0.000000 -> ask for the status, reader; check byte 69 is wrong");
}

TEST(WireWords, OfUnknownBytes) {
  Told told;
  EXPECT_EQ(first_line(told.ask(sealed("AA 01 00 05 02 00 00 00 00"))),
            "    0.000000 -> command 0x01, card type 0x02; check byte AC is right");
  Bytes spoilt = sealed("AA 01 00 05 02 00 00 00 00");
  spoilt.back() ^= 0x01;
  EXPECT_EQ(first_line(told.ask(spoilt)),
            "    0.000000 -> command 0x01, card type 0x02; check byte AD is wrong");
}

TEST(WireWords, OfPartialAndStrayBytes) {
  Decoder decoder;
  EXPECT_EQ(in_words(decoder.take(
                         {Direction::request, Wholeness::partial, 0s, hex("AA 61 00 07 77 00 00")}),
                     Codes::hidden),
            "    0.000000 -> partial frame, 7 bytes: read, 4428\n");
  EXPECT_EQ(
      in_words(decoder.take({Direction::reply, Wholeness::stray, 0s, hex("C3")}), Codes::hidden),
      "    0.000000 <- 1 stray byte\n"
      "                C3                                               |.|\n");
}

struct Cut {
  std::string name;
  Direction direction;
  std::string bytes;
  std::string told;
};

class WireCutFrames : public ::testing::TestWithParam<Cut> {};

// However few bytes of a frame there are, they tell what they can.
TEST_P(WireCutFrames, AreToldAsFarAsTheyGo) {
  Decoder decoder;
  EXPECT_EQ(first_line(decoder.take(
                {GetParam().direction, Wholeness::partial, 0s, hex(GetParam().bytes)})),
            "    0.000000 " + GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(
    Frames, WireCutFrames,
    ::testing::Values(
        Cut{"request_start", Direction::request, "AA", "-> partial frame, 1 byte"},
        Cut{"request_command", Direction::request, "AA 61", "-> partial frame, 2 bytes: read"},
        Cut{"request_card", Direction::request, "AA 61 00 07 77",
            "-> partial frame, 5 bytes: read, 4428"},
        Cut{"request_without_count", Direction::request, "AA 61 00 07 77 00 00 00 20 00",
            "-> partial frame, 10 bytes: read, 4428, address 0x0020, 1 byte"},
        Cut{"reply_start", Direction::reply, "55", "<- partial frame, 1 byte"},
        Cut{"reply_status", Direction::reply, "55 00", "<- partial frame, 2 bytes: done"}),
    [](const auto& test) { return test.param.name; });

TEST(WireWords, OfArgumentsThatAreOneByteTooMany) {
  Told told;
  EXPECT_EQ(in_words(told.ask(sealed("AA 61 00 08 79 00 00 00 20 00 10 7F")), Codes::hidden),
            "    0.000000 -> read, 4442 or 4432, address 0x0020, count 16; check byte F5 is "
            "right\n"
            "                00 10 7F                                         |...|\n");
}

TEST(WireWords, OfAValue) {
  Told told;
  EXPECT_EQ(in_words(told.ask(sealed("AA B4 00 06 80 00 00 00 00 05")), Codes::hidden),
            "    0.000000 -> beep, reader, 1 byte; check byte 9D is right\n"
            "                05                                               |.|\n");
}

TEST(WireWords, OfAStatusDependOnTheReader) {
  Told unknown;
  EXPECT_EQ(first_line(unknown.answer(reply(0x21, {}))),
            "    0.000000 <- status 0x21: no card is in the slot; check byte 74 is right");

  const Bytes ask_version = sealed("AA B0 00 07 80 00 00 00 00 00 0A");
  Told other;
  other.ask(ask_version);
  other.answer(reply(0, quorra::testing::text("KWSPC-1.00")));
  EXPECT_EQ(other.answer(reply(0x21, {})).status_words, "refused");
  EXPECT_EQ(other.answer(reply(0, {})).status_words, "done");

  Told simulated;
  simulated.ask(ask_version);
  simulated.answer(reply(0, quorra::testing::text("KWSPC-VIRT")));
  EXPECT_EQ(simulated.answer(reply(0x21, {})).status_words, "no card is in the slot");
  EXPECT_EQ(simulated.answer(reply(0x77, {})).status_words, "refused");
}

TEST(WireWords, TimeThatTheReaderTookIsToldOnce) {
  Told told;
  told.ask(sealed("AA B9 00 05 80 00 00 00 00"), 1s);
  EXPECT_EQ(told.answer(reply(0, {}), 1s + 3ms).took, 3ms);
  EXPECT_FALSE(told.answer(reply(0, {}), 2s).took);
}

TEST(WireJson, TellsTheSame) {
  Told told;
  const auto asked = nlohmann::json::parse(
      as_json(told.ask(sealed("AA 61 00 07 73 0B 02 02 21 00 10"), 5s), Codes::hidden));
  EXPECT_EQ(asked["number"], 1);
  EXPECT_EQ(asked["time"], 0.0);
  EXPECT_EQ(asked["direction"], "request");
  EXPECT_EQ(asked["frame"], "whole");
  EXPECT_EQ(asked["command"]["number"], 0x61);
  EXPECT_EQ(asked["command"]["words"], "read");
  EXPECT_EQ(asked["card"]["words"], "1604b");
  EXPECT_EQ(asked["zone"], 2);
  EXPECT_EQ(asked["address"], 0x221);
  EXPECT_EQ(asked["count"], 16);
  EXPECT_EQ(asked["check"]["byte"], "85");
  EXPECT_EQ(asked["check"]["right"], true);
  EXPECT_EQ(asked["bytes"], "AA 61 00 07 73 0B 02 02 21 00 10 85");
  const auto answered = nlohmann::json::parse(
      as_json(told.answer(reply(0, hex("01 02")), 5s + 250ms), Codes::hidden));
  EXPECT_EQ(answered["direction"], "reply");
  EXPECT_EQ(answered["status"]["number"], 0);
  EXPECT_EQ(answered["status"]["words"], "done");
  EXPECT_EQ(answered["took"], 0.25);
  EXPECT_EQ(answered["data"], "01 02");
}

TEST(WireJson, NamesWhatIsNoWholeFrame) {
  Decoder decoder;
  const auto told = [&](Wholeness wholeness, const Bytes& bytes) {
    return nlohmann::json::parse(
        as_json(decoder.take({Direction::request, wholeness, 0s, bytes}), Codes::hidden));
  };
  const auto partial = told(Wholeness::partial, hex("AA 61 00 07"));
  EXPECT_EQ(partial["frame"], "partial");
  EXPECT_EQ(partial["bytes"], "AA 61 00 07");
  EXPECT_FALSE(partial.contains("check"));
  const auto stray = told(Wholeness::stray, hex("C3"));
  EXPECT_EQ(stray["frame"], "stray");
  EXPECT_FALSE(stray.contains("command"));
  const auto screen = told(Wholeness::screen, quorra::testing::text("Hi"));
  EXPECT_EQ(screen["frame"], "screen");
  EXPECT_EQ(screen["data"], "48 69");
}

TEST(WireJson, ShowsCodesOnlyIfTold) {
  Told told;
  const Decoded decoded = told.ask(sealed("AA 64 00 08 79 00 00 00 00 31 32 33"));
  EXPECT_EQ(nlohmann::json::parse(as_json(decoded, Codes::hidden))["data"], "** ** **");
  EXPECT_EQ(nlohmann::json::parse(as_json(decoded, Codes::shown))["data"], "31 32 33");
}

struct WithCode {
  std::string name;
  std::string request;  // without its check byte
  std::string shown;    // without it, too
};

class WireCodesInRequests : public ::testing::TestWithParam<WithCode> {};

TEST_P(WireCodesInRequests, AreHiddenWithTheCheckByte) {
  Told told;
  EXPECT_EQ(hidden(told.ask(sealed(GetParam().request))), GetParam().shown + " **");
}

TEST_P(WireCodesInRequests, AreZerosInARecordingThatChecksAsBefore) {
  Told told;
  const Bytes bytes = without_codes(told.ask(sealed(GetParam().request)));
  std::string expected = GetParam().shown;
  for (auto at = expected.find("**"); at != std::string::npos; at = expected.find("**")) {
    expected.replace(at, 2, "00");
  }
  EXPECT_EQ(bytes, sealed(expected));
}

INSTANTIATE_TEST_SUITE_P(
    Frames, WireCodesInRequests,
    ::testing::Values(WithCode{"present_4442", "AA 64 00 08 79 00 00 00 00 31 32 33",
                               "AA 64 00 08 79 00 00 00 00 ** ** **"},
                      WithCode{"change_4442", "AA 66 00 08 79 00 00 00 00 31 32 33",
                               "AA 66 00 08 79 00 00 00 00 ** ** **"},
                      WithCode{"present_4428", "AA 64 00 07 77 00 00 00 00 31 32",
                               "AA 64 00 07 77 00 00 00 00 ** **"},
                      WithCode{"change_4428", "AA 60 00 07 77 00 00 03 FE 31 32",
                               "AA 60 00 07 77 00 00 03 FE ** **"},
                      WithCode{"write_4428_up_to_the_code", "AA 60 00 08 77 00 00 03 FC 31 32 33",
                               "AA 60 00 08 77 00 00 03 FC 31 32 **"},
                      WithCode{"change_4404", "AA 60 00 07 7A 00 00 00 08 31 32",
                               "AA 60 00 07 7A 00 00 00 08 ** **"},
                      WithCode{"present_erase_code_4404", "AA 68 00 09 7A 00 00 00 00 31 32 33 34",
                               "AA 68 00 09 7A 00 00 00 00 ** ** ** **"},
                      WithCode{"change_erase_code_4404", "AA 60 00 09 7A 00 00 00 28 31 32 33 34",
                               "AA 60 00 09 7A 00 00 00 28 ** ** ** **"},
                      WithCode{"change_4406", "AA 60 00 08 7B 00 00 00 0A 31 32 33",
                               "AA 60 00 08 7B 00 00 00 0A ** ** **"},
                      WithCode{"change_101", "AA 66 00 07 71 00 00 00 0A 31 32",
                               "AA 66 00 07 71 00 00 00 0A ** **"},
                      WithCode{"change_erase_code_102",
                               "AA 66 00 0B 72 00 01 00 56 31 32 33 34 35 36",
                               "AA 66 00 0B 72 00 01 00 56 ** ** ** ** ** **"},
                      WithCode{"change_1604", "AA 66 00 07 73 00 01 04 C6 31 32",
                               "AA 66 00 07 73 00 01 04 C6 ** **"},
                      WithCode{"change_1604b", "AA 66 00 07 73 0B 01 02 1B 31 32",
                               "AA 66 00 07 73 0B 01 02 1B ** **"},
                      WithCode{"compare_of_reader", "AA B5 00 08 80 00 00 01 82 31 32 33",
                               "AA B5 00 08 80 00 00 01 82 ** ** **"},
                      WithCode{"change_of_reader", "AA B6 00 08 80 00 00 01 82 31 32 33",
                               "AA B6 00 08 80 00 00 01 82 ** ** **"},
                      WithCode{"verify", "AA 21 80 0E 20 00 00 00 00 00 20 00 01 04 31 32 33 34",
                               "AA 21 80 0E 20 00 00 00 00 00 20 00 01 04 ** ** ** **"},
                      WithCode{"verify_of_sam",
                               "AA 21 80 0E 21 00 00 00 00 00 20 00 01 04 31 32 33 34",
                               "AA 21 80 0E 21 00 00 00 00 00 20 00 01 04 ** ** ** **"},
                      WithCode{"change_reference_data",
                               "AA 21 80 12 20 00 00 00 00 00 24 00 01 08 31 32 33 34 35 36 37 38",
                               "AA 21 80 12 20 00 00 00 00 00 24 00 01 08 ** ** ** ** ** ** ** **"},
                      WithCode{"verify_that_wants_an_answer",
                               "AA 21 80 0F 20 00 00 00 00 00 20 00 01 04 31 32 33 34 00",
                               "AA 21 80 0F 20 00 00 00 00 00 20 00 01 04 ** ** ** ** 00"},
                      WithCode{"verify_with_an_extended_length",
                               "AA 21 80 10 20 00 00 00 00 00 20 00 01 00 00 04 31 32 33 34",
                               "AA 21 80 10 20 00 00 00 00 00 20 00 01 00 00 04 ** ** ** **"},
                      WithCode{"verify_too_short_for_an_extended_length",
                               "AA 21 80 0C 20 00 00 00 00 00 20 00 01 00 31 32",
                               "AA 21 80 0C 20 00 00 00 00 00 20 00 01 00 ** **"},
                      WithCode{"verify_with_a_length_that_is_wrong",
                               "AA 21 80 0E 20 00 00 00 00 00 20 00 01 02 31 32 33 34",
                               "AA 21 80 0E 20 00 00 00 00 00 20 00 01 02 ** ** ** **"}),
    [](const auto& test) { return test.param.name; });

struct WithoutCode {
  std::string name;
  std::string request;
};

class WireOpenRequests : public ::testing::TestWithParam<WithoutCode> {};

TEST_P(WireOpenRequests, AreShownAndRecordedAsTheyAre) {
  Told told;
  const Bytes bytes = sealed(GetParam().request);
  const Decoded decoded = told.ask(bytes);
  EXPECT_EQ(hidden(decoded), to_hex(bytes));
  EXPECT_EQ(without_codes(decoded), bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Frames, WireOpenRequests,
    ::testing::Values(WithoutCode{"before_the_code_of_a_4428", "AA 60 00 07 77 00 00 03 FC 31 32"},
                      WithoutCode{"a_4418_has_no_code", "AA 60 00 07 76 00 00 03 FE 31 32"},
                      WithoutCode{"behind_the_code_of_a_4404", "AA 60 00 06 7A 00 00 00 0A 31"},
                      WithoutCode{"other_memory_of_the_reader", "AA B6 00 06 80 00 00 01 81 FF"},
                      WithoutCode{"the_other_variant", "AA 66 00 07 73 00 01 02 1B 31 32"},
                      WithoutCode{"another_apdu",
                                  "AA 21 80 0E 20 00 00 00 00 00 D6 00 00 04 31 32 33 34"},
                      WithoutCode{"a_card_that_is_unknown", "AA 60 00 07 02 00 00 00 00 31 32"},
                      WithoutCode{"three_bytes_for_a_card", "AA 21 80 08 20 00 00 00 00 00 20 00"},
                      WithoutCode{"verify_without_data", "AA 21 80 09 20 00 00 00 00 00 20 00 01"}),
    [](const auto& test) { return test.param.name; });

struct Stored {
  std::string name;
  std::string request;
  std::string data;
  std::string shown;
};

class WireCodesInReplies : public ::testing::TestWithParam<Stored> {};

TEST_P(WireCodesInReplies, AreHidden) {
  Told told;
  told.ask(sealed(GetParam().request));
  const Decoded decoded = told.answer(reply(0, hex(GetParam().data)));
  EXPECT_EQ(hex_of(decoded, decoded.data_offset, decoded.data_size, Codes::hidden),
            GetParam().shown);
  EXPECT_EQ(hex_of(decoded, decoded.frame.bytes.size() - 1, 1, Codes::hidden), "**");
}

INSTANTIATE_TEST_SUITE_P(
    Frames, WireCodesInReplies,
    ::testing::Values(
        Stored{"read_code_4442", "AA 65 00 07 79 00 00 00 00 00 04", "07 31 32 33", "07 ** ** **"},
        Stored{"read_counter_4442", "AA 67 00 07 79 00 00 00 00 00 04", "07 31 32 33",
               "07 ** ** **"},
        Stored{"end_of_4428", "AA 61 00 07 77 00 00 03 FC 00 04", "01 FF 31 32", "01 FF ** **"},
        Stored{"pairs_of_4428", "AA 6E 00 07 77 00 00 03 FD 00 02", "FF 01 31 01", "FF 01 ** **"},
        Stored{"start_of_4404", "AA 61 00 07 7A 00 00 00 07 00 04", "AA 31 32 F0", "AA ** ** F0"},
        Stored{"memory_of_reader", "AA B7 00 07 80 00 00 01 81 00 05", "00 31 32 33 09",
               "00 ** ** ** 09"}),
    [](const auto& test) { return test.param.name; });

// A block of T=1 with this information.
Bytes block(unsigned char control, const std::string& information) {
  Bytes bytes{0x00, control};
  const Bytes inside = hex(information);
  bytes.push_back(static_cast<unsigned char>(inside.size()));
  bytes.insert(bytes.end(), inside.begin(), inside.end());
  return sealed(bytes);
}

Bytes to_card(const Bytes& bytes) {
  Bytes frame{0xAA, 0x21, 0x80, static_cast<unsigned char>(bytes.size() + 5), 0x20, 0, 0, 0, 0};
  frame.insert(frame.end(), bytes.begin(), bytes.end());
  return sealed(frame);
}

TEST(WireBlocks, HideTheCodeAndTheirCheckByte) {
  Told told;
  const Decoded decoded = told.ask(to_card(block(0x40, "00 20 00 01 04 31 32 33 34")));
  EXPECT_EQ(hidden(decoded),
            "AA 21 80 12 20 00 00 00 00 00 40 09 00 20 00 01 04 ** ** ** ** ** 39");
  EXPECT_EQ(decoded.instruction_words, "VERIFY");
  EXPECT_EQ(without_codes(decoded), to_card(block(0x40, "00 20 00 01 04 00 00 00 00")));
}

TEST(WireBlocks, HideWhatGoesOnInAChain) {
  Told told;
  EXPECT_EQ(hidden(told.ask(to_card(block(0x20, "00 24 00 01 08 31 32")))),
            "AA 21 80 10 20 00 00 00 00 00 20 07 00 24 00 01 08 ** ** ** 3B");
  told.answer(reply(0, block(0x90, "")));
  EXPECT_EQ(hidden(told.ask(to_card(block(0x40, "33 34 35 36 37 38")))),
            "AA 21 80 0F 20 00 00 00 00 00 40 06 ** ** ** ** ** ** ** 24");
  const Bytes next = to_card(block(0x00, "00 B0 00 00 04"));
  EXPECT_EQ(hidden(told.ask(next)), to_hex(next));
}

// The first block of a chain need not reach the code, nor the length before it.
TEST(WireBlocks, HideTheCodeThatOnlyTheNextBlockBrings) {
  Told told;
  const Bytes head = to_card(block(0x20, "00 20 00 01"));
  EXPECT_EQ(hidden(told.ask(head)), to_hex(head));
  told.answer(reply(0, block(0x90, "")));
  EXPECT_EQ(hidden(told.ask(to_card(block(0x40, "04 31 32 33 34")))),
            "AA 21 80 0E 20 00 00 00 00 00 40 05 ** ** ** ** ** ** 25");
}

TEST(WireBlocks, HideTheCodeAlsoIfTheyAreSpoilt) {
  Bytes spoilt = block(0x40, "00 20 00 01 04 31 32 33 34");
  spoilt.back() ^= 0xFF;
  Told told;
  const Decoded decoded = told.ask(to_card(spoilt));
  EXPECT_EQ(hidden(decoded),
            "AA 21 80 12 20 00 00 00 00 00 40 09 00 20 00 01 04 ** ** ** ** ** **");
  // The recording is as spoilt as the line was.
  Bytes expected = block(0x40, "00 20 00 01 04 00 00 00 00");
  expected.back() ^= 0xFF;
  EXPECT_EQ(without_codes(decoded), to_card(expected));
}

// The check byte of the frame may leave out what is for the card. Then it tells nothing of it.
TEST(WireCodes, AreLeftOutOfSomeCheckBytes) {
  Bytes frame = to_card(hex("00 20 00 01 04 31 32 33 35"));
  frame.back() = sealed("AA 21 80 0E 20 00 00 00 00").back();
  Told told;
  const Decoded decoded = told.ask(frame);
  EXPECT_TRUE(decoded.check_byte_is_right);
  EXPECT_EQ(hidden(decoded),
            "AA 21 80 0E 20 00 00 00 00 00 20 00 01 04 ** ** ** ** " + to_hex({frame.back()}));
  EXPECT_EQ(without_codes(decoded).back(), frame.back());
}

TEST(WireCodes, AreHiddenInAPartialFrame) {
  Decoder decoder;
  const Decoded begun = decoder.take(
      {Direction::request, Wholeness::partial, 0s, hex("AA 64 00 08 79 00 00 00 00 31 32")});
  EXPECT_EQ(hidden(begun), "AA 64 00 08 79 00 00 00 00 ** **");
  // What follows late could be the rest of it.
  EXPECT_EQ(hidden(decoder.take({Direction::request, Wholeness::stray, 2s, hex("33 5A")})),
            "** **");
}

// The check byte of the block is there; that of the frame is missing.
TEST(WireCodes, AreHiddenInAPartialFrameWithAWholeBlock) {
  const auto cut = [](const Bytes& bytes) {
    Bytes shorter = to_card(bytes);
    shorter.pop_back();
    return shorter;
  };
  Decoder decoder;
  const Decoded decoded = decoder.take(
      {Direction::request, Wholeness::partial, 0s, cut(block(0x40, "00 20 00 01 04 31 32 33 34"))});
  EXPECT_EQ(hidden(decoded), "AA 21 80 12 20 00 00 00 00 00 40 09 00 20 00 01 04 ** ** ** ** **");
  EXPECT_EQ(without_codes(decoded), cut(block(0x40, "00 20 00 01 04 00 00 00 00")));
}

// A 4404 has two codes, and this read asks for the first of them.
TEST(WireCodes, AreHiddenInStraysThatAnswerAReadOfOneOfTwo) {
  Told told;
  told.ask(sealed("AA 61 00 07 7A 00 00 00 00 00 10"));
  EXPECT_EQ(hidden(told.decoder.take({Direction::reply, Wholeness::stray, 0s, hex("31")})), "**");
}

TEST(WireCodes, AreHiddenInSpoiltAnswers) {
  Told told;
  told.ask(sealed("AA 65 00 07 79 00 00 00 00 00 04"));
  EXPECT_EQ(hidden(told.decoder.take({Direction::reply, Wholeness::stray, 0s, hex("AA 00 31")})),
            "** ** **");
  told.ask(sealed("AA B9 00 05 80 00 00 00 00"));
  EXPECT_EQ(hidden(told.decoder.take({Direction::reply, Wholeness::stray, 1s, hex("32 33")})),
            "** **");
  told.ask(sealed("AA B9 00 05 80 00 00 00 00"));
  EXPECT_EQ(hidden(told.decoder.take({Direction::reply, Wholeness::stray, 2s, hex("C3")})), "C3");
}

TEST(WireCodes, StayHiddenInARecordingWithWrongCheckBytes) {
  Bytes frame = sealed("AA 64 00 08 79 00 00 00 00 31 32 33");
  frame.back() ^= 0x10;
  Told told;
  Bytes expected = sealed("AA 64 00 08 79 00 00 00 00 00 00 00");
  expected.back() ^= 0x10;
  const Decoded decoded = told.ask(frame);
  EXPECT_FALSE(decoded.check_byte_is_right);
  EXPECT_EQ(without_codes(decoded), expected);
}

}  // namespace
}  // namespace quorra::toolkit::wire
