#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "simulator/cards/image.hpp"
#include "simulator/line/faults.hpp"

namespace quorra::simulator {

// What the virtual reader and its card look like at one moment.
struct State {
  // The card in the slot, with all it keeps without power; absent when the slot is empty.
  std::optional<Image> card;
  std::filesystem::path card_file;
  bool card_powered = false;
  std::vector<Fault> faults;
  // How many requests have arrived whole.
  std::uint64_t exchanges = 0;
  // The host's side of the pseudo-terminal.
  std::string device;
};

}  // namespace quorra::simulator
