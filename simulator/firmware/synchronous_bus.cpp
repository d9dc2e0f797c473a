// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/synchronous_bus.hpp"

namespace quorra::simulator {

void send_byte(Slot& slot, std::uint8_t byte) {
  for (unsigned bit = 0; bit < 8; ++bit) {
    slot.set_io((byte >> bit & 1U) != 0);
    slot.clock_pulse();
  }
}

Status finish_processing(Slot& slot) {
  constexpr int clocks_of_a_refusal = 8;
  constexpr int more_clocks_than_any_operation = 1024;
  for (int clock = 0; clock < more_clocks_than_any_operation; ++clock) {
    if (slot.read_io()) {
      return clock > clocks_of_a_refusal ? Status::success : Status::not_written;
    }
    slot.clock_pulse();
  }
  return Status::no_answer;
}

}  // namespace quorra::simulator
