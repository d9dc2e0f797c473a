// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What several commands do with a card.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/connection.hpp"
#include "cli/options.hpp"
#include "cli/parse.hpp"
#include "toolkit/memory/transfer.hpp"

namespace quorra::cli {

// Reads which bytes of the range are read-only for good: a flag for each byte, up to the last one
// that can be. Empty if there is none. Throws Failure.
std::vector<bool> read_protection(const Connection& connection, const Card& card, Range range);

// Whether the card is personalised, where it tells: on a card with a unit counter. Throws Failure.
bool is_known_as_personalised(const Connection& connection, const Card& card);

// The code of that number; cards with one code want none. Throws UsageError if there is no such
// code. `option` names the number in the message.
const Code& code_of(const Card& card, std::optional<int> number, std::string_view option);

// The erase code of a card or zone. Throws UsageError if it has none.
const Code& erase_code_of(const Card& card, const Memory& memory);

// A code and what the user gave for it.
struct Key {
  const Code* code;
  Bytes bytes;
};

// Reads a code from an option or argument of this name. `noun` says what it is: "the code of a 4442
// card". Throws UsageError if it has another length.
Key parse_key(const Code& code, std::string_view noun, std::string_view name,
              std::string_view text);
// "the code of a 4442 card"
std::string noun_for_code(const Card& card);
std::string noun_for_erase_code(const Card& card, const Memory& memory);

// The codes that a command presents first. They are absent if the options were left out.
struct Keys {
  std::optional<Key> code;
  std::optional<Key> erase_code;
};

// Throws UsageError if the card has no such code or one of another length.
Keys parse_keys(const Card& card, const CodeOptions& code);
Keys parse_keys(const Card& card, const Memory& memory, const CodeOptions& code,
                const std::optional<std::string>& erase_code);

// How many attempts at a code, or how many erasures, are left; the card counts them. Throws
// Failure.
int attempts_left(const Connection& connection, const Card& card, const Code& code);
int erasures_left(const Connection& connection, const Code& erase_code);

// "2 attempts left", "1 erasure left"; what the last ones mean is said, too.
std::string describe_attempts(const Code& code, int left);
std::string describe_erasures(int left);

// Presents the codes. Wants the user's word for it (or `confirmed`) when a wrong code would lock
// the card for good. Throws Failure, which tells how many attempts are left after a wrong code, or
// UsageError.
void present(const Connection& connection, const Card& card, const Keys& keys, bool confirmed);
void present_code(const Connection& connection, const Card& card, const Key& key, bool confirmed);
void present_erase_code(const Connection& connection, const Key& key);

}  // namespace quorra::cli
