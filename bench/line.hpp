// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A pseudo-terminal with a reader that does no work, and the bare system calls that an exchange
// cannot do without.
#pragma once

#include <sched.h>

#include <cstddef>
#include <string>
#include <vector>

namespace quorra::benchmarks {

using Bytes = std::vector<unsigned char>;

// Threads that begin meanwhile are served before all others, where that is allowed: a reader does
// not share the machine's processors.
class Precedence {
 public:
  Precedence() {
    const sched_param first{.sched_priority = 1};
    sched_setscheduler(0, SCHED_FIFO, &first);
  }
  Precedence(const Precedence&) = delete;
  Precedence& operator=(const Precedence&) = delete;
  ~Precedence() {
    const sched_param none{};
    sched_setscheduler(0, SCHED_OTHER, &none);
  }
};

class Line {
 public:
  Line();
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line();

  // The end that a program talks to, set up as a session sets it up.
  int program() const { return program_; }
  // Where a program opens that end.
  const std::string& device() const { return device_; }

  // The reader's side: lets a reply wait at the program's end, and takes a request.
  void send(const Bytes& reply) const;
  void take(const Bytes& request) const;
  // Takes so many bytes, whatever they are.
  void drop(std::size_t count) const;

  // The reader's side of an exchange: waits for a request, then replies.
  void answer(const Bytes& request, const Bytes& reply) const;

  // The same on a line on which a byte takes so many seconds: the first one of the request sets out
  // when it is sent, and every other one, of the reply too, right behind its predecessor.
  void answer_paced(const Bytes& request, const Bytes& reply, double byte_time) const;

  // One write a byte, then one reading of the clock and one read a byte; more of them as long as
  // the reply is not there.
  void exchange_by_bare_calls(const Bytes& request, const Bytes& reply) const;
  // One write a byte, then one poll() and one read a byte.
  void exchange_by_sleeping_calls(const Bytes& request, const Bytes& reply) const;

  // How long `exchange` takes on a line on which the reply already waits.
  template <typename Exchange>
  double seconds_for(const Bytes& request, const Bytes& reply, Exchange exchange) const {
    send(reply);
    const double start = now();
    exchange();
    const double took = now() - start;
    take(request);
    return took;
  }

 private:
  Bytes take_some(std::size_t count) const;
  static double now();

  std::string device_;
  int master_;
  int program_ = -1;
};

}  // namespace quorra::benchmarks
