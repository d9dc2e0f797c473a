// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "simulator/cards/chip.hpp"
#include "simulator/firmware/reader.hpp"
#include "simulator/line/faults.hpp"

namespace quorra::simulator {

// What a request changes without power, to be taken back when it was carried out: on the cards and
// in the reader's memory.
class TakenBack {
 public:
  // Keeps what these hold now. They must outlive this object.
  TakenBack(Reader& reader, std::span<Chip* const> chips);

  // Takes back what changed since then, all of it or but for the first half of the cells of each.
  // Returns whether there was anything.
  bool take_back(WriteFate fate);

 private:
  Reader& reader_;
  ReaderMemory memory_;
  std::vector<std::pair<Chip*, Image>> contents_;
};

}  // namespace quorra::simulator
