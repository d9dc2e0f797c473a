// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The whole-memory commands and the probes of the 93C series.

#include <gtest/gtest.h>
#include <quorra.h>

#include <random>

#include "tests/support/probe_model.hpp"

namespace quorra::testing {
namespace {

using Size = ProbeModel::Size;

constexpr int not_it = -133;

struct WholeMemory {
  const char* name;
  int (*call)(int handle);
  const char* request;
};

void PrintTo(const WholeMemory& command, std::ostream* stream) { *stream << command.name; }

class WholeMemory93C : public ::testing::TestWithParam<WholeMemory> {};

INSTANTIATE_TEST_SUITE_P(
    , WholeMemory93C,
    ::testing::Values(WholeMemory{"eral_93c46a", eral_93c46a, "AA 78 00 05 68 00 00 00 00 BF"},
                      WholeMemory{"eral_93c46", eral_93c46, "AA 78 00 05 69 00 00 00 00 BE"},
                      WholeMemory{"eral_93c57", eral_93c57, "AA 78 00 05 6A 00 00 00 00 BD"},
                      WholeMemory{"eral_93c66", eral_93c66, "AA 78 00 05 6B 00 00 00 00 BC"},
                      WholeMemory{"wral_93c46a", wral_93c46a, "AA 79 00 05 68 00 00 00 00 BE"},
                      WholeMemory{"wral_93c46", wral_93c46, "AA 79 00 05 69 00 00 00 00 BF"},
                      WholeMemory{"wral_93c57", wral_93c57, "AA 79 00 05 6A 00 00 00 00 BC"},
                      WholeMemory{"wral_93c66", wral_93c66, "AA 79 00 05 6B 00 00 00 00 BD"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_P(WholeMemory93C, IsOneFrame) {
  const Operation operation{
      GetParam().name, GetParam().call, {{hex(GetParam().request), hex("55 00 00 00 55")}}};
  for (const Mode mode : {Mode::direct, Mode::terminal}) {
    expect_result(operation, mode, 0);
    expect_failures(operation, mode);
  }
  expect_result({GetParam().name, GetParam().call, {{hex(GetParam().request), reply(3, {})}}},
                Mode::direct, -3);
}

Bytes plus_one(Bytes unit) {
  for (unsigned char& byte : unit)
    byte = static_cast<unsigned char>(byte + 1);
  return unit;
}

int steps_93c46a(ProbeModel& model) {
  const Size size{0x68, 0x60};
  const auto kept = model.read(size, 63);
  if (!kept) return not_it;
  const Bytes test = plus_one(*kept);
  const auto restore = [&] {
    model.write(size, 63, *kept);
    return not_it;
  };
  if (!model.write(size, 63, test)) return restore();
  const auto held = model.read(size, 63);
  if (!held || (*held)[0] != test[0]) return restore();
  return model.write(size, 63, *kept) ? 0 : not_it;
}

int steps_with_mirror(ProbeModel& model, const Size& size, int top, int mirror,
                      const ProbeSteps& next) {
  const auto kept = model.read(size, top);
  if (!kept) return not_it;
  if (!model.is_answered(size, mirror)) return not_it;
  const Bytes test = plus_one(*kept);
  const auto restore = [&] {
    model.write(size, top, *kept);
    return not_it;
  };
  if (!model.write(size, top, test)) return restore();
  const auto shown = model.read(size, mirror);
  if (!shown || *shown == test) return restore();
  if (!model.write(size, top, *kept)) return not_it;
  return next && next(model) == 0 ? not_it : 0;
}

int steps_93c66(ProbeModel& model) {
  return steps_with_mirror(model, {0x6B, 0x62}, 511, 255, nullptr);
}

int steps_93c57(ProbeModel& model) {
  return steps_with_mirror(model, {0x6A, 0x60}, 255, 127, steps_93c66);
}

int steps_up57(ProbeModel& model) {
  return steps_with_mirror(model, {0x6A, 0x60}, 255, 127, nullptr);
}

int steps_93c46(ProbeModel& model) {
  const Size size{0x69, 0x60};
  const auto kept = model.read(size, 127);
  if (!kept) return not_it;
  const auto restore = [&] {
    model.write(size, 127, *kept);
    return not_it;
  };
  if (!model.write(size, 127, plus_one(*kept))) return restore();
  if (!model.is_answered(size, 127)) return restore();
  if (!model.write(size, 127, *kept)) return not_it;
  return steps_up57(model) == 0 ? not_it : 0;
}

struct Probe {
  const char* name;
  int (*probe)(int handle);
  int (*steps)(ProbeModel& model);
  std::size_t unit;
};

void PrintTo(const Probe& probe, std::ostream* stream) { *stream << probe.name; }

class Probe93C : public ::testing::TestWithParam<Probe> {};

INSTANTIATE_TEST_SUITE_P(, Probe93C,
                         ::testing::Values(Probe{"chk_93c46a", chk_93c46a, steps_93c46a, 2},
                                           Probe{"chk_93c46", chk_93c46, steps_93c46, 1},
                                           Probe{"chk_93c57", chk_93c57, steps_93c57, 1},
                                           Probe{"chk_93c66", chk_93c66, steps_93c66, 1},
                                           Probe{"chk_up57", chk_up57, steps_up57, 1}),
                         [](const auto& row) { return std::string(row.param.name); });

CardModel random_card(int size, std::size_t unit, std::mt19937& random) {
  std::vector<Bytes> cells;
  for (int i = 0; i < size; ++i) {
    Bytes cell(unit);
    for (unsigned char& byte : cell)
      byte = static_cast<unsigned char>(random());
    cells.push_back(cell);
  }
  return CardModel::repeating(std::move(cells));
}

constexpr int sizes[] = {64, 128, 256, 512, 1024};

TEST_P(Probe93C, FollowsItsStepsOnCardsOfAllSizes) {
  std::mt19937 random(93);
  for (const int size : sizes) {
    for (int round = 0; round < 6; ++round) {
      expect_probe_result(GetParam().name, GetParam().probe, GetParam().steps,
                          random_card(size, GetParam().unit, random),
                          round % 2 == 0 ? Mode::direct : Mode::terminal);
    }
    for (const unsigned char byte : Bytes{0x00, 0xFE, 0xFF}) {
      const CardModel card = CardModel::repeating(
          std::vector<Bytes>(static_cast<std::size_t>(size), Bytes(GetParam().unit, byte)));
      expect_probe_result(GetParam().name, GetParam().probe, GetParam().steps, card, Mode::direct);
    }
  }
}

TEST_P(Probe93C, FollowsItsStepsWhateverExchangeFails) {
  std::mt19937 random(66);
  for (const int size : sizes) {
    expect_probe(GetParam().name, GetParam().probe, GetParam().steps,
                 random_card(size, GetParam().unit, random));
  }
}

int result_of(int (*probe)(int), const std::vector<Exchange>& exchanges) {
  int result = 4711;
  expect_result({"probe", [&](int handle) { return (result = probe(handle), 0); }, exchanges},
                Mode::direct, 0);
  return result;
}

Exchange read_exchange(unsigned char card, unsigned char high, unsigned char low,
                       const Bytes& unit) {
  return {sealed(Bytes{0xAA, 0x61, 0, 7, card, 0, 0, high, low, 0, 1}), reply(0, unit)};
}

Exchange write_exchange(unsigned char card, unsigned char high, unsigned char low,
                        const Bytes& unit) {
  return {sealed(Bytes{0xAA, 0x60, 0, static_cast<unsigned char>(unit.size() + 5), card, 0, 0, high,
                       low} +
                 unit),
          reply(0, {})};
}

TEST(Probe93C46a, ComparesOnlyTheFirstByteOfTheWord) {
  const auto result_with = [](const Bytes& read_back) {
    return result_of(
        chk_93c46a,
        {read_exchange(0x68, 0, 63, hex("10 FF")), write_exchange(0x68, 0, 63, hex("11 00")),
         read_exchange(0x68, 0, 63, read_back), write_exchange(0x68, 0, 63, hex("10 FF"))});
  };
  EXPECT_EQ(result_with(hex("11 00")), 0);
  EXPECT_EQ(result_with(hex("11 77")), 0);
  EXPECT_EQ(result_with(hex("12 00")), -133);
}

TEST(Probe93C46, TakesAnyByteThatIsReadBack) {
  // A card of 128 bytes: the test of the next size sees its test value at the mirror address.
  EXPECT_EQ(
      result_of(chk_93c46,
                {read_exchange(0x69, 0, 127, hex("FF")), write_exchange(0x69, 0, 127, hex("00")),
                 read_exchange(0x69, 0, 127, hex("77")), write_exchange(0x69, 0, 127, hex("FF")),
                 read_exchange(0x6A, 0, 255, hex("20")), read_exchange(0x6A, 0, 127, hex("20")),
                 write_exchange(0x6A, 0, 255, hex("21")), read_exchange(0x6A, 0, 127, hex("21")),
                 write_exchange(0x6A, 0, 255, hex("20"))}),
      0);
}

TEST(Probe93C57, RefusesACardWhoseMirrorByteIsTheTestValueByChance) {
  EXPECT_EQ(
      result_of(chk_93c57,
                {read_exchange(0x6A, 0, 255, hex("20")), read_exchange(0x6A, 0, 127, hex("21")),
                 write_exchange(0x6A, 0, 255, hex("21")), read_exchange(0x6A, 0, 127, hex("21")),
                 write_exchange(0x6A, 0, 255, hex("20"))}),
      -133);
}

}  // namespace
}  // namespace quorra::testing
