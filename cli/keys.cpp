// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/keys.hpp"

#include <fmt/core.h>

#include "toolkit/text.hpp"

namespace quorra::cli {

Key parse_key(const Code& code, std::string_view noun, const GivenSecret& given) {
  Key key{.code = &code, .bytes = parse_secret_hex(given.name, given.hex)};
  const auto size = static_cast<int>(key.bytes.size());
  if (size != code.size) {
    throw UsageError(
        fmt::format("{}: {} is {}, not {}", given.name, noun, counted(code.size, "byte"), size));
  }
  return key;
}

std::string noun_for_code(const Card& card) {
  return fmt::format("the code of a {} card", card.name);
}

std::string noun_for_erase_code(const Card& card, const Memory& memory) {
  return fmt::format("the erase code of {}", name_of(card, memory));
}

Keys parse_keys(const Card& card, const CodeOptions& code) {
  if (!code.code.is_given()) {
    if (code.number) throw UsageError("--code-number: give the code, too, with --code");
    return {};
  }
  const Code& functions = code_of(card, code.number, "--code-number");
  return {.code = parse_key(functions, noun_for_code(card), get(code.code)), .erase_code = {}};
}

Keys parse_keys(const Card& card, const Memory& memory, const CodeOptions& code,
                const Secret& erase_code) {
  Keys keys = parse_keys(card, code);
  if (erase_code.is_given()) {
    keys.erase_code =
        parse_key(erase_code_of(card, memory), noun_for_erase_code(card, memory), get(erase_code));
  }
  return keys;
}

Confirm confirm_unless(const std::optional<std::string>& yes, const Card& card,
                       const Connection& connection) {
  return [is_given = yes.has_value(), &card, &connection](const Operation& operation,
                                                          const std::string& warning) {
    if (!is_given) connection.confirm({operation, warning, &card});
  };
}

}  // namespace quorra::cli
