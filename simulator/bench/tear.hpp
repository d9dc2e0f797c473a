// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "simulator/cards/image.hpp"
#include "simulator/status.hpp"

namespace quorra::simulator {

// A request as the reader's firmware takes it.
struct Order {
  std::uint8_t command = 0;
  // The card type comes first.
  std::vector<std::uint8_t> body;
};

// Rising edges of CLK, from `first` to `last`, counted from 1.
struct ClockRange {
  unsigned first = 0;
  unsigned last = 0;
};

// A content of a card that a cut of the power leaves behind.
struct TornState {
  Image content;
  // Where the power was cut; empty for the content that comes without a cut alone.
  std::vector<ClockRange> clocks;
};

// What comes of a command when the power is cut at each of its clocks in turn: before the card sees
// the rising edge of CLK.
struct Tear {
  Image before;
  // Without a cut.
  Image after;
  Status status = Status::success;
  unsigned clocks = 0;
  // In the order in which they come first. Contents that are the same are one state.
  std::vector<TornState> states;
};

// Carries orders out on a card of that content, the last of them once for each of its clocks.
// Throws Error if one before the last is no success.
Tear tear(const Image& card, std::span<const Order> orders);

// Cells that follow each other and differ between two contents.
struct CellChange {
  std::string_view field;
  std::size_t address = 0;
  std::vector<std::uint8_t> before;
  std::vector<std::uint8_t> found;
};

std::vector<CellChange> changes_between(const Image& before, const Image& found);

// Reads a command byte and a body in hexadecimal, or a whole frame. Throws Error.
Order parse_order(std::string_view text);

}  // namespace quorra::simulator
