// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/files/data_file.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <vector>

#include "toolkit/files/ihex.hpp"
#include "toolkit/files/json.hpp"
#include "toolkit/files/records.hpp"
#include "toolkit/files/srec.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {
namespace {

struct FormatRow {
  FileFormat format;
  std::string_view name;
  Segments (*read)(std::string_view text);
  std::string (*write)(const Segments& segments);
};

constexpr FormatRow formats[] = {
    {FileFormat::raw, "raw", nullptr, nullptr},
    {FileFormat::ihex, "ihex", read_ihex, to_ihex},
    {FileFormat::srec, "srec", read_srec, to_srec},
    {FileFormat::json, "json", read_json, to_json},
};

struct Extension {
  std::string_view text;
  FileFormat format;
};

constexpr Extension extensions[] = {
    {".hex", FileFormat::ihex},  {".ihex", FileFormat::ihex}, {".ihx", FileFormat::ihex},
    {".srec", FileFormat::srec}, {".s19", FileFormat::srec},  {".s28", FileFormat::srec},
    {".s37", FileFormat::srec},  {".mot", FileFormat::srec},  {".json", FileFormat::json},
};

// What --format takes beside the names and the endings of files.
constexpr Extension other_names[] = {
    {"bin", FileFormat::raw},       {"binary", FileFormat::raw},   {"intel-hex", FileFormat::ihex},
    {"s-record", FileFormat::srec}, {"srecord", FileFormat::srec},
};

std::string in_lower_case(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(),
                         [](unsigned char letter) { return std::tolower(letter); });
  return result;
}

const FormatRow& row_of(FileFormat format) {
  return *std::ranges::find(formats, format, &FormatRow::format);
}

bool is_hex_digit(char character) {
  return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

// The first characters tell the format, also of a file that is damaged behind them.
FileFormat format_of_content(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  const auto is = [text](std::size_t at, auto test) { return at < text.size() && test(text[at]); };
  const auto is_character = [&](std::size_t at, char wanted) {
    return is(at, [wanted](char character) { return character == wanted; });
  };
  if (is_character(0, ':') && is(1, is_hex_digit) && is(2, is_hex_digit)) return FileFormat::ihex;
  const auto is_digit = [](char character) { return character >= '0' && character <= '9'; };
  if (is_character(0, 'S') && is(1, is_digit) && is(2, is_hex_digit) && is(3, is_hex_digit)) {
    return FileFormat::srec;
  }
  if (is_character(0, '{')) {
    const std::size_t next = text.find_first_not_of(" \t\r\n", 1);
    if (next != std::string_view::npos && is_character(next, '"')) return FileFormat::json;
  }
  return FileFormat::raw;
}

// Without this, the digits of a damaged file would be taken for the data.
FileFormat recognise_format(std::string_view file_name, std::string_view text) {
  const FileFormat by_content = format_of_content(text);
  const FileFormat by_name = format_of_name(file_name);
  if (by_content == FileFormat::raw && by_name != FileFormat::raw) {
    throw UsageError(fmt::format("it does not begin as {} does; --format raw takes it as it is",
                                 name_of(by_name)));
  }
  return by_content;
}

DataFile parse_content(std::string_view file_name, const Bytes& content,
                       std::optional<FileFormat> given) {
  const std::string_view text = text_of(content);
  const FileFormat format = given ? *given : recognise_format(file_name, text);
  if (format == FileFormat::raw) return {format, Segments(0, content)};
  try {
    return {format, row_of(format).read(text)};
  } catch (const UsageError& error) {
    if (given) throw;
    throw UsageError(
        fmt::format("{} (taken for {}; --format can name another)", error.what(), name_of(format)));
  }
}

}  // namespace

std::string_view name_of(FileFormat format) { return row_of(format).name; }

std::string format_names() {
  std::vector<std::string_view> names;
  std::ranges::transform(formats, std::back_inserter(names), &FormatRow::name);
  return fmt::format("{}", fmt::join(names, ", "));
}

FileFormat parse_format(std::string_view name) {
  const std::string given = in_lower_case(name);
  const auto* const found = std::ranges::find(formats, given, &FormatRow::name);
  if (found != std::end(formats)) return found->format;
  for (const auto& [text, format] : other_names) {
    if (text == given) return format;
  }
  for (const auto& [text, format] : extensions) {
    if (text.substr(1) == given) return format;
  }
  throw UsageError(fmt::format("'{}' is no format of files; there are {}", name, format_names()));
}

FileFormat format_of_name(std::string_view file_name) {
  const std::string name = in_lower_case(file_name);
  const auto* const found = std::ranges::find_if(
      extensions, [&](const Extension& extension) { return name.ends_with(extension.text); });
  return found == std::end(extensions) ? FileFormat::raw : found->format;
}

DataFile parse_data_file(std::string_view file_name, const Bytes& content,
                         std::optional<FileFormat> format) {
  try {
    return parse_content(file_name, content, format);
  } catch (const UsageError& error) {
    throw UsageError(fmt::format("{}: {}", file_name, error.what()));
  }
}

Bytes to_data_file(const Segments& segments, FileFormat format) {
  if (format == FileFormat::raw) {
    if (segments.size() > 1) {
      throw UsageError(
          fmt::format("a raw file has no holes, and there is one at 0x{:04X}; another format has",
                      segments.front().end()));
    }
    return segments.empty() ? Bytes() : segments.front().bytes;
  }
  const std::string text = row_of(format).write(segments);
  return {text.begin(), text.end()};
}

}  // namespace quorra::toolkit
