// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The library's search for the speed of a virtual reader, without waiting for the time to pass.
#pragma once

#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "simulator/files.hpp"

namespace quorra::testing {

// While it lives, the processor time of this process passes only when somebody looks at it, and not
// before the reader has done all that there is to do. So an answer that comes at all comes in time,
// however busy the machine is, and silence does not take long.
class UnhurriedTime {
 public:
  // `carry` returns when what stands between this process and the reader has handed on, in both
  // directions, all bytes that were there when it was called. Throws Error or std::runtime_error.
  explicit UnhurriedTime(
      const std::filesystem::path& control_socket, std::function<void()> carry = [] {});
  UnhurriedTime(const UnhurriedTime&) = delete;
  UnhurriedTime& operator=(const UnhurriedTime&) = delete;
  ~UnhurriedTime();

 private:
  std::clock_t look();
  void let_the_reader_work() const;
  void ask_the_reader() const;

  simulator::FileDescriptor reader_;
  std::function<void()> carry_;
  std::clock_t now_ = 0;
};

// A line with what chk_baud finds, and one for each of the speeds: the version that is read in the
// session of auto_init, or the code if there is none.
std::string search(const char* configuration, const std::vector<int>& speeds);

}  // namespace quorra::testing
