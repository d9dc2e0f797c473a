// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "simulator/cards/slot.hpp"

namespace quorra::simulator {

// Powers a card up that needs no reset. IO is let go, everything else stays low.
inline void power_up(Slot& slot) {
  slot.set_vcc(true);
  slot.set_io(true);
}

}  // namespace quorra::simulator
