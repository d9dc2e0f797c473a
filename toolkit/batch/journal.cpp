// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/batch/journal.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <system_error>

#include "toolkit/batch/csv.hpp"
#include "toolkit/batch/field.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

using Json = nlohmann::ordered_json;

struct EventRow {
  std::string_view name;
  SeriesEvent event;
  bool is_result;
};

constexpr EventRow events[] = {
    {"begun", SeriesEvent::begun, false},    {"resumed", SeriesEvent::resumed, false},
    {"done", SeriesEvent::done, true},       {"failed", SeriesEvent::failed, true},
    {"skipped", SeriesEvent::skipped, true}, {"refused", SeriesEvent::refused, true},
};

const EventRow& row_of(SeriesEvent event) {
  return *std::ranges::find(events, event, &EventRow::event);
}

constexpr std::string_view head_event = "series";
constexpr std::string_view head_start = R"({"schema_version":)";

std::string error_words() { return std::generic_category().message(errno); }

std::string now() {
  const std::time_t time = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&time, &parts);
  std::array<char, 32> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return {text.data(), size};
}

std::string new_id() {
  std::random_device device;
  return fmt::format("{:08X}{:08X}", device(), device());
}

// What is no UTF-8 is replaced.
std::string line_of(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::string results_header() {
  return csv_line({"time", "row", "line", "label", "result", "seconds", "code", "word", "message"});
}

std::string to_csv(const JournalRecord& record) {
  const auto number = [](int value) { return value == 0 ? std::string() : std::to_string(value); };
  return csv_line({record.time, number(record.row), number(record.line), record.label,
                   std::string(name_of(record.event)),
                   record.seconds ? fmt::format("{:.1f}", *record.seconds) : "",
                   record.code ? std::to_string(*record.code) : "", record.word, record.message});
}

// A new name in a folder lasts once the folder is on the disk.
void save_folder_of(const std::string& path) {
  const auto folder = std::filesystem::absolute(path).parent_path();
  const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.number() >= 0) fsync(opened.number());
}

std::string content_of(int descriptor, const std::string& path) {
  std::string content;
  std::array<char, 65536> part{};
  for (;;) {
    const ssize_t got = ::read(descriptor, part.data(), part.size());
    if (got < 0) throw JournalError(fmt::format("reading {}: {}", path, error_words()));
    if (got == 0) return content;
    content.append(part.data(), static_cast<std::size_t>(got));
  }
}

}  // namespace

std::string_view name_of(SeriesEvent event) { return row_of(event).name; }

std::string to_json(const JournalRecord& record) {
  Json object{{"time", record.time}, {"event", name_of(record.event)}};
  if (record.row != 0) object["row"] = record.row;
  if (record.line != 0) object["line"] = record.line;
  if (!record.label.empty()) object["label"] = record.label;
  if (record.seconds) object["seconds"] = *record.seconds;
  if (record.code) object["code"] = *record.code;
  if (!record.word.empty()) object["word"] = record.word;
  if (!record.message.empty()) object["message"] = record.message;
  if (!record.before.empty()) object["before"] = plain_hex(record.before);
  return line_of(object);
}

std::optional<JournalRecord> parse_record(std::string_view line) {
  try {
    const Json object = Json::parse(line);
    const auto name = object.at("event").get<std::string>();
    const auto* const row = std::ranges::find(events, name, &EventRow::name);
    if (row == std::ranges::end(events)) return std::nullopt;
    JournalRecord record{.event = row->event};
    record.time = object.at("time").get<std::string>();
    record.row = object.value("row", 0);
    record.line = object.value("line", 0);
    record.label = object.value("label", "");
    if (object.contains("seconds")) record.seconds = object["seconds"].get<double>();
    if (object.contains("code")) record.code = object["code"].get<int>();
    record.word = object.value("word", "");
    record.message = object.value("message", "");
    record.before = encode({.format = FieldFormat::hex}, object.value("before", ""));
    return record;
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  } catch (const UsageError&) {
    return std::nullopt;
  }
}

std::string journal_of(const SeriesPlan& plan) { return plan.file + ".log.jsonl"; }

std::string results_of(const SeriesPlan& plan) { return plan.file + ".log.csv"; }

