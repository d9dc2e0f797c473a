// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The configuration file: any bytes, read over what earlier files have left. What the settings are
// then is told a second time here, character by character.

#include <quorra.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "fuzz/support/adversary.hpp"
#include "fuzz/support/check.hpp"
#include "fuzz/support/exact_bytes.hpp"
#include "fuzz/support/functions.hpp"

using namespace quorra::fuzzing;

namespace {

constexpr std::size_t text_size = 60;
using Text = std::array<char, text_size>;

struct Setting {
  char key;
  char* value;
};
constexpr Setting settings[] = {
    {'A', AUXENDWRITE}, {'C', CLOSEAUX}, {'D', DISABLEKEYBOARD}, {'E', ENABLEKEYBOARD},
    {'I', INITAUX},     {'S', SETAUX},   {'W', AUXSTARTWRITE},   {'P', DRVCOMM},
};

// The line without its blanks, but with the character behind each of them whatever it is.
std::size_t without_blanks(const char* line, char* kept) {
  std::size_t size = 0;
  while (*line != '\0') {
    if (*line == ' ') ++line;
    if (*line == '\0') break;
    kept[size++] = *line++;
  }
  return size;
}

void tell_value(const char* line, Text& value) {
  char kept[256];
  const std::size_t size = without_blanks(line, kept);
  for (std::size_t equals = 0; equals < size; ++equals) {
    if (kept[equals] != '=') continue;
    const std::size_t length = std::min(size - equals - 1, text_size);
    for (std::size_t i = 0; i + 1 < length; ++i)
      if (kept[equals + 1 + i] != '\r') value[i] = kept[equals + 1 + i];
  }
  // Each backslash takes the three characters behind it along.
  Text converted{};
  std::size_t to = 0;
  for (std::size_t from = 0; from < text_size - 1 && value[from] != '\0'; ++from) {
    const bool escapes = value[from] == '\\';
    converted[to++] = escapes ? '\033' : value[from];
    for (int i = 0; escapes && i < 3 && from + 1 < text_size - 1 && value[from + 1] != '\0'; ++i)
      ++from;
  }
  // What stands behind the end of an unchanged text is none of its business.
  const std::size_t length = strnlen(value.data(), text_size - 1);
  std::copy_n(converted.begin(), length, value.begin());
  if (length == text_size - 1) value[length] = '\0';
}

void check_get_s(Input& input) {
  Text value{};
  const Bytes old = input.bytes(input.byte() % text_size);
  std::ranges::copy(old, value.begin());
  const Bytes text = input.bytes(input.byte());
  ExactBytes line(text.size() + 1);
  std::ranges::copy(text, line.data());
  line.data()[text.size()] = '\0';
  ExactBytes dest(
      {static_cast<const unsigned char*>(static_cast<const void*>(value.data())), value.size()});
  tell_value(line.as<char>(), value);
  const int length = get_s(line.as<char>(), dest.as<char>());
  require(std::memcmp(dest.data(), value.data(), text_size) == 0, "get_s finds the value");
  require(length == static_cast<int>(strnlen(value.data(), text_size)), "get_s returns the length");
}

// Reads `file` in lines of at most 59 characters, as getpar does. What an error cuts off is no
// line. Returns whether a device was named.
bool tell_settings(Bytes file, bool ends_with_an_error,
                   std::array<Text, std::size(settings)>& values) {
  while (!file.empty()) {
    const auto longest = file.first(std::min(file.size(), text_size - 1));
    const auto end = std::ranges::find(longest, '\n');
    const std::size_t size =
        static_cast<std::size_t>(end - longest.begin()) + (end == longest.end() ? 0 : 1);
    if (ends_with_an_error && size == file.size() && size < text_size - 1 && file.back() != '\n') {
      return false;
    }
    char line[text_size] = {};
    std::ranges::copy(file.first(size), line);
    file = file.subspan(size);
    for (std::size_t i = 0; i < std::size(settings); ++i) {
      if (settings[i].key != line[0]) continue;
      tell_value(line, values[i]);
      if (settings[i].key == 'P') return true;
    }
  }
  return false;
}

void check_getpar(Input& input, Line& line) {
  std::array<Text, std::size(settings)> values{};
  for (std::size_t i = 0; i < std::size(settings); ++i)
    std::copy_n(settings[i].value, text_size, values[i].begin());
  const unsigned char flags = input.byte();
  line.file_can_be_opened = flags < 0xFC;
  line.file_ends_with_an_error = flags % 8 == 7;
  line.file = (flags & 0x40) != 0 ? input.rest() : input.bytes(input.byte());
  term_flg = 7;
  const int result = getpar("reader.conf");
  if (!line.file_can_be_opened) {
    return require(result == -1 && term_flg == 7, "without a file nothing changes");
  }
  const bool direct = tell_settings(line.file, line.file_ends_with_an_error, values);
  if (!direct && line.file_ends_with_an_error) {
    require(result == -1 && term_flg == 7, "a file that cannot be read to its end is none");
  } else {
    require(result == 0 && term_flg == (direct ? 1 : 0), "a line P is direct mode");
  }
  for (std::size_t i = 0; i < std::size(settings); ++i) {
    require(settings[i].value[text_size - 1] == '\0', "a setting is a text that ends");
    require(std::memcmp(settings[i].value, values[i].data(), text_size) == 0,
            "the settings are those of the file");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  constexpr int most_files = 6;
  Input input({data, size});
  Adversary adversary(input);
  Line& line = Line::instance();
  line.reset(adversary);
  for (const Setting& setting : settings)
    std::memset(setting.value, 0, text_size);
  for (int i = 0; i < most_files && !input.empty(); ++i) {
    if (input.byte() % 4 == 3) {
      check_get_s(input);
    } else {
      check_getpar(input, line);
    }
  }
  return 0;
}
