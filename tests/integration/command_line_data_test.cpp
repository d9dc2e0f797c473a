// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra: data files, regions, and what is written of them.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

using Json = nlohmann::json;

class DataCommands : public CommandLine {
 protected:
  std::string path(const std::string& name) const { return folder / name; }

  static std::string content_of(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  void save(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
  }

  // A second card, beside the one of new_card.
  std::string other_card(const std::string& kind, const Arguments& options = {}) const {
    std::string image = path("other.toml");
    const Outcome outcome =
        run(Arguments{QUORRA_SIM_PROGRAM, "new", kind, image, "--force"} + options);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    return image;
  }

  static Outcome on(const std::string& image, const Arguments& arguments) {
    return run_quorra(arguments + Arguments{"--virtual", image});
  }

  static Json object_of(const Outcome& outcome) {
    EXPECT_EQ(outcome.errors, "");
    return Json::parse(outcome.output, nullptr, false);
  }
};

// ---- Files

TEST_F(DataCommands, WhatReadSavesInAFormatWriteTakes) {
  const std::string image = new_card("24c16", {"--data", "0x100:476F6F64"});
  const std::string before = memory_of(image);
  for (const char* name : {"a.hex", "a.ihex", "a.s19", "a.mot", "a.json"}) {
    SCOPED_TRACE(name);
    expect_success(on(image, {"read", "--address", "0xFE", "--count", "8", "--output", path(name)}),
                   "Read 8 bytes at 0x00FE into " + path(name) + ".\n");
    EXPECT_EQ(on(image, {"write", "--address", "0xFC", "00112233445566778899AABB"}).status, 0);
    EXPECT_EQ(on(image, {"verify", "--file", path(name)}).status, 1);
    expect_success(on(image, {"write", "--file", path(name)}),
                   "Wrote 8 bytes at 0x00FE and read them back.\n");
    expect_success(on(image, {"verify", "--file", path(name)}),
                   "The card holds the same 8 bytes at 0x00FE.\n");
    // The bytes beside it are not in the file.
    EXPECT_EQ(memory_of(image).substr(0xFC, 2), std::string("\x00\x11", 2));
    EXPECT_EQ(on(image, {"write", "--address", "0xFC", "FFFF"}).status, 0);
    EXPECT_EQ(on(image, {"write", "--address", "0x106", "FFFF"}).status, 0);
    EXPECT_EQ(memory_of(image), before);
  }
}

TEST_F(DataCommands, FormatsAreNamedOrRecognised) {
  const std::string image = new_card("4442", {"--data", "0x20:DEAD"});
  const Arguments two = {"read", "--address", "0x20", "--count", "2"};
  const std::string ihex = ":02002000DEAD53\n:00000001FF\n";
  expect_success(on(image, two + Arguments{"--format", "ihex"}), ihex);
  expect_success(on(image, two + Arguments{"--format", "IHEX", "--output", "-"}), ihex);
  EXPECT_EQ(on(image, two + Arguments{"--format", "raw"}).output, "\xDE\xAD");
  // Whatever its name is.
  save("bytes", ihex);
  expect_success(on(image, {"verify", "--file", path("bytes")}),
                 "The card holds the same 2 bytes at 0x0020.\n");
  save("raw.hex", "\xDE\xAD");
  EXPECT_EQ(on(image, {"verify", "--file", path("raw.hex"), "--address", "0x20"}).status, 2);
  expect_success(
      on(image, {"verify", "--file", path("raw.hex"), "--address", "0x20", "--format", "raw"}),
      "The card holds the same 2 bytes at 0x0020.\n");
  EXPECT_EQ(on(image, two + Arguments{"--output", path("out.hex"), "--format", "raw"}).status, 0);
  EXPECT_EQ(content_of(path("out.hex")), "\xDE\xAD");

  expect_error(on(image, two + Arguments{"--format", "elf"}), 2,
               "quorra: 'elf' is no format of files; there are raw, ihex, srec, json\n");
  expect_error(on(image, two + Arguments{"--format", "ihex", "--raw"}), 2,
               "quorra: --raw and --format name two formats: give one of them\n");
  expect_error(on(image, {"verify", "--address", "0", "A2", "--format", "raw"}), 2,
               "quorra: --format is that of a file: give --file\n");
}

TEST_F(DataCommands, AChecksumThatIsWrongIsNamedWithItsLine) {
  const std::string image = new_card("24c02");
  save("bad.hex", ":02002000DEAD53\n:02003000DEAD44\n:00000001FF\n");
  const Outcome outcome = on(image, {"write", "--file", path("bad.hex")});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.errors.find("bad.hex: line 2: "), std::string::npos) << outcome.errors;
  EXPECT_EQ(memory_of(image), std::string(256, '\xFF'));
  save("bad.s19", "S1050020DEAD4E\nS9030000FC\n");
  const Outcome of_srec = on(image, {"verify", "--file", path("bad.s19")});
  EXPECT_EQ(of_srec.status, 2);
  EXPECT_NE(of_srec.errors.find("line 1: "), std::string::npos) << of_srec.errors;
}

