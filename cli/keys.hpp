// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Codes as the command line takes them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "cli/connection.hpp"
#include "cli/options.hpp"
#include "toolkit/memory/codes.hpp"

namespace quorra::cli {

// Reads a code. `noun` says what it is: "the code of a 4442 card". Throws UsageError if it has
// another length.
Key parse_key(const Code& code, std::string_view noun, const GivenSecret& given);
// "the code of a 4442 card"
std::string noun_for_code(const Card& card);
std::string noun_for_erase_code(const Card& card, const Memory& memory);

// Gets the codes, by asking or reading if need be. Throws UsageError if the card has no such code
// or one of another length.
Keys parse_keys(const Card& card, const CodeOptions& code);
Keys parse_keys(const Card& card, const Memory& memory, const CodeOptions& code,
                const Secret& erase_code);

// Has the user type the card's kind, unless it was given with --yes.
Confirm confirm_unless(const std::optional<std::string>& yes, const Card& card,
                       const Connection& connection);

}  // namespace quorra::cli
