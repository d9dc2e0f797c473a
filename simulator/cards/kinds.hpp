// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "simulator/cards/area.hpp"
#include "simulator/cards/chip.hpp"
#include "simulator/cards/image.hpp"

namespace quorra::simulator {

// A kind of card: one row of the table of all kinds.
struct Kind {
  std::string_view name;
  std::string_view description;
  std::span<const Field> fields;
  // Turns an image whose bytes are all zero into that of a new card.
  void (*make_blank)(Image& image);
  std::unique_ptr<Chip> (*make_chip)(Image image);
  // The areas of its memory, from address 0 on; null where codes and counters are fields.
  std::span<const Area> (*areas)(const Image& image) = nullptr;
  // What image files begin with.
  std::string_view headline = "A card of the virtual reader.";
};

// Every kind of card, in the order in which they are shown.
std::span<const Kind> kinds();

// The kind of that name. Throws Error.
const Kind& find_kind(std::string_view name);

}  // namespace quorra::simulator
