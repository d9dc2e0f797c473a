// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra fill, and quorra erase, which fills with FF where cards have no erase of their own

#include <fmt/core.h>

#include <algorithm>
#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/consent.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation erasing{.doing = "erasing the card", .done = "erased"};
constexpr Operation filling{.doing = "filling the card", .done = "filled"};
constexpr Operation reading_read_only{.doing = "reading the read-only bytes", .done = "read"};
constexpr Operation reading_back_erased{.doing = "reading back what was erased",
                                        .done = "read back"};

constexpr unsigned char erased_byte = 0xFF;

struct FillOptions {
  std::string byte;
  std::optional<int> zone;
  std::optional<int> address;
  std::optional<int> count;
  CodeOptions code;
  Secret erase_code;
  std::optional<std::string> yes;
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
  const Bytes held = read_memory(connection, card.memory, front, reading_read_only);
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

// An erase of a personalised zone leaves its flags as they are.
void expect_erased(const Connection& connection, const Memory& memory, Range range) {
  Bytes held = read_memory(connection, memory, range, reading_back_erased);
  if (memory.flags && range.contains(memory.flags->address)) {
    held[static_cast<std::size_t>(memory.flags->address - range.address)] |= write_flag | read_flag;
  }
  const Bytes wanted(held.size(), erased_byte);
  if (const auto difference = find_difference(wanted, held, range.address)) {
    throw Failure(fmt::format("{}: {}", reading_back_erased.doing, describe(*difference)));
  }
}

// Erases with the card's own command.
void erase_all(const Connection& connection, const Card& card, Range range, bool verify) {
  connection.run(erasing, card.erase_all);
  if (!verify) return;
  expect_erased(connection, card.memory, range);
}

std::string warning_of_all(Range range, std::string_view name) {
  return fmt::format("All {} of {} are overwritten.", counted(range.count, "byte"), name);
}

// What a command does with the bytes.
struct Task {
  const Operation& operation;
  unsigned char byte;
  bool is_erase;
};

std::string_view words_for_read_back(const FillOptions& options) {
  return options.no_verify ? "" : " and read them back";
}

std::string overwrite(const Connection& connection, const Card& card, Range range,
                      const FillOptions& options, const Task& task) {
  const std::string_view read_back = words_for_read_back(options);
  if (task.is_erase && range.count == card.memory.writable && card.erase_all != nullptr) {
    erase_all(connection, card, range, !options.no_verify);
    return fmt::format("Erased all {} with the card's own command{}.\n",
                       counted(range.count, "byte"), read_back);
  }
  const Filling content = filling_for(connection, card, range, task.byte);
  write_memory(connection, card.memory, range, content.data, task.operation, !options.no_verify);
  return describe(content, task.byte, range, read_back);
}

// The data, without codes and counters. An erase takes the flags in front of them along.
Range data_range(const Card& card, const Memory& memory, bool with_flags) {
  const auto data = std::ranges::find(memory.areas, AreaRole::data, &Area::role);
  if (data == memory.areas.end()) {
    throw UsageError(
        fmt::format("{} has no data beside codes and counters: give --address and --count",
                    name_of(card, memory)));
  }
  const auto next = std::next(data);
  const int end = next == memory.areas.end() ? memory.size : next->first;
  const int first = with_flags ? memory.flags->address : data->first;
  return {first, end - first};
}

Range range_to_overwrite(const Card& card, const Memory& memory, const FillOptions& options,
                         const Task& task) {
  if (options.address.has_value() != options.count.has_value()) {
    throw UsageError(
        "give --address and --count, or none of them for all data of the card or zone");
  }
  if (!options.address) return data_range(card, memory, task.is_erase);
  return task.is_erase ? readable_range(card, memory, *options.address, options.count)
                       : writable_range(card, memory, *options.address, options.count);
}

void expect_erase_may_begin(const Card& card, const Memory& memory, Range range) {
  if (!memory.no_erase_from || !memory.no_erase_from->contains(range.address)) return;
  throw UsageError(fmt::format(
      "on {}, an erase does not begin at 0x{:04X} to 0x{:04X}; one that begins before may run on",
      name_of(card, memory), memory.no_erase_from->address, memory.no_erase_from->end() - 1));
}

std::string overwrite(const Connection& connection, const Memory& memory, Range range,
                      bool erases_first, const FillOptions& options, const Task& task) {
  const std::string bytes =
      fmt::format("{} at 0x{:04X}", counted(range.count, "byte"), range.address);
  if (erases_first) {
    erase_memory(connection, memory, range, erasing);
    if (!options.no_verify) expect_erased(connection, memory, range);
  }
  if (task.is_erase) return fmt::format("Erased {}{}.\n", bytes, words_for_read_back(options));
  const Bytes data(static_cast<std::size_t>(range.count), task.byte);
  with_progress(erases_first ? "; the bytes were erased before" : "", [&] {
    write_memory(connection, memory, range, data, task.operation, !options.no_verify);
  });
  return fmt::format("Wrote {:02X} to {}{}.\n", task.byte, bytes, words_for_read_back(options));
}

Json fill_fields(const Card& card, const Memory& memory, Range range, const Task& task,
                 const FillOptions& options) {
  Json fields = fields_of(card, memory, range);
  if (!task.is_erase) fields["byte"] = task.byte;
  fields["verified"] = !options.no_verify;
  return fields;
}

void run_on_security_card(const Settings& settings, CardInReader& slot, const Memory& memory,
                          const FillOptions& options, const Task& task) {
  const Card& card = slot.kind();
  const bool erases_first = task.is_erase || options.erase_code.is_given();
  if (erases_first && memory.erase == nullptr) {
    throw UsageError(fmt::format("{} cannot be erased", name_of(card, memory)));
  }
  const Range range = range_to_overwrite(card, memory, options, task);
  if (erases_first) expect_erase_may_begin(card, memory, range);
  const Keys keys = parse_keys(card, memory, options.code, options.erase_code);
  const std::string warning =
      options.erase_code.is_given()
          ? fmt::format("If the card is personalised, all data of {} are erased.",
                        name_of(card, memory))
          : warning_of_all(range, name_of(card, memory));
  const bool takes_all = !options.address || options.erase_code.is_given();
  const Consent consent({task.operation, warning, &card}, options.yes || !takes_all);
  std::string done;
  {
    const Connection connection = slot.connect();
    consent.get(connection);
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    done = overwrite(connection, memory, range, erases_first, options, task);
  }
  tell(settings, done, fill_fields(card, memory, range, task, options));
}

void run_fill(const Settings& settings, const FillOptions& options, const Task& task) {
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const Memory& memory = memory_of(card, options.zone);
  if (memory.keeps_zeros) return run_on_security_card(settings, slot, memory, options, task);
  const Range range = writable_range(card, memory, options.address.value_or(0), options.count);
  const Keys keys = parse_keys(card, memory, options.code, options.erase_code);
  const bool takes_all = range.count == memory.writable;
  const Consent consent({task.operation, warning_of_all(range, "the card"), &card},
                        options.yes || !takes_all);
  std::string done;
  {
    const Connection connection = slot.connect();
    consent.get(connection);
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    done = overwrite(connection, card, range, options, task);
  }
  tell(settings, done, fill_fields(card, memory, range, task, options));
}

unsigned char parse_byte(std::string_view name, std::string_view text) {
  const Bytes bytes = parse_hex(name, text);
  if (bytes.size() != 1) {
    throw UsageError(fmt::format("{}: one byte is wanted, such as 5A", name));
  }
  return bytes.front();
}

void add_common(CLI::App& command, FillOptions& options) {
  add_zone(command, options.zone);
  add_address(command, options.address);
  add_number(command, "--count", options.count, "Number of bytes; without it, up to the end");
  add_present_code(command, options.code);
  add_erase_code(command, options.erase_code);
  add_yes(command, options.yes);
  add_no_verify(command, options.no_verify);
}

}  // namespace

