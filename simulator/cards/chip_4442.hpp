// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "simulator/cards/protected_chip.hpp"

namespace quorra::simulator {

// "counter" has a 1 bit for each attempt that is left.
inline constexpr std::array fields_4442{
    Field{"code", FieldForm::bytes, 3},
    Field{"counter", FieldForm::number, 7},
    Field{"protected", FieldForm::addresses, 32},
    Field{"memory", FieldForm::memory, 256},
};

inline constexpr std::array fields_4432{
    Field{"protected", FieldForm::addresses, 32},
    Field{"memory", FieldForm::memory, 256},
};

void blank_4442(Image& image);
void blank_4432(Image& image);
std::unique_ptr<Chip> make_chip_4442(Image image);

// The chip of the 4442, and of the 4432: an image without a code makes a chip that is always open
// and does not know the commands of the security memory.
//
// The chip takes a bit in when CLK rises and puts one out when CLK falls. A command is three bytes
// between a start condition (IO falls while CLK is high) and a stop condition (IO rises while CLK
// is high).
class Chip4442 final : public ProtectedChip {
 public:
  explicit Chip4442(Image content);

  std::unique_ptr<Chip> copy() const override;
  void contacts_changed(const Contacts& before, const Contacts& now) override;

 private:
  // The protection memory or the security memory, as they are sent.
  using Registers = std::array<std::uint8_t, 4>;

  struct Operation {
    std::uint8_t control;
    void (Chip4442::*run)(std::uint8_t address, std::uint8_t data);
  };
  static const std::array<Operation, 4> operations;
  static const std::array<Operation, 3> security_operations;

  void reset_changed(bool rst, bool clk);
  void clock_rises(bool rst, bool io);
  void start_condition();
  void stop_condition();
  void end_everything();

  void read_main(std::uint8_t address, std::uint8_t data);
  void update_main(std::uint8_t address, std::uint8_t data);
  void read_protection(std::uint8_t address, std::uint8_t data);
  void write_protection(std::uint8_t address, std::uint8_t data);
  void read_security(std::uint8_t address, std::uint8_t data);
  void update_security(std::uint8_t address, std::uint8_t data);
  void compare(std::uint8_t address, std::uint8_t data);

  bool clocked_in_reset_ = false;
  bool takes_command_ = false;
};

}  // namespace quorra::simulator
