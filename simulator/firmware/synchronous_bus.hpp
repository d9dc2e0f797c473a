// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>

#include "simulator/cards/slot.hpp"
#include "simulator/status.hpp"

namespace quorra::simulator {

// Clocks a byte out on IO, least significant bit first.
void send_byte(Slot& slot, std::uint8_t byte);

// Clocks a card that is processing until it lets IO go: success; not_written when it did so at
// once, as a card does that refuses to program a cell; no_answer when it never does.
Status finish_processing(Slot& slot);

}  // namespace quorra::simulator
