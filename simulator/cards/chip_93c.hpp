// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "simulator/cards/chip.hpp"

namespace quorra::simulator {

// The fields of a chip with so many bytes. A word of two bytes begins with its upper byte.
template <std::size_t size>
inline constexpr std::array fields_93c{Field{"memory", FieldForm::memory, size}};

void blank_93c(Image& image);
// A chip that is organised in bytes, or in words of two bytes.
std::unique_ptr<Chip> make_chip_93c_of_bytes(Image image);
std::unique_ptr<Chip> make_chip_93c_of_words(Image image);

// The chips of the 93C series: three-wire EEPROMs. CLK is their clock, RST their chip select, IO
// both their data input and their data output. The organisation says how many address bits an
// instruction has.
//
// Bits travel most significant first. While the chip is selected, it takes a bit in and puts one
// out when CLK rises. An instruction is a start bit (the first 1), two bits of operation code, the
// address, and for some a word of data. It is carried out when the chip is deselected.
class Chip93c final : public Chip {
 public:
  Chip93c(Image content, std::size_t bytes_per_word);

  std::unique_ptr<Chip> copy() const override;
  void contacts_changed(const Contacts& before, const Contacts& now) override;
  void rest() override;

 private:
  enum class State : std::uint8_t { waiting_for_start_bit, receiving, sending, programming };

  enum class Operation : std::uint8_t { extended = 0b00, write = 0b01, read = 0b10, erase = 0b11 };
  // What the two upper address bits stand for when the operation is `extended`.
  enum class ExtendedOperation : std::uint8_t {
    disable_writing = 0b00,
    write_all = 0b01,
    erase_all = 0b10,
    enable_writing = 0b11,
  };

  unsigned instruction_bits() const { return operation_bits + address_bits_; }
  Operation operation() const { return static_cast<Operation>(instruction_ >> address_bits_); }
  ExtendedOperation extended_operation() const {
    return static_cast<ExtendedOperation>(instruction_ >> (address_bits_ - 2) & 0b11U);
  }
  bool takes_data() const;
  std::size_t address() const { return instruction_ & ((1U << address_bits_) - 1U); }
  std::span<std::uint8_t> addressed_word() const;

  void lose_power();
  void selected();
  void deselected();
  void clock_rises(bool bit);
  void take_bit(bool bit);
  void put_out_bit();

  void carry_out();
  void carry_out_extended();
  void begin_programming(std::span<std::uint8_t> cells, std::uint32_t word);
  void end_programming();

  static constexpr unsigned operation_bits = 2;

  std::span<std::uint8_t> memory_;
  std::size_t bytes_per_word_;
  unsigned word_bits_;
  unsigned address_bits_;

  State state_ = State::waiting_for_start_bit;
  bool can_be_written_ = false;

  // The bits since the start bit: all of them counted, the latest of them kept.
  std::size_t bits_ = 0;
  std::uint32_t shift_register_ = 0;
  // Operation code and address, once they are whole.
  std::uint32_t instruction_ = 0;
  std::size_t outgoing_bit_ = 0;

  std::span<std::uint8_t> programmed_;
  std::uint32_t programmed_word_ = 0;
  unsigned changes_until_programmed_ = 0;
};

}  // namespace quorra::simulator
