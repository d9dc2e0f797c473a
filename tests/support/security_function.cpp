// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/security_function.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <climits>

namespace quorra::testing {
namespace {

constexpr unsigned char guard = 0xEE;

constexpr std::size_t size_of(int length) { return static_cast<std::size_t>(length); }

void expect_read_bytes(const CodeFunction& function, const Bytes& brought, const Bytes& expected) {
  const Bytes untouched(size_of(function.length) + 1, guard);
  Operation operation{function.name, {}, function.exchanges};
  operation.exchanges.back().reply = reply(0, brought);
  operation.call = [&](int handle) {
    Bytes buffer = untouched;
    const int result = function.call(handle, function.length, buffer.data());
    EXPECT_EQ(buffer, result == 0 ? expected + Bytes{guard} : untouched);
    return result;
  };
  expect_result(operation, Mode::direct, 0);
  if (brought == expected) expect_operation(operation);
}

unsigned ones(const Bytes& bytes, unsigned char mask) {
  std::size_t count = 0;
  for (const unsigned char byte : bytes)
    count += std::bitset<8>(static_cast<unsigned char>(byte & mask)).count();
  return static_cast<unsigned>(count);
}

// The function on a card that holds `held`, with a reply that brings `brought`.
Operation counting_bits(const CounterFunction& function, const Bytes& held, const Bytes& brought) {
  constexpr unsigned before = 4711;
  const unsigned counted = ones(held, function.mask) + (function.adds ? before : 0);
  const unsigned failed = function.zero_on_failure ? 0 : before;
  return {function.name + " of " + to_hex(brought),
          [=](int handle) {
            unsigned counter = before;
            const int result = function.call(handle, &counter);
            EXPECT_EQ(counter, result == 0 ? counted : failed);
            return result;
          },
          {{function.request, reply(0, brought)}}};
}

Operation clearing(const BitFunction& function, const Bytes& brought) {
  Operation operation{function.name + " of " + to_hex(brought),
                      function.call,
                      {{function.read_request, reply(0, brought)}}};
  const unsigned char held = brought.empty() ? 0 : brought[0];
  if ((held & function.bit) != 0) {
    const auto written = static_cast<unsigned char>(held ^ function.bit);
    operation.exchanges.push_back(
        {sealed(function.write_request + Bytes{written}), done, function.slow_write});
  }
  return operation;
}

}  // namespace

Bytes test_code(int length) {
  Bytes code = hex("12 34 56 78 9A BC");
  code.resize(size_of(length));
  return code;
}

CodeFunction presents(std::string name, decltype(CodeFunction::call) call, int length,
                      const Bytes& request) {
  return {std::move(name), std::move(call), length, {{request, done}}};
}

CodeFunction replaces(std::string name, decltype(CodeFunction::call) call, int length,
                      const Bytes& erase_request, const Bytes& write_request) {
  return {std::move(name), std::move(call), length, {{erase_request, done}, {write_request, done}}};
}

CodeFunction reads_code(std::string name, decltype(CodeFunction::call) call, int length,
                        const Bytes& request) {
  return {std::move(name), std::move(call), length, {{request, reply(0, test_code(length))}}, true};
}

void expect_code_function(const CodeFunction& function) {
  SCOPED_TRACE(function.name);
  Bytes code = test_code(function.length);
  if (function.reads) {
    expect_read_bytes(function, code, code);
    expect_read_bytes(function, counting(255, 1), counting(size_of(function.length), 1));
    expect_read_bytes(function, hex("77"), hex("77") + Bytes(size_of(function.length) - 1));
    expect_read_bytes(function, {}, Bytes(size_of(function.length)));
  } else {
    expect_operation(
        {function.name,
         [&](int handle) { return function.call(handle, function.length, code.data()); },
         function.exchanges});
    EXPECT_EQ(code, test_code(function.length));
  }

  const std::int64_t length = function.length;
  for (const std::int64_t wrong :
       {std::int64_t{0}, length - 1, length + 1, -length, length + 256, length - 256,
        std::int64_t{INT_MAX}, std::int64_t{INT_MIN}, std::int64_t{UINT_MAX}}) {
    SCOPED_TRACE("length " + std::to_string(wrong));
    Bytes bytes(16, guard);
    expect_refusal(-143, [&](int handle) { return function.call(handle, wrong, bytes.data()); });
    EXPECT_EQ(bytes, Bytes(16, guard));
  }
  expect_refusal(-143, [&](int handle) { return function.call(handle, length, nullptr); });
}

void expect_counter_function(const CounterFunction& function) {
  SCOPED_TRACE(function.name);
  const auto expect_count = [&](const Bytes& held) {
    expect_result(counting_bits(function, held, held), Mode::direct, 0);
  };
  const std::size_t size = size_of(function.size);
  const Bytes none(size, 0x00);
  const Bytes all(size, 0xFF);
  expect_count(none);
  expect_count(all);
  for (std::size_t at = 0; at < size; ++at) {
    for (unsigned bit = 1; bit < 256; bit *= 2) {
      Bytes held = none;
      held[at] = static_cast<unsigned char>(bit);
      expect_count(held);
    }
  }
  if (size == 1) {
    for (unsigned byte = 0; byte < 256; ++byte)
      expect_count({static_cast<unsigned char>(byte)});
  }

  Bytes short_by_one = all;
  short_by_one.pop_back();
  expect_result(counting_bits(function, short_by_one, short_by_one), Mode::direct, 0);
  expect_result(counting_bits(function, none, {}), Mode::direct, 0);
  expect_result(counting_bits(function, all, Bytes(255, 0xFF)), Mode::direct, 0);

  expect_operation(counting_bits(function, all, all));
  expect_refusal(-143, [&](int handle) { return function.call(handle, nullptr); });
}

void expect_bit_function(const BitFunction& function) {
  SCOPED_TRACE(function.name);
  for (unsigned byte = 0; byte < 256; ++byte)
    expect_result(clearing(function, {static_cast<unsigned char>(byte)}), Mode::direct, 0);
  expect_short_replies(clearing(function, hex("00")), Mode::direct, 0, -133);
  expect_operation(clearing(function, hex("FF")));
  expect_operation(clearing(function, {static_cast<unsigned char>(~function.bit)}));
}

void expect_probe_function(const ProbeFunction& function) {
  SCOPED_TRACE(function.name);
  const auto probing = [&](const Bytes& brought) {
    Operation operation{function.name + " of " + to_hex(brought),
                        function.call,
                        {{function.request, reply(0, brought)}}};
    if (function.hides_failures) operation.on_failure = [](std::size_t, int) { return -133; };
    return operation;
  };
  const std::size_t asked_for = function.request[function.request.size() - 2];
  const auto is_accepted = [&](const Bytes& bytes) {
    return std::find(function.accepted.begin(), function.accepted.end(), bytes) !=
           function.accepted.end();
  };
  for (const Bytes& bytes : function.accepted) {
    expect_operation(probing(bytes));
    for (std::size_t size = 0; size < std::min(bytes.size(), asked_for); ++size) {
      const Bytes brought(bytes.data(), bytes.data() + size);
      if (!is_accepted(brought)) expect_result(probing(brought), Mode::direct, -133);
    }
  }
  for (const Bytes& bytes : function.refused)
    expect_result(probing(bytes), Mode::direct, -133);
}

void expect_fake_fuse(const std::string& name, int (*call)(int handle, unsigned mode),
                      const Bytes& set_request, const Bytes& clear_request) {
  for (const unsigned mode : {0U, 1U, 0xFFU, 0x100U, 0x80000000U, UINT_MAX}) {
    expect_operation({name + " " + std::to_string(mode),
                      [=](int handle) { return call(handle, mode); },
                      {{mode == 0 ? clear_request : set_request, done}}});
  }
}

void expect_refusals(const std::vector<Refusal>& refusals) {
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.name);
    expect_refusal(refusal.result, refusal.call);
  }
}

}  // namespace quorra::testing
