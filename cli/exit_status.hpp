// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

namespace quorra::cli {

inline constexpr int exit_success = 0;
inline constexpr int exit_failed = 1;   // Failure
inline constexpr int exit_usage = 2;    // UsageError
inline constexpr int exit_nothing = 3;  // NoReader, NoCard

}  // namespace quorra::cli
