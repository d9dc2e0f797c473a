// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "bench/report.hpp"

#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>

namespace quorra::benchmarks {
namespace {

double seconds_of(clockid_t clock) {
  timespec time{};
  (void)clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

void print(const Series& series) {
  nlohmann::ordered_json line;
  line["figure"] = series.figure;
  line["labels"] = nlohmann::ordered_json::object();
  for (const auto& [name, value] : series.labels)
    line["labels"][name] = value;
  line["unit"] = series.unit;
  line["values"] = series.values;
  std::puts(line.dump().c_str());
  // Processes that begin later must not print it again.
  std::fflush(stdout);
}

Wanted wanted(int argc, char** argv) {
  Wanted wanted;
  for (const std::string_view argument :
       std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
    if (argument == "--json") {
      wanted.json = true;
    } else if (argument == "--quick") {
      wanted.quick = true;
    } else {
      std::fprintf(stderr, "usage: %s [--json] [--quick]\n", argv[0]);
      std::exit(2);
    }
  }
  return wanted;
}

double now() { return seconds_of(CLOCK_MONOTONIC); }

double processor_time() { return seconds_of(CLOCK_THREAD_CPUTIME_ID); }

}  // namespace quorra::benchmarks
