// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A call of the system that fails, for tests of what becomes of the program then.
#pragma once

#include <limits>
#include <string_view>

namespace quorra::testing {

// While it lives, a call of this thread with this name fails with the error. One at a time.
class FailingCall {
 public:
  struct Which {
    int first = 0;  // from 0; those before it succeed
    int count = std::numeric_limits<int>::max();
  };

  FailingCall(std::string_view name, int error) : FailingCall(name, error, Which()) {}
  FailingCall(std::string_view name, int error, Which which);
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;
  ~FailingCall();

  // How often it has failed.
  int failures() const { return failures_; }

  // Whether this call of `name` fails; it sets errno then.
  static bool strikes(std::string_view name);

 private:
  std::string_view name_;
  int error_;
  Which which_;
  int calls_ = 0;
  int failures_ = 0;
};

}  // namespace quorra::testing
