// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/batch/plan.hpp"

#include <fmt/core.h>
#include <toml++/toml.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <limits>
#include <utility>

#include "toolkit/batch/digest.hpp"
#include "toolkit/files/segments.hpp"
#include "toolkit/memory/codes.hpp"
#include "toolkit/memory/layout.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

// The tables in tables that dotted keys make are taken down by a function that calls itself.
constexpr std::ptrdiff_t most_dots_in_a_line = 200;

constexpr int most_rows = 10'000'000;

int line_of(const toml::source_region& source) { return static_cast<int>(source.begin.line); }

// "An error" in the middle of a message.
std::string on_one_line(std::string_view text) {
  std::string line(text.substr(0, text.find('\n')));
  return line;
}

toml::table parse_table(std::string_view file, std::string_view text) {
  int line = 1;
  for (std::string_view rest = text; !rest.empty(); ++line) {
    const std::string_view current = rest.substr(0, rest.find('\n'));
    if (std::ranges::count(current, '.') > most_dots_in_a_line) {
      fail_at(file, line, fmt::format("more than {} dots", most_dots_in_a_line));
    }
    rest.remove_prefix(std::min(current.size() + 1, rest.size()));
  }
  try {
    return toml::parse(text);
  } catch (const toml::parse_error& error) {
    fail_at(file, line_of(error.source()), on_one_line(error.description()));
  }
}

// The keys of one table, each of which is asked for once.
class TableReader {
 public:
  TableReader(std::string_view file, const toml::table& table, int line)
      : file_(file),
        table_(table),
        line_(line) {}

  int line() const { return line_; }
  // The line of the key, or that of the table without it.
  int line(std::string_view key) const {
    const toml::node* const node = table_.get(key);
    return node == nullptr ? line_ : line_of(node->source());
  }

  [[noreturn]] void fail(std::string_view key, std::string_view reason) const {
    fail_at(file_, line(key), fmt::format("{}: {}", key, reason));
  }

  const toml::node* find(std::string_view key) {
    known_.emplace_back(key);
    return table_.get(key);
  }

  std::optional<std::string> text(std::string_view key) {
    return value<std::string>(key, "is a string, in quotes");
  }

  std::optional<bool> flag(std::string_view key) { return value<bool>(key, "is true or false"); }

  std::optional<std::int64_t> large_number(std::string_view key) {
    return value<std::int64_t>(key, "is a whole number");
  }

  std::optional<int> number(std::string_view key, int least, int most) {
    const auto number = large_number(key);
    if (!number) return std::nullopt;
    if (*number < least) fail(key, fmt::format("{} is less than {}", *number, least));
    if (*number > most) fail(key, fmt::format("{} is more than {}", *number, most));
    return static_cast<int>(*number);
  }

  std::string needed_text(std::string_view key) {
    auto found = text(key);
    if (!found) fail_at(file_, line_, fmt::format("{} is missing", key));
    return *found;
  }

  // What `make` makes of it. Its complaints get the line.
  template <typename Make>
  auto made_of(std::string_view key, Make make) const {
    try {
      return make();
    } catch (const UsageError& error) {
      fail(key, error.what());
    }
  }

  // The tables of an array, [[key]].
  std::vector<const toml::table*> tables(std::string_view key) {
    std::vector<const toml::table*> all;
    const toml::node* const node = find(key);
    if (node == nullptr) return all;
    const toml::array* const array = node->as_array();
    if (array == nullptr) fail(key, fmt::format("it is written [[{}]]", key));
    for (const toml::node& one : *array) {
      if (!one.is_table()) fail(key, fmt::format("it is written [[{}]]", key));
      all.push_back(one.as_table());
    }
    return all;
  }

  // Refuses keys that nobody has asked for.
  void finish() const {
    for (const auto& [key, node] : table_) {
      const std::string name(key.str());
      if (std::ranges::find(known_, name) != known_.end()) continue;
      const std::string near = nearest(name, known_);
      std::string names;
      for (const std::string& known : known_) {
        names += fmt::format("{}{}", names.empty() ? "" : ", ", known);
      }
      fail_at(file_, line_of(key.source()),
              fmt::format(
                  "unknown key '{}'; {}", name,
                  near.empty() ? "there are " + names : fmt::format("did you mean '{}'?", near)));
    }
  }

 private:
  template <typename Value>
  std::optional<Value> value(std::string_view key, std::string_view rule) {
    const toml::node* const node = find(key);
    if (node == nullptr) return std::nullopt;
    auto found = node->value_exact<Value>();
    if (!found) fail(key, rule);
    return found;
  }

