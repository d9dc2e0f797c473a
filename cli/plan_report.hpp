// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a plan is, and what cannot be done, for people and for programs.
#pragma once

#include <string>

#include "cli/report.hpp"
#include "toolkit/memory/plan.hpp"

namespace quorra::cli {

// One or two lines: bytes, frames, bits, erasures, attempts.
std::string words_for_plan(const Plan& plan);

Json plan_fields(const Plan& plan);

// "0x0020", or "0x0020-0x002F"
std::string addresses(Range range);

}  // namespace quorra::cli
