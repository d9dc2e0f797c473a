// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/status.hpp"

#include <algorithm>
#include <array>

namespace quorra::simulator {
namespace {

struct Entry {
  Status status;
  std::string_view name;
  std::string_view text;
};

constexpr std::array entries{
    Entry{Status::success, "success", "The command was carried out."},
    Entry{Status::wrong_check_byte, "wrong_check_byte", "The check byte of the request is wrong."},
    Entry{Status::unknown_command, "unknown_command", "The reader does not know the command."},
    Entry{Status::unknown_card_type, "unknown_card_type",
          "The command does not exist for this card type."},
    Entry{Status::wrong_body_length, "wrong_body_length",
          "The body of the request has the wrong length."},
    Entry{Status::out_of_range, "out_of_range",
          "An address, a count or another value is out of range."},
    Entry{Status::no_card, "no_card", "No card is in the slot."},
    Entry{Status::no_answer, "no_answer", "The card does not answer as it should."},
    Entry{Status::not_written, "not_written",
          "A byte was not written: it is protected, or the code is missing."},
    Entry{Status::wrong_code, "wrong_code", "The security code is wrong."},
    Entry{Status::card_blocked, "card_blocked",
          "The card is blocked: no attempt at its code is left."},
    Entry{Status::image_not_saved, "image_not_saved", "The image file could not be saved."},
    Entry{Status::code_required, "code_required",
          "The reader's security mode is on, and its code has not been presented."},
    Entry{Status::sam_without_power, "sam_without_power", "The SAMs have no power."},
    Entry{Status::answer_too_long, "answer_too_long",
          "The answer of the card is too long for a reply."},
};

// A host sees STATUS s as the number -s, next to its own codes -1, -16 and -128 to -144.
constexpr bool is_a_host_code(Status status) {
  const auto number = static_cast<std::uint8_t>(status);
  return number == 1 || number == 16 || (number >= 128 && number <= 144);
}
static_assert(std::ranges::none_of(entries, is_a_host_code, &Entry::status));

const Entry* find(std::uint8_t status) {
  const auto* const found = std::ranges::find(entries, static_cast<Status>(status), &Entry::status);
  return found == entries.end() ? nullptr : found;
}

}  // namespace

std::string_view status_name(std::uint8_t status) {
  const Entry* const entry = find(status);
  return entry == nullptr ? std::string_view{} : entry->name;
}

std::string_view status_text(std::uint8_t status) {
  const Entry* const entry = find(status);
  return entry == nullptr ? "Unknown status." : entry->text;
}

}  // namespace quorra::simulator
