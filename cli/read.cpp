// quorra read

#include <fmt/format.h>
#include <unistd.h>

#include <memory>

#include "cli/card_access.hpp"
#include "cli/commands.hpp"
#include "cli/files.hpp"
#include "cli/hex_dump.hpp"
#include "cli/options.hpp"
#include "cli/terminal.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading{.doing = "reading the card", .done = "read"};

struct ReadOptions {
  std::optional<int> zone;
  int address = 0;
  std::optional<int> count;
  CodeOptions code;
  bool yes = false;
  std::string output;
  bool raw = false;
};

void run_read(const Settings& settings, const ReadOptions& options) {
  const Card& card = *settings.card;
  const Memory& memory = memory_of(card, options.zone);
  const Range range = readable_range(card, memory, options.address, options.count);
  const Keys keys = parse_keys(card, options.code);
  const bool as_dump = options.output.empty() && !options.raw;

  Bytes bytes;
  std::vector<bool> is_protected;
  {
    const Connection connection(settings);
    present(connection, card, keys, options.yes);
    bytes = read_memory(connection, memory, range, reading);
    if (as_dump) is_protected = read_protection(connection, card, range);
  }

  if (as_dump) {
    print(hex_dump(range.address, bytes, is_protected, wants_colour(STDOUT_FILENO)));
    return;
  }
  save(options.output, bytes, range.address);
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
  command
      ->add_option("--output", options->output,
                   "Save the bytes to this file ('-': standard output)")
      ->type_name("FILE");
  command->add_flag("--raw", options->raw, "Write the bytes as they are, not as a hex dump");
  add_examples(*command, {"quorra read --config reader.conf",
                          "quorra read --virtual card.toml --address 0x20 --count 16",
                          "quorra read --config reader.conf --card 24c64 --output card.bin"});
  command->callback([&settings, options] { run_read(settings, *options); });
}

}  // namespace quorra::cli
