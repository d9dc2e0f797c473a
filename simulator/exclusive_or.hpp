// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <functional>
#include <numeric>
#include <span>

namespace quorra::simulator {

// The check byte of frames and of blocks.
inline std::uint8_t exclusive_or(std::span<const std::uint8_t> bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), std::uint8_t{0}, std::bit_xor<>());
}

}  // namespace quorra::simulator
