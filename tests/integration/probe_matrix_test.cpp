// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Every probe of the library on every virtual card: which accepts which, and which bytes of a card
// a probe leaves changed. The result is docs/probes.md, which has to say just that.

#include <fmt/core.h>
#include <gtest/gtest.h>
#include <quorra.h>

#include <map>
#include <string>
#include <vector>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/kinds.hpp"
#include "tests/support/process.hpp"
#include "tests/support/session.hpp"

namespace quorra::testing {
namespace {

struct Probe {
  const char* name;
  int (*probe)(int handle);
};

constexpr Probe probes[] = {
    {"chk_4442", chk_4442},   {"chk_4432", chk_4432},     {"chk_4428", chk_4428},
    {"chk_4418", chk_4418},   {"chk_45d041", chk_45d041}, {"chk_24c01a", chk_24c01a},
    {"chk_24c02", chk_24c02}, {"chk_24c04", chk_24c04},   {"chk_24c08", chk_24c08},
    {"chk_24c16", chk_24c16}, {"chk_24c32", chk_24c32},   {"chk_24c64", chk_24c64},
    {"chk_up02", chk_up02},   {"chk_up04", chk_up04},     {"chk_up08", chk_up08},
    {"chk_up16", chk_up16},   {"chk_up32", chk_up32},     {"chk_93c46a", chk_93c46a},
    {"chk_93c46", chk_93c46}, {"chk_93c57", chk_93c57},   {"chk_93c66", chk_93c66},
    {"chk_up57", chk_up57},   {"chk_4404", chk_4404},     {"chk_4406", chk_4406},
    {"chk_101", chk_101},     {"chk_102", chk_102},       {"chk_1604", chk_1604},
    {"chk_1604b", chk_1604b},
};

// It tries many of the probes, and returns the number of the card instead of a 0.
constexpr Probe detection = {"chk_card", chk_card};

constexpr const char* chips[] = {
    "4442",  "4432",  "4428",  "4418",  "45d041", "24c01a", "24c02", "24c04",
    "24c08", "24c16", "24c32", "24c64", "93c46a", "93c46",  "93c57", "93c66",
    "4404",  "4406",  "101",   "102",   "1604",   "1604b",
};

constexpr const char* no_card = "none";

struct Finding {
  int result = 0;
  std::string changed;  // the addresses, empty if there are none
};

// Content in which neighbours, halves and quarters of the memory differ.
std::uint8_t content_at(std::size_t address) {
  return static_cast<std::uint8_t>(address * 37 + address / 256 * 11 + address / 4096 * 5 + 1);
}

simulator::Image card_of(const char* chip) {
  simulator::Image image(simulator::find_kind(chip));
  const std::string_view family = std::string_view(chip).substr(0, 2);
  const bool is_known_by_its_first_bytes = family == "44" || family == "10" || family == "16";
  const std::size_t first = is_known_by_its_first_bytes ? 32 : 0;
  const auto memory = image.field("memory");
  for (std::size_t at = first; at < memory.size(); ++at)
    memory[at] = content_at(at);
  return image;
}

std::string changed_addresses(const simulator::Image& before, const simulator::Image& after) {
  const auto old_memory = before.field("memory");
  const auto new_memory = after.field("memory");
  std::string list;
  for (std::size_t at = 0; at < old_memory.size(); ++at) {
    if (old_memory[at] == new_memory[at]) continue;
    list += fmt::format("{}{}", list.empty() ? "" : ", ", at);
  }
  return list;
}

using Matrix = std::map<std::string, std::map<std::string, Finding>>;  // by probe, then chip

const Matrix& matrix() {
  static const Matrix all = [] {
    Matrix found;
    const TemporaryDirectory folder;
    simulator::RunningReader reader;
    const Session session(reader->configuration());
    std::vector<Probe> all_probes(std::begin(probes), std::end(probes));
    all_probes.push_back(detection);
    for (const char* chip : chips) {
      for (const Probe& probe : all_probes) {
        const simulator::Image before = card_of(chip);
        save_image(before, folder / "card");
        reader->insert(folder / "card");
        Finding& finding = found[probe.name][chip];
        finding.result = probe.probe(session.handle());
        finding.changed = changed_addresses(before, *reader->state().card);
        reader->remove();
      }
    }
    for (const Probe& probe : all_probes)
      found[probe.name][no_card].result = probe.probe(session.handle());
    return found;
  }();
  return all;
}

std::string page() {
  std::string text =
      "# What the probes say\n"
      "\n"
      "Each `chk_` function on each virtual card: `yes` where it accepts the card, and what\n"
      "`chk_card` returns. A test plays all of them and compares the result with this page.\n"
      "\n"
      "| |";
  for (const char* chip : chips)
    text += fmt::format(" {} |", chip);
  text += " no card |\n|---|";
  for (std::size_t i = 0; i <= std::size(chips); ++i)
    text += "---|";
  text += "\n";
  std::vector<const char*> slots(std::begin(chips), std::end(chips));
  slots.push_back(no_card);
  for (const Probe& probe : probes) {
    text += fmt::format("| `{}` |", probe.name);
    for (const char* slot : slots) {
      text += matrix().at(probe.name).at(slot).result == 0 ? " yes |" : " |";
    }
    text += "\n";
  }
  text += fmt::format("| `{}` |", detection.name);
  for (const char* slot : slots) {
    text += fmt::format(" {} |", matrix().at(detection.name).at(slot).result);
  }
  text += "\n";
  text +=
      "\n"
      "`chk_4418` sends nothing and always says yes. `chk_4442` and `chk_4432` are one test. The\n"
      "`chk_up` tests accept a card of their size or a larger one; they serve the other probes.\n"
      "`chk_101` and `chk_102` look for the same two bytes, so `chk_card` takes a 101 for a 102. "
      "It\n"
      "does not look for a 93c66.\n"
      "\n"
      "## Probing writes to cards\n"
      "\n"
      "The tests of the 24C and 93C series write to the card that is in the reader, whatever it "
      "is,\n"
      "and put back what they changed where they believe to have changed it. On a card of another\n"
      "kind they may leave bytes changed. On cards with each byte different from its neighbours\n"
      "(from byte 32 on, where the first ones tell the kind) these were, and no others:\n"
      "\n"
      "| Probe | Card | Addresses left changed |\n"
      "|---|---|---|\n";
  for (const auto& [probe, findings] : matrix()) {
    for (const char* chip : chips) {
      const std::string& changed = findings.at(chip).changed;
      if (!changed.empty()) text += fmt::format("| `{}` | {} | {} |\n", probe, chip, changed);
    }
  }
  return text;
}

TEST(ProbeMatrix, IsWhatTheDocumentationSays) {
  const std::string found = page();
  write_file(QUORRA_PROBES_OUTPUT, found);
  EXPECT_EQ(found, content_of(QUORRA_PROBES_PAGE))
      << "the page as it should be is in " << QUORRA_PROBES_OUTPUT;
}

TEST(ProbeMatrix, AcceptsEachCardByItsOwnProbe) {
  for (const char* chip : chips) {
    const Finding& finding = matrix().at(std::string("chk_") + chip).at(chip);
    EXPECT_EQ(finding.result, 0) << chip;
    EXPECT_EQ(finding.changed, "") << chip << " is as it was before";
  }
}

TEST(ProbeMatrix, TellsThe24CSizesApart) {
  const std::vector<std::string> sizes = {"24c01a", "24c02", "24c04", "24c08",
                                          "24c16",  "24c32", "24c64"};
  for (const std::string& size : sizes) {
    for (const std::string& chip : sizes) {
      const int result = matrix().at("chk_" + size).at(chip).result;
      EXPECT_EQ(result, size == chip ? 0 : -133) << size << " on " << chip;
    }
  }
}

TEST(ProbeMatrix, DetectionTellsTheNumberOfEachCard) {
  const std::map<std::string, int> numbers = {
      {"4442", 21},   {"4432", 21},  {"4428", 31},  {"4418", 31},  {"45d041", 10}, {"24c01a", 1},
      {"24c02", 2},   {"24c04", 3},  {"24c08", 4},  {"24c16", 5},  {"24c32", 6},   {"24c64", 7},
      {"93c46a", 60}, {"93c46", 61}, {"93c57", 62}, {"93c66", 0},  {"4404", 40},   {"4406", 41},
      {"101", 51},    {"102", 51},   {"1604", 52},  {"1604b", 53}, {no_card, 0},
  };
  ASSERT_EQ(numbers.size(), std::size(chips) + 1);
  for (const auto& [slot, number] : numbers) {
    EXPECT_EQ(matrix().at(detection.name).at(slot).result, number) << slot;
  }
}

// Whoever looks for the security memory cards only reads.
TEST(ProbeMatrix, ProbesOfSecurityCardsChangeNoCard) {
  for (const char* probe :
       {"chk_4404", "chk_4406", "chk_101", "chk_102", "chk_1604", "chk_1604b"}) {
    for (const char* chip : chips) {
      EXPECT_EQ(matrix().at(probe).at(chip).changed, "") << probe << " on " << chip;
    }
  }
}

TEST(ProbeMatrix, FindsNothingInAnEmptySlot) {
  for (const Probe& probe : probes) {
    const int result = matrix().at(probe.name).at(no_card).result;
    EXPECT_EQ(result == 0, probe.probe == chk_4418) << probe.name;
  }
}

}  // namespace
}  // namespace quorra::testing
