// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra read

#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/output.hpp"
#include "toolkit/memory/transfer.hpp"

namespace quorra::cli {
namespace {

struct ReadOptions {
  std::optional<int> zone;
  int address = 0;
  std::optional<int> count;
  CodeOptions code;
  std::optional<std::string> yes;
  OutputOptions output;
};

void run_read(const Settings& settings, const ReadOptions& options) {
  expect_other_file(options.output, settings);
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const Memory& memory = memory_of(card, options.zone);
  const Range range = readable_range(card, memory, options.address, options.count);
  const Keys keys = parse_keys(card, options.code);

  Bytes bytes;
  std::vector<bool> is_protected;
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    bytes = read_memory(connection, memory, range, reading_card);
    if (options.output.wants_dump()) is_protected = read_protection(connection, card, range);
  }
  show_or_save(settings, options.output, fields_of(card, memory, range), range.address, bytes,
               is_protected);
}

}  // namespace

void add_read(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<ReadOptions>();
  CLI::App* command = program.add_subcommand("read", "Show or save the card's memory");
  add_zone(*command, options->zone);
  add_address(*command, options->address);
  add_number(*command, "--count", options->count, "Number of bytes; without it, up to the end");
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_output(*command, options->output);
  add_examples(*command, {"quorra read --config reader.conf",
                          "quorra read --virtual card.toml --address 0x20 --count 16",
                          "quorra read --config reader.conf --card 24c64 --output card.bin"});
  command->callback([&settings, options] { run_read(settings, *options); });
}

}  // namespace quorra::cli
