// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Asking before what cannot be undone.
#pragma once

#include <string>
#include <string_view>

#include "cli/connection.hpp"

namespace quorra::cli {

// The user's word for something that cannot be undone.
class Consent {
 public:
  // `warning` says what is about to happen, `is_given` whether --yes did away with the question.
  // Throws UsageError, before there is a connection, if there would be nobody to ask.
  Consent(const Operation& operation, std::string_view warning, bool is_given);

  // Whether there will be a question.
  bool asks() const { return asks_; }

  // Asks, if need be; throws Failure if the answer is not yes. A command that has read the card by
  // then may have a warning that tells more.
  void get(const Connection& connection) const { get(connection, warning_); }
  void get(const Connection& connection, std::string_view warning) const;

 private:
  Operation operation_;
  std::string warning_;
  bool asks_;
};

}  // namespace quorra::cli
