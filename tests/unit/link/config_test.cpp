// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <cstring>
#include <map>
#include <random>
#include <string>

#include "tests/support/scripted_reader.hpp"

namespace quorra::testing {
namespace {

constexpr std::size_t text_size = 60;

const std::map<char, char*>& texts() {
  static const std::map<char, char*> all = {
      {'A', AUXENDWRITE}, {'C', CLOSEAUX}, {'D', DISABLEKEYBOARD}, {'E', ENABLEKEYBOARD},
      {'I', INITAUX},     {'S', SETAUX},   {'W', AUXSTARTWRITE},   {'P', DRVCOMM},
  };
  return all;
}

std::string repeated(std::size_t count, char character) { return std::string(count, character); }

class Getpar : public ::testing::Test {
 protected:
  Getpar() {
    for (const auto& [key, text] : texts())
      std::memset(text, 0, text_size);
    term_flg = 7;
  }

  int read(std::string_view content) {
    write_file(folder_ / "file", content);
    return getpar((folder_ / "file").c_str());
  }

  // What a file with this content leaves in SETAUX.
  std::string set_from(std::string_view content) {
    EXPECT_EQ(read(content), 0);
    return SETAUX;
  }

  TemporaryDirectory folder_;
};

TEST_F(Getpar, PutsEachKeyIntoItsOwnText) {
  for (const auto& [key, text] : texts()) {
    for (const auto& [other, other_text] : texts())
      std::memset(other_text, 0, text_size);
    EXPECT_EQ(read(std::string{key} + "=some value\n"), 0);
    for (const auto& [other, other_text] : texts()) {
      EXPECT_STREQ(other_text, other == key ? "somevalue" : "") << key << " into " << other;
    }
    EXPECT_EQ(term_flg, key == 'P' ? 1 : 0) << key;
  }
}

TEST_F(Getpar, TakesOnlyTheFirstCharacterOfALabel) {
  EXPECT_EQ(read("SETAUX=abc\nPORT of the reader=/dev/ttyS1\n"), 0);
  EXPECT_STREQ(SETAUX, "abc");
  EXPECT_STREQ(DRVCOMM, "/dev/ttyS1");
}

TEST_F(Getpar, IgnoresEveryOtherKey) {
  for (int key = 0; key < 256; ++key) {
    if (texts().contains(static_cast<char>(key)) || key == '\n') continue;
    EXPECT_EQ(read(std::string{static_cast<char>(key)} + "=/dev/ttyS0\n"), 0) << key;
    EXPECT_EQ(term_flg, 0) << key;
    for (const auto& [other, text] : texts())
      EXPECT_STREQ(text, "") << key << " into " << other;
  }
}

TEST_F(Getpar, TakesTheFirstCharacterOfTheLineAsItStands) {
  EXPECT_EQ(set_from(" S=abc\n\tS=abc\n\nS=x\n"), "x");
}

TEST_F(Getpar, StopsAtTheDevice) {
  EXPECT_EQ(read("# reader\nS=set\nW=write\nP=/dev/ttyS1\nI=late\nP=/dev/ttyS2\n"), 0);
  EXPECT_EQ(term_flg, 1);
  EXPECT_STREQ(DRVCOMM, "/dev/ttyS1");
  EXPECT_STREQ(SETAUX, "set");
  EXPECT_STREQ(AUXSTARTWRITE, "write");
  EXPECT_STREQ(INITAUX, "");
}

TEST_F(Getpar, ChoosesTerminalModeWithoutADevice) {
  EXPECT_EQ(read("S=x\n"), 0);
  EXPECT_EQ(term_flg, 0);
  term_flg = 1;
  EXPECT_EQ(read(""), 0);
  EXPECT_EQ(term_flg, 0);
  term_flg = 1;
  EXPECT_EQ(read("#P=/dev/ttyS0\np=/dev/ttyS0\n"), 0);
  EXPECT_EQ(term_flg, 0);
  EXPECT_STREQ(DRVCOMM, "");
}

TEST_F(Getpar, ChangesNothingWhenTheFileCannotBeOpened) {
  std::strcpy(SETAUX, "kept");
  EXPECT_EQ(getpar((folder_ / "missing").c_str()), -1);
  EXPECT_EQ(getpar((folder_ / "").c_str()), -1) << "a folder";
  EXPECT_EQ(getpar(""), -1);
  EXPECT_EQ(getpar(nullptr), -1);
  EXPECT_EQ(term_flg, 7);
  EXPECT_STREQ(SETAUX, "kept");
}

TEST_F(Getpar, LeavesNoFileOpen) {
  const auto open_files = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = open_files();
  for (const char* content : {"", "S=x\n", "P=/dev/ttyS1\nS=x\n"})
    EXPECT_EQ(read(content), 0);
  EXPECT_EQ(getpar((folder_ / "").c_str()), -1);
  EXPECT_EQ(open_files(), before);
}

TEST_F(Getpar, StoresTheExampleForATerminal) {
  EXPECT_EQ(read("# reader on the terminal's printer port\n"
                 "S=\\033[5i\nI=\\033[4i\nW=\\033[5i\nA=\\033[4i\nC=\\033[4i\n"),
            0);
  EXPECT_STREQ(SETAUX, "\x1B[5i");
  EXPECT_STREQ(INITAUX, "\x1B[4i");
  EXPECT_STREQ(AUXSTARTWRITE, "\x1B[5i");
  EXPECT_STREQ(AUXENDWRITE, "\x1B[4i");
  EXPECT_STREQ(CLOSEAUX, "\x1B[4i");
  EXPECT_STREQ(ENABLEKEYBOARD, "");
  EXPECT_STREQ(DISABLEKEYBOARD, "");
}

TEST_F(Getpar, RemovesEverySecondBlankOfARow) {
  EXPECT_EQ(read("P = /dev/tty S1\n"), 0);
  EXPECT_STREQ(DRVCOMM, "/dev/ttyS1");
  EXPECT_EQ(set_from("S=a b\n"), "ab");
  EXPECT_EQ(set_from("S=c  d\n"), "c d");
  EXPECT_EQ(set_from("S=e   f\n"), "e f");
  EXPECT_EQ(set_from("S=g    h\n"), "g  h");
  EXPECT_EQ(set_from("S=i\tjk\n"), "i\tjk");
}

TEST_F(Getpar, DropsCarriageReturns) {
  EXPECT_EQ(read("S=abc\r\nP=/dev/ttyS1\r\n"), 0);
  EXPECT_STREQ(SETAUX, "abc");
  EXPECT_STREQ(DRVCOMM, "/dev/ttyS1");
}

TEST_F(Getpar, LeavesAGapForACarriageReturn) {
  EXPECT_EQ(set_from("S=ab\rcd\n"), "ab");
  EXPECT_STREQ(SETAUX + 3, "cd");
  EXPECT_EQ(set_from("S=vwxyz\nS=ab\rcd\n"), "abxcd");
}

TEST_F(Getpar, CopiesFromEachEqualsSignToTheStart) {
  EXPECT_EQ(set_from("S=a=b\n"), "b=b");
  std::memset(SETAUX, 0, text_size);
  EXPECT_EQ(set_from("S==x\n"), "xx");
  std::memset(SETAUX, 0, text_size);
  EXPECT_EQ(set_from("S=a=b=c\n"), "c=c=c");
  std::memset(SETAUX, 0, text_size);
  EXPECT_EQ(set_from("S=ab=\n"), "ab=");
}

TEST_F(Getpar, KeepsTheTailOfALongerEarlierValue) {
  EXPECT_EQ(set_from("S=abcdef\nS=xy\n"), "xycdef");
  EXPECT_EQ(set_from("S=123456789\n"), "123456789");
  EXPECT_EQ(set_from("S\n"), "123456789");
  EXPECT_EQ(set_from("S=\n"), "123456789");
  EXPECT_EQ(read("P=/dev/ttyUSB10\n"), 0);
  EXPECT_EQ(read("P=/dev/ttyS1\n"), 0);
  EXPECT_STREQ(DRVCOMM, "/dev/ttyS1B10");
}

TEST_F(Getpar, LosesTheLastCharacterOfALineWithoutLineEnd) {
  EXPECT_EQ(read("P=/dev/ttyS1"), 0);
  EXPECT_STREQ(DRVCOMM, "/dev/ttyS");
}

TEST_F(Getpar, TakesLinesOfOneOrTwoCharacters) {
  for (const char* content : {"S", "S\n", "S=", "S=\n", "=", "=\n", "\n", " ", "S \n", "S=x"}) {
    EXPECT_EQ(set_from(content), "") << content;
  }
  EXPECT_EQ(set_from("S=x\n"), "x");
}

TEST_F(Getpar, ConvertsABackslashAndThreeCharactersToEscape) {
  const struct {
    const char* value;
    const char* stored;
  } rows[] = {
      {"\\033[5i", "\x1B[5i"},
      {"\\[5i", "\x1B"},
      {"\\e[5x", "\x1Bx"},
      {"ab\\", "ab\x1B"},
      {"ab\\1", "ab\x1B"},
      {"ab\\12", "ab\x1B"},
      {"ab\\123", "ab\x1B"},
      {"ab\\1234",
       "ab\x1B"
       "4"},
      {"\\033a\\033b",
       "\x1B"
       "a\x1B"
       "b"},
      {"\\\\\\\\", "\x1B"},
      {"\\\\\\\\\\", "\x1B\x1B"},
  };
  for (const auto& row : rows) {
    std::memset(SETAUX, 0, text_size);
    EXPECT_EQ(set_from(std::string("S=") + row.value + "\n"), row.stored) << row.value;
  }
}

TEST_F(Getpar, LeavesNothingBehindAnEscape) {
  EXPECT_EQ(set_from("S=\\033[5i\nS=abcde\n"), "abcde");
  std::memset(SETAUX, 0, text_size);
  EXPECT_EQ(set_from("S=\\033[5i\nS=x\n"), "x[5i");
  std::memset(SETAUX, 0, text_size);
  EXPECT_EQ(set_from("S=ab\\12\nS=vwxyz\n"), "vwxyz");
}

TEST_F(Getpar, TakesAValueOf56Characters) {
  EXPECT_EQ(set_from("S=" + repeated(56, 'x') + "\nI=next\n"), repeated(56, 'x'));
  EXPECT_STREQ(INITAUX, "next");
}

TEST_F(Getpar, ReadsALongerLineInPieces) {
  // The first piece has 59 characters and no line end, so its last one is lost.
  EXPECT_EQ(set_from("S=" + repeated(56, 'x') + "yIz\nD=next\n"), repeated(56, 'x'));
  EXPECT_STREQ(INITAUX, "") << "a piece without a value";
  EXPECT_STREQ(DISABLEKEYBOARD, "next");

  EXPECT_EQ(set_from("S=" + repeated(57, 'x') + "P=/dev/late\nI=never\n"), repeated(56, 'x'));
  EXPECT_EQ(term_flg, 1);
  EXPECT_STREQ(DRVCOMM, "/dev/late");
  EXPECT_STREQ(INITAUX, "");
}

TEST_F(Getpar, TakesAMegabyteLine) {
  EXPECT_EQ(read("S=" + repeated(1 << 20, 'z') + "\nP=/dev/ttyS7\n"), 0);
  EXPECT_EQ(SETAUX, repeated(56, 'z'));
  EXPECT_STREQ(DRVCOMM, "/dev/ttyS7");
  EXPECT_EQ(read(repeated(1 << 20, 'S')), 0);
  EXPECT_EQ(read(repeated(1 << 20, '=')), 0);
  EXPECT_EQ(read("I=" + repeated(1 << 20, '\\')), 0);
  EXPECT_EQ(INITAUX, repeated(14, '\x1B'));
}

TEST_F(Getpar, TakesNulBytesAsTheEndOfALine) {
  EXPECT_EQ(set_from(std::string("S=ab\0cd\nI=x\n", 12)), "a");
  EXPECT_STREQ(INITAUX, "x");
  EXPECT_EQ(read(repeated(5000, '\0')), 0);
  EXPECT_EQ(term_flg, 0);
}

TEST_F(Getpar, ConvertsEscapesAtTheEndOfAFullValue) {
  for (std::size_t behind = 0; behind < 5; ++behind) {
    std::memset(SETAUX, 0, text_size);
    const std::string before = repeated(55 - behind, 'x');
    const std::string after = behind > 3 ? repeated(behind - 3, 'y') : "";
    EXPECT_EQ(set_from("S=" + before + "\\" + repeated(behind, 'y') + "\n"),
              before + "\x1B" + after)
        << behind;
  }
}

// The rules of a configuration file once more, told on growing strings.
class Model {
 public:
  std::map<char, std::string> texts;
  int term_flg = 0;

