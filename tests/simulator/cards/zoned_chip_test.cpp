// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/zoned_chip.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <string_view>

#include "simulator/cards/kinds.hpp"
#include "tests/simulator/cards/security_master.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using test::SecurityMaster;
using ::testing::Each;
using ::testing::ElementsAreArray;

// A chip of that kind, and a master at its contacts. Each byte holds A5, so do the codes; there are
// attempts in the bits 7 and 5. The flags of the zones are set: E5.
struct Inserted {
  explicit Inserted(std::string_view kind, bool fuse_is_intact = true)
      : Inserted(card(kind, fuse_is_intact)) {}
  explicit Inserted(Image image) : chip(image.kind().make_chip(std::move(image))), master(*chip) {
    master.power_up();
  }

  static Image card(std::string_view kind, bool fuse_is_intact = true) {
    struct Flags {
      std::string_view kind;
      std::vector<std::size_t> addresses;
    };
    static const std::vector<Flags> all_flags{
        {"4404", {14}},
        {"101", {22}},
        {"102", {22, 92}},
        {"1604", {27, 1227, 1488, 1749}},
        {"1604b", {27, 545, 1063, 1581}},
    };
    Image image(find_kind(kind));
    const auto memory = image.field("memory");
    std::ranges::fill(memory, std::uint8_t{0xA5});
    for (const std::size_t address : std::ranges::find(all_flags, kind, &Flags::kind)->addresses)
      memory[address] = 0xE5;
    image.field("fuse").front() = fuse_is_intact ? 1 : 0;
    return image;
  }

  // Pays an attempt, if the code has any, and presents a code.
  bool present(std::size_t code, std::size_t attempts, const Bytes& presented) {
    if (attempts != 0) master.write(attempts, 0);
    return master.compare(code, presented);
  }
  void lose_power() {
    master.power_down();
    master.power_up();
  }
  std::uint8_t stored(std::size_t address) const {
    return std::as_const(*chip).image().field("memory")[address];
  }
  bool fuse_is_intact() const { return std::as_const(*chip).image().field("fuse").front() == 1; }

  std::unique_ptr<Chip> chip;
  SecurityMaster master;
};

const Bytes code = hex("A5 A5");
const Bytes wrong_code = hex("A5 A4");
const Bytes erase_code = hex("A5 A5 A5 A5");

class Chip4404 : public ::testing::Test {
 protected:
  bool present_code(const Bytes& presented = code) { return card.present(8, 10, presented); }
  bool present_erase_code(const Bytes& presented = erase_code) {
    return master.compare(40, presented);
  }

  Inserted card{"4404"};
  SecurityMaster& master = card.master;
};

TEST_F(Chip4404, shows_its_bits_one_after_the_other) {
  EXPECT_EQ(master.read(13, 2), hex("A5 E5"));
  master.address(14, 1);
  EXPECT_EQ(master.get(), 0b11001011);
}

TEST_F(Chip4404, goes_on_at_its_first_bit_behind_the_fuse) {
  EXPECT_EQ(master.read(51, 3), hex("A5 FF A5"));
  EXPECT_TRUE(present_code());
  EXPECT_TRUE(master.write(1, 0));
  EXPECT_EQ(master.read(52, 3), hex("FF A5 25"));
}

TEST_F(Chip4404, does_nothing_before_the_first_bit_was_addressed) {
  EXPECT_FALSE(master.program(false));
  EXPECT_FALSE(master.compare(hex("FF")));
  EXPECT_EQ(master.get(), 0xFF);
  // Spending an attempt is always allowed, but no bit of the attempts is addressed.
  for (int i = 0; i < 64; ++i)
    master.pulse();
  EXPECT_FALSE(master.program(false));
  master.address(10);
  card.lose_power();
  EXPECT_FALSE(master.program(false));
  EXPECT_EQ(master.get(), 0xFF);
  EXPECT_EQ(card.stored(10), 0xA5);
}

TEST_F(Chip4404, goes_by_the_levels_at_the_moment_when_clk_rises) {
  EXPECT_TRUE(present_code());
  // Bit 0 of byte 20 is 1, and is written.
  master.address(20);
  master.c4(true);
  master.io(false);
  master.clk(true);
  master.c4(false);
  master.io(true);
  master.rst(true);
  EXPECT_EQ(card.stored(20), 0xA5);
  master.clk(false);
  master.rst(false);
  EXPECT_EQ(card.stored(20), 0x25);
}

