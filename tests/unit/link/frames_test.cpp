// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <utility>

#include "tests/support/scripted_reader.hpp"

namespace quorra::testing {
namespace {

using std::clock_t;

constexpr clock_t second = 1'000'000;

TEST(CheckByte, IsTheXorOfAllBytes) {
  const Bytes request = hex("AA B0 00 07 80 00 00 00 00 00 0A");
  EXPECT_EQ(cr_bcc(11, request.data()), 0x97);
  EXPECT_EQ(cr_bcc(1, request.data()), 0xAA);
  EXPECT_EQ(cr_bcc(2, request.data()), 0x1A);
  EXPECT_EQ(cr_bcc(0, request.data()), 0);
  EXPECT_EQ(cr_bcc(-1, request.data()), 0);
  EXPECT_EQ(cr_bcc(INT_MIN, request.data()), 0);
  EXPECT_EQ(cr_bcc(5, nullptr), 0);
}

TEST(CheckByte, IsRightWhenAllBytesXorToZero) {
  Bytes request = hex("AA B0 00 07 80 00 00 00 00 00 0A 97");
  EXPECT_EQ(ck_bcc(12, request.data()), 0);
  EXPECT_EQ(ck_bcc(11, request.data()), -138);
  for (int bit = 0; bit < 8; ++bit) {
    request[11] = static_cast<unsigned char>(0x97 ^ (1 << bit));
    EXPECT_EQ(ck_bcc(12, request.data()), -138) << bit;
  }
  EXPECT_EQ(ck_bcc(0, request.data()), 0);
  EXPECT_EQ(ck_bcc(3, nullptr), 0);
}

// A session on a scripted reader, without any traffic of its own.
class Line {
 public:
  explicit Line(Mode mode = Mode::direct) : reader(mode) {
    reader.expect_opening();
    handle = reader.init0();
    reader.play();
    System::instance().writes.clear();
    System::instance().reads = 0;
    System::instance().clock_readings = 0;
  }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() {
    System::instance().before_read = nullptr;
    System::instance().before_write = nullptr;
    reader.expect_closing();
    ic_exit(handle);
  }

