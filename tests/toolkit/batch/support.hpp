// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the tests of series share.
#pragma once

#include <string>
#include <string_view>

#include "toolkit/batch/plan.hpp"
#include "toolkit/batch/rows.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::testing {

// The words of the UsageError that `act` throws; empty if it throws none.
template <typename Act>
std::string usage_error(Act act) {
  try {
    act();
  } catch (const toolkit::UsageError& error) {
    return error.what();
  }
  return {};
}

// "41 42 43"
std::string hex(const toolkit::Bytes& bytes);

}  // namespace quorra::testing
