// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/data.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/files.hpp"
#include "cli/options.hpp"
#include "toolkit/files/data_file.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr char no_address[] = "--address is required, or --at";

void expect_one_source(const DataOptions& options, std::string_view verb) {
  const int sources =
      (options.hex.empty() ? 0 : 1) + (options.text ? 1 : 0) + (options.file ? 1 : 0);
  if (sources == 0) {
    throw UsageError(fmt::format("nothing to {}: give HEX, --text or --file", verb));
  }
  if (sources > 1) throw UsageError("give one of HEX, --text and --file, not several");
}

void expect_bytes(bool there_are, std::string_view verb) {
  if (!there_are) {
    throw UsageError(fmt::format("nothing to {}: there is not one byte", verb));
  }
}

Bytes content_of(const std::string& file, std::size_t size, int limit, std::string_view holder) {
  Bytes data = read_file(file, size + 1);
  if (data.size() > size) {
    throw UsageError(fmt::format("--file: {} holds more than the {} of {}", file,
                                 counted(limit, "byte"), holder));
  }
  return data;
}

// Bytes that are no file.
Bytes typed_bytes(const DataOptions& options) {
  if (options.text) return {options.text->begin(), options.text->end()};
  return parse_hex("HEX", fmt::format("{}", fmt::join(options.hex, " ")));
}

}  // namespace

void add_data(CLI::App& command, DataOptions& options) {
  command.add_option("HEX", options.hex, "The bytes, two hex digits each")->type_name("");
  command.add_option("--text", options.text, "Or: the bytes of this text")->type_name("TEXT");
  add_file(command, "--file", options.file, "Or: the bytes of this file ('-': standard input)");
}

void add_data_format(CLI::App& command, DataOptions& options) {
  command
      .add_option(
          "--format", options.format,
          fmt::format("The format of the file: {}; without it, the content tells", format_names()))
      ->type_name("FORMAT");
}

Bytes data_from(const DataOptions& options, int limit, std::string_view holder,
                std::string_view verb) {
  expect_one_source(options, verb);
  Bytes data = options.file
                   ? content_of(*options.file, static_cast<std::size_t>(limit), limit, holder)
                   : typed_bytes(options);
  expect_bytes(!data.empty(), verb);
  return data;
}

CardData card_data_from(const DataOptions& options, const PlaceOptions& place_options,
                        const Place& place, std::string_view verb) {
  expect_one_source(options, verb);
  if (!options.file) {
    if (options.format) throw UsageError("--format is that of a file: give --file");
    const Bytes data = typed_bytes(options);
    expect_bytes(!data.empty(), verb);
    CardData typed{.bytes = Segments(place.address, data), .is_from_file = false};
    place.expect_to_hold(typed.bytes);
    return typed;
  }
  std::optional<FileFormat> format;
  if (options.format) format = parse_format(*options.format);
  const Bytes content = content_of(*options.file, largest_file, place.room.count, place.holder);
  const DataFile file = parse_data_file(*options.file, content, format);
  if (!file.has_addresses()) {
    if (!place_options.has_address()) {
      throw UsageError(
          fmt::format("{}: {} is raw bytes, which have no addresses", no_address, *options.file));
    }
    if (content.size() > static_cast<std::size_t>(place.room.count)) {
      throw UsageError(fmt::format("--file: {} holds more than the {} of {}", *options.file,
                                   counted(place.room.count, "byte"), place.holder));
    }
  }
  expect_bytes(!file.segments.empty(), verb);
  CardData data{.bytes = file.segments.shifted(place.address), .is_from_file = true};
  place.expect_to_hold(data.bytes);
  return data;
}

void want_address(CLI::App& command) {
  command.parse_complete_callback([&command] {
    // A word that is not understood is told first, by whoever it has fallen through to.
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
      if (app->remaining_size() > 0) return;
    }
    if (command.count("--file") + command.count("--address") + command.count("--at") > 0) return;
    throw UsageError(fmt::format("{}: what is given has no address of its own", no_address));
  });
}

}  // namespace quorra::cli