  Model() {
    for (const char key : std::string("ACDEISWP"))
      texts[key] = repeated(text_size, '\0');
  }

  void read(std::string content) {
    while (!content.empty()) {
      std::size_t size = content.find('\n');
      size = std::min(size == std::string::npos ? content.size() : size + 1, text_size - 1);
      std::string line = content.substr(0, size);
      content.erase(0, size);
      line.erase(std::min(line.find('\0'), line.size()));
      if (line.empty() || !texts.contains(line[0])) continue;
      const char key = line[0];
      store(line, texts[key]);
      if (key != 'P') continue;
      term_flg = 1;
      return;
    }
    term_flg = 0;
  }

  static void store(std::string line, std::string& text) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line[i] == ' ') line.erase(i, 1);
    }
    for (std::size_t k = 0; k < line.size(); ++k) {
      if (line[k] != '=') continue;
      for (std::size_t m = k; m + 2 < line.size(); ++m) {
        if (line[m + 1] != '\r') text[m - k] = line[m + 1];
      }
    }
    for (std::size_t i = 0; i < text.find('\0'); ++i) {
      if (text[i] != '\\') continue;
      text[i] = '\x1B';
      const std::size_t removed = std::min<std::size_t>(3, text.find('\0') - (i + 1));
      const std::size_t end = text.find('\0');
      text.erase(i + 1, removed);
      text.insert(end - removed, removed, '\0');
    }
  }
};