TEST_F(DataCommands, AHoleIsLeftAlone) {
  const std::string image = new_card("24c02", {"--data", "0x11:77"});
  save("two.json", R"({"schema_version": 1, "segments": [{"address": 16, "hex": "01"},
                      {"address": 18, "hex": "0203"}]})");
  expect_success(on(image, {"write", "--file", path("two.json")}),
                 "Wrote 3 bytes in 2 parts of 0x0010-0x0013 and read them back.\n");
  EXPECT_EQ(memory_of(image).substr(0x10, 4), "\x01\x77\x02\x03");
  expect_success(on(image, {"verify", "--file", path("two.json")}),
                 "The card holds the same 3 bytes in 2 parts of 0x0010-0x0013.\n");
  EXPECT_EQ(on(image, {"write", "--address", "0x13", "FF"}).status, 0);
  expect_error(
      on(image, {"verify", "--file", path("two.json")}), 1,
      "quorra: comparing the card: 1 of 3 bytes differs; at 0x0013 the card holds FF, not 03\n");
  const Json told = object_of(on(image, {"write", "--file", path("two.json"), "--json"}));
  EXPECT_EQ(told.at("segments"), Json::parse(R"([{"address": 16, "count": 1},
                                                 {"address": 18, "count": 2}])"));
  EXPECT_EQ(told.at("count"), 3);
}

TEST_F(DataCommands, AnAddressIsAddedToThoseOfAFile) {
  const std::string image = new_card("4442", {"--force"});
  save("at.hex", ":020020000102DB\n:00000001FF\n");
  const Arguments write = {"write", "--file", path("at.hex"), "--code", "FFFFFF"};
  expect_success(on(image, write + Arguments{"--address", "0x10"}),
                 "Wrote 2 bytes at 0x0030 and read them back.\n");
  expect_success(on(image, write + Arguments{"--at", "data+1"}),
                 "Wrote 2 bytes at 0x0041 and read them back.\n");
  expect_success(on(image, write + Arguments{"--address", "0xDE"}),
                 "Wrote 2 bytes at 0x00FE and read them back.\n");
  expect_error(on(image, write + Arguments{"--address", "0xDF"}), 2,
               "quorra: 2 bytes at 0x00FF do not fit: the memory of a 4442 card ends at 0x00FF\n");
  // A raw file has none.
  save("raw", "ab");
  expect_error(on(image, {"write", "--file", path("raw"), "--code", "FFFFFF"}), 2,
               "quorra: --address is required, or --at: " + path("raw") +
                   " is raw bytes, which have no addresses\n");
}

// ---- Regions

TEST_F(DataCommands, RegionsStandForAddresses) {
  const std::string image = new_card("102", {"--force"});
  const Arguments code = {"--code", "FFFF"};
  expect_success(on(image, Arguments{"write", "--at", "zone1.data+2", "4142"} + code),
                 "Wrote 2 bytes at 0x0019 and read them back.\n");
  expect_success(on(image, {"verify", "--at", "Zone1.Data+2", "4142"}),
                 "The card holds the same 2 bytes at 0x0019.\n");
  expect_success(on(image, {"verify", "--zone", "1", "--address", "3", "4142"}),
                 "The card holds the same 2 bytes at 0x0003.\n");
  expect_success(on(image, Arguments{"fill", "--at", "zone2.data", "--byte", "00"} + code),
                 "Wrote 00 to 63 bytes at 0x005D and read them back.\n");
  expect_success(on(image, Arguments{"erase", "--at", "zone2.data", "--count", "3"} + code),
                 "Erased 3 bytes at 0x005D and read them back.\n");
  EXPECT_EQ(on(image, {"read", "--at", "zone2", "--raw"}).output.size(), 86U);
  EXPECT_EQ(on(image, {"read", "--at", "all", "--raw"}).output.size(), 178U);
  expect_success(on(image, {"read", "--at", "zone2.erase_code"}),
                 "0090                                       FF FF FF FF  |            ....|\n");
}

