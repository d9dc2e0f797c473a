// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What only the build with sleeping waits has: it sleeps, in real time, and can be stopped.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <quorra.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <thread>

#include "link/stop.hpp"
#include "tests/support/scripted_reader.hpp"

namespace quorra::testing {
namespace {

constexpr std::clock_t second = 1'000'000;
constexpr std::clock_t grace = second / 4;

// A descriptor that is closed at the end.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) { EXPECT_GE(descriptor_, 0); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { (void)::close(descriptor_); }

  operator int() const { return descriptor_; }

 private:
  int descriptor_;
};

class Event : public Descriptor {
 public:
  Event() : Descriptor(eventfd(0, EFD_CLOEXEC)) {}

  void set() const { EXPECT_EQ(eventfd_write(*this, 1), 0); }
  void clear() const {
    eventfd_t value = 0;
    EXPECT_EQ(eventfd_read(*this, &value), 0);
  }
};

class Stopping : public ::testing::Test {
 protected:
  Stopping() {
    reader.set_step(second / 100);
    stop_waits_when_readable(event);
  }
  ~Stopping() override { stop_waits_when_readable(-1); }

  // How long the call takes, and what it is to return.
  template <typename Call>
  std::clock_t time_of(int result, Call call) {
    const std::clock_t start = reader.now();
    EXPECT_EQ(call(), result);
    return reader.now() - start;
  }
  std::clock_t time_of_reply(int result) {
    return time_of(result, [this] { return receive_com(handle, reply_.data()); });
  }
  std::clock_t time_of_delay(int ticks) {
    return time_of(10, [ticks] { return ic_delay(ticks); });
  }

  Event event;
  ScriptedReader reader;
  int handle = reader.init0();