  ScriptedReader reader;
  int handle = -1;
};

std::vector<Bytes> writes_made() {
  std::vector<Bytes> all;
  for (const System::Write& write : System::instance().writes)
    all.push_back(write.bytes);
  return all;
}

// Lets write number `failing` (from 0) give `result`.
void fail_write(long failing, ssize_t result) {
  System::instance().before_write = [failing, result](const Bytes&) mutable {
    return failing-- == 0 ? std::optional<ssize_t>(result) : std::nullopt;
  };
}

TEST(SendChar, WritesTheByteInDirectMode) {
  Line line;
  line.reader.expect_raw(hex("AA 00"));
  EXPECT_EQ(sendchar(line.handle, 0xAA), 1);
  EXPECT_EQ(sendchar(line.handle, 0x00), 1);
  EXPECT_EQ(writes_made(), (std::vector<Bytes>{{0xAA}, {0x00}}));
}

TEST(SendChar, ReportsAFailedWriteInDirectMode) {
  Line line;
  for (const ssize_t result : {ssize_t{0}, ssize_t{-1}}) {
    fail_write(0, result);
    EXPECT_EQ(sendchar(line.handle, 0xAA), -129);
  }
  EXPECT_EQ(sendchar(-1, 0xAA), -129);
}

TEST(SendChar, WrapsTheByteInTerminalMode) {
  Line line(Mode::terminal);
  line.reader.expect_raw(text("\033[5i") + hex("AA") + text("\033[4i"));
  EXPECT_EQ(sendchar(line.handle, 0xAA), 4) << "the result of the last write";
  EXPECT_EQ(writes_made(), (std::vector<Bytes>{text("\033[5i"), {0xAA}, text("\033[4i")}));
}

TEST(SendChar, ReturnsTheFailingWriteInTerminalMode) {
  const struct {
    long failing;
    Bytes sent;
  } rows[] = {
      {0, {}},
      {1, text("\033[5i")},
      {2, text("\033[5i") + hex("AA")},
  };
  for (const auto& row : rows) {
    for (const ssize_t result : {ssize_t{0}, ssize_t{-1}}) {
      Line line(Mode::terminal);
      if (!row.sent.empty()) line.reader.expect_raw(row.sent);
      fail_write(row.failing, result);
      EXPECT_EQ(sendchar(line.handle, 0xAA), result) << "write " << row.failing;
      EXPECT_EQ(static_cast<long>(writes_made().size()), row.failing + 1);
    }
  }
}

TEST(SendChar, SendsTheRestOfAPartialSequence) {
  Line line(Mode::terminal);
  line.reader.expect_raw(text("\033[5i") + hex("AA") + text("\033[4i"));
  int number = 0;
  System::instance().before_write = [&](const Bytes& bytes) -> std::optional<ssize_t> {
    const std::size_t taken[] = {2, 1, 1, 1, 3, 1};
    return system_write(line.handle, bytes.data(), taken[number++]);
  };
  EXPECT_EQ(sendchar(line.handle, 0xAA), 1);
  EXPECT_EQ(writes_made(),
            (std::vector<Bytes>{
                text("\033[5i"), text("5i"), text("i"), {0xAA}, text("\033[4i"), text("i")}));
}

TEST(SendChar, SendsNothingBehindHalfASequence) {
  for (const ssize_t result : {ssize_t{0}, ssize_t{-1}}) {
    Line line(Mode::terminal);
    line.reader.expect_raw(text("\033["));
    int number = 0;
    System::instance().before_write = [&](const Bytes& bytes) -> std::optional<ssize_t> {
      errno = EIO;
      return number++ == 0 ? system_write(line.handle, bytes.data(), 2) : result;
    };
    EXPECT_EQ(sendchar(line.handle, 0xAA), result);
    EXPECT_EQ(writes_made().size(), 2U);
  }
}

TEST(SendChar, NeedsBothSequencesInTerminalMode) {
  {
    Line line(Mode::terminal);
    std::memset(AUXSTARTWRITE, 0, sizeof AUXSTARTWRITE);
    EXPECT_EQ(sendchar(line.handle, 0xAA), 0);
    EXPECT_EQ(send_com(line.handle, 2, hex("AA B0").data()), -129);
  }
  {
    Line line(Mode::terminal);
    std::memset(AUXENDWRITE, 0, sizeof AUXENDWRITE);
    line.reader.expect_raw(text("\033[5i") + hex("AA"));
    EXPECT_EQ(send_com(line.handle, 2, hex("AA B0").data()), -129);
  }
}

TEST(SendChar, EndsASequenceThatNobodyTerminated) {
  Line line(Mode::terminal);
  std::memset(AUXSTARTWRITE, '<', sizeof AUXSTARTWRITE);
  std::memset(AUXENDWRITE, '>', sizeof AUXENDWRITE);
  line.reader.expect_raw(text(std::string(59, '<')) + hex("AA") + text(std::string(59, '>')));
  EXPECT_EQ(sendchar(line.handle, 0xAA), 59);
}

TEST(SendCom, WritesEachByteByItself) {
  const Bytes frame = hex("AA B0 00 07 80 00 00 00 00 00 0A 97");
  Line line;
  line.reader.expect(frame);
  EXPECT_EQ(send_com(line.handle, 12, frame.data()), 0);
  ASSERT_EQ(writes_made().size(), 12U);
  for (std::size_t i = 0; i < frame.size(); ++i)
    EXPECT_EQ(writes_made()[i], Bytes{frame[i]});
}

TEST(SendCom, WrapsEachByteInTerminalMode) {
  Line line(Mode::terminal);
  line.reader.expect_raw(text("\033[5i\xAA\033[4i\033[5i\xB9\033[4i"));
  EXPECT_EQ(send_com(line.handle, 2, hex("AA B9").data()), 0);
}

TEST(SendCom, EndsAtTheFirstByteThatFails) {
  const Bytes frame = hex("AA B9 00 05 80");
  for (std::size_t failing = 0; failing < frame.size(); ++failing) {
    Line line;
    const auto failing_at = static_cast<std::ptrdiff_t>(failing);
    if (failing > 0) line.reader.expect(Bytes(frame.begin(), frame.begin() + failing_at));
    fail_write(static_cast<long>(failing), -1);
    EXPECT_EQ(send_com(line.handle, 5, frame.data()), -129);
    EXPECT_EQ(writes_made().size(), failing + 1);
  }
}

TEST(SendCom, SendsNothingForNoBytes) {
  Line line;
  const unsigned char byte = 0xAA;
  EXPECT_EQ(send_com(line.handle, 0, &byte), 0);
  EXPECT_EQ(send_com(line.handle, INT_MIN, &byte), 0);
  EXPECT_EQ(send_com(line.handle, 1, nullptr), -143);
  EXPECT_TRUE(writes_made().empty());
}

struct Wait {
  const char* name;
  int (*receive)(int handle, unsigned char* p);
  clock_t limit;
};

void PrintTo(const Wait& wait, std::ostream* stream) { *stream << wait.name; }

constexpr Wait waits[] = {
    {"receive_data", receive_data, 1 * second},
    {"receive_data_2k", receive_data_2k, 4 * second},
    {"receive_data_8k", receive_data_8k, 9 * second},
};

class ReceiveByte : public ::testing::TestWithParam<Wait> {};

INSTANTIATE_TEST_SUITE_P(, ReceiveByte, ::testing::ValuesIn(waits),
                         [](const auto& row) { return row.param.name; });

TEST_P(ReceiveByte, TakesOneByte) {
  Line line;
  line.reader.send(hex("07 08"));
  unsigned char byte = 0;
  EXPECT_EQ(GetParam().receive(line.handle, &byte), 0);
  EXPECT_EQ(byte, 0x07);
  EXPECT_EQ(GetParam().receive(line.handle, &byte), 0);
  EXPECT_EQ(byte, 0x08);
  EXPECT_EQ(System::instance().reads, 2);
  EXPECT_EQ(System::instance().clock_readings, 2) << "the start of each wait";
}

TEST_P(ReceiveByte, WaitsToTheTick) {
  unsigned char byte = 0x5A;
  {
    Line line;
    line.reader.set_step(GetParam().limit);
    EXPECT_EQ(GetParam().receive(line.handle, &byte), -132);
    EXPECT_EQ(System::instance().reads, 1) << "the limit itself is too late";
  }
  {
    Line line;
    line.reader.set_step(GetParam().limit - 1);
    EXPECT_EQ(GetParam().receive(line.handle, &byte), -132);
    EXPECT_EQ(System::instance().reads, 2) << "one tick before the limit is not";
  }
  EXPECT_EQ(byte, 0x5A);
}

TEST_P(ReceiveByte, TakesAByteThatComesJustInTime) {
  const struct {
    clock_t delay;
    int result;
  } rows[] = {{GetParam().limit - 1, 0}, {GetParam().limit, -132}};
  for (const auto& row : rows) {
    Line line;
    line.reader.expect_raw({'?'}).answer_after(row.delay, {0x42});
    sendchar(line.handle, '?');
    // The second reading of the clock is the one at which the byte comes.
    line.reader.set_step(row.delay);
    unsigned char byte = 0x5A;
    EXPECT_EQ(GetParam().receive(line.handle, &byte), row.result) << row.delay;
    EXPECT_EQ(byte, row.result == 0 ? 0x42 : 0x5A);
  }
}

TEST_P(ReceiveByte, CountsRightWhereverTheClockStands) {
  const clock_t starts[] = {0, (clock_t{1} << 31) - second / 2, (clock_t{1} << 32) - second / 2,
                            (clock_t{1} << 31) - 1, (clock_t{1} << 32) - 1};
  for (const clock_t start : starts) {
    Line line;
    line.reader.set_clock(start, second / 4);
    unsigned char byte = 0;
    EXPECT_EQ(GetParam().receive(line.handle, &byte), -132);
    EXPECT_EQ(System::instance().reads, GetParam().limit / (second / 4)) << start;
  }
}

TEST_P(ReceiveByte, TakesErrorsForNoByteYet) {
  Line line;
  line.reader.set_step(second / 2);
  System::instance().before_read = [] { return std::optional<ssize_t>(-1); };
  unsigned char byte = 0x5A;
  EXPECT_EQ(GetParam().receive(line.handle, &byte), -132);
  EXPECT_EQ(System::instance().reads, 2 * GetParam().limit / second);

  line.reader.send({0x42});
  System::instance().before_read = [errors = 1]() mutable {
    return errors-- > 0 ? std::optional<ssize_t>(-1) : std::nullopt;
  };
  EXPECT_EQ(GetParam().receive(line.handle, &byte), 0);
  EXPECT_EQ(byte, 0x42);
}

TEST_P(ReceiveByte, EndsOnADescriptorThatIsNotOpen) {
  Line line;
  unsigned char byte = 0x5A;
  EXPECT_EQ(GetParam().receive(-1, &byte), -132);
  EXPECT_EQ(GetParam().receive(line.handle, nullptr), -143);
  EXPECT_EQ(byte, 0x5A);
}

struct Receiver {
  const char* name;
  int (*receive)(int handle, unsigned char* reply);
  clock_t limit;
};

void PrintTo(const Receiver& receiver, std::ostream* stream) { *stream << receiver.name; }

constexpr Receiver receivers[] = {
    {"receive_com", receive_com, 4 * second},
    {"receive_com0", receive_com0, 9 * second},
};

class ReceiveReply : public ::testing::TestWithParam<Receiver> {
 protected:
  // Receives into a buffer whose every other byte has to stay as it is.
  int receive(const Line& line) {
    frame_.assign(300, 0xEE);
    return GetParam().receive(line.handle, frame_.data());
  }
  Bytes received(std::size_t size) const {
    EXPECT_EQ(Bytes(frame_.begin() + static_cast<std::ptrdiff_t>(size), frame_.end()),
              Bytes(frame_.size() - size, 0xEE))
        << "bytes behind the reply";
    return {frame_.begin(), frame_.begin() + static_cast<std::ptrdiff_t>(size)};
  }

