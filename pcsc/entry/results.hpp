// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What went wrong, as pcscd is told.
#pragma once

#include <exception>

#include "pcsc/entry/ifdhandler.hpp"
#include "pcsc/line/link.hpp"

namespace quorra::pcsc {

// For a result below 0 of the library.
RESPONSECODE response_code(int result);

// For what was thrown while `link` was used.
RESPONSECODE response_code(const Link& link, const std::exception& error);

}  // namespace quorra::pcsc
