// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "bench/line.hpp"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <quorra.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace quorra::benchmarks {
namespace {

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(2);
}

}  // namespace

Line::Line() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
  if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) give_up("pseudo-terminal");
  device_ = ptsname(master_);
  program_ = open(device_.c_str(), O_RDWR | O_NOCTTY);
  termios settings{};
  if (program_ < 0 || tcgetattr(program_, &settings) != 0) give_up("pseudo-terminal");
  cfmakeraw(&settings);
  settings.c_cc[VMIN] = 0;
  if (tcsetattr(program_, TCSANOW, &settings) != 0) give_up("pseudo-terminal");
  term_flg = 1;
}

Line::~Line() {
  close(program_);
  close(master_);
}

void Line::send(const Bytes& reply) const {
  const auto size = static_cast<ssize_t>(reply.size());
  if (write(master_, reply.data(), reply.size()) != size) give_up("reply");
  int waiting = 0;
  while (waiting != size) {
    if (ioctl(program_, FIONREAD, &waiting) != 0) give_up("reply");
  }
}

void Line::take(const Bytes& request) const {
  if (take_some(request.size()) != request) give_up("another request than expected");
}

void Line::drop(std::size_t count) const { (void)take_some(count); }

Bytes Line::take_some(std::size_t count) const {
  Bytes taken(count);
  for (std::size_t size = 0; size < count;) {
    const ssize_t got = read(master_, taken.data() + size, count - size);
    if (got < 1) give_up("request");
    size += static_cast<std::size_t>(got);
  }
  return taken;
}

void Line::answer(const Bytes& request, const Bytes& reply) const {
  pollfd waiting{.fd = master_, .events = POLLIN, .revents = 0};
  if (poll(&waiting, 1, -1) != 1) give_up("poll");
  take(request);
  if (write(master_, reply.data(), reply.size()) != static_cast<ssize_t>(reply.size()))
    give_up("reply");
}

void Line::answer_paced(const Bytes& request, const Bytes& reply, double byte_time) const {
  // What is due is due then, and not when it suits other timers.
  prctl(PR_SET_TIMERSLACK, 1);
  pollfd waiting{.fd = master_, .events = POLLIN, .revents = 0};
  if (poll(&waiting, 1, -1) != 1) give_up("poll");
  const double start = now();
  take(request);
  auto bytes = static_cast<double>(request.size());
  for (const unsigned char& byte : reply) {
    const double due = start + ++bytes * byte_time;
    const auto seconds = static_cast<time_t>(due);
    const timespec time{.tv_sec = seconds,
                        .tv_nsec = static_cast<long>((due - static_cast<double>(seconds)) * 1e9)};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) == EINTR) {
    }
    if (write(master_, &byte, 1) != 1) give_up("reply");
  }
}

void Line::exchange_by_bare_calls(const Bytes& request, const Bytes& reply) const {
  for (const unsigned char byte : request) {
    if (write(program_, &byte, 1) != 1) give_up("write");
  }
  for (const unsigned char expected : reply) {
    unsigned char byte = 0;
    ssize_t got = 0;
    while (got == 0) {
      benchmark::DoNotOptimize(std::clock());
      got = read(program_, &byte, 1);
    }
    if (got != 1 || byte != expected) give_up("read");
  }
}

void Line::exchange_by_sleeping_calls(const Bytes& request, const Bytes& reply) const {
  for (const unsigned char byte : request) {
    if (write(program_, &byte, 1) != 1) give_up("write");
  }
  for (const unsigned char expected : reply) {
    pollfd waiting{.fd = program_, .events = POLLIN, .revents = 0};
    unsigned char byte = 0;
    if (poll(&waiting, 1, -1) != 1) give_up("poll");
    if (read(program_, &byte, 1) != 1 || byte != expected) give_up("read");
  }
}

double Line::now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace quorra::benchmarks
