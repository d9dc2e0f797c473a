// quorra protect

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "cli/card_access.hpp"
#include "cli/commands.hpp"
#include "cli/files.hpp"
#include "cli/hex_dump.hpp"
#include "cli/options.hpp"
#include "cli/terminal.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading{.doing = "reading the bytes to protect", .done = "read"};
constexpr Operation protecting{.doing = "protecting", .done = "protected"};

struct ProtectOptions {
  int address = 0;
  int count = 1;
  std::optional<std::string> code;
  bool yes = false;
};

int count_protected(const std::vector<bool>& is_protected) {
  return static_cast<int>(std::count(is_protected.begin(), is_protected.end(), true));
}

void protect(const Connection& connection, const Card& card, Range range, const Bytes& bytes) {
  const Operation operation{protecting.doing, card.protection->kind, protecting.done};
  transfer(connection, card, range, operation, [&](Range piece, int done) {
    return connection.attempt(operation, card.protection->write, piece.address, piece.count,
                              bytes.data() + done);
  });
  if (operation.kind == OperationKind::protecting) return;
  const std::vector<bool> is_protected = read_protection(connection, card, range);
  const auto writable = std::find(is_protected.begin(), is_protected.end(), false);
  if (writable != is_protected.end()) {
    throw Failure(fmt::format("{}: the byte at 0x{:04X} is still writable", protecting.doing,
                              range.address + (writable - is_protected.begin())));
  }
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
    const std::vector<bool> is_protected = read_protection(connection, card, range);
    before = count_protected(is_protected);
    if (before < range.count) {
      if (!options.yes) confirm(connection, range.address, bytes, is_protected);
      if (code) present_code(connection, card, *code, options.yes);
      protect(connection, card, range, bytes);
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
