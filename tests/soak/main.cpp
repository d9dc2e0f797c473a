// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Runs many operations with faults and prints what was done. Arguments: operations, seed.

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <string>

#include "tests/soak/soak.hpp"

int main(int argument_count, char** arguments) {
  try {
    if (argument_count != 3) throw std::invalid_argument("two arguments: operations, seed");
    const long operations = std::stol(arguments[1]);
    const auto seed = static_cast<unsigned>(std::stoul(arguments[2]));
    const auto start = std::chrono::steady_clock::now();
    const quorra::testing::Summary summary = quorra::testing::soak(seed, operations);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    fmt::print("{} operations, seed {}\n", summary.operations, seed);
    for (const auto& [place, count] : summary.operations_by_place)
      fmt::print("  {:12} {:8}\n", place, count);
    fmt::print("faults\n");
    long faults = 0;
    for (const auto& [kind, count] : summary.faults_by_kind) {
      fmt::print("  {:20} {:8}\n", kind, count);
      faults += count;
    }
    fmt::print("{} faults, {} reopenings, digest {:016x}, {:.0f} s\n", faults, summary.reopenings,
               summary.digest, time.count());
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "soak: {}\n", error.what());
    return 1;
  }
}
