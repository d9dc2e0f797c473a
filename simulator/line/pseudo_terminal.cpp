// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/line/pseudo_terminal.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

[[noreturn]] void fail() { throw Error(fmt::format("pseudo-terminal: {}", system_error_text())); }

struct HostSpeed {
  unsigned speed;
  speed_t setting;
};

constexpr std::array host_speeds{
    HostSpeed{1200, B1200}, HostSpeed{2400, B2400},   HostSpeed{4800, B4800},
    HostSpeed{9600, B9600}, HostSpeed{19200, B19200}, HostSpeed{38400, B38400},
};

// The outcome of a read or write: "nothing now" is no failure.
std::size_t transferred(ssize_t result) {
  if (result >= 0) return static_cast<std::size_t>(result);
  if (errno == EAGAIN || errno == EINTR) return 0;
  fail();
}

}  // namespace

PseudoTerminal::PseudoTerminal()
    : reader_side_(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
  std::array<char, 64> name{};
  if (!reader_side_.is_open() || ::grantpt(descriptor()) != 0 || ::unlockpt(descriptor()) != 0 ||
      ::ptsname_r(descriptor(), name.data(), name.size()) != 0)
    fail();
  device_ = name.data();

  host_side_ = FileDescriptor(::open(device_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  if (!host_side_.is_open() || ::tcgetattr(host_side_.get(), &settings) != 0) fail();
  ::cfmakeraw(&settings);
  if (::tcsetattr(host_side_.get(), TCSANOW, &settings) != 0) fail();
}

bool PseudoTerminal::host_has_speed(unsigned speed) const {
  termios settings{};
  if (::tcgetattr(host_side_.get(), &settings) != 0) fail();
  const auto* const set =
      std::ranges::find(host_speeds, ::cfgetospeed(&settings), &HostSpeed::setting);
  return set != host_speeds.end() && set->speed == speed;
}

std::size_t PseudoTerminal::read(std::span<std::uint8_t> buffer) const {
  return transferred(::read(descriptor(), buffer.data(), buffer.size()));
}

std::size_t PseudoTerminal::write(std::span<const std::uint8_t> bytes) const {
  return transferred(::write(descriptor(), bytes.data(), bytes.size()));
}

}  // namespace quorra::simulator
