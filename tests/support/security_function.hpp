// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The functions that the security memory cards have beside plain transfers, described so that their
// frames, bounds and failures can be told from the description.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/operation.hpp"

namespace quorra::testing {

// A reply that says just that it went well.
inline const Bytes done = hex("55 00 00 00 55");

// The code in all tests: its first bytes, as many as the code has.
Bytes test_code(int length);

// Presents, replaces or reads a code.
struct CodeFunction {
  std::string name;
  std::function<int(int handle, std::int64_t length, unsigned char* code)> call;
  int length;
  std::vector<Exchange> exchanges;  // for the test code
  bool reads = false;               // the code comes from the card
};

// A library function as CodeFunction::call, with its zone or code number if it takes one.
template <typename Length, typename Code>
auto code_call(int (*function)(int handle, Length length, Code* code)) {
  return [=](int handle, std::int64_t length, unsigned char* code) {
    return function(handle, static_cast<Length>(length), code);
  };
}
template <typename Number, typename Length, typename Code>
auto code_call(int (*function)(int handle, Number number, Length length, Code* code), int number) {
  return [=](int handle, std::int64_t length, unsigned char* code) {
    return function(handle, static_cast<Number>(number), static_cast<Length>(length), code);
  };
}

// Expects the code to be transferred by these frames, a failure to leave the caller's bytes alone,
// every other length and a null pointer to be refused.
void expect_code_function(const CodeFunction& function);

// The rows of a code: to present it is one exchange, to replace it an erase and a write.
CodeFunction presents(std::string name, decltype(CodeFunction::call) call, int length,
                      const Bytes& request);
CodeFunction replaces(std::string name, decltype(CodeFunction::call) call, int length,
                      const Bytes& erase_request, const Bytes& write_request);
CodeFunction reads_code(std::string name, decltype(CodeFunction::call) call, int length,
                        const Bytes& request);

// Counts the 1 bits in bytes of the card.
struct CounterFunction {
  std::string name;
  std::function<int(int handle, unsigned* counter)> call;
  Bytes request;
  int size;
  unsigned char mask = 0xFF;     // the bits that count
  bool adds = false;             // to what the counter was
  bool zero_on_failure = false;  // otherwise a failure leaves the counter alone
};

void expect_counter_function(const CounterFunction& function);

// Clears one bit of a byte of the card.
struct BitFunction {
  std::string name;
  std::function<int(int handle)> call;
  unsigned char bit;
  Bytes read_request;
  Bytes write_request;  // all before the byte
  bool slow_write = false;
};

// Expects every byte with the bit to be written back without it, others not at all, and a reply
// without the byte to be no byte without the bit.
void expect_bit_function(const BitFunction& function);

// Tells a card by the first bytes that it holds, all of them.
struct ProbeFunction {
  std::string name;
  int (*call)(int handle);
  Bytes request;
  std::vector<Bytes> accepted;
  std::vector<Bytes> refused;
  bool hides_failures = false;  // a failed read is another card
};

void expect_probe_function(const ProbeFunction& function);

// Expects 0 to be sent as one frame, every other mode as the other.
void expect_fake_fuse(const std::string& name, int (*call)(int handle, unsigned mode),
                      const Bytes& set_request, const Bytes& clear_request);

struct Refusal {
  const char* name;
  int result;
  std::function<int(int handle)> call;
};

void expect_refusals(const std::vector<Refusal>& refusals);

}  // namespace quorra::testing
