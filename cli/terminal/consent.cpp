// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/consent.hpp"

namespace quorra::cli {

Consent::Consent(const Operation& operation, std::string_view warning, bool is_given)
    : operation_(operation),
      warning_(warning),
      asks_(!is_given) {
  if (asks_) expect_somebody_to_ask(operation_, warning_);
}

void Consent::get(const Connection& connection, std::string_view warning) const {
  if (asks_) connection.confirm(operation_, warning);
}

}  // namespace quorra::cli
