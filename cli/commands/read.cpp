// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra read

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/place.hpp"
#include "cli/report.hpp"
#include "cli/terminal/output.hpp"
#include "toolkit/memory/backup.hpp"
#include "toolkit/memory/codes.hpp"
#include "toolkit/memory/plan.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr int most_repeats = 1000;

struct ReadOptions {
  PlaceOptions place;
  std::optional<int> count;
  int repeat = 1;
  CodeOptions code;
  std::optional<std::string> yes;
  OutputOptions output;
};

// A byte that was not read alike each time.
struct WaveringByte {
  int address;
  std::vector<unsigned char> values;  // each once, in the order in which they came
};

std::vector<WaveringByte> find_wavering(const std::vector<Bytes>& readings, int address) {
  std::vector<WaveringByte> wavering;
  for (std::size_t at = 0; at < readings.front().size(); ++at) {
    std::vector<unsigned char> values;
    for (const Bytes& reading : readings) {
      if (std::ranges::find(values, reading[at]) == values.end()) values.push_back(reading[at]);
    }
    if (values.size() > 1) wavering.push_back({address + static_cast<int>(at), values});
  }
  return wavering;
}

std::string hex_of(const std::vector<unsigned char>& values) {
  return fmt::format("{:02X}", fmt::join(values, " "));
}

Json json_of(const std::vector<WaveringByte>& wavering) {
  Json list = Json::array();
  for (const WaveringByte& byte : wavering) {
    Json values = Json::array();
    for (const unsigned char value : byte.values) {
      values.push_back(plain_hex({value}));
    }
    list.push_back({{"address", byte.address}, {"values", values}});
  }
  return list;
}

std::string describe(const std::vector<WaveringByte>& wavering, int repeats) {
  std::string text =
      fmt::format("{} in {} readings {}:\n", counted(static_cast<int>(wavering.size()), "byte"),
                  repeats, wavering.size() == 1 ? "wavers" : "waver");
  for (const WaveringByte& byte : wavering) {
    text += fmt::format("  {:04X}  {}\n", byte.address, hex_of(byte.values));
  }
  return text;
}

// What was read, once and again.
struct Reading {
  std::vector<Bytes> bytes;
  std::vector<bool> is_protected;
  std::vector<std::string> hidden;  // regions that a code may hide
};

Reading read_range(const Connection& connection, const Card& card, const Place& place, Range range,
                   const ReadOptions& options) {
  Reading reading;
  for (int number = 0; number < options.repeat; ++number) {
    const Segments read = read_ranges(connection, card, {range}, reading_card, place.told_from);
    reading.bytes.push_back(read.front().bytes);
  }
  if (options.output.wants_dump()) {
    reading.is_protected = read_protection(connection, card, range);
    return reading;
  }
  const Held held{.bytes = Segments(range.address, reading.bytes.front()),
                  .is_personalised = is_known_as_personalised(connection, card)};
  std::ranges::transform(hidden_regions(card, held), std::back_inserter(reading.hidden),
                         &Region::name);
  return reading;
}

void run_read(const Settings& settings, const ReadOptions& options) {
  if (options.repeat < 1 || options.repeat > most_repeats) {
    throw UsageError(fmt::format("--repeat: the card is read 1 to {} times", most_repeats));
  }
  expect_other_file(options.output, settings);
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const Place place = find_place(card, options.place);
  const Range range = place.range(options.count);
  const Keys keys = parse_keys(card, options.code);

  Reading reading;
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    reading = read_range(connection, card, place, range, options);
  }
  const int address = place.told(range).address;
  Json fields = fields_of(place, range);
  std::string remark;
  if (!reading.hidden.empty()) {
    fields["hidden"] = reading.hidden;
    remark = fmt::format("A code may hide what these hold: {}.\n", fmt::join(reading.hidden, ", "));
  }
  if (options.repeat > 1) {
    const std::vector<WaveringByte> wavering = find_wavering(reading.bytes, address);
    fields["repeat"] = options.repeat;
    fields["wavering"] = json_of(wavering);
    if (!wavering.empty()) {
      tell_and_fail(settings, describe(wavering, options.repeat), fields);
    }
    remark += fmt::format("All {} readings are the same.\n", options.repeat);
  }
  show_or_save(settings, options.output, fields, address, reading.bytes.front(),
               reading.is_protected, remark);
}

}  // namespace

void add_read(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<ReadOptions>();
  CLI::App* command = program.add_subcommand("read", "Show or save the card's memory");
  add_place(*command, options->place);
  add_number(*command, "--count", options->count, "Number of bytes; without it, up to the end");
  add_number(*command, "--repeat", options->repeat,
             "Read so many times, and tell which bytes are not always the same");
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_output(*command, options->output);
  add_output_format(*command, options->output);
  add_examples(*command, {"quorra read --config reader.conf",
                          "quorra read --virtual card.toml --address 0x20 --count 16",
                          "quorra read --virtual card.toml --at data --output data.hex",
                          "quorra read --config reader.conf --card 24c64 --output card.bin"});
  command->callback([&settings, options] { run_read(settings, *options); });
}

}  // namespace quorra::cli
