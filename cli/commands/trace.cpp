// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra trace

#include <fmt/core.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/shown_frames.hpp"
#include "toolkit/wire/pcapng.hpp"

namespace quorra::cli {
namespace {

// Of what is no regular file, whose size nobody knows.
constexpr std::size_t largest_piped_recording = std::size_t{64} * 1024 * 1024;

struct TraceOptions {
  std::optional<std::string> file;
  FrameOptions frames;
};

std::string name_of(const std::string& file) {
  return file == standard_stream ? "standard input" : file;
}

Bytes content_of_recording(const std::string& file) {
  std::error_code error;
  const bool is_regular = file != standard_stream && std::filesystem::is_regular_file(file, error);
  if (is_regular) return read_file(file, std::filesystem::file_size(file, error));
  Bytes content = read_file(file, largest_piped_recording + 1);
  if (content.size() > largest_piped_recording) {
    throw UsageError(fmt::format("{} holds more than {} bytes, and is no regular file",
                                 name_of(file), largest_piped_recording));
  }
  return content;
}

void run_trace(const Settings& settings, const TraceOptions& options) {
  const Bytes content = content_of_recording(*options.file);
  const wire::Recording recording = wire::read_recording(content);
  wire::Decoder decoder;
  for (const wire::Frame& frame : recording.frames) {
    print(told(decoder.take(frame), settings, options.frames));
  }
  if (!recording.error.empty()) {
    throw Failure(fmt::format("reading {}: {}", name_of(*options.file), recording.error));
  }
}

}  // namespace

void add_trace(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<TraceOptions>();
  CLI::App* command = program.add_subcommand(
      "trace", "Show a recording of the line to a reader, as quorra tap makes it, in words");
  add_file(*command, "FILE", options->file, "The recording, a pcapng file ('-': standard input)")
      ->required();
  add_frame_options(*command, options->frames);
  add_examples(*command, {"quorra trace session.pcapng", "quorra trace --json session.pcapng"});
  command->callback([&settings, options] { run_trace(settings, *options); });
}

}  // namespace quorra::cli
