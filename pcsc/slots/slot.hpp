// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A slot as pcscd sees it.
#pragma once

#include <memory>

#include "pcsc/line/link.hpp"
#include "pcsc/slots/inserted_card.hpp"

namespace quorra::pcsc {

// There is no card with power.
class NoCard : public toolkit::Failure {
 public:
  NoCard() : Failure("there is no card with power") {}
};

// What is in the slot does not answer as a card that is known.
class MuteCard : public toolkit::Failure {
 public:
  using Failure::Failure;
};

class Slot {
 public:
  explicit Slot(Link& link) : link_(link), opening_(link.openings()) {}
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;
  virtual ~Slot() = default;

  // Whether there is a card. After the reader was lost, and after a card was swapped for another
  // one, the answer is once that there is none.
  bool is_occupied();

  // The same for whoever sees a command fail: is_occupied() is going to say it once more.
  bool has_lost_card();

  // Gives the card power, or resets it, and returns its answer to reset. Throws toolkit::Failure.
  const Bytes& power_up();
  void power_down();

  // The card that has power; a null pointer if there is none.
  InsertedCard* card() const { return card_.get(); }

  // Carries out a command. Throws toolkit::Failure.
  Bytes transmit(const Bytes& command);

  // Whether the card can be spoken to with this protocol, T=0 or T=1.
  bool accepts(int protocol) const;

 protected:
  Link& link() const { return link_; }

  // Asks the reader, which is there, for the card. Throws toolkit::Failure if it does not say.
  virtual bool look() = 0;
  virtual std::unique_ptr<InsertedCard> activate() = 0;
  virtual void deactivate() = 0;
  // Before a command.
  virtual void prepare() {}
  // The reader was lost.
  virtual void forget() {}

 private:
  bool notice_loss();
  bool ask();

  Link& link_;
  unsigned opening_;
  bool occupied_ = false;
  bool owes_absence_ = false;
  std::unique_ptr<InsertedCard> card_;
};

}  // namespace quorra::pcsc
