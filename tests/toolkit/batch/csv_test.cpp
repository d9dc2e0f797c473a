// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Tables as text.
#include "toolkit/batch/csv.hpp"

#include <gtest/gtest.h>

#include "tests/toolkit/batch/support.hpp"

namespace quorra::testing {
namespace {

using toolkit::csv_line;
using toolkit::CsvTable;
using toolkit::parse_csv;

using Fields = std::vector<std::string>;

std::string refusal(std::string_view content) {
  return usage_error([&] { static_cast<void>(parse_csv("cards.csv", content)); });
}

TEST(Csv, ReadsRowsWithTheirLines) {
  const CsvTable table = parse_csv("cards.csv", "name,number\nAnna,1\nBert,2\n");
  EXPECT_EQ(table.header, (Fields{"name", "number"}));
  ASSERT_EQ(table.rows.size(), 2U);
  EXPECT_EQ(table.rows[0].fields, (Fields{"Anna", "1"}));
  EXPECT_EQ(table.rows[0].line, 2);
  EXPECT_EQ(table.rows[1].fields, (Fields{"Bert", "2"}));
  EXPECT_EQ(table.rows[1].line, 3);
}

TEST(Csv, TakesEitherLineEndAndNoneAtTheEnd) {
  for (const char* content : {"a,b\r\n1,2\r\n", "a,b\n1,2", "a,b\r\n1,2",
                              "\xEF\xBB\xBF"
                              "a,b\n1,2\n",
                              "a,b\n1,2\n\n\r\n\n"}) {
    const CsvTable table = parse_csv("cards.csv", content);
    EXPECT_EQ(table.header, (Fields{"a", "b"})) << content;
    ASSERT_EQ(table.rows.size(), 1U) << content;
    EXPECT_EQ(table.rows[0].fields, (Fields{"1", "2"})) << content;
  }
}

TEST(Csv, ReadsQuotedFields) {
  const CsvTable table =
      parse_csv("cards.csv", "a,b\n\"x,y\",\"say \"\"hi\"\"\"\n\"two\r\nlines\",\"\"\nz,\n");
  ASSERT_EQ(table.rows.size(), 3U);
  EXPECT_EQ(table.rows[0].fields, (Fields{"x,y", "say \"hi\""}));
  EXPECT_EQ(table.rows[1].fields, (Fields{"two\r\nlines", ""}));
  EXPECT_EQ(table.rows[2].fields, (Fields{"z", ""}));
  EXPECT_EQ(table.rows[2].line, 5);
}

TEST(Csv, TakesAnotherSeparator) {
  const CsvTable table = parse_csv("cards.csv", "a;b\n1,5;2\n", ';');
  ASSERT_EQ(table.rows.size(), 1U);
  EXPECT_EQ(table.rows[0].fields, (Fields{"1,5", "2"}));
}

TEST(Csv, KeepsBlanksAndLoneCarriageReturns) {
  EXPECT_EQ(parse_csv("cards.csv", "a,b\n x ,y\rz\n").rows[0].fields, (Fields{" x ", "y\rz"}));
}

TEST(Csv, AHeaderAloneHasNoRows) { EXPECT_TRUE(parse_csv("cards.csv", "a,b\n").rows.empty()); }

TEST(Csv, NamesTheLineOfWhatIsWrong) {
  EXPECT_EQ(refusal(""), "cards.csv:1: the file is empty; its first row names the columns");
  EXPECT_EQ(refusal("a,,c\n"), "cards.csv:1: column 2 has no name");
  EXPECT_EQ(refusal("a,b,a\n"), "cards.csv:1: there are two columns 'a'");
  EXPECT_EQ(refusal("a,b,c\n1,2,3\n1,2\n"),
            "cards.csv:3: 2 fields, but the header has 3; 'c' is missing");
  EXPECT_EQ(refusal("a,b\n1,2,3\n"), "cards.csv:2: 3 fields, but the header has 2");
  EXPECT_EQ(refusal("a,b\n1,2\n\n3,4\n"), "cards.csv:3: the line is empty");
  EXPECT_EQ(refusal("a,b\n1,\"2\n3,4\n"), "cards.csv:2: a quote is not closed");
  EXPECT_EQ(refusal("a,b\n\"x\ny\"z,2\n"),
            "cards.csv:3: something stands behind the quotes of a field");
  EXPECT_EQ(refusal("a,b\n1,x\"y\n"),
            "cards.csv:2: a field with a quote in it stands in quotes, and the quote is doubled");
}

TEST(Csv, WritesWhatItReads) {
  const Fields fields{"plain", "a,b", "say \"hi\"", "two\nlines", ""};
  EXPECT_EQ(csv_line(fields), "plain,\"a,b\",\"say \"\"hi\"\"\",\"two\nlines\",\n");
  EXPECT_EQ(parse_csv("x", "a,b,c,d,e\n" + csv_line(fields)).rows[0].fields, fields);
}

}  // namespace
}  // namespace quorra::testing