  Bytes frame_;
};

INSTANTIATE_TEST_SUITE_P(, ReceiveReply, ::testing::ValuesIn(receivers),
                         [](const auto& row) { return row.param.name; });

TEST_P(ReceiveReply, TakesEachLength) {
  for (std::size_t length = 0; length < 256; ++length) {
    Line line;
    const Bytes frame = reply(0, counting(length, 3));
    line.reader.send(frame);
    EXPECT_EQ(receive(line), 0) << length;
    EXPECT_EQ(received(length + 5), frame);
  }
}

TEST_P(ReceiveReply, TakesAnyStatusAndThirdByte) {
  for (const char* frame : {"55 05 00 00", "55 FF 77 00", "55 80 FF 02 00 FF"}) {
    Line line;
    line.reader.send(sealed(frame));
    EXPECT_EQ(receive(line), 0);
    EXPECT_EQ(received(sealed(frame).size()), sealed(frame));
  }
}

TEST_P(ReceiveReply, RefusesEveryOtherStartByteAtOnce) {
  for (int start = 0; start < 256; ++start) {
    if (start == 0x55) continue;
    Line line;
    line.reader.send({static_cast<unsigned char>(start), 0x55, 0x00, 0x00, 0x00});
    EXPECT_EQ(receive(line), -128) << start;
    EXPECT_EQ(System::instance().reads, 1);
    unsigned char next = 0;
    EXPECT_EQ(receive_data(line.handle, &next), 0) << "the rest stays in the queue";
    EXPECT_EQ(next, 0x55);
  }
}

TEST_P(ReceiveReply, RefusesAWrongCheckByte) {
  const Bytes good = reply(0, hex("01 02 03"));
  for (std::size_t at = 1; at < good.size(); ++at) {
    if (at == 3) continue;  // LEN: the frame has another size then
    for (int bit = 0; bit < 8; ++bit) {
      Line line;
      Bytes frame = good;
      frame[at] = static_cast<unsigned char>(frame[at] ^ (1 << bit));
      line.reader.send(frame);
      EXPECT_EQ(receive(line), -133) << "byte " << at << " bit " << bit;
    }
  }
}

TEST_P(ReceiveReply, TimesOutWhereverTheReplyEnds) {
  const Bytes good = reply(0, hex("01 02 03"));
  for (std::size_t size = 0; size < good.size(); ++size) {
    Line line;
    if (size > 0)
      line.reader.send(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)));
    EXPECT_EQ(receive(line), -132) << size;
    received(size);
  }
}

