// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What is where on a card, under one address for all of its bytes: those of its zones follow each
// other.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/kinds/card.hpp"

namespace quorra::toolkit {

// The bytes of all zones.
int size_of(const Card& card);

// The address of a zone's first byte.
int first_address_of(const Card& card, const Memory& zone);

// Bytes of one zone that one function writes.
struct Piece {
  const Memory* zone;
  WriteFunction write;  // absent where none reaches them
  Range range;          // within the zone
  int done;             // bytes of the whole before it
};

// What a range of the card is made of.
std::vector<Piece> pieces_of(const Card& card, Range range);

// Whether bytes of that role are codes or counters, or end the issuer's time.
bool is_guard(AreaRole role);

// Whether a range of a zone with these areas and of this size has such bytes.
bool has_guards(std::span<const Area> areas, Range range, int size);

// Bytes that have a name: "data", "zone2.erase_code".
struct Region {
  std::string name;
  Range range;
  std::optional<AreaRole> role;  // none for all of a card or zone
};

// All regions of a card, in the order of their addresses: each byte is in one. A personalised card
// with a counter of units has others.
std::vector<Region> regions_of(const Card& card, bool is_personalised = false);

// The region of that name, or all of a zone ("zone2") or of the card ("all"). Capitals, blanks,
// "-" and "_" make no difference. The zone may be left out where there is only one such region;
// "code" is the master code, and "code 1" that of zone 1. Throws UsageError.
Region find_region(const Card& card, std::string_view name);

// The region in which a byte is.
const Region& region_at(const std::vector<Region>& regions, int address);

}  // namespace quorra::toolkit
