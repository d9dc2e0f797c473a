// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/batch/field.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <span>
#include <system_error>

#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

template <typename Value>
struct Named {
  std::string_view name;
  Value value;
};

constexpr Named<FieldFormat> formats[] = {
    {"text", FieldFormat::text},
    {"hex", FieldFormat::hex},
    {"bcd", FieldFormat::bcd},
    {"number", FieldFormat::number},
};

constexpr Named<TextEncoding> encodings[] = {
    {"utf-8", TextEncoding::utf8},
    {"latin-1", TextEncoding::latin1},
    {"ascii", TextEncoding::ascii},
};

template <typename Value>
Value value_named(std::span<const Named<Value>> all, std::string_view noun, std::string_view name) {
  const auto found = std::ranges::find(all, name, &Named<Value>::name);
  if (found != all.end()) return found->value;
  std::string names;
  for (const auto& one : all) {
    names += fmt::format("{}{}", names.empty() ? "" : ", ", one.name);
  }
  throw UsageError(fmt::format("'{}' is no {}; there are {}", name, noun, names));
}

[[noreturn]] void refuse(std::string_view value, std::string_view reason) {
  throw UsageError(fmt::format("'{}' {}", value, reason));
}

// The character that begins there, of which `size` tells how many bytes it has; none if it is not
// UTF-8.
std::optional<char32_t> character_at(std::string_view text, std::size_t& size) {
  const auto first = static_cast<unsigned char>(text.front());
  size = 1;
  if (first < 0x80) return first;
  const unsigned length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return std::nullopt;
  char32_t character = first & (0x7FU >> length);
  for (size = 1; size < length; ++size) {
    const auto next = static_cast<unsigned char>(text[size]);
    if ((next & 0xC0U) != 0x80) return std::nullopt;
    character = (character << 6U) | (next & 0x3FU);
  }
  constexpr char32_t smallest[] = {0x80, 0x800, 0x10000};
  const bool is_surrogate = character >= 0xD800 && character <= 0xDFFF;
  if (character < smallest[length - 2] || is_surrogate || character > 0x10FFFF) return std::nullopt;
  return character;
}

Bytes encode_text(TextEncoding encoding, std::string_view value) {
  constexpr char32_t highest[] = {0x10FFFF, 0xFF, 0x7F};
  Bytes bytes;
  std::size_t size = 0;
  for (std::string_view rest = value; !rest.empty(); rest.remove_prefix(size)) {
    const auto character = character_at(rest, size);
    if (!character) refuse(value, "is not UTF-8");
    if (*character > highest[static_cast<int>(encoding)]) {
      refuse(value, fmt::format("has a character that {} does not have",
                                encodings[static_cast<int>(encoding)].name));
    }
    if (encoding == TextEncoding::utf8) {
      bytes.insert(bytes.end(), rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size));
    } else {
      bytes.push_back(static_cast<unsigned char>(*character));
    }
  }
  return bytes;
}

unsigned char digit_value(char digit) {
  unsigned char value = 0;
  std::from_chars(&digit, &digit + 1, value, 16);
  return value;
}

Bytes from_digits(std::string_view digits) {
  Bytes bytes;
  for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
    bytes.push_back(
        static_cast<unsigned char>(digit_value(digits[at]) << 4U | digit_value(digits[at + 1])));
  }
  return bytes;
}

Bytes encode_hex(std::string_view value) {
  std::string digits;
  for (const char character : value) {
    if (character == ' ' || character == ':') {
      if (digits.size() % 2 != 0) refuse(value, "has half a byte");
    } else {
      digits += character;
    }
  }
  if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    refuse(value, "is not hexadecimal");
  }
  if (digits.size() % 2 != 0) refuse(value, "has half a byte");
  return from_digits(digits);
}

[[noreturn]] void refuse_longer(std::string_view value, std::string_view size,
                                std::string_view room) {
  refuse(value, fmt::format("is too long: {}, and the field has {}", size, room));
}

