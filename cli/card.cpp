#include "cli/card.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <quorra.h>

#include <algorithm>
#include <vector>

#include "cli/errors.hpp"

namespace quorra::cli {
namespace {

constexpr Card cards[] = {
    {
        .name = "4442",
        .size = 256,
        .read = srd_4442,
        .write = swr_4442,
        .probe = chk_4442,
        .protection = Protection{.bytes = 32, .read = prd_4442, .write = pwr_4442},
        .code = SecurityCode{.size = 3,
                             .present = csc_4442,
                             .change = wsc_4442,
                             .read = rsc_4442,
                             .attempts_left = rsct_4442},
    },
    {
        .name = "4432",
        .size = 256,
        .read = srd_4432,
        .write = swr_4432,
        .probe = chk_4432,
        .protection = Protection{.bytes = 32, .read = prd_4432, .write = pwr_4432},
        .code = std::nullopt,
    },
};

}  // namespace

std::span<const Card> all_cards() { return cards; }

const Card* find_card(std::string_view name) {
  const auto* found = std::find_if(std::begin(cards), std::end(cards),
                                   [name](const Card& card) { return card.name == name; });
  return found == std::end(cards) ? nullptr : found;
}

std::string card_names() {
  std::vector<std::string_view> names;
  for (const Card& card : cards) {
    names.push_back(card.name);
  }
  return fmt::format("{}", fmt::join(names, ", "));
}

std::string memory_of(const Card& card) {
  return fmt::format("the memory of a {} card", card.name);
}

Range range_within(int size, std::string_view memory, int address, std::optional<int> count) {
  if (address < 0 || address >= size) {
    throw UsageError(fmt::format("address 0x{:04X} is not in {}, which is 0x0000 to 0x{:04X}",
                                 address, memory, size - 1));
  }
  const int room = size - address;
  const Range range{address, count.value_or(room)};
  if (range.count < 1) throw UsageError("a count of 0 leaves nothing to do");
  if (range.count > room) {
    throw UsageError(fmt::format("{} at 0x{:04X} do not fit: {} ends at 0x{:04X}",
                                 counted(range.count, "byte"), address, memory, size - 1));
  }
  return range;
}

}  // namespace quorra::cli
