// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_93c.hpp"

#include <algorithm>
#include <bit>
#include <utility>

namespace quorra::simulator {
namespace {

constexpr std::uint8_t erased_byte = 0xFF;
constexpr std::uint32_t erased_word = 0xFFFF;

// The chip has no time but that of its contacts.
constexpr unsigned changes_to_program = 500;

}  // namespace

void blank_93c(Image& image) { std::ranges::fill(image.field("memory"), erased_byte); }

std::unique_ptr<Chip> make_chip_93c_of_bytes(Image image) {
  return std::make_unique<Chip93c>(std::move(image), 1);
}

std::unique_ptr<Chip> make_chip_93c_of_words(Image image) {
  return std::make_unique<Chip93c>(std::move(image), 2);
}

Chip93c::Chip93c(Image content, std::size_t bytes_per_word)
    : Chip(std::move(content)),
      memory_(image().field("memory")),
      bytes_per_word_(bytes_per_word),
      word_bits_(static_cast<unsigned>(bytes_per_word * 8)),
      address_bits_(static_cast<unsigned>(std::countr_zero(memory_.size() / bytes_per_word))) {}

std::unique_ptr<Chip> Chip93c::copy() const {
  auto chip = std::make_unique<Chip93c>(*this);
  chip->memory_ = chip->image().field("memory");
  chip->programmed_ = {chip->same_cell(*this, programmed_.data()), programmed_.size()};
  return chip;
}

void Chip93c::contacts_changed(const Contacts& before, const Contacts& now) {
  if (!now.vcc) return lose_power();
  if (state_ == State::programming) {
    pull_io_low(now.rst);
    if (--changes_until_programmed_ == 0) end_programming();
  } else if (now.rst != before.rst) {
    now.rst ? selected() : deselected();
  } else if (now.rst && now.clk && !before.clk) {
    clock_rises(now.io);
  }
}

// Cells that were being programmed stay erased.
void Chip93c::lose_power() {
  put_on_line(nullptr);
  state_ = State::waiting_for_start_bit;
  can_be_written_ = false;
  bits_ = 0;
  pull_io_low(false);
}

void Chip93c::selected() {
  state_ = State::waiting_for_start_bit;
  bits_ = 0;
}

void Chip93c::deselected() {
  put_on_line(nullptr);
  pull_io_low(false);
  if (state_ == State::receiving && bits_ >= instruction_bits()) return carry_out();
  state_ = State::waiting_for_start_bit;
}

void Chip93c::clock_rises(bool bit) {
  if (state_ == State::sending) {
    put_out_bit();
  } else if (state_ == State::receiving) {
    take_bit(bit);
  } else if (bit) {
    state_ = State::receiving;
  }
}

// The last address bit of a read brings a zero, and the data follows.
void Chip93c::take_bit(bool bit) {
  shift_register_ = shift_register_ << 1U | (bit ? 1U : 0U);
  ++bits_;
  if (bits_ != instruction_bits()) return;
  instruction_ = shift_register_ & ((1U << instruction_bits()) - 1U);
  if (operation() != Operation::read) return;
  state_ = State::sending;
  outgoing_bit_ = address() * word_bits_;
  pull_io_low(true);
}

// Behind the last word comes the first.
void Chip93c::put_out_bit() {
  if (outgoing_bit_ % 8 == 0) put_on_line(&memory_[outgoing_bit_ / 8]);
  const bool bit = (unsigned{memory_[outgoing_bit_ / 8]} << outgoing_bit_ % 8 & 0x80U) != 0;
  put_out_on_io(bit);
  outgoing_bit_ = (outgoing_bit_ + 1) % (memory_.size() * 8);
}

// An instruction that has more or fewer clock pulses than its bits is not carried out.
void Chip93c::carry_out() {
  state_ = State::waiting_for_start_bit;
  const unsigned data_bits = takes_data() ? word_bits_ : 0;
  if (bits_ != instruction_bits() + data_bits) return;
  switch (operation()) {
    case Operation::write:
      return begin_programming(addressed_word(), shift_register_);
    case Operation::erase:
      return begin_programming(addressed_word(), erased_word);
    case Operation::read:  // UNREACHED: is carried out bit by bit, see take_bit()
      return;              // UNREACHED: is carried out bit by bit, see take_bit()
    case Operation::extended:
      return carry_out_extended();
  }
}

void Chip93c::carry_out_extended() {
  switch (extended_operation()) {
    case ExtendedOperation::disable_writing:
      can_be_written_ = false;
      return;
    case ExtendedOperation::enable_writing:
      can_be_written_ = true;
      return;
    case ExtendedOperation::write_all:
      return begin_programming(memory_, shift_register_);
    case ExtendedOperation::erase_all:
      return begin_programming(memory_, erased_word);
  }
}

bool Chip93c::takes_data() const {
  return operation() == Operation::write || (operation() == Operation::extended &&
                                             extended_operation() == ExtendedOperation::write_all);
}

std::span<std::uint8_t> Chip93c::addressed_word() const {
  return memory_.subspan(address() * bytes_per_word_, bytes_per_word_);
}

// Gives each word of the cells a new content; until that is over they are erased.
void Chip93c::begin_programming(std::span<std::uint8_t> cells, std::uint32_t word) {
  if (!can_be_written_) return;
  state_ = State::programming;
  changes_until_programmed_ = changes_to_program;
  programmed_ = cells;
  programmed_word_ = word;
  for (std::uint8_t& cell : programmed_)
    program(cell, erased_byte);
}

void Chip93c::rest() {
  if (state_ == State::programming) end_programming();
}

void Chip93c::end_programming() {
  state_ = State::waiting_for_start_bit;
  bits_ = 0;
  pull_io_low(false);
  for (std::size_t i = 0; i < programmed_.size(); ++i) {
    const std::size_t bytes_behind = bytes_per_word_ - 1 - i % bytes_per_word_;
    program(programmed_[i], static_cast<std::uint8_t>(programmed_word_ >> bytes_behind * 8));
  }
}

}  // namespace quorra::simulator
