// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_45d041.hpp"

#include <algorithm>
#include <utility>

namespace quorra::simulator {
namespace {

constexpr std::uint8_t erased_byte = 0xFF;

// Bits 5 to 3 of the status tell the size of the chip.
constexpr std::uint8_t status_of_this_size = 0x18;
constexpr std::uint8_t status_ready = 0x80;

// The chip has no clock of its own here: its work takes so many pulses of CLK.
constexpr unsigned clocks_to_load = 32;
constexpr unsigned clocks_to_program = 256;

constexpr std::size_t bits_of_offset = 9;

}  // namespace

void blank_45d041(Image& image) { std::ranges::fill(image.field("memory"), erased_byte); }

std::unique_ptr<Chip> make_chip_45d041(Image image) {
  return std::make_unique<Chip45d041>(std::move(image));
}

const std::array<Chip45d041::Command, 14> Chip45d041::commands{{
    {0x57, 1, false, 0, &Chip45d041::give_status, nullptr, nullptr},
    {0xD7, 1, false, 0, &Chip45d041::give_status, nullptr, nullptr},
    {0x52, 8, true, 0, &Chip45d041::give_from_page, nullptr, nullptr},
    {0x68, 8, true, 0, &Chip45d041::give_from_memory, nullptr, nullptr},
    {0x54, 5, false, 0, &Chip45d041::give_from_buffer, nullptr, nullptr},
    {0x56, 5, false, 1, &Chip45d041::give_from_buffer, nullptr, nullptr},
    {0x53, 4, true, 0, nullptr, nullptr, &Chip45d041::load_buffer},
    {0x55, 4, true, 1, nullptr, nullptr, &Chip45d041::load_buffer},
    {0x84, 4, false, 0, nullptr, &Chip45d041::take_into_buffer, nullptr},
    {0x87, 4, false, 1, nullptr, &Chip45d041::take_into_buffer, nullptr},
    {0x83, 4, true, 0, nullptr, nullptr, &Chip45d041::program_page},
    {0x86, 4, true, 1, nullptr, nullptr, &Chip45d041::program_page},
    {0x82, 4, true, 0, nullptr, &Chip45d041::take_into_buffer, &Chip45d041::program_page},
    {0x85, 4, true, 1, nullptr, &Chip45d041::take_into_buffer, &Chip45d041::program_page},
}};

Chip45d041::Chip45d041(Image content) : Chip(std::move(content)), memory_(image().field("memory")) {
  lose_power();
}

std::unique_ptr<Chip> Chip45d041::copy() const {
  auto chip = std::make_unique<Chip45d041>(*this);
  chip->memory_ = chip->image().field("memory");
  return chip;
}

void Chip45d041::contacts_changed(const Contacts& before, const Contacts& now) {
  if (!now.vcc) {
    lose_power();
  } else if (now.clk != before.clk) {
    if (now.clk) {
      clock_rises(!now.rst, now.io);
    } else {
      clock_falls();
    }
  } else if (now.rst != before.rst) {
    now.rst ? deselect() : select();
  }
}

// A page that was being programmed stays erased.
void Chip45d041::lose_power() {
  for (Page& buffer : buffers_)
    buffer.fill(erased_byte);
  busy_clocks_ = 0;
  select();
}

void Chip45d041::select() {
  command_ = nullptr;
  header_is_complete_ = false;
  bytes_taken_ = 0;
  incoming_bits_ = 0;
  outgoing_bits_ = 0;
  pull_c8_low(false);
}

void Chip45d041::deselect() {
  const Command* const command = header_is_complete_ ? command_ : nullptr;
  select();
  if (command != nullptr && command->finish != nullptr) {
    working_buffer_ = command->buffer;
    (this->*command->finish)();
  }
}

void Chip45d041::clock_rises(bool selected, bool io) {
  if (busy_clocks_ > 0 && --busy_clocks_ == 0) become_ready();
  if (!selected) return;
  incoming_ = incoming_ << 1U | (io ? 1U : 0U);
  if (++incoming_bits_ == 8) {
    incoming_bits_ = 0;
    take_byte(static_cast<std::uint8_t>(incoming_));
  }
}

void Chip45d041::clock_falls() {
  if (!header_is_complete_ || command_->give == nullptr) return;
  if (outgoing_bits_ == 0) {
    put_on_line(nullptr);
    outgoing_ = (this->*command_->give)();
    outgoing_bits_ = 8;
  }
  --outgoing_bits_;
  pull_c8_low((outgoing_ >> outgoing_bits_ & 1U) == 0);
}

void Chip45d041::take_byte(std::uint8_t byte) {
  if (header_is_complete_) {
    if (command_->take != nullptr) (this->*command_->take)(byte);
    return;
  }
  if (bytes_taken_ == 0) {
    const auto* const found = std::ranges::find(commands, byte, &Command::opcode);
    const bool is_possible = found != commands.end() && !(found->uses_pages && is_busy());
    command_ = is_possible ? &*found : nullptr;
  } else if (command_ == nullptr) {
    return;
  }
  header_.at(bytes_taken_) = byte;
  ++bytes_taken_;
  if (command_ != nullptr && bytes_taken_ == command_->header) begin_command();
}

// Bits 0 to 8 of the address are the offset, the eleven bits above them are the page.
void Chip45d041::begin_command() {
  const auto address =
      static_cast<std::size_t>(header_[1]) << 16U | std::size_t{header_[2]} << 8U | header_[3];
  page_ = address >> bits_of_offset & (page_count - 1);
  offset_ = (address & ((1U << bits_of_offset) - 1)) % page_size;
  header_is_complete_ = true;
}

std::uint8_t Chip45d041::give_status() {
  return is_busy() ? status_of_this_size : status_ready | status_of_this_size;
}

// Goes on at the beginning of the same page.
std::uint8_t Chip45d041::give_from_page() {
  const std::uint8_t& cell = page(page_)[offset_];
  put_on_line(&cell);
  offset_ = (offset_ + 1) % page_size;
  return cell;
}

// Goes on in the next page, and after the last one in the first.
std::uint8_t Chip45d041::give_from_memory() {
  const std::uint8_t byte = give_from_page();
  if (offset_ == 0) page_ = (page_ + 1) % page_count;
  return byte;
}

std::uint8_t Chip45d041::give_from_buffer() {
  const std::uint8_t byte = buffers_.at(command_->buffer).at(offset_);
  offset_ = (offset_ + 1) % page_size;
  return byte;
}

void Chip45d041::take_into_buffer(std::uint8_t byte) {
  buffers_.at(command_->buffer).at(offset_) = byte;
  offset_ = (offset_ + 1) % page_size;
}

void Chip45d041::load_buffer() {
  std::ranges::copy(page(page_), buffers_.at(working_buffer_).begin());
  is_programming_ = false;
  busy_clocks_ = clocks_to_load;
}

// The page is erased first, and gets the content of the buffer with the last clock.
void Chip45d041::program_page() {
  for (std::uint8_t& cell : page(page_))
    program(cell, erased_byte);
  working_page_ = page_;
  is_programming_ = true;
  busy_clocks_ = clocks_to_program;
}

void Chip45d041::rest() {
  if (std::exchange(busy_clocks_, 0U) != 0) become_ready();
}

void Chip45d041::become_ready() {
  if (!is_programming_) return;
  const Page& buffer = buffers_.at(working_buffer_);
  for (std::size_t offset = 0; offset < page_size; ++offset)
    program(page(working_page_)[offset], buffer.at(offset));
}

}  // namespace quorra::simulator