void add_erase(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<FillOptions>();
  CLI::App* command = program.add_subcommand(
      "erase",
      "Write FF to the card, or to a part of it. The whole of a 93c card is erased with the card's "
      "own command, and so is each part of a security memory card");
  add_common(*command, *options);
  add_examples(*command,
               {"quorra erase --config reader.conf --card 93c66 --yes",
                "quorra erase --config reader.conf --card 24c64 --address 0x100 --count 256",
                "quorra erase --config reader.conf --card 1604 --zone 2 --code FFFF"});
  command->callback([&settings, options] {
    run_fill(settings, *options, {.operation = erasing, .byte = erased_byte, .is_erase = true});
  });
}

void add_fill(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<FillOptions>();
  CLI::App* command = program.add_subcommand("fill",
                                             "Write one byte to all of the card, or to a part of "
                                             "it. With --erase-code it is erased first");
  command->add_option("--byte", options->byte, "The byte, two hex digits")
      ->type_name("HEX")
      ->required();
  add_common(*command, *options);
  add_examples(
      *command,
      {"quorra fill --config reader.conf --card 24c16 --byte 00 --yes",
       "quorra fill --virtual card.toml --byte 5A --address 0x40 --count 16 --code FFFFFF"});
  command->callback([&settings, options] {
    run_fill(
        settings, *options,
        {.operation = filling, .byte = parse_byte("--byte", options->byte), .is_erase = false});
  });
}

}  // namespace quorra::cli
