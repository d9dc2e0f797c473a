// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/batch/csv.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

class CsvReader {
 public:
  CsvReader(std::string_view file_name, std::string_view content, char separator)
      : file_name_(file_name),
        rest_(content),
        separator_(separator) {
    if (rest_.starts_with(byte_order_mark)) rest_.remove_prefix(byte_order_mark.size());
  }

  CsvTable read() {
    CsvTable table;
    if (rest_.empty()) fail(1, "the file is empty; its first row names the columns");
    table.header = read_row().fields;
    check_header(table.header);
    while (!is_at_end()) {
      CsvRow row = read_row();
      check_row(row, table.header);
      table.rows.push_back(std::move(row));
    }
    return table;
  }

 private:
  [[noreturn]] void fail(int line, std::string_view reason) const {
    throw UsageError(fmt::format("{}:{}: {}", file_name_, line, reason));
  }

  void check_header(const std::vector<std::string>& header) const {
    for (auto name = header.begin(); name != header.end(); ++name) {
      if (name->empty()) {
        fail(1, fmt::format("column {} has no name", name - header.begin() + 1));
      }
      if (std::find(header.begin(), name, *name) != name) {
        fail(1, fmt::format("there are two columns '{}'", *name));
      }
    }
  }

  void check_row(const CsvRow& row, const std::vector<std::string>& header) const {
    if (row.fields.size() == header.size()) return;
    if (row.fields.size() == 1 && row.fields.front().empty()) fail(row.line, "the line is empty");
    const auto counts =
        fmt::format("{}, but the header has {}",
                    counted(static_cast<int>(row.fields.size()), "field"), header.size());
    if (row.fields.size() > header.size()) fail(row.line, counts);
    fail(row.line, fmt::format("{}; '{}' is missing", counts, header[row.fields.size()]));
  }

  // Whether nothing but empty lines follows.
  bool is_at_end() const { return rest_.find_first_not_of("\r\n") == std::string_view::npos; }

  bool is_at_line_end() const {
    return rest_.empty() || rest_.starts_with('\n') || rest_.starts_with("\r\n");
  }

  void skip_line_end() {
    if (rest_.starts_with('\r')) rest_.remove_prefix(1);
    if (!rest_.empty()) rest_.remove_prefix(1);
    ++line_;
  }

  CsvRow read_row() {
    CsvRow row{line_, {}};
    for (;;) {
      row.fields.push_back(rest_.starts_with('"') ? read_quoted() : read_plain());
      if (is_at_line_end()) break;
      rest_.remove_prefix(1);
    }
    skip_line_end();
    return row;
  }

  std::string read_plain() {
    std::size_t end = 0;
    while (end < rest_.size() && rest_[end] != separator_ && rest_[end] != '\n') {
      if (rest_[end] == '"') {
        fail(line_, "a field with a quote in it stands in quotes, and the quote is doubled");
      }
      ++end;
    }
    std::string field(rest_.substr(0, end));
    if (end < rest_.size() && rest_[end] == '\n' && field.ends_with('\r')) {
      field.pop_back();
      --end;
    }
    rest_.remove_prefix(end);
    return field;
  }

  std::string read_quoted() {
    const int first_line = line_;
    rest_.remove_prefix(1);
    std::string field;
    for (;;) {
      const std::size_t quote = rest_.find('"');
      if (quote == std::string_view::npos) fail(first_line, "a quote is not closed");
      field += rest_.substr(0, quote);
      line_ += static_cast<int>(std::ranges::count(rest_.substr(0, quote), '\n'));
      rest_.remove_prefix(quote + 1);
      if (!rest_.starts_with('"')) break;
      field += '"';
      rest_.remove_prefix(1);
    }
    if (!is_at_line_end() && rest_.front() != separator_) {
      fail(line_, "something stands behind the quotes of a field");
    }
    return field;
  }

  std::string_view file_name_;
  std::string_view rest_;
  char separator_;
  int line_ = 1;
};

}  // namespace

CsvTable parse_csv(std::string_view file_name, std::string_view content, char separator) {
  return CsvReader(file_name, content, separator).read();
}

std::string csv_line(const std::vector<std::string>& fields) {
  std::string line;
  for (const std::string& field : fields) {
    if (&field != &fields.front()) line += ',';
    if (field.find_first_of("\",\r\n") == std::string::npos) {
      line += field;
      continue;
    }
    line += '"';
    for (const char character : field) {
      if (character == '"') line += '"';
      line += character;
    }
    line += '"';
  }
  return line + "\n";
}

}  // namespace quorra::toolkit
