// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "simulator/cards/slot.hpp"

namespace quorra::simulator {

// Powers a card up and resets it as synchronous cards are reset: one clock pulse while RST is
// high, then the 32 bits of the answer to reset are clocked out. Ends with RST and CLK low and IO
// let go.
void power_and_reset(Slot& slot);

}  // namespace quorra::simulator
