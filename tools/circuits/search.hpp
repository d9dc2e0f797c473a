// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Finds circuits of few gates for the boxes of DES.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "crypto/circuit.hpp"

namespace quorra::des {

// What a gate puts out.
TruthTable put_out(Operation operation, TruthTable first, TruthTable second);

struct FoundCircuit {
  std::vector<Gate> gates;
  std::array<std::uint8_t, box_outputs> outputs{};
};

inline constexpr std::size_t most_gates = 80;

// One attempt to build a box with fewer than `below` gates, 81 at most. What it finds depends on
// its arguments alone.
std::optional<FoundCircuit> attempt(std::size_t box, std::uint64_t seed, std::size_t below);

}  // namespace quorra::des
