// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "simulator/cards/chip.hpp"

namespace quorra::simulator {

// The fields of a chip with so many bytes.
template <std::size_t size>
inline constexpr std::array fields_24c{Field{"memory", FieldForm::memory, size}};

void blank_24c(Image& image);
std::unique_ptr<Chip> make_chip_24c(Image image);

// The chips of the 24C series: two-wire EEPROMs. CLK is their clock, IO their data; RST is not
// connected. The size of the memory says which chip it is.
//
// Bits travel most significant first. The chip takes a bit in when CLK rises and puts one out when
// CLK falls. Bytes travel between a start condition (IO falls while CLK is high) and a stop
// condition (IO rises while CLK is high); a ninth clock pulse acknowledges each of them.
class Chip24c final : public Chip {
 public:
  explicit Chip24c(Image content);

  std::unique_ptr<Chip> copy() const override;
  void contacts_changed(const Contacts& before, const Contacts& now) override;
  void rest() override;

 private:
  enum class State : std::uint8_t {
    idle,
    device_select,
    word_address,
    data,
    sending,
    programming,
  };

  static constexpr std::size_t largest_page = 32;

  // What differs between the chips.
  struct Organisation {
    std::size_t size;
    std::size_t page;
    unsigned word_address_bytes;
  };
  static const std::array<Organisation, 7> organisations;

  void lose_power();
  void start_condition();
  void stop_condition();
  void clock_rises(bool line);
  void clock_falls();

  bool take_byte();
  bool take_device_select();
  void take_word_address();
  void take_data();
  void put_out_bit();

  void begin_programming();
  void end_programming();
  template <typename Function>
  void for_each_loaded_cell(Function function);

  std::span<std::uint8_t> memory_;
  const Organisation& organisation_;

  State state_ = State::idle;
  // The clock pulses of the byte that is under way, the acknowledge included.
  unsigned clocks_ = 0;
  std::uint8_t shift_register_ = 0;
  unsigned word_address_bytes_left_ = 0;

  // The address counter.
  std::size_t address_ = 0;
  // The page buffer, and which of its bytes have been loaded.
  std::array<std::uint8_t, largest_page> page_{};
  std::bitset<largest_page> loaded_;
  unsigned changes_until_programmed_ = 0;
};

}  // namespace quorra::simulator
