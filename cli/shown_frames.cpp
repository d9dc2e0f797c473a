// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/shown_frames.hpp"

namespace quorra::cli {

void add_frame_options(CLI::App& command, FrameOptions& options) {
  command.add_flag_callback(
      "--show-codes", [&options] { options.codes = wire::Codes::shown; },
      "Show codes; without it they are ** in what is shown, and zeros in what is recorded");
}

std::string told(const wire::Decoded& frame, const Settings& settings,
                 const FrameOptions& options) {
  return settings.json ? wire::as_json(frame, options.codes) + '\n'
                       : wire::in_words(frame, options.codes);
}

}  // namespace quorra::cli
