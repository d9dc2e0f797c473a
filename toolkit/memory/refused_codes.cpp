// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/refused_codes.hpp"

#include <algorithm>

namespace quorra::toolkit {

bool RefusedCodes::contains(const Key& key) const {
  return std::ranges::any_of(keys_, [&](const Key& refused) {
    return refused.code == key.code && refused.bytes == key.bytes;
  });
}

}  // namespace quorra::toolkit
