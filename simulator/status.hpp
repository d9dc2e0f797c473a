// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <string_view>

namespace quorra::simulator {

// The STATUS byte of a reply of the virtual reader.
enum class Status : std::uint8_t {
  success = 0x00,
  wrong_check_byte = 0x11,
  unknown_command = 0x12,
  unknown_card_type = 0x13,
  wrong_body_length = 0x14,
  out_of_range = 0x15,
  no_card = 0x21,
  no_answer = 0x22,
  not_written = 0x23,
  wrong_code = 0x24,
  card_blocked = 0x25,
  image_not_saved = 0x31,
  code_required = 0x41,
  sam_without_power = 0x42,
  answer_too_long = 0x43,
};

// The short name of a STATUS, for example "no_card"; empty for a number the virtual reader never
// gives by itself.
std::string_view status_name(std::uint8_t status);

// The meaning of a STATUS as a sentence; "Unknown status." for a number the virtual reader never
// gives by itself.
std::string_view status_text(std::uint8_t status);

}  // namespace quorra::simulator
