// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/protected_chip.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace quorra::simulator {
namespace {

constexpr unsigned clocks_to_refuse = 2;
constexpr unsigned clocks_to_compare = 2;

// The answer to reset, the chip's own bytes, and the application's identifier.
constexpr std::array protected_at_delivery{0, 1, 2, 3, 6, 7, 21, 22, 23, 24, 25, 26};

}  // namespace

void fill_new_card(Image& image, const std::array<std::uint8_t, 4>& answer_to_reset) {
  for (const std::string_view name : {"memory", "code", "counter"})
    std::ranges::fill(image.field(name), std::uint8_t{0xFF});
  std::ranges::copy(answer_to_reset, image.field("memory").begin());
  for (const int address : protected_at_delivery)
    image.field("protected")[static_cast<std::size_t>(address)] = 1;
}

ProtectedChip::ProtectedChip(Image content, const Timing& timing)
    : Chip(std::move(content)),
      timing_(timing) {
  find_cells();
}

void ProtectedChip::find_cells() {
  memory_ = image().field("memory");
  protection_ = image().field("protected");
  code_ = image().field("code");
  counter_ = image().field("counter");
}

void ProtectedChip::belongs_to_copy_of(const ProtectedChip& original) {
  find_cells();
  programming_.cell = same_cell(original, original.programming_.cell);
  programming_.protection = same_cell(original, original.programming_.protection);
}

void ProtectedChip::lose_power() {
  break_off();
  is_open_ = false;
  next_comparison_.reset();
}

void ProtectedChip::break_off() {
  activity_ = Activity::idle;
  put_on_line(nullptr);
  pull_io_low(false);
}

void ProtectedChip::take_bit(bool bit) {
  if (command_is_whole()) return;
  std::uint8_t& byte = command_.at(command_bits_ / 8);
  byte = static_cast<std::uint8_t>(byte >> 1U | (bit ? 0x80U : 0U));
  ++command_bits_;
}

void ProtectedChip::answer_to_reset() {
  send_from(0, memory_.first(4));
  advance();
}

void ProtectedChip::send(std::span<const std::uint8_t> bytes,
                         std::span<const std::uint8_t> protection) {
  activity_ = Activity::sending;
  outgoing_.assign(bytes.begin(), bytes.end());
  outgoing_protection_.assign(protection.begin(), protection.end());
  outgoing_bit_ = 0;
  outgoing_address_ = memory_.size();
}

void ProtectedChip::send_from(std::size_t address, std::span<const std::uint8_t> bytes,
                              std::span<const std::uint8_t> protection) {
  send(bytes, protection);
  outgoing_address_ = address;
}

void ProtectedChip::process(const Programming& programming) {
  activity_ = Activity::processing;
  programming_ = programming;
  clocks_given_ = 0;
}

void ProtectedChip::update(std::uint8_t& cell, std::uint8_t content, std::uint8_t erased,
                           std::uint8_t* protection) {
  const bool erase = (content & ~cell) != 0;
  const bool write = content != (erase ? erased : cell);
  process({.cell = &cell,
           .during = erase ? erased : cell,
           .after = content,
           .clocks = erase && write ? timing_.erase_and_write : timing_.erase_or_write,
           .protection = protection});
}

void ProtectedChip::update_counter(std::uint8_t content, std::uint8_t erased) {
  std::uint8_t& cell = counter_.front();
  update(cell, content, erased);
  programming_.allows_comparison = (cell & ~content) != 0;
}

void ProtectedChip::write_protection_bit(std::size_t address) {
  process({.clocks = timing_.erase_or_write, .protection = &protection_[address]});
}

// The first comparison of an attempt closes a chip that is open.
void ProtectedChip::compare_code(std::size_t place, std::uint8_t byte) {
  if (!next_comparison_) return refuse();
  is_open_ = false;
  const bool is_right = place == *next_comparison_ && byte == code_[place];
  const std::size_t next = *next_comparison_ + 1;
  next_comparison_.reset();
  if (is_right && next < code_.size()) next_comparison_ = next;
  if (is_right && next == code_.size()) is_open_ = true;
  process({.clocks = clocks_to_compare});
}

void ProtectedChip::refuse() { process({.clocks = clocks_to_refuse}); }

void ProtectedChip::advance() {
  if (activity_ == Activity::sending) return put_out_next_bit();
  if (activity_ == Activity::processing) process_one_clock();
}

void ProtectedChip::put_out_next_bit() {
  const std::size_t bits_for_each_byte = outgoing_protection_.empty() ? 8 : 9;
  const std::size_t address = outgoing_bit_ / bits_for_each_byte;
  const std::size_t place = outgoing_bit_ % bits_for_each_byte;
  if (address == outgoing_.size()) return break_off();
  const std::size_t cell = outgoing_address_ + address;
  if (place == 0) put_on_line(cell < memory_.size() ? &memory_[cell] : nullptr);
  put_out_on_io(place < 8 ? (outgoing_[address] >> place & 1U) != 0
                          : outgoing_protection_[address] == 0);
  ++outgoing_bit_;
}

// IO goes low with the first step, before any clock is counted, and high again with the last
// clock.
void ProtectedChip::process_one_clock() {
  if (clocks_given_ == 0) {
    pull_io_low(true);
    if (programming_.cell != nullptr) program(*programming_.cell, programming_.during);
  }
  if (clocks_given_ == programming_.clocks) {
    if (programming_.cell != nullptr) program(*programming_.cell, programming_.after);
    if (programming_.protection != nullptr) program(*programming_.protection, 1);
    if (programming_.allows_comparison) next_comparison_ = 0;
    break_off();
  }
  ++clocks_given_;
}

}  // namespace quorra::simulator
