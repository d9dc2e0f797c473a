// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/protection.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <vector>

#include "toolkit/memory/codes.hpp"
#include "toolkit/memory/layout.hpp"
#include "toolkit/memory/transfer.hpp"

namespace quorra::toolkit {
namespace {

constexpr Operation reading_flags{.doing = "reading the flags", .done = "read"};

}  // namespace

void protect_bytes(const Session& session, const Card& card, Range range, const Bytes& bytes,
                   const Operation& protecting) {
  const Operation operation{protecting.doing, card.protection->kind, protecting.done};
  transfer(session, card.memory, range, operation, [&](Range piece, int done) {
    return session.attempt(operation, card.protection->write, piece.address, piece.count,
                           bytes.data() + done);
  });
  if (operation.kind == OperationKind::protecting) return;
  const std::vector<bool> is_protected = with_progress(
      "; the bytes may be protected now", [&] { return read_protection(session, card, range); });
  const auto writable = std::find(is_protected.begin(), is_protected.end(), false);
  if (writable != is_protected.end()) {
    throw Failure(fmt::format("{}: the byte at 0x{:04X} is still writable", protecting.doing,
                              range.address + (writable - is_protected.begin())));
  }
}

std::string words_for(const Card& card, const ZoneGuard& guard) {
  const std::string name = name_of(card, *guard.zone);
  return fmt::format("{}{} {}", card.has_zones() ? "" : "the zone of ", name,
                     guard.against_reading ? "is read only after its code was presented"
                                           : "is not written any more");
}

const Memory* zone_with_flags(const Card& card, Range range) {
  const auto holds = [&](const Memory& zone) {
    const Range bytes{first_address_of(card, zone), zone.size};
    return zone.flags && bytes.contains(range.address) && range.end() <= bytes.end();
  };
  if (holds(card.memory)) return &card.memory;
  const auto found = std::ranges::find_if(card.further_zones, holds);
  return found == card.further_zones.end() ? nullptr : &*found;
}

bool is_guarded(const Session& session, const ZoneGuard& guard) {
  const Memory& zone = *guard.zone;
  const Bytes flags = read_memory(session, zone, {zone.flags->address, 1}, reading_flags);
  return (flags.front() & (guard.against_reading ? read_flag : write_flag)) == 0;
}

// Once its write flag is 0, a zone refuses to write the rest of that byte. So the flag counts, and
// not the answer to the write.
void guard_zone(const Session& session, const ZoneGuard& guard, const Operation& protecting) {
  const Flags& flags = *guard.zone->flags;
  const int result = session.attempt(
      protecting, guard.against_reading ? flags.clear_read_flag : flags.clear_write_flag);
  if (result < 0 && !is_status(result, protecting.kind)) {
    throw Failure(session.describe(protecting, result));
  }
  const bool is_clear =
      with_progress("; the flag may be cleared now", [&] { return is_guarded(session, guard); });
  if (is_clear) return;
  throw Failure(result < 0 ? session.describe(protecting, result)
                           : fmt::format("{}: the flag is still set", protecting.doing));
}

}  // namespace quorra::toolkit
