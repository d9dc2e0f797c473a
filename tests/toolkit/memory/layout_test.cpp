// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/layout.hpp"

#include <gtest/gtest.h>

#include <string>

#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::testing {
namespace {

using toolkit::Card;
using toolkit::Piece;
using toolkit::Region;

const Card& card(std::string_view name) { return *toolkit::find_card(name); }

std::string in_words(const Region& region) {
  return region.name + " " + std::to_string(region.range.address) + "+" +
         std::to_string(region.range.count);
}

// "data 0+128, ..."
std::string regions(std::string_view name, bool is_personalised = false) {
  std::string words;
  for (const Region& region : toolkit::regions_of(card(name), is_personalised)) {
    words += (words.empty() ? "" : ", ") + in_words(region);
  }
  return words;
}

std::string found(std::string_view kind, std::string_view name) {
  try {
    return in_words(toolkit::find_region(card(kind), name));
  } catch (const toolkit::UsageError& error) {
    return error.what();
  }
}

TEST(Layout, CountsTheBytesOfAllZones) {
  EXPECT_EQ(toolkit::size_of(card("4442")), 256);
  EXPECT_EQ(toolkit::size_of(card("45d041")), 540672);
  EXPECT_EQ(toolkit::size_of(card("102")), 178);
  EXPECT_EQ(toolkit::size_of(card("1604")), 2007);
  EXPECT_EQ(toolkit::size_of(card("1604b")), 2042);
  const Card& zoned = card("1604");
  EXPECT_EQ(toolkit::first_address_of(zoned, zoned.memory), 0);
  EXPECT_EQ(toolkit::first_address_of(zoned, zoned.further_zones[0]), 27);
  EXPECT_EQ(toolkit::first_address_of(zoned, zoned.further_zones[3]), 27 + 1200 + 261 + 261);
}

// Each zone of a 1604 ends with bytes that only another command writes.
TEST(Layout, TakesARangeApart) {
  const Card& zoned = card("1604");
  const auto pieces = toolkit::pieces_of(zoned, {20, 1210});
  const struct {
    int zone;
    int address;
    int count;
    int done;
    bool is_plain;
  } expected[] = {{0, 20, 1, 0, true},
                  {0, 21, 6, 1, false},
                  {1, 0, 1195, 7, true},
                  {1, 1195, 5, 1202, false},
                  {2, 0, 3, 1207, true}};
  ASSERT_EQ(pieces.size(), std::size(expected));
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const Piece& piece = pieces[i];
    EXPECT_EQ(piece.zone->zone, expected[i].zone) << i;
    EXPECT_EQ(piece.range.address, expected[i].address) << i;
    EXPECT_EQ(piece.range.count, expected[i].count) << i;
    EXPECT_EQ(piece.done, expected[i].done) << i;
    EXPECT_EQ(piece.write, expected[i].is_plain ? piece.zone->write : piece.zone->write_security)
        << i;
  }
}

TEST(Layout, KnowsWhatNothingWrites) {
  const auto pieces = toolkit::pieces_of(card("4428"), {1020, 4});
  ASSERT_EQ(pieces.size(), 2U);
  EXPECT_EQ(pieces[0].range.count, 1);
  EXPECT_NE(pieces[0].write, nullptr);
  EXPECT_EQ(pieces[1].range.address, 1021);
  EXPECT_EQ(pieces[1].range.count, 3);
  EXPECT_EQ(pieces[1].write, nullptr);
  EXPECT_TRUE(toolkit::pieces_of(card("4428"), {1024, 1}).empty());
}

TEST(Regions, OfMemoryCards) {
  EXPECT_EQ(regions("4442"), "protectable 0+32, data 32+224");
  EXPECT_EQ(regions("4432"), "protectable 0+32, data 32+224");
  EXPECT_EQ(regions("4428"), "data 0+1021, attempts 1021+1, code 1022+2");
  EXPECT_EQ(regions("4418"), "data 0+1024");
  EXPECT_EQ(regions("24c64"), "data 0+8192");
  EXPECT_EQ(regions("93c46a"), "data 0+128");
  EXPECT_EQ(regions("45d041"), "data 0+540672");
}

TEST(Regions, OfSecurityCards) {
  EXPECT_EQ(regions("4404"),
            "identification 0+8, code 8+2, attempts 10+1, issuer 11+3, flags 14+1, data 15+25, "
            "erase_code 40+4, erasures 44+8");
  EXPECT_EQ(regions("101"),
            "identification 0+10, code 10+2, attempts 12+1, issuer 13+9, flags 22+1, data 23+127, "
            "erase_code 150+4, erasures 154+16, issuer2 170+2");
  EXPECT_EQ(regions("102"),
            "zone0.identification 0+10, zone0.code 10+2, zone0.attempts 12+1, zone0.issuer 13+9, "
            "zone1.flags 22+1, zone1.data 23+63, zone1.erase_code 86+6, "
            "zone2.flags 92+1, zone2.data 93+63, zone2.erase_code 156+4, zone2.erasures 160+16, "
            "zone2.issuer 176+2");
  EXPECT_EQ(regions("4406"),
            "identification 0+3, issuer 3+5, personalisation 8+1, attempts 9+1, code 10+3");
  EXPECT_EQ(regions("4406", true),
            "identification 0+3, data 3+5, stage1 8+1, stage2 9+1, stage3 10+1, stage4 11+1, "
            "stage5 12+1");
}

