// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Boxes of DES as circuits of logic gates, which work on as many blocks at a time as a word has
// bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "crypto/tables.hpp"

namespace quorra::des {

enum class Operation : std::uint8_t { both, either, differ, only_first, negation };

// Its operands are numbers of wires: 0 to 5 are the inputs, the first the most significant, then
// comes what each gate puts out, in their order. A negation has one operand, given twice.
struct Gate {
  Operation operation;
  std::uint8_t first;
  std::uint8_t second;
};

inline constexpr std::size_t box_inputs = 6;
inline constexpr std::size_t box_outputs = 4;

template <std::size_t size>
struct Circuit {
  std::array<Gate, size> gates;
  std::array<std::uint8_t, box_outputs> outputs;  // wires, the most significant first
};

template <Operation operation, typename Word>
[[gnu::always_inline]] constexpr Word put_out(Word first, Word second) {
  if constexpr (operation == Operation::both)
    return first & second;
  else if constexpr (operation == Operation::either)
    return first | second;
  else if constexpr (operation == Operation::differ)
    return first ^ second;
  else if constexpr (operation == Operation::only_first)
    return first & ~second;
  else
    return ~first;
}

template <const auto& circuit, typename Word>
[[gnu::always_inline]] constexpr void evaluate(const Word (&inputs)[box_inputs],
                                               Word (&outputs)[box_outputs]) {
  constexpr auto& gates = circuit.gates;
  Word wires[box_inputs + gates.size()]{};
  for (std::size_t i = 0; i < box_inputs; ++i)
    wires[i] = inputs[i];
  [&]<std::size_t... i>(std::index_sequence<i...>) __attribute__((always_inline)) {
    ((wires[box_inputs + i] =
          put_out<gates[i].operation>(wires[gates[i].first], wires[gates[i].second])),
     ...);
  }
  (std::make_index_sequence<gates.size()>());
  for (std::size_t i = 0; i < box_outputs; ++i)
    outputs[i] = wires[circuit.outputs[i]];
}

// A wire for each of the 64 inputs of a box.
using TruthTable = std::uint64_t;
inline constexpr std::size_t box_cases = 64;

// Where an input of a box is 1.
constexpr TruthTable truth_of_input(std::size_t input) {
  TruthTable truth = 0;
  for (std::size_t i = 0; i < box_cases; ++i)
    truth |= TruthTable{i >> (box_inputs - 1 - input) & 1U} << i;
  return truth;
}

// Where an output of a box is 1.
constexpr TruthTable truth_of_output(std::size_t box, std::size_t output) {
  TruthTable truth = 0;
  for (std::size_t i = 0; i < box_cases; ++i)
    truth |= TruthTable{substituted(box, i) >> (box_outputs - 1 - output) & 1U} << i;
  return truth;
}

// Whether a circuit puts out what the table of a box says.
template <const auto& circuit>
constexpr bool is_box(std::size_t box) {
  TruthTable inputs[box_inputs];
  for (std::size_t i = 0; i < box_inputs; ++i)
    inputs[i] = truth_of_input(i);
  TruthTable outputs[box_outputs]{};
  evaluate<circuit>(inputs, outputs);
  for (std::size_t i = 0; i < box_outputs; ++i) {
    if (outputs[i] != truth_of_output(box, i)) return false;
  }
  return true;
}

}  // namespace quorra::des