TEST_F(DataCommands, RegionsEndWhereTheyEnd) {
  const std::string image = new_card("4442");
  EXPECT_EQ(on(image, {"read", "--at", "protectable+31", "--raw"}).output.size(), 1U);
  expect_error(on(image, {"read", "--at", "protectable+32"}), 2,
               "quorra: --at: protectable of a 4442 card has the offsets 0 to 31, not 32\n");
  expect_error(on(image, {"read", "--at", "protectable+31", "--count", "2"}), 2,
               "quorra: 2 bytes at 0x001F do not fit: protectable of a 4442 card ends at 0x001F\n");
  expect_error(on(image, {"write", "--at", "protectable+31", "0102", "--code", "FFFFFF"}), 2,
               "quorra: 2 bytes at 0x001F do not fit: protectable of a 4442 card ends at 0x001F\n");
  expect_error(
      on(image, {"read", "--at", "protectible"}), 2,
      "quorra: a 4442 card has no region 'protectible' (did you mean protectable?); it has "
      "all, protectable, data\n");
  expect_error(on(image, {"read", "--at", "data", "--address", "0"}), 2,
               "quorra: give --at or --address, not both\n");
  EXPECT_EQ(on(image, {"read", "--at", "data+x"}).status, 2);
  EXPECT_EQ(on(new_card("102", {"--force"}), {"read", "--at", "zone1.data", "--zone", "1"}).status,
            2);
}

// ---- Only what differs

TEST_F(DataCommands, WritesNothingThatTheCardHolds) {
  const std::string image = new_card("24c16");
  EXPECT_EQ(on(image, {"write", "--address", "0", "--text", "Good morning"}).status, 0);
  expect_success(on(image, {"write", "--address", "0", "--text", "Good morning"}),
                 "Nothing to write: the card holds 12 bytes at 0x0000 already.\n");
  expect_success(on(image, {"write", "--address", "0", "--text", "Good morning", "--all"}),
                 "Wrote 12 bytes at 0x0000 and read them back.\n");
  save("large", std::string(2048, '\xFF'));
  expect_success(on(image, {"write", "--address", "0", "--file", path("large")}),
                 "Wrote 144 of 2048 bytes at 0x0000 and read them back; the others are there "
                 "already.\n");
  expect_success(on(image, {"fill", "--byte", "FF", "--yes", "24c16"}),
                 "Nothing to write: 2048 bytes at 0x0000 are FF already.\n");
  expect_success(on(image, {"write", "--address", "7", "00"}),
                 "Wrote 1 byte at 0x0007 and read it back.\n");
  expect_success(on(image, {"fill", "--byte", "FF", "--yes", "24c16"}),
                 "Wrote FF to 1 of 2048 bytes at 0x0000 and read them back; the others are so "
                 "already.\n");
}

TEST_F(DataCommands, PlansTellWhatTheyWouldDoAndDoNothing) {
  const std::string image = new_card("4442", {"--data", "0x20:0F"});
  const std::string before = content_of(image);
  const Arguments write = {"write", "--address", "0x20", "F0FF", "--plan"};
  // The code is not presented, so it may be a wrong one.
  expect_success(on(image, write + Arguments{"--code", "000000"}),
                 "1 byte to change in 1 frame; bits 1->0: 4, 0->1: 4; erasures: 0; attempts: 1.\n"
                 "0x0020-0x0021 written\n");
  const Outcome without = on(image, write);
  EXPECT_EQ(without.status, 1);
  EXPECT_EQ(without.output,
            "1 byte to change in 1 frame; bits 1->0: 4, 0->1: 4; erasures: 0; attempts: 0.\n"
            "0x0020-0x0021 written\n"
            "The card wants its code before it is written: --code.\n");
  const Outcome read_only =
      on(image, {"write", "--address", "0", "00", "--plan", "--code", "FFFFFF"});
  EXPECT_EQ(read_only.status, 1);
  EXPECT_EQ(read_only.output,
            "0 bytes to change in 0 frames; bits 1->0: 0, 0->1: 0; erasures: 0; attempts: 1.\n"
            "0x0000 stays: read-only for good\n");
  EXPECT_EQ(
      on(image, {"write", "--address", "0", "00", "--plan", "--code", "FFFFFF", "--skip-protected"})
          .status,
      0);
  EXPECT_EQ(
      on(image, {"fill", "--byte", "00", "--plan", "--code", "FFFFFF", "--yes", "4442"}).status, 0);
  EXPECT_EQ(content_of(image), before);
}

