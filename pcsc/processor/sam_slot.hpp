// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The slot of a SAM.
#pragma once

#include <memory>
#include <optional>

#include "pcsc/processor/sams.hpp"
#include "pcsc/slots/slot.hpp"

namespace quorra::pcsc {

class SamSlot final : public Slot {
 public:
  SamSlot(Link& link, Sams& sams, int number) : Slot(link), sams_(sams), number_(number) {}

 protected:
  // A SAM cannot be taken out while the reader has power: it is asked once.
  bool look() override;
  std::unique_ptr<InsertedCard> activate() override;
  void deactivate() override;
  void prepare() override;
  void forget() override;

 private:
  Sams& sams_;
  int number_;
  std::optional<bool> answers_;
};

// Whether there is a SAM that answers to a reset. Throws ReaderGone.
bool is_there(Sams& sams, int number);

}  // namespace quorra::pcsc
