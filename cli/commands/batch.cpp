// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra batch

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>

#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/secret.hpp"
#include "cli/terminal/consent.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "cli/terminal/progress.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/batch/series.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation personalising{"personalising a series of cards"};

constexpr int rows_shown = 3;

struct BatchOptions {
  std::optional<std::string> plan;
  bool dry_run = false;
  std::optional<int> rows;
  std::optional<std::string> resume;
  bool stop_on_failure = false;
  Secret code;
  std::optional<std::string> yes;
};

std::string text_of(const std::string& file, std::size_t largest) {
  const Bytes bytes = read_file(file, largest + 1);
  if (bytes.size() > largest) {
    throw UsageError(fmt::format("{}: there are more than {} bytes", file, largest));
  }
  return {bytes.begin(), bytes.end()};
}

SeriesPlan plan_of(const Settings& settings, const BatchOptions& options) {
  const std::string& file = *options.plan;
  if (file == standard_stream) throw UsageError("PLAN is a file: the logs lie beside it");
  SeriesPlan plan = parse_series_plan(file, text_of(file, largest_plan));
  if (settings.card != nullptr && settings.card != plan.card) {
    throw UsageError(fmt::format("{} is a plan for {} cards, not for {}", file, plan.card->name,
                                 settings.card->name));
  }
  return plan;
}

SeriesRows rows_of(const SeriesPlan& plan) {
  return make_rows(plan, plan.data ? text_of(beside(plan, *plan.data), largest_data) : "");
}

std::string name_of(const SeriesRow& row) {
  return row.label.empty() ? fmt::format("row {}", row.number)
                           : fmt::format("row {} ({})", row.number, row.label);
}

// Rows that differ in nothing are a mistake where a value should differ.
void note_equal_rows(const Settings& settings, const SeriesPlan& plan, const SeriesRows& rows) {
  const bool may_differ = std::ranges::any_of(
      plan.fields, [](const SeriesField& field) { return !field.value.names().empty(); });
  if (!may_differ) return;
  std::map<std::string, int> seen;
  for (const SeriesRow& row : rows.rows) {
    const auto [earlier, is_new] = seen.emplace(plain_hex(joined(row.bytes)), row.number);
    if (is_new) continue;
    return note(settings, fmt::format("{}: rows {} and {} write the same bytes", plan.file,
                                      earlier->second, row.number));
  }
}

void tell_dry_run(const Settings& settings, const SeriesPlan& plan, const SeriesRows& rows,
                  int count) {
  std::string text = fmt::format("{}: {} for {} cards\n", plan.file, counted(rows.count(), "row"),
                                 plan.card->name);
  Json shown = Json::array();
  for (const SeriesRow& row : rows.rows) {
    if (row.number > count) break;
    text += fmt::format("{}:\n", name_of(row));
    Json object{{"row", row.number}, {"segments", Json::array()}};
    if (row.line > 0) object["line"] = row.line;
    if (!row.label.empty()) object["label"] = row.label;
    for (const Segment& segment : row.bytes) {
      text += hex_dump(segment.address, segment.bytes, {}, false);
      object["segments"].push_back(
          {{"address", segment.address}, {"data", plain_hex(segment.bytes)}});
    }
    shown.push_back(std::move(object));
  }
  for (const Range& range : plan.protection) {
    text += fmt::format("Then read-only for good: {} at 0x{:04X}\n", counted(range.count, "byte"),
                        range.address);
  }
  for (const ZoneGuard& guard : plan.guards) {
    text += fmt::format("Then, once the card is personalised: {}\n", words_for(*plan.card, guard));
  }
  tell(settings, text,
       {{"plan", plan.file},
        {"card", plan.card->name},
        {"rows", rows.count()},
        {"shown", std::move(shown)}});
}

// The code of all cards; empty if there is none, or each card has its own.
Bytes code_of(const SeriesPlan& plan, const Secret& given) {
  const bool is_asked = plan.code && plan.code->is_asked;
  if (given.is_given() && !is_asked) {
    throw UsageError(fmt::format("--code: {} does not ask for it", plan.file));
  }
  if (!plan.code) return {};
  const Code& code = *plan.code->code;
  if (plan.code->file) {
    constexpr std::size_t largest = 1024;
    const std::string file = beside(plan, *plan.code->file);
    return parse_code(code, file, text_of(file, largest));
  }
  if (!is_asked) return {};
  Secret secret = given;
  if (!secret.is_given()) secret.hex = "-";
  const GivenSecret gotten = get(secret);
  return parse_code(code, gotten.name, gotten.hex);
}

