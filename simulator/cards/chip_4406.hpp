// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "simulator/cards/area.hpp"
#include "simulator/cards/security_chip.hpp"

namespace quorra::simulator {

inline constexpr std::array fields_4406{
    Field{"memory", FieldForm::memory, 13},
};

void blank_4406(Image& image);
// Before it is personalised, and after.
std::span<const Area> areas_of_4406(const Image& image);
std::unique_ptr<Chip> make_chip_4406(Image image);

// The chip of the 4406. As long as the first bit of byte 8 is 1 the card is the issuer's: a code
// guards it. After that, bytes 8 to 12 are the stages of a counter of units. A bit that was spent
// in one stage pays for erasing the next one.
class Chip4406 final : public SecurityChip {
 public:
  explicit Chip4406(Image content);

  std::unique_ptr<Chip> copy() const override;

 private:
  std::uint8_t shown(std::size_t address) const override;
  bool write(std::size_t address, std::uint8_t bit) override;
  bool erase(std::size_t address) override;
  std::optional<Code> code_at(std::size_t address) const override;
  void forget() override { spent_stage_.reset(); }

  bool is_personalised() const;
  bool is_open() const;

  // The stage in which a bit was spent that has not been used for a carry.
  std::optional<std::size_t> spent_stage_;
};

}  // namespace quorra::simulator
