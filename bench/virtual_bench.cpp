// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "bench/virtual_bench.hpp"

#include <quorra.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/line.hpp"
#include "simulator/cards/kinds.hpp"

namespace quorra::benchmarks {
namespace {

std::unique_ptr<simulator::RunningReader> start(const simulator::Options& options) {
  const Precedence precedence;
  return std::make_unique<simulator::RunningReader>(options);
}

}  // namespace

VirtualBench::VirtualBench(const char* kind, unsigned line_speed)
    : reader_(start(options(kind, line_speed))) {
  // The name of an earlier bench's line may have been longer.
  std::memset(DRVCOMM, 0, sizeof DRVCOMM);
  handle_ = ic_init((**reader_).configuration().c_str(), 9600);
  if (handle_ < 0) {
    std::fputs("no session\n", stderr);
    std::exit(2);
  }
}

VirtualBench::~VirtualBench() { ic_exit(handle_); }

simulator::Options VirtualBench::options(const char* kind, unsigned line_speed) const {
  simulator::Options options;
  options.card = folder_.path() / "card";
  options.speed = line_speed;
  save_image(simulator::Image(simulator::find_kind(kind)), options.card);
  return options;
}

}  // namespace quorra::benchmarks
