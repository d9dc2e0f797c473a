// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What applications may ask of the reader itself, with SCardControl.
#pragma once

#include <optional>

#include "pcsc/entry/ifdhandler.hpp"
#include "pcsc/line/link.hpp"
#include "pcsc/slots/inserted_card.hpp"

namespace quorra::pcsc {

// Carries the request out and returns its answer; none for a request that is not known. Throws
// toolkit::Failure.
std::optional<Bytes> control(Link& link, DWORD code, const Bytes& request);

}  // namespace quorra::pcsc