TEST_F(Chip4404, acknowledges_until_c4_falls_and_stays_at_its_bit) {
  EXPECT_TRUE(present_code());
  master.address(20);
  master.c4(true);
  master.pulse();
  EXPECT_FALSE(master.io_level());
  EXPECT_EQ(card.stored(20), 0xFF);
  master.c4(false);
  EXPECT_TRUE(master.io_level());
  EXPECT_TRUE(master.program(false));
  EXPECT_EQ(card.stored(20), 0x7F);
}

TEST_F(Chip4404, leaves_cells_alone_when_power_is_lost_during_the_pulse) {
  EXPECT_TRUE(present_code());
  master.address(20);
  master.c4(true);
  master.clk(true);
  master.power_down();
  EXPECT_EQ(card.stored(20), 0xA5);
}

TEST_F(Chip4404, compares_its_code_for_an_attempt_only) {
  EXPECT_FALSE(master.compare(8, code));
  EXPECT_FALSE(master.write(20, 0));
  EXPECT_TRUE(master.write(10, 0));
  EXPECT_TRUE(master.compare(8, code));
  EXPECT_TRUE(master.write(20, 0));
}

TEST_F(Chip4404, takes_no_attempt_from_bits_that_are_none_or_are_spent) {
  EXPECT_FALSE(master.write(10, 5));
  EXPECT_FALSE(master.compare(8, code));
  // Bit 6 of the counter is 0 already.
  EXPECT_TRUE(master.write(10, 1));
  EXPECT_FALSE(master.compare(8, code));
  EXPECT_EQ(card.stored(10), 0xA5);
}

TEST_F(Chip4404, compares_nothing_for_the_bits_beside_the_attempts) {
  EXPECT_TRUE(present_code());
  EXPECT_TRUE(master.write(10, 5));
  EXPECT_FALSE(master.compare(8, wrong_code));
  EXPECT_TRUE(master.write(20, 0));
}

TEST_F(Chip4404, compares_once_for_an_attempt) {
  EXPECT_TRUE(master.write(10, 0));
  EXPECT_FALSE(master.compare(8, wrong_code));
  EXPECT_FALSE(master.compare(8, code));
  EXPECT_TRUE(master.write(10, 2));
  EXPECT_TRUE(master.compare(8, code));
}

TEST_F(Chip4404, looks_at_every_bit_of_the_code) {
  for (std::size_t bit = 0; bit < 16; ++bit) {
    Inserted other("4404");
    Bytes presented = code;
    presented.at(bit / 8) ^= static_cast<std::uint8_t>(0x80U >> bit % 8);
    EXPECT_FALSE(other.present(8, 10, presented)) << bit;
    EXPECT_FALSE(other.master.write(20, 0)) << bit;
  }
}

TEST_F(Chip4404, wants_the_code_from_its_beginning_and_without_interruption) {
  EXPECT_TRUE(master.write(10, 0));
  EXPECT_FALSE(master.compare(9, hex("A5")));
  master.address(8);
  EXPECT_FALSE(master.compare(hex("A5")));
  EXPECT_FALSE(master.program(false));
  EXPECT_FALSE(master.compare(hex("A5")));
  // The attempt went with the beginning of the comparison.
  EXPECT_FALSE(master.compare(8, code));

  EXPECT_TRUE(master.write(10, 2));
  master.address(8);
  EXPECT_FALSE(master.compare(hex("A5")));
  // All around to the same bit.
  for (int i = 0; i < 53 * 8; ++i)
    master.address_next();
  EXPECT_FALSE(master.compare(hex("A5")));
}

TEST_F(Chip4404, is_closed_by_a_wrong_code_and_by_the_loss_of_power) {
  EXPECT_TRUE(present_code());
  EXPECT_FALSE(master.compare(8, wrong_code));
  EXPECT_TRUE(master.write(20, 0));
  EXPECT_TRUE(master.write(10, 2));
  EXPECT_FALSE(master.compare(8, wrong_code));
  EXPECT_FALSE(master.write(20, 2));

  Inserted other("4404");
  EXPECT_TRUE(other.present(8, 10, code));
  other.lose_power();
  EXPECT_FALSE(other.master.write(20, 0));
}

TEST_F(Chip4404, forgets_a_paid_attempt_without_power) {
  EXPECT_TRUE(master.write(10, 0));
  card.lose_power();
  EXPECT_FALSE(master.compare(8, code));
}

