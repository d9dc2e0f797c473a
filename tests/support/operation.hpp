// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// One call of the library together with the frames it exchanges when all goes well. From this,
// every way in which an exchange can fail is played, on each of its frames.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/bytes.hpp"
#include "tests/support/scripted_reader.hpp"

namespace quorra::testing {

struct Exchange {
  Bytes request;
  Bytes reply;
  bool slow = false;  // the reply's first byte may take 9 seconds rather than 4
  bool sent = true;   // false: not even the first byte of the request can be sent
};

struct Operation {
  std::string name;
  std::function<int(int handle)> call;
  std::vector<Exchange> exchanges;

  // What the call returns when frame `frame` (from 0) fails with the link code or negated STATUS
  // `code`. Most calls return it as it is.
  std::function<int(std::size_t frame, int code)> on_failure = [](std::size_t, int code) {
    return code;
  };
  bool positive_status = false;  // the call returns a STATUS as it is, not negated
};

std::ostream& operator<<(std::ostream& stream, const Operation& operation);

// Opens a session, plays all exchanges, and expects the call to return `result`.
void expect_result(const Operation& operation, Mode mode, int result);

// Lets frame `frame` fail in every way; expects the result that belongs to it, and that nothing is
// sent after it.
void expect_failures(const Operation& operation, Mode mode, std::size_t frame);

// expect_failures for each frame.
void expect_failures(const Operation& operation, Mode mode);

// Lets the reply to frame `frame` bring less data than it should, by one byte up to all of it.
// Expects the call to return `result` then, and to send nothing after it.
void expect_short_replies(const Operation& operation, Mode mode, std::size_t frame, int result);

// Lets the reply to each frame come late: expects the call to wait for its first byte up to the
// tick, and to give up from then on.
void expect_waits(const Operation& operation);

// All of this for a call that returns 0 when nothing fails.
void expect_operation(const Operation& operation);

// Expects the call to return `result` without sending anything.
void expect_refusal(int result, const std::function<int(int handle)>& call);

}  // namespace quorra::testing
