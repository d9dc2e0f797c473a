// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/errors.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <optional>

namespace quorra::toolkit {
namespace {

struct CodeWords {
  int code;
  std::optional<OperationKind> only_when;
  std::string_view word;
  std::string_view words;
};

constexpr std::string_view held_or_not_sent =
    "the reader holds something else afterwards, or a byte could not be sent to it";

// The first row that fits counts.
constexpr CodeWords code_words[] = {
    {-1, OperationKind::opening, "no_configuration",
     "the configuration file cannot be opened or read"},
    {-128, OperationKind::protecting, "not_read_back", "the result could not be read back"},
    {-128, OperationKind::guarded_reading, "no_card_or_bad_start_byte",
     "the card is not there, or the reader's reply has a wrong first byte"},
    {-128, std::nullopt, "bad_start_byte", "the reader's reply has a wrong first byte"},
    {-129, OperationKind::protecting, "not_protected",
     "a byte is still writable, or is not what was written"},
    {-129, OperationKind::guarded_writing, "no_card_or_not_sent",
     "the card is not there, or a byte could not be sent to the reader"},
    {-129, OperationKind::presenting, "wrong_code_or_not_sent",
     "the card holds another code, or a byte could not be sent to the reader"},
    {-129, OperationKind::verified, "differs_or_not_sent", held_or_not_sent},
    {-129, OperationKind::subtracting, "differs_or_not_sent", held_or_not_sent},
    {-129, std::nullopt, "not_sent", "a byte could not be sent to the reader"},
    {-132, std::nullopt, "timeout", "timeout waiting for the reader's reply"},
    {not_this_card, OperationKind::probing, "another_card", "another card, or none"},
    {-133, std::nullopt, "bad_check_byte", "the check byte of the reader's reply is wrong"},
    {-135, OperationKind::subtracting, "out_of_range",
     "the result would be below 0, or above 2147483647"},
    {-136, OperationKind::opening, "no_reader",
     "no reader answers, or there is no terminal to reach it through"},
    {-141, OperationKind::opening, "no_reader", "no reader answers at any speed"},
    {-143, std::nullopt, "bad_length", "a length or count is out of range"},
    {-144, std::nullopt, "bad_address", "an address is out of range"},
};

const CodeWords* find_words(int code, OperationKind kind) {
  const auto* found = std::find_if(
      std::begin(code_words), std::end(code_words), [code, kind](const CodeWords& row) {
        return row.code == code && row.only_when.value_or(kind) == kind;
      });
  return found == std::end(code_words) ? nullptr : found;
}

}  // namespace

bool is_status(int result, OperationKind kind) {
  return result < 0 && find_words(result, kind) == nullptr;
}

bool is_unanswered(int result) { return result == -128 || result == -132 || result == -133; }

std::string_view word_for(int result, OperationKind kind) {
  const CodeWords* row = find_words(result, kind);
  return row == nullptr ? "status" : row->word;
}

Particulars particulars_of(int result, OperationKind kind) {
  return {.code = result, .word = word_for(result, kind)};
}

std::string words_for(int result, OperationKind kind) {
  if (const CodeWords* row = find_words(result, kind)) return std::string(row->words);
  return fmt::format("the reader refused the command with status {0} (0x{0:02X})", -result);
}

}  // namespace quorra::toolkit
