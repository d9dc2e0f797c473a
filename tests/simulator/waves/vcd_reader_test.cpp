// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/waves/vcd_reader.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

using Level = VcdReader::Level;
using ::testing::ElementsAre;

const std::string head = "$timescale 1 us $end $var wire 1 ! CLK $end $enddefinitions $end\n";

std::vector<std::string> changes_of(const std::string& text) {
  std::istringstream stream(text);
  VcdReader reader(stream, "x.vcd");
  std::vector<std::string> told;
  while (const auto change = reader.next()) {
    told.push_back(fmt::format("{} {} {}{}", change->time, change->code,
                               "01x-"[static_cast<std::size_t>(change->level)], change -> text));
  }
  return told;
}

std::string failure_of(const std::string& text) {
  try {
    changes_of(text);
  } catch (const Error& error) {
    return error.what();
  }
  return "";
}

TEST(VcdReader, ReadsTheHead) {
  std::istringstream stream(
      "$date today $end $version some\n program $end\n$comment first  one $end $comment $end\n"
      "$timescale 10ns $end\n"
      "$scope module top $end $var wire 1 !# CLK $end\n"
      "$scope begin card $end $var reg 1 a IO [0] $end $var wire 8 b bus [7:0] $end $upscope $end\n"
      "$var string 1 c text $end $var real 1 d volt $end $unknown of some kind $end $upscope $end\n"
      "$var wire 1 e out $end $enddefinitions $end\n");
  const VcdReader reader(stream, "x.vcd");
  std::vector<std::string> told;
  for (const auto& signal : reader.signals())
    told.push_back(fmt::format("{}/{} {} {:d}{:d}", signal.scope, signal.name, signal.code,
                               signal.is_bit, signal.is_string));
  EXPECT_THAT(told, ElementsAre("top/CLK !# 10", "top.card/IO a 10", "top.card/bus b 00",
                                "top/text c 01", "top/volt d 00", "/out e 10"));
  EXPECT_THAT(reader.comments(), ElementsAre("first one", ""));
  EXPECT_EQ(reader.femtoseconds(), 10'000'000U);
}

