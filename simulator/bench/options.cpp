// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/options.hpp"

#include <fmt/core.h>

#include <algorithm>

#include "simulator/error.hpp"
#include "simulator/firmware/line_speed.hpp"
#include "simulator/firmware/reader.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

constexpr unsigned highest_speed = 10'000'000;

}  // namespace

void check(const Options& options) {
  if (options.speed > highest_speed)
    throw Error(fmt::format("the speed must be at most {} bits per second", highest_speed));
  if (options.line_speed != 0 &&
      speed_of_code(code_of_speed(options.line_speed)) != options.line_speed)
    throw Error("the line speed must be 1200, 2400, 4800, 9600, 19200 or 38400 bits per second");
  if (!options.sams.empty() && options.sams.rbegin()->first >= sam_count)
    throw Error(fmt::format("the slots of the SAMs are 0 to {}", sam_count - 1));
  if (options.version_text.empty() || options.version_text.size() > largest_version_text ||
      !std::ranges::all_of(options.version_text, is_printable))
    throw Error(
        fmt::format("the version text must be 1 to {} printable characters", largest_version_text));
  if (options.serial_number.size() != serial_number_size ||
      !std::ranges::all_of(options.serial_number, is_printable))
    throw Error(
        fmt::format("the serial number must be {} printable characters", serial_number_size));
}

}  // namespace quorra::simulator
