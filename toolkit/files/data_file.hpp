// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Files of bytes: raw, Intel HEX, S-records and JSON.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "toolkit/bytes.hpp"
#include "toolkit/files/segments.hpp"

namespace quorra::toolkit {

enum class FileFormat { raw, ihex, srec, json };

// "raw", "ihex", "srec" or "json".
std::string_view name_of(FileFormat format);

// "raw, ihex, srec, json"
std::string format_names();

// The format of that name. Throws UsageError if there is none.
FileFormat parse_format(std::string_view name);

// The format in which a file of that name is written.
FileFormat format_of_name(std::string_view file_name);

// No file with all bytes of a card is larger, whatever its format.
inline constexpr std::size_t largest_file = 16UL << 20;

struct DataFile {
  FileFormat format = FileFormat::raw;
  Segments segments;

  // Those of a raw file begin at 0, which says nothing.
  bool has_addresses() const { return format != FileFormat::raw; }
};

// Takes what a file holds apart. Without a format the content tells which one it is. Throws
// UsageError, in one line: "card.hex: line 3: ...".
DataFile parse_data_file(std::string_view file_name, const Bytes& content,
                         std::optional<FileFormat> format = std::nullopt);

// What a file holds. Throws UsageError where the format cannot tell it: a raw file has no holes.
Bytes to_data_file(const Segments& segments, FileFormat format);

}  // namespace quorra::toolkit
