// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/place.hpp"

#include <fmt/core.h>

#include "cli/options.hpp"
#include "toolkit/memory/layout.hpp"

namespace quorra::cli {
namespace {

Place place_of_region(const Card& card, const std::string& text) {
  const std::size_t plus = text.find('+');
  const Region region = find_region(card, text.substr(0, plus));
  const int offset = plus == std::string::npos ? 0 : parse_number("--at", text.substr(plus + 1));
  if (offset >= region.range.count) {
    throw UsageError(fmt::format("--at: {} of a {} card has the offsets 0 to {}, not {}",
                                 region.name, card.name, region.range.count - 1, offset));
  }
  const std::string name = fmt::format("{} of a {} card", region.name, card.name);
  return {.card = &card,
          .holder = name,
          .name = name,
          .room = region.range,
          .address = region.range.address + offset};
}

Place place_of_zone(const Card& card, const PlaceOptions& options) {
  const Memory& zone = memory_of(card, options.zone);
  Place place{
      .card = &card, .holder = fmt::format("a {} card", card.name), .room = {0, size_of(card)}};
  if (options.zone) {
    place.zone = &zone;
    place.holder = name_of(card, zone);
    place.room = {first_address_of(card, zone), zone.size};
    place.told_from = -place.room.address;
  }
  place.name = "the memory of " + place.holder;
  place.address = place.room.address;
  if (options.address) {
    place.address = range_within(place.told(place.room), place.name, *options.address, 1).address -
                    place.told_from;
  }
  return place;
}

}  // namespace

void add_place(CLI::App& command, PlaceOptions& options) {
  add_number(command, "--zone", options.zone,
             "The zone that addresses belong to, on a card with zones; without it, addresses count "
             "through all of them");
  add_address(command, options.address);
  command
      .add_option("--at", options.region,
                  "In place of an address: the region that it is in, as quorra map names it, and "
                  "how far behind its beginning: zone2.data, or zone2.data+16")
      ->type_name("REGION[+N]");
}

Range Place::range(std::optional<int> count) const {
  return moved(range_within(told(room), name, address + told_from, count), -told_from);
}

void Place::expect_to_hold(const Segments& segments) const {
  for (const Segment& segment : segments) {
    const Range range = told(segment.range());
    static_cast<void>(range_within(told(room), name, range.address, range.count));
  }
}

Place find_place(const Card& card, const PlaceOptions& options) {
  if (!options.region) return place_of_zone(card, options);
  if (options.zone) throw UsageError("--at names the zone, too: give it without --zone");
  if (options.address) throw UsageError("give --at or --address, not both");
  return place_of_region(card, *options.region);
}

Json fields_of(const Place& place, Range range) {
  Json fields{{"card", place.card->name}};
  if (place.zone != nullptr) fields["zone"] = place.zone->zone;
  fields["address"] = range.address + place.told_from;
  fields["count"] = range.count;
  return fields;
}

Json fields_of(const Place& place, const Segments& segments) {
  Json fields = fields_of(place, Range{segments.span().address, segments.count()});
  if (segments.size() == 1) return fields;
  for (const Segment& segment : segments) {
    const Range range = place.told(segment.range());
    fields["segments"].push_back({{"address", range.address}, {"count", range.count}});
  }
  return fields;
}

std::string words_for(const Place& place, const Segments& segments) {
  const Range all = place.told(segments.span());
  if (segments.size() == 1) return fmt::format("at 0x{:04X}", all.address);
  return fmt::format("in {} parts of {}", segments.size(), addresses(all));
}

}  // namespace quorra::cli
