// quorra protect

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

constexpr Operation reading{"reading the bytes to protect"};
constexpr Operation protecting{"protecting", OperationKind::protecting};

struct ProtectOptions {
  int address = 0;
  int count = 1;
  std::optional<std::string> code;
  bool yes = false;
};

// How many bytes of the range are protected.
int count_protected(const std::vector<bool>& is_protected, Range range) {
  int count = 0;
  for (int address = range.address; address < range.end(); ++address) {
    if (is_protected[static_cast<std::size_t>(address)]) ++count;
  }
  return count;
}

void confirm(const Connection& connection, int address, const Bytes& bytes,
             const std::vector<bool>& is_protected) {
  print_note(hex_dump(address, bytes, is_protected, wants_colour(STDERR_FILENO)));
  connection.confirm(protecting, "Protecting these bytes cannot be undone.");
}

void run_protect(const Settings& settings, const ProtectOptions& options) {
  const Card& card = *settings.card;
  if (!card.protection) {
    throw UsageError(fmt::format("the bytes of a {} card cannot be protected", card.name));
  }
  const Range range = range_within(
      card.protection->bytes, fmt::format("the part of a {} card that can be protected", card.name),
      options.address, options.count);
  const std::optional<Bytes> code = parse_present_code(card, options.code);
  if (!options.yes && !can_ask()) {
    throw UsageError("protecting cannot be undone: confirm with --yes");
  }

  int before = 0;
  {
    const Connection connection(settings);
    const Bytes bytes = read_memory(connection, card, range, reading);
    const std::vector<bool> is_protected = read_protection(connection, card);
    before = count_protected(is_protected, range);
    if (before < range.count) {
      if (!options.yes) confirm(connection, range.address, bytes, is_protected);
      if (code) present_code(connection, card, *code, options.yes);
      connection.run(protecting, card.protection->write, range.address, range.count, bytes.data());
    }
  }
  const std::string bytes =
      fmt::format("{} at 0x{:04X}", counted(range.count, "byte"), range.address);
  if (before == range.count) {
    print(fmt::format("Already protected: {}.\n", bytes));
  } else if (before > 0) {
    print(fmt::format("Protected {} (already protected: {}).\n", bytes, before));
  } else {
    print(fmt::format("Protected {}.\n", bytes));
  }
}

}  // namespace

void add_protect(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<ProtectOptions>();
  CLI::App* command =
      program.add_subcommand("protect", "Make bytes of the card read-only for good");
  add_address(*command, options->address)->required();
  add_number(*command, "--count", options->count, "Number of bytes; without it, 1");
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_examples(*command,
               {"quorra protect --config reader.conf --address 8 --count 4 --code FFFFFF"});
  command->callback([&settings, options] { run_protect(settings, *options); });
}

}  // namespace quorra::cli
