// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// That nobody learns key or text from how long DES takes, or from which memory it touches.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/process.hpp"

namespace quorra::testing {
namespace {

constexpr int complaint = 99;

Outcome examined(const std::string& what) {
  return run({QUORRA_VALGRIND, "--quiet", "--error-exitcode=" + std::to_string(complaint),
              QUORRA_SECRET_FLOW_PROGRAM, what});
}

TEST(SecretFlow, DoesNotReachBranchesOrAddressesInDes) {
  const Outcome outcome = examined("des");
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_EQ(outcome.errors, "");
}

TEST(SecretFlow, IsSeenInABranch) {
  const Outcome outcome = examined("branch");
  EXPECT_EQ(outcome.status, complaint);
  EXPECT_NE(outcome.errors.find("depends on uninitialised value"), std::string::npos)
      << outcome.errors;
}

TEST(SecretFlow, IsSeenInAnAddress) {
  const Outcome outcome = examined("look-up");
  EXPECT_EQ(outcome.status, complaint);
  EXPECT_NE(outcome.errors.find("Use of uninitialised value"), std::string::npos) << outcome.errors;
}

TEST(SecretFlow, IsNotToldWithoutValgrind) {
  EXPECT_EQ(run({QUORRA_SECRET_FLOW_PROGRAM, "des"}).status, 3);
}

}  // namespace
}  // namespace quorra::testing
