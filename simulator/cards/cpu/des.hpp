// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace quorra::simulator {

using DesBlock = std::array<std::uint8_t, 8>;

// Enciphers one block with single DES. Throws Error if the cipher cannot be had.
DesBlock encipher_with_des(std::span<const std::uint8_t, 8> key,
                           std::span<const std::uint8_t, 8> block);

}  // namespace quorra::simulator
