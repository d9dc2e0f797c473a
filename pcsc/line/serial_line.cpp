// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/line/serial_line.hpp"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

namespace quorra::pcsc {
namespace {

struct Speed {
  int baud;
  speed_t code;
};

constexpr Speed speeds[] = {
    {9600, B9600}, {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200},
};

// Within a frame no two bytes are so far apart.
constexpr int silence_in_milliseconds = 200;
// A line that never falls silent is somebody else's.
constexpr int most_drops = 50;

int open_line(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor >= 0) return descriptor;
  // UNREACHED_FROM: it was opened a moment before
  throw toolkit::DeviceError(path + " cannot be opened: " + std::generic_category().message(errno));
  // UNREACHED_TO
}

}  // namespace

SerialLine::SerialLine(const std::string& path, int speed)
    : device_(path),
      descriptor_(open_line(path)) {
  tcgetattr(descriptor(), &before_);
  // Bytes as they are, with two stop bits, and nobody waits for a carrier.
  termios settings{};
  const auto* const found = std::ranges::find(speeds, speed, &Speed::baud);
  settings.c_cflag = CLOCAL | CREAD | CSTOPB | CS8;
  cfsetspeed(&settings, found == std::end(speeds) ? B9600 : found->code);
  tcsetattr(descriptor(), TCSANOW, &settings);
  tcflush(descriptor(), TCIOFLUSH);
}

SerialLine::~SerialLine() { tcsetattr(descriptor(), TCSANOW, &before_); }

void SerialLine::drop_input() const { tcflush(descriptor(), TCIFLUSH); }

void SerialLine::drop_until_silent() const {
  for (int drops = 0; drops < most_drops; ++drops) {
    drop_input();
    pollfd asked{descriptor(), POLLIN, 0};
    if (poll(&asked, 1, silence_in_milliseconds) <= 0) return;
  }
}

}  // namespace quorra::pcsc
