// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra backup

#include <fmt/core.h>

#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/output.hpp"
#include "cli/virtual_card.hpp"
#include "toolkit/memory/backup.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation backing_up{.doing = "backing the card up", .done = "read"};

struct BackupOptions {
  std::optional<std::string> file;
  std::optional<std::string> image;
  CodeOptions code;
  std::optional<std::string> yes;
};

void expect_files(const Settings& settings, const BackupOptions& options) {
  if (!options.file && !options.image) {
    throw UsageError("nothing to save the backup in: give FILE, or --image for a virtual card");
  }
  const bool shows = (options.file && is_standard_output(*options.file)) ||
                     (options.image && is_standard_output(*options.image));
  if (settings.json && shows) {
    throw UsageError("--json: standard output is for the result, so the backup needs a file");
  }
  if (options.file) expect_other_file("FILE", *options.file, settings);
  if (options.image) expect_other_file("--image", *options.image, settings);
}

Bytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }

void run_backup(const Settings& settings, const BackupOptions& options) {
  expect_files(settings, options);
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const Keys keys = parse_keys(card, options.code);
  Backup backup;
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    backup = take_backup(connection, card, backing_up);
  }
  std::string text;
  Json fields{{"card", card.name}, {"count", backup.memory.size()}};
  const auto save = [&](const std::string& file, const char* member, const Bytes& content) {
    write_file(file, content);
    fields[member] = file;
    if (is_standard_output(file)) return;
    text += fmt::format("Saved a backup of all {} of a {} card in {}.\n",
                        counted(static_cast<int>(backup.memory.size()), "byte"), card.name, file);
  };
  if (options.file) save(*options.file, "file", bytes_of(to_text(backup)));
  if (options.image) save(*options.image, "image", image_file_of(backup));
  auto hidden = Json::array();
  for (const Region& region : hidden_regions(backup)) {
    hidden.push_back(region.name);
  }
  fields["hidden"] = hidden;
  tell(settings, text, fields);
}

}  // namespace

void add_backup(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<BackupOptions>();
  CLI::App* command = program.add_subcommand(
      "backup", "Save all of the card in a file: memory, protection, counters, flags and kind");
  add_file(*command, "FILE", options->file, "The backup, as JSON ('-': standard output)");
  add_file(*command, "--image", options->image,
           "Make a virtual card of it, for --virtual and quorra-sim");
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra backup --config reader.conf card.json",
                          "quorra backup --config reader.conf --image card.toml"});
  command->callback([&settings, options] { run_backup(settings, *options); });
}

}  // namespace quorra::cli
