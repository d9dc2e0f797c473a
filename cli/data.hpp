// Bytes that a user gives: as HEX, as text or in a file.
#pragma once

#include <CLI/App.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/card.hpp"
#include "cli/parse.hpp"

namespace quorra::cli {

// One of them is to be given.
struct DataOptions {
  std::vector<std::string> hex;
  std::optional<std::string> text;
  std::optional<std::string> file;
};

void add_data(CLI::App& command, DataOptions& options);

// The bytes, at least one and no more than the memory has. Throws UsageError; `verb` says there
// what they are for.
Bytes data_from(const DataOptions& options, const Card& card, const Memory& memory,
                std::string_view verb);

}  // namespace quorra::cli
