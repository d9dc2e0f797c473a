// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/kinds.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>

#include "simulator/cards/chip_24c.hpp"
#include "simulator/cards/chip_4406.hpp"
#include "simulator/cards/chip_4428.hpp"
#include "simulator/cards/chip_4442.hpp"
#include "simulator/cards/chip_45d041.hpp"
#include "simulator/cards/chip_93c.hpp"
#include "simulator/cards/cpu/cpu_card.hpp"
#include "simulator/cards/zoned_chip.hpp"
#include "simulator/error.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

constexpr std::array table{
    Kind{"4442", "256 bytes, 32 of them protectable, 3-byte code with three attempts", fields_4442,
         blank_4442, make_chip_4442},
    Kind{"4432", "256 bytes, 32 of them protectable, no code", fields_4432, blank_4432,
         make_chip_4442},
    Kind{"4428", "1024 bytes, each of them protectable, 2-byte code with eight attempts",
         fields_4428, blank_4428, make_chip_4428},
    Kind{"4418", "1024 bytes, each of them protectable, no code", fields_4418, blank_4428,
         make_chip_4428},
    Kind{"45d041", "flash memory, 2048 pages of 264 bytes", fields_45d041, blank_45d041,
         make_chip_45d041},
    Kind{"24c01a", "128 bytes, two-wire EEPROM", fields_24c<128>, blank_24c, make_chip_24c},
    Kind{"24c02", "256 bytes, two-wire EEPROM", fields_24c<256>, blank_24c, make_chip_24c},
    Kind{"24c04", "512 bytes, two-wire EEPROM", fields_24c<512>, blank_24c, make_chip_24c},
    Kind{"24c08", "1024 bytes, two-wire EEPROM", fields_24c<1024>, blank_24c, make_chip_24c},
    Kind{"24c16", "2048 bytes, two-wire EEPROM", fields_24c<2048>, blank_24c, make_chip_24c},
    Kind{"24c32", "4096 bytes, two-wire EEPROM", fields_24c<4096>, blank_24c, make_chip_24c},
    Kind{"24c64", "8192 bytes, two-wire EEPROM", fields_24c<8192>, blank_24c, make_chip_24c},
    Kind{"93c46a", "64 words of 2 bytes, three-wire EEPROM", fields_93c<128>, blank_93c,
         make_chip_93c_of_words},
    Kind{"93c46", "128 bytes, three-wire EEPROM", fields_93c<128>, blank_93c,
         make_chip_93c_of_bytes},
    Kind{"93c57", "256 bytes, three-wire EEPROM", fields_93c<256>, blank_93c,
         make_chip_93c_of_bytes},
    Kind{"93c66", "512 bytes, three-wire EEPROM", fields_93c<512>, blank_93c,
         make_chip_93c_of_bytes},
    Kind{"4404", "52 bytes, one zone, 2-byte code with four attempts, erase code", fields_zoned<52>,
         blank_zoned<card_4404>, make_zoned_chip<card_4404>, areas_of<card_4404>},
    Kind{"4406", "13 bytes, counter of units in five stages, 3-byte code with eight attempts",
         fields_4406, blank_4406, make_chip_4406, areas_of_4406},
    Kind{"101", "172 bytes, one zone, 2-byte code with eight attempts, erase code",
         fields_zoned<172>, blank_zoned<card_101>, make_zoned_chip<card_101>, areas_of<card_101>},
    Kind{"102", "178 bytes, two zones, 2-byte code with four attempts, erase codes",
         fields_zoned<178>, blank_zoned<card_102>, make_zoned_chip<card_102>, areas_of<card_102>},
    Kind{"1604", "2007 bytes, four zones, a code and an erase code for each", fields_zoned<2007>,
         blank_zoned<card_1604>, make_zoned_chip<card_1604>, areas_of<card_1604>},
    Kind{"1604b", "2042 bytes, four zones, a code and an erase code for each", fields_zoned<2042>,
         blank_zoned<card_1604b>, make_zoned_chip<card_1604b>, areas_of<card_1604b>},
    Kind{"cpu", "processor card with a small file system, a code and a key", fields_cpu, blank_cpu,
         make_cpu_card},
};

}  // namespace

std::span<const Kind> kinds() { return table; }

const Kind& find_kind(std::string_view name) {
  const auto* const found = std::ranges::find(table, name, &Kind::name);
  if (found == table.end())
    throw Error(fmt::format("unknown kind of card \"{}\" (known: {})", on_one_line(name),
                            list_names(table)));
  return *found;
}

}  // namespace quorra::simulator
