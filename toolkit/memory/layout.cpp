// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/layout.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iterator>

#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

struct RoleRow {
  std::string_view name;
  AreaRole role;
  bool guards;
};

constexpr RoleRow roles[] = {
    {"identification", AreaRole::identification, false},
    {"protectable", AreaRole::protectable, false},
    {"issuer", AreaRole::issuer, false},
    {"code", AreaRole::code, true},
    {"attempts", AreaRole::attempts, true},
    {"flags", AreaRole::flags, false},
    {"data", AreaRole::data, false},
    {"erase_code", AreaRole::erase_code, true},
    {"erasures", AreaRole::erasures, true},
    {"personalisation", AreaRole::personalisation, true},
    {"stage", AreaRole::units, true},
};

constexpr Area only_data[] = {{0, AreaRole::data}};

const RoleRow& row_of(AreaRole role) { return *std::ranges::find(roles, role, &RoleRow::role); }

std::vector<const Memory*> zones_of(const Card& card) {
  std::vector<const Memory*> zones{&card.memory};
  for (const Memory& zone : card.further_zones) {
    zones.push_back(&zone);
  }
  return zones;
}

int end_of(std::span<const Area> areas, std::size_t index, int size) {
  return index + 1 < areas.size() ? areas[index + 1].first : size;
}

// Codes and counters have the number of what they guard, wherever they lie.
std::string name_of(const Card& card, const Memory& zone, const Area& area) {
  const RoleRow& row = row_of(area.role);
  if (area.role == AreaRole::units) return fmt::format("{}{}", row.name, area.number);
  if (!card.has_zones()) return std::string(row.name);
  return fmt::format("zone{}.{}", row.guards ? area.number : zone.zone, row.name);
}

// The second one of two regions that would have the same name gets a number.
void tell_apart(std::vector<Region>& regions) {
  for (auto region = regions.begin(); region != regions.end(); ++region) {
    const auto earlier = std::count_if(
        regions.begin(), region, [&](const Region& other) { return other.name == region->name; });
    if (earlier > 0) region->name += std::to_string(earlier + 1);
  }
}

// What does not tell names apart is left out.
std::string simplified(std::string_view name) {
  std::string result;
  for (const char character : name) {
    if (character == ' ' || character == '_' || character == '-') continue;
    result += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return result;
}

std::vector<Region> wholes_of(const Card& card) {
  std::vector<Region> wholes{{"all", {0, size_of(card)}, std::nullopt}};
  if (!card.has_zones()) return wholes;
  for (const Memory* zone : zones_of(card)) {
    wholes.push_back({fmt::format("zone{}", zone->zone),
                      {first_address_of(card, *zone), zone->size},
                      std::nullopt});
  }
  return wholes;
}

// "zone1.erase_code" in two other ways: "erase_code" and "erase_code1".
bool is_without_zone(const Region& region, std::string_view wanted, bool with_number) {
  const std::size_t point = region.name.find('.');
  if (point == std::string::npos) return false;
  const std::string number = with_number ? region.name.substr(point - 1, 1) : "";
  return simplified(region.name.substr(point + 1) + number) == wanted;
}

// The only region that the name fits, or what guards all of the card.
const Region* find_without_zone(const std::vector<Region>& regions, std::string_view wanted) {
  std::vector<const Region*> fitting;
  for (const Region& region : regions) {
    if (!region.role) continue;
    if (is_without_zone(region, wanted, false)) fitting.push_back(&region);
    if (is_guard(*region.role) && is_without_zone(region, wanted, true)) return &region;
  }
  if (fitting.empty()) return nullptr;
  const Region& first = *fitting.front();
  const bool guards_card = is_guard(*first.role) && first.name.starts_with("zone0");
  return guards_card || fitting.size() == 1 ? &first : nullptr;
}

}  // namespace

int size_of(const Card& card) {
  int size = 0;
  for (const Memory* zone : zones_of(card)) {
    size += zone->size;
  }
  return size;
}

int first_address_of(const Card& card, const Memory& zone) {
  int first = 0;
  for (const Memory* before : zones_of(card)) {
    if (before->zone == zone.zone) break;
    first += before->size;
  }
  return first;
}

std::vector<Piece> pieces_of(const Card& card, Range range) {
  std::vector<Piece> pieces;
  int first = 0;
  for (const Memory* zone : zones_of(card)) {
    const struct {
      int begin;
      int end;
      WriteFunction write;
    } parts[] = {{0, zone->writable, zone->write},
                 {zone->writable, zone->size, zone->write_security}};
    for (const auto& reach : parts) {
      const int begin = std::max(range.address, first + reach.begin);
      const int end = std::min(range.end(), first + reach.end);
      if (begin >= end) continue;
      pieces.push_back({.zone = zone,
                        .write = reach.write,
                        .range = {begin - first, end - begin},
                        .done = begin - range.address});
    }
    first += zone->size;
  }
  return pieces;
}

bool is_guard(AreaRole role) { return row_of(role).guards; }

bool has_guards(std::span<const Area> areas, Range range, int size) {
  for (std::size_t i = 0; i < areas.size(); ++i) {
    const bool overlaps = areas[i].first < range.end() && range.address < end_of(areas, i, size);
    if (overlaps && is_guard(areas[i].role)) return true;
  }
  return false;
}

std::vector<Region> regions_of(const Card& card, bool is_personalised) {
  std::vector<Region> regions;
  for (const Memory* zone : zones_of(card)) {
    std::span<const Area> areas = zone->areas.empty() ? only_data : zone->areas;
    if (is_personalised && card.units) areas = card.units->areas;
    const int first = first_address_of(card, *zone);
    for (std::size_t i = 0; i < areas.size(); ++i) {
      const int begin = areas[i].first;
      regions.push_back({name_of(card, *zone, areas[i]),
                         {first + begin, end_of(areas, i, zone->size) - begin},
                         areas[i].role});
    }
  }
  tell_apart(regions);
  return regions;
}

Region find_region(const Card& card, std::string_view name) {
  std::vector<Region> regions = wholes_of(card);
  for (const bool is_personalised : {false, true}) {
    for (Region& region : regions_of(card, is_personalised)) {
      const auto known = std::ranges::find(regions, region.name, &Region::name);
      if (known == regions.end()) regions.push_back(std::move(region));
    }
  }
  const std::string wanted = simplified(name);
  const auto found = std::ranges::find(
      regions, wanted, [](const Region& region) { return simplified(region.name); });
  if (found != regions.end()) return *found;
  if (const Region* without = find_without_zone(regions, wanted)) return *without;

  std::vector<std::string> names;
  std::ranges::transform(regions, std::back_inserter(names), &Region::name);
  const std::string near = nearest(name, names);
  throw UsageError(fmt::format("a {} card has no region '{}'{}; it has {}", card.name, name,
                               near.empty() ? "" : fmt::format(" (did you mean {}?)", near),
                               fmt::join(names, ", ")));
}

const Region& region_at(const std::vector<Region>& regions, int address) {
  return *std::ranges::find_if(
      regions, [address](const Region& region) { return region.range.contains(address); });
}

}  // namespace quorra::toolkit
