// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a line "expect ..." wants of the command before it.
#pragma once

#include <string>
#include <vector>

#include "cli/report.hpp"

namespace quorra::cli {

// In all that is wanted, '?' stands for any digit, in bytes and status words a hexadecimal one, and
// '*' at the end for the rest; capitals make no difference.
class Expectation {
 public:
  // The words behind "expect". Those of the form NAME=VALUE name fields of the command's object;
  // the others, without the blanks between them, are a result. Throws UsageError.
  explicit Expectation(const std::vector<std::string>& words);

  // Whether a command that told this object, and failed or not, did what is wanted.
  bool is_met_by(const Json& object) const;

  // What is wanted, as it was written.
  const std::string& text() const { return text_; }

  // What there is instead of it, or what fits.
  std::string got(const Json& object) const;

 private:
  struct Field {
    std::string name;
    std::string pattern;
  };

  std::string text_;
  std::string result_;  // empty if none is wanted
  std::vector<Field> fields_;
};

}  // namespace quorra::cli
