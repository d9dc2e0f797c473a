// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A session of the toolkit in the test's own process.
#pragma once

#include <filesystem>

#include "tests/support/session.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::testing {

class OpenSession : public toolkit::Session {
 public:
  explicit OpenSession(const std::filesystem::path& configuration) : session_(configuration) {}

  int handle() const override { return session_.handle(); }

 private:
  testing::Session session_;
};

}  // namespace quorra::testing
