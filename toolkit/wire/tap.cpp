// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/wire/tap.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace quorra::toolkit::wire {
namespace {

// Where bytes do not get away, no more are taken in beyond this.
constexpr std::size_t most_unsent_bytes = 65536;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// Frames are in the order of a clock that nobody sets, and have the time of day.
Time now() {
  using namespace std::chrono;
  static const auto difference =
      system_clock::now().time_since_epoch() - steady_clock::now().time_since_epoch();
  return duration_cast<Time>(steady_clock::now().time_since_epoch() + difference);
}

// What there is to read; absent when the other end is gone.
std::optional<std::size_t> read_some(int descriptor, std::span<unsigned char> buffer) {
  const ssize_t count = read(descriptor, buffer.data(), buffer.size());
  if (count > 0) return static_cast<std::size_t>(count);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return 0;
  return std::nullopt;
}

void tell(const std::vector<Frame>& frames, const Tap::Listener& listener) {
  std::ranges::for_each(frames, listener);
}

int milliseconds_until(std::optional<Time> deadline) {
  if (!deadline) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

Descriptor open_tap_side() {
  Descriptor side(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (side.number() < 0 || grantpt(side.number()) != 0 || unlockpt(side.number()) != 0) {
    fail("pseudo-terminal");
  }
  return side;
}

std::string name_of_program_side(int tap_side) {
  std::array<char, 64> name{};
  if (ptsname_r(tap_side, name.data(), name.size()) != 0) fail("pseudo-terminal");
  return name.data();
}

}  // namespace

TappedTerminal::TappedTerminal()
    : tap_side_(open_tap_side()),
      name_(name_of_program_side(descriptor())),
      program_side_(open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  termios settings{};
  if (program_side() < 0 || tcgetattr(program_side(), &settings) != 0) fail(name_.c_str());
  cfmakeraw(&settings);
  const int tells_of_flushes = 1;
  if (tcsetattr(program_side(), TCSANOW, &settings) != 0 ||
      ioctl(descriptor(), TIOCPKT, &tells_of_flushes) != 0) {
    fail(name_.c_str());
  }
}

TappedDevice::TappedDevice(const std::string& path)
    : lock_(path),
      descriptor_(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
  if (descriptor() < 0 || tcgetattr(descriptor(), &before_) != 0) fail(path.c_str());
  settings_ = before_;
  cfmakeraw(&settings_);
  settings_.c_cflag |= CLOCAL | CREAD;
  settings_.c_cc[VMIN] = 1;
  settings_.c_cc[VTIME] = 0;
  if (tcsetattr(descriptor(), TCSANOW, &settings_) != 0) fail(path.c_str());
}

TappedDevice::~TappedDevice() { tcsetattr(descriptor(), TCSANOW, &before_); }

void TappedDevice::follow(const termios& settings) {
  const bool has_speed = cfgetospeed(&settings) == cfgetospeed(&settings_);
  const tcflag_t stop_bits = settings.c_cflag & CSTOPB;
  if (has_speed && stop_bits == (settings_.c_cflag & CSTOPB)) return;
  settings_.c_cflag = (settings_.c_cflag & ~static_cast<tcflag_t>(CSTOPB)) | stop_bits;
  cfsetspeed(&settings_, cfgetospeed(&settings));
  tcsetattr(descriptor(), TCSANOW, &settings_);
}

// False: the other end is gone.
bool Tap::Outlet::send() {
  while (!unsent.empty()) {
    const ssize_t sent = write(descriptor, unsent.data(), unsent.size());
    if (sent < 0 && errno != EAGAIN && errno != EINTR) return false;
    if (sent <= 0) break;
    unsent.erase(unsent.begin(), unsent.begin() + sent);
  }
  return true;
}

bool Tap::Outlet::has_room() const { return unsent.size() < most_unsent_bytes; }

Tap::Tap(const std::string& device, std::optional<AuxiliaryStream> sequences)
    : device_(device),
      sequences_(std::move(sequences)),
      to_device_{device_.descriptor(), {}},
      to_program_{terminal_.descriptor(), {}} {
  // A program that sets no speed has that of the device.
  termios settings{};
  if (tcgetattr(terminal_.program_side(), &settings) != 0) fail("pseudo-terminal");
  cfsetspeed(&settings, cfgetospeed(&device_.settings()));
  tcsetattr(terminal_.program_side(), TCSANOW, &settings);
}

bool Tap::run(int stop, const Listener& listener) {
  bool is_there = true;
  for (bool goes_on = true; goes_on;) {
    pollfd stopped{.fd = stop, .events = POLLIN, .revents = 0};
    is_there = serve(stop, listener);
    goes_on = is_there && poll(&stopped, 1, 0) <= 0;
  }
  if (is_there) is_there = pass_the_rest(listener);
  if (sequences_) {
    tell_output(sequences_->finish(), now(), listener);
  }
  tell(splitter_.finish(), listener);
  return is_there;
}

// What was written before the stop still passes. False: the device hung up.
bool Tap::pass_the_rest(const Listener& listener) {
  constexpr int quiet_ms = 20;
  constexpr std::chrono::milliseconds longest(250);
  const auto end = std::chrono::steady_clock::now() + longest;
  while (std::chrono::steady_clock::now() < end) {
    std::array<pollfd, 2> polled{{
        {.fd = terminal_.descriptor(), .events = POLLIN, .revents = 0},
        {.fd = device_.descriptor(), .events = POLLIN, .revents = 0},
    }};
    if (poll(polled.data(), polled.size(), quiet_ms) <= 0) return true;
    if (!pass(polled[0].revents, polled[1].revents, listener)) return false;
  }
  return true;
}

// Passes what came from either side. False: the device hung up.
bool Tap::pass(short from_program, short from_device, const Listener& listener) {
  // The program's requests come before answers to them.
  if ((from_program & POLLIN) != 0) take_from_program(listener);
  if (!to_device_.send()) return false;
  if ((from_device & (POLLIN | POLLHUP | POLLERR)) != 0 && !take_from_device(listener, true)) {
    return false;
  }
  to_program_.send();
  return true;
}

// Waits for something to do, and does it. False: the device hung up.
bool Tap::serve(int stop, const Listener& listener) {
  const auto events = [](const Outlet& outlet, const Outlet& target) {
    const int in = target.has_room() ? POLLIN : 0;
    return static_cast<short>(in | (outlet.unsent.empty() ? 0 : POLLOUT));
  };
  std::array<pollfd, 3> polled{{
      {.fd = terminal_.descriptor(), .events = events(to_program_, to_device_), .revents = 0},
      {.fd = device_.descriptor(), .events = events(to_device_, to_program_), .revents = 0},
      {.fd = stop, .events = POLLIN, .revents = 0},
  }};
  const int ready = poll(polled.data(), polled.size(), milliseconds_until(splitter_.deadline()));
  if (ready < 0 && errno != EINTR) fail("poll");
  if (ready <= 0) {
    tell(splitter_.give_up(now()), listener);
    return true;
  }
  return pass(polled[0].revents, polled[1].revents, listener);
}

// Each piece begins with a byte that is 0 before data, or tells of a flush.
void Tap::take_from_program(const Listener& listener) {
  std::array<unsigned char, 4096> buffer{};
  const auto count = read_some(terminal_.descriptor(), buffer);
  if (!count || *count == 0) return;
  if (buffer[0] != TIOCPKT_DATA) return flush(buffer[0], listener);
  const auto bytes = std::span(buffer).subspan(1, *count - 1);
  termios settings{};
  if (tcgetattr(terminal_.program_side(), &settings) == 0) device_.follow(settings);
  to_device_.unsent.insert(to_device_.unsent.end(), bytes.begin(), bytes.end());
  tell_of_program(bytes, now(), listener);
}

void Tap::tell_of_program(std::span<const unsigned char> bytes, Time time,
                          const Listener& listener) {
  if (!sequences_) return tell(splitter_.take(Direction::request, bytes, time), listener);
  tell_output(sequences_->take(bytes), time, listener);
}

void Tap::tell_output(const AuxiliaryStream::Output& output, Time time, const Listener& listener) {
  if (!output.screen.empty()) {
    listener({Direction::request, Wholeness::screen, time, output.screen});
  }
  tell(splitter_.take(Direction::request, output.port, time), listener);
}

// False: it hung up.
bool Tap::take_from_device(const Listener& listener, bool passes_on) {
  std::array<unsigned char, 4096> buffer{};
  const auto count = read_some(device_.descriptor(), buffer);
  if (!count) return false;
  const auto bytes = std::span(buffer).first(*count);
  if (passes_on) to_program_.unsent.insert(to_program_.unsent.end(), bytes.begin(), bytes.end());
  tell(splitter_.take(Direction::reply, bytes, now()), listener);
  return true;
}

// What the program does not want any more is told, but not passed on.
void Tap::flush(unsigned char what, const Listener& listener) {
  if ((what & TIOCPKT_FLUSHREAD) != 0) {
    to_program_.unsent.clear();
    int waiting = 0;
    if (ioctl(device_.descriptor(), FIONREAD, &waiting) == 0 && waiting > 0) {
      take_from_device(listener, false);
    }
  }
  if ((what & TIOCPKT_FLUSHWRITE) != 0) {
    to_device_.unsent.clear();
    tcflush(device_.descriptor(), TCOFLUSH);
  }
}

}  // namespace quorra::toolkit::wire
