// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a plan is, and what cannot be done, for people and for programs.
#pragma once

#include <string>

#include "cli/report.hpp"
#include "toolkit/memory/plan.hpp"

namespace quorra::cli {

// Bytes, frames, bits, erasures, attempts; then what is erased and written. To
// addresses `told_from` is added.
std::string words_for_plan(const Plan& plan, int told_from = 0);

Json plan_fields(const Plan& plan, int told_from = 0);

// Bytes that are left as they are although others are wanted, and why: a line for each range.
std::string words_for_obstacles(const Plan& plan, int told_from = 0);

}  // namespace quorra::cli
