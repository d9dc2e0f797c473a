// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/toolkit/batch/support.hpp"

#include "toolkit/text.hpp"

namespace quorra::testing {

std::string hex(const toolkit::Bytes& bytes) { return toolkit::hex_text(bytes); }

}  // namespace quorra::testing
