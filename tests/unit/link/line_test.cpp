// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Lines that do not take bytes, or bring none, the way a serial device does.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <quorra.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <optional>
#include <string>

#include "tests/support/process.hpp"
#include "tests/support/scripted_reader.hpp"
#include "tests/support/session.hpp"

namespace quorra::testing {
namespace {

constexpr std::clock_t second = 1'000'000;
constexpr std::clock_t room_limit = 4 * second;

std::optional<ssize_t> fail_with(int error) {
  errno = error;
  return -1;
}

// Writes that may succeed when they are tried again.
class PassingFailure : public ::testing::TestWithParam<std::tuple<Mode, int>> {
 protected:
  static Mode mode() { return std::get<Mode>(GetParam()); }
  static int error() { return std::get<int>(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(, PassingFailure,
                         ::testing::Combine(::testing::Values(Mode::direct, Mode::terminal),
                                            ::testing::Values(EINTR, EAGAIN)),
                         [](const auto& row) {
                           const int error = std::get<int>(row.param);
                           return std::string(name_of(std::get<Mode>(row.param))) +
                                  (error == EINTR ? "Interrupted" : "Full");
                         });

TEST_P(PassingFailure, OfAnyWriteLosesNothing) {
  ScriptedReader reader(mode());
  System::instance().before_write = [again = false](const Bytes&) mutable {
    again = !again;
    return again ? fail_with(error()) : std::nullopt;
  };
  reader.expect_proof();
  const int handle = reader.init();
  EXPECT_GE(handle, 0);
  reader.expect(hex("AA B2 00 05 80 00 00 00 00 9D")).answer(reply(0, {}));
  EXPECT_EQ(turn_on(handle), 0);
  reader.expect_closing();
  EXPECT_EQ(ic_exit(handle), 0);
}

TEST_P(PassingFailure, TearsNoSequence) {
  if (mode() == Mode::direct) return;
  ScriptedReader reader(mode());
  reader.expect_opening();
  const int handle = reader.init0();
  System::instance().writes.clear();
  // Interrupted when it has written a part, or where there is room for a part, a write tells of it.
  System::instance().before_write = [&, again = false](const Bytes& bytes) mutable {
    again = !again;
    return again ? fail_with(error()) : std::optional(system_write(handle, bytes.data(), 1));
  };
  reader.expect_raw(text("\033[5i") + hex("AA") + text("\033[4i"));
  EXPECT_EQ(sendchar(handle, 0xAA), 1);
  EXPECT_EQ(System::instance().writes.size(), 2U * (4 + 1 + 4));
  System::instance().before_write = nullptr;
  reader.expect_closing();
  ic_exit(handle);
}

// A line that takes a little now and then does not make a text last longer.
TEST_P(PassingFailure, HasFourSecondsForAllOfASequence) {
  if (mode() == Mode::direct) return;
  ScriptedReader reader(mode());
  reader.expect_opening();
  const int handle = reader.init0();
  System::instance().writes.clear();
  System::instance().before_write = [&, again = false](const Bytes& bytes) mutable {
    again = !again;
    return again ? fail_with(error()) : std::optional(system_write(handle, bytes.data(), 1));
  };
  reader.expect_raw(text("\033["));
  reader.set_step(room_limit / 4);
  EXPECT_EQ(sendchar(handle, 0xAA), -1);
  EXPECT_EQ(System::instance().writes.size(), 4U);
  System::instance().before_write = nullptr;
  reader.expect_closing();
  ic_exit(handle);
}

TEST_P(PassingFailure, IsBorneForFourSeconds) {
  const struct {
    std::clock_t step;
    std::size_t attempts;
  } rows[] = {{room_limit, 1}, {room_limit - 1, 2}, {room_limit / 2, 2}, {room_limit / 8, 8}};
  for (const auto& row : rows) {
    ScriptedReader reader(mode());
    reader.expect_opening();
    const int handle = reader.init0();
    System::instance().writes.clear();
    System::instance().before_write = [](const Bytes&) { return fail_with(error()); };
    reader.set_step(row.step);
    EXPECT_EQ(sendchar(handle, 0xAA), mode() == Mode::direct ? -129 : -1);
    EXPECT_EQ(System::instance().writes.size(), row.attempts);
    System::instance().before_write = nullptr;
    reader.expect_closing();
    ic_exit(handle);
  }
}

TEST_P(PassingFailure, IsNotFollowedByAnotherAttemptOnceAWriteFails) {
  for (const ssize_t result : {ssize_t{0}, ssize_t{-1}}) {
    ScriptedReader reader(mode());
    reader.expect_opening();
    const int handle = reader.init0();
    System::instance().writes.clear();
    System::instance().before_write = [result, number = 0](const Bytes&) mutable {
      if (number++ == 0) return fail_with(error());
      errno = EIO;
      return std::optional(result);
    };
    EXPECT_EQ(sendchar(handle, 0xAA), mode() == Mode::direct ? -129 : result);
    EXPECT_EQ(System::instance().writes.size(), 2U);
    System::instance().before_write = nullptr;
    reader.expect_closing();
    ic_exit(handle);
  }
}

// What an earlier call left in errno is not taken for the reason of a failure.
TEST(Writing, LooksAtNoOlderError) {
  ScriptedReader reader;
  const int handle = reader.init0();
  System::instance().before_write = [](const Bytes&) { return std::optional<ssize_t>(-1); };
  errno = EINTR;
  EXPECT_EQ(sendchar(handle, 0xAA), -129);
  EXPECT_EQ(System::instance().writes.size(), 1U);
  System::instance().before_write = nullptr;
  ic_exit(handle);
}

// A write that takes nothing has not failed, so that errno says nothing.
TEST(Writing, LooksAtNoErrorOfAWriteThatTakesNothing) {
  ScriptedReader reader;
  const int handle = reader.init0();
  System::instance().before_write = [](const Bytes&) {
    errno = EINTR;
    return std::optional<ssize_t>(0);
  };
  EXPECT_EQ(sendchar(handle, 0xAA), -129);
  EXPECT_EQ(System::instance().writes.size(), 1U);
  System::instance().before_write = nullptr;
  ic_exit(handle);
}

// A device that somebody names in the configuration file.
class Device : public ::testing::Test {
 protected:
  Device() {
    System::instance().reset();
    System::instance().clock = [this] { return now_ += second / 100; };
  }
  ~Device() override { System::instance().reset(); }

  int open(const std::string& device) {
    forget_sessions();
    write_file(folder_ / "reader.conf", "P=" + device + "\n");
    return ic_init0((folder_ / "reader.conf").c_str(), 9600);
  }
  std::string path(const char* name) { return folder_ / name; }

  // Expects a byte that does not come to be waited for one second, not longer.
  void expect_silence(int handle) {
    unsigned char byte = 0x5A;
    const std::clock_t start = now_;
    EXPECT_EQ(receive_data(handle, &byte), -132);
    EXPECT_EQ(byte, 0x5A);
    EXPECT_LE(now_ - start, second + second / 20);
  }

  // Expects that nothing is sent on a line that takes nothing, after four seconds.
  void expect_full(int handle) {
    const Bytes frame(10);
    ASSERT_LT(system_write(handle, frame.data(), 1), 0);
    ASSERT_EQ(errno, EAGAIN) << "a line that would make writes sleep";
    const std::clock_t start = now_;
    EXPECT_EQ(send_com(handle, 10, frame.data()), -129);
    EXPECT_GE(now_ - start, room_limit);
    EXPECT_LE(now_ - start, room_limit + second / 20);
  }

 private:
  TemporaryDirectory folder_;
  std::clock_t now_ = 0;
};

TEST_F(Device, ThatTakesNothingIsWaitedForInTime) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  const int handle = open(ptsname(master));
  ASSERT_GE(handle, 0);
  expect_silence(handle);
  // How full a terminal is that nobody reads changes behind one's back; a stopped one is full.
  ASSERT_EQ(tcflow(handle, TCOOFF), 0);
  expect_full(handle);
  ASSERT_EQ(tcflow(handle, TCOON), 0);
  EXPECT_EQ(sendchar(handle, 0xAA), 1);
  ic_exit(handle);
  (void)close(master);
}

TEST_F(Device, ThatHungUpIsWaitedForInTime) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  const int handle = open(ptsname(master));
  ASSERT_GE(handle, 0);
  (void)close(master);
  expect_silence(handle);
  EXPECT_EQ(sendchar(handle, 0xAA), -129);
  ic_exit(handle);
}

// Its line settings cannot be set.
TEST_F(Device, ThatIsAPipeIsWaitedForInTime) {
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  const int handle = open(path("fifo"));
  ASSERT_GE(handle, 0);
  expect_silence(handle);
  const Bytes many(4096);
  while (system_write(handle, many.data(), many.size()) > 0) {
  }
  expect_full(handle);
  ic_exit(handle);
}

TEST_F(Device, ThatIsAFileOrNothingIsWaitedForInTime) {
  write_file(path("file"), "");
  for (const std::string& device : {path("file"), std::string("/dev/null")}) {
    const int handle = open(device);
    ASSERT_GE(handle, 0);
    EXPECT_EQ(sendchar(handle, 0xAA), 1);
    expect_silence(handle);
    ic_exit(handle);
  }
}

// A pair of sockets, each of which makes reads and writes sleep.
class Sockets {
 public:
  Sockets() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data()), 0); }
  Sockets(const Sockets&) = delete;
  Sockets& operator=(const Sockets&) = delete;
  ~Sockets() {
    for (const int end : ends_)
      (void)close(end);
  }

