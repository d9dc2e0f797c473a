// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A probe of a card, told as its own steps on a card of the test's, with one exchange that fails.
// Telling it yields the frames that the library has to send, and its result.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/operation.hpp"

namespace quorra::testing {

// A card as a probe sees it: which cell an address reaches.
struct CardModel {
  std::vector<Bytes> cells;
  std::function<std::size_t(int address)> cell_of;

  // A card of `cells` cells, whose memory shows again behind its end.
  static CardModel repeating(std::vector<Bytes> cells);

  Bytes& at(int address) { return cells.at(cell_of(address)); }
};

// How an exchange fails: with this reply, or without one.
struct ExchangeFailure {
  const char* name;
  Bytes reply;
  bool of_reads_only = false;  // a write is content with such a reply
};
const std::vector<ExchangeFailure>& exchange_failures();

// What a probe does, one exchange after another.
class ProbeModel {
 public:
  // The exchange with number `failing` fails; none does for no value.
  ProbeModel(CardModel card, std::optional<std::size_t> failing, ExchangeFailure failure)
      : card_(std::move(card)),
        failing_(failing),
        failure_(std::move(failure)) {}

  // The size functions that a step uses: their card type and their write command.
  struct Size {
    unsigned char card;
    unsigned char write_command;
  };

  // One-unit calls. No value, or false: the exchange failed. A write that fails changes nothing.
  std::optional<Bytes> read(const Size& size, int address);
  // A read for whose success a reply without the unit is enough.
  bool is_answered(const Size& size, int address);
  bool write(const Size& size, int address, const Bytes& unit);

  const std::vector<Exchange>& exchanges() const { return exchanges_; }
  const CardModel& card() const { return card_; }

 private:
  bool fails() const { return failing_ && exchanges_.size() == *failing_; }
  bool write_fails() const { return fails() && !failure_.of_reads_only; }

  CardModel card_;
  std::optional<std::size_t> failing_;
  ExchangeFailure failure_;
  std::vector<Exchange> exchanges_;
};

using ProbeSteps = std::function<int(ProbeModel& model)>;

// Plays the probe on the card without a failure, and with each single exchange failing in each way,
// and compares frames and result with its steps.
void expect_probe(const std::string& name, int (*probe)(int handle), const ProbeSteps& steps,
                  const CardModel& card);

// The same without failures.
void expect_probe_result(const std::string& name, int (*probe)(int handle), const ProbeSteps& steps,
                         const CardModel& card, Mode mode);

}  // namespace quorra::testing
