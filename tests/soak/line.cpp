// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/soak/line.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <quorra.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "tests/support/session.hpp"

namespace quorra::testing {
namespace {

// What passes while nothing is on its way, and while bytes wait to be read.
constexpr std::chrono::milliseconds moment{100};
constexpr std::chrono::milliseconds short_moment{1};

// Beyond this, bytes that were written are lost.
constexpr int patience_in_milliseconds = 60'000;

bool are_equal(const termios& one, const termios& other) {
  return one.c_iflag == other.c_iflag && one.c_oflag == other.c_oflag &&
         one.c_cflag == other.c_cflag && one.c_lflag == other.c_lflag &&
         std::ranges::equal(one.c_cc, other.c_cc);
}

}  // namespace

Line* Line::current = nullptr;

Line::Line(const simulator::Options& options, const std::filesystem::path& configuration)
    : bench_(options, configuration) {
  begin_anew();
  current = this;
}

Line::~Line() { current = nullptr; }

void Line::begin_anew() {
  reader_side_ = bench_.descriptor();
  device_ = bench_.state().device;
  found_ = settings();
  to_reader_ = to_host_ = 0;
}

termios Line::settings() const {
  const int descriptor = ::open(device_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios settings{};
  const bool known = descriptor >= 0 && ::tcgetattr(descriptor, &settings) == 0;
  ::close(descriptor);
  if (!known) throw std::runtime_error("the settings of the line cannot be read");
  return settings;
}

int Line::open() {
  if (is_hung_up()) begin_anew();
  forget_sessions();
  return ic_init(bench_.configuration().c_str(), 9600);
}

void Line::close() {
  ic_exit(handle_);
  handle_ = -1;
  if (!is_hung_up() && !are_equal(settings(), found_))
    throw std::runtime_error("the line has other settings than before the session");
}

void Line::settle() {
  serve();
  while (const auto due = bench_.next_due()) {
    now_ = std::max(now_, *due);
    serve();
  }
}

void Line::wait_for(int descriptor) const {
  pollfd polled{.fd = descriptor, .events = POLLIN, .revents = 0};
  if (::poll(&polled, 1, patience_in_milliseconds) <= 0)
    throw std::runtime_error("bytes were lost on the line");
}

void Line::serve() {
  while (!is_hung_up() && to_reader_ > 0) {
    wait_for(reader_side_);
    bench_.serve(now_, true, true);
  }
  if (!is_hung_up()) bench_.serve(now_, false, true);
}

std::clock_t Line::look() {
  serve();
  if (!is_hung_up() && to_host_ > 0) {
    wait_for(handle_);
    now_ += short_moment;
  } else {
    now_ += moment;
  }
  return static_cast<std::clock_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(now_.time_since_epoch()).count());
}

void Line::note_read(int descriptor, ssize_t count) {
  if (count <= 0 || is_hung_up()) return;
  if (descriptor == reader_side_) to_reader_ -= count;
  if (descriptor == handle_) to_host_ -= count;
}

void Line::note_write(int descriptor, ssize_t count) {
  if (count <= 0 || is_hung_up()) return;
  if (descriptor == reader_side_) to_host_ += count;
  if (descriptor == handle_) to_reader_ += count;
}

// The library flushes a line that it has just opened. What is on its way has to arrive first, or it
// would be too late for being thrown away.
void Line::before_flush(int descriptor) {
  handle_ = descriptor;
  serve();
  for (int there = 0; !is_hung_up() && there < to_host_;) {
    wait_for(handle_);
    if (::ioctl(handle_, FIONREAD, &there) != 0) break;
  }
  to_host_ = 0;
}

}  // namespace quorra::testing

using quorra::testing::Line;

extern "C" {

clock_t clock() noexcept { return Line::current == nullptr ? 0 : Line::current->look(); }

ssize_t read(int descriptor, void* buffer, size_t size) {
  const ssize_t count = syscall(SYS_read, descriptor, buffer, size);
  if (Line::current != nullptr) Line::current->note_read(descriptor, count);
  return count;
}

ssize_t write(int descriptor, const void* buffer, size_t size) {
  const ssize_t count = syscall(SYS_write, descriptor, buffer, size);
  if (Line::current != nullptr) Line::current->note_write(descriptor, count);
  return count;
}

int tcflush(int descriptor, int queue) noexcept {
  if (Line::current != nullptr) Line::current->before_flush(descriptor);
  return ioctl(descriptor, TCFLSH, queue);
}
}
