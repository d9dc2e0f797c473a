// Waiting, measured in processor time of the process: every wait is a busy loop.
#pragma once

#include <ctime>
#include <type_traits>

namespace quorra {

// One tick of clock() is one microsecond.
using Ticks = std::make_unsigned_t<std::clock_t>;
inline constexpr Ticks ticks_per_second = CLOCKS_PER_SEC;

// Unsigned, so that the result is right wherever the clock stands and wherever it wraps.
inline Ticks elapsed_since(std::clock_t start) {
  return static_cast<Ticks>(std::clock()) - static_cast<Ticks>(start);
}

}  // namespace quorra