  std::string_view file_;
  const toml::table& table_;
  int line_;
  std::vector<std::string> known_;
};

bool has_flags(const Card& card) {
  return card.memory.flags || std::ranges::any_of(card.further_zones, [](const Memory& zone) {
           return zone.flags.has_value();
         });
}

class PlanReader {
 public:
  PlanReader(std::string_view file, const toml::table& table) : file_(file), top_(file, table, 1) {}

  SeriesPlan read() {
    plan_.file = file_;
    plan_.card = &read_kind();
    read_source();
    if (const auto label = top_.text("label")) {
      plan_.label = top_.made_of("label", [&] { return Template(*label); });
      plan_.label_line = top_.line("label");
    }
    plan_.ejects = read_choice("after", {"remove", "eject"}) == "eject";
    plan_.verifies = top_.flag("verify").value_or(true);
    plan_.rewrites = top_.flag("rewrite").value_or(false);
    read_code();
    for (const toml::table* table : top_.tables("counter")) {
      read_counter(*table);
    }
    for (const toml::table* table : top_.tables("write")) {
      read_field(*table);
    }
    for (const toml::table* table : top_.tables("protect")) {
      read_protection(*table);
    }
    top_.finish();
    if (plan_.fields.empty()) fail_at(file_, 1, "there is no [[write]]: nothing to write");
    order_fields();
    return std::move(plan_);
  }

 private:
  const Card& card() const { return *plan_.card; }

  const Card& read_kind() {
    std::string name = top_.needed_text("kind");
    std::ranges::transform(name, name.begin(), [](unsigned char character) {
      return static_cast<char>(std::tolower(character));
    });
    if (const Card* found = find_card(name)) return *found;
    std::vector<std::string> names;
    for (const Card& card : all_cards()) {
      names.emplace_back(card.name);
    }
    const std::string near = nearest(name, names);
    top_.fail("kind", fmt::format("'{}' is no kind of memory card; {}", name,
                                  near.empty() ? "there are " + card_names()
                                               : fmt::format("did you mean '{}'?", near)));
  }

  void read_source() {
    plan_.data = top_.text("data");
    if (plan_.data && plan_.data->empty()) top_.fail("data", "the name of the file is empty");
    if (const auto separator = top_.text("separator")) {
      if (separator->size() != 1 || separator->find_first_of("\"\r\n") == 0) {
        top_.fail("separator", "is one character, such as \";\"");
      }
      if (!plan_.data) top_.fail("separator", "belongs to data");
      plan_.separator = separator->front();
    }
    const auto rows = top_.number("rows", 1, most_rows);
    if (plan_.data && rows) top_.fail("rows", "the rows are those of data");
    if (!plan_.data && !rows) {
      fail_at(file_, 1, "how many cards? data names a CSV file, or rows says their number");
    }
    plan_.rows = rows.value_or(0);
  }

  std::string read_choice(std::string_view key, const std::vector<std::string>& choices) {
    return choice_of(top_, key, choices);
  }

  static std::string choice_of(TableReader& keys, std::string_view key,
                               const std::vector<std::string>& choices) {
    const auto chosen = keys.text(key);
    if (!chosen) return choices.front();
    if (std::ranges::find(choices, *chosen) != choices.end()) return *chosen;
    keys.fail(key, fmt::format("'{}' is neither '{}' nor '{}'", *chosen, choices.front(),
                               choices.back()));
  }

  void read_code() {
    const toml::node* const node = top_.find("code");
    if (node == nullptr) return;
    if (!node->is_table()) top_.fail("code", "it is a table: [code]");
    TableReader keys(file_, *node->as_table(), line_of(node->source()));
    const auto number = keys.number("number", 0, std::numeric_limits<int>::max());
    SeriesCode code{.line = keys.line(), .code = nullptr, .column = {}, .file = {}};
    code.code = keys.made_of("number", [&] { return &code_of(card(), number, "number"); });
    code.column = keys.text("column");
    code.file = keys.text("file");
    code.is_asked = keys.flag("ask").value_or(false);
    keys.finish();
    const int given = static_cast<int>(code.column.has_value()) +
                      static_cast<int>(code.file.has_value()) + static_cast<int>(code.is_asked);
    if (given != 1) {
      fail_at(
          file_, code.line,
          R"(code: one of column = "NAME", file = "NAME" and ask = true says where it is from)");
    }
    plan_.code = code;
  }

