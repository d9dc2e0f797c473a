// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/line_speed.hpp"

#include <algorithm>
#include <array>

namespace quorra::simulator {
namespace {

struct SpeedCode {
  unsigned speed;
  std::uint8_t code;
};

constexpr std::array speed_codes{
    SpeedCode{1200, 1}, SpeedCode{2400, 2},  SpeedCode{4800, 3},
    SpeedCode{9600, 4}, SpeedCode{19200, 5}, SpeedCode{38400, 7},
};

constexpr std::uint8_t usual_code = 4;

}  // namespace

std::uint8_t code_of_speed(unsigned speed) {
  const auto* const found = std::ranges::find(speed_codes, speed, &SpeedCode::speed);
  return found == speed_codes.end() ? usual_code : found->code;
}

std::optional<unsigned> speed_of_code(std::uint8_t speed_byte) {
  const auto code = static_cast<std::uint8_t>(speed_byte & speed_code_mask);
  const auto* const found = std::ranges::find(speed_codes, code, &SpeedCode::code);
  if (found == speed_codes.end()) return std::nullopt;
  return found->speed;
}

}  // namespace quorra::simulator
