// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a harness requires. A requirement that does not hold ends the process, which is a finding.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace quorra::fuzzing {

inline void require(bool holds, const char* what, std::string_view of = "") {
  if (holds) return;
  (void)std::fprintf(stderr, "Does not hold: %s %.*s\n", what, static_cast<int>(of.size()),
                     of.data());
  std::abort();
}

}  // namespace quorra::fuzzing
