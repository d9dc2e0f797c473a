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

inline constexpr std::array fields_45d041{
    Field{"memory", FieldForm::raw, std::size_t{2048} * 264},
};

void blank_45d041(Image& image);
std::unique_ptr<Chip> make_chip_45d041(Image image);

// The chip of the 45D041: 2048 pages of 264 bytes and two buffers of one page.
//
// RST selects the chip while it is low. Bits travel most significant first: the chip takes them in
// from IO when CLK rises, and puts them out on C8 when CLK falls. A command is an opcode, perhaps
// an address of three bytes, perhaps bytes that do not matter, and then data; it ends when RST
// rises.
class Chip45d041 final : public Chip {
 public:
  explicit Chip45d041(Image content);

  std::unique_ptr<Chip> copy() const override;
  void contacts_changed(const Contacts& before, const Contacts& now) override;
  void rest() override;

 private:
  static constexpr std::size_t page_size = 264;
  static constexpr std::size_t page_count = 2048;
  static constexpr std::size_t longest_header = 8;

  using Page = std::array<std::uint8_t, page_size>;

  struct Command {
    std::uint8_t opcode;
    // How many bytes there are before data: the opcode, the address, and those without meaning.
    std::size_t header;
    // The chip ignores such a command while it is busy.
    bool uses_pages;
    std::size_t buffer;
    // Gives the next byte to the reader; null for none.
    std::uint8_t (Chip45d041::*give)();
    // Takes the next byte from the reader; null for none.
    void (Chip45d041::*take)(std::uint8_t byte);
    // What the chip begins to do when RST rises; null for nothing.
    void (Chip45d041::*finish)();
  };
  static const std::array<Command, 14> commands;

  void lose_power();
  void select();
  void deselect();
  void clock_rises(bool selected, bool io);
  void clock_falls();
  void take_byte(std::uint8_t byte);
  void begin_command();

  std::uint8_t give_status();
  std::uint8_t give_from_page();
  std::uint8_t give_from_memory();
  std::uint8_t give_from_buffer();
  void take_into_buffer(std::uint8_t byte);
  void load_buffer();
  void program_page();
  void become_ready();

  std::span<std::uint8_t> page(std::size_t number) const {
    return memory_.subspan(number * page_size, page_size);
  }
  bool is_busy() const { return busy_clocks_ != 0; }

  std::span<std::uint8_t> memory_;
  std::array<Page, 2> buffers_{};

  // The command that was recognised since RST fell; null if there is none.
  const Command* command_ = nullptr;
  std::array<std::uint8_t, longest_header> header_{};
  std::size_t bytes_taken_ = 0;
  bool header_is_complete_ = false;
  unsigned incoming_ = 0;
  unsigned incoming_bits_ = 0;
  unsigned outgoing_ = 0;
  unsigned outgoing_bits_ = 0;

  std::size_t page_ = 0;
  std::size_t offset_ = 0;

  unsigned busy_clocks_ = 0;
  bool is_programming_ = false;
  std::size_t working_page_ = 0;
  std::size_t working_buffer_ = 0;
};

}  // namespace quorra::simulator
