// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Doing what a plan says.
#pragma once

#include "toolkit/memory/plan.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

struct Writing {
  const Operation& erasing;
  const Operation& writing;
  bool verify = true;            // what was written and erased is read back
  int told_from = 0;             // messages add this to addresses
  const Held* before = nullptr;  // what the card holds, as far as it is known
};

// Erases and writes. Throws Failure, which tells what became of the bytes of the plan, and
// Interrupted, which tells it, too. Where the bytes differ because a 0 cannot become 1, the message
// says so.
void carry_out(const Session& session, const Plan& plan, const Writing& how);

}  // namespace quorra::toolkit
