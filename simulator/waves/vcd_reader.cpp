// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/waves/vcd_reader.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <system_error>
#include <utility>

#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

// What goes beyond is not kept.
constexpr std::size_t longest_token = 256;
constexpr std::size_t longest_section = 1024;
constexpr std::size_t most_comments = 64;
// What goes beyond is refused.
constexpr std::size_t most_signals = 65536;
constexpr std::size_t most_scopes = 64;

constexpr std::string_view end_of_section = "$end";
constexpr std::string_view levels_of_one_bit = "01xXzZuUwWlLhH-";

bool is_blank(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

VcdReader::Level level_of(char character) {
  switch (character) {
    case '0':
    case 'l':
    case 'L':
      return VcdReader::Level::low;
    case '1':
    case 'h':
    case 'H':
      return VcdReader::Level::high;
    case 'z':
    case 'Z':
      return VcdReader::Level::let_go;
    default:
      return VcdReader::Level::unknown;
  }
}

std::optional<std::uint64_t> number_of(std::string_view digits) {
  std::uint64_t number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  return number;
}

struct Unit {
  std::string_view name;
  std::uint64_t femtoseconds;
};

constexpr std::array units{
    Unit{"s", 1'000'000'000'000'000},
    Unit{"ms", 1'000'000'000'000},
    Unit{"us", 1'000'000'000},
    Unit{"ns", 1'000'000},
    Unit{"ps", 1'000},
    Unit{"fs", 1},
};

}  // namespace

VcdReader::VcdReader(std::istream& file, std::string name) : file_(file), name_(std::move(name)) {
  read_head();
}

// sigrok-cli writes lines of its own in front of the head.
void VcdReader::read_head() {
  bool has_begun = false;
  while (const auto keyword = token()) {
    if (!has_begun && *keyword == "META") {
      skip_line();
      continue;
    }
    if (!keyword->starts_with('$')) {
      if (!has_begun) fail("no value change dump (VCD)");
      fail_at_line(fmt::format("'{}' is not expected in the head of the file", *keyword));
    }
    has_begun = true;
    if (*keyword == "$enddefinitions") {
      rest_of_section();
      return;
    }
    read_section(*keyword);
  }
  if (!has_begun) fail("no value change dump (VCD)");
  fail_cut_off();
}

void VcdReader::read_section(const std::string& keyword) {
  if (keyword == "$var") return read_variable();
  if (keyword == "$timescale") return read_timescale();
  if (keyword == "$scope") {
    expect_token();
    if (scopes_.size() == most_scopes) fail_at_line("there are too many scopes in each other");
    scopes_.push_back(expect_token());
  }
  if (keyword == "$upscope") {
    if (scopes_.empty()) fail_at_line("there is no scope to be left");
    scopes_.pop_back();
  }
  std::string text = rest_of_section();
  if (keyword == "$comment" && comments_.size() < most_comments)
    comments_.push_back(std::move(text));
}

// One of 1, 10 and 100, and a unit, with a blank between them or without.
void VcdReader::read_timescale() {
  std::string text = rest_of_section();
  std::erase(text, ' ');
  const auto digits = std::min(text.find_first_not_of("0123456789"), text.size());
  const auto number = number_of(std::string_view(text).substr(0, digits));
  const auto* const unit = std::ranges::find(units, text.substr(digits), &Unit::name);
  if (!number || (*number != 1 && *number != 10 && *number != 100) || unit == units.end())
    fail_at_line(fmt::format("'{}' is no time scale", text));
  femtoseconds_ = *number * unit->femtoseconds;
}

// A name may be followed by the number of a bit, which is part of it for nobody but its program.
void VcdReader::read_variable() {
  if (signals_.size() == most_signals) fail_at_line("there are too many signals");
  const std::string type = expect_token();
  const std::string size = expect_token();
  Signal signal{.scope = fmt::format("{}", fmt::join(scopes_, ".")),
                .name = {},
                .code = expect_token(),
                .is_bit = size == "1" && type != "string" && type != "real",
                .is_string = type == "string"};
  signal.name = expect_token();
  if (signal.name == end_of_section) fail_at_line("a signal has no name");
  rest_of_section();
  signals_.push_back(std::move(signal));
}

std::optional<VcdReader::Change> VcdReader::next() {
  while (const auto read = token()) {
    // It may have been longer.
    if (ends_in_a_word_) fail_cut_off();
    const char first = read->front();
    if (first == '#') {
      read_time(std::string_view(*read).substr(1));
    } else if (levels_of_one_bit.find(first) != std::string_view::npos && read->size() > 1) {
      return Change{.time = time_, .code = read->substr(1), .level = level_of(first), .text = {}};
    } else if (first == 'b' || first == 'B') {
      return Change{
          .time = time_, .code = expect_token(), .level = level_of(read->back()), .text = {}};
    } else if (first == 's' || first == 'S') {
      return Change{
          .time = time_, .code = expect_token(), .level = Level::unknown, .text = read->substr(1)};
    } else if (first == 'r' || first == 'R') {
      expect_token();
    } else if (read->starts_with("$dump")) {
      is_in_section_ = true;
    } else if (*read == end_of_section && is_in_section_) {
      is_in_section_ = false;
    } else if (first == '$' && *read != end_of_section) {
      rest_of_section();
    } else {
      fail_at_line(fmt::format("'{}' is no change of a signal", *read));
    }
  }
  if (is_in_section_ || !line_has_ended_) fail_cut_off();
  return std::nullopt;
}

void VcdReader::read_time(std::string_view digits) {
  const auto number = number_of(digits);
  if (!number) fail_at_line(fmt::format("'#{}' is no time", digits));
  if (*number < time_) fail_at_line(fmt::format("#{} follows #{}", *number, time_));
  time_ = *number;
}

std::optional<std::string> VcdReader::token() {
  std::streambuf& buffer = *file_.rdbuf();
  constexpr auto end = std::char_traits<char>::eof();
  std::string token;
  for (auto next = buffer.sbumpc(); next != end; next = buffer.sbumpc()) {
    const char character = std::char_traits<char>::to_char_type(next);
    if (is_blank(character)) {
      // The line of a token is that in which it ends.
      if (!token.empty()) {
        buffer.sungetc();
        return token;
      }
      line_has_ended_ = character == '\n';
      if (line_has_ended_) ++line_;
      continue;
    }
    line_has_ended_ = false;
    if (token.size() < longest_token) token += character;
  }
  if (token.empty()) return std::nullopt;
  ends_in_a_word_ = true;
  return token;
}

void VcdReader::skip_line() {
  file_.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  ++line_;
  line_has_ended_ = true;
}

std::string VcdReader::expect_token() {
  auto read = token();
  if (!read || ends_in_a_word_) fail_cut_off();
  return *read;
}

std::string VcdReader::rest_of_section() {
  std::string text;
  for (std::string word = expect_token(); word != end_of_section; word = expect_token()) {
    if (text.size() + word.size() > longest_section) continue;
    if (!text.empty()) text += ' ';
    text += word;
  }
  return text;
}

void VcdReader::fail(std::string_view why) const { throw Error(fmt::format("{}: {}", name_, why)); }

void VcdReader::fail_at_line(std::string_view why) const {
  fail(fmt::format("line {}: {}", line_, why));
}

void VcdReader::fail_cut_off() const { fail_at_line("the file is cut off"); }

}  // namespace quorra::simulator
