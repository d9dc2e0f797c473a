// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Bytes of a line become frames, and none is lost.

#include "toolkit/wire/frames.hpp"

#include <gtest/gtest.h>

#include "toolkit/wire/auxiliary.hpp"

namespace quorra::toolkit::wire {
namespace {

using namespace std::chrono_literals;

const Bytes status_request{0xAA, 0xB9, 0x00, 0x05, 0x80, 0x00, 0x00, 0x00, 0x00, 0x96};
const Bytes status_reply{0x55, 0x00, 0x00, 0x01, 0x00, 0x54};

Bytes joined(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

void expect_frame(const Frame& frame, Direction direction, Wholeness wholeness,
                  const Bytes& bytes) {
  EXPECT_EQ(frame.direction, direction);
  EXPECT_EQ(frame.wholeness, wholeness);
  EXPECT_EQ(frame.bytes, bytes);
}

TEST(WireFrames, RequestHasTheTimeOfItsLastByte) {
  Splitter splitter;
  for (std::size_t at = 0; at + 1 < status_request.size(); ++at) {
    EXPECT_TRUE(splitter.take(Direction::request, Bytes{status_request[at]}, 1ms * at).empty());
  }
  const auto frames = splitter.take(Direction::request, Bytes{status_request.back()}, 20ms);
  ASSERT_EQ(frames.size(), 1U);
  expect_frame(frames[0], Direction::request, Wholeness::whole, status_request);
  EXPECT_EQ(frames[0].time, 20ms);
}

TEST(WireFrames, ReplyHasTheTimeOfItsFirstByte) {
  Splitter splitter;
  EXPECT_TRUE(splitter.take(Direction::reply, Bytes{0x55}, 5ms).empty());
  const auto frames =
      splitter.take(Direction::reply, Bytes(status_reply.begin() + 1, status_reply.end()), 9ms);
  ASSERT_EQ(frames.size(), 1U);
  expect_frame(frames[0], Direction::reply, Wholeness::whole, status_reply);
  EXPECT_EQ(frames[0].time, 5ms);
}

TEST(WireFrames, SeveralMayComeAtOnce) {
  Splitter splitter;
  const auto frames =
      splitter.take(Direction::request, joined(status_request, status_request), 0ms);
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[1].bytes, status_request);
}

TEST(WireFrames, LongestFrameIsWhole) {
  Bytes longest(260, 0x00);
  longest[0] = 0x55;
  longest[3] = 255;
  Splitter splitter;
  const auto frames = splitter.take(Direction::reply, longest, 0ms);
  ASSERT_EQ(frames.size(), 1U);
  expect_frame(frames[0], Direction::reply, Wholeness::whole, longest);
}

TEST(WireFrames, NoiseBeforeAFrameIsStray) {
  Splitter splitter;
  const auto frames =
      splitter.take(Direction::reply, joined({0xC3, 0xAA, 0x00}, status_reply), 0ms);
  ASSERT_EQ(frames.size(), 2U);
  expect_frame(frames[0], Direction::reply, Wholeness::stray, {0xC3, 0xAA, 0x00});
  expect_frame(frames[1], Direction::reply, Wholeness::whole, status_reply);
}

TEST(WireFrames, BytesBehindAReplyAreStrayWhenTheNextRequestBegins) {
  Splitter splitter;
  EXPECT_EQ(splitter.take(Direction::reply, joined(status_reply, {0xC3, 0xC3}), 0ms).size(), 1U);
  const auto frames = splitter.take(Direction::request, Bytes{0xAA}, 1ms);
  ASSERT_EQ(frames.size(), 1U);
  expect_frame(frames[0], Direction::reply, Wholeness::stray, {0xC3, 0xC3});
}

TEST(WireFrames, ShortReplyIsPartialWhenTheNextRequestBegins) {
  Splitter splitter;
  EXPECT_TRUE(splitter.take(Direction::reply, Bytes{0x55, 0x00, 0x00}, 0ms).empty());
  const auto frames = splitter.take(Direction::request, Bytes{0xAA}, 1ms);
  ASSERT_EQ(frames.size(), 1U);
  expect_frame(frames[0], Direction::reply, Wholeness::partial, {0x55, 0x00, 0x00});
}

// The reader does not speak because of a request that is not complete, but it may be late.
TEST(WireFrames, RequestIsNotCutByAByteOfTheReader) {
  Splitter splitter;
  EXPECT_TRUE(splitter.take(Direction::request, std::span(status_request).first(4), 0ms).empty());
  EXPECT_TRUE(splitter.take(Direction::reply, Bytes{0xC3}, 1ms).empty());
  const auto frames = splitter.take(Direction::request, std::span(status_request).subspan(4), 2ms);
  ASSERT_EQ(frames.size(), 1U);
  expect_frame(frames[0], Direction::request, Wholeness::whole, status_request);
}

TEST(WireFrames, WhatStallsIsGivenUp) {
  Splitter splitter;
  EXPECT_FALSE(splitter.deadline());
  EXPECT_TRUE(splitter.take(Direction::request, Bytes{0xAA, 0xB9}, 100ms).empty());
  EXPECT_TRUE(splitter.give_up(1100ms).empty());
  ASSERT_TRUE(splitter.deadline());
  EXPECT_GT(*splitter.deadline(), 1100ms);
  const auto frames = splitter.give_up(*splitter.deadline());
  ASSERT_EQ(frames.size(), 1U);
  expect_frame(frames[0], Direction::request, Wholeness::partial, {0xAA, 0xB9});
  EXPECT_EQ(frames[0].time, 100ms);
  EXPECT_FALSE(splitter.deadline());
}

TEST(WireFrames, WhatComesAfterAStallBeginsAnew) {
  Splitter splitter;
  EXPECT_TRUE(splitter.take(Direction::request, Bytes{0xAA, 0xB9}, 0ms).empty());
  const auto frames = splitter.take(Direction::request, status_request, 1001ms);
  ASSERT_EQ(frames.size(), 2U);
  expect_frame(frames[0], Direction::request, Wholeness::partial, {0xAA, 0xB9});
  expect_frame(frames[1], Direction::request, Wholeness::whole, status_request);
}

TEST(WireFrames, NothingIsLostAtTheEnd) {
  Splitter splitter;
  EXPECT_TRUE(splitter.take(Direction::reply, Bytes{0x00, 0x01}, 0ms).empty());
  const auto frames = splitter.finish();
  ASSERT_EQ(frames.size(), 1U);
  expect_frame(frames[0], Direction::reply, Wholeness::stray, {0x00, 0x01});
  EXPECT_TRUE(splitter.finish().empty());
}

TEST(WireFrames, EndlessNoiseIsToldInPieces) {
  Splitter splitter;
  std::size_t told = 0;
  for (const Frame& frame : splitter.take(Direction::reply, Bytes(1000, 0xC3), 0ms)) {
    EXPECT_EQ(frame.wholeness, Wholeness::stray);
    told += frame.bytes.size();
  }
  EXPECT_EQ(told + splitter.finish().at(0).bytes.size(), 1000U);
}

Bytes bytes_of(std::string_view text) { return {text.begin(), text.end()}; }

TEST(AuxiliaryStream, TakesWhatStandsBetweenTheSequences) {
  AuxiliaryStream stream("\033[5i", "\033[4i");
  const auto output =
      stream.take(bytes_of("\033[?4i\033[4iHello\033[5i\xAA\033[4i\033[5i\xB9\033[4i."));
  EXPECT_EQ(output.port, (Bytes{0xAA, 0xB9}));
  EXPECT_EQ(output.screen, bytes_of("\033[?4i\033[4iHello."));
}

TEST(AuxiliaryStream, TakesSequencesWhereverTheyAreCut) {
  AuxiliaryStream stream("\033[5i", "\033[4i");
  Bytes port;
  Bytes screen;
  for (const unsigned char byte : bytes_of("a\033[5i\033\033[4ib\033[6")) {
    const auto output = stream.take(Bytes{byte});
    port.insert(port.end(), output.port.begin(), output.port.end());
    screen.insert(screen.end(), output.screen.begin(), output.screen.end());
  }
  EXPECT_EQ(port, Bytes{0x1B});
  EXPECT_EQ(screen, bytes_of("ab\033[6"));
}

TEST(AuxiliaryStream, GivesBackWhatCouldHaveBeenASequence) {
  AuxiliaryStream stream("\033[5i", "\033[4i");
  EXPECT_TRUE(stream.take(bytes_of("\033[5")).screen.empty());
  EXPECT_EQ(stream.finish().screen, bytes_of("\033[5"));
}

}  // namespace
}  // namespace quorra::toolkit::wire
