// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/system.hpp"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

namespace quorra::testing {

System& System::instance() {
  static System system;
  return system;
}

void System::reset() { *this = System{}; }

bool System::watches(int descriptor) const {
  struct stat status {};
  return watched != 0 && fstat(descriptor, &status) == 0 && status.st_rdev == watched;
}

ssize_t system_read(int descriptor, void* buffer, std::size_t size) {
  return syscall(SYS_read, descriptor, buffer, size);
}

ssize_t system_write(int descriptor, const void* buffer, std::size_t size) {
  return syscall(SYS_write, descriptor, buffer, size);
}

int system_poll(pollfd* descriptors, nfds_t count, int milliseconds) {
  const timespec time{milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
  return ppoll(descriptors, count, milliseconds < 0 ? nullptr : &time, nullptr);
}

timespec system_time(clockid_t clock) {
  timespec time{};
  (void)syscall(SYS_clock_gettime, clock, &time);
  return time;
}

}  // namespace quorra::testing

using quorra::testing::Bytes;
using quorra::testing::System;

extern "C" {

clock_t clock() noexcept {
  System& system = System::instance();
  ++system.clock_readings;
  if (system.clock) return system.clock();
  const timespec now = quorra::testing::system_time(CLOCK_PROCESS_CPUTIME_ID);
  return now.tv_sec * CLOCKS_PER_SEC + now.tv_nsec / (1'000'000'000 / CLOCKS_PER_SEC);
}

ssize_t read(int descriptor, void* buffer, size_t size) {
  System& system = System::instance();
  if (system.lets_fail(System::Call::read)) return -1;
  if (system.watches(descriptor)) {
    ++system.reads;
    if (system.before_read) {
      if (const auto result = system.before_read()) return *result;
    }
  }
  return quorra::testing::system_read(descriptor, buffer, size);
}

ssize_t write(int descriptor, const void* buffer, size_t size) {
  System& system = System::instance();
  if (system.lets_fail(System::Call::write)) return -1;
  if (!system.watches(descriptor)) return quorra::testing::system_write(descriptor, buffer, size);
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  const Bytes handed(bytes, bytes + size);
  std::optional<ssize_t> result;
  if (system.before_write) result = system.before_write(handed);
  if (!result) result = quorra::testing::system_write(descriptor, buffer, size);
  system.writes.push_back({handed, *result});
  if (*result > 0) system.bytes_written += static_cast<std::size_t>(*result);
  return *result;
}

int tcflush(int descriptor, int queue) noexcept {
  System& system = System::instance();
  if (system.lets_fail(System::Call::flush)) return -1;
  if (system.watches(descriptor)) {
    system.flushes.push_back(queue);
    if (system.before_flush) system.before_flush();
  }
  return ioctl(descriptor, TCFLSH, queue);
}
}