// The codes and counters of a zone of a 1604 lie in the zone before it.
TEST(Regions, AreNamedByWhatTheyGuard) {
  EXPECT_EQ(regions("1604").substr(0, 194),
            "zone0.identification 0+10, zone0.code 10+2, zone0.attempts 12+1, zone0.issuer 13+8, "
            "zone1.code 21+2, zone1.attempts 23+1, zone1.erase_code 24+2, zone1.erasures 26+1, "
            "zone1.flags 27+1, zone1.data");
  EXPECT_EQ(found("1604", "zone2.code"), "zone2.code 1222+2");
  EXPECT_EQ(found("1604b", "zone4.erasures"), "zone4.erasures 1580+1");
  EXPECT_EQ(found("1604b", "issuer").substr(0, 35), "a 1604b card has no region 'issuer'") << "two";
}

TEST(Regions, CoverEachByteOfEachCard) {
  for (const Card& kind : toolkit::all_cards()) {
    int end = 0;
    for (const Region& region : toolkit::regions_of(kind)) {
      EXPECT_EQ(region.range.address, end) << kind.name << " " << region.name;
      EXPECT_EQ(in_words(toolkit::find_region(kind, region.name)), in_words(region));
      end = region.range.end();
    }
    EXPECT_EQ(end, toolkit::size_of(kind)) << kind.name;
  }
}

// What no command writes is a code or a counter.
TEST(Regions, AreWritableUnlessTheyGuardSomething) {
  for (const Card& kind : toolkit::all_cards()) {
    for (const Region& region : toolkit::regions_of(kind)) {
      if (toolkit::is_guard(*region.role)) continue;
      for (const Piece& piece : toolkit::pieces_of(kind, region.range)) {
        EXPECT_NE(piece.write, nullptr) << kind.name << " " << region.name;
      }
    }
  }
}

TEST(Regions, AreFoundByName) {
  EXPECT_EQ(found("1604", "zone2.data"), "zone2.data 1228+255");
  EXPECT_EQ(found("1604", "ZONE2.Data"), "zone2.data 1228+255");
  EXPECT_EQ(found("102", "zone 1.erase code"), "zone1.erase_code 86+6");
  EXPECT_EQ(found("102", "Zone1.Erase-Code"), "zone1.erase_code 86+6");
  EXPECT_EQ(found("102", "zone2"), "zone2 92+86");
  EXPECT_EQ(found("102", "all"), "all 0+178");
  EXPECT_EQ(found("24c02", "all"), "all 0+256");
  EXPECT_EQ(found("4428", "code"), "code 1022+2");
  EXPECT_EQ(found("4406", "code"), "code 10+3");
  EXPECT_EQ(found("4406", "stage 3"), "stage3 10+1");
  EXPECT_EQ(found("4406", "data"), "data 3+5");
}

TEST(Regions, AreFoundWithoutTheirZone) {
  EXPECT_EQ(found("1604", "code"), "zone0.code 10+2");
  EXPECT_EQ(found("1604", "code 3"), "zone3.code 1483+2");
  EXPECT_EQ(found("1604", "erasures4"), "zone4.erasures 1748+1");
  EXPECT_EQ(found("102", "erasures"), "zone2.erasures 160+16");
  EXPECT_EQ(found("102", "identification"), "zone0.identification 0+10");
  EXPECT_EQ(found("1604", "issuer"), "zone0.issuer 13+8");
}

TEST(Regions, AreNotGuessed) {
  EXPECT_EQ(
      found("4428", "cod"),
      "a 4428 card has no region 'cod' (did you mean code?); it has all, data, attempts, code");
  EXPECT_EQ(found("4428", "zone1"),
            "a 4428 card has no region 'zone1'; it has all, data, attempts, code");
  EXPECT_EQ(found("102", "data").substr(0, 34), "a 102 card has no region 'data'; i");
  EXPECT_EQ(found("102", "erase_code").substr(0, 36), "a 102 card has no region 'erase_code");
  EXPECT_EQ(found("102", "zone3.data").substr(0, 64),
            "a 102 card has no region 'zone3.data' (did you mean zone1.data?)");
  EXPECT_EQ(found("24c02", "").substr(0, 29), "a 24c02 card has no region ''");
  EXPECT_EQ(found("102", "code2").substr(0, 32), "a 102 card has no region 'code2'");
}

TEST(Regions, AreFoundByAddress) {
  const auto all = toolkit::regions_of(card("4428"));
  EXPECT_EQ(toolkit::region_at(all, 1020).name, "data");
  EXPECT_EQ(toolkit::region_at(all, 1021).name, "attempts");
  EXPECT_EQ(toolkit::region_at(all, 1023).name, "code");
}

TEST(NearestName, IsOneThatWasMeant) {
  const std::vector<std::string> names{"read", "write", "verify", "24c16", "24c64"};
  EXPECT_EQ(toolkit::nearest("raed", names), "read");
  EXPECT_EQ(toolkit::nearest("xxad", names), "");
  EXPECT_EQ(toolkit::nearest(std::string(65, 'x'), {std::string(65, 'x')}), "");
  EXPECT_EQ(toolkit::nearest(std::string(64, 'x'), {std::string(65, 'x')}), std::string(65, 'x'));
  EXPECT_EQ(toolkit::nearest("rea", names), "read");
  EXPECT_EQ(toolkit::nearest("READ", names), "read");
  EXPECT_EQ(toolkit::nearest("wriite", names), "write");
  EXPECT_EQ(toolkit::nearest("vrefiy", names), "verify");
  EXPECT_EQ(toolkit::nearest("vrxxxy", names), "");
  EXPECT_EQ(toolkit::nearest("verfy", names), "verify");
  EXPECT_EQ(toolkit::nearest("veriyf", names), "verify");
  EXPECT_EQ(toolkit::nearest("24c65", names), "24c64");
  EXPECT_EQ(toolkit::nearest("", names), "");
  EXPECT_EQ(toolkit::nearest("read", {}), "");
}

}  // namespace
}  // namespace quorra::testing
