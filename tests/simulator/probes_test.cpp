// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <ostream>
#include <vector>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/kinds.hpp"
#include "tests/simulator/support.hpp"
#include "tests/support/session.hpp"

namespace quorra::simulator {

std::ostream& operator<<(std::ostream& stream, const Kind& kind) { return stream << kind.name; }

namespace {

using test::Bytes;

struct Probe {
  std::string_view kind;
  int (*run)(int handle);
};

// In the order in which the type of an unknown card is looked for.
constexpr std::array probes{
    Probe{"93c46a", chk_93c46a}, Probe{"93c46", chk_93c46},   Probe{"93c57", chk_93c57},
    Probe{"93c66", chk_93c66},   Probe{"24c64", chk_24c64},   Probe{"24c32", chk_24c32},
    Probe{"24c16", chk_24c16},   Probe{"24c08", chk_24c08},   Probe{"24c04", chk_24c04},
    Probe{"24c02", chk_24c02},   Probe{"24c01a", chk_24c01a},
};

struct Filling {
  const char* name;
  std::uint8_t (*byte)(std::size_t address);
};

constexpr std::array fillings{
    Filling{"all ones", [](std::size_t) -> std::uint8_t { return 0xFF; }},
    Filling{"all zeros", [](std::size_t) -> std::uint8_t { return 0x00; }},
    Filling{"scattered",
            [](std::size_t address) { return static_cast<std::uint8_t>(address * 40503 >> 5U); }},
    Filling{"counting", [](std::size_t address) { return static_cast<std::uint8_t>(address); }},
};

// The library's probes, with a card of each kind in the virtual reader.
class Probes : public ::testing::TestWithParam<Kind> {
 protected:
  void insert(const Filling& filling) {
    if (reader->state().card) reader->remove();
    Image image(GetParam());
    const auto memory = image.field("memory");
    for (std::size_t address = 0; address < memory.size(); ++address)
      memory[address] = filling.byte(address);
    save_image(image, folder.path() / "card");
    reader->insert(folder.path() / "card");
  }
  Bytes memory() {
    const State state = reader->state();
    const auto bytes = state.card->field("memory");
    return {bytes.begin(), bytes.end()};
  }

  TemporaryFolder folder;
  RunningReader reader;
  quorra::testing::Session session{reader->configuration()};
  const int handle = session.handle();
};

INSTANTIATE_TEST_SUITE_P(All, Probes, ::testing::ValuesIn(kinds().begin(), kinds().end()),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_P(Probes, find_the_kind_of_a_card) {
  const auto* const own = std::ranges::find(probes, GetParam().name, &Probe::kind);
  for (const Filling& filling : fillings) {
    insert(filling);
    const auto* const found =
        std::ranges::find_if(probes, [this](const Probe& probe) { return probe.run(handle) == 0; });
    EXPECT_EQ(found, own) << filling.name;
  }
}

// A counting content can stand for the test value on a card that takes it for an address.
TEST_P(Probes, tell_the_kinds_apart_in_any_order) {
  for (const Filling& filling : std::span(fillings).first(3))
    for (const Probe& probe : probes) {
      insert(filling);
      EXPECT_EQ(probe.run(handle), probe.kind == GetParam().name ? 0 : -133)
          << probe.kind << ", " << filling.name;
    }
}

TEST_P(Probes, leave_a_card_of_their_own_kind_as_it_was) {
  for (const Filling& filling : fillings)
    for (const Probe& probe : probes) {
      if (probe.kind != GetParam().name) continue;
      insert(filling);
      const Bytes before = memory();
      EXPECT_EQ(probe.run(handle), 0);
      EXPECT_EQ(memory(), before) << filling.name;
    }
}

// A small two-wire card takes the lower of two address bytes for data.
TEST_P(Probes, with_two_address_bytes_leave_the_lower_one_in_a_small_card) {
  constexpr std::array small_kinds{"24c01a", "24c02", "24c04", "24c08", "24c16"};
  const bool is_small = std::ranges::find(small_kinds, GetParam().name) != small_kinds.end();
  insert(fillings[1]);
  Bytes expected = memory();
  EXPECT_EQ(chk_24c32(handle) == 0, GetParam().name == std::string_view("24c32"));
  if (is_small) expected[0x0F] = 0xFF;
  EXPECT_EQ(memory(), expected);
  EXPECT_EQ(chk_24c64(handle) == 0, GetParam().name == std::string_view("24c64"));
  if (is_small) expected[0x1F] = 0xFF;
  EXPECT_EQ(memory(), expected);
}

}  // namespace
}  // namespace quorra::simulator
