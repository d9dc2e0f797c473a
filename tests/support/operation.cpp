// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/operation.hpp"

#include <gtest/gtest.h>
#include <quorra.h>

#include <optional>
#include <set>

namespace quorra::testing {
namespace {

struct Failure {
  const char* name;
  int code;
  std::function<Bytes(Bytes good)> reply;
  bool is_status = false;
};

Bytes changed(Bytes frame, std::size_t at, unsigned char difference) {
  frame.at(at) = static_cast<unsigned char>(frame.at(at) ^ difference);
  return frame;
}

Bytes cut(Bytes frame, std::size_t size) {
  frame.resize(size);
  return frame;
}

Bytes data_of(const Bytes& frame) { return {frame.begin() + 4, frame.end() - 1}; }

const std::vector<Failure>& failures() {
  static const std::vector<Failure> all = {
      {"silence", -132, [](const Bytes&) { return Bytes{}; }},
      {"a start byte of 0x54", -128, [](const Bytes& good) { return changed(good, 0, 0x01); }},
      {"a start byte of 0xAA", -128, [](const Bytes& good) { return changed(good, 0, 0xFF); }},
      {"only a start byte", -132, [](const Bytes& good) { return cut(good, 1); }},
      {"no LEN", -132, [](const Bytes& good) { return cut(good, 3); }},
      {"only a header", -132, [](const Bytes& good) { return cut(good, 4); }},
      {"no check byte", -132, [](const Bytes& good) { return cut(good, good.size() - 1); }},
      {"a wrong check byte", -133,
       [](const Bytes& good) { return changed(good, good.size() - 1, 0x80); }},
      {"a changed third byte", -133, [](const Bytes& good) { return changed(good, 2, 0x10); }},
      {"STATUS 1", -1, [](const Bytes&) { return reply(1, {}); }, true},
      {"STATUS 5 with data", -5, [](const Bytes& good) { return reply(5, data_of(good)); }, true},
      {"STATUS 128", -128, [](const Bytes&) { return reply(128, {}); }, true},
      {"STATUS 255", -255, [](const Bytes&) { return reply(255, {}); }, true},
  };
  return all;
}

class Session {
 public:
  explicit Session(Mode mode) : reader(mode) {
    reader.expect_opening();
    handle = reader.init0();
    EXPECT_GE(handle, 0);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    reader.expect_closing();
    EXPECT_EQ(ic_exit(handle), 0);
  }