TEST(VcdReader, ReadsTimeScales) {
  const std::pair<const char*, std::uint64_t> cases[] = {
      {"1 fs", 1},
      {"100ps", 100'000},
      {"10 ns", 10'000'000},
      {"1us", 1'000'000'000},
      {"1\nms", 1'000'000'000'000},
      {"100 s", 100'000'000'000'000'000},
  };
  for (const auto& [text, femtoseconds] : cases) {
    std::istringstream stream(fmt::format("$timescale {} $end $enddefinitions $end\n", text));
    EXPECT_EQ(VcdReader(stream, "x").femtoseconds(), femtoseconds) << text;
  }
  for (const char* const text : {"", "1", "us", "2 us", "1 hour", "1.5 us", "-1 us",
                                 "100000000000000000000 us", "1 us more"})
    EXPECT_EQ(failure_of(fmt::format("$timescale {} $end\n", text)).substr(0, 16),
              "x.vcd: line 1: '")
        << text;
  std::istringstream without("$enddefinitions $end\n");
  EXPECT_EQ(VcdReader(without, "x").femtoseconds(), 0U);
}

TEST(VcdReader, ReadsChanges) {
  EXPECT_THAT(
      changes_of(head + "#0 $dumpvars x! zab $end\n#5 1! 0!\nb1 !\n#5\nB10z c\n"
                        "#18446744073709551615 shello ! S ! r1.5 ! $comment 1! $end H! L!\n"),
      ElementsAre("0 ! x", "0 ab -", "5 ! 1", "5 ! 0", "5 ! 1", "5 c -",
                  "18446744073709551615 ! xhello", "18446744073709551615 ! x",
                  "18446744073709551615 ! 1", "18446744073709551615 ! 0"));
}

TEST(VcdReader, PassesOverWhatSigrokCliWritesInFrontOfTheHead) {
  EXPECT_THAT(changes_of("META samplerate: 1000000\nMETA x\n" + head + "#4 1!\n"),
              ElementsAre("4 ! 1"));
  EXPECT_EQ(failure_of("META samplerate: 1000000\n"), "x.vcd: no value change dump (VCD)");
  EXPECT_EQ(failure_of("META"), "x.vcd: no value change dump (VCD)");
  EXPECT_EQ(failure_of("META x\n$enddefinitions $end\n?\n"),
            "x.vcd: line 3: '?' is no change of a signal");
}

TEST(VcdReader, KnowsTheLastTime) {
  std::istringstream stream(head + "#3 1!\n#70\n");
  VcdReader reader(stream, "x");
  while (reader.next()) {
  }
  EXPECT_EQ(reader.time(), 70U);
}

TEST(VcdReader, RefusesWhatIsNoDump) {
  for (const char* const text : {"", " \n", "hello",
                                 "\x7f"
                                 "ELF\x02\x01",
                                 "#0 1!\n"})
    EXPECT_EQ(failure_of(text), "x.vcd: no value change dump (VCD)") << text;
}

TEST(VcdReader, SaysInWhichLineAFileIsWrong) {
  const std::pair<std::string, const char*> cases[] = {
      {"$version\n$end\nhello", "line 3: 'hello' is not expected in the head of the file"},
      {"$upscope $end", "line 1: there is no scope to be left"},
      {"$var wire 1 ! $end\n", "line 1: a signal has no name"},
      {head + "#1\n#0\n", "line 3: #0 follows #1"},
      {head + "#\n", "line 2: '#' is no time"},
      {head + "#-1\n", "line 2: '#-1' is no time"},
      {head + "#1x\n", "line 2: '#1x' is no time"},
      {head + "#18446744073709551616\n", "line 2: '#18446744073709551616' is no time"},
      {head + "#0 1!\n1\n", "line 3: '1' is no change of a signal"},
      {head + "#0 2!\n", "line 2: '2!' is no change of a signal"},
      {head + "#0 1! $end\n", "line 2: '$end' is no change of a signal"},
  };
  for (const auto& [text, failure] : cases)
    EXPECT_EQ(failure_of(text), std::string("x.vcd: ") + failure);
}

TEST(VcdReader, TellsAFileThatIsCutOff) {
  const std::string whole = head + "#0\n$dumpvars\n0!\n$end\n#4 b1 !\n$comment end $end\n#12\n";
  EXPECT_EQ(failure_of(whole), "");
  for (std::size_t size = 1; size < whole.size(); ++size) {
    const std::string cut = whole.substr(0, size);
    // In front of a line end everything may be whole.
    const bool may_be_whole = size >= head.size() && whole[size - 1] == '\n' &&
                              (size <= head.size() + 3 || size > whole.find("$end\n#4"));
    const std::string failure = failure_of(cut);
    if (may_be_whole) {
      EXPECT_EQ(failure, "") << cut;
    } else {
      EXPECT_NE(failure, "") << cut;
    }
  }
  EXPECT_EQ(failure_of(whole.substr(0, whole.size() - 1)), "x.vcd: line 8: the file is cut off");
}

TEST(VcdReader, BearsLongWords) {
  const std::string word(100'000, 'w');
  const std::string text = "$version " + word + " $end $scope module " + word +
                           " $end $var wire 1 ! " + word + " $end $enddefinitions $end #0 b" +
                           std::string(100'000, '1') + " ! s" + word + " !\n";
  std::istringstream stream(text);
  VcdReader reader(stream, "x");
  EXPECT_LT(reader.signals().at(0).name.size(), 1000U);
  EXPECT_EQ(reader.next()->level, Level::high);
  EXPECT_LT(reader.next()->text.size(), 1000U);
  EXPECT_FALSE(reader.next());
  EXPECT_LT(failure_of(head + "#0 " + word + "\n").size(), 1000U);
}

std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i)
    all += text;
  return all;
}

TEST(VcdReader, RefusesHeadsThatAreTooLarge) {
  EXPECT_EQ(failure_of(repeated("$var wire 1 ! a $end ", 65536) + "$enddefinitions $end\n"), "");
  EXPECT_EQ(failure_of(repeated("$var wire 1 ! a $end ", 65537)),
            "x.vcd: line 1: there are too many signals");
  EXPECT_EQ(failure_of(repeated("$scope module a $end ", 64) + "$enddefinitions $end\n"), "");
  EXPECT_EQ(failure_of(repeated("$scope module a $end ", 65)),
            "x.vcd: line 1: there are too many scopes in each other");
}

}  // namespace
}  // namespace quorra::simulator