TEST_P(ReceiveReply, LeavesWhatFollowsInTheQueue) {
  Line line;
  line.reader.send(reply(0, hex("01 02")) + reply(0, hex("03")));
  EXPECT_EQ(receive(line), 0);
  EXPECT_EQ(received(7), reply(0, hex("01 02")));
  EXPECT_EQ(receive(line), 0);
  EXPECT_EQ(received(6), reply(0, hex("03")));
}

// Receives a reply whose byte `late` comes `delay` ticks after the one before it or, if it is the
// first, after the wait began.
int receive_late(const Receiver& receiver, std::size_t late, clock_t delay) {
  const Bytes frame = reply(0, hex("01 02"));
  Line line;
  line.reader.set_step(second / 100);
  line.reader.expect_raw({'?'});
  const auto split = frame.begin() + static_cast<std::ptrdiff_t>(late);
  line.reader.answer(Bytes(frame.begin(), split)).answer_after(delay, Bytes(split, frame.end()));
  sendchar(line.handle, '?');
  Bytes received(300);
  const int result = receiver.receive(line.handle, received.data());
  line.reader.forget();
  return result;
}

TEST_P(ReceiveReply, WaitsLongForTheFirstByte) {
  const clock_t limit = GetParam().limit;
  EXPECT_EQ(receive_late(GetParam(), 0, limit - second / 2), 0);
  EXPECT_EQ(receive_late(GetParam(), 0, limit - second / 50), 0);
  EXPECT_EQ(receive_late(GetParam(), 0, limit + second / 50), -132);
  EXPECT_EQ(receive_late(GetParam(), 0, limit + second / 2), -132);
}

