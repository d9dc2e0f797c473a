// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Plans for series, and what each row of them is.
#include "toolkit/batch/plan.hpp"

#include <gtest/gtest.h>

#include "tests/toolkit/batch/support.hpp"

namespace quorra::testing {
namespace {

using toolkit::parse_series_plan;
using toolkit::SeriesPlan;
using toolkit::SeriesRows;

SeriesPlan parse(const std::string& text) { return parse_series_plan("plans/plan.toml", text); }

SeriesRows rows_of(const std::string& plan, const std::string& data = {}) {
  return make_rows(parse(plan), data);
}

// What is wrong with a plan that has these lines behind its kind.
std::string refusal(const std::string& lines, const std::string& kind = "24c02") {
  return usage_error([&] { static_cast<void>(parse("kind = \"" + kind + "\"\n" + lines)); });
}

std::string refusal_of_rows(const std::string& lines, const std::string& data = {}) {
  return usage_error([&] { static_cast<void>(rows_of("kind = \"24c02\"\n" + lines, data)); });
}

const std::string one_write = "[[write]]\naddress = 0\nvalue = \"A\"\n";

TEST(SeriesPlan, HasWhatTheFileSays) {
  const SeriesPlan plan = parse(R"(kind = "4442"
data = "cards.csv"
separator = ";"
label = "{name}"
after = "eject"
verify = false
rewrite = true

[code]
file = "code.txt"

[[counter]]
name = "serial"
start = 1000
step = 2
width = 6

[[write]]
at = "data"
offset = 4
value = "{serial}"
format = "bcd"
width = 3

[[write]]
address = 10
value = "{name}"
width = 8

[[protect]]
at = "protectable"
offset = 2
count = 3
)");
  EXPECT_EQ(plan.card->name, "4442");
  EXPECT_EQ(plan.data, "cards.csv");
  EXPECT_EQ(beside(plan, *plan.data), "plans/cards.csv");
  EXPECT_EQ(beside(plan, "/elsewhere/cards.csv"), "/elsewhere/cards.csv");
  EXPECT_EQ(plan.separator, ';');
  EXPECT_TRUE(plan.ejects);
  EXPECT_FALSE(plan.verifies);
  EXPECT_TRUE(plan.rewrites);
  ASSERT_TRUE(plan.code);
  EXPECT_EQ(plan.code->file, "code.txt");
  ASSERT_EQ(plan.counters.size(), 1U);
  EXPECT_EQ(plan.counters[0].start, 1000);
  ASSERT_EQ(plan.fields.size(), 2U);
  EXPECT_EQ(plan.fields[0].range.address, 10);
  EXPECT_EQ(plan.fields[0].range.count, 8);
  EXPECT_EQ(plan.fields[1].range.address, 32 + 4);
  EXPECT_EQ(plan.fields[1].range.count, 3);
  ASSERT_EQ(plan.protection.size(), 1U);
  EXPECT_EQ(plan.protection[0].address, 2);
  EXPECT_EQ(plan.protection[0].count, 3);
}

TEST(SeriesPlan, IsCarefulWithoutBeingTold) {
  const SeriesPlan plan = parse("kind = \"24C02\"\nrows = 3\n" + one_write);
  EXPECT_EQ(plan.card->name, "24c02");
  EXPECT_EQ(plan.rows, 3);
  EXPECT_FALSE(plan.ejects);
  EXPECT_TRUE(plan.verifies);
  EXPECT_FALSE(plan.rewrites);
  EXPECT_FALSE(plan.code);
}

TEST(SeriesPlan, ChangesItsDigestWithEachCharacter) {
  const std::string text = "kind = \"24c02\"\nrows = 3\n" + one_write;
  EXPECT_EQ(parse(text).digest, parse(text).digest);
  EXPECT_NE(parse(text).digest, parse(text + "\n").digest);
  EXPECT_EQ(parse(text).digest.size(), 64U);
}

TEST(SeriesPlan, NamesTheLineOfWhatIsWrong) {
  EXPECT_EQ(usage_error([] { static_cast<void>(parse("rows = 1\n")); }),
            "plans/plan.toml:1: kind is missing");
  EXPECT_EQ(refusal("rows = 1\n" + one_write, "24c03"),
            "plans/plan.toml:1: kind: '24c03' is no kind of memory card; did you mean '24c02'?");
  EXPECT_EQ(refusal("rows = 1\n" + one_write, "something else").substr(0, 84),
            "plans/plan.toml:1: kind: 'something else' is no kind of memory card; there are 4442,");
  EXPECT_EQ(refusal("rows = 1\nlabl = \"x\"\n" + one_write),
            "plans/plan.toml:3: unknown key 'labl'; did you mean 'label'?");
  EXPECT_EQ(refusal("rows = 1\n[[write]]\naddress = 0\nvalue = \"A\"\nwdith = 3\n"),
            "plans/plan.toml:6: unknown key 'wdith'; did you mean 'width'?");
  EXPECT_EQ(refusal("rows = \"1\"\n" + one_write), "plans/plan.toml:2: rows: is a whole number");
  EXPECT_EQ(refusal("rows = 0\n" + one_write), "plans/plan.toml:2: rows: 0 is less than 1");
  EXPECT_EQ(refusal("rows = 1\nverify = 1\n" + one_write),
            "plans/plan.toml:3: verify: is true or false");
  EXPECT_EQ(refusal("rows = 1\nafter = \"pull\"\n" + one_write),
            "plans/plan.toml:3: after: 'pull' is neither 'remove' nor 'eject'");
  EXPECT_EQ(refusal(one_write),
            "plans/plan.toml:1: how many cards? data names a CSV file, or rows says their number");
  EXPECT_EQ(refusal("data = \"a.csv\"\nrows = 1\n" + one_write),
            "plans/plan.toml:3: rows: the rows are those of data");
  EXPECT_EQ(refusal("rows = 1\n"), "plans/plan.toml:1: there is no [[write]]: nothing to write");
  EXPECT_EQ(refusal("rows = 1\nrows = 2\n").substr(0, 19), "plans/plan.toml:3: ");
  EXPECT_EQ(refusal("rows = 1\n[write]\naddress = 0\n"),
            "plans/plan.toml:3: write: it is written [[write]]");
  EXPECT_EQ(refusal("rows = 1\nwrite = [0, \"A\"]\n"),
            "plans/plan.toml:3: write: it is written [[write]]");
  EXPECT_EQ(refusal("data = \"\"\n" + one_write),
            "plans/plan.toml:2: data: the name of the file is empty");
  EXPECT_EQ(refusal("rows = 1\nseparator = \";\"\n" + one_write),
            "plans/plan.toml:3: separator: belongs to data");
  EXPECT_EQ(refusal("rows = 1\ncode = 1\n" + one_write),
            "plans/plan.toml:3: code: it is a table: [code]");
  const std::string counter = "[[counter]]\nname = \"n\"\n";
  EXPECT_EQ(refusal("rows = 1\n" + one_write + counter + counter),
            "plans/plan.toml:9: name: there are two counters 'n'");
  EXPECT_EQ(refusal("rows = 1\na" + std::string(400, '.') + "\n"),
            "plans/plan.toml:3: more than 200 dots");
  EXPECT_EQ(usage_error([] { static_cast<void>(parse(std::string(65537, '\n'))); }),
            "plans/plan.toml: a plan has 65536 bytes at most");
}

// One character that a field cannot begin with or end with.
TEST(SeriesPlan, SeparatesFieldsByOneCharacter) {
  const auto separator = [](const std::string& text) {
    return refusal("data = \"a.csv\"\nseparator = \"" + text + "\"\n" + one_write);
  };
  EXPECT_EQ(separator("\\t"), "");
  for (const std::string text : {"", ";;", "\\\"", "\\n", "\\r"}) {
    EXPECT_EQ(separator(text), "plans/plan.toml:3: separator: is one character, such as \";\"")
        << text;
  }
}

TEST(SeriesPlan, TakesTextsAndWholeNumbersForValues) {
  const auto value = [](const std::string& line) {
    return refusal("rows = 1\n[[write]]\naddress = 0\nwidth = 4\n" + line);
  };
  const SeriesPlan plan =
      parse("kind = \"24c02\"\nrows = 1\n[[write]]\naddress = 0\nvalue = 1234\nformat = \"hex\"\n");
  EXPECT_EQ(hex(joined(make_rows(plan, {}).row(1).bytes)), "12 34");
  EXPECT_EQ(value("value = 1.5\n"),
            "plans/plan.toml:6: value: is a string, in quotes, or a whole number");
  EXPECT_EQ(value(""), "plans/plan.toml:3: value: is missing");
}

TEST(SeriesPlan, KnowsWherePlacesEnd) {
  const auto write = [](const std::string& lines) {
    return refusal("rows = 1\n[[write]]\n" + lines);
  };
  EXPECT_EQ(write("address = 255\nvalue = \"A\"\n"), "");
  EXPECT_EQ(write("address = 256\nvalue = \"A\"\n"),
            "plans/plan.toml:4: address: a 24c02 card has 256 bytes");
  EXPECT_EQ(write("address = 250\nvalue = \"{a}\"\nwidth = 6\n"), "");
  EXPECT_EQ(write("address = 250\nvalue = \"{a}\"\nwidth = 7\n"),
            "plans/plan.toml:6: width: 7 bytes, but there is room for 6");
  EXPECT_EQ(write("address = 250\nvalue = \"ABCDEFG\"\n"),
            "plans/plan.toml:5: value: 7 bytes, but there is room for 6");
  EXPECT_EQ(write("address = 0\nvalue = \"\"\n"), "plans/plan.toml:5: value: is empty");
  EXPECT_EQ(write("address = 0\nvalue = \"{a}\"\n"),
            "plans/plan.toml:3: width is missing: how many bytes the field has");
  EXPECT_EQ(write("address = 0\nat = \"data\"\nvalue = \"A\"\n").substr(0, 26),
            "plans/plan.toml:3: where? ");
  EXPECT_EQ(write("value = \"A\"\n").substr(0, 26), "plans/plan.toml:3: where? ");
  EXPECT_EQ(write("at = \"data\"\noffset = 255\nvalue = \"A\"\n"), "");
  EXPECT_EQ(write("at = \"data\"\noffset = 256\nvalue = \"A\"\n"),
            "plans/plan.toml:5: offset: 'data' has 256 bytes");
  EXPECT_EQ(write("at = \"dta\"\nvalue = \"A\"\n"),
            "plans/plan.toml:4: at: a 24c02 card has no region 'dta' (did you mean data?); it has "
            "all, data");
  EXPECT_EQ(write("address = 0\noffset = 1\nvalue = \"A\"\n"),
            "plans/plan.toml:5: offset: belongs to at");
}

TEST(SeriesPlan, LeavesCodesAndCountersAlone) {
  const std::string write = "rows = 1\n[[write]]\n";
  EXPECT_EQ(refusal(write + "at = \"code\"\nvalue = \"A\"\n", "101"),
            "plans/plan.toml:4: at: code of a 101 card is no place for data");
  EXPECT_EQ(refusal(write + "address = 9\nvalue = \"AB\"\n", "101"),
            "plans/plan.toml:4: address: code of a 101 card is no place for data");
  EXPECT_EQ(refusal(write + "address = 1020\nvalue = \"AB\"\n", "4418"), "");
  EXPECT_EQ(refusal("rows = 1\n[[protect]]\naddress = 0\n" + one_write),
            "plans/plan.toml:3: protect: the bytes of a 24c02 card cannot be protected one by one");
  EXPECT_EQ(refusal("rows = 1\n[[protect]]\naddress = 31\ncount = 1\n" + one_write, "4442"), "");
  EXPECT_EQ(refusal("rows = 1\n[[protect]]\naddress = 31\ncount = 2\n" + one_write, "4442"),
            "plans/plan.toml:3: protect: of a 4442 card, the first 32 bytes can be protected");
}

TEST(SeriesPlan, GuardsZonesAsAWhole) {
  const std::string row = "rows = 1\n[[write]]\nat = \"zone1.data\"\nvalue = \"AB\"\n";
  const auto guard = [&](const std::string& lines) { return row + "[[protect]]\n" + lines; };
  const SeriesPlan plan = parse("kind = \"102\"\n" + guard("at = \"zone2\"\n") +
                                "[[protect]]\nat = \"zone1.data\"\nreading = true\n");
  EXPECT_TRUE(plan.protects());
  ASSERT_EQ(plan.guards.size(), 2U);
  EXPECT_EQ(plan.guards[0].zone->zone, 1);
  EXPECT_TRUE(plan.guards[0].against_reading);
  EXPECT_EQ(plan.guards[1].zone->zone, 2);
  EXPECT_FALSE(plan.guards[1].against_reading);
  EXPECT_EQ(refusal(guard("at = \"zone0\"\n"), "102"),
            "plans/plan.toml:7: at: zone0 of a 102 card has no flags");
  EXPECT_EQ(refusal(guard("reading = true\n"), "102"), "plans/plan.toml:6: at is missing");
  EXPECT_EQ(refusal(guard("at = \"zone1\"\ncount = 1\n"), "102"),
            "plans/plan.toml:8: unknown key 'count'; there are at, reading");
  EXPECT_EQ(refusal(guard("at = \"zone1\"\n[[protect]]\nat = \"zone1.flags\"\n"), "102"),
            "plans/plan.toml:9: at: zone 1 of a 102 card is guarded twice");
}

TEST(SeriesPlan, GuardsACardOfOneZoneAsAWhole) {
  const SeriesPlan plan = parse(
      "kind = \"101\"\nrows = 1\n[[write]]\nat = \"data\"\nvalue = \"AB\"\n"
      "[[protect]]\nat = \"data\"\n");
  ASSERT_EQ(plan.guards.size(), 1U);
  EXPECT_EQ(plan.guards[0].zone, &plan.card->memory);
}

TEST(SeriesPlan, WritesNoByteTwice) {
  const std::string first = "rows = 1\n[[write]]\naddress = 8\nvalue = \"ABCD\"\n";
  EXPECT_EQ(refusal(first + "[[write]]\naddress = 12\nvalue = \"X\"\n"), "");
  EXPECT_EQ(refusal(first + "[[write]]\naddress = 4\nvalue = \"WXYZ\"\n"), "");
  EXPECT_EQ(refusal(first + "[[write]]\naddress = 11\nvalue = \"X\"\n"),
            "plans/plan.toml:8: the byte at 0x000B is written twice; see line 5, too");
  EXPECT_EQ(refusal(first + "[[write]]\naddress = 5\nvalue = \"WXYZ\"\n"),
            "plans/plan.toml:8: the byte at 0x0008 is written twice; see line 5, too");
}

TEST(SeriesPlan, SaysWhereTheCodeIsFrom) {
  const auto code = [](const std::string& lines, const std::string& kind = "4442") {
    return refusal("rows = 1\n[code]\n" + lines + one_write, kind);
  };
  EXPECT_EQ(code("ask = true\n"), "");
  const std::string words =
      "plans/plan.toml:3: code: one of column = \"NAME\", file = \"NAME\" and ask = true says "
      "where "
      "it is from";
  EXPECT_EQ(code(""), words);
  EXPECT_EQ(code("ask = false\n"), words);
  EXPECT_EQ(code("ask = true\nfile = \"code.txt\"\n"), words);
  EXPECT_EQ(code("value = \"FFFFFF\"\n").substr(0, 39), "plans/plan.toml:4: unknown key 'value';");
  EXPECT_EQ(code("ask = true\n", "24c02"), "plans/plan.toml:3: number: a 24c02 card has no code");
  EXPECT_EQ(code("number = 1\nask = true\n"),
            "plans/plan.toml:4: number: number: a 4442 card has only one code");
}

TEST(SeriesPlan, KnowsWhatFillsAField) {
  const auto field = [](const std::string& lines) {
    return refusal("rows = 1\n[[write]]\naddress = 0\nvalue = \"12\"\nwidth = 4\n" + lines);
  };
  EXPECT_EQ(field("pad = 255\n"), "");
  EXPECT_EQ(field("pad = 256\n"), "plans/plan.toml:7: pad: 256 is more than 255");
  EXPECT_EQ(field("pad = \"-\"\n"), "");
  EXPECT_EQ(field("pad = \"--\"\n"),
            "plans/plan.toml:7: pad: is a number up to 0xFF, or one character");
  EXPECT_EQ(field("pad = 1.5\n"),
            "plans/plan.toml:7: pad: is a number up to 0xFF, or one character");
  EXPECT_EQ(field("format = \"bcd\"\npad = \"F\"\n"),
            "plans/plan.toml:8: pad: is a number up to 0xF");
  EXPECT_EQ(field("encoding = \"latin-1\"\n"), "");
  EXPECT_EQ(field("format = \"bcd\"\npad = 15\n"), "");
  EXPECT_EQ(field("format = \"bcd\"\npad = 16\n"), "plans/plan.toml:8: pad: 16 is more than 15");
  EXPECT_EQ(field("format = \"number\"\npad = 0\n"),
            "plans/plan.toml:8: pad: a number fills its field by itself");
  EXPECT_EQ(field("format = \"number\"\nendian = \"little\"\n"), "");
  EXPECT_EQ(field("endian = \"little\"\n"),
            "plans/plan.toml:7: endian: belongs to format = \"number\"");
  EXPECT_EQ(field("align = \"middle\"\n"),
            "plans/plan.toml:7: align: 'middle' is neither 'left' nor 'right'");
  EXPECT_EQ(field("format = \"decimal\"\n"),
            "plans/plan.toml:7: format: 'decimal' is no format; there are text, hex, bcd, number");
  EXPECT_EQ(field("format = \"hex\"\nencoding = \"ascii\"\n"),
            "plans/plan.toml:8: encoding: belongs to format = \"text\"");
}

const std::string named_write = "[[write]]\naddress = 0\nvalue = \"{name}\"\nwidth = 4\n";

TEST(SeriesRows, AreMadeOfColumnsAndCounters) {
  const SeriesRows rows = rows_of(
      "kind = \"24c02\"\ndata = \"cards.csv\"\nlabel = \"{name} {serial}\"\n"
      "[[counter]]\nname = \"serial\"\nstart = 98\nwidth = 4\n" +
          named_write +
          "[[write]]\naddress = 4\nvalue = \"{serial}\"\nformat = \"bcd\"\nwidth = 2\n",
      "name\nAnna\nBo\n");
  ASSERT_EQ(rows.count(), 2);
  EXPECT_EQ(rows.row(1).line, 2);
  EXPECT_EQ(rows.row(1).label, "Anna 0098");
  EXPECT_EQ(hex(joined(rows.row(1).bytes)), "41 6E 6E 61 00 98");
  EXPECT_EQ(rows.row(2).label, "Bo 0099");
  EXPECT_EQ(hex(joined(rows.row(2).bytes)), "42 6F 20 20 00 99");
  EXPECT_EQ(rows.digest.size(), 64U);
}

TEST(SeriesRows, NeedNoData) {
  const SeriesRows rows = rows_of(
      "kind = \"24c02\"\nrows = 3\n[[counter]]\nname = \"n\"\nstart = 7\nstep = -3\n"
      "[[write]]\naddress = 0\nvalue = \"{n}\"\nformat = \"number\"\nwidth = 2\n");
  ASSERT_EQ(rows.count(), 3);
  EXPECT_EQ(hex(joined(rows.row(3).bytes)), "00 01");
  EXPECT_EQ(rows.row(3).line, 0);
  EXPECT_EQ(rows.digest, "");
}

TEST(SeriesRows, NamesTheLineOfWhatIsWrong) {
  const std::string plan = "data = \"cards.csv\"\n" + named_write;
  EXPECT_EQ(refusal_of_rows(plan, "name\nAnna\nBerta\n"),
            "plans/cards.csv:3: 'Berta' is too long: 5 bytes, and the field has 4 bytes "
            "(plans/plan.toml:5)");
  EXPECT_EQ(refusal_of_rows(plan, "name,number\nAnna,1\nBo\n"),
            "plans/cards.csv:3: 1 field, but the header has 2; 'number' is missing");
  EXPECT_EQ(refusal_of_rows(plan, "nam\nAnna\n"),
            "plans/plan.toml:5: '{name}' is neither a column nor a counter; did you mean '{nam}'?");
  EXPECT_EQ(refusal_of_rows(plan, "name\n"),
            "plans/cards.csv:1: there is no row behind the header");
  EXPECT_EQ(refusal_of_rows(plan + "[[counter]]\nname = \"name\"\n", "name\nAnna\n"),
            "plans/plan.toml:7: 'name' is a column of plans/cards.csv, too");
  EXPECT_EQ(
      refusal_of_rows("data = \"cards.csv\"\nlabel = \"{who}\"\n" + named_write, "name\nAnna\n"),
      "plans/plan.toml:3: '{who}' is neither a column nor a counter");
}

// Without data there is no line of it to be named.
TEST(SeriesRows, NamesTheRowWhereThereIsNoData) {
  const std::string field = "[[write]]\naddress = 0\nwidth = 1\nformat = \"bcd\"\nvalue = ";
  EXPECT_EQ(
      refusal_of_rows("rows = 3\n" + field + "\"{n}\"\n[[counter]]\nname = \"n\"\nstart = 98\n"),
      "plans/plan.toml:7: row 3: '100' is too long: 3 digits, and the field has 2 digits");
  EXPECT_EQ(refusal_of_rows("rows = 3\n" + field + "\"123\"\n"),
            "plans/plan.toml:7: '123' is too long: 3 digits, and the field has 2 digits");
}

TEST(SeriesRows, CountersStayWithinBounds) {
  const auto counter = [](const std::string& lines) {
    return refusal_of_rows("rows = 3\n" + one_write + "[[counter]]\nname = \"n\"\n" + lines);
  };
  EXPECT_EQ(counter("start = 97\nwidth = 2\n"), "");
  EXPECT_EQ(counter("start = 98\nwidth = 2\n"),
            "plans/plan.toml:6: counter 'n': 100 of row 3 has more than 2 digits");
  EXPECT_EQ(counter("start = 2\nstep = -1\n"), "");
  EXPECT_EQ(counter("start = 1\nstep = -1\n"),
            "plans/plan.toml:6: counter 'n': row 3 would be below 0, or far too large");
  EXPECT_EQ(counter("start = 9223372036854775805\n"), "");
  EXPECT_EQ(counter("start = 9223372036854775806\n"),
            "plans/plan.toml:6: counter 'n': row 3 would be below 0, or far too large");
  EXPECT_EQ(counter("start = 0\nstep = 9223372036854775807\n"),
            "plans/plan.toml:6: counter 'n': row 3 would be below 0, or far too large");
  EXPECT_EQ(counter("start = -1\n"), "plans/plan.toml:8: start: -1 is negative");
}

TEST(SeriesRows, KeepCodesToThemselves) {
  const auto rows = [](const std::string& value, const std::string& data) {
    return usage_error([&] {
      static_cast<void>(
          rows_of("kind = \"4442\"\ndata = \"cards.csv\"\n[code]\ncolumn = \"pin\"\n"
                  "[[write]]\naddress = 40\nvalue = \"" +
                      value + "\"\nwidth = 4\n",
                  data));
    });
  };
  EXPECT_EQ(rows("{name}", "name,pin\nAnna,A1B2C3\n"), "");
  EXPECT_EQ(rows("{name}", "name,pin\nAnna,A1B2C\n"),
            "plans/cards.csv:2: the code is not hexadecimal, two digits a byte");
  EXPECT_EQ(rows("{name}", "name,pin\nAnna,A1B2C3D4\n"),
            "plans/cards.csv:2: the code has 3 bytes, not 4");
  EXPECT_EQ(rows("{pin}", "name,pin\nAnna,A1B2C3\n"),
            "plans/plan.toml:7: 'pin' is the card's code, which is written and shown nowhere");
  EXPECT_EQ(rows("{name}", "name,pim\nAnna,A1B2C3\n"),
            "plans/plan.toml:3: code: there is no column 'pin'; did you mean 'pim'?");
  EXPECT_EQ(rows("{name}", "name,secret\nAnna,A1B2C3\n"),
            "plans/plan.toml:3: code: there is no column 'pin'");
  EXPECT_EQ(rows("{who}", "name,pin\nAnna,A1B2C3\n"),
            "plans/plan.toml:7: '{who}' is neither a column nor a counter");
}

}  // namespace
}  // namespace quorra::testing
