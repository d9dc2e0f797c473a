// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Many operations of the library on a virtual reader, with faults, compared with plain arrays.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace quorra::testing {

struct Summary {
  long operations = 0;
  std::map<std::string, long> operations_by_place;
  std::map<std::string, long> faults_by_kind;
  long reopenings = 0;
  std::uint64_t digest = 0;  // of all results and all that was read

  bool operator==(const Summary&) const = default;
};

// Throws std::runtime_error at the first difference; its text names the seed and the step.
Summary soak(unsigned seed, long operations);

}  // namespace quorra::testing
