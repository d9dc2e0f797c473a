// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/data.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/files.hpp"
#include "cli/options.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

Bytes content_of(const std::string& file, int limit, std::string_view holder) {
  const auto size = static_cast<std::size_t>(limit);
  Bytes data = read_file(file, size + 1);
  if (data.size() > size) {
    throw UsageError(fmt::format("--file: {} holds more than the {} of {}", file,
                                 counted(limit, "byte"), holder));
  }
  return data;
}

Bytes given_bytes(const DataOptions& options, int limit, std::string_view holder) {
  if (options.text) return {options.text->begin(), options.text->end()};
  if (options.file) return content_of(*options.file, limit, holder);
  return parse_hex("HEX", fmt::format("{}", fmt::join(options.hex, " ")));
}

}  // namespace

void add_data(CLI::App& command, DataOptions& options) {
  command.add_option("HEX", options.hex, "The bytes, two hex digits each")->type_name("");
  command.add_option("--text", options.text, "Or: the bytes of this text")->type_name("TEXT");
  add_file(command, "--file", options.file, "Or: the bytes of this file ('-': standard input)");
}

Bytes data_from(const DataOptions& options, int limit, std::string_view holder,
                std::string_view verb) {
  const int sources =
      (options.hex.empty() ? 0 : 1) + (options.text ? 1 : 0) + (options.file ? 1 : 0);
  if (sources == 0) {
    throw UsageError(fmt::format("nothing to {}: give HEX, --text or --file", verb));
  }
  if (sources > 1) throw UsageError("give one of HEX, --text and --file, not several");
  Bytes data = given_bytes(options, limit, holder);
  if (data.empty()) throw UsageError(fmt::format("nothing to {}: there is not one byte", verb));
  return data;
}

Bytes data_from(const DataOptions& options, const Card& card, const Memory& memory,
                std::string_view verb) {
  return data_from(options, memory.size, name_of(card, memory), verb);
}

}  // namespace quorra::cli
