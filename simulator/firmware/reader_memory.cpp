// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/reader_memory.hpp"

#include <algorithm>

#include "simulator/firmware/line_speed.hpp"

namespace quorra::simulator {
namespace {

bool settings_are_locked(const Reader& reader) {
  return reader.memory[security_mode_address] == security_mode_on && !reader.code_was_presented;
}

}  // namespace

Status read_reader_memory(Reader& reader, const Request& request, Reply& reply) {
  const std::size_t address = request.address();
  const std::size_t count = request.count();
  if (count == 0 || address + count > reader.memory.size()) return Status::out_of_range;
  reply.append(std::span(reader.memory).subspan(address, count));
  return Status::success;
}

Status write_reader_memory(Reader& reader, const Request& request, Reply& /*reply*/) {
  const std::size_t begin = request.address();
  const auto data = request.data();
  const std::size_t end = begin + data.size();
  if (end > reader.memory.size()) return Status::out_of_range;
  if (end > serial_number_address) return Status::not_written;
  const bool touches_settings = begin < settings_end && end > settings_address;
  if (touches_settings && settings_are_locked(reader)) return Status::code_required;
  std::ranges::copy(data, std::span(reader.memory).subspan(begin).begin());
  return Status::success;
}

Status present_reader_code(Reader& reader, const Request& request, Reply& /*reply*/) {
  const auto code = request.data();
  if (request.address() != security_code_address) return Status::out_of_range;
  reader.code_was_presented = std::ranges::equal(
      code, std::span(reader.memory).subspan(security_code_address, code.size()));
  return reader.code_was_presented ? Status::success : Status::wrong_code;
}

Status set_line_speed(Reader& reader, const Request& request, Reply& /*reply*/) {
  const std::uint8_t speed_byte = request.data().front();
  const auto speed = speed_of_code(speed_byte);
  if (!speed) return Status::out_of_range;
  if (settings_are_locked(reader)) return Status::code_required;
  reader.memory[speed_address] = speed_byte;
  reader.next_line_speed = *speed;
  return Status::success;
}

}  // namespace quorra::simulator
