// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/zoned_chip.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quorra::simulator {
namespace {

// The first byte of an application zone.
constexpr std::uint8_t write_flag = 0x80;
constexpr std::uint8_t read_flag = 0x40;
constexpr std::uint8_t flags = write_flag | read_flag;

constexpr std::uint8_t fuse_bit = 0x80;

constexpr std::size_t master = 0;

}  // namespace

void fill_new_zoned_card(Image& image, const ZonedCard& card) {
  const auto memory = image.field("memory");
  std::ranges::fill(memory, std::uint8_t{0xFF});
  std::ranges::copy(card.identification, memory.begin());
  image.field("fuse").front() = 1;
}

ZonedChip::ZonedChip(Image content, const ZonedCard& card)
    : SecurityChip(std::move(content), card.areas.back().first + 1),
      card_(card),
      fuse_(image().field("fuse")) {}

std::unique_ptr<Chip> ZonedChip::copy() const {
  auto chip = std::make_unique<ZonedChip>(*this);
  chip->find_cells();
  chip->fuse_ = chip->image().field("fuse");
  return chip;
}

std::uint8_t ZonedChip::shown(std::size_t address) const {
  const Area& area = area_at(address);
  if (area.role == AreaRole::nothing) return erased_byte;
  if (area.role == AreaRole::fuse)
    return fuse_.front() != 0 ? erased_byte : static_cast<std::uint8_t>(~fuse_bit);
  const std::uint8_t byte = memory()[address];
  if (may_be_seen(area)) return byte;
  // The flags of a zone can be seen by everybody.
  const bool has_flags = area.role == AreaRole::zone && address == area.first;
  return has_flags ? static_cast<std::uint8_t>(byte | ~flags) : erased_byte;
}

bool ZonedChip::write(std::size_t address, std::uint8_t bit) {
  const Area& area = area_at(address);
  // Where a bit can be seen to be 0 already, there is nothing to refuse.
  if (area.role == AreaRole::zone && (shown(address) & bit) == 0) return true;
  if (!may_be_written(area, bit)) return false;
  if (area.role == AreaRole::fuse) {
    program(fuse_.front(), 0);
  } else if (clear(address, bit) && area.role == AreaRole::attempts &&
             (bit & card_.attempt_bits) != 0) {
    pay_attempt(find(AreaRole::code, area.number)->first);
  }
  return true;
}

bool ZonedChip::erase(std::size_t address) {
  const Area& area = area_at(address);
  if (!may_be_erased(area)) return false;
  if (area.role == AreaRole::zone && !is_issuer()) return erase_zone(area);
  erase_byte(address);
  return true;
}

std::optional<SecurityChip::Code> ZonedChip::code_at(std::size_t address) const {
  const Area& area = area_at(address);
  if (area.role != AreaRole::code && area.role != AreaRole::erase_code) return {};
  const bool has_attempts =
      area.role == AreaRole::code && find(AreaRole::attempts, area.number) != nullptr;
  return Code{.address = area.first, .size = cells(area).size(), .has_attempts = has_attempts};
}

const Area& ZonedChip::area_at(std::size_t address) const {
  return *std::prev(std::ranges::upper_bound(card_.areas, address, {}, &Area::first));
}

const Area* ZonedChip::find(AreaRole role, std::size_t number) const {
  const auto found = std::ranges::find_if(card_.areas, [role, number](const Area& area) {
    return area.role == role && area.number == number;
  });
  return found == card_.areas.end() ? nullptr : &*found;
}

// Neither the fuse nor nothing has cells in the memory, so there is always a next area.
std::span<std::uint8_t> ZonedChip::cells(const Area& area) const {
  const Area& next = *std::next(&area);
  return memory().subspan(area.first, next.first - area.first);
}

bool ZonedChip::is_open(AreaRole role, std::size_t number) const {
  return is_presented(find(role, number)->first);
}

bool ZonedChip::is_issuer() const {
  return fuse_.front() != 0 && !c8_is_low() && is_open(AreaRole::code, master);
}

bool ZonedChip::is_zone_open(std::size_t zone) const {
  return is_open(AreaRole::code, card_.has_zone_codes ? zone : master);
}

bool ZonedChip::may_be_seen(const Area& area) const {
  switch (area.role) {
    case AreaRole::code:
    case AreaRole::erase_code:
      return is_issuer();
    case AreaRole::zone:
      return (cells(area).front() & read_flag) != 0 || is_zone_open(area.number) || is_issuer();
    default:
      return true;
  }
}

bool ZonedChip::may_be_written(const Area& area, std::uint8_t bit) const {
  switch (area.role) {
    case AreaRole::nothing:
      return false;
    case AreaRole::fuse:
      return bit == fuse_bit && is_open(AreaRole::code, master);
    case AreaRole::attempts:
      return (bit & card_.attempt_bits) != 0 || may_be_erased(area);
    case AreaRole::zone:
      return is_issuer() || ((cells(area).front() & write_flag) != 0 && is_zone_open(area.number));
    default:
      return may_be_erased(area);
  }
}

// A code may be replaced by whoever has presented it.
bool ZonedChip::may_be_erased(const Area& area) const {
  switch (area.role) {
    case AreaRole::nothing:
    case AreaRole::stage:
    case AreaRole::fuse:
      return false;
    case AreaRole::identification:
    case AreaRole::erase_counter:
      return is_issuer();
    case AreaRole::guarded:
      return is_open(AreaRole::code, master);
    case AreaRole::code:
    case AreaRole::attempts:
      return is_issuer() || is_open(AreaRole::code, area.number);
    case AreaRole::zone:
    case AreaRole::erase_code:
      return is_issuer() ||
             (is_zone_open(area.number) && is_open(AreaRole::erase_code, area.number));
  }
  return false;  // UNREACHED: there are no other roles
}

// The flags are not erased. A zone that is erased already is left alone and costs nothing.
bool ZonedChip::erase_zone(const Area& zone) {
  const auto bytes = cells(zone);
  const auto is_erased = [](std::uint8_t byte) { return byte == erased_byte; };
  const auto erased_flags = static_cast<std::uint8_t>(bytes.front() | ~flags);
  if (bytes.front() == erased_flags && std::ranges::all_of(bytes.subspan(1), is_erased))
    return true;

  const Area* const counter = find(AreaRole::erase_counter, zone.number);
  if (counter != nullptr && !spend_erasure(*counter)) return false;
  program(bytes.front(), erased_flags);
  for (std::uint8_t& byte : bytes.subspan(1))
    program(byte, erased_byte);
  return true;
}

// Bits are spent from the first byte on, the least significant one first.
bool ZonedChip::spend_erasure(const Area& counter) {
  for (std::uint8_t& byte : cells(counter)) {
    if (byte == 0) continue;
    program(byte, static_cast<std::uint8_t>(byte & (byte - 1U)));
    return true;
  }
  return false;
}

}  // namespace quorra::simulator
