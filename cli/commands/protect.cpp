// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra protect

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/place.hpp"
#include "cli/report.hpp"
#include "cli/terminal/consent.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/memory/layout.hpp"
#include "toolkit/memory/protection.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_range{.doing = "reading the bytes to protect", .done = "read"};
constexpr Operation protecting{.doing = "protecting", .done = "protected"};

struct ProtectOptions {
  PlaceOptions place;
  std::optional<int> count;
  bool reading = false;
  CodeOptions code;
  std::optional<std::string> yes;
};

int count_protected(const std::vector<bool>& is_protected) {
  return static_cast<int>(std::count(is_protected.begin(), is_protected.end(), true));
}

void protect_bytes(const Settings& settings, CardInReader& slot, const ProtectOptions& options) {
  const Card& card = slot.kind();
  if (!options.place.has_address()) {
    throw UsageError("--address or --at is required; see quorra --help");
  }
  if (options.reading) {
    throw UsageError(
        fmt::format("--reading: the bytes of a {} card can always be read", card.name));
  }
  const Range range = range_within(
      card.protection->bytes, fmt::format("the part of a {} card that can be protected", card.name),
      find_place(card, options.place).address, options.count.value_or(1));
  const Keys keys = parse_keys(card, options.code);
  const Consent consent({protecting, "Protecting these bytes cannot be undone.", &card},
                        options.yes.has_value());

  int before = 0;
  {
    const Connection connection = slot.connect();
    const Bytes bytes = read_memory(connection, card.memory, range, reading_range);
    const std::vector<bool> is_protected = read_protection(connection, card, range);
    before = count_protected(is_protected);
    if (before < range.count) {
      if (consent.asks()) {
        print_note(hex_dump(range.address, bytes, is_protected, wants_colour(STDERR_FILENO)));
      }
      consent.get(connection);
      present(connection, card, keys, confirm_unless(options.yes, card, connection));
      toolkit::protect_bytes(connection, card, range, bytes, protecting);
    }
  }
  const std::string bytes =
      fmt::format("{} at 0x{:04X}", counted(range.count, "byte"), range.address);
  std::string words = fmt::format("Protected {}.\n", bytes);
  if (before > 0) words = fmt::format("Protected {} (already protected: {}).\n", bytes, before);
  if (before == range.count) words = fmt::format("Already protected: {}.\n", bytes);
  Json fields = fields_of(card, card.memory, range);
  fields["protected_before"] = before;
  tell(settings, words, fields);
}

void protect_zone(const Settings& settings, CardInReader& slot, const Memory& memory,
                  const ProtectOptions& options) {
  const Card& card = slot.kind();
  const std::string name =
      card.has_zones() ? name_of(card, memory) : "the zone of " + name_of(card, memory);
  if (options.place.has_address() || options.count) {
    throw UsageError(fmt::format("--address, --at and --count: {} is protected as a whole", name));
  }
  const Keys keys = parse_keys(card, options.code);
  const ZoneGuard guard{&memory, options.reading};
  const std::string effect = words_for(card, guard);
  const Consent consent({protecting,
                         fmt::format("Once the card is personalised, {}. Only an erase before "
                                     "that undoes this.",
                                     effect),
                         &card},
                        options.yes.has_value());
  bool was_protected = false;
  {
    const Connection connection = slot.connect();
    was_protected = is_guarded(connection, guard);
    if (!was_protected) {
      consent.get(connection);
      present(connection, card, keys, confirm_unless(options.yes, card, connection));
      guard_zone(connection, guard, protecting);
    }
  }
  Json fields{{"card", card.name}};
  if (card.has_zones()) fields["zone"] = memory.zone;
  fields["reading"] = options.reading;
  fields["protected_before"] = was_protected;
  tell(settings,
       fmt::format("{}: once the card is personalised, {}.\n",
                   was_protected ? "Already protected" : "Protected", effect),
       fields);
}

// The zone of which a region is named in place of its number. Nothing if that is not the case.
const Memory* zone_of_region(const Card& card, const PlaceOptions& options) {
  if (options.zone || !options.region || options.region->find('+') != std::string::npos) {
    return nullptr;
  }
  return zone_with_flags(card, find_region(card, *options.region).range);
}

void run_protect(const Settings& settings, const ProtectOptions& given) {
  CardInReader slot(settings, given.yes);
  const Card& card = slot.kind();
  ProtectOptions options = given;
  const Memory* const named = zone_of_region(card, options.place);
  if (named != nullptr) options.place = {};
  const Memory& memory = named == nullptr ? memory_of(card, options.place.zone) : *named;
  if (memory.flags) return protect_zone(settings, slot, memory, options);
  if (card.protection) return protect_bytes(settings, slot, options);
  throw UsageError(fmt::format("the bytes of {} cannot be protected", name_of(card, memory)));
}

}  // namespace

void add_protect(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<ProtectOptions>();
  CLI::App* command = program.add_subcommand(
      "protect", "Make bytes of the card, or a zone of it, read-only for good");
  add_place(*command, options->place);
  add_number(*command, "--count", options->count, "Number of bytes; without it, 1");
  command->add_flag("--reading", options->reading,
                    "Instead: let the zone be read only after its code was presented");
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra protect --config reader.conf --address 8 --count 4 --code FFFFFF",
                          "quorra protect --config reader.conf --card 102 --zone 1 --code FFFF"});
  command->callback([&settings, options] { run_protect(settings, *options); });
}

}  // namespace quorra::cli
