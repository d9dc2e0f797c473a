// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// S-records.
#pragma once

#include <string>
#include <string_view>

#include "toolkit/files/segments.hpp"

namespace quorra::toolkit {

// Throws UsageError, which names the line.
Segments read_srec(std::string_view text);

// Addresses have two, three or four bytes, as the highest one wants it.
std::string to_srec(const Segments& segments);

}  // namespace quorra::toolkit
