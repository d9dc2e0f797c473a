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
#include "toolkit/kinds/card.hpp"

namespace quorra::cli {

// One of them is to be given.
struct DataOptions {
  std::vector<std::string> hex;
  std::optional<std::string> text;
  std::optional<std::string> file;
};

void add_data(CLI::App& command, DataOptions& options);

// The bytes, at least one; those of a file are not more than `limit`. Throws UsageError; `verb`
// says there what they are for, and `holder`, "a 4442 card", what has the limit.
Bytes data_from(const DataOptions& options, int limit, std::string_view holder,
                std::string_view verb);

// The same for the bytes of a card's memory.
Bytes data_from(const DataOptions& options, const Card& card, const Memory& memory,
                std::string_view verb);

}  // namespace quorra::cli