// Digits are filled up here, by halves of bytes.
Bytes encode_bcd(const Field& field, std::string_view value) {
  if (value.find_first_not_of("0123456789") != std::string_view::npos) {
    refuse(value, "is not made of decimal digits");
  }
  const auto room =
      field.width > 0 ? static_cast<std::size_t>(field.width) * 2 : value.size() + value.size() % 2;
  if (value.size() > room) {
    refuse_longer(value, counted(static_cast<int>(value.size()), "digit"),
                  counted(static_cast<int>(room), "digit"));
  }
  const std::string filling(room - value.size(), "0123456789ABCDEF"[field.pad.value_or(0)]);
  return from_digits(field.is_right_aligned ? filling + std::string(value)
                                            : std::string(value) + filling);
}

std::uint64_t to_number(std::string_view value) {
  const bool is_hexadecimal = value.starts_with("0x") || value.starts_with("0X");
  const std::string_view digits = is_hexadecimal ? value.substr(2) : value;
  std::uint64_t number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number, is_hexadecimal ? 16 : 10);
  if (error == std::errc::result_out_of_range) refuse(value, "is far too large");
  if (error != std::errc() || stop != end) {
    refuse(value, value.starts_with('-') ? "is negative" : "is not a number, such as 32 or 0x20");
  }
  return number;
}

Bytes encode_number(const Field& field, std::string_view value) {
  std::uint64_t number = to_number(value);
  Bytes bytes;
  for (int at = 0; at < (field.width > 0 ? field.width : widest_number); ++at) {
    bytes.push_back(static_cast<unsigned char>(number & 0xFFU));
    number >>= 8U;
    if (field.width == 0 && number == 0) break;
  }
  if (number != 0) {
    refuse(value, fmt::format("is too large for {}", counted(field.width, "byte")));
  }
  if (!field.is_little_endian) std::ranges::reverse(bytes);
  return bytes;
}

Bytes encode_unfilled(const Field& field, std::string_view value) {
  switch (field.format) {
    case FieldFormat::text:
      return encode_text(field.encoding, value);
    case FieldFormat::hex:
      return encode_hex(value);
    case FieldFormat::bcd:
      return encode_bcd(field, value);
    case FieldFormat::number:
      return encode_number(field, value);
  }
  return {};  // UNREACHED: there are no other formats
}

}  // namespace

FieldFormat parse_field_format(std::string_view name) {
  return value_named<FieldFormat>(formats, "format", name);
}

TextEncoding parse_encoding(std::string_view name) {
  return value_named<TextEncoding>(encodings, "encoding", name);
}

Bytes encode(const Field& field, std::string_view value) {
  Bytes bytes = encode_unfilled(field, value);
  const auto size = static_cast<int>(bytes.size());
  if (field.width == 0 || size == field.width) return bytes;
  if (size > field.width) {
    refuse_longer(value, counted(size, "byte"), counted(field.width, "byte"));
  }
  if (!field.pad) {
    refuse(value, fmt::format("is too short: {}, and the field has {}; \"pad\" fills it",
                              counted(size, "byte"), counted(field.width, "byte")));
  }
  bytes.insert(field.is_right_aligned ? bytes.begin() : bytes.end(),
               static_cast<std::size_t>(field.width - size),
               static_cast<unsigned char>(*field.pad));
  return bytes;
}

Template::Template(std::string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char character = text[at];
    if (character != '{' && character != '}') {
      add_character(character);
    } else if (text.substr(at + 1).starts_with(character)) {
      add_character(character);
      ++at;
    } else {
      const std::size_t end = text.find('}', at);
      if (character == '}' || end == std::string_view::npos || end == at + 1) {
        throw UsageError(
            fmt::format("'{}': a name stands in braces; a brace itself is written twice", text));
      }
      parts_.push_back({true, std::string(text.substr(at + 1, end - at - 1))});
      at = end;
    }
  }
}

void Template::add_character(char character) {
  if (parts_.empty() || parts_.back().is_name) parts_.push_back({false, {}});
  parts_.back().text += character;
}

std::vector<std::string> Template::names() const {
  std::vector<std::string> names;
  for (const Part& part : parts_) {
    if (part.is_name) names.push_back(part.text);
  }
  return names;
}

std::string Template::fill(const Values& values) const {
  std::string text;
  for (const Part& part : parts_) {
    text += part.is_name ? values.find(part.text)->second : part.text;
  }
  return text;
}

}  // namespace quorra::toolkit
