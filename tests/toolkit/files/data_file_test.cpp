// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/files/data_file.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "toolkit/session/errors.hpp"

namespace quorra::testing {
namespace {

using toolkit::Bytes;
using toolkit::DataFile;
using toolkit::FileFormat;
using toolkit::Segment;
using toolkit::SegmentCollector;
using toolkit::Segments;

using List = std::vector<Segment>;

Bytes bytes_of(std::string_view text) { return {text.begin(), text.end()}; }

DataFile parse(std::string_view text, std::optional<FileFormat> format = std::nullopt,
               std::string_view name = "card") {
  return toolkit::parse_data_file(name, bytes_of(text), format);
}

List list_of(const Segments& segments) { return {segments.begin(), segments.end()}; }

template <typename Call>
std::string complaint(Call call) {
  try {
    call();
  } catch (const toolkit::UsageError& error) {
    return error.what();
  }
  return "no complaint";
}

// Of a file, without its name in front.
std::string refusal(std::string_view text, FileFormat format) {
  const std::string words = complaint([&] { parse(text, format); });
  EXPECT_EQ(words.substr(0, 6), "card: ") << words;
  EXPECT_EQ(words.find('\n'), std::string::npos) << words;
  return words.substr(std::min<std::size_t>(6, words.size()));
}

std::string written(const Segments& segments, FileFormat format) {
  const Bytes content = toolkit::to_data_file(segments, format);
  return {content.begin(), content.end()};
}

Segments with_hole() {
  SegmentCollector collector;
  collector.add(1, 0x20, {0xDE, 0xAD});
  collector.add(2, 0x30, {0xBE, 0xEF});
  return collector.collect();
}

// As many bytes as the largest card has.
Segments large() {
  Bytes bytes(540672);
  unsigned value = 1;
  for (unsigned char& byte : bytes) {
    value = value * 1103515245 + 12345;
    byte = static_cast<unsigned char>(value >> 16);
  }
  return {0, bytes};
}

TEST(Segments, AreSortedAndJoined) {
  SegmentCollector collector;
  collector.add(1, 8, {8, 9});
  collector.add(2, 0, {0, 1});
  collector.add(3, 2, {2, 3});
  collector.add(4, 5, {});
  collector.add(5, 9, {9, 10});
  const Segments segments = collector.collect();
  EXPECT_EQ(list_of(segments), (List{{0, {0, 1, 2, 3}}, {8, {8, 9, 10}}}));
  EXPECT_EQ(segments.count(), 7);
  EXPECT_EQ(segments.span().address, 0);
  EXPECT_EQ(segments.span().end(), 11);
  EXPECT_EQ(segments.at(3), 3);
  EXPECT_EQ(segments.at(4), std::nullopt);
  EXPECT_EQ(segments.at(7), std::nullopt);
  EXPECT_EQ(segments.at(8), 8);
  EXPECT_EQ(segments.at(10), 10);
  EXPECT_EQ(segments.at(11), std::nullopt);
  EXPECT_EQ(Segments().span().count, 0);
  EXPECT_EQ(Segments(7, {}), Segments());
}

TEST(Segments, MaySayAByteTwiceButNotDifferently) {
  SegmentCollector same;
  same.add(1, 0, {1, 2, 3, 4});
  same.add(2, 1, {2, 3});
  same.add(3, 0, {1});
  EXPECT_EQ(list_of(same.collect()), (List{{0, {1, 2, 3, 4}}}));

  SegmentCollector later;
  later.add(3, 0x10, {1, 2, 3, 4});
  later.add(9, 0x13, {5});
  EXPECT_EQ(complaint([&] { later.collect(); }),
            "line 9: the byte at 0x0013 is 05, but line 3 says 04");

  SegmentCollector earlier;
  earlier.add(3, 0x13, {5, 6});
  earlier.add(9, 0x10, {1, 2, 3, 4});
  EXPECT_EQ(complaint([&] { earlier.collect(); }),
            "line 9: the byte at 0x0013 is 04, but line 3 says 05");
}

TEST(Segments, EndAtTheHighestAddress) {
  EXPECT_EQ(Segments(0x7FFFFFFE, {1}).front().end(), 0x7FFFFFFF);
  EXPECT_EQ(complaint([] {
              Segments(0x7FFFFFFE, {1, 2});
            }),
            "address 0x7FFFFFFF is above 0x7FFFFFFE; no card is so large");
  SegmentCollector collector;
  EXPECT_EQ(complaint([&] { collector.add(1, 0x100000000, {1}); }),
            "address 0x100000000 is above 0x7FFFFFFE; no card is so large");
}

TEST(Segments, AreShiftedAndCut) {
  const Segments segments = with_hole();
  EXPECT_EQ(list_of(segments.shifted(0x100)), (List{{0x120, {0xDE, 0xAD}}, {0x130, {0xBE, 0xEF}}}));
  EXPECT_EQ(segments.shifted(0x7FFFFFFE - 0x31).span().end(), 0x7FFFFFFF);
  EXPECT_NE(complaint([&] { (void)segments.shifted(0x7FFFFFFE - 0x30); }), "no complaint");
  EXPECT_EQ(list_of(segments.within({0x21, 0x10})), (List{{0x21, {0xAD}}, {0x30, {0xBE}}}));
  EXPECT_TRUE(segments.within({0x22, 0x0E}).empty());
}

TEST(DataFile, IsNamedByItsExtension) {
  for (const char* name : {"a.hex", "a.HEX", "b/a.ihex", "a.ihx"}) {
    EXPECT_EQ(toolkit::format_of_name(name), FileFormat::ihex) << name;
  }
  for (const char* name : {"a.srec", "a.s19", "a.S28", "a.s37", "a.mot"}) {
    EXPECT_EQ(toolkit::format_of_name(name), FileFormat::srec) << name;
  }
  EXPECT_EQ(toolkit::format_of_name("a.json"), FileFormat::json);
  for (const char* name : {"a.bin", "a", "-", "hex", "a.hex.bin"}) {
    EXPECT_EQ(toolkit::format_of_name(name), FileFormat::raw) << name;
  }
  EXPECT_EQ(toolkit::parse_format("IHEX"), FileFormat::ihex);
  EXPECT_EQ(toolkit::parse_format("raw"), FileFormat::raw);
  EXPECT_EQ(toolkit::name_of(FileFormat::srec), "srec");
  for (const char* name : {"hex", "ihx", "intel-hex", "Intel-HEX"}) {
    EXPECT_EQ(toolkit::parse_format(name), FileFormat::ihex) << name;
  }
  for (const char* name : {"s19", "s37", "mot", "s-record", "srecord"}) {
    EXPECT_EQ(toolkit::parse_format(name), FileFormat::srec) << name;
  }
  for (const char* name : {"bin", "binary"}) {
    EXPECT_EQ(toolkit::parse_format(name), FileFormat::raw) << name;
  }
  EXPECT_EQ(complaint([] { toolkit::parse_format("elf"); }),
            "'elf' is no format of files; there are raw, ihex, srec, json");
}

TEST(DataFile, IsRecognisedByItsContent) {
  EXPECT_EQ(parse(":00000001FF\n").format, FileFormat::ihex);
  EXPECT_EQ(parse("\r\n  :00000001FF").format, FileFormat::ihex);
  EXPECT_EQ(parse("S9030000FC").format, FileFormat::srec);
  EXPECT_EQ(parse(R"({"schema_version": 1, "segments": []})").format, FileFormat::json);
  EXPECT_EQ(parse("\n{\n  \"schema_version\": 1, \"segments\": []}").format, FileFormat::json);
  for (const char* text : {"", "DE AD", ":", ":0", ":-) good morning", "S", "S9", "Su05", "SA03",
                           "S/03", "S90z", "{", "{ }", "[1]"}) {
    EXPECT_EQ(parse(text).format, FileFormat::raw) << text;
  }
  const DataFile raw = parse(":00000001FF\n", FileFormat::raw);
  EXPECT_EQ(list_of(raw.segments), (List{{0, bytes_of(":00000001FF\n")}}));
  EXPECT_FALSE(raw.has_addresses());
  EXPECT_TRUE(parse(":00000001FF\n").has_addresses());
}

TEST(DataFile, IsNotTakenForRawWhereItsNameSaysOtherwise) {
  EXPECT_EQ(complaint([] { parse("; a comment\n:00000001FF\n", {}, "a.hex"); }),
            "a.hex: it does not begin as ihex does; --format raw takes it as it is");
  EXPECT_EQ(parse("DE AD", FileFormat::raw, "a.hex").segments.count(), 5);
  EXPECT_EQ(parse("S9030000FC", {}, "a.bin").format, FileFormat::srec);
  EXPECT_EQ(complaint([] { parse(":00000001FE", {}, "a.bin"); }),
            "a.bin: line 1: the checksum is FE, but the record's bytes give FF (taken for ihex; "
            "--format can name another)");
}

TEST(RawFile, HasNoHoles) {
  EXPECT_EQ(written(Segments(0x20, {0x41, 0x42}), FileFormat::raw), "AB");
  EXPECT_EQ(written(Segments(), FileFormat::raw), "");
  EXPECT_EQ(complaint([] { toolkit::to_data_file(with_hole(), FileFormat::raw); }),
            "a raw file has no holes, and there is one at 0x0022; another format has");
}

TEST(IntelHex, IsRead) {
  const DataFile file = parse(
      ":10010000214601360121470136007EFE09D2190140\r\n"
      ":0300300002337A1E \t\r\n"
      "\r\n"
      ":0400000500000000F7\r\n"
      ":0400000300003800C1\r\n"
      ":0000000000\r\n"
      ":00000001FF\r\n\r\n");
  EXPECT_EQ(list_of(file.segments), (List{{0x30, {0x02, 0x33, 0x7A}},
                                          {0x100,
                                           {0x21, 0x46, 0x01, 0x36, 0x01, 0x21, 0x47, 0x01, 0x36,
                                            0x00, 0x7E, 0xFE, 0x09, 0xD2, 0x19, 0x01}}}));
  EXPECT_EQ(list_of(parse(":0100a000ee71\n:00000001ff").segments), (List{{0xA0, {0xEE}}}));
}

TEST(IntelHex, HasAddressesAbove64KiB) {
  EXPECT_EQ(list_of(parse(":020000040007F3\n:02FFFF00AABB9B\n:00000001FF").segments),
            (List{{0x7FFFF, {0xAA, 0xBB}}}));
  EXPECT_EQ(list_of(parse(":020000021200EA\n:02FFFE00AABB9C\n:00000001FF").segments),
            (List{{0x21FFE, {0xAA, 0xBB}}}));
  EXPECT_EQ(
      list_of(parse(":020000021200EA\n:020000040001F9\n:02FFFF00AABB9B\n:00000001FF").segments),
      (List{{0x1FFFF, {0xAA, 0xBB}}}));
}

TEST(IntelHex, IsRefused) {
  const struct {
    std::string text;
    std::string words;
  } rows[] = {
      {"", "the end record is missing: the file is cut short"},
      {":0100A000EE71\n", "the end record is missing: the file is cut short"},
      {":0100A000EE72\n:00000001FF", "line 1: the checksum is 72, but the record's bytes give 71"},
      {":00000001FF\n\n:00000001FF", "line 3: there is more behind the end record"},
      {":00000001FF\nx", "line 2: there is more behind the end record"},
      {"\n\nx", "line 3: a record begins with ':', not 'x'"},
      {"\x07", "line 1: a record begins with ':', not 0x07"},
      {":0100A000GE71", "line 1: 'G' is not a hex digit"},
      {std::string(":0100\0", 6), "line 1: 0x00 is not a hex digit"},
      {":0100A000EE7", "line 1: 11 hex digits: a byte has two, so one is missing or too many"},
      {":", "line 1: the record is cut short: it has 0 bytes, and at least 5 are wanted"},
      {":00000000", "line 1: the record is cut short: it has 4 bytes, and at least 5 are wanted"},
      {":0200A000EE71", "line 1: the record says it has 2 data bytes, but has 1"},
      {":0000A000EE71", "line 1: the record says it has 0 data bytes, but has 1"},
      {":00000006FA", "line 1: unknown record type 06"},
      {":0100000112EC", "line 1: a record of type 01 has 0 data bytes, not 1"},
      {":0100000201FC", "line 1: a record of type 02 has 2 data bytes, not 1"},
      {":00000004FC", "line 1: a record of type 04 has 2 data bytes, not 0"},
      {":020000030000FB", "line 1: a record of type 03 has 4 data bytes, not 2"},
      {":0100000501F9", "line 1: a record of type 05 has 4 data bytes, not 1"},
      {":020000021200EA\n:02FFFF00AABB9B", "line 2: the data run over the end of their segment"},
      {":020000048000 7A", "line 1: ' ' is not a hex digit"},
      {":0200000480007A\n:01000000AA55",
       "line 2: address 0x80000000 is above 0x7FFFFFFE; no card is so large"},
      {":01000000AA55\n:01000000AB54\n:00000001FF",
       "line 2: the byte at 0x0000 is AB, but line 1 says AA"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(refusal(row.text, FileFormat::ihex), row.words) << row.text;
  }
}

TEST(IntelHex, IsWritten) {
  EXPECT_EQ(written(with_hole(), FileFormat::ihex),
            ":02002000DEAD53\n:02003000BEEF21\n:00000001FF\n");
  EXPECT_EQ(written(Segments(), FileFormat::ihex), ":00000001FF\n");
  EXPECT_EQ(written(Segments(0xFFFE, {1, 2, 3, 4}), FileFormat::ihex),
            ":02FFFE000102FE\n:020000040001F9\n:020000000304F7\n:00000001FF\n");
  EXPECT_EQ(written(Segments(0, Bytes(17)), FileFormat::ihex),
            ":1000000000000000000000000000000000000000F0\n:0100100000EF\n:00000001FF\n");
}

TEST(SRecord, IsRead) {
  const DataFile file = parse(
      "S00F000068656C6C6F202020202000003C\r\n"
      "S11F00007C0802A6900100049421FFF07C6C1B787C8C23783C6000003863000026\r\n"
      "S5030001FB\r\n"
      "S9030000FC\r\n\r\n");
  EXPECT_EQ(list_of(file.segments),
            (List{{0, {0x7C, 0x08, 0x02, 0xA6, 0x90, 0x01, 0x00, 0x04, 0x94, 0x21,
                       0xFF, 0xF0, 0x7C, 0x6C, 0x1B, 0x78, 0x7C, 0x8C, 0x23, 0x78,
                       0x3C, 0x60, 0x00, 0x00, 0x38, 0x63, 0x00, 0x00}}}));
}

TEST(SRecord, HasAddressesOfThreeSizes) {
  EXPECT_EQ(list_of(parse("S104FFFFAA53\nS9030000FC").segments), (List{{0xFFFF, {0xAA}}}));
  EXPECT_EQ(list_of(parse("S20507FFFFAA4B\nS604000001FA\nS804000000FB").segments),
            (List{{0x7FFFF, {0xAA}}}));
  EXPECT_EQ(list_of(parse("S3060008400FAAF8\nS70500000000FA").segments), (List{{0x8400F, {0xAA}}}));
  EXPECT_TRUE(parse("S1030000FC\nS9030000FC").segments.empty());
}

TEST(SRecord, IsRefused) {
  const struct {
    std::string_view text;
    std::string_view words;
  } rows[] = {
      {"", "the end record is missing: the file is cut short"},
      {"S104FFFFAA53", "the end record is missing: the file is cut short"},
      {"S104FFFFAA54\nS9030000FC", "line 1: the checksum is 54, but the record's bytes give 53"},
      {"S9030000FC\nS104FFFFAA53", "line 2: there is more behind the end record"},
      {"X", "line 1: a record begins with 'S', not 'X'"},
      {"S", "line 1: behind 'S' stands the type of the record, a digit"},
      {"S:", "line 1: behind 'S' stands the type of the record, a digit"},
      {"S/", "line 1: behind 'S' stands the type of the record, a digit"},
      {"S1", "line 1: the record is cut short: it has 0 bytes, and at least 4 are wanted"},
      {"S20300000C", "line 1: the record is cut short: it has 4 bytes, and at least 5 are wanted"},
      {"S3040000000C",
       "line 1: the record is cut short: it has 5 bytes, and at least 6 are wanted"},
      {"S105FFFFAA53", "line 1: the record says 5 bytes follow, but 4 do"},
      {"S103FFFFAA53", "line 1: the record says 3 bytes follow, but 4 do"},
      {"S4030000FC", "line 1: records of type S4 have no meaning"},
      {"S104FFFFAA53\nS5030002FA",
       "line 2: the file says it has 2 data records before this one, but has 1"},
      {"S9030000F", "line 1: 7 hex digits: a byte has two, so one is missing or too many"},
      {"S308FFFFFFFFAABBCC", "line 1: the record says 8 bytes follow, but 7 do"},
      {"S3067FFFFFFFAAD3", "line 1: address 0x7FFFFFFF is above 0x7FFFFFFE; no card is so large"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(refusal(row.text, FileFormat::srec), row.words) << row.text;
  }
}

TEST(SRecord, IsWritten) {
  EXPECT_EQ(written(with_hole(), FileFormat::srec),
            "S0030000FC\nS1050020DEAD4F\nS1050030BEEF1D\nS5030002FA\nS9030000FC\n");
  EXPECT_EQ(written(Segments(0xFFFF, {0xAA}), FileFormat::srec),
            "S0030000FC\nS104FFFFAA53\nS5030001FB\nS9030000FC\n");
  EXPECT_EQ(written(Segments(0x10000, {0xAA}), FileFormat::srec),
            "S0030000FC\nS205010000AA4F\nS5030001FB\nS804000000FB\n");
  EXPECT_EQ(written(Segments(0xFFFFFF, {0xAA}), FileFormat::srec),
            "S0030000FC\nS205FFFFFFAA53\nS5030001FB\nS804000000FB\n");
  EXPECT_EQ(written(Segments(0x1000000, {0xAA}), FileFormat::srec),
            "S0030000FC\nS30601000000AA4E\nS5030001FB\nS70500000000FA\n");
  EXPECT_EQ(written(Segments(), FileFormat::srec), "S0030000FC\nS5030000FC\nS9030000FC\n");
}

TEST(JsonFile, IsRead) {
  const DataFile file = parse(R"({
    "schema_version": 1, "other": {"a": [1.5, null]},
    "segments": [{"address": 48, "hex": "beEF"}, {"address": 32, "hex": "DEAD", "name": "x"}]})");
  EXPECT_EQ(file.segments, with_hole());
}

TEST(JsonFile, IsRefused) {
  const struct {
    std::string_view text;
    std::string_view words;
  } rows[] = {
      {"", "line 1: this is no JSON, or it is cut short"},
      {"{\n\"schema_version\": 1,\n\"segments\": [}",
       "line 3: this is no JSON, or it is cut short"},
      {R"({"schema_version": 1, "segments": []} x)", "line 1: this is no JSON, or it is cut short"},
      {"{\"schema_version\": \"\xFF\"}", "line 1: this is no JSON, or it is cut short"},
      {"[1]", "this JSON is no object"},
      {R"({"schema_version": 1e999})", "it has a number that is too large"},
      {R"({"segments": []})", "\"schema_version\" is missing, the version of what it is made of"},
      {R"({"schema_version": "1"})",
       R"("schema_version" is missing, the version of what it is made of)"},
      {R"({"schema_version": 2})", "\"schema_version\" is 2, and only 1 is known here"},
      {R"({"schema_version": 1})", "\"segments\" is missing, a list of address and hex"},
      {R"({"schema_version": 1, "segments": {}})",
       R"("segments" is missing, a list of address and hex)"},
      {R"({"schema_version": 1, "segments": [{"address": 0, "hex": "00"}, 7]})",
       R"(segment 2: it needs an "address", which is a number)"},
      {R"({"schema_version": 1, "segments": [{"address": -1, "hex": "00"}]})",
       R"(segment 1: it needs an "address", which is a number)"},
      {R"({"schema_version": 1, "segments": [{"address": 0}]})",
       R"(segment 1: it needs "hex", which is a text of hex digits)"},
      {R"({"schema_version": 1, "segments": [{"address": 0, "hex": 12}]})",
       R"(segment 1: it needs "hex", which is a text of hex digits)"},
      {R"({"schema_version": 1, "segments": [{"address": 0, "hex": "0g"}]})",
       "segment 1: 'g' is not a hex digit"},
      {R"({"schema_version": 1, "segments": [{"address": 0, "hex": "012"}]})",
       "segment 1: 3 hex digits: a byte has two, so one is missing or too many"},
      {R"({"schema_version": 1, "segments": [{"address": 2147483647, "hex": "00"}]})",
       "segment 1: address 0x7FFFFFFF is above 0x7FFFFFFE; no card is so large"},
      {R"({"schema_version": 1, "segments": [{"address": 2147483646, "hex": "0000"}]})",
       "segment 1: address 0x7FFFFFFF is above 0x7FFFFFFE; no card is so large"},
      {R"({"schema_version": 1, "segments": [{"address": 0, "hex": "00"}, {"address": 0, "hex": "01"}]})",
       "segment 2: the byte at 0x0000 is 01, but segment 1 says 00"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(refusal(row.text, FileFormat::json), row.words) << row.text;
  }
}

TEST(JsonFile, IsWritten) {
  EXPECT_EQ(written(with_hole(), FileFormat::json),
            "{\n  \"schema_version\": 1,\n  \"segments\": [\n"
            "    {\n      \"address\": 32,\n      \"hex\": \"DEAD\"\n    },\n"
            "    {\n      \"address\": 48,\n      \"hex\": \"BEEF\"\n    }\n  ]\n}\n");
}

TEST(JsonFile, IsNotNestedDeeply) {
  const auto nested = [](std::size_t depth) {
    return R"({"schema_version": 1, "segments": [], "other": )" + std::string(depth, '[') +
           std::string(depth, ']') + "}";
  };
  EXPECT_EQ(refusal(nested(9), FileFormat::json), "it is nested too deeply");
  EXPECT_TRUE(parse(nested(8)).segments.empty());
  EXPECT_EQ(refusal(std::string(1 << 20, '['), FileFormat::json), "it is nested too deeply");
}

TEST(DataFile, IsReadAsItIsWritten) {
  for (const Segments& segments : {with_hole(), Segments(), large(), Segments(0xFFF0, Bytes(300)),
                                   Segments(0x7FFFFFF0, Bytes(15, 0x5A))}) {
    for (const FileFormat format : {FileFormat::ihex, FileFormat::srec, FileFormat::json}) {
      const Bytes content = toolkit::to_data_file(segments, format);
      const DataFile again = toolkit::parse_data_file("-", content);
      EXPECT_EQ(again.format, format);
      EXPECT_TRUE(again.segments == segments) << toolkit::name_of(format);
      EXPECT_LE(content.size(), toolkit::largest_file);
    }
  }
  const Bytes raw = toolkit::to_data_file(large(), FileFormat::raw);
  EXPECT_TRUE(toolkit::parse_data_file("card.bin", raw, FileFormat::raw).segments == large());
}

}  // namespace
}  // namespace quorra::testing
