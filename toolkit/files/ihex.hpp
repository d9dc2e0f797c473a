// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Intel HEX.
#pragma once

#include <string>
#include <string_view>

#include "toolkit/files/segments.hpp"

namespace quorra::toolkit {

// Throws UsageError, which names the line.
Segments read_ihex(std::string_view text);

std::string to_ihex(const Segments& segments);

}  // namespace quorra::toolkit
