// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra run

#include <fmt/core.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/script/script.hpp"

namespace quorra::cli {

void add_run(CLI::App& program, const Settings& settings) {
  struct Options {
    std::optional<std::string> file;
    bool keeps_going = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand(
      "run",
      "Carry out commands, one a line of a file, in one session with the reader. A line "
      "\"expect RESULT\" says what the command before it is to bring about");
  add_file(*command, "FILE", options->file,
           "The file; each line has the words of a command line, and # begins a comment ('-': "
           "standard input)")
      ->required()
      ->type_name("");
  command->add_flag("--keep-going", options->keeps_going,
                    "Go on after a command that went wrong, and end with status 1");
  add_examples(*command, {"quorra run --config reader.conf commands.txt",
                          "echo 'read --count 4' | quorra run --virtual card.toml -"});
  command->callback([&settings, options] {
    run_script(settings, Script::of_file(*options->file), options->keeps_going);
  });
}

}  // namespace quorra::cli
