// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a program measured, as scripts/bench reads it.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace quorra::benchmarks {

// What was measured again and again, in one unit. The labels tell it from others of its figure.
struct Series {
  std::string figure;
  std::vector<std::pair<std::string, std::string>> labels;
  std::string unit;
  std::vector<double> values;
};

// Prints a series as one line of JSON.
void print(const Series& series);

// What a program is asked for: figures as JSON, and just a little of each to see that all works.
struct Wanted {
  bool json = false;
  bool quick = false;
};

// From the arguments --json and --quick. Ends the program with status 2 if there are others.
Wanted wanted(int argc, char** argv);

// Seconds, of a clock that is not set; and of the processors, for this thread alone.
double now();
double processor_time();

}  // namespace quorra::benchmarks