TEST_F(Getpar, AgreesWithAModelOnRandomFiles) {
  std::mt19937 random(4442);
  const std::string alphabet = std::string("SSIAWCDEP==  \\\\\r\n\nabx0#\0\t", 25) + "\xFF";
  Model model;
  for (int round = 0; round < 3000; ++round) {
    std::string content;
    for (std::size_t size = random() % 300; size > 0; --size) {
      content += alphabet[random() % alphabet.size()];
    }
    EXPECT_EQ(read(content), 0);
    model.read(content);
    ASSERT_EQ(term_flg, model.term_flg);
    for (const auto& [key, text] : texts()) {
      ASSERT_EQ(std::string(text, text_size), model.texts[key])
          << key << " after a file of " << to_hex(quorra::testing::text(content));
    }
  }
}

TEST(GetS, ReturnsTheLengthOfTheText) {
  const auto length_after = [](std::string line, std::string before = "") {
    before.resize(text_size);
    return get_s(line.data(), before.data());
  };
  EXPECT_EQ(length_after("S=abc\n"), 3);
  EXPECT_EQ(length_after("S=abc\n", "123456"), 6);
  EXPECT_EQ(length_after("S=\\033[5i\n"), 4);
  EXPECT_EQ(length_after("S\n"), 0);
  EXPECT_EQ(length_after("", "12"), 2);
}

