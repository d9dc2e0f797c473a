#include "simulator/cards/kinds.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "simulator/cards/chip_4442.hpp"
#include "simulator/error.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

constexpr std::array table{
    Kind{"4442", "256 bytes, 32 of them protectable, 3-byte code with three attempts", fields_4442,
         blank_4442, make_chip_4442},
    Kind{"4432", "256 bytes, 32 of them protectable, no code", fields_4432, blank_4432,
         make_chip_4442},
};

}  // namespace

std::span<const Kind> kinds() { return table; }

const Kind& find_kind(std::string_view name) {
  const auto* const found = std::ranges::find(table, name, &Kind::name);
  if (found == table.end())
    throw Error(fmt::format("unknown kind of card \"{}\" (known: {})", on_one_line(name),
                            list_names(table)));
  return *found;
}

}  // namespace quorra::simulator