TEST_F(Chip4404, never_opens_again_without_attempts) {
  EXPECT_FALSE(present_code(wrong_code));
  EXPECT_TRUE(master.write(10, 0));
  for (std::size_t bit = 0; bit < 4; ++bit)
    EXPECT_TRUE(master.write(10, bit));
  EXPECT_EQ(card.stored(10), 0x05);
  card.lose_power();
  EXPECT_FALSE(present_code());
  EXPECT_FALSE(master.erase(10));
}

TEST_F(Chip4404, gives_attempts_back_to_an_open_card) {
  EXPECT_FALSE(master.erase(10));
  EXPECT_TRUE(present_code());
  EXPECT_TRUE(master.erase(10));
  EXPECT_EQ(card.stored(10), 0xFF);
}

TEST_F(Chip4404, blows_its_fuse_for_the_master_code_only) {
  EXPECT_FALSE(master.write(52, 0));
  EXPECT_TRUE(present_code());
  EXPECT_FALSE(master.write(52, 1));
  EXPECT_FALSE(master.erase(52));
  EXPECT_TRUE(card.fuse_is_intact());
  EXPECT_EQ(master.read(8), 0xA5);
  EXPECT_TRUE(master.write(52, 0));
  EXPECT_FALSE(card.fuse_is_intact());
  EXPECT_EQ(master.read(52), 0x7F);
  EXPECT_EQ(master.read(8), 0xFF);
  EXPECT_FALSE(master.erase(52));
}

TEST_F(Chip4404, takes_a_low_c8_for_a_blown_fuse_as_long_as_it_is_low) {
  EXPECT_TRUE(present_code());
  master.address(8, 1);
  EXPECT_FALSE(master.io_level());
  master.c8(false);
  EXPECT_TRUE(master.io_level());
  EXPECT_EQ(master.read(8), 0xFF);
  master.c8(true);
  EXPECT_EQ(master.read(8), 0xA5);
}

TEST_F(Chip4404, lets_the_issuer_erase_single_bytes_of_a_zone) {
  EXPECT_TRUE(present_code());
  EXPECT_TRUE(master.erase(14));
  EXPECT_TRUE(master.erase(20));
  EXPECT_EQ(card.stored(14), 0xFF);
  EXPECT_EQ(card.stored(15), 0xA5);
  EXPECT_EQ(card.stored(20), 0xFF);
  EXPECT_EQ(card.stored(21), 0xA5);
  EXPECT_EQ(card.stored(44), 0xA5);
}

// The rights of the areas: r a reader sees the byte, w a bit can be written, e it can be erased.
struct Rights {
  std::string_view kind;
  std::size_t first;
  std::size_t last;
  // Nothing was presented.
  std::string_view closed;
  // The master code was presented, and the fuse is intact.
  std::string_view issuer;
  // The fuse is blown, or C8 is low: nothing, all security codes, all codes were presented.
  std::string_view personalised;
  std::string_view open;
  std::string_view erasable;
};

std::ostream& operator<<(std::ostream& stream, const Rights& rights) {
  return stream << rights.kind << " byte " << rights.first;
}

constexpr Rights identification(std::string_view kind, std::size_t first, std::size_t last) {
  return {kind, first, last, "r", "rwe", "r", "r", "r"};
}
constexpr Rights security_code(std::string_view kind, std::size_t first, std::size_t last) {
  return {kind, first, last, "", "rwe", "", "we", "we"};
}
constexpr Rights attempts(std::string_view kind, std::size_t address) {
  return {kind, address, address, "rw", "rwe", "rw", "rwe", "rwe"};
}
constexpr Rights guarded(std::string_view kind, std::size_t first, std::size_t last) {
  return {kind, first, last, "r", "rwe", "r", "rwe", "rwe"};
}
constexpr Rights zone(std::string_view kind, std::size_t first, std::size_t last) {
  return {kind, first, last, "r", "rwe", "r", "rw", "rwe"};
}
constexpr Rights erase_code_of(std::string_view kind, std::size_t first, std::size_t last) {
  return {kind, first, last, "", "rwe", "", "", "we"};
}
constexpr Rights erase_counter(std::string_view kind, std::size_t first, std::size_t last) {
  return {kind, first, last, "r", "rwe", "r", "r", "r"};
}

