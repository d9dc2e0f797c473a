// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/virtual_card.hpp"

#include <algorithm>
#include <string>

#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"

namespace quorra::cli {
namespace {

using toolkit::AreaRole;
using toolkit::Backup;
using toolkit::Region;

bool is_hidden(const Backup& backup, const Region& region) {
  const auto hidden = hidden_regions(backup);
  return std::ranges::find(hidden, region.name, &Region::name) != hidden.end();
}

// The field that holds a region outside of the memory, as on a 4428.
std::string_view field_of(AreaRole role) { return role == AreaRole::code ? "code" : "counter"; }

void copy_memory(simulator::Image& image, const Backup& backup) {
  const auto memory = image.field("memory");
  for (const Region& region : regions_of(*backup.card, backup.is_personalised)) {
    if (is_hidden(backup, region)) continue;
    const auto first = backup.memory.begin() + region.range.address;
    const bool is_inside = static_cast<std::size_t>(region.range.end()) <= memory.size();
    const auto cells = is_inside ? memory.subspan(static_cast<std::size_t>(region.range.address))
                                 : image.field(field_of(*region.role));
    std::copy_n(first, region.range.count, cells.begin());
  }
}

// An attempt is a bit that is 1.
void copy_attempts(simulator::Image& image, const Backup& backup) {
  const bool lies_in_memory = !backup.card->memory.areas.empty() &&
                              std::ranges::any_of(regions_of(*backup.card), [](const auto& region) {
                                return region.role == AreaRole::attempts;
                              });
  if (lies_in_memory || backup.counters.empty() || !image.has("counter")) return;
  image.field("counter").front() =
      static_cast<std::uint8_t>((1U << backup.counters.front().left) - 1);
}

}  // namespace

toolkit::Bytes image_file_of(const Backup& backup) {
  simulator::Image image(simulator::find_kind(backup.card->name));
  copy_memory(image, backup);
  copy_attempts(image, backup);
  const auto flags = image.field("protected");
  std::ranges::fill(flags, std::uint8_t{0});
  for (const toolkit::Range& range : backup.protected_bytes) {
    std::fill_n(flags.begin() + range.address, range.count, std::uint8_t{1});
  }
  const std::string text = to_text(image);
  return {text.begin(), text.end()};
}

}  // namespace quorra::cli