std::optional<Resume> resume_of(const BatchOptions& options) {
  if (!options.resume) return std::nullopt;
  return *options.resume == "again" ? Resume::again : Resume::skip;
}

// Talks with the person at the reader on standard error.
class Person : public Operator {
 public:
  Person(const Settings& settings, const BatchOptions& options, const Journal& journal,
         const Connection& connection, int rows)
      : settings_(settings),
        options_(options),
        journal_(journal),
        connection_(connection),
        rows_(rows) {}

  void want_card(const SeriesRow& row, bool was_begun) override {
    print_note(was_begun ? fmt::format("Put in the card on which {} was begun.\n", name_of(row))
                         : fmt::format("Put in a card for {}.\n", name_of(row)));
  }

  void want_removal() override { print_note("Take the card out.\n"); }

  void tell_done(const SeriesRow& row, double /*seconds*/) override {
    ++done_;
    const int done = journal_.count(RowState::done);
    if (settings_.progress) tell_progress(*settings_.progress, personalising.doing, done, rows_);
    if (settings_.quiet) return;
    print_note(fmt::format("{} is done. {} done, {} failed, {} left; {:.1f} s a card\n",
                           name_of(row), done, journal_.failed(), journal_.count(RowState::open),
                           seconds() / done_));
  }

  void tell_failed(const SeriesRow& row, const Failure& failure) override {
    print_note(fmt::format("{} failed: {}\nPut this card aside: the next one gets the row.\n",
                           name_of(row), failure.what()));
  }

  void tell_refused(const std::string& reason) override {
    print_note(fmt::format("Nothing was written: {}.\n", reason));
  }

  void tell(const std::string& text) override { note(settings_, text); }

  Resume decide(const SeriesRow& row, const std::string& situation) override {
    if (const auto resume = resume_of(options_)) return *resume;
    if (!can_ask()) {
      throw UsageError(
          fmt::format("{}. Put that card in and begin again, or say what to do: --resume-row again "
                      "gives the row to this card, --resume-row skip to none",
                      situation));
    }
    if (is_wanted(fmt::format("{}. This card gets {}.", situation, name_of(row))))
      return Resume::again;
    if (is_wanted(fmt::format("No card gets {}.", name_of(row)))) return Resume::skip;
    return Resume::other_card;
  }

  // Since the beginning.
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  bool is_wanted(const std::string& question) const {
    try {
      connection_.confirm({personalising, question});
      return true;
    } catch (const Interrupted&) {
      throw;
    } catch (const Failure&) {
      return false;
    }
  }

  const Settings& settings_;
  const BatchOptions& options_;
  const Journal& journal_;
  const Connection& connection_;
  int rows_;
  int done_ = 0;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// What has become of the rows and cards so far.
struct Totals {
  const SeriesPlan& plan;
  const SeriesRows& rows;
  const Journal& journal;
  int done_now = 0;
  double seconds = 0;

  bool is_all_done() const { return journal.count(RowState::done) == rows.count(); }

  std::string text() const {
    const int skipped = journal.count(RowState::skipped);
    std::string words =
        fmt::format("{} of {} done", journal.count(RowState::done), counted(rows.count(), "row"));
    if (done_now > 0)
      words += fmt::format(" ({} now, {:.1f} s each)", done_now, seconds / done_now);
    if (skipped > 0) words += fmt::format(", {} left out", skipped);
    words += fmt::format(", {} left. {} failed, {} refused.\n", journal.count(RowState::open),
                         counted(journal.failed(), "card"), journal.refused());
    if (journal.pending()) {
      words += fmt::format("Row {} is begun on a card: the same command goes on with that card.\n",
                           journal.pending()->row);
    }
    return words + fmt::format("Logs: {} {}\n", journal_of(plan), results_of(plan));
  }