constexpr std::array all_rights{
    identification("4404", 0, 7),
    security_code("4404", 8, 9),
    attempts("4404", 10),
    guarded("4404", 11, 13),
    zone("4404", 14, 39),
    erase_code_of("4404", 40, 43),
    erase_counter("4404", 44, 51),

    identification("101", 0, 9),
    security_code("101", 10, 11),
    attempts("101", 12),
    guarded("101", 13, 21),
    zone("101", 22, 149),
    erase_code_of("101", 150, 153),
    erase_counter("101", 154, 169),
    guarded("101", 170, 171),

    identification("102", 0, 9),
    security_code("102", 10, 11),
    attempts("102", 12),
    guarded("102", 13, 21),
    zone("102", 22, 85),
    erase_code_of("102", 86, 91),
    zone("102", 92, 155),
    erase_code_of("102", 156, 159),
    erase_counter("102", 160, 175),
    guarded("102", 176, 177),

    identification("1604", 0, 9),
    security_code("1604", 10, 11),
    attempts("1604", 12),
    guarded("1604", 13, 20),
    security_code("1604", 21, 22),
    attempts("1604", 23),
    erase_code_of("1604", 24, 25),
    erase_counter("1604", 26, 26),
    zone("1604", 27, 1221),
    security_code("1604", 1222, 1223),
    erase_code_of("1604", 1224, 1225),
    erase_counter("1604", 1226, 1226),
    zone("1604", 1227, 1482),
    security_code("1604", 1483, 1484),
    erase_code_of("1604", 1485, 1486),
    erase_counter("1604", 1487, 1487),
    zone("1604", 1488, 1743),
    security_code("1604", 1744, 1745),
    erase_code_of("1604", 1746, 1747),
    erase_counter("1604", 1748, 1748),
    zone("1604", 1749, 2006),

    identification("1604b", 0, 9),
    security_code("1604b", 10, 11),
    attempts("1604b", 12),
    guarded("1604b", 13, 20),
    security_code("1604b", 21, 22),
    attempts("1604b", 23),
    erase_code_of("1604b", 24, 25),
    erase_counter("1604b", 26, 26),
    zone("1604b", 27, 538),
    security_code("1604b", 539, 540),
    attempts("1604b", 541),
    erase_code_of("1604b", 542, 543),
    erase_counter("1604b", 544, 544),
    zone("1604b", 545, 1056),
    security_code("1604b", 1057, 1058),
    attempts("1604b", 1059),
    erase_code_of("1604b", 1060, 1061),
    erase_counter("1604b", 1062, 1062),
    zone("1604b", 1063, 1574),
    security_code("1604b", 1575, 1576),
    attempts("1604b", 1577),
    erase_code_of("1604b", 1578, 1579),
    erase_counter("1604b", 1580, 1580),
    zone("1604b", 1581, 2037),
    guarded("1604b", 2038, 2041),
};

struct CodePlace {
  std::string_view kind;
  std::size_t address;
  // 0 for none.
  std::size_t attempts;
};

// The master code comes first.
constexpr std::array code_places{
    CodePlace{"4404", 8, 10},       CodePlace{"101", 10, 12},     CodePlace{"102", 10, 12},
    CodePlace{"1604", 10, 12},      CodePlace{"1604", 21, 23},    CodePlace{"1604", 1222, 0},
    CodePlace{"1604", 1483, 0},     CodePlace{"1604", 1744, 0},   CodePlace{"1604b", 10, 12},
    CodePlace{"1604b", 21, 23},     CodePlace{"1604b", 539, 541}, CodePlace{"1604b", 1057, 1059},
    CodePlace{"1604b", 1575, 1577},
};

struct ErasePlace {
  std::string_view kind;
  std::size_t address;
  std::size_t size;
};

constexpr std::array erase_places{
    ErasePlace{"4404", 40, 4},   ErasePlace{"101", 150, 4},    ErasePlace{"102", 86, 6},
    ErasePlace{"102", 156, 4},   ErasePlace{"1604", 24, 2},    ErasePlace{"1604", 1224, 2},
    ErasePlace{"1604", 1485, 2}, ErasePlace{"1604", 1746, 2},  ErasePlace{"1604b", 24, 2},
    ErasePlace{"1604b", 542, 2}, ErasePlace{"1604b", 1060, 2}, ErasePlace{"1604b", 1578, 2},
};