  int line() const { return ends_[0]; }
  // Lets the line take nothing more.
  void fill() const {
    const Bytes many(4096);
    ASSERT_EQ(fcntl(line(), F_SETFL, O_NONBLOCK), 0);
    while (system_write(line(), many.data(), many.size()) > 0) {
    }
    ASSERT_EQ(fcntl(line(), F_SETFL, 0), 0);
  }

 private:
  std::array<int, 2> ends_{};
};

// How many calls of fcntl `act` makes, of which number `failing` (from 0) fails, if there is one.
template <typename Act>
int controls_of(Act act, std::optional<int> failing) {
  int calls = 0;
  System::instance().fails = [&](System::Call call) {
    return call == System::Call::control && calls++ == failing;
  };
  act();
  System::instance().fails = nullptr;
  return calls;
}

TEST_F(Device, ThatTheProgramOpenedItselfIsWaitedForInTime) {
  const int session = open("/dev/null");  // the mode is that of this session
  const Bytes frame(10);
  Bytes reply(260);
  for (const auto receive :
       {receive_data, receive_data_2k, receive_data_8k, receive_com, receive_com0}) {
    const Sockets sockets;
    EXPECT_EQ(receive(sockets.line(), reply.data()), -132);
  }
  for (const auto& send :
       {std::function([&](int line) { return sendchar(line, 0xAA); }),
        std::function([&](int line) { return send_com(line, 10, frame.data()); })}) {
    const Sockets sockets;
    sockets.fill();
    EXPECT_EQ(send(sockets.line()), -129);
  }
  ic_exit(session);
}

