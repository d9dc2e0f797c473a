// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The SHA-256 of bytes, in hex digits: whether a file is still the same.
#pragma once

#include <string>
#include <string_view>

namespace quorra::toolkit {

std::string digest_of(std::string_view content);

}  // namespace quorra::toolkit
