// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/processor/sam_slot.hpp"

#include "pcsc/processor/processor_card.hpp"

namespace quorra::pcsc {

bool is_there(Sams& sams, int number) {
  bool answers = false;
  try {
    answers = !sams.reset(number).empty();
  } catch (const ReaderGone&) {
    throw;
  } catch (const toolkit::Failure&) {
    answers = false;
  }
  sams.release(number);
  return answers;
}

bool SamSlot::look() {
  if (!answers_) answers_ = is_there(sams_, number_);
  return *answers_;
}

std::unique_ptr<InsertedCard> SamSlot::activate() {
  Bytes answer = sams_.reset(number_);
  if (answer.empty()) throw MuteCard("the SAM sends no answer to reset");
  return std::make_unique<ProcessorCard>(link(), number_, std::move(answer));
}

void SamSlot::deactivate() { sams_.release(number_); }

void SamSlot::prepare() { sams_.select(number_); }

void SamSlot::forget() { answers_.reset(); }

}  // namespace quorra::pcsc
