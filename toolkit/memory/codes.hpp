// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The codes of a card, what it protects, and what it counts.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/bytes.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/memory/refused_codes.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

// Reads which bytes of the range are read-only for good: a flag for each byte, up to the last one
// that can be. Empty if there is none. Throws Failure.
std::vector<bool> read_protection(const Session& session, const Card& card, Range range);

// Whether the card is personalised, where it tells: on a card with a unit counter. Throws Failure.
bool is_known_as_personalised(const Session& session, const Card& card);

// The code of that number; cards with one code want none. Throws UsageError if there is no such
// code. `option` names the number in the message.
const Code& code_of(const Card& card, std::optional<int> number, std::string_view option);

// The erase code of a card or zone. Throws UsageError if it has none.
const Code& erase_code_of(const Card& card, const Memory& memory);

// The codes that are presented first; absent where none was given.
struct Keys {
  std::optional<Key> code;
  std::optional<Key> erase_code;
};

// How many attempts at a code, or how many erasures, are left; the card counts them. Throws
// Failure.
int attempts_left(const Session& session, const Card& card, const Code& code);
int erasures_left(const Session& session, const Code& erase_code);

// "2 attempts left", "1 erasure left"; what the last ones mean is said, too.
std::string describe_attempts(const Code& code, int left);
std::string describe_erasures(int left);

// Gets somebody's word for it when a wrong code would lock the card for good; throws if that is not
// given.
using Confirm = std::function<void(const Operation& operation, const std::string& warning)>;

// Presents the codes, but none that the session knows to be refused. Throws Failure, which tells
// how many attempts are left after a wrong code, or what `confirm` throws.
void present(const Session& session, const Card& card, const Keys& keys, const Confirm& confirm);
void present_code(const Session& session, const Card& card, const Key& key, const Confirm& confirm);
void present_erase_code(const Session& session, const Key& key);

}  // namespace quorra::toolkit
