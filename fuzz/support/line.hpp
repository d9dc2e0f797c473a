// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The system as the library under test meets it: one line to one reader, one configuration file and
// a clock, all of them in this process, so that no call costs anything and no wait takes time. The
// library's calls are bound to it when the harnesses are linked (system_calls.txt).
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <span>
#include <vector>

#include "fuzz/support/input.hpp"

namespace quorra::fuzzing {

// The other end of the line.
class Peer {
 public:
  Peer() = default;
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  virtual ~Peer() = default;

  // As read() for one byte and as write(), with errno.
  virtual ssize_t read(unsigned char& byte) = 0;
  virtual ssize_t write(Bytes bytes) = 0;
};

class Line {
 public:
  static Line& instance();

  // A line as it is before the first call, with nothing recorded.
  void reset(Peer& peer);

  // What open() returns. The line answers under this descriptor alone.
  int descriptor = 5;
  int flags = 0;  // of that descriptor
  bool can_be_opened = true;
  bool is_a_terminal = true;  // else its settings are neither read nor set
  bool has_a_terminal = true;

  bool file_can_be_opened = true;
  Bytes file;
  bool file_ends_with_an_error = false;

  std::clock_t now = 0;

  // Sessions opened and not closed.
  int open_sessions = 0;

  // What went over the line since the last forget().
  std::vector<unsigned char> sent;
  bool sent_all = true;  // no write failed
  void forget();

  // What the library read between two requests.
  struct Received {
    std::vector<unsigned char> bytes;
    // It is one whole reply frame with the right check byte.
    bool is_reply() const;
    unsigned char status() const { return bytes[1]; }
    Bytes data() const { return Bytes(bytes).subspan(4, bytes[3]); }
  };
  std::span<const Received> received() const { return {received_.data(), exchanges_}; }

  // From now on the results of reads and writes are kept.
  void record();
  // Forgets, and gives the next call the same results.
  void play_again();
  void stop_playing();

  ssize_t read(int from, void* buffer, std::size_t size);
  ssize_t write(int to, const void* buffer, std::size_t size);
  std::clock_t clock();

 private:
  struct Result {
    ssize_t result;
    int error;
    unsigned char byte;
  };
  enum class Tape { off, recording, playing };

  // Asks the peer, or the record.
  template <typename Ask>
  Result ask(Ask ask_peer);

  Peer* peer_ = nullptr;
  Tape tape_ = Tape::off;
  std::vector<Result> record_;
  std::size_t played_ = 0;
  // Doubles with every look at the clock in which nothing else happens.
  std::clock_t step_ = first_step;
  static constexpr std::clock_t first_step = 1000;
  static constexpr std::clock_t largest_step = std::clock_t{1} << 33;

  // The first `exchanges_` of them; the others are kept for their memory.
  std::vector<Received> received_;
  std::size_t exchanges_ = 0;
  bool sending_ = true;
};

}  // namespace quorra::fuzzing
