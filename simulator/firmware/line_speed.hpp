// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <optional>

namespace quorra::simulator {

// The lower half of the reader's speed byte is a code for the speed of its line.
inline constexpr std::uint8_t speed_code_mask = 0x0F;

// The speed byte of a reader whose line has that speed, in bits per second. Speeds without a code
// of their own have that of 9600.
std::uint8_t code_of_speed(unsigned speed);

// The speed, in bits per second, that a speed byte asks for; absent if its code is none.
std::optional<unsigned> speed_of_code(std::uint8_t speed_byte);

}  // namespace quorra::simulator
