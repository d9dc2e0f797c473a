// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Tables as text: RFC 4180, with a header row.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorra::toolkit {

struct CsvRow {
  int line = 0;  // the one in which it begins
  std::vector<std::string> fields;
};

// Each row has as many fields as the header.
struct CsvTable {
  std::vector<std::string> header;
  std::vector<CsvRow> rows;
};

// Lines end with LF or CR LF; a byte order mark and empty lines at the end are passed over. Throws
// UsageError, in one line: "cards.csv:3: ...".
CsvTable parse_csv(std::string_view file_name, std::string_view content, char separator = ',');

// One row, with its end. Fields are quoted where they have to be.
std::string csv_line(const std::vector<std::string>& fields);

}  // namespace quorra::toolkit
