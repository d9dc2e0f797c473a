// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "bench/modbus.hpp"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace quorra::benchmarks {
namespace {

// 10 registers of 16 bits of device 1, from register 16 on.
constexpr int device = 1;
constexpr int first_register = 16;
constexpr int registers = 10;

[[noreturn]] void give_up() {
  std::perror("libmodbus");
  std::exit(2);
}

// The check of a Modbus frame goes behind it with its low byte first.
Bytes with_crc(Bytes frame) {
  unsigned crc = 0xFFFF;
  for (const unsigned char byte : frame) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit)
      crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xA001U : crc >> 1U;
  }
  frame.push_back(static_cast<unsigned char>(crc % 256));
  frame.push_back(static_cast<unsigned char>(crc / 256));
  return frame;
}

}  // namespace

const Bytes registers_request = with_crc({device, 3, 0, first_register, 0, registers});
const Bytes registers_reply = with_crc(
    {device, 3, 2 * registers, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18,
     19,     20});

Modbus::Modbus(const Line& line)
    : context_(modbus_new_rtu(line.device().c_str(), 115200, 'N', 8, 2), modbus_free) {
  // Whatever else the machine does, nothing is late.
  constexpr int limit = 60;
  if (context_ == nullptr || modbus_set_slave(context_.get(), device) != 0 ||
      modbus_connect(context_.get()) != 0 ||
      modbus_set_response_timeout(context_.get(), limit, 0) != 0 ||
      modbus_set_byte_timeout(context_.get(), limit, 0) != 0)
    give_up();
}

void Modbus::exchange() const {
  std::array<std::uint16_t, registers> data{};
  constexpr std::uint16_t last = 19 * 256 + 20;
  if (modbus_read_registers(context_.get(), first_register, registers, data.data()) != registers ||
      data.back() != last)
    give_up();
}

}  // namespace quorra::benchmarks