void present_master(Inserted& card, std::string_view kind) {
  const auto* const place = std::ranges::find(code_places, kind, &CodePlace::kind);
  EXPECT_TRUE(card.present(place->address, place->attempts, code));
}

void present_codes(Inserted& card, std::string_view kind) {
  for (const CodePlace& place : code_places)
    if (place.kind == kind) {
      EXPECT_TRUE(card.present(place.address, place.attempts, code));
    }
}

void present_erase_codes(Inserted& card, std::string_view kind) {
  for (const ErasePlace& place : erase_places)
    if (place.kind == kind) {
      EXPECT_TRUE(card.master.compare(place.address, Bytes(place.size, 0xA5)));
    }
}

// A way to bring a card into a state, and the rights that follow.
struct State {
  const char* name;
  bool fuse_is_intact;
  bool c8;
  void (*present)(Inserted& card, std::string_view kind);
  std::string_view Rights::*expected;
};

void present_nothing(Inserted& /*card*/, std::string_view /*kind*/) {}
void present_all(Inserted& card, std::string_view kind) {
  present_codes(card, kind);
  present_erase_codes(card, kind);
}

constexpr std::array states{
    State{"closed", true, true, present_nothing, &Rights::closed},
    State{"issuer", true, true, present_master, &Rights::issuer},
    State{"personalised", false, true, present_nothing, &Rights::personalised},
    State{"open", false, true, present_codes, &Rights::open},
    State{"erasable", false, true, present_all, &Rights::erasable},
    State{"imitated", true, false, present_nothing, &Rights::personalised},
    State{"imitated and open", true, false, present_codes, &Rights::open},
    State{"imitated and erasable", true, false, present_all, &Rights::erasable},
};

class RightsOf : public ::testing::TestWithParam<Rights> {};

INSTANTIATE_TEST_SUITE_P(All, RightsOf, ::testing::ValuesIn(all_rights), [](const auto& tested) {
  return std::string(tested.param.kind) + "_byte_" + std::to_string(tested.param.first);
});

TEST_P(RightsOf, follow_from_the_fuse_and_the_codes) {
  const Rights& rights = GetParam();
  for (const State& state : states) {
    Inserted card(rights.kind, state.fuse_is_intact);
    card.master.c8(state.c8);
    state.present(card, rights.kind);
    const std::string_view expected = rights.*state.expected;
    const bool is_seen = expected.find('r') != std::string_view::npos;
    const bool is_written = expected.find('w') != std::string_view::npos;
    const bool is_erased = expected.find('e') != std::string_view::npos;

    std::set<std::size_t> ends{rights.first, rights.last};
    for (const std::size_t address : ends) {
      const std::uint8_t before = card.stored(address);
      ASSERT_NE(before, 0xFF);
      EXPECT_EQ(card.master.read(address), is_seen ? before : 0xFF) << state.name;
      EXPECT_EQ(card.master.write(address, 2), is_written) << state.name;
      EXPECT_EQ(card.stored(address), is_written ? before & 0xDF : before) << state.name;
    }
    for (const std::size_t address : ends) {
      EXPECT_EQ(card.master.erase(address), is_erased) << state.name;
      EXPECT_EQ(card.stored(address) == 0xFF, is_erased) << state.name;
    }
  }
}

TEST(ZonedChips, have_nothing_between_their_memory_and_their_fuse) {
  struct Gap {
    std::string_view kind;
    std::size_t first;
    std::size_t fuse;
  };
  constexpr std::array gaps{Gap{"101", 172, 194}, Gap{"102", 178, 194}, Gap{"1604", 2007, 2036},
                            Gap{"1604b", 2042, 2044}};
  for (const auto& [kind, first, fuse] : gaps) {
    Inserted card(kind);
    present_codes(card, kind);
    for (const std::size_t address : {first, fuse - 1}) {
      EXPECT_FALSE(card.master.write(address, 0)) << kind;
      EXPECT_FALSE(card.master.erase(address)) << kind;
    }
    EXPECT_THAT(card.master.read(first, fuse - first + 1), Each(0xFF)) << kind;
    EXPECT_TRUE(card.master.write(fuse, 0)) << kind;
    EXPECT_FALSE(card.fuse_is_intact()) << kind;
    EXPECT_EQ(card.master.read(fuse, 2), hex("7F A5")) << kind;
  }
}

