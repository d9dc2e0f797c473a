// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>

namespace quorra::simulator {

// What an area of the memory of a security chip is for.
enum class AreaRole : std::uint8_t {
  identification,  // of the chip, its maker and the issuer of the card
  code,            // a security code; number 0 is the master code
  attempts,        // one byte with the attempts at the code of the same number
  guarded,         // memory that the master code guards
  zone,            // an application zone, from 1 on; its first byte holds the flags
  erase_code,      // the code for erasing the zone of the same number
  erase_counter,   // a bit for each time the zone of the same number can still be erased
  stage,           // units that can be spent, a bit each; its number is its address
  nothing,         // no cells
  fuse,            // one byte, whose first bit is the fuse
};

// An area lasts until the next one begins.
struct Area {
  std::size_t first = 0;
  AreaRole role = AreaRole::nothing;
  std::size_t number = 0;
};

}  // namespace quorra::simulator
