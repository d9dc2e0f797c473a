// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "simulator/cards/chip.hpp"
#include "simulator/cards/slot.hpp"

namespace quorra::simulator {

// A contact of the card, by its name.
struct Contact {
  std::string_view name;
  bool Contacts::*level;
};

inline constexpr std::array contacts{
    Contact{"VCC", &Contacts::vcc}, Contact{"RST", &Contacts::rst}, Contact{"CLK", &Contacts::clk},
    Contact{"IO", &Contacts::io},   Contact{"C4", &Contacts::c4},   Contact{"C8", &Contacts::c8},
};

// Bytes of a field of the card's image that follow each other, and what they hold afterwards.
struct TouchedBytes {
  std::string_view field;
  std::size_t first = 0;
  std::vector<std::uint8_t> bytes;
};

// What an exchange did to the card in the slot.
struct Activity {
  std::vector<TouchedBytes> read;
  std::vector<TouchedBytes> programmed;
  // How often the reader changed each of the contacts.
  std::array<std::uint64_t, contacts.size()> changes{};
  // The levels at the end.
  Contacts lines;
};

// Collects what is done to the card in a slot, from its construction on.
class ActivityWatch final : ContactsWatcher, CellWatcher {
 public:
  // Null if there is no chip that can be looked at. Both must outlive this object.
  ActivityWatch(Slot& slot, Chip* chip);
  ActivityWatch(const ActivityWatch&) = delete;
  ActivityWatch& operator=(const ActivityWatch&) = delete;
  ~ActivityWatch() override;

  Activity activity();

 private:
  using Cells = std::vector<const std::uint8_t*>;

  void contacts_changed(const Contacts& now, const CardSide& card) override;
  void line_was_read() override;
  void cell_was_read(const std::uint8_t& cell) override { add(read_, cell); }
  void cell_was_programmed(const std::uint8_t& cell) override { add(programmed_, cell); }
  static void add(Cells& cells, const std::uint8_t& cell);
  std::vector<TouchedBytes> touched(Cells& cells) const;

  Slot& slot_;
  Chip* chip_;
  Cells read_;
  Cells programmed_;
  Contacts before_;
  std::array<std::uint64_t, contacts.size()> changes_{};
};

}  // namespace quorra::simulator
