// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the library makes of each line of a configuration file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorra::toolkit {

// A piece that the library takes for a line: a longer line arrives in several.
struct ConfigurationLine {
  int number = 0;      // of the line that it belongs to
  std::string text;    // as it stands there, without its end
  char key = '\0';     // none, if the piece is ignored
  std::string value;   // after conversion, as the library holds it then
  std::string remark;  // what it is for, or why it is ignored
  bool is_trouble = false;
};

// What some editors put before the first line of a file in UTF-8. The library takes it for a part
// of that line.
inline constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

std::vector<ConfigurationLine> explain_configuration(std::string_view content);

// The value with what is no printable character in two hex digits: "<1B>[5i".
std::string visible(std::string_view value);

}  // namespace quorra::toolkit
