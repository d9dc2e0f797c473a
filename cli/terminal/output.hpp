// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What becomes of bytes that were read: a hex dump, or the bytes as they are.
#pragma once

#include <CLI/App.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/connection.hpp"
#include "cli/parse.hpp"
#include "cli/report.hpp"

namespace quorra::cli {

struct OutputOptions {
  std::optional<std::string> file;
  bool raw = false;
  bool has_formats = false;           // the name of the file may tell its format
  std::optional<std::string> format;  // or this

  bool wants_dump() const { return !file && !raw && !format; }
};

// --output and --raw
void add_output(CLI::App& command, OutputOptions& options);

// --format, after those; the name of the file may tell the format then.
void add_output_format(CLI::App& command, OutputOptions& options);

// Throws UsageError if there is no such format, if what is to be shown or saved would go into a
// file that the reader is made of, or if raw bytes would go between JSON.
void expect_other_file(const OutputOptions& options, const Settings& settings);

// Throws UsageError if what goes into the file that this option names would take the place of one
// that the reader is made of.
void expect_other_file(std::string_view option, const std::string& file, const Settings& settings);

// Shows what was read at this address as a hex dump that marks protected bytes, or writes the bytes
// to standard output, or saves them in a file and says so; with --json, `fields` go before them.
// `remark` is a line that follows what is said. Throws as write_file does.
void show_or_save(const Settings& settings, const OutputOptions& options, Json fields, int address,
                  const Bytes& bytes, const std::vector<bool>& is_protected = {},
                  std::string_view remark = {});

}  // namespace quorra::cli
