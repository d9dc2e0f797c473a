// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "simulator/cards/cpu/block_link.hpp"
#include "simulator/cards/slot.hpp"

namespace quorra::simulator {

// The places of the reader's own memory.
inline constexpr std::size_t reader_memory_size = 0x1A0;
inline constexpr std::size_t settings_address = 0x180;
inline constexpr std::size_t speed_address = 0x180;
inline constexpr std::size_t security_mode_address = 0x181;
inline constexpr std::size_t security_code_address = 0x182;
inline constexpr std::size_t value_register_address = 0x185;
inline constexpr std::size_t settings_end = 0x189;
inline constexpr std::size_t serial_number_address = 0x190;
inline constexpr std::size_t serial_number_size = 16;

inline constexpr std::uint8_t security_mode_on = 0xFF;

inline constexpr std::size_t largest_version_text = 18;

inline constexpr std::uint8_t reader_type = 0x80;

using ReaderMemory = std::array<std::uint8_t, reader_memory_size>;

// The memory of a new reader: 0xFF, except for the speed byte (the code of the line's speed in
// bits per second), the security mode (off), the value register (zero) and the serial number
// (16 characters). So the security code of a new reader is FF FF FF.
ReaderMemory new_reader_memory(unsigned speed, std::string_view serial_number);

inline constexpr std::size_t sam_count = 8;

// The code of the speed of a processor card after its reset.
inline constexpr std::uint8_t usual_processor_speed = 0x11;

// A slot for a card that may speak in blocks.
struct ProcessorSlot : Slot {
  BlockLink link;
};

// The reader as the handlers of its commands see it.
struct Reader {
  ProcessorSlot slot;
  ReaderMemory memory{};
  std::string version_text;
  // The last security code that was presented to the reader was the right one.
  bool code_was_presented = false;
  // The speed that the line gets when the reply has gone out; 0: it stays as it is.
  unsigned next_line_speed = 0;
  // The card type for which the powered card was activated; reader_type after a plain power on.
  std::uint8_t activated_for = reader_type;
  std::array<ProcessorSlot, sam_count> sams;
  std::size_t selected_sam = 0;
  bool sams_have_power = false;
  // As the host has set them. Nothing depends on them.
  std::uint8_t card_speed = usual_processor_speed;
  std::uint8_t sam_speed = usual_processor_speed;
  // The card will leave the slot half-way through the programming of this command's data.
  bool card_will_slip = false;

  // Every procedure that programs a card calls this while piece `index` of `count` is being
  // programmed.
  void programming(std::size_t index, std::size_t count) {
    if (card_will_slip && index == count / 2) {
      card_will_slip = false;
      slot.remove();
    }
  }
};

}  // namespace quorra::simulator
