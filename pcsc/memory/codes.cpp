// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/memory/codes.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "toolkit/memory/codes.hpp"

namespace quorra::pcsc {
namespace {

using toolkit::Code;
using toolkit::Operation;
using toolkit::OperationKind;

constexpr Operation counting{"reading the attempts left"};
constexpr std::string_view presenting = "presenting the code";
constexpr Operation changing{"changing the code"};
constexpr Operation reading_code{"reading the code"};

// The card was asked for its code after it was presented, and holds another one.
constexpr int other_code = -129;

const toolkit::Memory* find_zone(const toolkit::Card& card, int zone) {
  if (zone == 0) return &card.memory;
  const auto found = std::ranges::find(card.further_zones, zone, &toolkit::Memory::zone);
  return found == card.further_zones.end() ? nullptr : &*found;
}

}  // namespace

bool is_accepted(const toolkit::Session& session, const Operation& operation, int result) {
  if (result >= 0) return true;
  if (!is_status(result, operation.kind)) session.fail(operation, result);
  return false;
}

bool needs_bits_set(const Bytes& wanted, const Bytes& held) {
  return !std::equal(wanted.begin(), wanted.end(), held.begin(),
                     [](unsigned want, unsigned hold) { return (want & ~hold) == 0; });
}

int Codes::attempts_left(int number) const {
  const Code& asked = code(number);
  expect_codes_in_use();
  // What an erase code counts are erasures.
  if (!asked.counter || number >= erase_code_bit) throw Refusal{StatusWord::not_verified};
  return count_attempts(asked);
}

void Codes::present(int number, const Bytes& key) {
  const Code& presented = code(number);
  if (static_cast<int>(key.size()) != presented.size) throw Refusal{StatusWord::wrong_length};
  expect_codes_in_use();
  const bool counts = presented.counter && number < erase_code_bit;
  const int before = counts ? count_attempts(presented) : 0;
  if (counts && before == 0) throw Refusal{StatusWord::no_attempt_left};

  // A wrong code closes what the right one has opened.
  presented_.erase(number);
  const Operation operation{presenting, presented.presenting};
  const int result = session_.attempt(operation, presented.present, key.data());
  const bool holds_other = operation.kind == OperationKind::presenting && result == other_code;
  if (!holds_other && is_accepted(session_, operation, result)) {
    presented_.insert(number);
    return;
  }
  if (!counts) throw Refusal{StatusWord::not_verified};
  const int left = count_attempts(presented);
  throw Refusal{left < before ? StatusWord::attempts_left + left : StatusWord::refused};
}

void Codes::change(int number, const Bytes& key) {
  const Code& changed = code(number);
  if (static_cast<int>(key.size()) != changed.size) throw Refusal{StatusWord::wrong_length};
  expect_codes_in_use();
  if (!is_presented(number)) throw Refusal{StatusWord::code_missing};

  const auto read = [&] {
    Bytes held(key.size());
    const int result = session_.attempt(reading_code, changed.read, held.data());
    if (!is_accepted(session_, reading_code, result)) throw Refusal{StatusWord::refused};
    return held;
  };
  if (changed.keeps_zeros && needs_bits_set(key, read())) {
    throw Refusal{StatusWord::memory_failure};
  }
  const int result = session_.attempt(changing, changed.change, key.data());
  const bool is_changed =
      is_accepted(session_, changing, result) && (changed.read == nullptr || read() == key);
  if (!is_changed) throw Refusal{StatusWord::memory_failure};
}

const Code& Codes::code(int number) const {
  if ((number & erase_code_bit) == 0) {
    if (card_.codes.empty()) throw Refusal{StatusWord::not_supported};
    const auto index = static_cast<std::size_t>(number);
    if (index < card_.codes.size()) return card_.codes[index];
  } else if (const auto* zone = find_zone(card_, number & ~erase_code_bit);
             zone != nullptr && zone->erase_code) {
    return *zone->erase_code;
  }
  throw Refusal{StatusWord::no_such_code};
}

int Codes::count_attempts(const Code& counted) const {
  int left = 0;
  const int result = session_.attempt(counting, counted.counter->read, &left);
  if (!is_accepted(session_, counting, result)) throw Refusal{StatusWord::refused};
  return left;
}

// A counter of units takes the place of the code when the card is personalised.
void Codes::expect_codes_in_use() const {
  if (is_known_as_personalised(session_, card_)) throw Refusal{StatusWord::no_such_code};
}

}  // namespace quorra::pcsc
