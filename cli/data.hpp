// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Bytes that a user gives: as HEX, as text or in a file.
#pragma once

#include <CLI/App.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/parse.hpp"
#include "cli/place.hpp"
#include "toolkit/files/segments.hpp"

namespace quorra::cli {

// One of them is to be given.
struct DataOptions {
  std::vector<std::string> hex;
  std::optional<std::string> text;
  std::optional<std::string> file;
  std::optional<std::string> format;  // of the file, for what goes to a card or is compared with it
};

void add_data(CLI::App& command, DataOptions& options);

// --format
void add_data_format(CLI::App& command, DataOptions& options);

// The bytes, at least one; those of a file are not more than `limit`. Throws UsageError; `verb`
// says there what they are for, and `holder`, "a 4442 card", what has the limit.
Bytes data_from(const DataOptions& options, int limit, std::string_view holder,
                std::string_view verb);

// The same for bytes of a card. What a file tells addresses of may have holes.
struct CardData {
  Segments bytes;
  bool is_from_file = false;
};

// The bytes at their addresses, all of which are in the place that the options name. Throws
// UsageError, also if there is no address for bytes that have none.
CardData card_data_from(const DataOptions& options, const PlaceOptions& place_options,
                        const Place& place, std::string_view verb);

// Has the command line refused if bytes without addresses come without one: HEX and --text.
void want_address(CLI::App& command);

}  // namespace quorra::cli