TEST_F(DataCommands, PlansOfErasing) {
  const std::string image = new_card("102", {"--data", "0x26:00"});
  const std::string before = content_of(image);
  expect_success(on(image, {"erase", "--zone", "1", "--plan", "--code", "FFFF"}),
                 "1 byte to change in 0 frames; bits 1->0: 0, 0->1: 8; erasures: 0; attempts: 1.\n"
                 "0x0000-0x003F erased\n");
  const Outcome needs_erasing =
      on(image, {"write", "--at", "zone1.data+15", "01", "--plan", "--code", "FFFF"});
  EXPECT_EQ(needs_erasing.status, 1);
  EXPECT_NE(needs_erasing.output.find("0x0026 stays: a 0 bit cannot become 1\n"),
            std::string::npos);
  const Json told = object_of(on(image, {"erase", "--zone", "2", "--plan", "--code", "FFFF",
                                         "--erase-code", "FFFFFFFF", "--json"}));
  EXPECT_EQ(told.at("plan").at("erasures"), 1);
  EXPECT_EQ(told.at("plan").at("attempts"), 1);
  EXPECT_EQ(content_of(image), before);
}

// ---- Protected bytes

TEST_F(DataCommands, ProtectedBytesAreNamedOrLeftOut) {
  const std::string image = new_card("4428", {"--data", "0x104:AABB", "--protect", "0x104"});
  const Arguments write = {"write", "--address", "0x103", "010203", "--code", "FFFF"};
  expect_error(
      on(image, write), 1,
      "quorra: writing the card: 1 byte cannot become what it should, at 0x0104: read-only "
      "for good; nothing was written; --skip-protected leaves them out\n");
  EXPECT_EQ(memory_of(image).substr(0x103, 3), "\xFF\xAA\xBB");
  expect_success(on(image, write + Arguments{"--skip-protected"}),
                 "Wrote 2 of 3 bytes at 0x0103 and read them back; the others are there already, "
                 "or stay.\n"
                 "0x0104 stays: read-only for good\n");
  EXPECT_EQ(memory_of(image).substr(0x103, 3), "\x01\xAA\x03");
}

// ---- What read saves, write takes

struct Kind {
  std::string name;
  std::string code = {};
  std::string data = {};   // "ADDRESS:HEX", for a card that is not blank
  std::string from = "0";  // the largest card is read once, and again from here on
};

const std::vector<Kind> kinds = {
    {"4442", "FFFFFF", "0x20:01020304"},  {"4432", "", "0x20:01020304"},
    {"4428", "FFFF", "0x3F8:0102030405"}, {"4418", "", "0x3FC:01020304"},
    {"24c01a", "", "0x7C:01020304"},      {"24c02", "", "0xFC:01020304"},
    {"24c04", "", "0x1FC:01020304"},      {"24c08", "", "0x3FC:01020304"},
    {"24c16", "", "0x7FC:01020304"},      {"24c32", "", "0xFFC:01020304"},
    {"24c64", "", "0x1FFC:01020304"},     {"93c46a", "", "0x7D:010203"},
    {"93c46", "", "0x7C:01020304"},       {"93c57", "", "0xFC:01020304"},
    {"93c66", "", "0x1FC:01020304"},      {"45d041", "", "0x83FFC:01020304", "0x83000"},
    {"4404", "FFFF", "0x10:01020304"},    {"4406", "FFFFFF", "3:0102030405"},
    {"101", "FFFF", "0x18:01020304"},     {"102", "FFFF", "0x5E:01020304"},
    {"1604", "FFFF", "0x6E0:01020304"},   {"1604b", "FFFF", "0x7F5:01020304"},
};

