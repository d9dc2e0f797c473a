// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/probe_model.hpp"

#include <gtest/gtest.h>

namespace quorra::testing {

CardModel CardModel::repeating(std::vector<Bytes> cells) {
  const std::size_t size = cells.size();
  return {std::move(cells),
          [size](int address) { return static_cast<std::size_t>(address) % size; }};
}

const std::vector<ExchangeFailure>& exchange_failures() {
  static const std::vector<ExchangeFailure> all = {
      {"silence", {}},
      {"a wrong start byte", hex("54")},
      {"a wrong check byte", hex("55 00 00 00 54")},
      {"STATUS 5", hex("55 05 00 00 50")},
      {"no data", hex("55 00 00 00 55"), true},
  };
  return all;
}

std::optional<Bytes> ProbeModel::read(const Size& size, int address) {
  const Bytes request =
      sealed(Bytes{0xAA, 0x61, 0, 7, size.card, 0, 0, static_cast<unsigned char>(address / 256),
                   static_cast<unsigned char>(address % 256), 0, 1});
  const bool failed = fails();
  const Bytes unit = card_.at(address);
  exchanges_.push_back({request, failed ? failure_.reply : reply(0, unit)});
  return failed ? std::nullopt : std::optional<Bytes>(unit);
}

bool ProbeModel::is_answered(const Size& size, int address) {
  const bool answered = !fails() || failure_.of_reads_only;
  return read(size, address) || answered;
}

bool ProbeModel::write(const Size& size, int address, const Bytes& unit) {
  const Bytes request =
      sealed(Bytes{0xAA, size.write_command, 0, static_cast<unsigned char>(unit.size() + 5),
                   size.card, 0, 0, static_cast<unsigned char>(address / 256),
                   static_cast<unsigned char>(address % 256)} +
             unit);
  const bool failed = write_fails();
  exchanges_.push_back({request, failed ? failure_.reply : reply(0, {})});
  if (failed) return false;
  card_.at(address) = unit;
  return true;
}

namespace {

// Returns the number of exchanges.
std::size_t play(const std::string& name, int (*probe)(int handle), const ProbeSteps& steps,
                 ProbeModel model, Mode mode) {
  const int result = steps(model);
  expect_result({name, probe, model.exchanges()}, mode, result);
  return model.exchanges().size();
}

}  // namespace

void expect_probe_result(const std::string& name, int (*probe)(int handle), const ProbeSteps& steps,
                         const CardModel& card, Mode mode) {
  play(name, probe, steps, ProbeModel(card, std::nullopt, {}), mode);
}

void expect_probe(const std::string& name, int (*probe)(int handle), const ProbeSteps& steps,
                  const CardModel& card) {
  const std::size_t exchanges =
      play(name, probe, steps, ProbeModel(card, std::nullopt, {}), Mode::direct);
  for (std::size_t failing = 0; failing < exchanges; ++failing) {
    for (const ExchangeFailure& failure : exchange_failures()) {
      play(name + ", exchange " + std::to_string(failing) + " fails with " + failure.name, probe,
           steps, ProbeModel(card, failing, failure), Mode::direct);
    }
  }
}

}  // namespace quorra::testing