 private:
  std::array<unsigned char, 260> reply_{};
};

TEST_F(Stopping, DoesNotHappenByItself) {
  EXPECT_GE(time_of_reply(-132), 4 * second);
  EXPECT_GE(time_of_delay(second), second);
  ic_exit(handle);
}

TEST_F(Stopping, EndsAWaitAfterItsGrace) {
  event.set();
  const std::clock_t time = time_of_reply(-132);
  EXPECT_GE(time, grace);
  EXPECT_LE(time, grace + second / 20);
  ic_exit(handle);
}

TEST_F(Stopping, EndsADelayAfterItsGrace) {
  event.set();
  const std::clock_t time = time_of_delay(2 * second);
  EXPECT_GE(time, grace);
  EXPECT_LE(time, grace + second / 20);
  ic_exit(handle);
}

TEST_F(Stopping, CountsFromWhereItIsSeen) {
  System::instance().clock = [this, advance = System::instance().clock,
                              start = reader.now()]() mutable {
    const std::clock_t now = advance();
    if (start != 0 && now - start > 3 * second) {
      event.set();
      start = 0;
    }
    return now;
  };
  const std::clock_t time = time_of_reply(-132);
  EXPECT_GE(time, 3 * second + grace);
  EXPECT_LE(time, 3 * second + grace + second / 20);
  ic_exit(handle);
}

TEST_F(Stopping, MakesNoWaitLonger) {
  event.set();
  EXPECT_LE(time_of_delay(second / 10), second / 10 + second / 50);
  ic_exit(handle);
}

TEST_F(Stopping, LetsAReplyComplete) {
  event.set();
  reader.expect_raw({'?'}).answer_after(grace - second / 20, reply(0, hex("01 02")));
  EXPECT_EQ(sendchar(handle, '?'), 1);
  time_of_reply(0);
  ic_exit(handle);
}

TEST_F(Stopping, GivesOneGraceToAllWaits) {
  event.set();
  time_of_delay(second);
  EXPECT_LE(time_of_reply(-132), second / 50);
  EXPECT_LE(time_of_delay(2 * second), second / 50);
  // What is there already is still taken.
  reader.send(reply(0, {}));
  EXPECT_LE(time_of_reply(0), second / 10);
  ic_exit(handle);
}

TEST_F(Stopping, LastsWhenTheDescriptorIsNoLongerReadable) {
  event.set();
  time_of_delay(second);
  event.clear();
  EXPECT_LE(time_of_reply(-132), second / 50);
  ic_exit(handle);
}

TEST_F(Stopping, IsOverWithTheNextDescriptor) {
  event.set();
  time_of_delay(second);
  const Event other;
  stop_waits_when_readable(other);
  EXPECT_GE(time_of_reply(-132), 4 * second);
  other.set();
  EXPECT_LE(time_of_reply(-132), grace + second / 20);
  stop_waits_when_readable(-1);
  EXPECT_GE(time_of_reply(-132), 4 * second);
  ic_exit(handle);
}

TEST_F(Stopping, TakesAClosedDescriptorForAReadableOne) {
  int closed = -1;
  {
    const Descriptor open_for_now(dup(event));
    closed = open_for_now;
  }
  stop_waits_when_readable(closed);
  EXPECT_LE(time_of_reply(-132), grace + second / 20);
  ic_exit(handle);
}

TEST_F(Stopping, EndsASpeedSearch) {
  ic_exit(handle);
  reader.set_step(second / 1000);
  reader.answer_with([](const Bytes&) { return Bytes{}; });
  event.set();
  const char* path = reader.configuration().c_str();
  EXPECT_LE(time_of(-136, [path] { return auto_init(path, 9600); }), second / 2);
}

TEST_F(Stopping, LeavesSendingAsItIs) {
  event.set();
  time_of_delay(second);
  reader.expect(hex("AA B3 00 05 80 00 00 00 00 9C"));
  EXPECT_EQ(turn_off(handle), -132);
  ic_exit(handle);
}

// A wait asks poll() to sleep as long as it has time.
TEST_F(Stopping, SleepsAllTheTimeThatIsLeft) {
  System::instance().poll_timeouts.clear();
  reader.set_step(second / 4 - 1);
  unsigned char byte = 0;
  EXPECT_EQ(receive_data(handle, &byte), -132);
  EXPECT_EQ(System::instance().poll_timeouts, (std::vector<int>{751, 501, 251, 1}));
  ic_exit(handle);
}

TEST_F(Stopping, PausesWhereALineIsReadyAndBringsNothing) {
  const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
  System::instance().poll_timeouts.clear();
  reader.set_step(second / 5);
  unsigned char byte = 0;
  EXPECT_EQ(receive_data(nothing, &byte), -132);
  EXPECT_EQ(System::instance().poll_timeouts, (std::vector<int>{800, 10, 400, 10}));
  ic_exit(handle);
}

TEST_F(Stopping, TriesAgainSoonWhereThereIsNoRoom) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()), 0);
  const Descriptor near(ends[0]);
  const Descriptor far(ends[1]);
  // No number that poll() could take for POLLOUT.
  const Descriptor line(fcntl(near, F_DUPFD_CLOEXEC, 64));
  const Bytes many(4096);
  while (system_write(line, many.data(), many.size()) > 0) {
  }
  System::instance().poll_timeouts.clear();
  reader.set_step(second);
  EXPECT_EQ(sendchar(line, 0xAA), -129);
  EXPECT_EQ(System::instance().poll_timeouts, (std::vector<int>{10, 10, 10}));
  ic_exit(handle);
}

// From here on, time is real.

