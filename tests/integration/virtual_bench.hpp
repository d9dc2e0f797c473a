// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A virtual reader with a card, and a session of the library on it.
#pragma once

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/image.hpp"
#include "tests/support/process.hpp"
#include "tests/support/session.hpp"

namespace quorra::testing {

class VirtualBench {
 public:
  explicit VirtualBench(const simulator::Image& card)
      : reader_(options_for(card)),
        session_(reader_->configuration()) {}

  int handle() const { return session_.handle(); }
  // The card as it is now.
  simulator::Image card() { return *reader_->state().card; }

 private:
  simulator::Options options_for(const simulator::Image& card) const {
    simulator::Options options;
    options.card = folder_ / "card";
    save_image(card, options.card);
    return options;
  }

  TemporaryDirectory folder_;
  simulator::RunningReader reader_;
  Session session_;
};

}  // namespace quorra::testing
