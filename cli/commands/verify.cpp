// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra verify

#include <fmt/core.h>

#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/data.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/place.hpp"
#include "cli/report.hpp"
#include "toolkit/memory/plan.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation comparing{.doing = "comparing the card", .done = "compared"};

struct VerifyOptions {
  PlaceOptions place;
  DataOptions data;
  CodeOptions code;
  std::optional<std::string> yes;
};

// How many bytes differ, and which is the first.
std::optional<Difference> find_first(const CardData& data, const Segments& held, int told_from) {
  std::optional<Difference> first;
  for (const Segment& segment : data.bytes) {
    const Bytes there = held.within(segment.range()).front().bytes;
    const auto found = find_difference(segment.bytes, there, segment.address + told_from);
    if (first && found) first->count += found->count;
    if (!first) first = found;
  }
  return first;
}

void run_verify(const Settings& settings, const VerifyOptions& options) {
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const Place place = find_place(card, options.place);
  const CardData data = card_data_from(options.data, options.place, place, "compare");
  const Keys keys = parse_keys(card, options.code);
  Segments held;
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    std::vector<Range> ranges;
    for (const Segment& segment : data.bytes) {
      ranges.push_back(segment.range());
    }
    held = read_ranges(connection, card, ranges, comparing, place.told_from);
  }
  const std::string all = counted(data.bytes.count(), "byte");
  if (const auto difference = find_first(data, held, place.told_from)) {
    throw Failure(fmt::format("{}: {} of {} {}; {}", comparing.doing, difference->count, all,
                              difference->count == 1 ? "differs" : "differ", describe(*difference)),
                  {.word = "differs", .address = difference->address});
  }
  tell(settings, fmt::format("The card holds the same {} {}.\n", all, words_for(place, data.bytes)),
       fields_of(place, data.bytes));
}

}  // namespace

void add_verify(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<VerifyOptions>();
  CLI::App* command = program.add_subcommand("verify", "Compare the card with bytes");
  add_place(*command, options->place);
  add_data(*command, options->data);
  add_data_format(*command, options->data);
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra verify --config reader.conf --address 0x20 DE AD BE EF",
                          "quorra verify --config reader.conf --card 24c64 --file card.hex"});
  want_address(*command);
  command->callback([&settings, options] { run_verify(settings, *options); });
}

}  // namespace quorra::cli
