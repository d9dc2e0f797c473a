// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Values as the bytes of fields.
#include "toolkit/batch/field.hpp"

#include <gtest/gtest.h>

#include "tests/toolkit/batch/support.hpp"

namespace quorra::testing {
namespace {

using toolkit::encode;
using toolkit::Field;
using toolkit::FieldFormat;
using toolkit::Template;
using toolkit::TextEncoding;
using toolkit::Values;

std::string encoded(const Field& field, std::string_view value) {
  return hex(encode(field, value));
}

std::string refusal(const Field& field, std::string_view value) {
  return usage_error([&] { static_cast<void>(encode(field, value)); });
}

TEST(Field, TextIsFilledUpToItsWidth) {
  Field field{.format = FieldFormat::text, .width = 5, .pad = ' '};
  EXPECT_EQ(encoded(field, "ABC"), "41 42 43 20 20");
  EXPECT_EQ(encoded(field, "ABCDE"), "41 42 43 44 45");
  EXPECT_EQ(encoded(field, ""), "20 20 20 20 20");
  EXPECT_EQ(refusal(field, "ABCDEF"), "'ABCDEF' is too long: 6 bytes, and the field has 5 bytes");
  field.is_right_aligned = true;
  field.pad = 0xFF;
  EXPECT_EQ(encoded(field, "ABC"), "FF FF 41 42 43");
}

TEST(Field, WithoutAWidthAFieldIsItsValue) {
  EXPECT_EQ(encoded({.format = FieldFormat::text}, "ABC"), "41 42 43");
  EXPECT_EQ(encoded({.format = FieldFormat::hex}, "0102"), "01 02");
  EXPECT_EQ(encoded({.format = FieldFormat::bcd}, "1234"), "12 34");
  EXPECT_EQ(encoded({.format = FieldFormat::number}, "258"), "01 02");
  EXPECT_EQ(encoded({.format = FieldFormat::number}, "0"), "00");
}

TEST(Field, TextHasTheEncodingThatIsWanted) {
  const Field utf8{.format = FieldFormat::text};
  const Field latin1{.format = FieldFormat::text, .encoding = TextEncoding::latin1};
  const Field ascii{.format = FieldFormat::text, .encoding = TextEncoding::ascii};
  EXPECT_EQ(encoded(utf8, "M\u00FC\u20AC\U0001F600"), "4D C3 BC E2 82 AC F0 9F 98 80");
  EXPECT_EQ(encoded(latin1, "M\u00FC\u00FF"), "4D FC FF");
  EXPECT_EQ(refusal(latin1, "\u0100"), "'\u0100' has a character that latin-1 does not have");
  EXPECT_EQ(encoded(ascii, "M\x7F"), "4D 7F");
  EXPECT_EQ(refusal(ascii, "\u0080"), "'\u0080' has a character that ascii does not have");
}

// A byte that cannot begin a character, one that cannot follow, an end in the middle, an overlong
// form, a surrogate, and what is above the last character.
TEST(Field, TextIsUtf8) {
  const Field field{.format = FieldFormat::text};
  for (const std::string text : {"\x80", "\xC3\x41", "\xE2\x82", "\xC1\xBF", "\xE0\x9F\xBF",
                                 "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80"}) {
    EXPECT_EQ(refusal(field, text), "'" + text + "' is not UTF-8");
  }
  EXPECT_EQ(encoded(field, "\xF4\x8F\xBF\xBF"), "F4 8F BF BF");
  EXPECT_EQ(encoded(field, "\xED\x9F\xBF"), "ED 9F BF");
  EXPECT_EQ(encoded(field, "\xE0\xA0\x80"), "E0 A0 80");
}

TEST(Field, HexIsPairsOfDigits) {
  const Field field{.format = FieldFormat::hex, .width = 3};
  EXPECT_EQ(encoded(field, "A1b2C3"), "A1 B2 C3");
  EXPECT_EQ(encoded(field, "A1 B2:C3"), "A1 B2 C3");
  EXPECT_EQ(refusal(field, "A1B2C"), "'A1B2C' has half a byte");
  EXPECT_EQ(refusal(field, "A 1B2C3"), "'A 1B2C3' has half a byte");
  EXPECT_EQ(refusal(field, "A1B2CG"), "'A1B2CG' is not hexadecimal");
  EXPECT_EQ(refusal(field, "A1B2C3D4"),
            "'A1B2C3D4' is too long: 4 bytes, and the field has 3 bytes");
  EXPECT_EQ(refusal(field, "A1"),
            "'A1' is too short: 1 byte, and the field has 3 bytes; \"pad\" fills it");
  EXPECT_EQ(encoded({.format = FieldFormat::hex, .width = 3, .pad = 0}, "A1"), "A1 00 00");
}

TEST(Field, BcdHasTwoDigitsAByte) {
  Field field{.format = FieldFormat::bcd, .width = 3, .is_right_aligned = true};
  EXPECT_EQ(encoded(field, "123456"), "12 34 56");
  EXPECT_EQ(encoded(field, "123"), "00 01 23");
  EXPECT_EQ(encoded(field, ""), "00 00 00");
  EXPECT_EQ(refusal(field, "1234567"),
            "'1234567' is too long: 7 digits, and the field has 6 digits");
  EXPECT_EQ(refusal(field, "12A4"), "'12A4' is not made of decimal digits");
  field.is_right_aligned = false;
  field.pad = 0xF;
  EXPECT_EQ(encoded(field, "123"), "12 3F FF");
  EXPECT_EQ(encoded({.format = FieldFormat::bcd, .is_right_aligned = true}, "123"), "01 23");
}

TEST(Field, NumbersHaveTheirByteOrder) {
  Field field{.format = FieldFormat::number, .width = 3};
  EXPECT_EQ(encoded(field, "66051"), "01 02 03");
  EXPECT_EQ(encoded(field, "0x010203"), "01 02 03");
  EXPECT_EQ(encoded(field, "0X010203"), "01 02 03");
  EXPECT_EQ(encoded(field, "000066051"), "01 02 03");
  EXPECT_EQ(encoded(field, "16777215"), "FF FF FF");
  EXPECT_EQ(refusal(field, "16777216"), "'16777216' is too large for 3 bytes");
  field.is_little_endian = true;
  EXPECT_EQ(encoded(field, "66051"), "03 02 01");
  field.width = 8;
  EXPECT_EQ(encoded(field, "18446744073709551615"), "FF FF FF FF FF FF FF FF");
  EXPECT_EQ(refusal(field, "18446744073709551616"), "'18446744073709551616' is far too large");
  EXPECT_EQ(refusal(field, "-1"), "'-1' is negative");
  for (const std::string text : {"", "0x", "12a", "1 2", "+1"}) {
    EXPECT_EQ(refusal(field, text), "'" + text + "' is not a number, such as 32 or 0x20");
  }
}

TEST(Field, FormatsHaveNames) {
  EXPECT_EQ(toolkit::parse_field_format("bcd"), FieldFormat::bcd);
  EXPECT_EQ(usage_error([] { static_cast<void>(toolkit::parse_field_format("bdc")); }),
            "'bdc' is no format; there are text, hex, bcd, number");
  EXPECT_EQ(toolkit::parse_encoding("latin-1"), TextEncoding::latin1);
  EXPECT_EQ(usage_error([] { static_cast<void>(toolkit::parse_encoding("utf8")); }),
            "'utf8' is no encoding; there are utf-8, latin-1, ascii");
}

TEST(Template, NamesStandInBraces) {
  const Values values{{"serial", "17"}, {"name", "Anna"}};
  EXPECT_EQ(Template("CARD-{serial}/{name}").fill(values), "CARD-17/Anna");
  EXPECT_EQ(Template("CARD-{serial}/{name}").names(), (std::vector<std::string>{"serial", "name"}));
  EXPECT_EQ(Template("{{{serial}}}{{}}").fill(values), "{17}{}");
  EXPECT_EQ(Template("").fill(values), "");
  // A value is not looked at again.
  EXPECT_EQ(Template("{a}").fill({{"a", "{serial}"}}), "{serial}");
  for (const std::string text : {"{", "}", "a}b", "{serial", "{}"}) {
    EXPECT_EQ(usage_error([&] { Template broken(text); }),
              "'" + text + "': a name stands in braces; a brace itself is written twice");
  }
}

}  // namespace
}  // namespace quorra::testing
