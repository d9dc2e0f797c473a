// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Makes src/crypto/circuits.hpp: the boxes of DES as circuits of gates.

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "circuits/search.hpp"
#include "crypto/circuit.hpp"

namespace quorra::des {
namespace {

constexpr const char* usage =
    R"(usage: des_circuits                                writes circuits.hpp to the standard output
       des_circuits check FILE                    whether that is what stands in FILE
       des_circuits search BOX BELOW SEED SECONDS looks for circuits of fewer gates than BELOW for
                                                  box 1 to 8, with one seed after the other, and tells
                                                  what it found, for so long of processor time

What a search prints, seed and bound, belongs into the table `attempts` in des_circuits.cpp, from
which the file is made anew. A minute a box is enough for 41 to 60 gates.
)";

struct Attempt {
  std::uint64_t seed;
  std::size_t below;
};

// The best that were found.
constexpr std::array<Attempt, boxes> attempts{{
    {9690, 60},
    {11476, 57},
    {11382, 57},
    {1457, 44},
    {12712, 61},
    {11236, 59},
    {13972, 58},
    {10548, 57},
}};

bool is_box(const FoundCircuit& circuit, std::size_t box) {
  std::vector<TruthTable> wires;
  for (std::size_t i = 0; i < box_inputs; ++i)
    wires.push_back(truth_of_input(i));
  for (const Gate& gate : circuit.gates)
    wires.push_back(put_out(gate.operation, wires[gate.first], wires[gate.second]));
  for (std::size_t i = 0; i < box_outputs; ++i) {
    if (wires[circuit.outputs[i]] != truth_of_output(box, i)) return false;
  }
  return true;
}

std::optional<FoundCircuit> find(std::size_t box, Attempt what) {
  auto circuit = attempt(box, what.seed, what.below);
  if (circuit && !is_box(*circuit, box)) circuit.reset();
  return circuit;
}

constexpr const char* file_begin =
    R"(// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Made by des_circuits (tools/circuits); changed there, not here.
#pragma once

#include "crypto/circuit.hpp"

// clang-format off
namespace quorra::des::circuits {

using enum Operation;
)";

constexpr const char* file_end = R"(
}  // namespace quorra::des::circuits
// clang-format on
)";

const char* name_of(Operation operation) {
  switch (operation) {
    case Operation::both:
      return "both";
    case Operation::either:
      return "either";
    case Operation::differ:
      return "differ";
    case Operation::only_first:
      return "only_first";
    case Operation::negation:
      return "negation";
  }
  return "";
}

// Items one behind the other, in lines that are not too long.
std::string in_lines(const std::vector<std::string>& items) {
  std::string text;
  std::size_t line = 0;
  for (const std::string& item : items) {
    if (line + item.size() + 2 > 100) line = 0;
    text += line == 0 ? "\n    " : " ";
    line += item.size() + (line == 0 ? 5 : 2);
    text += item + ",";
  }
  return text;
}

std::string text_of(std::size_t box, const FoundCircuit& circuit) {
  std::vector<std::string> gates;
  for (const Gate& gate : circuit.gates) {
    gates.push_back(std::string("{") + name_of(gate.operation) + ", " + std::to_string(gate.first) +
                    ", " + std::to_string(gate.second) + "}");
  }
  std::string outputs;
  for (const std::uint8_t wire : circuit.outputs)
    outputs += (outputs.empty() ? "" : ", ") + std::to_string(wire);
  return "\ninline constexpr Circuit<" + std::to_string(gates.size()) + "> box_" +
         std::to_string(box + 1) + "{{{" + in_lines(gates) + "\n}}, {" + outputs + "}};\n";
}

// Empty if an attempt no longer finds anything.
std::string file() {
  std::string text = file_begin;
  for (std::size_t box = 0; box < boxes; ++box) {
    const auto circuit = find(box, attempts[box]);
    if (!circuit) return {};
    text += text_of(box, *circuit);
  }
  return text + file_end;
}

int check(const char* name) {
  std::ifstream stream(name, std::ios::binary);
  const std::string found{std::istreambuf_iterator<char>(stream), {}};
  const std::string made = file();
  if (!made.empty() && found == made) return 0;
  (void)std::fprintf(stderr, "des_circuits: %s is not what is made here\n", name);
  return 1;
}

int search(std::size_t box, Attempt what, double seconds) {
  const auto elapsed = [] { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; };
  for (; elapsed() < seconds; ++what.seed) {
    const auto circuit = find(box, what);
    if (!circuit) continue;
    (void)std::printf("box %zu: %zu gates, seed %llu, below %zu\n", box + 1, circuit->gates.size(),
                      static_cast<unsigned long long>(what.seed), what.below);
    (void)std::fflush(stdout);
    what.below = circuit->gates.size();
  }
  return 0;
}

std::optional<std::uint64_t> number(std::string_view text, std::uint64_t least,
                                    std::uint64_t most) {
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  const bool whole = result.ec == std::errc{} && result.ptr == end;
  if (!whole || value < least || value > most) return std::nullopt;
  return value;
}

int run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    const std::string text = file();
    (void)std::fputs(text.c_str(), stdout);
    return text.empty() ? 1 : 0;
  }
  if (arguments[0] == "check" && arguments.size() == 2) return check(arguments[1].c_str());
  if (arguments[0] == "search" && arguments.size() == 5) {
    const auto box = number(arguments[1], 1, boxes);
    const auto below = number(arguments[2], 1, most_gates + 1);
    const auto seed = number(arguments[3], 0, UINT64_MAX);
    const auto seconds = number(arguments[4], 1, 1'000'000);
    if (box && below && seed && seconds)
      return search(*box - 1, {*seed, *below}, static_cast<double>(*seconds));
  }
  (void)std::fputs(usage, stderr);
  return 2;
}

}  // namespace
}  // namespace quorra::des

int main(int argc, char** argv) {
  return quorra::des::run(std::vector<std::string>(argv + 1, argv + argc));
}
