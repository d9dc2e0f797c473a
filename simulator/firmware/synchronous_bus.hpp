#pragma once

#include <cstdint>

#include "simulator/cards/slot.hpp"

namespace quorra::simulator {

// Clocks a byte out on IO, least significant bit first.
void send_byte(Slot& slot, std::uint8_t byte);

// Clocks a card that is processing until it lets IO go; false when it never does.
bool finish_processing(Slot& slot);

}  // namespace quorra::simulator
