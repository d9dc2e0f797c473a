// quorra fill, and quorra erase, which fills with FF

#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "cli/card_access.hpp"
#include "cli/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/terminal.hpp"

namespace quorra::cli {
namespace {

constexpr Operation erasing{.doing = "erasing the card", .done = "erased"};
constexpr Operation filling{.doing = "filling the card", .done = "filled"};
constexpr Operation reading{.doing = "reading the read-only bytes", .done = "read"};
constexpr Operation reading_back{.doing = "reading back what was erased", .done = "read back"};

constexpr unsigned char erased_byte = 0xFF;

struct FillOptions {
  std::string byte;
  int address = 0;
  std::optional<int> count;
  std::optional<std::string> code;
  bool yes = false;
  bool no_verify = false;
};

// What the range is to hold, and how many of its bytes stay as they are.
struct Filling {
  Bytes data;
  int kept = 0;
};

// Bytes that are read-only for good keep their value.
Filling filling_for(const Connection& connection, const Card& card, Range range,
                    unsigned char byte) {
  Filling result{.data = Bytes(static_cast<std::size_t>(range.count), byte)};
  const std::vector<bool> is_protected = read_protection(connection, card, range);
  if (std::find(is_protected.begin(), is_protected.end(), true) == is_protected.end()) {
    return result;
  }
  const Range front{range.address, static_cast<int>(is_protected.size())};
  const Bytes held = read_memory(connection, card, front, reading);
  for (std::size_t at = 0; at < is_protected.size(); ++at) {
    if (!is_protected[at]) continue;
    result.data[at] = held[at];
    ++result.kept;
  }
  return result;
}

std::string describe(const Filling& content, unsigned char byte, Range range,
                     std::string_view read_back) {
  const std::string all = counted(range.count, "byte");
  if (content.kept == 0) {
    return fmt::format("Wrote {:02X} to {} at 0x{:04X}{}.\n", byte, all, range.address, read_back);
  }
  return fmt::format("Wrote {:02X} to {} of {} at 0x{:04X}{}; read-only bytes: {}.\n", byte,
                     range.count - content.kept, all, range.address, read_back, content.kept);
}

// Erases with the card's own command.
void erase_all(const Connection& connection, const Card& card, Range range, bool verify) {
  connection.run(erasing, card.erase_all);
  if (!verify) return;
  const Bytes held = read_memory(connection, card, range, reading_back);
  const Bytes wanted(held.size(), erased_byte);
  if (const auto difference = find_difference(wanted, held, range.address)) {
    throw Failure(fmt::format("{}: {}", reading_back.doing, describe(*difference)));
  }
}

void confirm_whole_card(const Connection& connection, const Card& card,
                        const Operation& operation) {
  connection.confirm(operation, fmt::format("All {} of the card are overwritten.",
                                            counted(card.writable, "byte")));
}

void run_fill(const Settings& settings, const FillOptions& options, const Operation& operation,
              unsigned char byte, bool with_command) {
  const Card& card = *settings.card;
  const Range range = writable_range(card, options.address, options.count);
  const std::optional<Bytes> code = parse_present_code(card, options.code);
  const bool is_whole_card = range.count == card.writable;
  if (is_whole_card && !options.yes && !can_ask()) {
    throw UsageError(
        fmt::format("{}: all of it is overwritten; confirm with --yes", operation.doing));
  }
  const bool verify = !options.no_verify;
  const std::string_view read_back = verify ? " and read them back" : "";
  const std::string bytes = counted(range.count, "byte");
  std::string done;
  {
    const Connection connection(settings);
    if (is_whole_card && !options.yes) confirm_whole_card(connection, card, operation);
    if (code) present_code(connection, card, *code, options.yes);
    if (with_command && is_whole_card && card.erase_all != nullptr) {
      erase_all(connection, card, range, verify);
      done = fmt::format("Erased all {} with the card's own command{}.\n", bytes, read_back);
    } else {
      const Filling content = filling_for(connection, card, range, byte);
      write_memory(connection, card, range, content.data, operation, verify);
      done = describe(content, byte, range, read_back);
    }
  }
  print(done);
}

unsigned char parse_byte(std::string_view name, std::string_view text) {
  const Bytes bytes = parse_hex(name, text);
  if (bytes.size() != 1) {
    throw UsageError(fmt::format("{}: one byte is wanted, such as 5A", name));
  }
  return bytes.front();
}

void add_common(CLI::App& command, FillOptions& options) {
  add_address(command, options.address);
  add_number(command, "--count", options.count, "Number of bytes; without it, up to the end");
  add_present_code(command, options.code);
  add_yes(command, options.yes);
  add_no_verify(command, options.no_verify);
}

}  // namespace

void add_erase(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<FillOptions>();
  CLI::App* command = program.add_subcommand(
      "erase",
      "Write FF to the card, or to a part of it. The whole of a 93c card is erased with the card's "
      "own command");
  add_common(*command, *options);
  add_examples(*command,
               {"quorra erase --config reader.conf --card 93c66 --yes",
                "quorra erase --config reader.conf --card 24c64 --address 0x100 --count 256"});
  command->callback(
      [&settings, options] { run_fill(settings, *options, erasing, erased_byte, true); });
}

void add_fill(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<FillOptions>();
  CLI::App* command =
      program.add_subcommand("fill", "Write one byte to all of the card, or to a part of it");
  command->add_option("--byte", options->byte, "The byte, two hex digits")
      ->type_name("HEX")
      ->required();
  add_common(*command, *options);
  add_examples(
      *command,
      {"quorra fill --config reader.conf --card 24c16 --byte 00 --yes",
       "quorra fill --virtual card.toml --byte 5A --address 0x40 --count 16 --code FFFFFF"});
  command->callback([&settings, options] {
    run_fill(settings, *options, filling, parse_byte("--byte", options->byte), false);
  });
}

}  // namespace quorra::cli