TEST_P(ReceiveReply, WaitsASecondForEachFurtherByte) {
  for (std::size_t late = 1; late < 7; ++late) {
    EXPECT_EQ(receive_late(GetParam(), late, second * 9 / 10), 0) << late;
    EXPECT_EQ(receive_late(GetParam(), late, second * 12 / 10), -132) << late;
  }
}

TEST_P(ReceiveReply, WaitsForEachByteAnew) {
  const Bytes frame = reply(0, hex("01 02"));
  Line line;
  line.reader.set_step(second / 100);
  line.reader.expect_raw({'?'});
  for (const unsigned char byte : frame)
    line.reader.answer_after(second * 9 / 10, {byte});
  sendchar(line.handle, '?');
  EXPECT_EQ(receive(line), 0);
}

TEST_P(ReceiveReply, TakesNoNullPointer) {
  Line line;
  line.reader.send(reply(0, {}));
  EXPECT_EQ(GetParam().receive(line.handle, nullptr), -143);
  EXPECT_EQ(System::instance().reads, 0);
}

TEST(ReceiveCom, AcceptsAfterThreeAndAHalfSecondsButNotAfterFourAndAHalf) {
  EXPECT_EQ(receive_late(receivers[0], 0, 3'500'000), 0);
  EXPECT_EQ(receive_late(receivers[0], 0, 4'500'000), -132);
  EXPECT_EQ(receive_late(receivers[1], 0, 4'500'000), 0);
  EXPECT_EQ(receive_late(receivers[1], 0, 8'500'000), 0);
  EXPECT_EQ(receive_late(receivers[1], 0, 9'500'000), -132);
}

class Delay : public ::testing::Test {
 protected:
  ~Delay() override { System::instance().reset(); }

  // Runs ic_delay on a clock that starts at `start` and advances by `step`; returns the readings.
  static long readings(int ticks, clock_t start, clock_t step) {
    System& system = System::instance();
    system.reset();
    system.clock = [now = start - step, step]() mutable { return now += step; };
    EXPECT_EQ(ic_delay(ticks), 10);
    return system.clock_readings;
  }
};

TEST_F(Delay, WaitsForMoreThanItsTicks) {
  EXPECT_EQ(readings(1000, 0, 1000), 3) << "just the ticks are not enough";
  EXPECT_EQ(readings(1000, 0, 1001), 2) << "one more is";
  EXPECT_EQ(readings(0, 77, 1), 2);
  EXPECT_EQ(readings(1, 77, 1), 3);
  EXPECT_EQ(readings(2'000'000, 5, 100'000), 22);
}

TEST_F(Delay, CountsRightWhereverTheClockStands) {
  for (const int power : {31, 32}) {
    EXPECT_EQ(readings(1000, (clock_t{1} << power) - 500, 100), 12) << power;
  }
}

TEST_F(Delay, OfZeroLastsUntilTheClockAdvances) {
  System& system = System::instance();
  const auto stands_still = [reading = 0]() mutable { return reading++ < 3 ? 77 : 78; };
  const std::pair<int, long> expected[] = {{0, 4}, {-1, 2}, {INT_MIN, 2}};
  for (const auto& [ticks, readings] : expected) {
    system.reset();
    system.clock = stands_still;
    EXPECT_EQ(ic_delay(ticks), 10);
    EXPECT_EQ(system.clock_readings, readings) << ticks;
  }
}

TEST_F(Delay, EndsForEachArgument) {
  EXPECT_EQ(readings(INT_MAX, 1000, INT_MAX), 3);
  EXPECT_EQ(readings(INT_MAX, 1000, clock_t{INT_MAX} + 1), 2);
  EXPECT_LE(readings(-1, 1000, 1), 2);
  EXPECT_LE(readings(INT_MIN, 1000, 1), 2);
}

}  // namespace
}  // namespace quorra::testing
