// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a slot needs of a card that has power.
#pragma once

#include "toolkit/bytes.hpp"

namespace quorra::pcsc {

using toolkit::Bytes;

class InsertedCard {
 public:
  InsertedCard() = default;
  InsertedCard(const InsertedCard&) = delete;
  InsertedCard& operator=(const InsertedCard&) = delete;
  virtual ~InsertedCard() = default;

  virtual const Bytes& answer_to_reset() const = 0;

  // Whether commands may come to it in this protocol, T=0 or T=1.
  virtual bool speaks(int protocol) const = 0;

  // Carries a command out and returns the data of its answer with SW1 SW2 behind them. Throws
  // toolkit::Failure.
  virtual Bytes transmit(const Bytes& command) = 0;
};

}  // namespace quorra::pcsc
