// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/reader.hpp"

#include <utility>

#include "pcsc/log.hpp"
#include "pcsc/processor/sam_slot.hpp"
#include "pcsc/slots/card_slot.hpp"

namespace quorra::pcsc {

Reader::Reader(DeviceName name) : name_(std::move(name)), link_(name_), sams_(link_) {
  const bool is_there_now = link_.reach();
  slots_.push_back(std::make_unique<CardSlot>(link_, name_));
  if (name_.sams || is_there_now) add_sams();
}

// The cards lose their power before the line is closed.
Reader::~Reader() {
  for (const std::unique_ptr<Slot>& slot : slots_) {
    try {
      slot->power_down();
    } catch (const std::exception& error) {
      log(Severity::error, error.what());
    }
  }
}

void Reader::add_sams() {
  try {
    for (int number = 0; number < name_.sams.value_or(most_sams); ++number) {
      link_.begin();
      if (!name_.sams && !is_there(sams_, number)) {
        // A reader that knows no SAMs may say nothing at all.
        if (toolkit::is_unanswered(link_.trouble())) return;
        continue;
      }
      slots_.push_back(std::make_unique<SamSlot>(link_, sams_, number));
    }
  } catch (const ReaderGone& gone) {
    log(Severity::error, gone.what());
  }
}

}  // namespace quorra::pcsc
