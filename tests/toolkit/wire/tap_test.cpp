// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A tap whose calls of the system fail, and a line that goes or never falls silent.
#include "toolkit/wire/tap.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/bytes.hpp"
#include "tests/support/failing_call.hpp"
#include "tests/support/process.hpp"
#include "toolkit/session/descriptor.hpp"

namespace quorra::toolkit::wire {
namespace {

using quorra::testing::FailingCall;
using quorra::testing::hex;
using quorra::testing::Terminal;

const Bytes request = hex("AA B9 00 05 80 00 00 00 00 96");
const Bytes reply = hex("55 00 00 01 00 54");

std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

termios settings_of(int descriptor) {
  termios settings{};
  EXPECT_EQ(tcgetattr(descriptor, &settings), 0);
  return settings;
}

// A tap between this test as the program and this test as the reader.
class TapOfCalls : public ::testing::Test {
 protected:
  TapOfCalls() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    stopped_ = std::make_unique<Descriptor>(ends[0]);
    stopping_ = std::make_unique<Descriptor>(ends[1]);
  }

  void start() {
    tap = std::make_unique<Tap>(reader->device(), std::nullopt);
    program = std::make_unique<Descriptor>(
        open(tap->terminal().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_GE(program->number(), 0);
  }
  void stop() const { EXPECT_EQ(write(stopping_->number(), "x", 1), 1); }
  void ask() const {
    EXPECT_EQ(write(program->number(), request.data(), request.size()),
              static_cast<ssize_t>(request.size()));
  }
  void answer() const { reader->type(text_of(reply)); }

  // Answers each request, and ends with the answer. What was told is in `told`.
  bool run() {
    return tap->run(stopped_->number(), [this](const Frame& frame) {
      told.push_back(frame.bytes);
      if (frame.direction == Direction::request) answer();
      if (frame.direction == Direction::reply) stop();
    });
  }
  bool run(const Tap::Listener& listener) { return tap->run(stopped_->number(), listener); }

  // What comes through a pseudo-terminal takes its time.
  static void wait_for(int descriptor) {
    pollfd polled{.fd = descriptor, .events = POLLIN, .revents = 0};
    EXPECT_EQ(poll(&polled, 1, -1), 1);
  }
  Bytes received(std::size_t count) const {
    Bytes bytes;
    while (bytes.size() < count) {
      wait_for(program->number());
      std::array<unsigned char, 100> part{};
      const ssize_t size = read(program->number(), part.data(), part.size());
      if (size <= 0) break;
      bytes.insert(bytes.end(), part.begin(), part.begin() + size);
    }
    return bytes;
  }

  std::unique_ptr<Terminal> reader = std::make_unique<Terminal>();
  std::unique_ptr<Tap> tap;
  std::unique_ptr<Descriptor> program;
  std::vector<Bytes> told;

 private:
  std::unique_ptr<Descriptor> stopped_;
  std::unique_ptr<Descriptor> stopping_;
};

TEST_F(TapOfCalls, PassesAndTells) {
  start();
  ask();
  ASSERT_TRUE(run());
  ASSERT_EQ(told, (std::vector<Bytes>{request, reply}));
  EXPECT_EQ(reader->read(request.size()), text_of(request));
  EXPECT_EQ(received(reply.size()), reply);
}

struct FailingStart {
  std::string name;
  std::string call;
  int first;
  int error;
  std::string words;  // the end of what is said
};

class TapThatCannotStart : public TapOfCalls, public ::testing::WithParamInterface<FailingStart> {};

// The device is as it was, and free for the next one.
TEST_P(TapThatCannotStart, SaysWhyAndLeavesTheDevice) {
  const termios before = settings_of(reader->line());
  std::string words;
  {
    const FailingCall failing(GetParam().call, GetParam().error,
                              {.first = GetParam().first, .count = 1});
    try {
      const Tap none(reader->device(), std::nullopt);
    } catch (const std::system_error& error) {
      words = error.what();
    }
    EXPECT_EQ(failing.failures(), 1);
  }
  EXPECT_TRUE(words.ends_with(GetParam().words)) << words;
  const termios after = settings_of(reader->line());
  EXPECT_EQ(after.c_cflag, before.c_cflag);
  EXPECT_EQ(after.c_lflag, before.c_lflag);
  EXPECT_NO_THROW(Tap(reader->device(), std::nullopt));
}

// The device is opened to be locked and for itself, before the pseudo-terminal is made.
INSTANTIATE_TEST_SUITE_P(
    Calls, TapThatCannotStart,
    ::testing::Values(
        FailingStart{"the_device", "open", 1, EMFILE, ": Too many open files"},
        FailingStart{"its_settings", "tcgetattr", 1, EIO, ": Input/output error"},
        FailingStart{"its_new_settings", "tcsetattr", 1, EIO, ": Input/output error"},
        FailingStart{"a_terminal", "posix_openpt", 0, ENOSPC,
                     "pseudo-terminal: No space left on device"},
        FailingStart{"its_owner", "grantpt", 0, EACCES, "pseudo-terminal: Permission denied"},
        FailingStart{"its_lock", "unlockpt", 0, EINVAL, "pseudo-terminal: Invalid argument"},
        FailingStart{"its_name", "ptsname_r", 0, ERANGE,
                     "pseudo-terminal: Numerical result out of range"},
        FailingStart{"its_other_side", "open", 2, EMFILE, ": Too many open files"},
        FailingStart{"settings_there", "tcgetattr", 2, EIO, ": Input/output error"},
        FailingStart{"new_settings_there", "tcsetattr", 2, EIO, ": Input/output error"},
        FailingStart{"news_of_flushes", "ioctl", 1, EINVAL, ": Invalid argument"},
        FailingStart{"the_speed_there", "tcgetattr", 3, EIO, ": Input/output error"}),
    [](const auto& test) { return test.param.name; });

struct Interruption {
  std::string name;
  std::string call;
  int first;
  int error;
};

class TapThatIsInterrupted : public TapOfCalls,
                             public ::testing::WithParamInterface<Interruption> {};

TEST_P(TapThatIsInterrupted, LosesNothing) {
  start();
  ask();
  {
    const FailingCall failing(GetParam().call, GetParam().error,
                              {.first = GetParam().first, .count = 1});
    ASSERT_TRUE(run());
    EXPECT_EQ(failing.failures(), 1);
  }
  ASSERT_EQ(told, (std::vector<Bytes>{request, reply}));
  EXPECT_EQ(reader->read(request.size()), text_of(request));
  EXPECT_EQ(received(reply.size()), reply);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, TapThatIsInterrupted,
    // The first of these that writes is the reader.
    ::testing::Values(Interruption{"waiting", "poll", 0, EINTR},
                      Interruption{"writing_to_the_device", "write", 1, EINTR},
                      Interruption{"a_device_that_is_full", "write", 1, EAGAIN},
                      Interruption{"reading_from_the_program", "read", 0, EINTR},
                      Interruption{"nothing_from_the_program", "read", 0, EAGAIN},
                      Interruption{"a_failed_read_from_the_program", "read", 0, EIO},
                      Interruption{"reading_from_the_device", "read", 1, EINTR},
                      Interruption{"nothing_from_the_device", "read", 1, EAGAIN},
                      Interruption{"settings_of_the_program", "tcgetattr", 0, EIO}),
    [](const auto& test) { return test.param.name; });

TEST_F(TapOfCalls, EndsWhenTheDeviceTakesNothingAnyMore) {
  start();
  ask();
  const FailingCall failing("write", EIO);
  EXPECT_FALSE(run([](const Frame&) {}));
}

TEST_F(TapOfCalls, EndsWhenTheDeviceCannotBeRead) {
  start();
  answer();
  const FailingCall failing("read", EIO);
  EXPECT_FALSE(run([](const Frame&) {}));
}

TEST_F(TapOfCalls, SaysThatItCannotWait) {
  start();
  const FailingCall failing("poll", ENOMEM);
  EXPECT_THROW(static_cast<void>(run()), std::system_error);
}

// It was told to stop, and the device goes while the rest is passed.
TEST_F(TapOfCalls, NoticesAtTheEndThatTheDeviceWent) {
  start();
  answer();
  wait_for(reader->line());
  stop();
  EXPECT_FALSE(run([this](const Frame&) { reader.reset(); }));
}

TEST_F(TapOfCalls, StopsAlthoughTheDeviceNeverFallsSilent) {
  start();
  answer();
  wait_for(reader->line());
  stop();
  // A quarter of a second is as long as 50 of these answers.
  int frames = 0;
  EXPECT_TRUE(run([&](const Frame&) {
    if (++frames >= 10'000) return;
    usleep(5'000);
    answer();
    wait_for(reader->line());
  }));
  EXPECT_GE(frames, 1);
  EXPECT_LT(frames, 60);
}

TEST_F(TapOfCalls, TakesTheStopBitsOfTheProgram) {
  start();
  termios settings = settings_of(program->number());
  ASSERT_EQ(settings.c_cflag & CSTOPB, 0U);
  settings.c_cflag |= CSTOPB;
  ASSERT_EQ(tcsetattr(program->number(), TCSANOW, &settings), 0);
  ask();
  EXPECT_TRUE(run());
  EXPECT_EQ(settings_of(reader->line()).c_cflag & CSTOPB, static_cast<tcflag_t>(CSTOPB));
}

// What the program dropped is told, if anybody can say that it was there.
TEST_F(TapOfCalls, TellsWhatTheProgramDropped) {
  start();
  answer();
  wait_for(reader->line());
  ASSERT_EQ(tcflush(program->number(), TCIFLUSH), 0);
  stop();
  EXPECT_TRUE(run([this](const Frame& frame) { told.push_back(frame.bytes); }));
  ASSERT_EQ(told, std::vector<Bytes>{reply});
  EXPECT_EQ(read(program->number(), told[0].data(), 1), -1) << "it is not passed on";
}

}  // namespace
}  // namespace quorra::toolkit::wire
