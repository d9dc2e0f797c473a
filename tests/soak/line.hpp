// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The line between the library and a virtual reader in one thread, with a time of its own. Whenever
// the library looks at the clock, the reader does what it has to do; when nothing is on its way in
// either direction, a moment passes. So waits cost nothing, and the same calls take the same
// course.
#pragma once

#include <termios.h>

#include <ctime>
#include <filesystem>
#include <string>

#include "simulator/bench/bench.hpp"

namespace quorra::testing {

class Line {
 public:
  explicit Line(const simulator::Options& options, const std::filesystem::path& configuration);
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line();

  simulator::Bench& bench() { return bench_; }

  // Opens a session: its handle, or what ic_init returned.
  int open();
  // Ends the session. Throws if the line has other settings than before the session.
  void close();
  // Lets time pass until the reader has sent all that it has to send.
  void settle();

  // What the calls of the system are told about.
  std::clock_t look();
  void note_read(int descriptor, ssize_t count);
  void note_write(int descriptor, ssize_t count);
  void before_flush(int descriptor);

  static Line* current;

 private:
  bool is_hung_up() const { return bench_.descriptor() != reader_side_; }
  void begin_anew();
  termios settings() const;
  void wait_for(int descriptor) const;
  void serve();

  simulator::Bench bench_;
  simulator::Time now_;
  int reader_side_ = -1;
  std::string device_;
  termios found_{};
  int handle_ = -1;
  // Bytes on their way, or waiting to be read.
  long to_reader_ = 0;
  long to_host_ = 0;
};

}  // namespace quorra::testing
