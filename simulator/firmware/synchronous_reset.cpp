// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/synchronous_reset.hpp"

namespace quorra::simulator {

void power_and_reset(Slot& slot) {
  constexpr int bits_of_answer = 32;
  slot.set_vcc(true);
  slot.set_io(true);
  slot.set_rst(true);
  slot.clock_pulse();
  slot.set_rst(false);
  for (int bit = 0; bit < bits_of_answer; ++bit)
    slot.clock_pulse();
}

}  // namespace quorra::simulator
