// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/security_chip.hpp"

#include <utility>

namespace quorra::simulator {

SecurityChip::SecurityChip(Image content, std::size_t byte_count)
    : Chip(std::move(content)),
      memory_(image().field("memory")),
      bit_count_(byte_count * 8) {}

void SecurityChip::contacts_changed(const Contacts& before, const Contacts& now) {
  if (!now.vcc) return lose_power();
  c8_is_low_ = !now.c8;
  if (now.clk != before.clk) {
    if (now.clk) {
      pulse_ = now;
    } else {
      end_pulse();
    }
  } else if (now.c8 != before.c8) {
    show();
  } else if (before.c4 && !now.c4) {
    show_bit();
  } else if (now.c4 != before.c4) {
    // From now on a bit on IO may be the reader's; one that is pulled low stays low.
    pull_io_low(pulls_io_low());
  }
}

// A pulse that is not over when power is lost leaves all cells as they were.
void SecurityChip::lose_power() {
  is_reset_ = false;
  c8_is_low_ = true;
  presented_.clear();
  paid_.reset();
  forget();
  show();
}

void SecurityChip::end_pulse() {
  if (pulse_.rst && !pulse_.c4) {
    is_reset_ = true;
    bit_ = 0;
    return show();
  }
  if (!is_reset_) return;
  if (!pulse_.c4) {
    compared_bits_ = 0;
    address_next();
    return bit_ % 8 == 0 ? show() : show_bit();
  }
  const bool acknowledges = pulse_.rst ? compare(pulse_.io) : program_bit(pulse_.io);
  show();
  pull_io_low(acknowledges);
  put_on_line(nullptr);
}

void SecurityChip::address_next() { bit_ = (bit_ + 1) % bit_count_; }

bool SecurityChip::program_bit(bool level) {
  compared_bits_ = 0;
  return level ? erase(bit_ / 8) : write(bit_ / 8, addressed_bit());
}

// A comparison that counts begins with closing what the code had opened.
bool SecurityChip::compare(bool level) {
  const std::size_t place = bit_;
  const std::uint8_t bit = addressed_bit();
  address_next();
  const auto code = code_at(place / 8);
  if (!code) return false;
  if (place == code->address * 8) {
    counts_ = !code->has_attempts || paid_ == code->address;
    if (counts_) presented_.erase(code->address);
    paid_.reset();
    is_right_ = true;
    compared_bits_ = 0;
  }
  if (place != code->address * 8 + compared_bits_) return false;
  ++compared_bits_;
  is_right_ = is_right_ && level == ((memory_[place / 8] & bit) != 0);
  const bool is_presented = counts_ && is_right_ && compared_bits_ == code->size * 8;
  if (is_presented) presented_.insert(code->address);
  return is_presented;
}

void SecurityChip::show() {
  const std::size_t address = bit_ / 8;
  shown_byte_ = is_reset_ ? shown(address) : erased_byte;
  put_on_line(is_reset_ && address < memory_.size() ? &memory_[address] : nullptr);
  show_bit();
}

void SecurityChip::show_bit() { put_out_on_io((shown_byte_ & addressed_bit()) != 0); }

bool SecurityChip::clear(std::size_t address, std::uint8_t bit) {
  const bool was_one = (memory_[address] & bit) != 0;
  program(memory_[address], static_cast<std::uint8_t>(memory_[address] & ~bit));
  return was_one;
}

}  // namespace quorra::simulator