TEST(ZonedChips, come_new_with_their_identification_and_ones) {
  struct New {
    std::string_view kind;
    std::string_view identification;
    std::size_t size;
  };
  constexpr std::array news{New{"4404", "81 24", 52}, New{"101", "0F 0F", 172},
                            New{"102", "0F 0F", 178}, New{"1604", "31 3A", 2007},
                            New{"1604b", "72 55", 2042}};
  for (const auto& [kind, begin, size] : news) {
    const Image image(find_kind(kind));
    const auto memory = image.field("memory");
    ASSERT_EQ(memory.size(), size) << kind;
    EXPECT_THAT(memory.first(2), ElementsAreArray(hex(begin))) << kind;
    EXPECT_THAT(memory.subspan(2), Each(0xFF)) << kind;
    EXPECT_THAT(image.field("fuse"), ElementsAreArray(hex("01"))) << kind;
  }
}

// A personalised 102 whose codes were presented; both zones hold the flags, then A5.
class Open102 : public ::testing::Test {
 protected:
  explicit Open102(std::uint8_t flags = 0xE5) : card(image_with(flags)) {
    EXPECT_TRUE(card.present(10, 12, code));
  }

  static Image image_with(std::uint8_t flags) {
    Image image = Inserted::card("102", false);
    image.field("memory")[22] = image.field("memory")[92] = flags;
    // Two bits are left in the erase counter.
    std::ranges::fill(image.field("memory").subspan(160, 16), std::uint8_t{0});
    image.field("memory")[163] = 0x24;
    return image;
  }
  bool present_erase_codes_of_both_zones() {
    return master.compare(86, Bytes(6, 0xA5)) && master.compare(156, Bytes(4, 0xA5));
  }
  void fill(std::size_t address) { EXPECT_TRUE(master.write(address, 0)); }

  Inserted card;
  SecurityMaster& master = card.master;
};

TEST_F(Open102, erases_a_zone_as_a_whole) {
  EXPECT_TRUE(present_erase_codes_of_both_zones());
  EXPECT_TRUE(master.erase(100));
  EXPECT_THAT(master.read(92, 64), Each(0xFF));
  EXPECT_EQ(card.stored(91), 0xA5);
  EXPECT_EQ(card.stored(156), 0xA5);
  EXPECT_EQ(card.stored(85), 0xA5);
}

TEST_F(Open102, erases_the_zone_whose_erase_code_was_presented) {
  EXPECT_TRUE(master.compare(86, Bytes(6, 0xA5)));
  EXPECT_FALSE(master.erase(92));
  EXPECT_TRUE(master.erase(22));
  EXPECT_FALSE(master.compare(156, hex("A5 A5 A5 25")));
  EXPECT_FALSE(master.erase(92));
}

TEST_F(Open102, spends_a_bit_of_the_counter_for_each_time_the_second_zone_is_erased) {
  EXPECT_TRUE(present_erase_codes_of_both_zones());
  EXPECT_TRUE(master.erase(92));
  EXPECT_EQ(card.stored(163), 0x20);
  // There is nothing to erase any more.
  EXPECT_TRUE(master.erase(155));
  EXPECT_EQ(card.stored(163), 0x20);
  fill(155);
  EXPECT_TRUE(master.erase(92));
  EXPECT_EQ(card.stored(163), 0x00);
  fill(93);
  EXPECT_FALSE(master.erase(92));
  EXPECT_EQ(card.stored(93), 0x7F);
}

TEST_F(Open102, erases_the_first_zone_any_number_of_times) {
  EXPECT_TRUE(present_erase_codes_of_both_zones());
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(master.erase(22));
    fill(30);
  }
  EXPECT_EQ(card.stored(163), 0x24);
}

TEST_F(Open102, needs_the_zone_to_be_open_for_erasing) {
  EXPECT_TRUE(present_erase_codes_of_both_zones());
  EXPECT_TRUE(master.write(12, 2));
  EXPECT_FALSE(master.compare(10, wrong_code));
  EXPECT_FALSE(master.erase(22));
  EXPECT_FALSE(master.erase(86));
}

class ReadOnly102 : public Open102 {
 protected:
  ReadOnly102() : Open102(0x65) {}
};

TEST_F(ReadOnly102, refuses_to_write_and_keeps_its_flags_when_it_is_erased) {
  EXPECT_FALSE(master.write(22, 1));
  EXPECT_FALSE(master.write(85, 0));
  EXPECT_TRUE(master.compare(86, Bytes(6, 0xA5)));
  EXPECT_TRUE(master.erase(85));
  EXPECT_EQ(card.stored(22), 0x7F);
  EXPECT_EQ(card.stored(85), 0xFF);
  EXPECT_FALSE(master.write(85, 0));
}