class EachKind : public DataCommands, public ::testing::WithParamInterface<Kind> {};

TEST_P(EachKind, TakesWhatWasReadOfAnotherCard) {
  const Kind& kind = GetParam();
  const std::string one = new_card(kind.name, {"--data", kind.data});
  Arguments code;
  if (!kind.code.empty()) code = {"--code", kind.code};
  EXPECT_EQ(on(one, {"read", "--output", path("all.hex"), "--quiet"}).status, 0);
  Arguments read = {"read", "--quiet"};
  if (kind.from != "0") read = read + Arguments{"--address", kind.from};
  for (const char* name : {"all.s19", "all.json", "all.bin"}) {
    EXPECT_EQ(on(one, read + Arguments{"--output", path(name)}).status, 0);
  }
  const std::string two = other_card(kind.name);
  EXPECT_NE(memory_of(two), memory_of(one));
  const Arguments write = Arguments{"write", "--quiet"} + code;
  const Outcome written = on(two, write + Arguments{"--file", path("all.hex")});
  EXPECT_EQ(written.status, 0) << written.errors;
  EXPECT_EQ(memory_of(two), memory_of(one));
  // Nothing is lost in the other formats, either.
  for (const char* name : {"all.s19", "all.json"}) {
    EXPECT_EQ(on(two, write + Arguments{"--file", path(name)}).output.substr(0, 16),
              "Nothing to write");
  }
  EXPECT_EQ(on(two, write + Arguments{"--file", path("all.bin"), "--address", kind.from})
                .output.substr(0, 16),
            "Nothing to write");
}

INSTANTIATE_TEST_SUITE_P(Kinds, EachKind, ::testing::ValuesIn(kinds),
                         [](const auto& test) { return "Kind" + test.param.name; });

TEST_F(DataCommands, AnImageOfAllOfACardLeavesCodesAndCountersAlone) {
  // With its code presented a 4428 shows it.
  const std::string one = new_card("4428", {"--code", "1234", "--data", "0x20:55"});
  EXPECT_EQ(on(one, {"read", "--code", "1234", "--output", path("all.hex")}).status, 0);
  const std::string two = other_card("4428");
  expect_success(on(two, {"write", "--file", path("all.hex"), "--code", "FFFF"}),
                 "Wrote 144 of 1024 bytes at 0x0000 and read them back; the others are there "
                 "already, or stay.\n"
                 "0x03FE-0x03FF stays: no command writes there\n");
  EXPECT_EQ(on(two, {"code", "present", "FFFF"}).status, 0);

  const std::string issued = new_card("4404", {"--data", "8:1234", "--data", "0x10:55", "--force"});
  expect_success(on(issued, {"read", "--output", path("hidden.hex")}),
                 "Read 52 bytes at 0x0000 into " + path("hidden.hex") +
                     ".\nA code may hide what these hold: code, erase_code.\n");
  EXPECT_EQ(on(issued, {"read", "--code", "1234", "--output", path("seen.hex")}).status, 0);
  const std::string blank = other_card("4404");
  const Outcome outcome = on(blank, {"write", "--file", path("seen.hex"), "--code", "FFFF"});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_NE(outcome.output.find("0x0008-0x0009 stays: codes and counters are left alone\n"),
            std::string::npos)
      << outcome.output;
  EXPECT_EQ(on(blank, {"code", "present", "FFFF"}).status, 0);
  // What is typed is meant.
  EXPECT_EQ(on(blank, {"write", "--at", "code", "1234", "--code", "FFFF"}).status, 0);
  EXPECT_EQ(on(blank, {"code", "present", "1234"}).status, 0);
}

