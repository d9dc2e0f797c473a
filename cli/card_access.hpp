// What several commands do with a card.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/connection.hpp"
#include "cli/parse.hpp"
#include "cli/transfer.hpp"

namespace quorra::cli {

// Reads which bytes of the range are read-only for good: a flag for each byte, up to the last one
// that can be. Empty if there is none. Throws Failure.
std::vector<bool> read_protection(const Connection& connection, const Card& card, Range range);

// The card's code functions. Throws UsageError if it has none.
const SecurityCode& code_of(const Card& card);

// Reads a code from an option or argument of this name. Throws UsageError if the card has no code
// or one of another length.
Bytes parse_code(const Card& card, std::string_view name, std::string_view text);

// The same for an option --code that may have been left out, and is absent then.
std::optional<Bytes> parse_present_code(const Card& card, const std::optional<std::string>& text);

// How many attempts at the code are left. Throws Failure.
int attempts_left(const Connection& connection, const Card& card);

// "2 attempts left"; what 1 and 0 mean is said, too.
std::string describe_attempts(int attempts);

// Presents a code. Wants the user's word for it (or `confirmed`) when a wrong code would lock the
// card for good. Throws Failure, which tells how many attempts are left after a wrong code, or
// UsageError.
void present_code(const Connection& connection, const Card& card, const Bytes& code,
                  bool confirmed);

}  // namespace quorra::cli
