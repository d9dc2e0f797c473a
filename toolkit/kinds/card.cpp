// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/kinds/card.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "toolkit/kinds/card_tables.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {

std::span<const Card> all_cards() {
  static const std::vector<Card> cards = [] {
    std::vector<Card> all(memory_cards().begin(), memory_cards().end());
    all.insert(all.end(), security_cards().begin(), security_cards().end());
    return all;
  }();
  return cards;
}

const Card* find_card(std::string_view name) {
  const std::span<const Card> cards = all_cards();
  const auto found = std::ranges::find(cards, name, &Card::name);
  return found == cards.end() ? nullptr : &*found;
}

std::string card_names() {
  std::vector<std::string_view> names;
  for (const Card& card : all_cards()) {
    names.push_back(card.name);
  }
  return fmt::format("{}", fmt::join(names, ", "));
}

const Memory& memory_of(const Card& card, std::optional<int> zone) {
  if (zone && !card.has_zones()) {
    throw UsageError(fmt::format("--zone: a {} card has no zones", card.name));
  }
  const auto last = static_cast<int>(card.further_zones.size());
  if (zone.value_or(0) > last) {
    throw UsageError(
        fmt::format("--zone: a {} card has the zones 0 to {}, not {}", card.name, last, *zone));
  }
  if (zone.value_or(0) == 0) return card.memory;
  return card.further_zones[static_cast<std::size_t>(*zone) - 1];
}

std::string name_of(const Card& card, const Memory& memory) {
  if (!card.has_zones()) return fmt::format("a {} card", card.name);
  return fmt::format("zone {} of a {} card", memory.zone, card.name);
}

std::string describe_size(const Card& card) {
  int size = card.memory.size;
  for (const Memory& zone : card.further_zones) {
    size += zone.size;
  }
  std::string words = counted(size, "byte");
  if (card.memory.page > 1) {
    words += fmt::format(", in {} pages of {}", size / card.memory.page, card.memory.page);
  }
  if (card.has_zones()) words += fmt::format(" in {} zones", card.further_zones.size() + 1);
  return words;
}

Range range_within(int size, std::string_view name, int address, std::optional<int> count) {
  return range_within(Range{0, size}, name, address, count);
}

Range range_within(Range room, std::string_view name, int address, std::optional<int> count) {
  if (!room.contains(address)) {
    throw UsageError(fmt::format("address 0x{:04X} is not in {}, which is 0x{:04X} to 0x{:04X}",
                                 address, name, room.address, room.end() - 1));
  }
  const int left = room.end() - address;
  const Range range{address, count.value_or(left)};
  if (range.count < 1) throw UsageError("a count of 0 leaves nothing to do");
  if (range.count > left) {
    throw UsageError(fmt::format("{} at 0x{:04X} do not fit: {} ends at 0x{:04X}",
                                 counted(range.count, "byte"), address, name, room.end() - 1));
  }
  return range;
}

Range readable_range(const Card& card, const Memory& memory, int address,
                     std::optional<int> count) {
  return range_within(memory.size, fmt::format("the memory of {}", name_of(card, memory)), address,
                      count);
}

Range writable_range(const Card& card, const Memory& memory, int address,
                     std::optional<int> count) {
  if (memory.writable == memory.size) return readable_range(card, memory, address, count);
  std::string name = fmt::format("the part of {} that can be written", name_of(card, memory));
  if (memory.write_security != nullptr) name += " without --security";
  return range_within(memory.writable, name, address, count);
}

}  // namespace quorra::toolkit
