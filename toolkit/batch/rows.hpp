// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What each card of a series gets. A row belongs to no card before it is on one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "toolkit/batch/plan.hpp"
#include "toolkit/bytes.hpp"
#include "toolkit/files/segments.hpp"

namespace quorra::toolkit {

// No file with rows is larger.
inline constexpr std::size_t largest_data = 64UL << 20;

struct SeriesRow {
  int number = 0;  // from 1
  int line = 0;    // in the file with the data; 0 without one
  std::string label;
  Segments bytes;  // of the same addresses in all rows
  Bytes code;      // of the card, if each has its own
};

struct SeriesRows {
  std::vector<SeriesRow> rows;  // by number
  std::string digest;           // of the file with the data; empty without one

  const SeriesRow& row(int number) const { return rows.at(static_cast<std::size_t>(number - 1)); }
  int count() const { return static_cast<int>(rows.size()); }
};

// `data` is what the plan's file with the data holds. Throws UsageError, in one line, with the line
// of the plan or of the data: "cards.csv:3: ...".
SeriesRows make_rows(const SeriesPlan& plan, std::string_view data);

// The bytes of the code that a file holds: hex digits. Throws UsageError, which does not show them.
Bytes parse_code(const Code& code, std::string_view place, std::string_view text);

// All of the bytes, one after the other.
Bytes joined(const Segments& segments);

}  // namespace quorra::toolkit
