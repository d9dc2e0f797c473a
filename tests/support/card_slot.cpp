// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/card_slot.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "tests/support/guarded_bytes.hpp"

namespace quorra::testing {

std::ostream& operator<<(std::ostream& stream, const CardSlot& slot) { return stream << slot.name; }

Bytes card_request(const CardSlot& slot, const Bytes& bytes, Covered covered, int n) {
  const auto length = static_cast<unsigned char>(static_cast<unsigned>(n) + 5U);
  const Bytes head = hex("AA 21 80") + Bytes{length, slot.card} + hex("00 00 00 00");
  const Bytes check = {sealed(covered == Covered::all ? head + bytes : head).back()};
  return head + bytes + check;
}

Bytes card_request(const CardSlot& slot, const Bytes& bytes, Covered covered) {
  return card_request(slot, bytes, covered, static_cast<int>(bytes.size()));
}

Bytes block_of(unsigned char nad, unsigned char pcb, const Bytes& information) {
  return sealed(Bytes{nad, pcb, static_cast<unsigned char>(information.size())} + information);
}

Bytes answer_of(unsigned char nad, unsigned char pcb, const Bytes& information) {
  return reply(0, block_of(nad, pcb, information));
}

Bytes get_response(const CardSlot& slot, unsigned char nad, unsigned char pcb,
                   unsigned char length) {
  return card_request(slot, block_of(nad, pcb, hex("00 C0 00 00") + Bytes{length}),
                      Covered::first_nine);
}

void Output::expect(const Bytes& written) {
  Bytes expected = written;
  expected.resize(bytes_.size(), untouched);
  if (bytes_ != expected) {
    const auto shown = static_cast<std::ptrdiff_t>(written.size() + 8);
    ADD_FAILURE() << "output:   " << to_hex({bytes_.begin(), bytes_.begin() + shown})
                  << "\nexpected: " << to_hex({expected.begin(), expected.begin() + shown});
  }
  bytes_.assign(bytes_.size(), untouched);
}

Operation speaking(CardFunction function, int n, const Bytes& bytes, Output& output,
                   std::vector<Exchange> exchanges) {
  const auto guarded = std::make_shared<GuardedBytes>(bytes);
  return {std::to_string(n) + " bytes: " + to_hex(bytes),
          [=, &output](int handle) { return function(handle, n, guarded->data(), output.data()); },
          std::move(exchanges)};
}

Operation speaking(CardFunction function, const Bytes& bytes, Output& output,
                   std::vector<Exchange> exchanges) {
  return speaking(function, static_cast<int>(bytes.size()), bytes, output, std::move(exchanges));
}

const std::vector<FailedAttempt>& ways_to_fail() {
  static const std::vector<FailedAttempt> ways = {
      {.name = "a byte not sent", .code = -129, .reply = {}, .sent = false},
      {.name = "silence", .code = -132, .reply = {}},
      {.name = "a wrong start byte", .code = -128, .reply = hex("54")},
      {.name = "a wrong check byte", .code = -133, .reply = hex("55 00 00 02 90 00 00")},
      {.name = "STATUS 5", .code = -5, .reply = sealed("55 05 00 02 90 00")},
      {.name = "STATUS 255", .code = -255, .reply = sealed("55 FF 00 00")},
  };
  return ways;
}

void expect_attempts(const Operation& operation, Mode mode, std::size_t attempts, Output& output,
                     const Bytes& written) {
  const Exchange good = operation.exchanges.at(0);
  const auto& ways = ways_to_fail();
  for (std::size_t first = 0; first < ways.size(); ++first) {
    for (std::size_t last = 0; last < ways.size(); ++last) {
      SCOPED_TRACE(std::string(ways[first].name) + ", ..., " + ways[last].name);
      Operation failing = operation;
      failing.exchanges.clear();
      for (std::size_t i = 0; i + 1 < attempts; ++i)
        failing.exchanges.push_back(ways[(first + i) % ways.size()].of(good.request));
      Operation succeeding = failing;
      failing.exchanges.push_back(ways[last].of(good.request));
      expect_result(failing, mode, ways[last].code);
      output.expect({});

      if (first != last) continue;
      succeeding.exchanges.push_back(good);
      expect_result(succeeding, mode, 0);
      output.expect(written);
    }
  }
}

}  // namespace quorra::testing
