// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_4442.hpp"

#include <algorithm>
#include <utility>

namespace quorra::simulator {
namespace {

constexpr std::uint8_t erased_counter = 0x07;

}  // namespace

void blank_4432(Image& image) {
  fill_new_card(image, {0xA2, 0x13, 0x10, 0x91});
  const auto memory = image.field("memory");
  memory[6] = 0x81;
  memory[7] = 0x15;
}

void blank_4442(Image& image) {
  blank_4432(image);
  image.field("counter").front() = erased_counter;
}

std::unique_ptr<Chip> make_chip_4442(Image image) {
  return std::make_unique<Chip4442>(std::move(image));
}

const std::array<Chip4442::Operation, 4> Chip4442::operations{{
    {0x30, &Chip4442::read_main},
    {0x38, &Chip4442::update_main},
    {0x34, &Chip4442::read_protection},
    {0x3C, &Chip4442::write_protection},
}};

const std::array<Chip4442::Operation, 3> Chip4442::security_operations{{
    {0x31, &Chip4442::read_security},
    {0x39, &Chip4442::update_security},
    {0x33, &Chip4442::compare},
}};

Chip4442::Chip4442(Image content)
    : ProtectedChip(std::move(content), {.erase_or_write = 124, .erase_and_write = 255}) {}

std::unique_ptr<Chip> Chip4442::copy() const {
  auto chip = std::make_unique<Chip4442>(*this);
  chip->belongs_to_copy_of(*this);
  return chip;
}

void Chip4442::contacts_changed(const Contacts& before, const Contacts& now) {
  if (!now.vcc) {
    lose_power();
    takes_command_ = false;
    clocked_in_reset_ = false;
  } else if (now.clk != before.clk) {
    if (now.clk) {
      clock_rises(now.rst, now.io);
    } else if (!now.rst) {
      advance();
    }
  } else if (now.rst != before.rst) {
    reset_changed(now.rst, now.clk);
  } else if (now.io != before.io && now.clk && !now.rst) {
    now.io ? stop_condition() : start_condition();
  }
}

void Chip4442::reset_changed(bool rst, bool clk) {
  if (rst) {
    clocked_in_reset_ = false;
    if (!clk) end_everything();
  } else if (clocked_in_reset_) {
    end_everything();
    answer_to_reset();
  }
}

// The clock pulse of the stop condition comes after the 24 bits of a command and brings none.
void Chip4442::clock_rises(bool rst, bool io) {
  if (rst) {
    clocked_in_reset_ = true;
  } else if (takes_command_) {
    take_bit(io);
  }
}

void Chip4442::start_condition() {
  if (is_busy()) return;
  takes_command_ = true;
  begin_command();
}

void Chip4442::stop_condition() {
  if (!takes_command_) return;
  takes_command_ = false;
  if (!command_is_whole()) return;
  const auto [control, address, data] = command();
  for (const Operation& operation : operations)
    if (operation.control == control) return (this->*operation.run)(address, data);
  if (!has_code()) return;
  for (const Operation& operation : security_operations)
    if (operation.control == control) return (this->*operation.run)(address, data);
}

void Chip4442::end_everything() {
  takes_command_ = false;
  break_off();
}

void Chip4442::read_main(std::uint8_t address, std::uint8_t /*data*/) {
  send_from(address, memory().subspan(address));
}

void Chip4442::update_main(std::uint8_t address, std::uint8_t data) {
  const bool is_protected = address < protection().size() && protection()[address] != 0;
  if (is_protected || !can_be_written()) return refuse();
  update(memory()[address], data);
}

void Chip4442::read_protection(std::uint8_t /*address*/, std::uint8_t /*data*/) {
  Registers registers{};
  for (std::size_t address = 0; address < protection().size(); ++address)
    if (protection()[address] == 0)
      registers.at(address / 8) |= static_cast<std::uint8_t>(1U << address % 8);
  send(registers);
}

void Chip4442::write_protection(std::uint8_t address, std::uint8_t data) {
  if (address >= protection().size() || data != memory()[address] || !can_be_written())
    return refuse();
  write_protection_bit(address);
}

void Chip4442::read_security(std::uint8_t /*address*/, std::uint8_t /*data*/) {
  Registers registers{};
  registers.front() = counter().front();
  if (is_open()) std::ranges::copy(code(), registers.begin() + 1);
  send(registers);
}

// Attempts can be used up at any time, but only the right code gives them back.
void Chip4442::update_security(std::uint8_t address, std::uint8_t data) {
  const std::size_t cell = address % Registers{}.size();
  if (cell == 0) {
    const unsigned possible = is_open() ? erased_counter : counter().front();
    return update_counter(static_cast<std::uint8_t>(data & possible), erased_counter);
  }
  if (!is_open()) return refuse();
  update(code()[cell - 1], data);
}

// The bytes of the code have the addresses from 1 on.
void Chip4442::compare(std::uint8_t address, std::uint8_t data) {
  compare_code(std::size_t{address} - 1, data);
}

}  // namespace quorra::simulator
