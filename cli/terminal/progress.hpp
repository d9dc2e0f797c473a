// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How far a long transfer is, told on standard error.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace quorra::cli {

// Tells it on a descriptor, as a line of JSON. Whoever does not read it any more does not want it.
void tell_progress(int descriptor, std::string_view doing, int done, int total);

// A transfer that is quickly over shows nothing. On a terminal, a longer one has a bar that is
// drawn over and over again in the same line, and taken away at the end; elsewhere there is a line
// every few seconds.
class ProgressDisplay {
 public:
  // done_word: what becomes of the bytes, "read" for example. shown: whether it is wanted at all.
  ProgressDisplay(std::string_view done_word, int total, bool shown);
  ProgressDisplay(const ProgressDisplay&) = delete;
  ProgressDisplay& operator=(const ProgressDisplay&) = delete;
  ~ProgressDisplay();

  // Tells that `done` of the bytes are through.
  void advance(int done);

 private:
  using Clock = std::chrono::steady_clock;

  // "1440 of 8192 bytes read, 850 bytes/s, 0:08 left"
  std::string describe(int done, Clock::duration elapsed) const;
  std::string bar(int done) const;

  std::string_view done_word_;
  int total_;
  bool shown_;
  bool on_terminal_;
  bool drawn_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_;
};

}  // namespace quorra::cli
