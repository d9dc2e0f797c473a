// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Waiting for the line: the one place where the library measures time. quorra.so spins
// (wait_spinning.cpp); the programs of this project link the same library with waits that sleep and
// can be stopped (wait_sleeping.cpp, stop.hpp).
#pragma once

#include <poll.h>

#include <ctime>
#include <type_traits>

namespace quorra {

// One tick is one microsecond. Unsigned, so that what went by is right wherever the clock stands
// and wherever it wraps.
using Ticks = std::make_unsigned_t<std::clock_t>;
inline constexpr Ticks ticks_per_second = CLOCKS_PER_SEC;

// A wait begins when it is made and is over once `limit` ticks went by. Whoever waits for something
// tries to have it, and asks the wait between two attempts whether there is time for another one.
class Wait {
 public:
  explicit Wait(Ticks limit);

  bool goes_on() { return goes_on(-1, 0); }
  bool goes_on_for_input(int handle) { return goes_on(handle, POLLIN); }
  bool goes_on_for_room(int handle) { return goes_on(handle, POLLOUT); }

 private:
  bool goes_on(int handle, short awaited);

  Ticks start_;
  Ticks limit_;
  // The line was said to be ready; another attempt shows that it is not. Who spins does not ask.
  [[maybe_unused]] bool mistaken_ = false;
};

}  // namespace quorra
