// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A value as the bytes of a field on a card, and values made of others.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/bytes.hpp"

namespace quorra::toolkit {

enum class FieldFormat {
  text,
  hex,
  bcd,     // two decimal digits a byte
  number,  // decimal, or hexadecimal with 0x
};

enum class TextEncoding { utf8, latin1, ascii };

struct Field {
  FieldFormat format = FieldFormat::text;
  int width = 0;                     // in bytes; 0: as many as the value has
  std::optional<unsigned> pad = {};  // fills a field: a byte, or a digit of BCD
  bool is_right_aligned = false;     // what fills the field stands before the value
  bool is_little_endian = false;     // of a number
  TextEncoding encoding = TextEncoding::utf8;
};

inline constexpr int widest_number = 8;

// The format, or encoding, of that name. Throws UsageError if there is none.
FieldFormat parse_field_format(std::string_view name);
TextEncoding parse_encoding(std::string_view name);

// The bytes of the field: exactly `width` of them. Throws UsageError if the value does not fit, is
// shorter and there is nothing to fill it with, or is not of that format.
Bytes encode(const Field& field, std::string_view value);

using Values = std::map<std::string, std::string, std::less<>>;

// Text with names in braces, "CARD-{serial}". "{{" and "}}" stand for braces.
class Template {
 public:
  Template() = default;
  // Throws UsageError if a brace has no partner.
  explicit Template(std::string_view text);

  // The names in it.
  std::vector<std::string> names() const;
  // Each name is among the values.
  std::string fill(const Values& values) const;

 private:
  struct Part {
    bool is_name;
    std::string text;
  };

  void add_character(char character);

  std::vector<Part> parts_;
};

}  // namespace quorra::toolkit
