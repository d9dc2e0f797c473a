// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/codes.hpp"

#include <fmt/core.h>

#include <algorithm>

#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
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

int read_counter(const Session& session, const Operation& operation, const Counter& counter) {
  int left = 0;
  session.run(operation, counter.read, &left);
  return left;
}

// Its counter of units lies where the code and its attempts were.
void expect_code(const Session& session, const Card& card, const Operation& operation) {
  if (!is_known_as_personalised(session, card)) return;
  throw Failure(
      fmt::format("{}: the card is personalised and has no code any more", operation.doing));
}

// The attempts that are left; none at a code whose attempts are not counted.
std::optional<int> confirm_attempt(const Session& session, const Code& code,
                                   const Confirm& confirm) {
  if (!code.counter) return std::nullopt;
  const int left = read_counter(session, reading_attempts, *code.counter);
  const std::string words = describe_attempts(code, left);
  if (left == 0) {
    throw Failure(fmt::format("{}: {}", presenting.doing, words),
                  {.word = "locked", .attempts_left = 0});
  }
  if (left == 1) confirm(presenting, words + '.');
  return left;
}

void expect_not_refused(const Session& session, const Operation& operation, const Key& key) {
  const RefusedCodes* refused = session.refused_codes();
  if (refused == nullptr || !refused->contains(key)) return;
  throw Failure(fmt::format("{}: the card has refused this code before; it is not presented again",
                            operation.doing),
                {.word = "refused_before"});
}

// Whether the card was heard to refuse a code.
bool is_refusal(int result, OperationKind kind) {
  return is_status(result, kind) || (result == other_code && kind == OperationKind::presenting);
}

int present_key(const Session& session, const Operation& operation, const Key& key) {
  const int result = session.attempt(operation, key.code->present, key.bytes.data());
  RefusedCodes* refused = session.refused_codes();
  if (refused != nullptr && is_refusal(result, operation.kind)) refused->add(key);
  return result;
}

// Says why a code was refused, at which `before` attempts were left.
[[noreturn]] void fail_refused(const Session& session, const Code& code, int result,
                               std::optional<int> before) {
  const Operation operation{presenting.doing, code.presenting};
  std::string text = session.describe(operation, result);
  Particulars particulars = particulars_of(result, operation.kind);
  // After a disturbed exchange a late reply could be taken for the number of attempts.
  const bool was_heard = is_refusal(result, operation.kind);
  if (was_heard && !before) text += "; the attempts at this code are not counted";
  if (was_heard && before) {
    text = if_possible([&] {
      const int left = read_counter(session, reading_attempts, *code.counter);
      particulars.attempts_left = left;
      if (left < *before) {
        particulars.word = "wrong_code";
        text = fmt::format("{}: the code is wrong ({})", presenting.doing, result);
      }
      return fmt::format("{}; {}", text, describe_attempts(code, left));
    });
    if (text.empty()) text = session.describe(operation, result);
  }
  throw Failure(text, particulars);
}

}  // namespace

std::vector<bool> read_protection(const Session& session, const Card& card, Range range) {
  if (!card.protection) return {};
  range.count = std::min(range.end(), card.protection->bytes) - range.address;
  if (range.count < 1) return {};
  Bytes flags(static_cast<std::size_t>(range.count));
  transfer(session, card.memory, range, reading_protection, [&](Range piece, int done) {
    return session.attempt(reading_protection, card.protection->read, piece.address, piece.count,
                           flags.data() + done);
  });
  return {flags.begin(), flags.end()};
}

bool is_known_as_personalised(const Session& session, const Card& card) {
  if (!card.units) return false;
  const Range first_stage{card.units->first_stage, 1};
  const Bytes held = read_memory(session, card.memory, first_stage, reading_state);
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

int attempts_left(const Session& session, const Card& card, const Code& code) {
  expect_code(session, card, reading_attempts);
  return read_counter(session, reading_attempts, code.counter.value());
}

int erasures_left(const Session& session, const Code& erase_code) {
  return read_counter(session, reading_erasures, erase_code.counter.value());
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

void present(const Session& session, const Card& card, const Keys& keys, const Confirm& confirm) {
  if (keys.code) present_code(session, card, *keys.code, confirm);
  if (keys.erase_code) present_erase_code(session, *keys.erase_code);
}

void present_code(const Session& session, const Card& card, const Key& key,
                  const Confirm& confirm) {
  expect_not_refused(session, presenting, key);
  expect_code(session, card, presenting);
  const Code& code = *key.code;
  const std::optional<int> before = confirm_attempt(session, code, confirm);
  const int result = present_key(session, {presenting.doing, code.presenting}, key);
  if (result != 0) fail_refused(session, code, result, before);
}

void present_erase_code(const Session& session, const Key& key) {
  expect_not_refused(session, presenting_erase_code, key);
  const int result = present_key(session, presenting_erase_code, key);
  if (result < 0) session.fail(presenting_erase_code, result);
}

}  // namespace quorra::toolkit
