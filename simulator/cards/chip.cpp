// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip.hpp"

#include <vector>

#include "simulator/cards/kinds.hpp"

namespace quorra::simulator {

std::uint8_t* Chip::same_cell(const Chip& original, const std::uint8_t* cell) {
  constexpr std::less_equal<> is_not_behind;
  for (const Field& field : image_.kind().fields) {
    const auto cells = original.image_.field(field.name);
    if (cells.empty() || !is_not_behind(&cells.front(), cell) ||
        !is_not_behind(cell, &cells.back()))
      continue;
    return &image_.field(field.name)[static_cast<std::size_t>(cell - cells.data())];
  }
  return nullptr;
}

bool Chip::take_back(const Image& earlier, bool half_stays) {
  struct Change {
    std::uint8_t* cell;
    std::uint8_t content;
  };
  std::vector<Change> changes;
  for (const Field& field : image_.kind().fields) {
    const auto cells = image_.field(field.name);
    const auto contents = earlier.field(field.name);
    for (std::size_t i = 0; i < cells.size(); ++i)
      if (cells[i] != contents[i]) changes.push_back({&cells[i], contents[i]});
  }
  for (std::size_t i = half_stays ? changes.size() / 2 : 0; i < changes.size(); ++i)
    program(*changes[i].cell, changes[i].content);
  return !changes.empty();
}

}  // namespace quorra::simulator
