// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Waits of quorra.so: busy loops, measured in processor time of the process.

#include "link/wait.hpp"

namespace quorra {
namespace {

Ticks now() { return static_cast<Ticks>(std::clock()); }

}  // namespace

Wait::Wait(Ticks limit) : start_(now()), limit_(limit) {}

// NOLINTNEXTLINE(readability-make-member-function-const): a wait that sleeps remembers something
bool Wait::goes_on(int /*handle*/, short /*awaited*/) { return now() - start_ < limit_; }

}  // namespace quorra
