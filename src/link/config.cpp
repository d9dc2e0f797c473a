// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The configuration file: one line a setting, keyed by its first character.

#include <quorra.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "link/codes.hpp"
#include "link/session.hpp"

char AUXSTARTWRITE[quorra::text_size];
char AUXENDWRITE[quorra::text_size];
char CLOSEAUX[quorra::text_size];
char SETAUX[quorra::text_size];
char INITAUX[quorra::text_size];
char ENABLEKEYBOARD[quorra::text_size];
char DISABLEKEYBOARD[quorra::text_size];
char DRVCOMM[quorra::text_size];
int term_flg;

namespace quorra {
namespace {

constexpr char carriage_return = '\r';
constexpr char escape = '\033';

// A backslash in a value stands for ESC together with the three characters behind it.
constexpr std::size_t escape_length = 4;

struct Setting {
  char key;
  char* value;
};

constexpr Setting settings[] = {
    {'A', AUXENDWRITE}, {'C', CLOSEAUX}, {'D', DISABLEKEYBOARD}, {'E', ENABLEKEYBOARD},
    {'I', INITAUX},     {'S', SETAUX},   {'W', AUXSTARTWRITE},
};
constexpr char device_key = 'P';

// Removes blanks and returns the new length. The character that moves into the place of a blank is
// not looked at, so every second one of a row of blanks stays. No terminator is moved.
std::size_t remove_blanks(char* line) {
  std::size_t length = std::strlen(line);
  for (std::size_t i = 0; i < length; ++i) {
    if (line[i] != ' ') continue;
    --length;
    std::memmove(line + i, line + i + 1, length - i);
  }
  return length;
}

// Copies what stands behind each '=' to the start of `dest`, without the line's last character,
// which is taken for the line end. A carriage return leaves a gap.
void copy_value(const char* line, std::size_t length, char* dest) {
  for (std::size_t equals = 0; equals < length; ++equals) {
    if (line[equals] != '=') continue;
    for (std::size_t from = equals + 1; from + 1 < length; ++from) {
      const std::size_t to = from - equals - 1;
      if (to >= text_size - 1) break;
      if (line[from] != carriage_return) dest[to] = line[from];
    }
  }
}

// Puts ESC for each backslash and the three characters behind it, as far as the text has them.
// Returns the length of the text.
std::size_t convert_escapes(char* text) {
  std::size_t length = text_length(text);
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] != '\\') continue;
    text[i] = escape;
    const std::size_t taken = std::min(length - i, escape_length);
    const std::size_t rest = length - i - taken;
    std::memmove(text + i + 1, text + i + taken, rest);
    // Nothing of the old text stays behind the new one, where a later value could meet it.
    std::memset(text + i + 1 + rest, 0, length - (i + 1 + rest));
    length = i + 1 + rest;
  }
  return length;
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int get_s(char* line, char* dest) {
  if (line == nullptr || dest == nullptr) return 0;
  copy_value(line, remove_blanks(line), dest);
  // Only a text of 60 characters without a terminator, which no line of a file makes, is cut here.
  if (text_length(dest) == text_size - 1) dest[text_size - 1] = '\0';
  return static_cast<int>(convert_escapes(dest));
}

int getpar(const char* path) {
  if (path == nullptr) return no_configuration;
  std::FILE* file = std::fopen(path, "r");
  if (file == nullptr) return no_configuration;

  // A longer line arrives in pieces, each of which counts as a line.
  char line[text_size];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    if (line[0] == device_key) {
      get_s(line, DRVCOMM);
      (void)std::fclose(file);
      term_flg = 1;
      return ok;
    }
    for (const Setting& setting : settings) {
      if (setting.key == line[0]) get_s(line, setting.value);
    }
  }
  const bool unreadable = std::ferror(file) != 0;
  (void)std::fclose(file);
  if (unreadable) return no_configuration;
  term_flg = 0;
  return ok;
}
