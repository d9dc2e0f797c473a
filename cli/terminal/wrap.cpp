// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/wrap.hpp"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "cli/terminal/terminal.hpp"

namespace quorra::cli {

namespace {

// A command of an example: where it goes on in another line, a shell is told so. What is quoted
// stays in one line.
std::string wrap_command(std::string_view line, std::size_t width) {
  constexpr std::string_view goes_on = " \\";
  constexpr std::size_t more = 4;
  constexpr char quoted_blank = '\0';
  if (line.size() <= width) return std::string(line);
  const std::size_t indent = line.find_first_not_of(' ');
  std::string words(line.substr(indent));
  bool is_quoted = false;
  for (char& character : words) {
    if (character == '\'') is_quoted = !is_quoted;
    if (character == ' ' && is_quoted) character = quoted_blank;
  }
  std::string text(indent, ' ');
  for (const char character : wrap(words, width - goes_on.size(), indent, indent + more)) {
    if (character == '\n') text += goes_on;
    text += character == quoted_blank ? ' ' : character;
  }
  return text;
}

}  // namespace

std::size_t text_width() {
  constexpr int narrowest = 20;
  int width = 0;
  if (const char* columns = std::getenv("COLUMNS")) {
    const std::string_view text = columns;
    std::from_chars(text.data(), text.data() + text.size(), width);
  }
  if (width <= 0) width = terminal_width(STDOUT_FILENO);
  return static_cast<std::size_t>(std::max(width, narrowest));
}

std::string wrap(std::string_view text, std::size_t width, std::size_t begin, std::size_t indent) {
  std::string lines;
  std::size_t column = begin;
  bool is_first = true;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find_first_of(" \n"));
    const bool ends_line = word.size() < text.size() && text[word.size()] == '\n';
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    if (!is_first && column + 1 + word.size() > width) {
      lines += '\n' + std::string(indent, ' ');
      column = indent;
      is_first = true;
    }
    if (!is_first) lines += ' ';
    lines += word;
    column += word.size() + (is_first ? 0 : 1);
    is_first = false;
    if (ends_line) {
      lines += '\n' + std::string(indent, ' ');
      column = indent;
      is_first = true;
    }
  }
  return lines;
}

std::string wrap_paragraphs(std::string_view text, std::size_t width) {
  std::string result;
  std::string paragraph;
  const auto end_paragraph = [&] {
    if (!paragraph.empty()) result += wrap(paragraph, width, 0, 0) + '\n';
    paragraph.clear();
  };
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.empty() || line.front() == ' ') {
      end_paragraph();
      result += wrap_command(line, width) + '\n';
    } else {
      if (!paragraph.empty()) paragraph += ' ';
      paragraph += line;
      // What such a line announces begins in a line of its own.
      if (line.back() == ':') end_paragraph();
    }
  }
  end_paragraph();
  return result;
}

}  // namespace quorra::cli
