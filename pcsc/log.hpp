// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Lines for pcscd's log.
#pragma once

#include <string>

namespace quorra::pcsc {

enum class Severity { information, error };

// Nothing happens in a program that has no such log.
void log(Severity severity, const std::string& text) noexcept;

}  // namespace quorra::pcsc
