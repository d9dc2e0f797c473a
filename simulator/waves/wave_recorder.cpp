// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/waves/wave_recorder.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "simulator/waves/signals.hpp"
#include "toolkit/wire/telling.hpp"

namespace quorra::simulator {
namespace {

constexpr std::string_view beginning = "$version quorra-sim $end\n";

// In ticks of the file. The card answers within a period.
constexpr std::uint64_t period = 4;
constexpr std::uint64_t answer = 1;
constexpr std::uint64_t pause = 100;

// The signals have these codes, one after the other, and the request has the code behind theirs.
constexpr char first_code = '!';

struct Signal {
  std::string_view name;
  bool (*level)(const Contacts& reader, const CardSide& card);
};

constexpr std::array signals{
    Signal{waves::vcc, [](const Contacts& reader, const CardSide&) { return reader.vcc; }},
    Signal{waves::rst, [](const Contacts& reader, const CardSide&) { return reader.rst; }},
    Signal{waves::clk, [](const Contacts& reader, const CardSide&) { return reader.clk; }},
    Signal{waves::io, [](const Contacts& reader,
                         const CardSide& card) { return reader.io && !card.pulls_io_low; }},
    Signal{waves::c4, [](const Contacts& reader, const CardSide&) { return reader.c4; }},
    Signal{waves::c8, [](const Contacts& reader,
                         const CardSide& card) { return reader.c8 && !card.pulls_c8_low; }},
    Signal{waves::io_of_reader, [](const Contacts& reader, const CardSide&) { return reader.io; }},
    Signal{waves::io_of_card,
           [](const Contacts&, const CardSide& card) { return !card.pulls_io_low; }},
};

constexpr char code_of(std::size_t signal) { return static_cast<char>(first_code + signal); }
constexpr char code_of_request = code_of(signals.size());

// A string of the file has no blanks.
std::string as_one_word(std::string text) {
  std::ranges::replace_if(
      text, [](char character) { return character <= ' '; }, '_');
  return text;
}

std::string head(std::string_view kind) {
  std::string text(beginning);
  if (!kind.empty()) text += fmt::format("$comment {} {} $end\n", waves::kind_of_card, kind);
  text += "$timescale 1 us $end\n$scope module card $end\n";
  for (std::size_t signal = 0; signal < signals.size(); ++signal)
    text += fmt::format("$var wire 1 {} {} $end\n", code_of(signal), signals.at(signal).name);
  text += fmt::format("$var string 1 {} {} $end\n", code_of_request, waves::request);
  return text + "$upscope $end\n$enddefinitions $end\n";
}

}  // namespace

WaveRecorder::WaveRecorder(const std::filesystem::path& file, std::string_view kind)
    : file_(file, beginning),
      unwritten_(head(kind)) {}

void WaveRecorder::begin_request(std::span<const std::uint8_t> frame) {
  toolkit::wire::Frame request;
  request.bytes.assign(frame.begin(), frame.end());
  note_request(as_one_word(what_is_asked(decoder_.take(std::move(request)))));
}

void WaveRecorder::end_request() { note_request(waves::idle); }

// The first levels are those that all signals have at the beginning. The card answers a bit later
// than it is asked, as it does in reality: who looks at its answer at an edge sees the one before.
void WaveRecorder::contacts_changed(const Contacts& now, const CardSide& card) {
  if (!std::exchange(has_begun_, true)) {
    sides_ = {.reader = now, .card = card};
    unwritten_ += fmt::format("#{}\n$dumpvars\n", time_);
    for (std::size_t signal = 0; signal < signals.size(); ++signal)
      unwritten_ += fmt::format("{:d}{}\n", signals.at(signal).level(now, card), code_of(signal));
    unwritten_ += fmt::format("s{} {}\n$end\n", waves::idle, code_of_request);
    return;
  }
  pass(period);
  note_changes({.reader = now, .card = sides_.card});
  if (card == sides_.card) return;
  fmt::format_to(std::back_inserter(unwritten_), "#{}\n", time_ + answer);
  note_changes({.reader = now, .card = card});
}

void WaveRecorder::write() {
  pass(pause);
  file_.write(std::exchange(unwritten_, {}));
}

void WaveRecorder::pass(std::uint64_t ticks) {
  time_ += ticks;
  fmt::format_to(std::back_inserter(unwritten_), "#{}\n", time_);
}

void WaveRecorder::note_request(std::string_view words) {
  pass(period);
  unwritten_ += fmt::format("s{} {}\n", words, code_of_request);
}

void WaveRecorder::note_changes(const Sides& now) {
  for (std::size_t signal = 0; signal < signals.size(); ++signal) {
    const auto level = signals.at(signal).level;
    const bool is_high = level(now.reader, now.card);
    if (is_high == level(sides_.reader, sides_.card)) continue;
    unwritten_ += {is_high ? '1' : '0', code_of(signal), '\n'};
  }
  sides_ = now;
}

}  // namespace quorra::simulator
