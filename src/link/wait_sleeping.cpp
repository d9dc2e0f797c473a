// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Waits that sleep until the line has something to say, measured in real time, each by itself.

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <limits>

#include "link/stop.hpp"
#include "link/wait.hpp"

namespace quorra {
namespace {

// A reply that is arriving when a stop is seen has this long to complete.
constexpr Ticks grace = ticks_per_second / 4;

// How soon to try again where poll() is of no help. A line that hung up, a file, or a descriptor
// that is not open is ready at once and brings nothing; a terminal has room for a byte long before
// poll() says so.
constexpr Ticks retry_pause = ticks_per_second / 100;

constexpr Ticks never = std::numeric_limits<Ticks>::max();
constexpr int no_descriptor = -1;  // poll() passes over it

std::atomic<int> stop_descriptor{no_descriptor};
std::atomic<Ticks> last_tick{never};  // of every wait

Ticks now() {
  constexpr Ticks nanoseconds_per_tick = 1'000'000'000 / ticks_per_second;
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<Ticks>(time.tv_sec) * ticks_per_second +
         static_cast<Ticks>(time.tv_nsec) / nanoseconds_per_tick;
}

// Called by whoever sees that `descriptor` is readable. It has said all it has to say, and would
// only keep poll() from sleeping.
void begin_to_stop(int descriptor) {
  last_tick = now() + grace;
  stop_descriptor.compare_exchange_strong(descriptor, no_descriptor);
}

int milliseconds(Ticks ticks) {
  constexpr Ticks per_millisecond = ticks_per_second / 1000;
  return static_cast<int>((ticks + per_millisecond - 1) / per_millisecond);
}

Ticks left_until(Ticks end, Ticks time) { return end > time ? end - time : 0; }

}  // namespace

void stop_waits_when_readable(int descriptor) {
  last_tick = never;
  stop_descriptor = descriptor;
}

Wait::Wait(Ticks limit) : start_(now()), limit_(limit) {}

bool Wait::goes_on(int handle, short awaited) {
  // Looked at first: once it is gone because of a stop, the last tick is known.
  const int stop = stop_descriptor;
  const Ticks time = now();
  const Ticks left = std::min(left_until(start_ + limit_, time), left_until(last_tick, time));
  if (left == 0) return false;

  pollfd asked[] = {{mistaken_ ? no_descriptor : handle, awaited, 0}, {stop, POLLIN, 0}};
  const bool retries = mistaken_ || awaited == POLLOUT;
  // Whether it is ready, late, or interrupted by a signal: there is time for another attempt.
  poll(asked, std::size(asked), milliseconds(retries ? std::min(left, retry_pause) : left));
  mistaken_ = asked[0].revents != 0;
  if (asked[1].revents != 0) begin_to_stop(stop);
  return true;
}

}  // namespace quorra
