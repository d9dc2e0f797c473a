// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <filesystem>
#include <memory>

#include "simulator/bench/virtual_reader.hpp"

namespace quorra::benchmarks {

// A folder that goes away with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

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

  TemporaryFolder folder_;
  std::unique_ptr<simulator::RunningReader> reader_;
  int handle_ = -1;
};

}  // namespace quorra::benchmarks
