// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/reader.hpp"

#include <algorithm>

#include "simulator/firmware/line_speed.hpp"

namespace quorra::simulator {
namespace {

constexpr std::size_t value_register_size = 4;

}  // namespace

ReaderMemory new_reader_memory(unsigned speed, std::string_view serial_number) {
  ReaderMemory memory;
  memory.fill(0xFF);
  memory[speed_address] = code_of_speed(speed);
  memory[security_mode_address] = 0;
  std::fill_n(memory.begin() + value_register_address, value_register_size, std::uint8_t{0});
  std::ranges::copy(serial_number.substr(0, serial_number_size),
                    memory.begin() + serial_number_address);
  return memory;
}

}  // namespace quorra::simulator