TEST_F(DataCommands, ZonesHaveOneAddressAfterTheOther) {
  const std::string image = new_card("102", {"--data", "0x16:C1A2", "--data", "0x5C:D1B2"});
  expect_success(on(image, {"read", "--address", "0x16", "--count", "2"}),
                 "0010                    C1 A2                           |      ..        |\n");
  expect_success(on(image, {"read", "--address", "0x5B", "--count", "3"}),
                 "0050                                    FF D1 B2        |           ...  |\n");
  expect_error(on(image, {"read", "--address", "178"}), 2,
               "quorra: address 0x00B2 is not in the memory of a 102 card, which is 0x0000 to "
               "0x00B1\n");
  // Addresses in messages are those that were given.
  expect_error(on(image, {"verify", "--address", "0x5B", "FFD1B3"}), 1,
               "quorra: comparing the card: 1 of 3 bytes differs; at 0x005D the card holds B2, not "
               "B3\n");
  expect_error(on(image, {"verify", "--zone", "2", "--address", "0", "D1B3"}), 1,
               "quorra: comparing the card: 1 of 2 bytes differs; at 0x0001 the card holds B2, not "
               "B3\n");
  EXPECT_EQ(object_of(on(image, {"read", "--zone", "2", "--count", "2", "--json"})).at("zone"), 2);
  EXPECT_FALSE(object_of(on(image, {"read", "--count", "2", "--json"})).contains("zone"));
}

// ---- Reading again

class ScriptedData : public ScriptedCommandLine {
 protected:
  const Bytes read_two = sealed("AA 61 00 07 79 00 00 00 20 00 02");
};

TEST_F(ScriptedData, BytesThatWaverAreNamed) {
  Process program =
      start({"read", "--address", "0x20", "--count", "2", "--repeat", "3", "--output", "/nowhere"});
  reader.serve_opening();
  reader.serve(read_two, reply(0, hex("DE AD")));
  reader.serve(read_two, reply(0, hex("DE AF")));
  reader.serve(read_two, reply(0, hex("DE AD")));
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.output, "1 byte in 3 readings wavers:\n  0021  AD AF\n");
  reader.expect_closed();
}

TEST_F(ScriptedData, BytesThatWaverAreNamedInJson) {
  Process program = start({"read", "--address", "0x20", "--count", "2", "--repeat", "2", "--json"});
  reader.serve_opening();
  reader.serve(read_two, reply(0, hex("DE AD")));
  reader.serve(read_two, reply(0, hex("DF AF")));
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 1);
  const Json told = Json::parse(outcome.output);
  EXPECT_EQ(told.at("ok"), false);
  EXPECT_EQ(told.at("wavering"), Json::parse(R"([{"address": 32, "values": ["DE", "DF"]},
                                                 {"address": 33, "values": ["AD", "AF"]}])"));
}

TEST_F(DataCommands, ReadingAgainTellsThatAllIsTheSame) {
  const std::string image = new_card("24c02", {"--data", "0:41"});
  expect_success(on(image, {"read", "--count", "1", "--repeat", "2"}),
                 "0000  41                                                |A               |\n"
                 "All 2 readings are the same.\n");
  EXPECT_EQ(on(image, {"read", "--repeat", "0"}).status, 2);
  EXPECT_EQ(on(image, {"read", "--count", "1", "--repeat", "1000"}).status, 0);
  EXPECT_EQ(on(image, {"read", "--count", "1", "--repeat", "1001"}).status, 2);
}

TEST_F(DataCommands, RawFilesHaveRoom) {
  const std::string image = new_card("4442");
  const std::string before = content_of(image);
  save("long.bin", std::string(257, 'x'));
  expect_error(
      on(image, {"write", "--address", "0x10", "--file", path("long.bin")}), 2,
      "quorra: --file: " + path("long.bin") + " holds more than the 256 bytes of a 4442 card\n");
  EXPECT_EQ(content_of(image), before);
}

// What is told of a card as a whole is not taken for its data.
TEST_F(DataCommands, FilesOfNothingButCodesAreRefused) {
  struct Case {
    std::string kind;
    std::string region;
    std::string bytes;
    int status;
    std::string words;
  };
  const Case cases[] = {
      {"4428", "code", "AB", 2,
       "the code of a 4428 card is not written as bytes are; quorra code change changes it"},
      {"102", "zone0.code", "AB", 1,
       "writing the card: codes and counters are left alone, unless they are typed, or written "
       "with --security"},
      {"102", "zone0.attempts", "A", 1,
       "writing the card: codes and counters are left alone, unless they are typed, or written "
       "with --security"},
      {"1604", "zone1.code", "AB", 2,
       "address 0x0015 is not in the part of zone 0 of a 1604 card that can be written without "
       "--security, which is 0x0000 to 0x0014"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.kind + ' ' + one.region);
    const std::string image = other_card(one.kind);
    const std::string before = content_of(image);
    save("bytes", one.bytes);
    expect_error(on(image, {"write", "--at", one.region, "--file", path("bytes"), "--format", "raw",
                            "--code", "FFFF"}),
                 one.status, "quorra: " + one.words + "\n");
    EXPECT_EQ(content_of(image), before);
  }
}