TEST(GetS, EditsTheLineInPlaceAndMovesNoTerminator) {
  char line[] = "P = /dev/tty S1\n";
  char text[text_size] = {};
  EXPECT_EQ(get_s(line, text), 10);
  EXPECT_EQ(std::string(line, 13), "P=/dev/ttyS1\n");
  EXPECT_STREQ(text, "/dev/ttyS1");
}

TEST(GetS, RemovesABlankInFrontOfTheLabel) {
  char line[] = " S=x\n";
  char text[text_size] = "";
  EXPECT_EQ(get_s(line, text), 1);
  EXPECT_STREQ(line, "S=x\n\n");
}

TEST(GetS, ConvertsTheOldTextOfALineWithoutValue) {
  char line[] = "S\n";
  char text[text_size] = "a\\bcde\\1";
  EXPECT_EQ(get_s(line, text), 4);
  EXPECT_STREQ(text,
               "a\x1B"
               "e\x1B");
}

TEST(GetS, NeverLeavesTheSixtyBytes) {
  std::string line = "S=" + repeated(500, 'x') + "\n";
  std::string text(text_size + 4, '#');
  std::memset(text.data(), 0, text_size);
  EXPECT_EQ(get_s(line.data(), text.data()), 59);
  EXPECT_EQ(text, repeated(59, 'x') + std::string(1, '\0') + "####");

  // A text that nobody terminated.
  std::string empty_line = "\n";
  std::string full(text_size, '\\');
  full += "####";
  EXPECT_EQ(get_s(empty_line.data(), full.data()), 15);
  EXPECT_STREQ(full.c_str(), repeated(15, '\x1B').c_str());
  EXPECT_EQ(full.substr(text_size), "####");

  full = std::string(text_size, 'x') + "####";
  EXPECT_EQ(get_s(empty_line.data(), full.data()), 59);
  EXPECT_EQ(full, std::string(59, 'x') + std::string(1, '\0') + "####");
}

TEST(GetS, LeavesTheLastByteToTheTerminatorAlsoBehindAGap) {
  std::string line = "S=" + repeated(10, 'x') + "\r" + repeated(500, 'x') + "\n";
  std::string text(text_size, '\0');
  EXPECT_EQ(get_s(line.data(), text.data()), 10);
  EXPECT_EQ(text,
            repeated(10, 'x') + std::string(1, '\0') + repeated(48, 'x') + std::string(1, '\0'));
}

TEST(GetS, TakesALineThatBeginsWithTheEqualsSign) {
  char line[] = "=abc\n";
  char text[text_size] = "";
  EXPECT_EQ(get_s(line, text), 3);
  EXPECT_STREQ(text, "abc");
}

TEST(GetS, LeavesWhatIsBehindATerminator) {
  char line[] = "S=x\n";
  std::string text(text_size, '#');
  text[3] = '\0';
  EXPECT_EQ(get_s(line, text.data()), 3);
  EXPECT_EQ(text, "x##" + std::string(1, '\0') + std::string(text_size - 4, '#'));
}

TEST(GetS, TakesNullPointers) {
  char line[] = "S=x\n";
  char text[text_size] = "abc";
  EXPECT_EQ(get_s(nullptr, text), 0);
  EXPECT_EQ(get_s(line, nullptr), 0);
  EXPECT_STREQ(text, "abc");
}

}  // namespace
}  // namespace quorra::testing
