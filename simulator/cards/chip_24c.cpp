// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_24c.hpp"

#include <algorithm>
#include <utility>

namespace quorra::simulator {
namespace {

constexpr std::uint8_t erased_byte = 0xFF;

constexpr unsigned bits_of_byte = 8;
constexpr unsigned clocks_of_byte = bits_of_byte + 1;

// The upper four bits of each device-select byte, the three bits that tell apart several chips or
// several blocks, and the bit that says in which direction bytes go.
constexpr unsigned device_code = 0b1010;
constexpr unsigned select_bits = 0b111;
constexpr unsigned read_bit = 1;

// The chip has no time but that of its contacts.
constexpr unsigned changes_to_program = 500;

}  // namespace

const std::array<Chip24c::Organisation, 7> Chip24c::organisations{{
    {.size = 128, .page = 8, .word_address_bytes = 1},
    {.size = 256, .page = 8, .word_address_bytes = 1},
    {.size = 512, .page = 16, .word_address_bytes = 1},
    {.size = 1024, .page = 16, .word_address_bytes = 1},
    {.size = 2048, .page = 16, .word_address_bytes = 1},
    {.size = 4096, .page = 32, .word_address_bytes = 2},
    {.size = 8192, .page = 32, .word_address_bytes = 2},
}};

void blank_24c(Image& image) { std::ranges::fill(image.field("memory"), erased_byte); }

std::unique_ptr<Chip> make_chip_24c(Image image) {
  return std::make_unique<Chip24c>(std::move(image));
}

Chip24c::Chip24c(Image content)
    : Chip(std::move(content)),
      memory_(image().field("memory")),
      organisation_(*std::ranges::find(organisations, memory_.size(), &Organisation::size)) {}

std::unique_ptr<Chip> Chip24c::copy() const {
  auto chip = std::make_unique<Chip24c>(*this);
  chip->memory_ = chip->image().field("memory");
  return chip;
}

void Chip24c::contacts_changed(const Contacts& before, const Contacts& now) {
  if (!now.vcc) return lose_power();
  if (state_ == State::programming) {
    if (--changes_until_programmed_ == 0) end_programming();
  } else if (now.clk != before.clk) {
    now.clk ? clock_rises(now.io && !pulls_io_low()) : clock_falls();
  } else if (now.io != before.io && now.clk && !pulls_io_low()) {
    now.io ? stop_condition() : start_condition();
  }
}

// A page that was being programmed stays erased.
void Chip24c::lose_power() {
  put_on_line(nullptr);
  state_ = State::idle;
  address_ = 0;
  pull_io_low(false);
}

void Chip24c::start_condition() {
  pull_io_low(false);
  put_on_line(nullptr);
  state_ = State::device_select;
  clocks_ = 0;
}

// Data counts when the stop condition follows the acknowledge of a whole byte: then the only clock
// pulse is that of the stop condition itself.
void Chip24c::stop_condition() {
  pull_io_low(false);
  if (state_ == State::data && clocks_ == 1 && loaded_.any()) {
    begin_programming();
  } else {
    state_ = State::idle;
  }
}

void Chip24c::clock_rises(bool line) {
  if (state_ == State::idle) return;
  ++clocks_;
  if (state_ == State::sending) {
    if (clocks_ == clocks_of_byte && line) state_ = State::idle;
  } else if (clocks_ <= bits_of_byte) {
    shift_register_ = static_cast<std::uint8_t>(unsigned{shift_register_} << 1U | (line ? 1U : 0U));
  }
}

void Chip24c::clock_falls() {
  if (clocks_ == clocks_of_byte) {
    clocks_ = 0;
    pull_io_low(false);
  }
  if (state_ == State::idle) return pull_io_low(false);
  if (state_ == State::sending) {
    put_out_bit();
  } else if (clocks_ == bits_of_byte) {
    put_out_on_io(!take_byte());
  }
}

// Returns whether the byte is acknowledged.
bool Chip24c::take_byte() {
  if (state_ == State::device_select) return take_device_select();
  state_ == State::word_address ? take_word_address() : take_data();
  return true;
}

// The select bits are the address of a block of 256 bytes where a single word-address byte
// follows. A chip with two of those has select contacts instead, and they are tied low.
bool Chip24c::take_device_select() {
  const unsigned selected = shift_register_ >> 1U & select_bits;
  const bool has_select_contacts = organisation_.word_address_bytes == 2;
  if (shift_register_ >> 4U != device_code || (has_select_contacts && selected != 0)) {
    state_ = State::idle;
    return false;
  }
  if ((shift_register_ & read_bit) != 0) {
    state_ = State::sending;
    return true;
  }
  state_ = State::word_address;
  word_address_bytes_left_ = organisation_.word_address_bytes;
  loaded_.reset();
  if (!has_select_contacts) address_ = (selected << 8U | (address_ & 0xFFU)) % memory_.size();
  return true;
}

// Address bits that the chip has no cells for are not looked at.
void Chip24c::take_word_address() {
  --word_address_bytes_left_;
  const unsigned shift = word_address_bytes_left_ * 8;
  const std::size_t kept = address_ & ~(std::size_t{0xFF} << shift);
  address_ = (kept | std::size_t{shift_register_} << shift) % memory_.size();
  if (word_address_bytes_left_ == 0) state_ = State::data;
}

// Only the part of the address counter that counts inside the page goes on.
void Chip24c::take_data() {
  const std::size_t offset = address_ % organisation_.page;
  page_.at(offset) = shift_register_;
  loaded_.set(offset);
  address_ = address_ - offset + (offset + 1) % organisation_.page;
}

void Chip24c::put_out_bit() {
  if (clocks_ == 0) {
    put_on_line(&memory_[address_]);
    shift_register_ = memory_[address_];
    address_ = (address_ + 1) % memory_.size();
  }
  // In the ninth clock pulse it is the reader that acknowledges.
  if (clocks_ == bits_of_byte) return pull_io_low(false);
  put_out_on_io((unsigned{shift_register_} << clocks_ & 0x80U) != 0);
}

template <typename Function>
void Chip24c::for_each_loaded_cell(Function function) {
  const auto page = memory_.subspan(address_ - address_ % organisation_.page, organisation_.page);
  for (std::size_t offset = 0; offset < page.size(); ++offset)
    if (loaded_.test(offset)) function(page[offset], page_.at(offset));
}

void Chip24c::begin_programming() {
  state_ = State::programming;
  changes_until_programmed_ = changes_to_program;
  for_each_loaded_cell([this](std::uint8_t& cell, std::uint8_t) { program(cell, erased_byte); });
}

void Chip24c::rest() {
  if (state_ == State::programming) end_programming();
}

void Chip24c::end_programming() {
  state_ = State::idle;
  for_each_loaded_cell([this](std::uint8_t& cell, std::uint8_t data) { program(cell, data); });
}

}  // namespace quorra::simulator
