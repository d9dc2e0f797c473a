// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "simulator/cards/chip.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/line/faults.hpp"

namespace quorra::simulator {

// A card in one of the slots inside the reader.
struct SamState {
  std::size_t slot;
  Image card;
  std::filesystem::path file;
  bool powered;
};

// What the virtual reader and its cards look like at one moment.
struct State {
  bool card_present = false;
  // The card in the slot, with all it keeps without power; absent when the slot is empty or a live
  // card is expected in it.
  std::optional<Image> card;
  // Or the address of the live card.
  std::filesystem::path card_file;
  bool card_powered = false;
  // The levels at the contacts of the slot.
  Contacts lines;
  std::vector<SamState> sams;
  std::size_t selected_sam = 0;
  bool sams_powered = false;
  // The codes that hosts have set for the processor card and for the SAMs.
  std::uint8_t card_speed = 0;
  std::uint8_t sam_speed = 0;
  // The speed that hosts must have, in bits per second; 0: any will do.
  unsigned line_speed = 0;
  std::vector<Fault> faults;
  // Faults by chance, if they are armed.
  std::optional<FaultOdds> fault_odds;
  // Since the faults were cleared last.
  std::vector<InjectedFaults> injected_faults;
  // The file of waves that is being recorded; empty if none is.
  std::filesystem::path waves;
  // The names of the snapshots.
  std::vector<std::string> snapshots;
  // How many requests have arrived whole.
  std::uint64_t exchanges = 0;
  // The host's side of the pseudo-terminal.
  std::string device;
};

}  // namespace quorra::simulator
