// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra diff

#include <fmt/color.h>
#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/plan_report.hpp"
#include "cli/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/files/data_file.hpp"
#include "toolkit/files/records.hpp"
#include "toolkit/memory/backup.hpp"
#include "toolkit/memory/differences.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_to_compare{.doing = "reading the card", .done = "read"};
constexpr std::size_t bytes_in_a_row = 16;

struct DiffOptions {
  std::optional<std::string> left;
  std::optional<std::string> right;
  std::optional<std::string> format;
  std::optional<std::string> region;
  int address = 0;
  CodeOptions code;
  std::optional<std::string> yes;
};

// A file, or the card.
struct Side {
  std::string name;
  Segments bytes;
  std::optional<Backup> backup;  // if it is one
};

Side side_of(const std::string& name, const DiffOptions& options) {
  const Bytes content = read_file(name, largest_file + 1);
  if (content.size() > largest_file) {
    throw UsageError(fmt::format("{} is larger than all bytes of any card", name));
  }
  if (is_backup(content) && !options.format) {
    Backup backup = parse_backup(name, content);
    return {name, backup.bytes(), std::move(backup)};
  }
  std::optional<FileFormat> format;
  if (options.format) format = parse_format(*options.format);
  return {name, parse_data_file(name, content, format).segments, std::nullopt};
}

BackupDifferences compare_sides(const Side& left, const Side& right, const Card* card) {
  if (left.backup && right.backup) return toolkit::compare(*left.backup, *right.backup);
  BackupDifferences differences;
  const std::vector<Region> regions = card == nullptr ? std::vector<Region>() : regions_of(*card);
  differences.bytes = find_differences(left.bytes, right.bytes, regions);
  return differences;
}

std::string row_of(char sign, const Bytes& bytes, std::size_t at, int address, bool coloured) {
  const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
  const auto count = static_cast<std::ptrdiff_t>(std::min(bytes_in_a_row, bytes.size() - at));
  const std::string row = fmt::format("  {:04X}  {} {}", address + static_cast<int>(at), sign,
                                      hex_text({first, first + count}));
  const auto colour = sign == '-' ? fmt::terminal_color::red : fmt::terminal_color::green;
  return (coloured ? fmt::format(fmt::fg(colour), "{}", row) : row) + "\n";
}

std::string rows_of(const DifferingBytes& differing, bool coloured) {
  std::string text;
  for (std::size_t at = 0; at < differing.left.size(); at += bytes_in_a_row) {
    text += row_of('-', differing.left, at, differing.address, coloured);
    text += row_of('+', differing.right, at, differing.address, coloured);
  }
  return text;
}

std::string picture_of(const BackupDifferences& differences, const Side& left, const Side& right,
                       bool coloured) {
  std::string text = fmt::format("- {}\n+ {}\n", left.name, right.name);
  if (differences.kind) {
    return text + fmt::format("The kinds differ: {} and {}.\n", left.backup->card->name,
                              right.backup->card->name);
  }
  for (const DifferingBytes& differing : differences.bytes.bytes) {
    text += addresses({differing.address, static_cast<int>(differing.left.size())});
    text += differing.region.empty() ? "\n" : "  " + differing.region + "\n";
    text += rows_of(differing, coloured);
  }
  for (const Range& range : differences.bytes.only_left) {
    text += fmt::format("{}  only in {}\n", addresses(range), left.name);
  }
  for (const Range& range : differences.bytes.only_right) {
    text += fmt::format("{}  only in {}\n", addresses(range), right.name);
  }
  for (const Range& range : differences.protection) {
    text += fmt::format("{}  read-only in one of the two\n", addresses(range));
  }
  for (const CounterDifference& counter : differences.counters) {
    text += fmt::format("{}: {} and {}\n", counter.name, counter.left, counter.right);
  }
  if (differences.answer_to_reset) text += "The answers to reset differ.\n";
  if (differences.personalised) text += "One of the two is personalised.\n";
  const int count = differences.bytes.count();
  return text + fmt::format("{} {}.\n", counted(count, "byte"), count == 1 ? "differs" : "differ");
}

Json json_of(const std::vector<Range>& ranges) {
  auto list = Json::array();
  for (const Range& range : ranges) {
    list.push_back({{"address", range.address}, {"count", range.count}});
  }
  return list;
}

