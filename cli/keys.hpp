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

// Reads a code from an option or argument of this name. `noun` says what it is: "the code of a 4442
// card". Throws UsageError if it has another length.
Key parse_key(const Code& code, std::string_view noun, std::string_view name,
              std::string_view text);
// "the code of a 4442 card"
std::string noun_for_code(const Card& card);
std::string noun_for_erase_code(const Card& card, const Memory& memory);

// Throws UsageError if the card has no such code or one of another length.
Keys parse_keys(const Card& card, const CodeOptions& code);
Keys parse_keys(const Card& card, const Memory& memory, const CodeOptions& code,
                const std::optional<std::string>& erase_code);

// Asks the user, unless --yes did away with the question.
Confirm confirm_unless(bool is_given, const Connection& connection);

}  // namespace quorra::cli