TEST_F(DataCommands, VerifyCountsInAllParts) {
  const std::string image = new_card("24c02", {"--data", "0x20:DEAD", "--data", "0x30:BEEF"});
  const auto verify = [&](const std::string& first, const std::string& second) {
    save("parts.json", R"({"schema_version":1,"segments":[{"address":32,"hex":")" + first +
                           R"("},{"address":48,"hex":")" + second + "\"}]}");
    return on(image, {"verify", "--file", path("parts.json"), "--format", "json"});
  };
  expect_success(verify("DEAD", "BEEF"),
                 "The card holds the same 4 bytes in 2 parts of 0x0020-0x0031.\n");
  expect_error(verify("DEAD", "BEEE"), 1,
               "quorra: comparing the card: 1 of 4 bytes differs; at 0x0031 the card holds EF, "
               "not EE\n");
  expect_error(verify("DEAE", "BEEF"), 1,
               "quorra: comparing the card: 1 of 4 bytes differs; at 0x0021 the card holds AD, "
               "not AE\n");
  expect_error(verify("DEAE", "BFEE"), 1,
               "quorra: comparing the card: 3 of 4 bytes differ; at 0x0021 the card holds AD, "
               "not AE\n");
}

TEST_F(DataCommands, FillingSaysWhatIsSoAlready) {
  const std::string image = new_card("4442", {"--data", "0x40:0000"});
  const auto fill = [&](const std::string& address, const std::string& count) {
    return on(image,
              {"fill", "--byte", "00", "--address", address, "--count", count, "--code", "FFFFFF"});
  };
  expect_success(fill("0x40", "1"), "Nothing to write: 1 byte at 0x0040 is 00 already.\n");
  expect_success(fill("0x40", "2"), "Nothing to write: 2 bytes at 0x0040 are 00 already.\n");
  // Read-only bytes are as they are.
  expect_success(fill("0x15", "1"),
                 "Nothing to write: 1 byte at 0x0015 is 00 already, but for read-only bytes: 1 "
                 "(0x0015).\n");
  // As far as the region goes.
  expect_success(
      on(image, {"fill", "--byte", "5A", "--at", "data", "--code", "FFFFFF", "--no-verify"}),
      "Wrote 5A to 224 bytes at 0x0020.\n");
}

// What would be erased, where nothing has been yet: bytes that are beside one another at once.
TEST_F(DataCommands, PlansOfErasingNameWhatGoes) {
  struct Case {
    std::string kind;
    Arguments options;
    std::string words;
  };
  const std::string wants_code = "The card wants its code before it is written: --code.\n";
  const Case cases[] = {
      {"93c66", {}, "0x0000-0x01FF written\n"},
      {"102", {}, "0x0016-0x0055 erased\n0x005C-0x009B erased\n" + wants_code},
      {"102", {"--zone", "1"}, "0x0000-0x003F erased\n" + wants_code},
      {"102",
       {"--zone", "1", "--erase-code", "FFFFFFFFFFFF"},
       "erasures: 0; attempts: 0.\n0x0000-0x003F erased\n" + wants_code},
      {"1604", {"--zone", "4"}, "0x0000-0x0101 erased\n" + wants_code},
      {"1604",
       {"--address", "0", "--count", "400"},
       "0x0000-0x001A erased\n0x001B-0x018F erased\n"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(::testing::PrintToString(one.options));
    const std::string image = other_card(one.kind);
    const std::string before = content_of(image);
    const Outcome outcome = on(image, Arguments{"erase", "--plan"} + one.options);
    EXPECT_NE(outcome.output.find(one.words), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(content_of(image), before);
  }
}

}  // namespace
}  // namespace quorra::testing
