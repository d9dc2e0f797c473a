// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/activity.hpp"

#include <algorithm>
#include <functional>
#include <utility>

#include "simulator/cards/kinds.hpp"

namespace quorra::simulator {

ActivityWatch::ActivityWatch(Slot& slot, Chip* chip) : slot_(slot), chip_(chip) {
  // How the contacts are is no change.
  slot_.watch(*this);
  changes_ = {};
  if (chip_ != nullptr) chip_->watch(this);
}

ActivityWatch::~ActivityWatch() {
  slot_.unwatch(*this);
  if (chip_ != nullptr) chip_->watch(nullptr);
}

Activity ActivityWatch::activity() {
  return {.read = touched(read_),
          .programmed = touched(programmed_),
          .changes = changes_,
          .lines = slot_.lines()};
}

void ActivityWatch::contacts_changed(const Contacts& now, const CardSide& /*card*/) {
  for (std::size_t i = 0; i < contacts.size(); ++i)
    if (before_.*contacts.at(i).level != now.*contacts.at(i).level) ++changes_.at(i);
  before_ = now;
}

void ActivityWatch::line_was_read() {
  if (chip_ == nullptr) return;
  if (const std::uint8_t* const cell = chip_->cell_on_line()) add(read_, *cell);
}

// A byte is read bit by bit.
void ActivityWatch::add(Cells& cells, const std::uint8_t& cell) {
  if (cells.empty() || cells.back() != &cell) cells.push_back(&cell);
}

// Registers of the chip are no cells of its image, and left out.
std::vector<TouchedBytes> ActivityWatch::touched(Cells& cells) const {
  std::vector<TouchedBytes> touched;
  if (chip_ == nullptr) return touched;
  constexpr std::less<> lies_before;
  std::ranges::sort(cells, lies_before);
  cells.erase(std::unique(cells.begin(), cells.end()), cells.end());
  const Image& image = std::as_const(*chip_).image();
  for (const Field& field : image.kind().fields) {
    const auto bytes = image.field(field.name);
    const std::uint8_t* after_last = nullptr;
    for (auto cell = std::lower_bound(cells.cbegin(), cells.cend(), bytes.data(), lies_before);
         cell != cells.cend() && lies_before(*cell, bytes.data() + bytes.size()); ++cell) {
      if (*cell != after_last)
        touched.push_back({field.name, static_cast<std::size_t>(*cell - bytes.data()), {}});
      touched.back().bytes.push_back(**cell);
      after_last = *cell + 1;
    }
  }
  return touched;
}

}  // namespace quorra::simulator
