// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "simulator/cards/area.hpp"
#include "simulator/cards/security_chip.hpp"

namespace quorra::simulator {

// What one kind of zoned card is made of.
struct ZonedCard {
  std::array<std::uint8_t, 2> identification;
  // The bits of a byte of attempts that count.
  std::uint8_t attempt_bits;
  // Zone n is guarded by code n instead of the master code.
  bool has_zone_codes;
  // From address 0 on, without gaps. The fuse comes last.
  std::span<const Area> areas;
};

inline constexpr std::array areas_4404{
    Area{0, AreaRole::identification},    Area{8, AreaRole::code},
    Area{10, AreaRole::attempts},         Area{11, AreaRole::guarded},
    Area{14, AreaRole::zone, 1},          Area{40, AreaRole::erase_code, 1},
    Area{44, AreaRole::erase_counter, 1}, Area{52, AreaRole::fuse},
};

inline constexpr std::array areas_101{
    Area{0, AreaRole::identification},     Area{10, AreaRole::code},
    Area{12, AreaRole::attempts},          Area{13, AreaRole::guarded},
    Area{22, AreaRole::zone, 1},           Area{150, AreaRole::erase_code, 1},
    Area{154, AreaRole::erase_counter, 1}, Area{170, AreaRole::guarded},
    Area{172, AreaRole::nothing},          Area{194, AreaRole::fuse},
};

inline constexpr std::array areas_102{
    Area{0, AreaRole::identification},     Area{10, AreaRole::code},
    Area{12, AreaRole::attempts},          Area{13, AreaRole::guarded},
    Area{22, AreaRole::zone, 1},           Area{86, AreaRole::erase_code, 1},
    Area{92, AreaRole::zone, 2},           Area{156, AreaRole::erase_code, 2},
    Area{160, AreaRole::erase_counter, 2}, Area{176, AreaRole::guarded},
    Area{178, AreaRole::nothing},          Area{194, AreaRole::fuse},
};

inline constexpr std::array areas_1604{
    Area{0, AreaRole::identification},   Area{10, AreaRole::code},
    Area{12, AreaRole::attempts},        Area{13, AreaRole::guarded},
    Area{21, AreaRole::code, 1},         Area{23, AreaRole::attempts, 1},
    Area{24, AreaRole::erase_code, 1},   Area{26, AreaRole::erase_counter, 1},
    Area{27, AreaRole::zone, 1},         Area{1222, AreaRole::code, 2},
    Area{1224, AreaRole::erase_code, 2}, Area{1226, AreaRole::erase_counter, 2},
    Area{1227, AreaRole::zone, 2},       Area{1483, AreaRole::code, 3},
    Area{1485, AreaRole::erase_code, 3}, Area{1487, AreaRole::erase_counter, 3},
    Area{1488, AreaRole::zone, 3},       Area{1744, AreaRole::code, 4},
    Area{1746, AreaRole::erase_code, 4}, Area{1748, AreaRole::erase_counter, 4},
    Area{1749, AreaRole::zone, 4},       Area{2007, AreaRole::nothing},
    Area{2036, AreaRole::fuse},
};

inline constexpr std::array areas_1604b{
    Area{0, AreaRole::identification},
    Area{10, AreaRole::code},
    Area{12, AreaRole::attempts},
    Area{13, AreaRole::guarded},
    Area{21, AreaRole::code, 1},
    Area{23, AreaRole::attempts, 1},
    Area{24, AreaRole::erase_code, 1},
    Area{26, AreaRole::erase_counter, 1},
    Area{27, AreaRole::zone, 1},
    Area{539, AreaRole::code, 2},
    Area{541, AreaRole::attempts, 2},
    Area{542, AreaRole::erase_code, 2},
    Area{544, AreaRole::erase_counter, 2},
    Area{545, AreaRole::zone, 2},
    Area{1057, AreaRole::code, 3},
    Area{1059, AreaRole::attempts, 3},
    Area{1060, AreaRole::erase_code, 3},
    Area{1062, AreaRole::erase_counter, 3},
    Area{1063, AreaRole::zone, 3},
    Area{1575, AreaRole::code, 4},
    Area{1577, AreaRole::attempts, 4},
    Area{1578, AreaRole::erase_code, 4},
    Area{1580, AreaRole::erase_counter, 4},
    Area{1581, AreaRole::zone, 4},
    Area{2038, AreaRole::guarded},
    Area{2042, AreaRole::nothing},
    Area{2044, AreaRole::fuse},
};

inline constexpr ZonedCard card_4404{{0x81, 0x24}, 0xF0, false, areas_4404};
inline constexpr ZonedCard card_101{{0x0F, 0x0F}, 0xFF, false, areas_101};
inline constexpr ZonedCard card_102{{0x0F, 0x0F}, 0xF0, false, areas_102};
inline constexpr ZonedCard card_1604{{0x31, 0x3A}, 0xFF, true, areas_1604};
inline constexpr ZonedCard card_1604b{{0x72, 0x55}, 0xFF, true, areas_1604b};

// "memory" is all bytes in front of the fuse that have cells. "fuse" is 1 until it is blown.
template <std::size_t size>
inline constexpr std::array fields_zoned{
    Field{"fuse", FieldForm::number, 1},
    Field{"memory", FieldForm::memory, size},
};

// The chip of the 4404, 101, 102, 1604 and 1604b.
//
// The issuer, who has presented the master code while the fuse is intact, may see, write and erase
// every byte by itself. Otherwise each area has rules of its own, and an application zone is erased
// as a whole. While C8 is low, the chip behaves as if its fuse were blown.
class ZonedChip final : public SecurityChip {
 public:
  // `card` must outlive the chip.
  ZonedChip(Image content, const ZonedCard& card);

  std::unique_ptr<Chip> copy() const override;

 private:
  std::uint8_t shown(std::size_t address) const override;
  bool write(std::size_t address, std::uint8_t bit) override;
  bool erase(std::size_t address) override;
  std::optional<Code> code_at(std::size_t address) const override;

  const Area& area_at(std::size_t address) const;
  // Null when the card has no such area.
  const Area* find(AreaRole role, std::size_t number) const;
  std::span<std::uint8_t> cells(const Area& area) const;
  bool is_open(AreaRole role, std::size_t number) const;
  bool is_issuer() const;
  bool is_zone_open(std::size_t zone) const;
  bool may_be_seen(const Area& area) const;
  bool may_be_written(const Area& area, std::uint8_t bit) const;
  bool may_be_erased(const Area& area) const;
  bool erase_zone(const Area& zone);
  bool spend_erasure(const Area& counter);

  const ZonedCard& card_;
  // One byte.
  std::span<std::uint8_t> fuse_;
};

// The content of a new card of that sort.
void fill_new_zoned_card(Image& image, const ZonedCard& card);

template <const ZonedCard& card>
void blank_zoned(Image& image) {
  fill_new_zoned_card(image, card);
}

template <const ZonedCard& card>
std::span<const Area> areas_of(const Image& /*image*/) {
  return card.areas;
}

template <const ZonedCard& card>
std::unique_ptr<Chip> make_zoned_chip(Image image) {
  return std::make_unique<ZonedChip>(std::move(image), card);
}

}  // namespace quorra::simulator
