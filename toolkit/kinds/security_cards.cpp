// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The security memory cards.

#include <quorra.h>

#include "toolkit/kinds/card.hpp"
#include "toolkit/kinds/card_tables.hpp"
#include "toolkit/memory/transfer.hpp"

namespace quorra::toolkit {
namespace {

template <auto transfer, int zone, typename Byte>
int transfer_in_zone(int handle, int address, int count, Byte* buffer) {
  return transfer(handle, zone, address, count, buffer);
}

template <auto erase, int zone>
int erase_in_zone(int handle, int address, int count) {
  return erase(handle, zone, address, count);
}

template <auto clear, int zone>
int clear_in_zone(int handle) {
  return clear(handle, zone);
}

template <auto read, int... number>
constexpr Counter counter(int most) {
  return {.most = most, .read = read_number<read, number...>};
}

// psnl_4404 does not negate the reader's STATUS.
int personalise_4404(int handle) {
  const int result = psnl_4404(handle);
  return result > 0 ? -result : result;
}

constexpr std::string_view closed_zones =
    "Its codes cannot be read any more, its identification stays as it is, and a zone is erased as "
    "a whole, after its erase code.";

using enum AreaRole;

constexpr Area areas_4404[] = {
    {0, identification}, {8, code},  {10, attempts},   {11, issuer},
    {14, flags},         {15, data}, {40, erase_code}, {44, erasures},
};

constexpr Code codes_4404[] = {
    code_of_library<2, csc_4404, wsc_4404>(counter<rsct_4404>(4)),
};

constexpr Card card_4404 = {
    .name = "4404",
    .memory = {.size = 52,
               .read = srd_4404,
               .write = swr_4404,
               .erase = ser_4404,
               .keeps_zeros = true,
               .no_erase_from = Range{14, 26},
               .erase_code = code_of_library<4, cesc_4404, wesc_4404>(counter<resct_4404>(64)),
               .flags = Flags{14, clrpr_4404, clrrd_4404},
               .areas = areas_4404},
    .probe = chk_4404,
    .codes = codes_4404,
    .personalise = personalise_4404,
    .personalised = closed_zones,
    .imitate_fuse = fakefus_4404,
};

constexpr Area areas_4406[] = {
    {0, identification}, {3, issuer}, {8, personalisation}, {9, attempts}, {10, code},
};

constexpr Area areas_of_personalised_4406[] = {
    {0, identification}, {3, data},      {8, units, 1},  {9, units, 2},
    {10, units, 3},      {11, units, 4}, {12, units, 5},
};

// csc_4406 compares what it presented with what the card holds.
constexpr Code code_4406 = [] {
  Code result = readable_code_of_library<3, csc_4406, wsc_4406, rsc_4406>(counter<rsct_4406>(8));
  result.presenting = OperationKind::presenting;
  result.keeps_zeros = true;
  return result;
}();

constexpr Code codes_4406[] = {code_4406};

constexpr Card card_4406 = {
    .name = "4406",
    .memory =
        {.size = 13, .read = srd_4406, .write = swr_4406, .keeps_zeros = true, .areas = areas_4406},
    .probe = chk_4406,
    .codes = codes_4406,
    .personalise = psnl_4406,
    .personalised = "Its code is gone, and the bytes 8 to 12 are a counter of units to be spent.",
    .units = UnitCounter{.first_stage = 8,
                         .stages = 5,
                         .not_personalised = 0x80,
                         .carry = eswc_4406,
                         .areas = areas_of_personalised_4406},
};

constexpr Area areas_101[] = {
    {0, identification}, {10, code},        {12, attempts},  {13, issuer},  {22, flags},
    {23, data},          {150, erase_code}, {154, erasures}, {170, issuer},
};

constexpr Code codes_101[] = {
    code_of_library<2, csc_101, wsc_101>(counter<rsct_101>(8)),
};

constexpr Card card_101 = {
    .name = "101",
    .memory = {.size = 172,
               .read = srd_101,
               .write = swr_101,
               .write_security = swrSC_101,
               .erase = ser_101,
               .keeps_zeros = true,
               .erase_code = code_of_library<4, cesc_101, wesc_101>(counter<resct_101>(128)),
               .flags = Flags{22, clrpr_101, clrrd_101},
               .areas = areas_101},
    .probe = chk_101,
    .twin = "102",
    .codes = codes_101,
    .personalise = psnl_101,
    .personalised = closed_zones,
    .imitate_fuse = fakefus_101,
};

template <typename Library, int number>
constexpr Memory zone_of(int size, int writable, std::span<const Area> areas) {
  return {.zone = number,
          .size = size,
          .writable = writable,
          .read = transfer_in_zone<Library::read, number, unsigned char>,
          .write = transfer_in_zone<Library::write, number, const unsigned char>,
          .write_security = transfer_in_zone<Library::write_security, number, const unsigned char>,
          .erase = erase_in_zone<Library::erase, number>,
          .keeps_zeros = true,
          .areas = areas};
}

// The flags of an application zone are its first byte.
template <typename Library, int number>
constexpr Memory application_zone_of(int size, int writable, std::span<const Area> areas,
                                     const Code& erase_code_of_zone) {
  Memory zone = zone_of<Library, number>(size, writable, areas);
  zone.erase_code = erase_code_of_zone;
  zone.flags = Flags{.address = 0,
                     .clear_write_flag = clear_in_zone<Library::clear_write_flag, number>,
                     .clear_read_flag = clear_in_zone<Library::clear_read_flag, number>};
  return zone;
}

struct Library102 {
  static constexpr auto read = srd_102;
  static constexpr auto write = swr_102;
  static constexpr auto write_security = swrSC_102;
  static constexpr auto erase = ser_102;
  static constexpr auto clear_write_flag = clrpr_102;
  static constexpr auto clear_read_flag = clrrd_102;
};

constexpr Area areas_102_0[] = {{0, identification}, {10, code}, {12, attempts}, {13, issuer}};
constexpr Area areas_102_1[] = {{0, flags}, {1, data}, {64, erase_code, 1}};
constexpr Area areas_102_2[] = {
    {0, flags}, {1, data}, {64, erase_code, 2}, {68, erasures, 2}, {84, issuer}};

constexpr Memory zones_102[] = {
    application_zone_of<Library102, 1>(70, 70, areas_102_1,
                                       code_of_library<6, cesc_102, wesc_102, 1>(std::nullopt)),
    application_zone_of<Library102, 2>(
        86, 86, areas_102_2, code_of_library<4, cesc_102, wesc_102, 2>(counter<resct_102, 2>(128))),
};

constexpr Code codes_102[] = {
    code_of_library<2, csc_102, wsc_102>(counter<rsct_102>(4)),
};

constexpr Card card_102 = {
    .name = "102",
    .memory = zone_of<Library102, 0>(22, 22, areas_102_0),
    .further_zones = zones_102,
    .probe = chk_102,
    .twin = "101",
    .codes = codes_102,
    .personalise = psnl_102,
    .personalised = closed_zones,
    .imitate_fuse = fakefus_102,
};

struct Library1604 {
  static constexpr auto read = srd_1604;
  static constexpr auto write = swr_1604;
  static constexpr auto write_security = swrSC_1604;
  static constexpr auto erase = ser_1604;
  static constexpr auto clear_write_flag = clrpr_1604;
  static constexpr auto clear_read_flag = clrrd_1604;
  static constexpr auto present_code = csc_1604;
  static constexpr auto change_code = wsc_1604;
  static constexpr auto attempts_left = rsct_1604;
  static constexpr auto present_erase_code = cesc_1604;
  static constexpr auto change_erase_code = wesc_1604;
  static constexpr auto erasures_left = resct_1604;
};

struct Library1604b {
  static constexpr auto read = srd_1604b;
  static constexpr auto write = swr_1604b;
  static constexpr auto write_security = swrSC_1604b;
  static constexpr auto erase = ser_1604b;
  static constexpr auto clear_write_flag = clrpr_1604b;
  static constexpr auto clear_read_flag = clrrd_1604b;
  static constexpr auto present_code = csc_1604b;
  static constexpr auto change_code = wsc_1604b;
  static constexpr auto attempts_left = rsct_1604b;
  static constexpr auto present_erase_code = cesc_1604b;
  static constexpr auto change_erase_code = wesc_1604b;
  static constexpr auto erasures_left = resct_1604b;
};

// Code 0 guards the card, the others the zone of their number.
template <typename Library, int number>
constexpr Code numbered_code(std::optional<Counter> attempts) {
  Code code = code_of_library<2, Library::present_code, Library::change_code, number>(attempts);
  if (number > 0) code.guards = "the zone";
  return code;
}

template <typename Library, int number>
constexpr Code uncounted_code = numbered_code<Library, number>(std::nullopt);

template <typename Library, int number>
constexpr Code counted_code =
    numbered_code<Library, number>(counter<Library::attempts_left, number>(8));

template <typename Library, int number>
constexpr Memory guarded_zone(int size, int writable, std::span<const Area> areas) {
  return application_zone_of<Library, number>(
      size, writable, areas,
      code_of_library<2, Library::present_erase_code, Library::change_erase_code, number>(
          counter<Library::erasures_left, number>(8)));
}

// The codes and counters of a zone lie in the zone before it.
constexpr Area areas_1604_0[] = {
    {0, identification}, {10, code},        {12, attempts},      {13, issuer},
    {21, code, 1},       {23, attempts, 1}, {24, erase_code, 1}, {26, erasures, 1},
};
constexpr Area areas_1604_1[] = {
    {0, flags}, {1, data}, {1195, code, 2}, {1197, erase_code, 2}, {1199, erasures, 2}};
constexpr Area areas_1604_2[] = {
    {0, flags}, {1, data}, {256, code, 3}, {258, erase_code, 3}, {260, erasures, 3}};
constexpr Area areas_1604_3[] = {
    {0, flags}, {1, data}, {256, code, 4}, {258, erase_code, 4}, {260, erasures, 4}};
constexpr Area areas_1604_4[] = {{0, flags}, {1, data}};

constexpr Memory zones_1604[] = {
    guarded_zone<Library1604, 1>(1200, 1195, areas_1604_1),
    guarded_zone<Library1604, 2>(261, 256, areas_1604_2),
    guarded_zone<Library1604, 3>(261, 256, areas_1604_3),
    guarded_zone<Library1604, 4>(258, 258, areas_1604_4),
};

constexpr Code codes_1604[] = {
    counted_code<Library1604, 0>,   counted_code<Library1604, 1>,   uncounted_code<Library1604, 2>,
    uncounted_code<Library1604, 3>, uncounted_code<Library1604, 4>,
};

constexpr Card card_1604 = {
    .name = "1604",
    .memory = zone_of<Library1604, 0>(27, 21, areas_1604_0),
    .further_zones = zones_1604,
    .probe = chk_1604,
    .codes = codes_1604,
    .personalise = psnl_1604,
    .personalised = closed_zones,
    .imitate_fuse = fakefus_1604,
};

constexpr Area areas_1604b_1[] = {{0, flags},           {1, data},
                                  {512, code, 2},       {514, attempts, 2},
                                  {515, erase_code, 2}, {517, erasures, 2}};
constexpr Area areas_1604b_2[] = {{0, flags},           {1, data},
                                  {512, code, 3},       {514, attempts, 3},
                                  {515, erase_code, 3}, {517, erasures, 3}};
constexpr Area areas_1604b_3[] = {{0, flags},           {1, data},
                                  {512, code, 4},       {514, attempts, 4},
                                  {515, erase_code, 4}, {517, erasures, 4}};
constexpr Area areas_1604b_4[] = {{0, flags}, {1, data}, {457, issuer}};

constexpr Memory zones_1604b[] = {
    guarded_zone<Library1604b, 1>(518, 512, areas_1604b_1),
    guarded_zone<Library1604b, 2>(518, 512, areas_1604b_2),
    guarded_zone<Library1604b, 3>(518, 512, areas_1604b_3),
    guarded_zone<Library1604b, 4>(461, 457, areas_1604b_4),
};

constexpr Code codes_1604b[] = {
    counted_code<Library1604b, 0>, counted_code<Library1604b, 1>, counted_code<Library1604b, 2>,
    counted_code<Library1604b, 3>, counted_code<Library1604b, 4>,
};

constexpr Card card_1604b = {
    .name = "1604b",
    .memory = zone_of<Library1604b, 0>(27, 21, areas_1604_0),
    .further_zones = zones_1604b,
    .probe = chk_1604b,
    .codes = codes_1604b,
    .personalise = psnl_1604b,
    .personalised = closed_zones,
    .imitate_fuse = fakefus_1604b,
};

constexpr Card cards[] = {card_4404, card_4406, card_101, card_102, card_1604, card_1604b};

}  // namespace

std::span<const Card> security_cards() { return cards; }

}  // namespace quorra::toolkit
