// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The system as the library under test sees it. The test process defines clock(), read(), write()
// and tcflush() itself, so a test can set the time, make a call fail, and see each call made. Where
// the library's waits sleep it also defines clock_gettime() and poll(), for the same time.
#pragma once

#include <poll.h>
#include <sys/types.h>

#include <ctime>
#include <functional>
#include <optional>
#include <vector>

#include "tests/support/bytes.hpp"

namespace quorra::testing {

class System {
 public:
  static System& instance();

  // Back to the real system, with nothing recorded.
  void reset();

  // Called on each clock() once set; the real processor time otherwise. Once set, it is what the
  // monotonic clock says, too, and poll() tells what is ready without sleeping: waits cost nothing,
  // and with either kind of wait there is one reading of the clock between two attempts.
  std::function<std::clock_t()> clock;

  // Asked before each read() of or write() to the watched device; a value is returned to the
  // library in place of the call.
  std::function<std::optional<ssize_t>()> before_read;
  std::function<std::optional<ssize_t>(const Bytes&)> before_write;

  // Asked before each of these calls of anybody, while it is set; true makes the call fail. What a
  // call that fails gives, and errno, are then its own.
  enum class Call {
    open,
    close,
    control,
    read,
    write,
    get_settings,
    set_settings,
    flush,
    name_terminal,
    open_file,
    read_line,
    close_file,
    poll,
  };
  std::function<bool(Call)> fails;

  // Called before each tcflush() of the watched device.
  std::function<void()> before_flush;

  // The device whose calls are recorded and asked about.
  dev_t watched = 0;

  struct Write {
    Bytes bytes;     // what the library handed over
    ssize_t result;  // what the call returned
  };
  std::vector<Write> writes;
  std::size_t bytes_written = 0;
  std::vector<int> flushes;  // the queues that tcflush() named
  long reads = 0;
  long clock_readings = 0;
  std::vector<int> poll_timeouts;  // in milliseconds, of each poll()

  bool watches(int descriptor) const;
  bool lets_fail(Call call) const { return fails && fails(call); }
};

// Calls that go past the recording and the clock, for the test's own side of the line.
ssize_t system_read(int descriptor, void* buffer, std::size_t size);
ssize_t system_write(int descriptor, const void* buffer, std::size_t size);
int system_poll(pollfd* descriptors, nfds_t count, int milliseconds);
timespec system_time(clockid_t clock);

}  // namespace quorra::testing
