// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <memory>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/files.hpp"

namespace quorra::benchmarks {

// A virtual reader with a new card, and a session on it.
class VirtualBench {
 public:
  // Without a speed, in bits per second, bytes take no time.
  explicit VirtualBench(const char* kind, unsigned line_speed = 0);
  VirtualBench(const VirtualBench&) = delete;
  VirtualBench& operator=(const VirtualBench&) = delete;
  ~VirtualBench();

  int handle() const { return handle_; }

 private:
  simulator::Options options(const char* kind, unsigned line_speed) const;

  simulator::TemporaryFolder folder_;
  std::unique_ptr<simulator::RunningReader> reader_;
  int handle_ = -1;
};

}  // namespace quorra::benchmarks
