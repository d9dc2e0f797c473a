// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How many exchanges one to eight processes have at the same time, each with a virtual reader of
// its own that runs in the same process: in all of them together, in a second.

#include <quorra.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/report.hpp"
#include "bench/virtual_bench.hpp"

namespace {

using namespace quorra::benchmarks;

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(2);
}

class Pipe {
 public:
  Pipe() {
    if (pipe(ends_.data()) != 0) give_up("pipe");
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    for (const int end : ends_)
      close(end);
  }

  template <typename Value>
  void put(const Value& value) const {
    if (write(ends_[1], &value, sizeof value) != sizeof value) give_up("pipe");
  }
  template <typename Value>
  Value take() const {
    Value value{};
    if (read(ends_[0], &value, sizeof value) != sizeof value) give_up("a process has failed");
    return value;
  }

 private:
  std::array<int, 2> ends_{};
};

// Exchanges in a second, from the start that it is told to the end of the time.
double rate_of_one(unsigned speed, const Pipe& ready, const Pipe& start, double seconds) {
  const VirtualBench bench("4442", speed);
  ready.put(true);
  start.take<bool>();
  const double begin = now();
  double time = begin;
  int count = 0;
  for (; time < begin + seconds; time = now()) {
    std::array<unsigned char, 20> data{};
    if (srd_4442(bench.handle(), 16, 20, data.data()) != 0) give_up("srd_4442");
    ++count;
  }
  return count / (time - begin);
}

double rate_of(int processes, unsigned speed, double seconds) {
  const Pipe ready;
  const Pipe start;
  const Pipe rates;
  for (int process = 0; process < processes; ++process) {
    const pid_t child = fork();
    if (child < 0) give_up("fork");
    if (child == 0) {
      rates.put(rate_of_one(speed, ready, start, seconds));
      std::exit(0);
    }
  }
  for (int process = 0; process < processes; ++process)
    ready.take<bool>();
  for (int process = 0; process < processes; ++process)
    start.put(true);
  double sum = 0;
  for (int process = 0; process < processes; ++process)
    sum += rates.take<double>();
  for (int process = 0; process < processes; ++process) {
    int status = 0;
    if (wait(&status) < 0 || status != 0) give_up("a process has failed");
  }
  return sum;
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = wanted(argc, argv).quick ? 0.05 : 0.5;
  for (const unsigned speed : {0U, 115200U}) {
    for (const int processes : {1, 2, 3, 4, 6, 8}) {
      print({"processes",
             {{"line", std::to_string(speed)}, {"processes", std::to_string(processes)}},
             "/s",
             {rate_of(processes, speed, seconds)}});
    }
  }
}
