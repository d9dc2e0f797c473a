// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Moving bytes from and to a card's memory. A long transfer is cut into pieces, so that it can be
// watched and interrupted between two frames; frame by frame it is the same as without.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "toolkit/bytes.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

inline constexpr Operation reading_card{.doing = "reading the card", .done = "read"};

// "1440 of 8192 bytes read"
std::string how_far(int done, int total, std::string_view done_word);

// Moves one piece, of which the transfer's bytes from `done` on are part, and returns the library's
// result.
using MovePiece = std::function<int(Range piece, int done)>;

// Adds to the message when a piece failed; what it returns follows the words for the result.
using ExplainFailure = std::function<std::string(int result, Range piece, int done)>;

// Is told of each piece that went through.
using PieceThrough = std::function<void(Range piece)>;

// Moves `range` of a memory. Throws Failure or Interrupted, with the number of bytes that are
// through.
void transfer(const Session& session, const Memory& memory, Range range, const Operation& operation,
              const MovePiece& move, const ExplainFailure& explain = nullptr,
              const PieceThrough& through = nullptr);

// Reads `range` of a memory. Throws Failure.
Bytes read_memory(const Session& session, const Memory& memory, Range range,
                  const Operation& operation);

// In what way bytes of a card are not the ones that are wanted.
struct Difference {
  int count;    // bytes that differ
  int address;  // of the first one
  unsigned char held;
  unsigned char wanted;
};

// Both have the same size, and begin at `address` of the card. None if they are equal.
std::optional<Difference> find_difference(const Bytes& wanted, const Bytes& held, int address);

// "at 0x0020 the card holds FF, not DE"
std::string describe(const Difference& difference);

}  // namespace quorra::toolkit
