// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/transfer.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>

#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

Range in_whole_units(const Memory& memory, Range range) {
  const int address = range.address - range.address % memory.unit;
  const int after = range.end() + memory.unit - 1;
  return {address, after - after % memory.unit - address};
}

}  // namespace

std::string how_far(int done, int total, std::string_view done_word) {
  return fmt::format("{} of {} bytes {}", done, total, done_word);
}

void transfer(const Session& session, const Memory& memory, Range range, const Operation& operation,
              const MovePiece& move, const ExplainFailure& explain, const PieceThrough& through) {
  const Progress progress = session.watch(operation, range.count);
  const int first_page = range.address - range.address % memory.page;
  for (int address = range.address; address < range.end();) {
    const int done = address - range.address;
    const int left_in_piece = memory.piece - (address - first_page) % memory.piece;
    const Range piece{address, std::min(left_in_piece, range.end() - address)};
    const auto so_far = [&] { return "; " + how_far(done, range.count, operation.done); };
    try {
      if (const int result = move(piece, done); result < 0) {
        std::string error = session.describe(operation, result);
        if (explain) error += if_possible([&] { return explain(result, piece, done); });
        if (done > 0) error += so_far();
        Particulars particulars = particulars_of(result, operation.kind);
        particulars.address = piece.address + memory.told_from;
        throw Failure(error, particulars);
      }
    } catch (const Interrupted& interruption) {
      throw Interrupted(interruption.what() + so_far());
    }
    if (through) through(piece);
    address = piece.end();
    if (progress) progress(address - range.address);
  }
}

Bytes read_memory(const Session& session, const Memory& memory, Range range,
                  const Operation& operation) {
  const Range units = in_whole_units(memory, range);
  Bytes bytes(static_cast<std::size_t>(units.count));
  transfer(session, memory, units, {operation.doing, memory.reading, operation.done},
           [&](Range piece, int done) {
             return session.attempt(operation, memory.read, piece.address, piece.count,
                                    bytes.data() + done);
           });
  const auto first = bytes.begin() + (range.address - units.address);
  return {first, first + range.count};
}

std::optional<Difference> find_difference(const Bytes& wanted, const Bytes& held, int address) {
  std::optional<Difference> difference;
  for (std::size_t at = 0; at < wanted.size(); ++at) {
    if (wanted[at] == held[at]) continue;
    if (!difference) {
      difference = Difference{0, address + static_cast<int>(at), held[at], wanted[at]};
    }
    ++difference->count;
  }
  return difference;
}

std::string describe(const Difference& difference) {
  return fmt::format("at 0x{:04X} the card holds {:02X}, not {:02X}", difference.address,
                     difference.held, difference.wanted);
}

}  // namespace quorra::toolkit
