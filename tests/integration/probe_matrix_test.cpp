// Every probe of the library on every virtual card: which accepts which, and which bytes of a card
// a probe leaves changed. The result is docs/probes.md, which has to say just that.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <quorra.h>

#include <map>
#include <string>
#include <vector>

#include "simulator/cards/kinds.hpp"
#include "simulator/virtual_reader.hpp"
#include "tests/support/process.hpp"

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
    {"chk_up57", chk_up57},
};

constexpr const char* chips[] = {
    "4442",  "4432",  "4428",  "4418",  "45d041", "24c01a", "24c02", "24c04",
    "24c08", "24c16", "24c32", "24c64", "93c46a", "93c46",  "93c57", "93c66",
};

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
  // The others are known by bytes that they hold.
  const bool has_no_signature = std::string_view(chip).substr(0, 2) != "44";
  const auto memory = image.field("memory");
  for (std::size_t at = 0; has_no_signature && at < memory.size(); ++at)
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
    const int handle = ic_init(reader->configuration().c_str(), 9600);
    EXPECT_GE(handle, 0);
    for (const char* chip : chips) {
      for (const Probe& probe : probes) {
        const simulator::Image before = card_of(chip);
        save_image(before, folder / "card");
        reader->insert(folder / "card");
        Finding& finding = found[probe.name][chip];
        finding.result = probe.probe(handle);
        finding.changed = changed_addresses(before, *reader->state().card);
        reader->remove();
      }
    }
    for (const Probe& probe : probes)
      found[probe.name]["none"].result = probe.probe(handle);
    ic_exit(handle);
    return found;
  }();
  return all;
}

std::string page() {
  std::string text =
      "# What the probes say\n"
      "\n"
      "Each `chk_` function on each virtual card: `yes` where it accepts the card. A test plays "
      "all\n"
      "of them and compares the result with this page.\n"
      "\n"
      "| |";
  for (const char* chip : chips)
    text += fmt::format(" {} |", chip);
  text += " no card |\n|---|";
  for (std::size_t i = 0; i <= std::size(chips); ++i)
    text += "---|";
  text += "\n";
  for (const Probe& probe : probes) {
    text += fmt::format("| `{}` |", probe.name);
    for (const char* chip : chips) {
      text += matrix().at(probe.name).at(chip).result == 0 ? " yes |" : " |";
    }
    text += matrix().at(probe.name).at("none").result == 0 ? " yes |\n" : " |\n";
  }
  text +=
      "\n"
      "`chk_4418` sends nothing and always says yes. `chk_4442` and `chk_4432` are one test. The\n"
      "`chk_up` tests accept a card of their size or a larger one; they serve the other probes.\n"
      "\n"
      "## Probing writes to cards\n"
      "\n"
      "The tests of the 24C and 93C series write to the card that is in the reader, whatever it "
      "is,\n"
      "and put back what they changed where they believe to have changed it. On a card of another\n"
      "kind they may leave bytes changed. On cards with each byte different from its neighbours,\n"
      "these were:\n"
      "\n"
      "| Probe | Card | Addresses left changed |\n"
      "|---|---|---|\n";
  for (const Probe& probe : probes) {
    for (const char* chip : chips) {
      const std::string& changed = matrix().at(probe.name).at(chip).changed;
      if (!changed.empty()) text += fmt::format("| `{}` | {} | {} |\n", probe.name, chip, changed);
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

TEST(ProbeMatrix, FindsNothingInAnEmptySlot) {
  for (const Probe& probe : probes) {
    const int result = matrix().at(probe.name).at("none").result;
    EXPECT_EQ(result == 0, probe.probe == chk_4418) << probe.name;
  }
}

}  // namespace
}  // namespace quorra::testing
