// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the driver says of itself, of a reader and of a card.
#pragma once

#include <optional>

#include "pcsc/entry/ifdhandler.hpp"
#include "pcsc/reader.hpp"
#include "pcsc/slots/inserted_card.hpp"

namespace quorra::pcsc {

// The value of a tag; none for a tag that is not known. Throws toolkit::Failure.
std::optional<Bytes> capability(Reader& reader, std::size_t slot, DWORD tag);

}  // namespace quorra::pcsc