  ScriptedReader reader;
  int handle = -1;
};

void play_good(ScriptedReader& reader, const Operation& operation, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const Exchange& exchange = operation.exchanges[i];
    if (exchange.sent) reader.expect(exchange.request).answer(exchange.reply);
  }
}

// How many writes the bytes of a frame take.
std::size_t writes_of(const Bytes& frame, Mode mode) {
  return frame.size() * (mode == Mode::direct ? 1 : 3);
}

// Lets the first write of each request that cannot be sent fail.
void fail_unsent(const Operation& operation, Mode mode) {
  std::set<std::size_t> failing;
  std::size_t writes = 0;
  for (const Exchange& exchange : operation.exchanges) {
    if (!exchange.sent) failing.insert(writes);
    writes += exchange.sent ? writes_of(exchange.request, mode) : 1;
  }
  System::instance().before_write = [failing, write = std::size_t{0}](const Bytes&) mutable {
    return failing.contains(write++) ? std::optional<ssize_t>(-1) : std::nullopt;
  };
}

// Lets the write of byte `byte` of frame `frame` fail with `result`.
void expect_send_failure(const Operation& operation, Mode mode, std::size_t frame, std::size_t byte,
                         ssize_t result) {
  SCOPED_TRACE("byte " + std::to_string(byte) + " of frame " + std::to_string(frame) +
               " is not sent: write gives " + std::to_string(result));
  Session session(mode);
  play_good(session.reader, operation, frame);
  const Bytes& request = operation.exchanges[frame].request;
  if (byte > 0)
    session.reader.expect(
        Bytes(request.begin(), request.begin() + static_cast<std::ptrdiff_t>(byte)));

  std::size_t good_writes = writes_of(Bytes(byte), mode);
  for (std::size_t i = 0; i < frame; ++i) {
    good_writes += writes_of(operation.exchanges[i].request, mode);
  }
  System::instance().before_write = [good_writes, result](const Bytes&) mutable {
    return good_writes-- > 0 ? std::nullopt : std::optional<ssize_t>(result);
  };
  EXPECT_EQ(operation.call(session.handle), operation.on_failure(frame, -129));
  System::instance().before_write = nullptr;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Operation& operation) {
  return stream << operation.name;
}

void expect_result(const Operation& operation, Mode mode, int result) {
  SCOPED_TRACE(operation.name);
  Session session(mode);
  play_good(session.reader, operation, operation.exchanges.size());
  fail_unsent(operation, mode);
  EXPECT_EQ(operation.call(session.handle), result);
  System::instance().before_write = nullptr;
  session.reader.play();
  EXPECT_TRUE(session.reader.finished());
}

void expect_failures(const Operation& operation, Mode mode, std::size_t frame) {
  SCOPED_TRACE(operation.name + ", frame " + std::to_string(frame));
  for (const Failure& failure : failures()) {
    SCOPED_TRACE(failure.name);
    Session session(mode);
    play_good(session.reader, operation, frame);
    const Exchange& failing = operation.exchanges[frame];
    session.reader.expect(failing.request).answer(failure.reply(failing.reply));
    const int code = failure.is_status && operation.positive_status ? -failure.code : failure.code;
    EXPECT_EQ(operation.call(session.handle), operation.on_failure(frame, code));
  }
  const std::size_t last = operation.exchanges[frame].request.size() - 1;
  expect_send_failure(operation, mode, frame, 0, -1);
  expect_send_failure(operation, mode, frame, last / 2, 0);
  expect_send_failure(operation, mode, frame, last, -1);
}

void expect_failures(const Operation& operation, Mode mode) {
  for (std::size_t frame = 0; frame < operation.exchanges.size(); ++frame) {
    expect_failures(operation, mode, frame);
  }
}

void expect_short_replies(const Operation& operation, Mode mode, std::size_t frame, int result) {
  const Bytes data = data_of(operation.exchanges[frame].reply);
  ASSERT_FALSE(data.empty());
  for (std::size_t size = 0; size < data.size(); ++size) {
    Operation cut_short = operation;
    cut_short.name +=
        ", " + std::to_string(size) + " bytes in the reply to frame " + std::to_string(frame);
    cut_short.exchanges.resize(frame + 1);
    cut_short.exchanges[frame].reply = reply(0, cut(data, size));
    expect_result(cut_short, mode, result);
  }
}

void expect_waits(const Operation& operation) {
  constexpr std::clock_t second = 1'000'000;
  for (std::size_t frame = 0; frame < operation.exchanges.size(); ++frame) {
    const Exchange& late = operation.exchanges[frame];
    const std::clock_t limit = (late.slow ? 9 : 4) * second;
    for (const std::clock_t delay : {7 * second / 2, 9 * second / 2, limit - 1, limit}) {
      SCOPED_TRACE(operation.name + ", the reply to frame " + std::to_string(frame) + " after " +
                   std::to_string(delay) + " ticks");
      const bool in_time = delay < limit;
      Session session(Mode::direct);
      play_good(session.reader, operation, frame);
      session.reader.expect(late.request).answer_after(delay, late.reply);
      for (std::size_t next = frame + 1; in_time && next < operation.exchanges.size(); ++next) {
        session.reader.expect(operation.exchanges[next].request)
            .answer(operation.exchanges[next].reply);
      }
      // The second reading of the clock is the one at which the reply comes.
      session.reader.set_step(delay);
      EXPECT_EQ(operation.call(session.handle), in_time ? 0 : operation.on_failure(frame, -132));
    }
  }
}

void expect_operation(const Operation& operation) {
  for (const Mode mode : {Mode::direct, Mode::terminal}) {
    expect_result(operation, mode, 0);
    expect_failures(operation, mode);
  }
  expect_waits(operation);
}

void expect_refusal(int result, const std::function<int(int handle)>& call) {
  Session session(Mode::direct);
  EXPECT_EQ(call(session.handle), result);
}

}  // namespace quorra::testing
