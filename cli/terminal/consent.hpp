// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Asking before what cannot be undone.
#pragma once

#include "cli/connection.hpp"

namespace quorra::cli {

// The user's word for what a question is about.
class Consent {
 public:
  // `is_given`: --yes did away with the question. Throws UsageError, before anything is sent, if
  // there would be nobody to ask.
  Consent(Question question, bool is_given);

  // Whether there will be a question.
  bool asks() const { return asks_; }

  // Asks, if need be; throws what `confirm` throws. A command that has read the card by then may
  // have a warning that tells more.
  void get(const Connection& connection) const { get(connection, question_.warning); }
  void get(const Connection& connection, std::string warning) const;

 private:
  Question question_;
  bool asks_;
};

}  // namespace quorra::cli
