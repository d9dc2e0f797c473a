// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What has to be sent so that a card holds what is wanted. Addresses count all zones of the card.
#pragma once

#include <vector>

#include "toolkit/bytes.hpp"
#include "toolkit/files/segments.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/memory/layout.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

// What a card holds, as far as it is needed.
struct Held {
  Segments bytes;
  std::vector<bool> is_protected = {};  // by address; the bytes behind its end are not
  bool is_personalised = false;         // known of a card with a counter of units

  bool is_read_only(int address) const;
};

struct PlanOptions {
  bool all = false;                     // frames that would change nothing, too
  bool with_guards = false;             // codes and counters, too
  bool with_security = false;           // by the command that reaches those
  bool may_erase = false;               // bytes of a security memory card one by one, as its issuer
  const Memory* whole_zone = nullptr;   // erased as a whole, after its erase code, if need be
  std::vector<const Code*> codes = {};  // those that are presented
};

// Why a byte does not become what is wanted.
enum class Obstacle {
  read_only,   // it is protected for good
  no_command,  // nothing writes it
  guard,       // it is of a code or counter, and those are left alone
  zero_stays,  // a 0 would have to become 1
};

struct ObstacleAt {
  Range range;
  Obstacle obstacle;
};

// "the bytes are read-only for good"
std::string_view words_for(Obstacle obstacle);

struct PlannedWrite {
  const Memory* zone;
  WriteFunction write;
  Range range;  // within the zone, whole units
  Bytes bytes;
  int address;  // of the first byte
};

struct PlannedErasure {
  const Memory* zone;
  Range range;  // within the zone
  int address;  // of the first byte
};

struct Plan {
  std::vector<PlannedErasure> erasures;  // before the writes
  std::vector<PlannedWrite> writes;      // frames that follow each other are one
  std::vector<ObstacleAt> obstacles;
  int frames = 0;
  int bytes_sent = 0;
  int bytes_changed = 0;
  int bits_cleared = 0;      // 1 -> 0
  int bits_set = 0;          // 0 -> 1
  int erasures_counted = 0;  // that the card counts down
  int attempts = 0;          // that are taken, and given back when the codes are right

  bool sends_nothing() const { return writes.empty() && erasures.empty(); }
};

// What has to be read of a card before the plan is made.
std::vector<Range> ranges_to_read(const Card& card, const Segments& wanted,
                                  const PlanOptions& options = {});

// Reads these ranges. Messages add `told_from` to addresses. Throws Failure.
Segments read_ranges(const Session& session, const Card& card, const std::vector<Range>& ranges,
                     const Operation& operation, int told_from = 0);

// The same, and what is protected there and whether the card is personalised.
Held read_held(const Session& session, const Card& card, const std::vector<Range>& ranges,
               const Operation& operation, int told_from = 0);

// What is wanted lies on the card, and `held` has the ranges to read. Of a frame's length, no part
// crosses a page or zone; halves of words that are not wanted stay as they are.
Plan make_plan(const Card& card, const Held& held, const Segments& wanted,
               const PlanOptions& options = {});

}  // namespace quorra::toolkit
