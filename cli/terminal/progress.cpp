// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/progress.hpp"

#include <fmt/core.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

#include "cli/terminal/terminal.hpp"
#include "toolkit/memory/transfer.hpp"

namespace quorra::cli {
namespace {

using namespace std::chrono_literals;

constexpr auto before_first_bar = 1s;
constexpr auto between_bars = 100ms;
constexpr auto between_lines = 3s;

constexpr int bar_width = 12;
constexpr std::string_view erase_line = "\r\x1b[K";

}  // namespace

void tell_progress(int descriptor, std::string_view doing, int done, int total) {
  const std::string line =
      fmt::format("{{\"doing\":\"{}\",\"done\":{},\"total\":{}}}\n", doing, done, total);
  [[maybe_unused]] const ssize_t written = write(descriptor, line.data(), line.size());
}

ProgressDisplay::ProgressDisplay(std::string_view done_word, int total, bool shown)
    : done_word_(done_word),
      total_(total),
      shown_(shown),
      on_terminal_(is_terminal(STDERR_FILENO)),
      next_(start_) {
  next_ += on_terminal_ ? Clock::duration(before_first_bar) : Clock::duration(between_lines);
}

ProgressDisplay::~ProgressDisplay() {
  if (drawn_ && takes_output(STDERR_FILENO)) print_note(erase_line);
}

void ProgressDisplay::advance(int done) {
  const Clock::time_point now = Clock::now();
  if (!shown_ || done == total_ || now < next_) return;
  // The transfer does not wait for those who watch it.
  if (!takes_output(STDERR_FILENO)) return;
  const std::string words = describe(done, now - start_);
  if (on_terminal_) {
    // A line that is as wide as the terminal would go on in the next one.
    const auto room = static_cast<std::size_t>(terminal_width(STDERR_FILENO) - 1);
    const std::string line = fmt::format("{} {}", bar(done), words).substr(0, room);
    print_note(fmt::format("{}{}", erase_line, line));
    drawn_ = true;
    next_ = now + between_bars;
  } else {
    print_note(words + '\n');
    next_ = now + between_lines;
  }
}

std::string ProgressDisplay::describe(int done, Clock::duration elapsed) const {
  const double seconds = std::chrono::duration<double>(elapsed).count();
  const double rate = done / seconds;
  const auto left = static_cast<int>((total_ - done) / rate);
  return fmt::format("{}, {:.0f} bytes/s, {}:{:02} left",
                     toolkit::how_far(done, total_, done_word_), rate, left / 60, left % 60);
}

std::string ProgressDisplay::bar(int done) const {
  const auto filled = static_cast<int>(std::int64_t{bar_width} * done / total_);
  return fmt::format("[{:#<{}}{:-<{}}]", "", filled, "", bar_width - filled);
}

}  // namespace quorra::cli
