// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The SAMs of one reader. They have their power together, and one of them is selected.
#pragma once

#include <optional>
#include <set>

#include "pcsc/line/link.hpp"
#include "pcsc/slots/inserted_card.hpp"

namespace quorra::pcsc {

class Sams {
 public:
  explicit Sams(const Link& link) : link_(link) {}

  // Resets a SAM, which has power from now on; returns its answer to reset. Throws
  // toolkit::Failure.
  Bytes reset(int number);

  // Makes it the one that frames reach. Throws toolkit::Failure.
  void select(int number);

  // The SAM is not used any more. With the last one, all lose their power. Throws toolkit::Failure.
  void release(int number);

  // What the reader was told last may be lost.
  void forget();

 private:
  void notice_loss();

  const Link& link_;
  unsigned opening_ = 0;
  std::set<int> in_use_;
  std::optional<int> selected_;
};

}  // namespace quorra::pcsc
