// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/taken_back.hpp"

#include <algorithm>

namespace quorra::simulator {

TakenBack::TakenBack(Reader& reader, std::span<Chip* const> chips)
    : reader_(reader),
      memory_(reader.memory) {
  for (Chip* const chip : chips)
    contents_.emplace_back(chip, std::as_const(*chip).image());
}

// The speed of the line is set by a cell, too.
bool TakenBack::take_back(WriteFate fate) {
  const bool half_stays = fate == WriteFate::half_stays;
  bool anything = false;
  for (const auto& [chip, content] : contents_)
    anything = chip->take_back(content, half_stays) || anything;
  std::vector<std::size_t> changed;
  for (std::size_t address = 0; address < memory_.size(); ++address)
    if (reader_.memory.at(address) != memory_.at(address)) changed.push_back(address);
  for (std::size_t i = half_stays ? changed.size() / 2 : 0; i < changed.size(); ++i)
    reader_.memory.at(changed[i]) = memory_.at(changed[i]);
  if (reader_.memory[speed_address] == memory_[speed_address]) reader_.next_line_speed = 0;
  return anything || !changed.empty();
}

}  // namespace quorra::simulator