  Json fields() const {
    Json fields{{"plan", plan.file},
                {"card", plan.card->name},
                {"rows", rows.count()},
                {"done", journal.count(RowState::done)},
                {"done_now", done_now},
                {"skipped", journal.count(RowState::skipped)},
                {"left", journal.count(RowState::open)},
                {"failed_cards", journal.failed()},
                {"refused_cards", journal.refused()},
                {"seconds", seconds},
                {"journal", journal_of(plan)},
                {"results", results_of(plan)}};
    if (journal.pending()) fields["begun_row"] = journal.pending()->row;
    return fields;
  }
};

void tell_totals(const Settings& settings, const Totals& totals) {
  if (!totals.is_all_done()) tell_and_fail(settings, totals.text(), totals.fields());
  tell(settings, totals.text(), totals.fields());
}

// One card cannot be several.
void expect_one_row(const Settings& settings, const BatchOptions& options, int left) {
  if (!settings.names_virtual_reader() || left == 1 || options.rows.value_or(left) == 1) return;
  throw UsageError(
      fmt::format("--virtual has one card, and {} are left: --rows 1 writes the next row to it",
                  counted(left, "row")));
}

// The request that opens a session may vanish in a frame that a run had begun when it was killed.
// When the reader has been silent for as long as it is waited for, it has forgotten that frame.
Connection connect_again(const Settings& settings) {
  try {
    return Connection(settings);
  } catch (const NoReader&) {
    return Connection(settings);
  }
}

void run_series(const Settings& settings, const BatchOptions& options, const SeriesPlan& plan,
                const SeriesRows& rows) {
  if (options.yes && lower_case(*options.yes) != plan.card->name) {
    throw UsageError(
        fmt::format("--yes: the plan is for {} cards, not for {}", plan.card->name, *options.yes));
  }
  expect_one_reader(settings);
  const bool is_final = plan.protects();
  const Consent consent(
      {personalising,
       fmt::format("Each {} card of this series gets {}.", plan.card->name,
                   plan.guards.empty() ? "bytes that are read-only for good"
                                       : "zones that are guarded once it is personalised, which "
                                         "only an erase before that undoes"),
       plan.card},
      options.yes.has_value() || !is_final);
  Journal journal(plan, rows);
  Totals totals{plan, rows, journal};
  if (!journal.next()) return tell_totals(settings, totals);
  expect_one_row(settings, options, journal.count(RowState::open));
  SeriesOptions how{.force = settings.force,
                    .has_one_card = settings.names_virtual_reader(),
                    .stops_on_failure = options.stop_on_failure,
                    .limit = options.rows,
                    .code = code_of(plan, options.code)};
  if (settings.image) how.known_kind = &card_of_image(*settings.image);
  {
    const Connection connection = connect_again(settings);
    consent.get(connection);
    Person person(settings, options, journal, connection, rows.count());
    Series series(connection, plan, rows, journal, person, how);
    const auto count = [&] {
      totals.done_now = series.done();
      totals.seconds = person.seconds();
    };
    try {
      series.run();
      count();
    } catch (const Failure& failure) {
      count();
      tell_and_fail(settings, totals.text(), totals.fields(), failure);
    }
  }
  tell_totals(settings, totals);
}

void run_batch(const Settings& settings, const BatchOptions& options) {
  const SeriesPlan plan = plan_of(settings, options);
  const SeriesRows rows = rows_of(plan);
  note_equal_rows(settings, plan, rows);
  if (options.dry_run) {
    return tell_dry_run(settings, plan, rows, options.rows.value_or(rows_shown));
  }
  run_series(settings, options, plan, rows);
}

}  // namespace

void add_batch(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<BatchOptions>();
  CLI::App* command = program.add_subcommand(
      "batch", "Write many cards, one after the other, as a plan says; go on after a break");
  add_file(*command, "PLAN", options->plan, "The plan, in TOML; the logs lie beside it")
      ->required();
  command->add_flag("--dry-run", options->dry_run,
                    "Show which bytes the first rows would write, and need no reader");
  add_number(
      *command, "--rows", options->rows,
      fmt::format("End after so many rows; with --dry-run, how many are shown, by default {}",
                  rows_shown));
  command
      ->add_option("--resume-row", options->resume,
                   "What becomes of a row whose card is not found after a break: again, for the "
                   "card in the reader to get it, or skip")
      ->check(CLI::IsMember({"again", "skip"}))
      ->type_name("WHAT");
  command->add_flag("--stop-on-failure", options->stop_on_failure,
                    "End when a card fails; otherwise the next card gets its row");
  add_secret(*command, "code", options->code, "The cards' code, where the plan asks for it");
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra batch --dry-run plan.toml",
                          "quorra batch --config reader.conf plan.toml --yes 4442"});
  command->callback([&settings, options] { run_batch(settings, *options); });
}

}  // namespace quorra::cli
