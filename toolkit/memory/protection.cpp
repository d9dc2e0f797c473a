// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/protection.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <vector>

#include "toolkit/memory/codes.hpp"
#include "toolkit/memory/transfer.hpp"

namespace quorra::toolkit {

void protect_bytes(const Session& session, const Card& card, Range range, const Bytes& bytes,
                   const Operation& protecting) {
  const Operation operation{protecting.doing, card.protection->kind, protecting.done};
  transfer(session, card.memory, range, operation, [&](Range piece, int done) {
    return session.attempt(operation, card.protection->write, piece.address, piece.count,
                           bytes.data() + done);
  });
  if (operation.kind == OperationKind::protecting) return;
  const std::vector<bool> is_protected = with_progress(
      "; the bytes may be protected now", [&] { return read_protection(session, card, range); });
  const auto writable = std::find(is_protected.begin(), is_protected.end(), false);
  if (writable != is_protected.end()) {
    throw Failure(fmt::format("{}: the byte at 0x{:04X} is still writable", protecting.doing,
                              range.address + (writable - is_protected.begin())));
  }
}

}  // namespace quorra::toolkit
