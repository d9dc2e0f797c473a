// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/output.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::cli {

void add_output(CLI::App& command, OutputOptions& options) {
  add_file(command, "--output", options.file, "Save the bytes to this file ('-': standard output)");
  command.add_flag("--raw", options.raw, "Write the bytes as they are, not as a hex dump");
}

void show_or_save(const OutputOptions& options, int address, const Bytes& bytes,
                  const std::vector<bool>& is_protected) {
  if (options.wants_dump()) {
    print(hex_dump(address, bytes, is_protected, wants_colour(STDOUT_FILENO)));
    return;
  }
  const std::string file = options.file.value_or(std::string(standard_stream));
  write_file(file, bytes);
  if (is_standard_output(file)) return;
  print(fmt::format("Read {} at 0x{:04X} into {}.\n",
                    counted(static_cast<int>(bytes.size()), "byte"), address, file));
}

}  // namespace quorra::cli
