// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The probes of the 24C series.

#include <gtest/gtest.h>
#include <quorra.h>

#include <random>

#include "tests/support/probe_model.hpp"

namespace quorra::testing {
namespace {

using Size = ProbeModel::Size;

constexpr int not_it = -133;

unsigned char plus_one(unsigned char byte) { return static_cast<unsigned char>(byte + 1); }

// The test of the smallest size: nothing shows anywhere else.
int steps_24c01a(ProbeModel& model, const ProbeSteps& next) {
  const Size size{0x60, 0x62};
  const auto saved = model.read(size, 127);
  if (!saved) return not_it;
  const Bytes test = {plus_one((*saved)[0])};
  const auto restore = [&] {
    model.write(size, 127, *saved);
    return not_it;
  };
  if (!model.write(size, 127, test)) return restore();
  const auto held = model.read(size, 127);
  if (!held || *held != test) return restore();
  if (!model.write(size, 127, *saved)) return not_it;
  return next(model) == 0 ? not_it : 0;
}

// The test of a size by its top address and one mirror address.
int steps_of_size(ProbeModel& model, const Size& size, int top, int mirror, const ProbeSteps& next,
                  int kept_address = -1) {
  const auto saved = model.read(size, top);
  if (!saved) return not_it;
  const auto mirrored = model.read(size, mirror);
  if (!mirrored) return not_it;
  std::optional<Bytes> kept;
  if (kept_address >= 0) {
    kept = model.read(size, kept_address);
    if (!kept) return not_it;
  }
  const Bytes test = {plus_one((*mirrored)[0])};
  const auto restore = [&] {
    model.write(size, top, *saved);
    return not_it;
  };
  if (!model.write(size, top, test)) return restore();
  const auto held = model.read(size, top);
  if (!held || *held != test) return restore();
  const auto shown = model.read(size, mirror);
  if (!shown || *shown == test) return restore();
  if (!model.write(size, top, *saved)) return not_it;
  const bool too_large = next && next(model) == 0;
  if (kept_address >= 0) {
    const bool put_back = model.write(size, kept_address, *kept);
    if (too_large || !put_back) return not_it;
    return 0;
  }
  return too_large ? not_it : 0;
}

int steps_24c64(ProbeModel& model) {
  const Size size{0x66, 0x62};
  const auto saved = model.read(size, 8191);
  if (!saved) return not_it;
  const auto a = model.read(size, 4095);
  if (!a) return not_it;
  const auto b = model.read(size, 7936);
  if (!b) return not_it;
  Bytes test = {plus_one((*a)[0])};
  if (test == *b) test = {plus_one(test[0])};
  const auto restore = [&] {
    model.write(size, 8191, *saved);
    return not_it;
  };
  if (!model.write(size, 8191, test)) return restore();
  const auto held = model.read(size, 8191);
  if (!held || *held != test) return restore();
  for (const int mirror : {4095, 7936}) {
    const auto shown = model.read(size, mirror);
    if (!shown || *shown == test) return restore();
  }
  return model.write(size, 8191, *saved) ? 0 : not_it;
}

ProbeSteps size_test(unsigned char card, int top, int mirror, ProbeSteps next = nullptr,
                     int kept_address = -1) {
  return [=](ProbeModel& model) {
    return steps_of_size(model, {card, 0x62}, top, mirror, next, kept_address);
  };
}

struct Probe {
  const char* name;
  int (*probe)(int handle);
  ProbeSteps steps;
  std::size_t exchanges;  // of its own, when it passes
};

const std::vector<Probe>& probes() {
  static const ProbeSteps up02 = size_test(0x61, 255, 127);
  static const ProbeSteps up04 = size_test(0x62, 511, 255);
  static const ProbeSteps up08 = size_test(0x62, 1023, 511);
  static const ProbeSteps up16 = size_test(0x64, 2047, 1023);
  static const ProbeSteps up32 = size_test(0x65, 4095, 3840);
  static const std::vector<Probe> all = {
      {"chk_24c01a", chk_24c01a, [](ProbeModel& model) { return steps_24c01a(model, up02); }, 4},
      {"chk_24c02", chk_24c02, size_test(0x61, 255, 127, up04), 6},
      {"chk_24c04", chk_24c04, size_test(0x62, 511, 255, up08), 6},
      {"chk_24c08", chk_24c08, size_test(0x62, 1023, 511, up16), 6},
      {"chk_24c16", chk_24c16, size_test(0x64, 2047, 1023, up32, 15), 8},
      {"chk_24c32", chk_24c32, size_test(0x65, 4095, 3840, steps_24c64), 6},
      {"chk_24c64", chk_24c64, steps_24c64, 8},
      {"chk_up02", chk_up02, up02, 6},
      {"chk_up04", chk_up04, up04, 6},
      {"chk_up08", chk_up08, up08, 6},
      {"chk_up16", chk_up16, up16, 6},
      {"chk_up32", chk_up32, up32, 6},
  };
  return all;
}

void PrintTo(const Probe& probe, std::ostream* stream) { *stream << probe.name; }

constexpr int sizes[] = {128, 256, 512, 1024, 2048, 4096, 8192};

CardModel random_card(int size, std::mt19937& random) {
  std::vector<Bytes> cells;
  for (int i = 0; i < size; ++i)
    cells.push_back({static_cast<unsigned char>(random())});
  return CardModel::repeating(std::move(cells));
}

// A card whose every cell holds the same.
CardModel filled_card(int size, unsigned char byte) {
  return CardModel::repeating(std::vector<Bytes>(static_cast<std::size_t>(size), {byte}));
}

class Probe24C : public ::testing::TestWithParam<Probe> {};

INSTANTIATE_TEST_SUITE_P(, Probe24C, ::testing::ValuesIn(probes()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(Probe24C, FollowsItsStepsOnCardsOfAllSizes) {
  std::mt19937 random(24);
  for (const int size : sizes) {
    for (int round = 0; round < 4; ++round) {
      expect_probe_result(GetParam().name, GetParam().probe, GetParam().steps,
                          random_card(size, random),
                          round % 2 == 0 ? Mode::direct : Mode::terminal);
    }
    for (const unsigned char byte : Bytes{0x00, 0xFE, 0xFF}) {
      expect_probe_result(GetParam().name, GetParam().probe, GetParam().steps,
                          filled_card(size, byte), Mode::direct);
    }
  }
}

TEST_P(Probe24C, FollowsItsStepsWhateverExchangeFails) {
  std::mt19937 random(64);
  for (const int size : sizes) {
    expect_probe(GetParam().name, GetParam().probe, GetParam().steps, random_card(size, random));
  }
}

TEST_P(Probe24C, FollowsItsStepsOnCellsThatDoNotTakeTheTestValue) {
  // Every address reaches a cell of its own for reading, and writing is lost elsewhere.
  std::mt19937 random(1);
  CardModel card = random_card(16384, random);
  card.cell_of = [turn = 0](int address) mutable {
    return static_cast<std::size_t>(address + (++turn % 3 == 0 ? 8192 : 0));
  };
  expect_probe_result(GetParam().name, GetParam().probe, GetParam().steps, card, Mode::direct);
}

// A card that repeats is taken for its own size by the tests whose mirror address repeats with it.
// Those of the two largest sizes build on cards that take one address byte instead of two.
TEST(Probe24CChain, TellsTheSizesApart) {
  std::mt19937 random(7);
  for (std::size_t row = 0; row < 4; ++row) {
    for (const int size : {128, 256, 512, 1024, 2048}) {
      ProbeModel model(random_card(size, random), std::nullopt, {});
      const int result = probes()[row].steps(model);
      EXPECT_EQ(result == 0, size == sizes[row]) << probes()[row].name << " on " << size;
      if (result != 0) continue;
      // Its last write of its own puts the saved byte back, so the card is as it was.
      std::size_t own = 0;
      const unsigned char type = model.exchanges()[0].request[4];
      for (const Exchange& exchange : model.exchanges())
        own += exchange.request[4] == type ? 1 : 0;
      EXPECT_GE(own, probes()[row].exchanges);
    }
  }
}

TEST(Probe24CExchanges, AreAsManyAsItTakes) {
  std::mt19937 random(8);
  for (const Probe& probe : probes()) {
    if (std::string(probe.name).find("chk_up") != 0 && probe.exchanges != 8) continue;
    if (std::string(probe.name) == "chk_24c16") continue;  // and those of the next size
    ProbeModel model(random_card(65536, random), std::nullopt, {});
    EXPECT_EQ(probe.steps(model), 0) << probe.name;
    EXPECT_EQ(model.exchanges().size(), probe.exchanges) << probe.name;
  }
}

TEST(Probe24C08, RefusesACardThatPassesTheNextSize) {
  // Every cell is its own: the card is good for every size.
  std::mt19937 random(9);
  const CardModel card = random_card(65536, random);
  ProbeModel model(card, std::nullopt, {});
  const Probe& probe = probes()[3];
  EXPECT_EQ(probe.steps(model), -133);
  EXPECT_EQ(model.exchanges().size(), 12U);
  expect_result({probe.name, probe.probe, model.exchanges()}, Mode::direct, -133);
}

TEST(Probe24C16, PutsTheByteAt15BackAfterTheNextSize) {
  // The addresses of the next size, 0x0FFF and 0x0F00, reach a card of 2048 bytes by their high
  // byte alone.
  std::mt19937 random(10);
  CardModel card = random_card(2048, random);
  card.cell_of = [](int address) {
    return static_cast<std::size_t>(address < 2048 ? address : address / 256);
  };
  ProbeModel model(card, std::nullopt, {});
  ASSERT_EQ(probes()[4].steps(model), 0);
  const Bytes& last = model.exchanges().back().request;
  EXPECT_EQ(Bytes(last.begin(), last.begin() + 9), hex("AA 62 00 06 64 00 00 00 0F"));
  expect_result({"chk_24c16", chk_24c16, model.exchanges()}, Mode::direct, 0);
}

TEST(Probe24C64, ChoosesATestValueThatNeitherMirrorHolds) {
  for (int a = 0; a < 256; ++a) {
    CardModel card = filled_card(8192, 0x33);
    card.at(4095) = {static_cast<unsigned char>(a)};
    card.at(7936) = {plus_one(static_cast<unsigned char>(a))};
    ProbeModel model(card, std::nullopt, {});
    ASSERT_EQ(steps_24c64(model), 0);
    EXPECT_EQ(model.exchanges()[3].request[9], static_cast<unsigned char>(a + 2));
    expect_result({"chk_24c64", chk_24c64, model.exchanges()}, Mode::direct, 0);
  }
}

}  // namespace
}  // namespace quorra::testing
