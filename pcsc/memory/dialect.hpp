// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The other words for the same cards that common USB readers document. FF A4 switches to them.
#pragma once

#include <optional>

#include "pcsc/memory/cells.hpp"

namespace quorra::pcsc {

// The answer to a command that has a meaning of its own for cards of this type, or none: then the
// command means what it always does. Throws Refusal or toolkit::Failure.
std::optional<Answer> answer_in_dialect(unsigned char type, const Command& command,
                                        const toolkit::Card& card, const Cells& cells,
                                        Codes& codes);

}  // namespace quorra::pcsc