Json difference_fields(const BackupDifferences& differences, const Side& left, const Side& right) {
  Json fields{{"left", left.name}, {"right", right.name}, {"equal", differences.none()}};
  fields["kinds_differ"] = differences.kind;
  fields["answers_to_reset_differ"] = differences.answer_to_reset;
  fields["personalised_differs"] = differences.personalised;
  fields["differences"] = Json::array();
  for (const DifferingBytes& differing : differences.bytes.bytes) {
    fields["differences"].push_back({{"address", differing.address},
                                     {"region", differing.region},
                                     {"left", digits_of(differing.left)},
                                     {"right", digits_of(differing.right)}});
  }
  fields["only_left"] = json_of(differences.bytes.only_left);
  fields["only_right"] = json_of(differences.bytes.only_right);
  fields["protection"] = json_of(differences.protection);
  fields["counters"] = Json::array();
  for (const CounterDifference& counter : differences.counters) {
    fields["counters"].push_back(
        {{"name", counter.name}, {"left", counter.left}, {"right", counter.right}});
  }
  return fields;
}

void tell_differences(const Settings& settings, const Side& left, const Side& right,
                      const Card* card) {
  const BackupDifferences differences = compare_sides(left, right, card);
  const Json fields = difference_fields(differences, left, right);
  if (differences.none()) {
    return tell(settings,
                fmt::format("No difference in {}.\n", counted(left.bytes.count(), "byte")), fields);
  }
  tell_and_fail(settings, picture_of(differences, left, right, wants_colour(STDOUT_FILENO)),
                fields);
}

const Card* kind_of_sides(const Settings& settings, const Side& left, const Side& right) {
  for (const Side* side : {&left, &right}) {
    if (side->backup) return side->backup->card;
  }
  return settings.card;
}

void expect_on_card(const Side& file, const Card& card) {
  const int size = size_of(card);
  if (file.bytes.span().end() <= size) return;
  throw UsageError(fmt::format("{} has a byte at 0x{:04X}, and a {} card has {}", file.name,
                               file.bytes.span().end() - 1, card.name, counted(size, "byte")));
}

void compare_with_card(const Settings& given, const DiffOptions& options, Side file) {
  Settings settings = given;
  if (file.backup && settings.card == nullptr) settings.card = file.backup->card;
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const int offset =
      options.address + (options.region ? find_region(card, *options.region).range.address : 0);
  file.bytes = file.bytes.shifted(offset);
  expect_on_card(file, card);
  const Keys keys = parse_keys(card, options.code);
  Side held{.name = "the card", .bytes = {}, .backup = std::nullopt};
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    if (file.backup && offset == 0) {
      held.backup = take_backup(connection, card, reading_to_compare);
      held.bytes = held.backup->bytes();
    } else {
      file.backup.reset();
      const auto ranges = ranges_to_read(card, file.bytes);
      const Segments read = read_ranges(connection, card, ranges, reading_to_compare);
      SegmentCollector collector;
      for (const Segment& segment : file.bytes) {
        for (const Segment& there : read.within(segment.range())) {
          collector.add(0, there.address, there.bytes);
        }
      }
      held.bytes = collector.collect();
    }
  }
  tell_differences(settings, file, held, &card);
}

void run_diff(const Settings& settings, const DiffOptions& options) {
  Side left = side_of(*options.left, options);
  if (!options.right) return compare_with_card(settings, options, std::move(left));
  const Side right = side_of(*options.right, options);
  tell_differences(settings, left, right, kind_of_sides(settings, left, right));
}

}  // namespace

void add_diff(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<DiffOptions>();
  CLI::App* command = program.add_subcommand(
      "diff", "Tell all differences of two files, or of a file and the card");
  add_file(*command, "FILE", options->left, "Data, or a backup ('-': standard input)")->required();
  add_file(*command, "OTHER", options->right, "Another one; without it, the card");
  command
      ->add_option("--format", options->format,
                   fmt::format("The format of the files: {}; without it, their content tells",
                               format_names()))
      ->type_name("FORMAT");
  add_address(*command, options->address);
  command->add_option("--at", options->region, "The region of the card that the data are of")
      ->type_name("REGION");
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra diff before.json after.json",
                          "quorra diff --config reader.conf --card 24c64 card.hex"});
  command->callback([&settings, options] { run_diff(settings, *options); });
}

}  // namespace quorra::cli