class Hidden102 : public Open102 {
 protected:
  Hidden102() : Open102(0xA5) {}
};

TEST_F(Hidden102, shows_only_its_flags_without_the_code) {
  EXPECT_EQ(master.read(92, 2), hex("A5 A5"));
  card.lose_power();
  EXPECT_EQ(master.read(92, 2), hex("BF FF"));
  EXPECT_EQ(master.read(155, 2), hex("FF FF"));
}

TEST(ZonedChips, let_the_issuer_disregard_the_flags) {
  Image image = Inserted::card("102");
  image.field("memory")[22] = 0x25;
  Inserted card(image);
  EXPECT_EQ(card.master.read(22, 2), hex("3F FF"));
  EXPECT_TRUE(card.present(10, 12, code));
  EXPECT_EQ(card.master.read(22, 2), hex("25 A5"));
  EXPECT_TRUE(card.master.write(30, 0));
  EXPECT_TRUE(card.master.erase(22));
  EXPECT_EQ(card.stored(22), 0xFF);
}

TEST(ZonedChips, let_a_zero_that_can_be_seen_be_written_again) {
  constexpr int write_flag = 0;
  constexpr int read_flag = 1;
  Image image = Inserted::card("4404", false);
  image.field("memory")[14] = 0xFE;
  Inserted card(image);
  EXPECT_TRUE(card.master.write(14, 7));
  EXPECT_FALSE(card.master.write(14, 6));
  EXPECT_TRUE(card.present(8, 10, code));
  EXPECT_TRUE(card.master.write(14, read_flag));
  EXPECT_TRUE(card.master.write(14, write_flag));
  EXPECT_TRUE(card.master.write(14, read_flag));
  EXPECT_FALSE(card.master.write(14, 6)) << "the write flag is cleared";
  EXPECT_EQ(card.stored(14), 0x3E);
}

TEST(ZonedChips, keep_an_erased_zone_whose_flags_are_cleared) {
  Image image = Inserted::card("4404", false);
  std::ranges::fill(image.field("memory").subspan(14, 26), std::uint8_t{0xFF});
  image.field("memory")[14] = 0x3F;
  Inserted card(image);
  EXPECT_TRUE(card.present(8, 10, code));
  EXPECT_TRUE(card.master.compare(40, erase_code));
  EXPECT_TRUE(card.master.erase(14));
  EXPECT_EQ(card.stored(44), 0xA5);
  EXPECT_EQ(card.stored(14), 0x3F);
}

TEST(ZonedChips, of_1604_open_each_zone_with_its_own_code_only) {
  constexpr std::array<std::size_t, 5> inside{13, 27, 1227, 1488, 1749};
  for (std::size_t presented = 0; presented < 5; ++presented) {
    Inserted card("1604", false);
    const CodePlace& place = code_places.at(3 + presented);
    EXPECT_TRUE(card.present(place.address, place.attempts, code));
    for (std::size_t number = 0; number < 5; ++number) {
      EXPECT_EQ(card.master.write(inside.at(number), 0), number == presented);
      EXPECT_EQ(card.master.erase(code_places.at(3 + number).address), number == presented);
    }
    EXPECT_EQ(card.master.write(2036, 0), presented == 0);
  }
}

TEST(ZonedChips, of_1604_compare_codes_without_attempts_any_number_of_times) {
  Inserted card("1604");
  for (int i = 0; i < 20; ++i)
    EXPECT_FALSE(card.master.compare(1483, wrong_code));
  EXPECT_TRUE(card.master.compare(1483, code));
  EXPECT_TRUE(card.master.write(1500, 0));
  EXPECT_FALSE(card.master.compare(1483, wrong_code));
  EXPECT_FALSE(card.master.write(1500, 2));
}

TEST(ZonedChips, of_1604_pay_with_the_attempts_of_the_code_that_is_presented) {
  Inserted card("1604");
  EXPECT_TRUE(card.master.write(12, 0));
  EXPECT_FALSE(card.master.compare(21, code));
  EXPECT_TRUE(card.master.write(23, 0));
  EXPECT_TRUE(card.master.compare(21, code));
}

}  // namespace
}  // namespace quorra::simulator
