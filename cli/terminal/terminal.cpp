// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/terminal.hpp"

#include <fmt/color.h>
#include <fmt/core.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>

#include "cli/terminal/interruption.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

// Waits for a byte of standard input: false at its end, or when `interruption` becomes readable.
bool next_byte(int interruption, char& byte) {
  std::array<pollfd, 2> waited = {{{STDIN_FILENO, POLLIN, 0}, {interruption, POLLIN, 0}}};
  if (poll(waited.data(), waited.size(), -1) < 0) return false;
  if (waited[1].revents != 0) return false;
  return read(STDIN_FILENO, &byte, 1) == 1;
}

bool is_readable(int descriptor) {
  pollfd waited = {descriptor, POLLIN, 0};
  return poll(&waited, 1, 0) > 0;
}

// A line of standard input, without its end; none if the wait ended because `interruption` became
// readable.
std::optional<std::string> next_line(int interruption) {
  std::string line;
  char byte = 0;
  // A terminal that serves as the line to the reader ends its lines with a carriage return.
  while (next_byte(interruption, byte) && byte != '\n' && byte != '\r') {
    line += byte;
  }
  if (!is_readable(interruption)) return line;
  print_note("\n");
  return std::nullopt;
}

// While it lives, standard input, a terminal, does not show what is typed. Signals that would leave
// it so, by ending or stopping the program, have to wait.
class WithoutEcho {
 public:
  WithoutEcho() {
    sigset_t held{};
    sigemptyset(&held);
    sigaddset(&held, SIGQUIT);
    sigaddset(&held, SIGTSTP);
    pthread_sigmask(SIG_BLOCK, &held, &mask_before_);
    tcgetattr(STDIN_FILENO, &before_);
    termios hidden = before_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  WithoutEcho(const WithoutEcho&) = delete;
  WithoutEcho& operator=(const WithoutEcho&) = delete;
  ~WithoutEcho() {
    tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr);
  }

 private:
  termios before_{};
  sigset_t mask_before_{};
};

std::string_view without_blanks_around(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Asks, and takes one of these words, in capitals or not and between blanks or not, for yes.
Answer answer_among(std::initializer_list<std::string_view> words, std::string_view question,
                    int interruption) {
  print_note(question);
  const std::optional<std::string> answer = next_line(interruption);
  if (!answer) return Answer::interrupted;
  const std::string given = toolkit::lower_case(without_blanks_around(*answer));
  return std::ranges::find(words, given) != words.end() ? Answer::yes : Answer::no;
}

}  // namespace

bool is_terminal(int descriptor) { return isatty(descriptor) == 1; }

bool takes_output(int descriptor) {
  pollfd waited = {descriptor, POLLOUT, 0};
  return poll(&waited, 1, 0) > 0;
}

int terminal_width(int descriptor) {
  constexpr int usual_width = 80;
  winsize size{};
  const bool known = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : usual_width;
}

bool wants_colour(int descriptor) {
  const char* no_colour = std::getenv("NO_COLOR");
  return is_terminal(descriptor) && (no_colour == nullptr || *no_colour == '\0');
}

bool can_ask() { return is_terminal(STDIN_FILENO) && is_terminal(STDERR_FILENO); }

Answer ask(std::string_view question, int interruption) {
  return answer_among({"y", "yes"}, fmt::format("{} [y/N] ", question), interruption);
}

Answer ask_for_kind(std::string_view question, std::string_view kind, int interruption) {
  return answer_among({kind}, fmt::format("{} Type {} to go on: ", question, kind), interruption);
}

std::optional<std::string> ask_secret(std::string_view question, int interruption) {
  std::optional<std::string> answer;
  {
    const WithoutEcho hidden;
    print_note(question);
    answer = next_line(interruption);
  }
  if (answer) print_note("\n");
  return answer;
}

void print_error(std::string_view text) {
  if (Interruption::taken() != 0 && !takes_output(STDERR_FILENO)) return;
  const auto style = wants_colour(STDERR_FILENO) ? fg(fmt::terminal_color::red) : fmt::text_style();
  print_note(fmt::format("{}{}\n", fmt::format(style, "quorra: "), text));
}

void print_note(std::string_view text) {
  // What was written before is read before.
  static_cast<void>(std::fflush(stdout));
  // There is nobody left to tell when standard error fails.
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

}  // namespace quorra::cli
