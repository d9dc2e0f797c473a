// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Which bytes of a card a command is about: --zone, --address and --at.
#pragma once

#include <CLI/App.hpp>

#include <optional>
#include <string>

#include "cli/report.hpp"
#include "toolkit/files/segments.hpp"
#include "toolkit/kinds/card.hpp"

namespace quorra::cli {

struct PlaceOptions {
  std::optional<int> zone;
  std::optional<int> address;
  std::optional<std::string> region;  // or this: "zone2.data", "code+1"

  bool has_address() const { return address || region; }
};

void add_place(CLI::App& command, PlaceOptions& options);

// Addresses are those of all of the card, in which its zones follow each other. People see those of
// a zone that they have named.
struct Place {
  const Card* card = nullptr;
  const Memory* zone = nullptr;  // the one of --zone
  std::string holder;            // "zone 1 of a 102 card", "zone1.data of a 102 card"
  std::string name = {};         // "the memory of zone 1 of a 102 card"
  Range room;                    // all bytes of that
  int address = 0;               // the one that is given, or the first one
  int told_from = 0;             // what people see is an address with this added

  Range told(Range range) const { return moved(range, told_from); }

  // The bytes from `address` on; without a count, up to the end. Throws UsageError if they are not
  // in the place.
  Range range(std::optional<int> count) const;

  // Throws UsageError if one of the bytes is not in the place.
  void expect_to_hold(const Segments& segments) const;
};

// Throws UsageError.
Place find_place(const Card& card, const PlaceOptions& options);

// "card", "zone" if it is named, "address" and "count".
Json fields_of(const Place& place, Range range);
// The same and, where there are holes, "segments".
Json fields_of(const Place& place, const Segments& segments);

// "at 0x0020", "in 3 parts of 0x0000-0x01FF"
std::string words_for(const Place& place, const Segments& segments);

}  // namespace quorra::cli
