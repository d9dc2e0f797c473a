#include "cli/terminal.hpp"

#include <fmt/color.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>

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

}  // namespace

bool is_terminal(int descriptor) { return isatty(descriptor) == 1; }

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
  print_note(fmt::format("{} [y/N] ", question));
  std::string answer;
  char byte = 0;
  // A terminal that serves as the line to the reader ends its lines with a carriage return.
  while (next_byte(interruption, byte) && byte != '\n' && byte != '\r') {
    answer += static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  }
  if (is_readable(interruption)) {
    print_note("\n");
    return Answer::interrupted;
  }
  return answer == "y" || answer == "yes" ? Answer::yes : Answer::no;
}

void print_error(std::string_view text) {
  const auto style = wants_colour(STDERR_FILENO) ? fg(fmt::terminal_color::red) : fmt::text_style();
  print_note(fmt::format("{}{}\n", fmt::format(style, "quorra: "), text));
}

void print_note(std::string_view text) {
  // There is nobody left to tell when standard error fails.
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

}  // namespace quorra::cli
