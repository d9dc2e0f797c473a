// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/configuration_lines.hpp"

#include <fmt/core.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>

#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

constexpr std::size_t longest_piece = 59;
constexpr char device_key = 'P';

struct Meaning {
  char key;
  std::string_view words;
};

constexpr Meaning meanings[] = {
    {'P', "the serial device"},
    {'S', "sent first to the serial terminal"},
    {'I', "sent second to the serial terminal"},
    {'W', "sent to the serial terminal before each byte"},
    {'A', "sent to the serial terminal behind each byte"},
    {'C', "sent to the serial terminal at the end"},
    {'E', "read, but used for nothing"},
    {'D', "read, but used for nothing"},
};

using Value = std::array<char, longest_piece + 1>;

// What the library takes for a line, and what it has read of the file before.
class Reading {
 public:
  ConfigurationLine next(int number, std::string_view piece, bool is_continuation) {
    const bool has_end = piece.ends_with('\n');
    ConfigurationLine line{.number = number,
                           .text = std::string(has_end ? piece.substr(0, piece.size() - 1) : piece),
                           .key = '\0',
                           .value = {},
                           .remark = {}};
    read(line, piece);
    if (is_continuation) {
      line.remark =
          fmt::format("what is behind character {} of a line counts as a line of its own: {}",
                      longest_piece, line.remark);
      line.is_trouble = line.is_trouble || line.key != '\0';
    }
    if (has_end || line.key == '\0') return line;
    line.is_trouble = true;
    line.remark +=
        piece.size() < longest_piece
            ? "; the line has no end, and its last character is lost"
            : fmt::format("; cut at {} characters, of which the last one is lost", longest_piece);
    return line;
  }

 private:
  void read(ConfigurationLine& line, std::string_view piece) {
    if (device_read_) {
      line.remark = "ignored: it stands behind the line that names the device";
      return;
    }
    const char key = piece.front();
    const auto* const meaning = std::ranges::find(meanings, key, &Meaning::key);
    if (meaning == std::end(meanings)) {
      ignore(line, key);
      return;
    }
    line.key = key;
    line.remark = meaning->words;
    line.value = convert(key, piece);
    if (piece.find('=') == std::string_view::npos) {
      line.remark += "; there is no '=', so nothing is set";
      line.is_trouble = true;
    }
    device_read_ = key == device_key;
    if (piece.find(' ') == std::string_view::npos) return;
    line.remark += "; blanks are removed, and what stands behind one is part of the value";
    line.is_trouble = true;
  }

  static void ignore(ConfigurationLine& line, char key) {
    if (line.text.empty()) {
      line.remark = "empty";
    } else if (key == '#') {
      line.remark = "a comment";
    } else if (line.text.starts_with(byte_order_mark)) {
      line.remark = "ignored: a byte order mark stands before it";
      line.is_trouble = true;
    } else {
      line.remark = fmt::format("ignored: '{}' is no key", visible({&key, 1}));
      line.is_trouble = true;
    }
  }

  // The library writes a value over an earlier one of the same key.
  std::string convert(char key, std::string_view piece) {
    std::string line(piece);
    Value& value = values_[key];
    get_s(line.data(), value.data());
    return value.data();
  }

  bool device_read_ = false;
  std::map<char, Value> values_;
};

}  // namespace

std::vector<ConfigurationLine> explain_configuration(std::string_view content) {
  std::vector<ConfigurationLine> lines;
  Reading reading;
  int number = 1;
  bool is_continuation = false;
  while (!content.empty()) {
    const std::size_t end = std::min(content.find('\n'), content.size() - 1) + 1;
    const std::string_view piece = content.substr(0, std::min(longest_piece, end));
    content.remove_prefix(piece.size());
    lines.push_back(reading.next(number, piece, is_continuation));
    is_continuation = !piece.ends_with('\n');
    if (!is_continuation) ++number;
  }
  return lines;
}

std::string visible(std::string_view value) {
  std::string text;
  for (const char character : value) {
    const auto byte = static_cast<unsigned char>(character);
    text += is_printable(byte) ? std::string(1, character) : fmt::format("<{:02X}>", byte);
  }
  return text;
}

}  // namespace quorra::toolkit
