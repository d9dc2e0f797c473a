// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/consent.hpp"

#include <utility>

namespace quorra::cli {

Consent::Consent(Question question, bool is_given)
    : question_(std::move(question)),
      asks_(!is_given) {
  if (asks_) expect_somebody_to_ask(question_);
}

void Consent::get(const Connection& connection, std::string warning) const {
  if (asks_) connection.confirm({question_.operation, std::move(warning), question_.kind});
}

}  // namespace quorra::cli