double seconds(clockid_t clock) {
  const timespec time = system_time(clock);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Expects a call to take that long at least, and to leave the processor to others meanwhile.
template <typename Call>
void expect_to_sleep(double least, Call call) {
  const double start = seconds(CLOCK_MONOTONIC);
  const double used_before = seconds(CLOCK_THREAD_CPUTIME_ID);
  call();
  const double used = seconds(CLOCK_THREAD_CPUTIME_ID) - used_before;
  const double time = seconds(CLOCK_MONOTONIC) - start;
  EXPECT_GE(time, least);
  EXPECT_LT(used, time / 10);
}

int receive_byte_from(int descriptor) {
  unsigned char byte = 0;
  return receive_data(descriptor, &byte);
}

TEST(SleepingWait, LeavesTheProcessorToOthers) {
  const Descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  const Descriptor line(open(ptsname(master), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));

  auto hung_up_master = std::make_unique<Descriptor>(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(grantpt(*hung_up_master), 0);
  ASSERT_EQ(unlockpt(*hung_up_master), 0);
  const Descriptor hung_up(
      open(ptsname(*hung_up_master), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  hung_up_master.reset();

  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()), 0);
  const Descriptor socket(ends[0]);
  (void)close(ends[1]);

  const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
  const Descriptor folder(open("/", O_RDONLY | O_CLOEXEC));
  constexpr int not_open = 1'000'000;

  // All at the same time: each wait has a clock of its own.
  std::vector<std::thread> threads;
  for (const int descriptor :
       {int{line}, int{hung_up}, int{socket}, int{nothing}, int{folder}, not_open, -1}) {
    threads.emplace_back([descriptor] {
      SCOPED_TRACE(descriptor);
      expect_to_sleep(1.0, [descriptor] { EXPECT_EQ(receive_byte_from(descriptor), -132); });
    });
  }
  threads.emplace_back([] { expect_to_sleep(0.8, [] { EXPECT_EQ(ic_delay(800'000), 10); }); });
  for (std::thread& thread : threads)
    thread.join();
}

// Where nobody has named a descriptor that stops waits, none wakes them, and standard output least
// of all.
TEST(SleepingWait, IsWokenByNothingInANewProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const Event event;
        event.set();
        dup2(event, STDOUT_FILENO);
        expect_to_sleep(0.2, [] { (void)ic_delay(200'000); });
        std::_Exit(::testing::Test::HasFailure() ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "");
}

class StoppingInRealTime : public ::testing::Test {
 protected:
  ~StoppingInRealTime() override { stop_waits_when_readable(-1); }

  // Long before the 2000 seconds that it asks for, or the test program is ended.
  static void wait_for_the_stop() { EXPECT_EQ(ic_delay(2'000'000'000), 10); }
};

TEST_F(StoppingInRealTime, WorksFromAnotherThread) {
  const Event event;
  stop_waits_when_readable(event);
  std::thread other([&event] {
    (void)ic_delay(50'000);
    event.set();
  });
  expect_to_sleep(0.25, wait_for_the_stop);
  other.join();
}

TEST_F(StoppingInRealTime, StopsAllThreads) {
  const Event event;
  stop_waits_when_readable(event);
  std::thread others[] = {std::thread(wait_for_the_stop), std::thread(wait_for_the_stop)};
  (void)ic_delay(50'000);
  event.set();
  for (std::thread& other : others)
    other.join();
}

TEST_F(StoppingInRealTime, WorksByASignal) {
  sigset_t signals;
  sigset_t before;
  sigemptyset(&signals);
  sigaddset(&signals, SIGUSR1);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &signals, &before), 0);
  const Descriptor descriptor(signalfd(-1, &signals, SFD_CLOEXEC));
  stop_waits_when_readable(descriptor);
  std::thread other([] {
    (void)ic_delay(50'000);
    (void)kill(getpid(), SIGUSR1);
  });
  wait_for_the_stop();
  other.join();
  signalfd_siginfo signal{};
  EXPECT_EQ(system_read(descriptor, &signal, sizeof signal), static_cast<ssize_t>(sizeof signal));
  EXPECT_EQ(pthread_sigmask(SIG_SETMASK, &before, nullptr), 0);
}

// A handler that does not restart system calls interrupts a sleeping wait; it goes on.
TEST(SleepingWait, GoesOnAfterASignal) {
  struct sigaction before {};
  struct sigaction handler {};
  handler.sa_handler = [](int) {};
  ASSERT_EQ(sigaction(SIGUSR1, &handler, &before), 0);
  std::thread other([waiting = pthread_self()] {
    for (int i = 0; i < 5; ++i) {
      (void)ic_delay(20'000);
      (void)pthread_kill(waiting, SIGUSR1);
    }
  });
  expect_to_sleep(0.3, [] { EXPECT_EQ(ic_delay(300'000), 10); });
  other.join();
  EXPECT_EQ(sigaction(SIGUSR1, &before, nullptr), 0);
}

}  // namespace
}  // namespace quorra::testing
