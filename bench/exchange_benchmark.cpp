// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What an exchange costs beyond the system calls that it cannot do without: a request of 12 bytes
// sent one by one, and a reply of 25 bytes read one by one, with a reading of the clock for each.
//
// Library and bare calls take turns in one run. Exit status 1: the library took more than 1.15
// times as long as the bare calls.

#include <benchmark/benchmark.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/line.hpp"

namespace {

using quorra::benchmarks::Bytes;
using quorra::benchmarks::Line;

constexpr double allowed_ratio = 1.15;

// Reads 20 bytes at address 16 of a 4442 card.
const Bytes request = {0xAA, 0x61, 0x00, 0x07, 0x79, 0x00, 0x00, 0x00, 0x10, 0x00, 0x14, 0xB1};
const Bytes reply = {0x55, 0x00, 0x00, 0x14, 1,  2,  3,  4,  5,  6,  7,  8,   9,
                     10,   11,   12,   13,   14, 15, 16, 17, 18, 19, 20, 0x55};

void exchange_by_library(int handle) {
  std::array<unsigned char, 20> data{};
  if (srd_4442(handle, 16, 20, data.data()) != 0 || data[19] != 20) std::exit(2);
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double worst_ratio = 0;

void exchange(benchmark::State& state) {
  const Line line;
  std::vector<double> library;
  std::vector<double> bare;
  for ([[maybe_unused]] auto round : state) {
    library.push_back(
        line.seconds_for(request, reply, [&] { exchange_by_library(line.program()); }));
    bare.push_back(
        line.seconds_for(request, reply, [&] { line.exchange_by_bare_calls(request, reply); }));
    state.SetIterationTime(library.back());
  }
  const double ratio = median(library) / median(bare);
  worst_ratio = std::max(worst_ratio, ratio);
  state.counters["library_us"] = median(library) * 1e6;
  state.counters["bare_us"] = median(bare) * 1e6;
  state.counters["ratio"] = ratio;
}
BENCHMARK(exchange)->UseManualTime()->Iterations(20000)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::printf("worst ratio of library to bare calls: %.3f (allowed: %.2f)\n", worst_ratio,
              allowed_ratio);
  return worst_ratio <= allowed_ratio ? 0 : 1;
}
