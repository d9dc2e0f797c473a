// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The plan for a series of cards: which kind they are, and what each gets.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/batch/field.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/memory/protection.hpp"

namespace quorra::toolkit {

// No plan is longer.
inline constexpr std::size_t largest_plan = 64UL << 10;

// A value that grows from row to row, whichever card the row is written to.
struct SeriesCounter {
  int line = 0;
  std::string name;
  std::int64_t start = 1;
  std::int64_t step = 1;
  int width = 0;  // filled with zeros up to so many digits
};

struct SeriesField {
  int line = 0;
  Range range = {};  // of all zones of the card
  Field field;
  Template value;
};

// The code that is presented to each card.
struct SeriesCode {
  int line = 0;
  const Code* code = nullptr;
  // One of them.
  std::optional<std::string> column;
  std::optional<std::string> file;
  bool is_asked = false;
};

struct SeriesPlan {
  std::string file;    // as the user named it
  std::string digest;  // of its text
  const Card* card = nullptr;
  std::optional<std::string> data;  // the file with the rows, from the plan's folder
  char separator = ',';
  int rows = 0;    // without such a file
  Template label;  // what a row is called
  int label_line = 1;
  bool ejects = false;
  bool verifies = true;
  bool rewrites = false;  // cards that carry the data of a finished row
  std::optional<SeriesCode> code;
  std::vector<SeriesCounter> counters;
  std::vector<SeriesField> fields;  // the lowest address first, without overlaps
  std::vector<Range> protection;    // read-only in the end
  std::vector<ZoneGuard> guards;    // those against reading first

  bool protects() const { return !protection.empty() || !guards.empty(); }
};

// Throws UsageError, in one line, with the plan's line: "plan.toml:3: ...".
SeriesPlan parse_series_plan(std::string_view file_name, std::string_view text);

// A file that the plan names: beside the plan.
std::string beside(const SeriesPlan& plan, const std::string& name);

// Throws UsageError: "<file>:<line>: <reason>".
[[noreturn]] void fail_at(std::string_view file, int line, std::string_view reason);

}  // namespace quorra::toolkit