  void read_counter(const toml::table& table) {
    TableReader keys(file_, table, line_of(table.source()));
    SeriesCounter counter{.line = keys.line(), .name = keys.needed_text("name")};
    counter.start = keys.large_number("start").value_or(counter.start);
    counter.step = keys.large_number("step").value_or(counter.step);
    constexpr int most_digits = 19;
    counter.width = keys.number("width", 1, most_digits).value_or(counter.width);
    keys.finish();
    if (counter.start < 0) keys.fail("start", fmt::format("{} is negative", counter.start));
    if (std::ranges::find(plan_.counters, counter.name, &SeriesCounter::name) !=
        plan_.counters.end()) {
      keys.fail("name", fmt::format("there are two counters '{}'", counter.name));
    }
    plan_.counters.push_back(counter);
  }

  // Where bytes begin, and what they have room in: a region, or the card.
  Range read_place(TableReader& keys) const {
    const auto at = keys.text("at");
    const auto offset = keys.number("offset", 0, highest_address);
    const auto address = keys.number("address", 0, highest_address);
    const auto where = keys.line();
    if (at.has_value() == address.has_value()) {
      fail_at(file_, where,
              "where? at = \"REGION\" names a region as quorra map does, or address = N is an "
              "address of the whole card");
    }
    if (address) {
      if (offset) keys.fail("offset", "belongs to at");
      const int size = size_of(card());
      if (*address >= size) {
        keys.fail("address", fmt::format("a {} card has {}", card().name, counted(size, "byte")));
      }
      return {*address, size - *address};
    }
    const Region region = keys.made_of("at", [&] { return find_region(card(), *at); });
    const int begin = offset.value_or(0);
    if (begin >= region.range.count) {
      keys.fail("offset", fmt::format("'{}' has {}", *at, counted(region.range.count, "byte")));
    }
    return {region.range.address + begin, region.range.count - begin};
  }

  static std::string read_value(TableReader& keys) {
    const toml::node* const node = keys.find("value");
    if (node == nullptr) keys.fail("value", "is missing");
    if (const auto number = node->value_exact<std::int64_t>()) return std::to_string(*number);
    if (const auto text = node->value_exact<std::string>()) return *text;
    keys.fail("value", "is a string, in quotes, or a whole number");
  }

  static std::optional<unsigned> read_padding(TableReader& keys, FieldFormat format) {
    const toml::node* const node = keys.find("pad");
    if (node == nullptr) return std::nullopt;
    const int most = format == FieldFormat::bcd ? 0x0F : 0xFF;
    if (format == FieldFormat::number) keys.fail("pad", "a number fills its field by itself");
    if (node->is_integer()) return static_cast<unsigned>(*keys.number("pad", 0, most));
    const bool is_text = format == FieldFormat::text;
    const auto text = node->value_exact<std::string>();
    if (!is_text || !text || text->size() != 1) {
      keys.fail("pad", fmt::format("is a number up to 0x{:X}{}", most,
                                   is_text ? ", or one character" : ""));
    }
    return static_cast<unsigned char>(text->front());
  }

  static Field read_form(TableReader& keys) {
    Field field;
    const std::string format = keys.text("format").value_or("text");
    field.format = keys.made_of("format", [&] { return parse_field_format(format); });
    const int widest = field.format == FieldFormat::number ? widest_number : highest_address;
    field.width = keys.number("width", 1, widest).value_or(0);
    field.pad = read_padding(keys, field.format);
    if (!field.pad && field.format == FieldFormat::text) field.pad = ' ';
    const bool is_bcd = field.format == FieldFormat::bcd;
    const std::string align = choice_of(keys, "align",
                                        is_bcd ? std::vector<std::string>{"right", "left"}
                                               : std::vector<std::string>{"left", "right"});
    field.is_right_aligned = align == "right";
    const auto endian = choice_of(keys, "endian", {"big", "little"});
    field.is_little_endian = endian == "little";
    if (keys.find("endian") != nullptr && field.format != FieldFormat::number) {
      keys.fail("endian", "belongs to format = \"number\"");
    }
    const auto encoding = keys.text("encoding");
    if (encoding) {
      if (field.format != FieldFormat::text) keys.fail("encoding", "belongs to format = \"text\"");
      field.encoding = keys.made_of("encoding", [&] { return parse_encoding(*encoding); });
    }
    return field;
  }

