// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/slots/slot.hpp"

#include <utility>

#include "pcsc/log.hpp"

namespace quorra::pcsc {

// Whether the reader is not there, or was found again since the last time.
bool Slot::notice_loss() {
  const bool is_there = link_.reach();
  if (is_there && link_.openings() == opening_) return false;
  opening_ = link_.openings();
  card_.reset();
  occupied_ = false;
  forget();
  return true;
}

bool Slot::is_occupied() { return !std::exchange(owes_absence_, false) && ask(); }

bool Slot::has_lost_card() {
  owes_absence_ = owes_absence_ || !ask();
  return owes_absence_;
}

bool Slot::ask() {
  if (notice_loss()) return false;
  try {
    occupied_ = look();
    if (!occupied_) card_.reset();
  } catch (const ReaderGone& gone) {
    log(Severity::error, gone.what());
    return false;
  } catch (const toolkit::Failure& failure) {
    // One answer that is lost is no card that is gone.
    log(Severity::information, failure.what());
  }
  return occupied_;
}

const Bytes& Slot::power_up() {
  card_.reset();
  if (!link_.reach() || link_.openings() != opening_) throw NoCard();
  card_ = activate();
  return card_->answer_to_reset();
}

void Slot::power_down() {
  if (card_ == nullptr) return;
  card_.reset();
  deactivate();
}

Bytes Slot::transmit(const Bytes& command) {
  if (card_ == nullptr || link_.openings() != opening_) throw NoCard();
  prepare();
  return card_->transmit(command);
}

bool Slot::accepts(int protocol) const { return card_ != nullptr && card_->speaks(protocol); }

}  // namespace quorra::pcsc
