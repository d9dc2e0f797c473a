// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <utility>

#include "simulator/cards/image.hpp"

namespace quorra::simulator {

class ProcessorCard;

// The levels that the reader puts on the contacts of a card. IO and C8 are lines with a pull-up:
// true means that the reader lets the line go, and it is high only if the chip lets it go as well.
struct Contacts {
  bool vcc = false;
  bool rst = false;
  bool clk = false;
  bool io = false;
  bool c4 = false;
  bool c8 = false;

  bool operator==(const Contacts&) const = default;
};

// What the card does on the lines with a pull-up.
struct CardSide {
  bool pulls_io_low = false;
  bool pulls_c8_low = false;

  bool operator==(const CardSide&) const = default;
};

// Sees which cells of a chip are programmed, and which its processor reads for the reader.
class CellWatcher {
 public:
  virtual void cell_was_read(const std::uint8_t& cell) = 0;
  // Also when the cell had that content already.
  virtual void cell_was_programmed(const std::uint8_t& cell) = 0;

 protected:
  CellWatcher() = default;
  CellWatcher(const CellWatcher&) = default;
  CellWatcher& operator=(const CellWatcher&) = default;
  ~CellWatcher() = default;
};

// The chip of a card: it sees nothing but its contacts, and answers by pulling IO low, or C8.
class Chip {
 public:
  explicit Chip(Image image) : image_(std::move(image)) {}
  Chip& operator=(const Chip&) = delete;
  virtual ~Chip() = default;

  // Another chip in the same state, with or without power; null if that cannot be had.
  virtual std::unique_ptr<Chip> copy() const { return nullptr; }

  // Tells the chip that the reader changed the contacts. Only one of them differs, except when
  // power is lost: then all of them go low at once.
  virtual void contacts_changed(const Contacts& before, const Contacts& now) = 0;

  // So much time passes with nothing at the contacts that the chip finishes what it programs.
  virtual void rest() {}

  bool pulls_io_low() const { return card_side_.pulls_io_low; }
  bool pulls_c8_low() const { return card_side_.pulls_c8_low; }
  const CardSide& card_side() const { return card_side_; }
  // IO is the chip's at the moment, also while it says something by letting it go.
  bool answers_on_io() const { return answers_on_io_; }

  // From now on `watcher` is told of cells; null for nobody. It must stay alive until then.
  void watch(CellWatcher* watcher) { watcher_ = watcher; }
  // The cell of which a bit is on the line; null if something else is. The reader reads it by
  // looking at the line.
  const std::uint8_t* cell_on_line() const { return cell_on_line_; }

  // The card as the reader's asynchronous interface sees it; null if it has no processor.
  virtual ProcessorCard* processor() { return nullptr; }

  // What the chip keeps without power.
  const Image& image() const { return image_; }
  // Grows with every change of that content.
  std::uint64_t changes() const { return changes_; }
  // The cells that changed since the last forget_changed_cells(), and all that lie between them.
  // Cells of different fields have no order: it means nothing when the first and the last are not
  // of the same field.
  std::span<const std::uint8_t> changed_cells() const {
    return first_changed_ == nullptr ? std::span<const std::uint8_t>()
                                     : std::span(first_changed_, last_changed_ + 1);
  }
  void forget_changed_cells() { first_changed_ = last_changed_ = nullptr; }

  // Gives the cells that differ from an earlier content of the same chip that content again, as if
  // they had never been programmed. The first half of them, rounded down, keeps the new content if
  // `half_stays`. Returns whether there were any.
  bool take_back(const Image& earlier, bool half_stays);

 protected:
  // Nothing of the copy has changed since it was saved: that is for whoever copies to know.
  Chip(const Chip& other)
      : image_(other.image_),
        changes_(other.changes_),
        card_side_(other.card_side_),
        answers_on_io_(other.answers_on_io_) {}
  // The cell of this copy that stands where a cell of the original stands; null for none.
  std::uint8_t* same_cell(const Chip& original, const std::uint8_t* cell);

  Image& image() { return image_; }
  void pull_io_low(bool low) { card_side_.pulls_io_low = answers_on_io_ = low; }
  void pull_c8_low(bool low) { card_side_.pulls_c8_low = low; }
  // A bit for the reader: it is an answer also when it is a 1, for which the line is let go.
  void put_out_on_io(bool bit) {
    card_side_.pulls_io_low = !bit;
    answers_on_io_ = true;
  }
  // The bits on the line are now those of a cell of the image; null: of something else.
  void put_on_line(const std::uint8_t* cell) { cell_on_line_ = cell; }
  // A processor reads cells for the reader.
  void tell_read(std::span<const std::uint8_t> cells) const {
    if (watcher_ == nullptr) return;
    for (const std::uint8_t& cell : cells)
      watcher_->cell_was_read(cell);
  }
  // Gives a cell of the image its new content.
  void program(std::uint8_t& cell, std::uint8_t content) {
    if (watcher_ != nullptr) watcher_->cell_was_programmed(cell);
    if (cell == content) return;
    cell = content;
    ++changes_;
    constexpr std::less<> lies_before;
    if (first_changed_ == nullptr || lies_before(&cell, first_changed_)) first_changed_ = &cell;
    if (last_changed_ == nullptr || lies_before(last_changed_, &cell)) last_changed_ = &cell;
  }

 private:
  Image image_;
  std::uint64_t changes_ = 0;
  const std::uint8_t* first_changed_ = nullptr;
  const std::uint8_t* last_changed_ = nullptr;
  CardSide card_side_;
  bool answers_on_io_ = false;
  CellWatcher* watcher_ = nullptr;
  const std::uint8_t* cell_on_line_ = nullptr;
};

}  // namespace quorra::simulator