Journal::Journal(const SeriesPlan& plan, const SeriesRows& rows)
    : path_(journal_of(plan)),
      results_path_(results_of(plan)),
      file_(open(path_.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666)),
      states_(rows.rows.size(), RowState::open),
      begun_(rows.rows.size(), false) {
  if (file_.number() < 0) throw UsageError(fmt::format("{}: {}", path_, error_words()));
  if (flock(file_.number(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK)
      throw JournalError(fmt::format("locking {}: {}", path_, error_words()));
    throw UsageError(fmt::format("{}: another quorra batch is at work with this plan", path_));
  }
  read(plan, rows);
  write_results();
}

void Journal::read(const SeriesPlan& plan, const SeriesRows& rows) {
  const std::string content = content_of(file_.number(), path_);
  const std::size_t last_end = content.rfind('\n');
  text_of_results_ = results_header();
  if (last_end == std::string::npos) {
    const std::size_t shared = std::min(content.size(), head_start.size());
    if (content.substr(0, shared) != head_start.substr(0, shared)) refuse_other_file();
    cut(0);
    return begin(plan, rows);
  }
  const std::size_t whole = last_end + 1;
  const std::string_view lines = std::string_view(content).substr(0, whole);
  const std::string changed = changed_file(lines.substr(0, lines.find('\n')), plan, rows);
  std::vector<JournalRecord> records;
  for (std::string_view rest = lines; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    const bool is_head = rest.size() == lines.size();
    rest.remove_prefix(line.size() + 1);
    if (is_head) continue;
    const auto record = parse_record(line);
    if (!record || record->row < 0 || (record->row > rows.count() && changed.empty())) {
      throw UsageError(
          fmt::format("{}:{}: the line was damaged or changed", path_, records.size() + 2));
    }
    records.push_back(*record);
  }
  if (!changed.empty()) {
    refuse_changed(changed, records);
    cut(0);
    return begin(plan, rows);
  }
  if (whole < content.size()) cut(whole);
  for (const JournalRecord& record : records) {
    apply(record);
    if (row_of(record.event).is_result) text_of_results_ += to_csv(record);
  }
}

void Journal::cut(std::size_t size) const {
  if (ftruncate(file_.number(), static_cast<off_t>(size)) == 0) return;
  throw JournalError(fmt::format("taking a broken line off {}: {}", path_, error_words()));
}

void Journal::begin(const SeriesPlan& plan, const SeriesRows& rows) {
  id_ = new_id();
  const Json head{{"schema_version", journal_schema},
                  {"time", now()},
                  {"event", head_event},
                  {"id", id_},
                  {"kind", plan.card->name},
                  {"rows", rows.count()},
                  {"plan_sha256", plan.digest},
                  {"data_sha256", rows.digest}};
  write(file_.number(), path_, line_of(head));
  save_folder_of(path_);
}

// Of the two files that the head knows, the one that is another now; empty if none is.
std::string Journal::changed_file(std::string_view line, const SeriesPlan& plan,
                                  const SeriesRows& rows) {
  try {
    const Json head = Json::parse(line);
    if (head.at("event") != head_event) refuse_other_file();
    if (head.at("schema_version") != journal_schema) {
      throw UsageError(fmt::format("{}:1: the journal is of another version", path_));
    }
    id_ = head.at("id").get<std::string>();
    if (head.at("plan_sha256") != plan.digest) return plan.file;
    if (head.at("data_sha256") != rows.digest) return beside(plan, *plan.data);
  } catch (const nlohmann::json::exception&) {
    refuse_other_file();
  }
  return {};
}

void Journal::refuse_other_file() const {
  throw UsageError(
      fmt::format("{}:1: it is no journal of a series; move it away to begin one", path_));
}

// As long as no card was begun, a change does no harm.
void Journal::refuse_changed(const std::string& file,
                             const std::vector<JournalRecord>& records) const {
  const auto of = [&records](SeriesEvent event) {
    return static_cast<int>(std::ranges::count(records, event, &JournalRecord::event));
  };
  if (of(SeriesEvent::begun) == 0) return;
  const int done = of(SeriesEvent::done);
  throw UsageError(fmt::format(
      "{} has changed since its series was begun, of which {} {} done: undo the change, or, for a "
      "new series that begins with the first row, move {} and {} away",
      file, counted(done, "card"), done == 1 ? "is" : "are", path_, results_path_));
}

void Journal::apply(const JournalRecord& record) {
  if (record.event == SeriesEvent::refused) ++refused_;
  if (record.row == 0) return;
  const auto at = static_cast<std::size_t>(record.row - 1);
  switch (record.event) {
    case SeriesEvent::begun:
      begun_[at] = true;
      pending_ = BegunRow{record.row, record.before};
      return;
    case SeriesEvent::done:
      states_[at] = RowState::done;
      break;
    case SeriesEvent::skipped:
      states_[at] = RowState::skipped;
      break;
    case SeriesEvent::failed:
      ++failed_;
      break;
    case SeriesEvent::resumed:
    case SeriesEvent::refused:
      return;
  }
  pending_.reset();
}

void Journal::append(JournalRecord record) {
  record.time = now();
  write(file_.number(), path_, to_json(record));
  apply(record);
  if (row_of(record.event).is_result) write(results_->number(), results_path_, to_csv(record));
}

// The journal counts. What the other file lacks, or has besides, is put right.
void Journal::write_results() {
  results_.emplace(open(results_path_.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  const int descriptor = results_->number();
  if (descriptor < 0) throw UsageError(fmt::format("{}: {}", results_path_, error_words()));
  const std::string content = content_of(descriptor, results_path_);
  std::string missing = text_of_results_;
  if (missing.starts_with(content)) {
    missing.erase(0, content.size());
  } else if (ftruncate(descriptor, 0) != 0) {
    throw JournalError(fmt::format("writing {}: {}", results_path_, error_words()));
  }
  if (!missing.empty()) write(descriptor, results_path_, missing);
  text_of_results_.clear();
}

void Journal::write(int descriptor, const std::string& path, const std::string& text) {
  std::size_t size = 0;
  while (size < text.size()) {
    const ssize_t put = ::write(descriptor, text.data() + size, text.size() - size);
    if (put < 0) throw JournalError(fmt::format("writing {}: {}", path, error_words()));
    size += static_cast<std::size_t>(put);
  }
  if (fsync(descriptor) != 0 && errno != EINVAL) {
    throw JournalError(fmt::format("writing {}: {}", path, error_words()));
  }
}

int Journal::count(RowState state) const {
  return static_cast<int>(std::ranges::count(states_, state));
}

std::optional<int> Journal::next() const {
  const auto open_row = std::ranges::find(states_, RowState::open);
  if (open_row == states_.end()) return std::nullopt;
  return static_cast<int>(open_row - states_.begin()) + 1;
}

}  // namespace quorra::toolkit
