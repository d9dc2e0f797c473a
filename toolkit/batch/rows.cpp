// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/batch/rows.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <limits>
#include <optional>

#include "toolkit/batch/csv.hpp"
#include "toolkit/batch/digest.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

class RowMaker {
 public:
  RowMaker(const SeriesPlan& plan, std::string_view data) : plan_(plan) {
    if (!plan.data) return;
    data_file_ = beside(plan, *plan.data);
    table_ = parse_csv(data_file_, data, plan.separator);
    if (table_.rows.empty()) fail_at(data_file_, 1, "there is no row behind the header");
    const auto column = [this](const std::string& name) {
      return std::ranges::find(table_.header, name) != table_.header.end();
    };
    for (const SeriesCounter& counter : plan.counters) {
      if (!column(counter.name)) continue;
      fail_at(plan.file, counter.line,
              fmt::format("'{}' is a column of {}, too", counter.name, data_file_));
    }
  }

  SeriesRows make() {
    check_names();
    SeriesRows made;
    const int count = plan_.data ? static_cast<int>(table_.rows.size()) : plan_.rows;
    for (int number = 1; number <= count; ++number) {
      made.rows.push_back(make_row(number));
    }
    return made;
  }

 private:
  // Names that a value may have in braces. The code is for nobody's eyes.
  std::vector<std::string> usable_names() const {
    std::vector<std::string> names;
    for (const std::string& name : table_.header) {
      if (!plan_.code || plan_.code->column != name) names.push_back(name);
    }
    for (const SeriesCounter& counter : plan_.counters) {
      names.push_back(counter.name);
    }
    return names;
  }

  void check_name(const std::string& name, int line, const std::vector<std::string>& names) const {
    if (std::ranges::find(names, name) != names.end()) return;
    if (plan_.code && plan_.code->column == name) {
      fail_at(plan_.file, line,
              fmt::format("'{}' is the card's code, which is written and shown nowhere", name));
    }
    const std::string near = nearest(name, names);
    fail_at(plan_.file, line,
            fmt::format("'{{{}}}' is neither a column nor a counter{}", name,
                        near.empty() ? "" : fmt::format("; did you mean '{{{}}}'?", near)));
  }

  void check_names() const {
    if (plan_.code && plan_.code->column &&
        std::ranges::find(table_.header, *plan_.code->column) == table_.header.end()) {
      const std::string near = nearest(*plan_.code->column, table_.header);
      fail_at(plan_.file, plan_.code->line,
              fmt::format("code: there is no column '{}'{}", *plan_.code->column,
                          near.empty() ? "" : fmt::format("; did you mean '{}'?", near)));
    }
    const std::vector<std::string> names = usable_names();
    for (const SeriesField& field : plan_.fields) {
      for (const std::string& name : field.value.names()) {
        check_name(name, field.line, names);
      }
    }
    for (const std::string& name : plan_.label.names()) {
      check_name(name, plan_.label_line, names);
    }
  }

  std::string value_of(const SeriesCounter& counter, int number) const {
    std::int64_t value = 0;
    if (__builtin_mul_overflow(counter.step, number - 1, &value) ||
        __builtin_add_overflow(value, counter.start, &value) || value < 0) {
      fail_at(plan_.file, counter.line,
              fmt::format("counter '{}': row {} would be below 0, or far too large", counter.name,
                          number));
    }
    std::string digits = fmt::format("{:0{}}", value, counter.width);
    if (counter.width > 0 && digits.size() > static_cast<std::size_t>(counter.width)) {
      fail_at(plan_.file, counter.line,
              fmt::format("counter '{}': {} of row {} has more than {}", counter.name, digits,
                          number, counted(counter.width, "digit")));
    }
    return digits;
  }

  SeriesRow make_row(int number) const {
    SeriesRow row{.number = number, .line = 0, .label = {}, .bytes = {}, .code = {}};
    Values values;
    if (plan_.data) {
      const CsvRow& source = table_.rows[static_cast<std::size_t>(number - 1)];
      row.line = source.line;
      for (std::size_t column = 0; column < table_.header.size(); ++column) {
        values[table_.header[column]] = source.fields[column];
      }
    }
    for (const SeriesCounter& counter : plan_.counters) {
      values[counter.name] = value_of(counter, number);
    }
    SegmentCollector collector;
    for (const SeriesField& field : plan_.fields) {
      collector.add(field.line, field.range.address, bytes_of(field, row, values));
    }
    row.bytes = collector.collect();
    row.label = plan_.label.fill(values);
    if (plan_.code && plan_.code->column) {
      row.code = parse_code(*plan_.code->code, fmt::format("{}:{}", data_file_, row.line),
                            values[*plan_.code->column]);
    }
    return row;
  }

  Bytes bytes_of(const SeriesField& field, const SeriesRow& row, const Values& values) const {
    try {
      return encode(field.field, field.value.fill(values));
    } catch (const UsageError& error) {
      if (field.value.names().empty()) fail_at(plan_.file, field.line, error.what());
      const std::string reason = fmt::format("{} ({}:{})", error.what(), plan_.file, field.line);
      if (row.line > 0) fail_at(data_file_, row.line, reason);
      fail_at(plan_.file, field.line, fmt::format("row {}: {}", row.number, error.what()));
    }
  }

  const SeriesPlan& plan_;
  std::string data_file_;
  CsvTable table_;
};

}  // namespace

SeriesRows make_rows(const SeriesPlan& plan, std::string_view data) {
  SeriesRows rows = RowMaker(plan, data).make();
  if (plan.data) rows.digest = digest_of(data);
  return rows;
}

Bytes parse_code(const Code& code, std::string_view place, std::string_view text) {
  Bytes bytes;
  try {
    std::string digits(text);
    std::erase_if(digits, [](unsigned char character) { return std::isspace(character) != 0; });
    bytes = encode({.format = FieldFormat::hex}, digits);
  } catch (const UsageError&) {
    throw UsageError(fmt::format("{}: the code is not hexadecimal, two digits a byte", place));
  }
  const auto size = static_cast<int>(bytes.size());
  if (size == code.size) return bytes;
  throw UsageError(
      fmt::format("{}: the code has {}, not {}", place, counted(code.size, "byte"), size));
}

Bytes joined(const Segments& segments) {
  Bytes bytes;
  for (const Segment& segment : segments) {
    bytes.insert(bytes.end(), segment.bytes.begin(), segment.bytes.end());
  }
  return bytes;
}

}  // namespace quorra::toolkit
