// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/card_access.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace quorra::cli {
namespace {

constexpr Operation reading_protection{.doing = "reading the protection bits", .done = "read"};
constexpr Operation reading_state{.doing = "reading whether the card is personalised",
                                  .done = "read"};
constexpr Operation reading_attempts{"reading the attempts left"};
constexpr Operation reading_erasures{"reading the erasures left"};
constexpr Operation presenting{"presenting the code"};
constexpr Operation presenting_erase_code{"presenting the erase code"};

// The result of presenting a code where the card holds another one.
constexpr int other_code = -129;

int read_counter(const Connection& connection, const Operation& operation, const Counter& counter) {
  int left = 0;
  connection.run(operation, counter.read, &left);
  return left;
}

// Its counter of units lies where the code and its attempts were.
void expect_code(const Connection& connection, const Card& card, const Operation& operation) {
  if (!is_known_as_personalised(connection, card)) return;
  throw Failure(
      fmt::format("{}: the card is personalised and has no code any more", operation.doing));
}

// The attempts that are left; none at a code whose attempts are not counted.
std::optional<int> confirm_attempt(const Connection& connection, const Code& code, bool confirmed) {
  if (!code.counter) return std::nullopt;
  const int left = read_counter(connection, reading_attempts, *code.counter);
  const std::string words = describe_attempts(code, left);
  if (left == 0) throw Failure(fmt::format("{}: {}", presenting.doing, words));
  if (left == 1 && !confirmed) connection.confirm(presenting, words + '.');
  return left;
}

// Why a code was refused, at which `before` attempts were left.
std::string describe_refusal(const Connection& connection, const Code& code, int result,
                             std::optional<int> before) {
  const Operation operation{presenting.doing, code.presenting};
  const auto describe = [&] { return connection.describe(operation, result); };
  // After a disturbed exchange a late reply could be taken for the number of attempts.
  const bool was_heard = is_status(result, operation.kind) ||
                         (result == other_code && operation.kind == OperationKind::presenting);
  if (!was_heard) return describe();
  if (!before) return describe() + "; the attempts at this code are not counted";
  const std::string text = if_possible([&] {
    const int left = read_counter(connection, reading_attempts, *code.counter);
    const std::string what =
        left < *before ? fmt::format("{}: the code is wrong ({})", presenting.doing, result)
                       : describe();
    return fmt::format("{}; {}", what, describe_attempts(code, left));
  });
  return text.empty() ? describe() : text;
}

}  // namespace

std::vector<bool> read_protection(const Connection& connection, const Card& card, Range range) {
  if (!card.protection) return {};
  range.count = std::min(range.end(), card.protection->bytes) - range.address;
  if (range.count < 1) return {};
  Bytes flags(static_cast<std::size_t>(range.count));
  transfer(connection, card.memory, range, reading_protection, [&](Range piece, int done) {
    return connection.attempt(reading_protection, card.protection->read, piece.address, piece.count,
                              flags.data() + done);
  });
  return {flags.begin(), flags.end()};
}

bool is_known_as_personalised(const Connection& connection, const Card& card) {
  if (!card.units) return false;
  const Range first_stage{card.units->first_stage, 1};
  const Bytes held = read_memory(connection, card.memory, first_stage, reading_state);
  return (held.front() & card.units->not_personalised) == 0;
}

const Code& code_of(const Card& card, std::optional<int> number, std::string_view option) {
  if (card.codes.empty()) throw UsageError(fmt::format("a {} card has no code", card.name));
  const auto last = static_cast<int>(card.codes.size()) - 1;
  if (number && last == 0) {
    throw UsageError(fmt::format("{}: a {} card has only one code", option, card.name));
  }
  if (number.value_or(0) > last) {
    throw UsageError(fmt::format("{}: a {} card has the codes 0 to {}, not {}", option, card.name,
                                 last, *number));
  }
  return card.codes[static_cast<std::size_t>(number.value_or(0))];
}

const Code& erase_code_of(const Card& card, const Memory& memory) {
  if (!memory.erase_code) {
    throw UsageError(fmt::format("{} has no erase code", name_of(card, memory)));
  }
  return *memory.erase_code;
}

Key parse_key(const Code& code, std::string_view noun, std::string_view name,
              std::string_view text) {
  Key key{.code = &code, .bytes = parse_hex(name, text)};
  const auto size = static_cast<int>(key.bytes.size());
  if (size != code.size) {
    throw UsageError(
        fmt::format("{}: {} is {}, not {}", name, noun, counted(code.size, "byte"), size));
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
  if (!code.hex) {
    if (code.number) throw UsageError("--code-number: give the code, too, with --code");
    return {};
  }
  const Code& functions = code_of(card, code.number, "--code-number");
  return {.code = parse_key(functions, noun_for_code(card), "--code", *code.hex), .erase_code = {}};
}

Keys parse_keys(const Card& card, const Memory& memory, const CodeOptions& code,
                const std::optional<std::string>& erase_code) {
  Keys keys = parse_keys(card, code);
  if (erase_code) {
    keys.erase_code = parse_key(erase_code_of(card, memory), noun_for_erase_code(card, memory),
                                "--erase-code", *erase_code);
  }
  return keys;
}

int attempts_left(const Connection& connection, const Card& card, const Code& code) {
  expect_code(connection, card, reading_attempts);
  return read_counter(connection, reading_attempts, code.counter.value());
}

int erasures_left(const Connection& connection, const Code& erase_code) {
  return read_counter(connection, reading_erasures, erase_code.counter.value());
}

std::string describe_attempts(const Code& code, int left) {
  std::string words = counted(left, "attempt") + " left";
  if (left == 0) words += fmt::format(": {} is locked for good", code.guards);
  if (left == 1) words += fmt::format(": a wrong code locks {} for good", code.guards);
  return words;
}

std::string describe_erasures(int left) {
  return counted(left, "erasure") + " left" + (left == 0 ? ": what is written stays" : "");
}

void present(const Connection& connection, const Card& card, const Keys& keys, bool confirmed) {
  if (keys.code) present_code(connection, card, *keys.code, confirmed);
  if (keys.erase_code) present_erase_code(connection, *keys.erase_code);
}

void present_code(const Connection& connection, const Card& card, const Key& key, bool confirmed) {
  expect_code(connection, card, presenting);
  const Code& code = *key.code;
  const std::optional<int> before = confirm_attempt(connection, code, confirmed);
  const int result =
      connection.attempt({presenting.doing, code.presenting}, code.present, key.bytes.data());
  if (result != 0) throw Failure(describe_refusal(connection, code, result, before));
}

void present_erase_code(const Connection& connection, const Key& key) {
  connection.run(presenting_erase_code, key.code->present, key.bytes.data());
}

}  // namespace quorra::cli
