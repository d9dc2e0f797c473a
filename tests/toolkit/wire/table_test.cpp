// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The table of the wire, compared with what the library sends and with what the virtual reader and
// the kinds of cards say of themselves.

#include "toolkit/wire/table.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "link/exchange.hpp"
#include "simulator/status.hpp"
#include "toolkit/kinds/card.hpp"

namespace quorra::toolkit::wire {
namespace {

template <typename Rows>
void expect_no_row_twice(const Rows& rows) {
  std::set<int> numbers;
  for (const auto& row : rows) {
    EXPECT_TRUE(numbers.insert(row.number).second) << int{row.number};
    EXPECT_FALSE(row.words.empty());
  }
}

TEST(WireTable, HasEachNumberOnce) {
  expect_no_row_twice(commands());
  expect_no_row_twice(statuses());
  expect_no_row_twice(instructions_with_codes());
}

TEST(WireTable, HasEachCardTypeAndVariantOnce) {
  std::set<std::pair<int, int>> found;
  for (const CardType& type : card_types()) {
    EXPECT_TRUE(found.emplace(type.number, type.variant).second) << int{type.number};
  }
}

TEST(WireTable, KnowsTheCommandsOfTheLibrary) {
  using enum quorra::Command;
  constexpr quorra::Command sent[] = {reset_card,
                                      exchange_with_card,
                                      set_card_speed,
                                      select_sam,
                                      write,
                                      read,
                                      write_pages,
                                      present_code,
                                      read_code,
                                      write_security,
                                      read_error_counter,
                                      present_erase_code,
                                      write_with_protection,
                                      read_with_protection,
                                      write_protection_bits,
                                      erase_stage,
                                      personalise_4404,
                                      personalise,
                                      read_protection,
                                      write_protection,
                                      erase,
                                      read_status_register,
                                      erase_all,
                                      write_all,
                                      set_fake_fuse,
                                      read_version,
                                      set_speed,
                                      power_on,
                                      power_off,
                                      beep,
                                      compare_reader_code,
                                      write_reader_memory,
                                      read_reader_memory,
                                      eject,
                                      read_status};
  EXPECT_EQ(std::size(sent), commands().size());
  for (const quorra::Command command : sent) {
    EXPECT_NE(find_command(static_cast<unsigned char>(command)), nullptr)
        << static_cast<int>(command);
  }
  EXPECT_EQ(find_command(0x63), nullptr);
}

TEST(WireTable, KnowsTheCardTypesOfTheLibrary) {
  for (const int type : {0x20, 0x21, 0x60, 0x61, 0x62, 0x64, 0x65, 0x66, 0x68, 0x69, 0x6A,
                         0x6B, 0x6E, 0x71, 0x72, 0x73, 0x76, 0x77, 0x79, 0x7A, 0x7B, 0x80}) {
    EXPECT_NE(find_card_type(static_cast<unsigned char>(type), 0), nullptr) << type;
  }
  EXPECT_EQ(find_card_type(0x63, 0), nullptr);
}

TEST(WireTable, TellsVariantsApart) {
  EXPECT_EQ(find_card_type(0x73, 0)->words, "1604");
  EXPECT_EQ(find_card_type(0x73, 0x0B)->words, "1604b");
  EXPECT_EQ(find_card_type(0x73, 0x07)->words, "1604");
  EXPECT_EQ(find_card_type(0x77, 0x0B)->words, "4428");
}

// "A byte." and "a byte" are the same.
std::string as_part_of_a_sentence(std::string_view sentence) {
  std::string text(sentence.substr(0, sentence.size() - 1));
  if (!text.starts_with("SAM")) text[0] = static_cast<char>(std::tolower(text[0]));
  return text;
}

TEST(WireTable, MeansByAStatusWhatTheVirtualReaderMeans) {
  for (int number = 1; number < 256; ++number) {
    const auto status = static_cast<unsigned char>(number);
    const bool is_known = !simulator::status_name(status).empty();
    const Status* row = find_status(status);
    ASSERT_EQ(row != nullptr, is_known) << number;
    if (is_known) {
      EXPECT_EQ(row->words, as_part_of_a_sentence(simulator::status_text(status)));
    }
  }
}

struct Guarded {
  std::string_view kind;
  unsigned char card;
  unsigned char variant;
};

// Where each zone begins among the addresses that are sent.
int base_of(const Card& card, int zone) {
  if (card.name == "102") return zone == 0 ? 0 : zone == 1 ? 22 : 92;
  int base = 0;
  for (int before = 0; before < zone; ++before) {
    base += before == 0 ? card.memory.size
                        : card.further_zones[static_cast<std::size_t>(before - 1)].size;
  }
  return base;
}

std::set<std::pair<unsigned, unsigned>> areas_of_kind(const Card& card) {
  std::set<std::pair<unsigned, unsigned>> areas;
  const auto add = [&](const Memory& memory) {
    for (std::size_t i = 0; i < memory.areas.size(); ++i) {
      const Area& area = memory.areas[i];
      if (area.role != AreaRole::code && area.role != AreaRole::erase_code) continue;
      const int end = i + 1 < memory.areas.size() ? memory.areas[i + 1].first : memory.size;
      areas.emplace(base_of(card, memory.zone) + area.first, end - area.first);
    }
  };
  add(card.memory);
  for (const Memory& zone : card.further_zones) {
    add(zone);
  }
  return areas;
}

class WireCodeAreas : public ::testing::TestWithParam<Guarded> {};

TEST_P(WireCodeAreas, AreThoseOfTheKind) {
  std::set<std::pair<unsigned, unsigned>> areas;
  for (const CodeArea& area : code_areas()) {
    if (area.card == GetParam().card && area.variant == GetParam().variant) {
      areas.emplace(area.address, area.count);
    }
  }
  EXPECT_EQ(areas, areas_of_kind(*find_card(GetParam().kind)));
  EXPECT_FALSE(areas.empty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, WireCodeAreas,
                         ::testing::Values(Guarded{"4404", 0x7A, 0}, Guarded{"4406", 0x7B, 0},
                                           Guarded{"101", 0x71, 0}, Guarded{"102", 0x72, 0},
                                           Guarded{"1604", 0x73, 0}, Guarded{"1604b", 0x73, 0x0B}),
                         [](const auto& test) { return "kind_" + std::string(test.param.kind); });

}  // namespace
}  // namespace quorra::toolkit::wire
