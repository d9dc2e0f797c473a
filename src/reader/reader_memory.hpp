// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The reader's own memory: where its parts lie, and the one road to them.
#pragma once

#include "link/codes.hpp"

namespace quorra {

// Addresses below belong to the application.
inline constexpr int application_size = 0x0180;
inline constexpr int speed_address = 0x0180;
inline constexpr int security_mode_address = 0x0181;
inline constexpr int security_code_address = 0x0182;
inline constexpr int value_register_address = 0x0185;
inline constexpr int serial_number_address = 0x0190;

// Transfers `count` bytes frame by frame. Returns 0, a link code or the negated STATUS; a frame
// that fails leaves its part of `bytes` as it was. `too_short` as for read_memory.
int read_reader_memory(int handle, int address, int count, unsigned char* bytes,
                       Code too_short = ok);
int write_reader_memory(int handle, int address, int count, const unsigned char* bytes);

}  // namespace quorra
