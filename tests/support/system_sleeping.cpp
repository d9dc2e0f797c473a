// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The time of the test, for a library whose waits sleep.

#include <poll.h>

#include <ctime>

#include "tests/support/system.hpp"

using quorra::testing::System;

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  System& system = System::instance();
  if (clock != CLOCK_MONOTONIC || !system.clock) {
    *time = quorra::testing::system_time(clock);
    return 0;
  }
  ++system.clock_readings;
  const std::clock_t now = system.clock();
  *time = {now / CLOCKS_PER_SEC, now % CLOCKS_PER_SEC * (1'000'000'000 / CLOCKS_PER_SEC)};
  return 0;
}

int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
  System& system = System::instance();
  if (!system.clock) return quorra::testing::system_poll(descriptors, count, milliseconds);
  system.poll_timeouts.push_back(milliseconds);
  if (system.lets_fail(System::Call::poll)) return -1;
  return quorra::testing::system_poll(descriptors, count, 0);
}
}
