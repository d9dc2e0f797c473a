// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/chip_4406.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace quorra::simulator {
namespace {

constexpr std::size_t identification_size = 3;
constexpr std::size_t first_stage = 8;
constexpr std::size_t last_stage = 12;
constexpr std::uint8_t not_personalised = 0x80;
constexpr std::size_t counter_address = 9;
constexpr std::size_t code_address = 10;
constexpr std::size_t code_size = 3;

constexpr std::array areas_of_the_issuer{
    Area{0, AreaRole::identification},
    Area{identification_size, AreaRole::guarded},
    Area{counter_address, AreaRole::attempts},
    Area{code_address, AreaRole::code},
};
constexpr std::array areas_of_units{
    Area{0, AreaRole::identification}, Area{identification_size, AreaRole::nothing},
    Area{8, AreaRole::stage, 8},       Area{9, AreaRole::stage, 9},
    Area{10, AreaRole::stage, 10},     Area{11, AreaRole::stage, 11},
    Area{12, AreaRole::stage, 12},
};

}  // namespace

void blank_4406(Image& image) {
  const auto memory = image.field("memory");
  std::ranges::fill(memory, std::uint8_t{0xFF});
  memory[0] = 0x98;
  memory[1] = 0x20;
}

std::span<const Area> areas_of_4406(const Image& image) {
  if ((image.field("memory")[first_stage] & not_personalised) != 0) return areas_of_the_issuer;
  return areas_of_units;
}

std::unique_ptr<Chip> make_chip_4406(Image image) {
  return std::make_unique<Chip4406>(std::move(image));
}

Chip4406::Chip4406(Image content) : SecurityChip(std::move(content), last_stage + 1) {}

std::unique_ptr<Chip> Chip4406::copy() const {
  auto chip = std::make_unique<Chip4406>(*this);
  chip->find_cells();
  return chip;
}

std::uint8_t Chip4406::shown(std::size_t address) const {
  const bool is_hidden = !is_personalised() && address >= code_address && !is_open();
  return is_hidden ? std::uint8_t{0} : memory()[address];
}

bool Chip4406::write(std::size_t address, std::uint8_t bit) {
  if (is_personalised()) {
    if (address < first_stage) return false;
    if (clear(address, bit)) spent_stage_ = address;
    return true;
  }
  if (address == counter_address) {
    if (clear(address, bit)) pay_attempt(code_address);
    return true;
  }
  if (address < identification_size || !is_open()) return false;
  clear(address, bit);
  return true;
}

// The issuer erases the counter of attempts, and later a spent bit erases the stage behind it.
bool Chip4406::erase(std::size_t address) {
  const bool is_allowed = is_personalised() ? spent_stage_ == address && address < last_stage
                                            : address == counter_address && is_open();
  if (!is_allowed) return false;
  erase_byte(is_personalised() ? address + 1 : address);
  spent_stage_.reset();
  return true;
}

std::optional<SecurityChip::Code> Chip4406::code_at(std::size_t address) const {
  if (is_personalised() || address < code_address) return {};
  return Code{.address = code_address, .size = code_size, .has_attempts = true};
}

bool Chip4406::is_personalised() const { return (memory()[first_stage] & not_personalised) == 0; }

bool Chip4406::is_open() const { return is_presented(code_address); }

}  // namespace quorra::simulator
