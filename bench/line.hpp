// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A pseudo-terminal with a reader that does no work, and the bare system calls that an exchange
// cannot do without.
#pragma once

#include <cstddef>
#include <vector>

namespace quorra::benchmarks {

using Bytes = std::vector<unsigned char>;

class Line {
 public:
  Line();
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line();

  // The end that a program talks to, set up as a session sets it up.
  int program() const { return program_; }

  // The reader's side: lets a reply wait at the program's end, and takes a request.
  void send(const Bytes& reply) const;
  void take(const Bytes& request) const;

  // The reader's side of an exchange: waits for a request, then replies.
  void answer(const Bytes& request, const Bytes& reply) const;

  // One write a byte, then one reading of the clock and one read a byte; more of them as long as
  // the reply is not there.
  void exchange_by_bare_calls(const Bytes& request, const Bytes& reply) const;

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
  static double now();

  int master_;
  int program_ = -1;
};

}  // namespace quorra::benchmarks
