// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <filesystem>
#include <memory>
#include <optional>

#include "simulator/cards/chip.hpp"
#include "simulator/firmware/reader.hpp"
#include "simulator/line/faults.hpp"
#include "simulator/line/pacing.hpp"

namespace quorra::simulator {

// A card as it was, with all that it forgets without power, and the file that it lives in.
struct KeptCard {
  std::filesystem::path file;
  std::unique_ptr<Chip> chip;
};

// A bench as it was, but for what was on its way over the line.
struct Snapshot {
  // Its slots have lost their cards.
  Reader reader;
  std::optional<KeptCard> card;
  std::array<std::unique_ptr<Chip>, sam_count> sams;
  Faults faults;
  unsigned line_speed = 0;
  Duration byte_time{0};
};

}  // namespace quorra::simulator
