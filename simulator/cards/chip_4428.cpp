// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_4428.hpp"

#include <algorithm>
#include <span>
#include <utility>

namespace quorra::simulator {
namespace {

constexpr std::size_t counter_address = 1021;
constexpr std::size_t code_address = 1022;

// The control byte holds bits 8 and 9 of the address above the six bits of the command.
constexpr unsigned bits_of_control = 6;
constexpr std::uint8_t control_mask = 0x3F;

// How many of the operations a chip without a code has.
constexpr std::size_t codeless = 5;

}  // namespace

void blank_4428(Image& image) { fill_new_card(image, {0x92, 0x23, 0x10, 0x91}); }

std::unique_ptr<Chip> make_chip_4428(Image image) {
  return std::make_unique<Chip4428>(std::move(image));
}

const std::array<Chip4428::Operation, 7> Chip4428::operations{{
    {0x0E, &Chip4428::read},
    {0x0C, &Chip4428::read_with_protection},
    {0x33, &Chip4428::write},
    {0x31, &Chip4428::write_with_protection},
    {0x30, &Chip4428::write_protection},
    {0x32, &Chip4428::write_counter},
    {0x0D, &Chip4428::compare},
}};

Chip4428::Chip4428(Image content)
    : ProtectedChip(std::move(content), {.erase_or_write = 103, .erase_and_write = 203}) {}

std::unique_ptr<Chip> Chip4428::copy() const {
  auto chip = std::make_unique<Chip4428>(*this);
  chip->belongs_to_copy_of(*this);
  return chip;
}

void Chip4428::contacts_changed(const Contacts& before, const Contacts& now) {
  if (!now.vcc) {
    lose_power();
  } else if (now.rst != before.rst) {
    reset_changed(now.rst);
  } else if (now.clk != before.clk && now.clk == now.rst) {
    now.rst ? take_bit(now.io) : advance();
  }
}

// A single clock pulse while RST is high makes a reset, 24 make a command.
void Chip4428::reset_changed(bool rst) {
  if (rst) {
    break_off();
    begin_command();
  } else if (command_is_whole()) {
    run_command();
  } else if (command_bits() > 0) {
    answer_to_reset();
  }
}

void Chip4428::run_command() {
  const auto [control, low_address, data] = command();
  const std::size_t address =
      static_cast<std::size_t>(control >> bits_of_control) << 8U | low_address;
  const auto known = std::span(operations).first(has_code() ? operations.size() : codeless);
  const auto found = std::ranges::find(known, control & control_mask, &Operation::control);
  if (found == known.end()) return;
  (this->*found->run)(address, data);
  advance();
}

void Chip4428::read(std::size_t address, std::uint8_t /*data*/) {
  const auto cells = shown();
  send_from(address, std::span(cells).subspan(address));
}

void Chip4428::read_with_protection(std::size_t address, std::uint8_t /*data*/) {
  const auto cells = shown();
  send_from(address, std::span(cells).subspan(address), protection().subspan(address));
}

void Chip4428::write(std::size_t address, std::uint8_t data) {
  if (!cell_can_be_written(address)) return refuse();
  update(cell(address), data);
}

void Chip4428::write_with_protection(std::size_t address, std::uint8_t data) {
  if (!cell_can_be_written(address)) return refuse();
  update(cell(address), data, erased_byte, &protection()[address]);
}

void Chip4428::write_protection(std::size_t address, std::uint8_t data) {
  if (!can_be_written() || data != cell(address)) return refuse();
  write_protection_bit(address);
}

// Attempts can be used up at any time; bits of the counter only become 1 again by an ordinary
// write.
void Chip4428::write_counter(std::size_t address, std::uint8_t data) {
  if (address != counter_address || protection()[address] != 0) return refuse();
  update_counter(data & counter().front());
}

void Chip4428::compare(std::size_t address, std::uint8_t data) {
  compare_code(address - code_address, data);
}

std::uint8_t& Chip4428::cell(std::size_t address) {
  if (address < memory().size()) return memory()[address];
  return address == counter_address ? counter().front() : code()[address - code_address];
}

bool Chip4428::cell_can_be_written(std::size_t address) const {
  return can_be_written() && protection()[address] == 0;
}

std::array<std::uint8_t, Chip4428::cell_count> Chip4428::shown() const {
  std::array<std::uint8_t, cell_count> cells{};
  auto* const rest = std::ranges::copy(memory(), cells.begin()).out;
  if (!has_code()) return cells;
  *rest = counter().front();
  if (is_open()) std::ranges::copy(code(), rest + 1);
  return cells;
}

}  // namespace quorra::simulator
