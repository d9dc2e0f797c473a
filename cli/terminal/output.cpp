// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/output.hpp"

#include <fmt/core.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/files/data_file.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr char standard_output[] = "/dev/stdout";

struct NamedFile {
  std::string_view option;
  std::string file;
};

FileFormat format_of(const OutputOptions& options) {
  if (options.format) return parse_format(*options.format);
  if (options.raw || !options.has_formats || !options.file) return FileFormat::raw;
  return format_of_name(*options.file);
}

Json addresses_of(const std::vector<bool>& flags, int first) {
  Json addresses = Json::array();
  for (std::size_t at = 0; at < flags.size(); ++at) {
    if (flags[at]) addresses.push_back(first + static_cast<int>(at));
  }
  return addresses;
}

std::vector<NamedFile> files_of(const Settings& settings) {
  std::vector<NamedFile> files;
  if (settings.configuration) files.push_back({"--config", *settings.configuration});
  if (settings.device) files.push_back({"--device", *settings.device});
  if (settings.image) files.push_back({"--virtual", *settings.image});
  if (settings.waves) files.push_back({"--waves", *settings.waves});
  if (!settings.names_reader()) {
    if (auto file = found_file()) files.push_back({"the reader", std::move(*file)});
  }
  for (const std::string& sam : settings.sams) {
    files.push_back({"--virtual-sam", sam.substr(sam.find('=') + 1)});
  }
  return files;
}

}  // namespace

void add_output(CLI::App& command, OutputOptions& options) {
  add_file(command, "--output", options.file, "Save the bytes to this file ('-': standard output)");
  command.add_flag("--raw", options.raw, "Write the bytes as they are, not as a hex dump");
}

void add_output_format(CLI::App& command, OutputOptions& options) {
  options.has_formats = true;
  command
      .add_option("--format", options.format,
                  fmt::format("The format of the bytes: {}; without it, the name of the file tells",
                              format_names()))
      ->type_name("FORMAT");
}

void expect_other_file(const OutputOptions& options, const Settings& settings) {
  if (format_of(options) != FileFormat::raw && options.raw) {
    throw UsageError("--raw and --format name two formats: give one of them");
  }
  const std::string name = options.file.value_or(std::string(standard_stream));
  if (settings.json && !options.wants_dump() && is_standard_output(name)) {
    throw UsageError("--json goes to standard output, and the bytes cannot go there, too");
  }
  expect_other_file("--output", name, settings);
}

void expect_other_file(std::string_view option, const std::string& file, const Settings& settings) {
  const bool to_standard_output = file == standard_stream;
  for (const NamedFile& named : files_of(settings)) {
    // What cannot be looked at is no such file.
    std::error_code error;
    if (!std::filesystem::equivalent(to_standard_output ? standard_output : file, named.file,
                                     error)) {
      continue;
    }
    throw UsageError(
        fmt::format("{} is the file of {}, which would be lost; name another one",
                    to_standard_output ? "standard output" : fmt::format("{}: {}", option, file),
                    named.option));
  }
}

void show_or_save(const Settings& settings, const OutputOptions& options, Json fields, int address,
                  const Bytes& bytes, const std::vector<bool>& is_protected,
                  std::string_view remark) {
  if (options.wants_dump()) {
    fields["data"] = plain_hex(bytes);
    if (!is_protected.empty()) fields["protected"] = addresses_of(is_protected, address);
    const std::string dump = hex_dump(address, bytes, is_protected, wants_colour(STDOUT_FILENO));
    tell(settings, dump + std::string(remark), fields);
    return;
  }
  const std::string file = options.file.value_or(std::string(standard_stream));
  const FileFormat format = format_of(options);
  write_file(file, to_data_file(Segments(address, bytes), format));
  if (is_standard_output(file)) return;
  fields["file"] = file;
  if (options.has_formats) fields["format"] = name_of(format);
  tell(settings,
       fmt::format("Read {} at 0x{:04X} into {}.\n{}",
                   counted(static_cast<int>(bytes.size()), "byte"), address, file, remark),
       fields);
}

}  // namespace quorra::cli
