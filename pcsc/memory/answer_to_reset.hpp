// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The answers to reset that stand for memory cards, which have none of their own.
#pragma once

#include "pcsc/memory/cells.hpp"

namespace quorra::pcsc {

// Reads the first bytes of cards that begin with a header. Throws Refusal or toolkit::Failure.
Bytes answer_to_reset_of(const toolkit::Card& card, const Cells& cells);

}  // namespace quorra::pcsc
