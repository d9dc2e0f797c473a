// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra atr

#include <memory>

#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "toolkit/processor/answer_to_reset.hpp"
#include "toolkit/processor/conversation.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

void run_atr(const Settings& settings, SamNumber sam) {
  Bytes answer;
  {
    const Connection connection(settings, Subject::anything);
    select(connection, sam);
    answer = reset(connection, sam);
  }
  print(hex_text(answer) + '\n');
  print(describe_answer_to_reset(answer));
}

}  // namespace

void add_atr(CLI::App& program, const Settings& settings) {
  const auto sam = std::make_shared<SamNumber>();
  CLI::App* command = program.add_subcommand(
      "atr", "Reset a processor card, and tell what its answer to reset says");
  add_sam(*command, *sam);
  add_examples(*command,
               {"quorra atr --config reader.conf", "quorra atr --config reader.conf --sam 0"});
  command->callback([&settings, sam] { run_atr(settings, *sam); });
}

}  // namespace quorra::cli
