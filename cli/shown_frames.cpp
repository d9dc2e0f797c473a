// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/shown_frames.hpp"

namespace quorra::cli {

void add_frame_options(CLI::App& command, FrameOptions& options) {
  command.add_flag("--json", options.json, "One JSON object a line in place of words");
  command.add_flag_callback(
      "--show-codes", [&options] { options.codes = wire::Codes::shown; },
      "Show codes; without it they are ** in what is shown, and zeros in what is recorded");
}

std::string told(const wire::Decoded& frame, const FrameOptions& options) {
  return options.json ? wire::as_json(frame, options.codes) + '\n'
                      : wire::in_words(frame, options.codes);
}

}  // namespace quorra::cli
