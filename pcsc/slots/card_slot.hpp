// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The slot for cards that are put into the reader.
#pragma once

#include <memory>

#include "pcsc/device_name.hpp"
#include "pcsc/slots/slot.hpp"

namespace quorra::pcsc {

class CardSlot final : public Slot {
 public:
  CardSlot(Link& link, const DeviceName& name) : Slot(link), name_(name) {}

 protected:
  bool look() override;
  std::unique_ptr<InsertedCard> activate() override;
  void deactivate() override;

 private:
  // A null pointer if there is none of that kind.
  std::unique_ptr<InsertedCard> find_processor_card();
  std::unique_ptr<InsertedCard> find_memory_card();

  const DeviceName& name_;
  // The reader said that the card has power since it was given to it.
  bool had_power_ = false;
};

}  // namespace quorra::pcsc
