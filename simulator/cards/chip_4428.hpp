// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "simulator/cards/protected_chip.hpp"

namespace quorra::simulator {

// The last three of the 1024 cells are the counter and the code. "counter" has a bit for each
// attempt that is left.
inline constexpr std::array fields_4428{
    Field{"code", FieldForm::bytes, 2},
    Field{"counter", FieldForm::number, 255},
    Field{"protected", FieldForm::addresses, 1024},
    Field{"memory", FieldForm::memory, 1021},
};

inline constexpr std::array fields_4418{
    Field{"protected", FieldForm::addresses, 1024},
    Field{"memory", FieldForm::memory, 1024},
};

// The content of a new 4428 or 4418.
void blank_4428(Image& image);
std::unique_ptr<Chip> make_chip_4428(Image image);

// The chip of the 4428, and of the 4418: an image without a code makes a chip that is always open
// and does not know the commands for the counter and the code.
//
// A command is three bytes that are clocked in while RST is high: the control with the two high
// bits of the address, the rest of the address, and data. The chip takes a bit in when CLK rises.
// It begins to send or to process when RST falls, and goes on each time CLK falls.
class Chip4428 final : public ProtectedChip {
 public:
  explicit Chip4428(Image content);

  std::unique_ptr<Chip> copy() const override;
  void contacts_changed(const Contacts& before, const Contacts& now) override;

 private:
  static constexpr std::size_t cell_count = 1024;

  struct Operation {
    std::uint8_t control;
    void (Chip4428::*run)(std::size_t address, std::uint8_t data);
  };
  // Those for the counter and the code come last.
  static const std::array<Operation, 7> operations;

  void reset_changed(bool rst);
  void run_command();

  void read(std::size_t address, std::uint8_t data);
  void read_with_protection(std::size_t address, std::uint8_t data);
  void write(std::size_t address, std::uint8_t data);
  void write_with_protection(std::size_t address, std::uint8_t data);
  void write_protection(std::size_t address, std::uint8_t data);
  void write_counter(std::size_t address, std::uint8_t data);
  void compare(std::size_t address, std::uint8_t data);

  std::uint8_t& cell(std::size_t address);
  bool cell_can_be_written(std::size_t address) const;
  // What the cells show to a reader at this moment.
  std::array<std::uint8_t, cell_count> shown() const;
};

}  // namespace quorra::simulator