TEST_F(Device, ThatTheProgramOpenedItselfIsClosedInTime) {
  ScriptedReader reader(Mode::terminal);
  reader.expect_opening();
  const int session = reader.init0();
  reader.set_step(second / 10);
  const Sockets sockets;
  sockets.fill();
  EXPECT_EQ(ic_exit(dup(sockets.line())), 0);
  reader.expect_closing();
  ic_exit(session);
}

TEST_F(Device, TerminalThatIsStoppedIsOpenedInTime) {
  ScriptedReader reader(Mode::terminal);
  reader.set_step(second / 10);
  ASSERT_EQ(tcflow(reader.line(), TCOOFF), 0);
  const int session = reader.init0();
  EXPECT_GE(session, 0);
  ASSERT_EQ(tcflow(reader.line(), TCOON), 0);
  reader.expect_closing();
  ic_exit(session);
}

TEST_F(Device, ThatTheProgramOpenedForReadingIsWaitedForInTime) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  unsigned char byte = 0;
  EXPECT_EQ(receive_data(ends[0], &byte), -132);
  for (const int end : ends)
    (void)close(end);
}

// A line that appends what is written to it goes on doing so.
TEST_F(Device, ThatTheProgramOpenedItselfKeepsItsFlags) {
  const int session = open("/dev/null");
  const Sockets sockets;
  ASSERT_EQ(fcntl(sockets.line(), F_SETFL, O_APPEND), 0);
  EXPECT_EQ(sendchar(sockets.line(), 0xAA), 1);
  const int flags = fcntl(sockets.line(), F_GETFL);
  EXPECT_EQ(flags & (O_APPEND | O_NONBLOCK), O_APPEND | O_NONBLOCK);
  EXPECT_EQ(controls_of([&] { EXPECT_EQ(sendchar(sockets.line(), 0xAA), 1); }, {}), 1);
  EXPECT_EQ(fcntl(sockets.line(), F_GETFL), flags);
  ic_exit(session);
}

TEST_F(Device, KeepsFlagsThatCannotBeRead) {
  const int session = open("/dev/null");
  const Sockets sockets;
  const int flags = fcntl(sockets.line(), F_GETFL);
  EXPECT_EQ(controls_of([&] { EXPECT_EQ(sendchar(sockets.line(), 0xAA), 1); }, 0), 1);
  EXPECT_EQ(fcntl(sockets.line(), F_GETFL), flags);
  ic_exit(session);
}

TEST_F(Device, ThatCannotBeOpenedIsNoReader) {
  const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  for (const std::string& device : {path("socket"), path("."), path("missing")})
    EXPECT_EQ(open(device), -136) << device;
  (void)close(listening);
}

}  // namespace
}  // namespace quorra::testing