  void read_field(const toml::table& table) {
    TableReader keys(file_, table, line_of(table.source()));
    const Range room = read_place(keys);
    const std::string value = read_value(keys);
    const Field form = read_form(keys);
    keys.finish();
    SeriesField field{.line = keys.line("value"),
                      .range = {room.address, form.width},
                      .field = form,
                      .value = keys.made_of("value", [&] { return Template(value); })};
    if (form.width == 0) {
      if (!field.value.names().empty()) {
        fail_at(file_, keys.line(), "width is missing: how many bytes the field has");
      }
      const Bytes bytes = keys.made_of("value", [&] { return encode(form, field.value.fill({})); });
      if (bytes.empty()) keys.fail("value", "is empty");
      field.range.count = static_cast<int>(bytes.size());
    }
    if (field.range.count > room.count) {
      keys.fail(form.width > 0 ? "width" : "value",
                fmt::format("{}, but there is room for {}", counted(field.range.count, "byte"),
                            room.count));
    }
    expect_writable(keys, field.range);
    plan_.fields.push_back(std::move(field));
  }

  // Codes and counters are no data. All else has a command that writes it.
  void expect_writable(const TableReader& keys, Range range) const {
    const std::string_view key = keys.line("at") != keys.line() ? "at" : "address";
    for (const Region& region : regions_of(card())) {
      const bool overlaps =
          region.range.address < range.end() && range.address < region.range.end();
      if (overlaps && is_guard(*region.role)) {
        keys.fail(key,
                  fmt::format("{} of a {} card is no place for data", region.name, card().name));
      }
    }
  }

  // A zone with flags is guarded as a whole.
  void read_guard(const toml::table& table) {
    TableReader keys(file_, table, line_of(table.source()));
    const std::string at = keys.needed_text("at");
    const bool against_reading = keys.flag("reading").value_or(false);
    keys.finish();
    const Region region = keys.made_of("at", [&] { return find_region(card(), at); });
    const Memory* const zone = zone_with_flags(card(), region.range);
    if (zone == nullptr) {
      keys.fail("at", fmt::format("{} of a {} card has no flags", region.name, card().name));
    }
    const ZoneGuard guard{zone, against_reading};
    if (std::ranges::find(plan_.guards, guard) != plan_.guards.end()) {
      keys.fail("at", fmt::format("{} is guarded twice", name_of(card(), *zone)));
    }
    plan_.guards.insert(against_reading ? plan_.guards.begin() : plan_.guards.end(), guard);
  }

  void read_protection(const toml::table& table) {
    if (has_flags(card())) return read_guard(table);
    TableReader keys(file_, table, line_of(table.source()));
    Range range = read_place(keys);
    if (const auto count = keys.number("count", 1, range.count)) range.count = *count;
    keys.finish();
    if (!card().protection) {
      fail_at(file_, keys.line(),
              fmt::format("protect: the bytes of a {} card cannot be protected one by one",
                          card().name));
    }
    if (range.end() > card().protection->bytes) {
      fail_at(file_, keys.line(),
              fmt::format("protect: of a {} card, the first {} can be protected", card().name,
                          counted(card().protection->bytes, "byte")));
    }
    plan_.protection.push_back(range);
  }

  void order_fields() {
    std::ranges::sort(plan_.fields, {},
                      [](const SeriesField& field) { return field.range.address; });
    for (std::size_t at = 1; at < plan_.fields.size(); ++at) {
      const SeriesField& before = plan_.fields[at - 1];
      const SeriesField& field = plan_.fields[at];
      if (field.range.address >= before.range.end()) continue;
      fail_at(file_, std::max(field.line, before.line),
              fmt::format("the byte at 0x{:04X} is written twice; see line {}, too",
                          field.range.address, std::min(field.line, before.line)));
    }
  }

  std::string_view file_;
  TableReader top_;
  SeriesPlan plan_;
};

}  // namespace

SeriesPlan parse_series_plan(std::string_view file_name, std::string_view text) {
  if (text.size() > largest_plan) {
    throw UsageError(fmt::format("{}: a plan has {} bytes at most", file_name, largest_plan));
  }
  const toml::table table = parse_table(file_name, text);
  SeriesPlan plan = PlanReader(file_name, table).read();
  plan.digest = digest_of(text);
  return plan;
}

std::string beside(const SeriesPlan& plan, const std::string& name) {
  return std::filesystem::path(plan.file).parent_path() / name;
}

void fail_at(std::string_view file, int line, std::string_view reason) {
  throw UsageError(fmt::format("{}:{}: {}", file, line, reason));
}

}  // namespace quorra::toolkit
