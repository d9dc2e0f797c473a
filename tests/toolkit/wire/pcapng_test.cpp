// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Recordings: what is written is read, and files of other programs, cut and damaged ones.

#include "toolkit/wire/pcapng.hpp"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/bytes.hpp"

namespace quorra::toolkit::wire {
namespace {

using namespace std::chrono_literals;
using quorra::testing::hex;
using quorra::testing::operator+;

const Bytes request = hex("AA B9 00 05 80 00 00 00 00 96");
const Bytes reply = hex("55 00 00 01 00 54");

// Blocks of other programs, in both byte orders.
const Bytes little_section = hex("0A0D0D0A 1C000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF 1C000000");
const Bytes big_section = hex("0A0D0D0A 0000001C 1A2B3C4D 0001 0000 FFFFFFFFFFFFFFFF 0000001C");
const Bytes little_interface = hex("01000000 14000000 9300 0000 00000000 14000000");
const Bytes big_interface = hex("00000001 00000014 0093 0000 00000000 00000014");
const Bytes big_reply =
    hex("00000006 00000034 00000000 00000001 00000002 00000006 00000006 55000001 00540000"
        "0002 0004 00000001 00000000 00000034");

std::string error_of(const Bytes& content) { return read_recording(content).error; }

TEST(Recording, IsReadAsItWasWritten) {
  const Bytes file = recording_head("program 1", "/dev/ttyS0") +
                     recorded(Direction::request, 1700000000s + 123456789ns, request) +
                     recorded(Direction::reply, 1700000001s, reply);
  const Recording recording = read_recording(file);
  EXPECT_EQ(recording.error, "");
  ASSERT_EQ(recording.frames.size(), 2U);
  EXPECT_EQ(recording.frames[0].direction, Direction::request);
  EXPECT_EQ(recording.frames[0].time, 1700000000s + 123456789ns);
  EXPECT_EQ(recording.frames[0].bytes, request);
  EXPECT_EQ(recording.frames[1].direction, Direction::reply);
  EXPECT_EQ(recording.frames[1].bytes, reply);
}

TEST(Recording, IsWrittenAsTheFormatSays) {
  EXPECT_EQ(recorded(Direction::reply, 4294967298ns, reply),
            hex("06000000 34000000 00000000 01000000 02000000 06000000 06000000 55000001 00540000"
                "0200 0400 01000000 00000000 34000000"));
  const Bytes head = recording_head("", "");
  // Link type 147, and times in nanoseconds.
  EXPECT_NE(quorra::testing::to_hex(head).find("93 00 00 00 00 00 00 00"), std::string::npos);
  EXPECT_NE(quorra::testing::to_hex(head).find("09 00 01 00 09 00 00 00"), std::string::npos);
}

TEST(Recording, OfTheScreenIsNoFrame) {
  const Recording recording =
      read_recording(recording_head("", "") +
                     recorded(Direction::request, 0s, quorra::testing::text("Hi"), screen_comment));
  ASSERT_EQ(recording.frames.size(), 1U);
  EXPECT_EQ(recording.frames[0].wholeness, Wholeness::screen);
  EXPECT_EQ(recording.frames[0].bytes, quorra::testing::text("Hi"));
}

TEST(Recording, MayHaveEitherByteOrder) {
  const Recording recording = read_recording(big_section + big_interface + big_reply);
  EXPECT_EQ(recording.error, "");
  ASSERT_EQ(recording.frames.size(), 1U);
  EXPECT_EQ(recording.frames[0].direction, Direction::reply);
  EXPECT_EQ(recording.frames[0].bytes, reply);
  // In microseconds, if nothing else is said.
  EXPECT_EQ(recording.frames[0].time, 4294967298us);
}

TEST(Recording, MayHaveSectionsOfBothByteOrders) {
  const Bytes file = big_section + big_interface + big_reply + little_section + little_interface +
                     recorded(Direction::request, 0s, request);
  EXPECT_EQ(read_recording(file).frames.size(), 2U);
}

TEST(Recording, MayHaveOtherBlocks) {
  const Bytes names = hex("04000000 10000000 00000000 10000000");
  const Bytes statistics = hex("05000000 18000000 00000000 00000000 00000000 18000000");
  const Recording recording =
      read_recording(little_section + names + little_interface + statistics +
                     recorded(Direction::request, 0s, request) + statistics);
  EXPECT_EQ(recording.error, "");
  EXPECT_EQ(recording.frames.size(), 1U);
}

TEST(Recording, OfOtherLinesIsPassedOver) {
  const Bytes ethernet = hex("01000000 14000000 0100 0000 00000000 14000000");
  const Recording recording = read_recording(little_section + ethernet + little_interface +
                                             recorded(Direction::request, 0s, request));
  EXPECT_EQ(recording.error, "");
  EXPECT_TRUE(recording.frames.empty());
  EXPECT_EQ(error_of(little_section + ethernet),
            "no line to a reader was recorded: none has the link type 147");
}

TEST(Recording, OfOtherLinesHasSimplePacketsToBePassedOver) {
  const Bytes ethernet = hex("01000000 14000000 0100 0000 00000000 14000000");
  const Bytes simple = hex("03000000 18000000 06000000 55000001 00540000 18000000");
  const Recording recording = read_recording(little_section + ethernet + little_interface + simple);
  EXPECT_EQ(recording.error, "");
  EXPECT_TRUE(recording.frames.empty());
}

TEST(Recording, MayHavePacketsWithoutBytes) {
  const Bytes nothing = hex("03000000 10000000 00000000 10000000");
  const Bytes simple = hex("03000000 18000000 06000000 55000001 00540000 18000000");
  const Recording recording = read_recording(little_section + little_interface + nothing + simple);
  EXPECT_EQ(recording.error, "");
  ASSERT_EQ(recording.frames.size(), 1U);
  EXPECT_EQ(recording.frames[0].bytes, reply);
}

// Finer than a 64-bit number can count in a second.
TEST(Recording, WithATimeThatIsTooFineIsRefused) {
  const auto with = [](const std::string& resolution) {
    return error_of(little_section + hex("01000000 1C000000 9300 0000 00000000 0900 0100 " +
                                         resolution + "000000 1C000000"));
  };
  const std::string words = "the interface at byte 28 has a resolution of time that is not known";
  EXPECT_EQ(with("13"), "");
  EXPECT_EQ(with("14"), words);
  EXPECT_EQ(with("BF"), "");
  EXPECT_EQ(with("C0"), words);
}

// Outside this project a packet may be any part of what the line brought.
TEST(Recording, MayHaveBytesInAnyPieces) {
  const Bytes file =
      recording_head("", "") +
      recorded(Direction::request, 1ms, Bytes(request.begin(), request.begin() + 3)) +
      recorded(Direction::request, 2ms, Bytes(request.begin() + 3, request.end()) + request);
  const Recording recording = read_recording(file);
  ASSERT_EQ(recording.frames.size(), 2U);
  EXPECT_EQ(recording.frames[0].bytes, request);
  EXPECT_EQ(recording.frames[1].bytes, request);
}

TEST(Recording, WithoutDirectionsIsTakenByItsFirstByte) {
  const Bytes simple = hex("03000000 18000000 06000000 55000001 00540000 18000000");
  const Recording recording = read_recording(little_section + little_interface + simple);
  ASSERT_EQ(recording.frames.size(), 1U);
  EXPECT_EQ(recording.frames[0].direction, Direction::reply);
  EXPECT_EQ(recording.frames[0].bytes, reply);
}

TEST(Recording, TakesTheResolutionOfTime) {
  // Two to the power of -10 seconds, and 5 seconds later.
  const Bytes interface =
      hex("01000000 28000000 9300 0000 00000000 0900 0100 8A000000"
          "0E00 0800 0500000000000000 28000000");
  Bytes packet = recorded(Direction::reply, 1024ns + 512ns, reply);
  const Recording recording = read_recording(little_section + interface + packet);
  EXPECT_EQ(recording.error, "");
  ASSERT_EQ(recording.frames.size(), 1U);
  EXPECT_EQ(recording.frames[0].time, 6500ms);
}

TEST(Recording, TakesTheOffsetOfTimeInEitherByteOrder) {
  const Bytes interface =
      hex("00000001 00000020 0093 0000 00000000 000E 0008 0000000000000005 00000020");
  const Recording recording = read_recording(big_section + interface + big_reply);
  EXPECT_EQ(recording.error, "");
  ASSERT_EQ(recording.frames.size(), 1U);
  EXPECT_EQ(recording.frames[0].time, 4294967298us + 5s);
}

// The time and the direction of a packet as options of other sizes than the format has them tell
// nothing; the packet counts.
TEST(Recording, PassesOverOptionsThatAreSpoilt) {
  const struct {
    const char* what;
    const char* interface;
  } interfaces[] = {
      {"a resolution of no bytes", "01000000 18000000 9300 0000 00000000 0900 0000 18000000"},
      {"an offset of four bytes",
       "01000000 1C000000 9300 0000 00000000 0E00 0400 05000000 1C000000"},
      {"an option that is longer than its block",
       "01000000 1C000000 9300 0000 00000000 0900 0800 09000000 1C000000"},
  };
  const Bytes packet = recorded(Direction::reply, 3000ns, reply);
  for (const auto& [what, interface] : interfaces) {
    const Recording recording = read_recording(little_section + hex(interface) + packet);
    EXPECT_EQ(recording.error, "") << what;
    ASSERT_EQ(recording.frames.size(), 1U) << what;
    EXPECT_EQ(recording.frames[0].time, 3000us) << what;
  }
  const Bytes short_flags =
      hex("06000000 30000000 00000000 00000000 00000000 06000000 06000000 55000001 00540000"
          "0200 0200 02000000 30000000");
  const Recording recording = read_recording(little_section + little_interface + short_flags);
  EXPECT_EQ(recording.error, "");
  ASSERT_EQ(recording.frames.size(), 1U);
  EXPECT_EQ(recording.frames[0].direction, Direction::reply);  // by its first byte
}

TEST(Recording, ThatIsCutIsReadToItsLastWholeFrame) {
  const Bytes file = recording_head("", "") + recorded(Direction::request, 0s, request) +
                     recorded(Direction::reply, 0s, reply);
  const std::size_t second = file.size() - recorded(Direction::reply, 0s, reply).size();
  for (std::size_t size = second + 1; size < file.size(); ++size) {
    const Recording recording = read_recording(std::span(file).first(size));
    EXPECT_EQ(recording.frames.size(), 1U);
    EXPECT_EQ(recording.error, "it ends within the block at byte " + std::to_string(second));
  }
  EXPECT_EQ(read_recording(std::span(file).first(second)).error, "");
}

TEST(Recording, ThatIsNoneIsRefused) {
  EXPECT_EQ(error_of({}), "it is too short for a pcapng file");
  EXPECT_EQ(error_of(hex("0A0D0D0A 1C000000")), "it is too short for a pcapng file");
  EXPECT_EQ(error_of(Bytes(100, 'x')), "it is no pcapng file");
  EXPECT_EQ(error_of(hex("D4C3B2A1 02000400 00000000 00000000 FFFF0000 93000000")),
            "it is a pcap file, the older format; a pcapng file is wanted");
  EXPECT_EQ(error_of(hex("0A0D0D0A 1C000000 4D3C2B1B 0100 0000 FFFFFFFFFFFFFFFF 1C000000")),
            "the section at byte 0 has no byte order that is known");
  EXPECT_EQ(error_of(hex("0A0D0D0A 1C000000 4D3C2B1A 0200 0000 FFFFFFFFFFFFFFFF 1C000000")),
            "the section at byte 0 has the format 2, which is not known");
}

TEST(Recording, ThatIsDamagedIsReadUpToThere) {
  EXPECT_EQ(error_of(little_section + hex("01000000 09000000 00000000")),
            "the block at byte 28 says that it has 9 bytes");
  EXPECT_EQ(error_of(little_section + hex("01000000 0C000000 10000000")),
            "the block at byte 28 has two different lengths");
  EXPECT_EQ(error_of(little_section + hex("01000000 0C000000 0C000000")),
            "the block at byte 28 is too short");
  EXPECT_EQ(error_of(little_section + recorded(Direction::request, 0s, request)),
            "the packet at byte 28 is of interface 0, which is not there");
  EXPECT_EQ(error_of(little_section + hex("01000000 0E000000 00000000 0000")),
            "the block at byte 28 says that it has 14 bytes");
  EXPECT_EQ(error_of(hex("0A0D0D0A 10000000 4D3C2B1A 10000000")),
            "it ends within the block at byte 0");
  const Bytes line = little_section + little_interface;
  EXPECT_EQ(error_of(line + hex("06000000 1C000000 00000000 00000000 00000000 00000000 1C000000")),
            "the block at byte 48 is too short");
  EXPECT_EQ(error_of(line + hex("03000000 0C000000 0C000000")),
            "the block at byte 48 is too short");
  Bytes packet = recorded(Direction::request, 0s, request);
  packet[20] = 0xFF;
  EXPECT_EQ(error_of(little_section + little_interface + packet),
            "the packet at byte 48 says that it has 255 bytes");
}

}  // namespace
}  // namespace quorra::toolkit::wire
