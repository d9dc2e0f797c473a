// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/memory/cells.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "toolkit/memory/codes.hpp"

namespace quorra::pcsc {
namespace {

using toolkit::Memory;
using toolkit::Operation;
using toolkit::Piece;
using toolkit::Range;

constexpr std::string_view reading = "reading the card";
constexpr std::string_view writing = "writing to the card";
constexpr Operation erasing{"erasing the card"};
constexpr Operation reading_protection{"reading the protection bits"};
constexpr std::string_view protecting = "protecting bytes of the card";

constexpr unsigned char erased = 0xFF;
// What is erased by writing goes through in pieces.
constexpr int piece_to_erase = 256;

Bytes part(const Bytes& bytes, int first, int count) {
  const auto begin = bytes.begin() + first;
  return {begin, begin + count};
}

}  // namespace

Bytes Cells::read(Range range) const {
  Bytes bytes;
  for (const Piece& piece : pieces_of(card_, range)) {
    const Bytes of_zone = read_zone(*piece.zone, piece.range);
    bytes.insert(bytes.end(), of_zone.begin(), of_zone.end());
  }
  return bytes;
}

void Cells::write(int address, const Bytes& bytes) const {
  const Range range{address, static_cast<int>(bytes.size())};
  expect_within(range);
  expect_no_codes(range);
  expect_code_presented();
  const std::vector<Piece> pieces = pieces_of(card_, range);
  for (const Piece& piece : pieces) {
    if (!piece.zone->keeps_zeros) continue;
    const Bytes wanted = part(bytes, piece.done, piece.range.count);
    if (needs_bits_set(wanted, read_zone(*piece.zone, piece.range))) {
      throw Refusal{StatusWord::memory_failure};
    }
  }
  for (const Piece& piece : pieces) {
    write_piece(piece, part(bytes, piece.done, piece.range.count));
  }
}

void Cells::erase(Range range) const {
  expect_within(range);
  if (card_.erase_all != nullptr && range.count == size()) {
    if (!is_accepted(session_, erasing, session_.attempt(erasing, card_.erase_all))) {
      throw Refusal{StatusWord::memory_failure};
    }
    const Bytes held = read(range);
    if (std::ranges::count(held, erased) != range.count) {
      throw Refusal{StatusWord::memory_failure};
    }
  } else if (card_.memory.erase != nullptr) {
    expect_no_codes(range);
    expect_code_presented();
    for (const Piece& piece : pieces_of(card_, range)) {
      erase_piece(piece);
    }
  } else if (card_.memory.keeps_zeros) {
    throw Refusal{StatusWord::not_supported};
  } else {
    expect_no_codes(range);
    for (int address = range.address; address < range.end(); address += piece_to_erase) {
      const int count = std::min(piece_to_erase, range.end() - address);
      write(address, Bytes(static_cast<std::size_t>(count), erased));
    }
  }
}

void Cells::protect(int address, const Bytes& bytes) const {
  const Range range{address, static_cast<int>(bytes.size())};
  expect_within(range);
  if (!card_.protection) throw Refusal{StatusWord::not_supported};
  if (range.end() > card_.protection->bytes) throw Refusal{StatusWord::wrong_address};
  expect_code_presented();
  if (read(range) != bytes) throw Refusal{StatusWord::memory_failure};
  // Some bytes may already be what they are to be, which the reader does not mind.
  const Operation operation{protecting, card_.protection->kind};
  const int result =
      session_.attempt(operation, card_.protection->write, address, range.count, bytes.data());
  constexpr int still_writable = -129;
  const bool failed_to_protect =
      operation.kind == toolkit::OperationKind::protecting && result == still_writable;
  const bool is_done = !failed_to_protect && is_accepted(session_, operation, result);
  const Bytes flags = protection(range);
  if (!is_done || std::ranges::find(flags, 0) != flags.end()) {
    throw Refusal{StatusWord::memory_failure};
  }
}

Bytes Cells::protection(Range range) const {
  if (!card_.protection) throw Refusal{StatusWord::not_supported};
  if (range.end() > card_.protection->bytes) throw Refusal{StatusWord::wrong_address};
  Bytes flags(static_cast<std::size_t>(range.count));
  const int result = session_.attempt(reading_protection, card_.protection->read, range.address,
                                      range.count, flags.data());
  if (!is_accepted(session_, reading_protection, result)) throw Refusal{StatusWord::refused};
  return flags;
}

void Cells::expect_within(Range range) const {
  if (range.address >= size()) throw Refusal{StatusWord::wrong_address};
  if (range.count < 1 || range.end() > size()) throw Refusal{StatusWord::wrong_length};
}

void Cells::expect_no_codes(Range range) const {
  const bool counts_units = is_known_as_personalised(session_, card_);
  for (const Piece& piece : pieces_of(card_, range)) {
    const auto areas = counts_units ? card_.units->areas : piece.zone->areas;
    if (piece.write == nullptr || has_guards(areas, piece.range, piece.zone->size)) {
      throw Refusal{StatusWord::not_allowed};
    }
  }
}

void Cells::expect_code_presented() const {
  if (!card_.codes.empty() && codes_.none_is_presented()) throw Refusal{StatusWord::code_missing};
}

Bytes Cells::read_zone(const Memory& zone, Range range) const {
  const int before = range.address % zone.unit;
  const int behind = (zone.unit - range.end() % zone.unit) % zone.unit;
  const Range units{range.address - before, before + range.count + behind};
  Bytes bytes(static_cast<std::size_t>(units.count));
  const Operation operation{reading, zone.reading};
  const int result =
      session_.attempt(operation, zone.read, units.address, units.count, bytes.data());
  if (!is_accepted(session_, operation, result)) throw Refusal{StatusWord::refused};
  return part(bytes, before, range.count);
}

// Where the card has words, a half one keeps its other half.
void Cells::write_piece(const Piece& piece, const Bytes& bytes) const {
  const Memory& zone = *piece.zone;
  const int before = piece.range.address % zone.unit;
  const int behind = (zone.unit - piece.range.end() % zone.unit) % zone.unit;
  Bytes units;
  if (before > 0) units = read_zone(zone, {piece.range.address - before, before});
  units.insert(units.end(), bytes.begin(), bytes.end());
  if (behind > 0) {
    const Bytes rest = read_zone(zone, {piece.range.end(), behind});
    units.insert(units.end(), rest.begin(), rest.end());
  }
  const Operation operation{writing, zone.writing};
  const int address = piece.range.address - before;
  const auto count = static_cast<int>(units.size());
  const int result = session_.attempt(operation, piece.write, address, count, units.data());
  const bool is_written =
      is_accepted(session_, operation, result) && read_zone(zone, {address, count}) == units;
  if (!is_written) refuse(zone);
}

void Cells::erase_piece(const Piece& piece) const {
  const Memory& zone = *piece.zone;
  if (zone.no_erase_from && zone.no_erase_from->contains(piece.range.address)) {
    throw Refusal{StatusWord::not_allowed};
  }
  const int result = session_.attempt(erasing, zone.erase, piece.range.address, piece.range.count);
  if (is_accepted(session_, erasing, result)) return;
  if (zone.erase_code && !codes_.is_presented(erase_code_bit | zone.zone)) {
    throw Refusal{StatusWord::code_missing};
  }
  refuse(zone);
}

// Where each zone has a code, the issuer's own code opens all of them as well.
bool Cells::is_open(const Memory& zone) const {
  const bool has_own_code = static_cast<std::size_t>(zone.zone) < card_.codes.size();
  return card_.codes.empty() || codes_.is_presented(0) ||
         (has_own_code && codes_.is_presented(zone.zone));
}

void Cells::refuse(const Memory& zone) const {
  throw Refusal{is_open(zone) ? StatusWord::memory_failure : StatusWord::code_missing};
}

}  // namespace quorra::pcsc
