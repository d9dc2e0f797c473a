// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the bytes on the wire mean, as data: the one table of whoever shows frames. The dissector
// for Wireshark is made of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace quorra::toolkit::wire {

inline constexpr unsigned char request_start = 0xAA;
inline constexpr unsigned char reply_start = 0x55;

// Both kinds of frames: start, command or STATUS, one more byte, LEN, LEN bytes, check byte.
inline constexpr std::size_t length_offset = 3;
inline constexpr std::size_t header_size = 4;
// What the body of a request begins with: card type, two bytes, address with its high byte first.
inline constexpr std::size_t body_head_size = 5;
inline constexpr std::size_t address_offset = 3;  // within the body

// What follows the head of a request's body.
enum class Arguments : std::uint8_t {
  none,
  count,     // a zero and a number of units
  data,      // what is to be written at the address
  code,      // a code
  value,     // a byte that is no data, such as a speed
  for_card,  // what goes to a processor card
};

// What a reply brings.
enum class Answer : std::uint8_t {
  none,
  data,             // what is at the address
  data_with_marks,  // the same, behind each byte one that tells whether it is protected
  code,             // a counter, and behind it a code
  text,
  answer_to_reset,
  from_card,  // what a processor card said
};

struct Command {
  unsigned char number;
  std::string_view words;
  Arguments arguments;
  Answer answer;
};

// What the two bytes before the address are.
enum class Place : std::uint8_t {
  none,
  zone,              // the zone, in the second one
  variant_and_zone,  // the number of the variant, and the zone
  page,              // a page; the address is within it
};

// A card type, or one variant of it.
struct CardType {
  unsigned char number;
  std::string_view words;
  Place place = Place::none;
  unsigned char variant = 0;
};

// Bytes of a card, or of the reader itself, that are a code.
struct CodeArea {
  unsigned char card;
  unsigned char variant;  // of a card that has variants
  unsigned char command;  // with this command only; 0: with any
  unsigned address;       // as it is sent
  unsigned count;
  std::string_view words;
};

// A STATUS as the virtual reader means it. Other readers number them as they like; none but 0 is
// the same everywhere.
struct Status {
  unsigned char number;
  std::string_view words;
};

// A command of a processor card that carries a code or a key.
struct CardInstruction {
  unsigned char number;
  std::string_view words;
};

std::span<const Command> commands();
std::span<const CardType> card_types();
std::span<const CodeArea> code_areas();
std::span<const Status> statuses();
std::span<const CardInstruction> instructions_with_codes();

// A null pointer if there is no such row.
const Command* find_command(unsigned char number);
const CardType* find_card_type(unsigned char number, unsigned char variant);
const Status* find_status(unsigned char number);
const CardInstruction* find_instruction_with_code(unsigned char number);

// What the version text of a virtual reader begins with, as far as the shorter request asks for it.
inline constexpr std::string_view virtual_reader = "KWSPC-VIRT";

}  // namespace quorra::toolkit::wire
