// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/session.hpp"

#include <fmt/core.h>
#include <quorra.h>

namespace quorra::toolkit {

std::string Session::explain(OperationKind kind, int result) const {
  std::string words = words_for(result, kind);
  if (is_status(result, kind)) {
    const std::string meaning = meaning_of_status(-result);
    if (!meaning.empty()) words += ": " + meaning;
  }
  return fmt::format("{} ({})", words, result);
}

std::string Session::describe(const Operation& operation, int result) const {
  return fmt::format("{}: {}", operation.doing, explain(operation.kind, result));
}

void Session::drain(const Operation& operation) const {
  constexpr int most = 10000;  // from a line that never falls silent
  unsigned char byte = 0;
  for (int count = 0; count < most; ++count) {
    if (attempt(operation, receive_data, &byte) < 0) return;
  }
}

void Session::fail(const Operation& operation, int result) const {
  const std::string text = describe(operation, result);
  const Particulars particulars = particulars_of(result, operation.kind);
  if (is_unanswered(result)) throw Unanswered(text, particulars);
  throw Failure(text, particulars);
}

Progress Session::watch(const Operation& /*operation*/, int /*total*/) const { return nullptr; }

RefusedCodes* Session::refused_codes() const { return nullptr; }

void Session::before_call(const Operation& /*operation*/) const {}

void Session::after_call(const Operation& /*operation*/, int /*result*/) const {}

std::string Session::meaning_of_status(int /*status*/) const { return {}; }

}  // namespace quorra::toolkit
