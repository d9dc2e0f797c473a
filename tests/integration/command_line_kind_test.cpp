// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The kind of the card in the reader: named, found out by reading, and checked before a transfer.

#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

using Json = nlohmann::json;

// A virtual reader that runs by itself, with the card of this image.
class AtReader {
 public:
  explicit AtReader(const Arguments& options)
      : simulator_(Arguments{QUORRA_SIM_PROGRAM} + options),
        configuration_(simulator_.read_line()) {}
  AtReader(const AtReader&) = delete;
  AtReader& operator=(const AtReader&) = delete;
  ~AtReader() {
    simulator_.signal(SIGTERM);
    EXPECT_EQ(simulator_.wait().status, 0);
  }

  Outcome quorra(const Arguments& arguments) const {
    return run_quorra(arguments + Arguments{"--config", configuration_});
  }

 private:
  Process simulator_;
  std::string configuration_;
};

class Kinds : public CommandLine {
 protected:
  // Content that repeats nowhere within the first 256 bytes.
  std::string card_with_content(const std::string& kind) {
    std::string bytes = "0:";
    constexpr char digits[] = "0123456789ABCDEF";
    for (int at = 0; at < 256; ++at) {
      bytes += {digits[at / 16], digits[at % 16]};
    }
    return new_card(kind, {"--data", bytes});
  }
};

TEST_F(Kinds, AnotherOneThanTheImageIsRefused) {
  const std::string image = card_with_content("24c16");
  const std::string before = memory_of(image);
  const Arguments write = {"write", "--card", "24c64",     "--address",
                           "0",     "00 00",  "--virtual", image};
  expect_error(run_quorra(write), 1,
               "quorra: recognising the card: this is a 24c16, not a 24c64; --force goes on all "
               "the same\n");
  EXPECT_EQ(memory_of(image), before);
  // Whoever insists gets what such a write does to the smaller chip.
  EXPECT_EQ(run_quorra(write + Arguments{"--force", "--no-verify"}).status, 0);
  EXPECT_NE(memory_of(image), before);
}

TEST_F(Kinds, AnotherOneThanReadingTellsIsRefused) {
  const std::string image = card_with_content("24c16");
  {
    const AtReader reader({"--card", image});
    for (const char* kind : {"24c64", "4442", "4428", "93c46", "1604"}) {
      const Outcome outcome = reader.quorra({"read", "--card", kind});
      EXPECT_EQ(outcome.status, 1) << kind;
      EXPECT_NE(outcome.errors.find("this is a 24c"), std::string::npos) << outcome.errors;
      EXPECT_EQ(outcome.output, "") << kind;
    }
  }
  // It is not asked whether it is the size that was named: the second half differs from the first.
  {
    const AtReader reader({"--card", image});
    const Outcome outcome = reader.quorra({"read", "--card", "24c01a"});
    EXPECT_EQ(outcome.status, 1) << outcome.output;
  }
}

TEST_F(Kinds, WhatReadingCannotTellIsSaid) {
  // All of it reads alike.
  const AtReader reader({"--card", new_card("24c16")});
  const Outcome guessed = reader.quorra({"read", "--count", "1"});
  EXPECT_EQ(guessed.status, 0);
  EXPECT_NE(guessed.errors.find("reading does not tell whether this is a 24c"), std::string::npos)
      << guessed.errors;
  const Outcome named = reader.quorra({"read", "--card", "24c16", "--count", "1"});
  EXPECT_EQ(named.status, 0);
  EXPECT_NE(named.errors.find("could not be checked"), std::string::npos) << named.errors;
  // As long as the card keeps its power, it is the one that was named, which is no more certain.
  for (const Arguments& kind : {Arguments{}, Arguments{"--card", "24c16"}}) {
    const Outcome known = reader.quorra(Arguments{"read", "--address", "2047"} + kind);
    EXPECT_EQ(known.status, 0) << known.errors;
    EXPECT_EQ(known.errors, named.errors);
  }
}

// A guess holds as long as that, too: reading the card anew would take its power, and with that the
// code that was presented.
TEST_F(Kinds, AGuessKeepsTheCodeThatWasPresented) {
  const AtReader reader({"--card", new_card("4428")});
  EXPECT_EQ(reader.quorra({"code", "present", "FFFF"}).status, 0);
  const Outcome written = reader.quorra({"write", "--address", "0x40", "41"});
  EXPECT_EQ(written.status, 0) << written.errors;
  EXPECT_NE(written.errors.find("could not be checked: a 4428 or 4418 would be read alike"),
            std::string::npos)
      << written.errors;
}

TEST_F(Kinds, AreFoundOutByReading) {
  const std::string image = new_card("4442");
  const std::string before = memory_of(image);
  {
    const AtReader reader({"--card", image});
    expect_success(reader.quorra({"read", "--count", "1"}),
                   "0000  A2*                                               |.               |\n" +
                       std::string(legend));
    expect_success(reader.quorra({"read", "--count", "1", "--card", "4442"}),
                   "0000  A2*                                               |.               |\n" +
                       std::string(legend));
  }
  EXPECT_EQ(memory_of(image), before);
}

// Whoever gives a card power without looking what it is leaves nothing for the next command to go
// by, although an earlier one has found a card of that kind in the reader.
TEST_F(Kinds, PowerAloneIsNotTrusted) {
  const std::string first = folder / "first.toml";
  std::filesystem::rename(new_card("24c64"), first);
  const std::string second = new_card("4442");
  const std::string socket = folder / "socket";
  const AtReader reader({"--card", first, "--socket", socket});
  const auto put = [&](const std::string& file) {
    for (const std::string& command : {std::string(R"({"command":"remove"})"),
                                       R"({"command":"insert","file":")" + file + R"("})"}) {
      EXPECT_EQ(run({QUORRA_SIM_PROGRAM, "control", socket, command}).status, 0);
    }
  };
  const Arguments ways[] = {{"read", "--count", "1", "--card", "4442", "--force"}, {"power", "on"}};
  for (const Arguments& way : ways) {
    SCOPED_TRACE(way.front());
    put(first);
    EXPECT_EQ(reader.quorra({"read", "--card", "24c64", "--count", "1"}).status, 0);
    put(second);
    EXPECT_EQ(reader.quorra(way).status, 0);
    const Outcome outcome =
        reader.quorra({"write", "--card", "24c64", "--address", "0", "00", "--no-verify"});
    EXPECT_EQ(outcome.status, 1) << outcome.output;
    EXPECT_NE(outcome.errors.find("this is a 4442"), std::string::npos) << outcome.errors;
  }
}

TEST_F(Kinds, ProcessorCardIsNoMemoryCard) {
  const AtReader reader({"--card", new_card("cpu")});
  for (const Arguments& named : {Arguments{}, {"--card", "4442"}}) {
    expect_error(reader.quorra(Arguments{"read"} + named), 1,
                 "quorra: recognising the card: this is a processor card: quorra apdu sends it "
                 "commands\n");
  }
}

TEST_F(Kinds, NoCardHasAStatusOfItsOwn) {
  const AtReader reader({});
  for (const Arguments& command :
       {Arguments{"read"}, {"write", "--address", "0", "00"}, {"code", "counter"}, {"map"}}) {
    for (const Arguments& named : {Arguments{}, {"--card", "4406"}}) {
      const Outcome outcome = reader.quorra(command + named);
      EXPECT_EQ(outcome.status, 3);
      EXPECT_EQ(outcome.errors, "quorra: recognising the card: no card is in the reader\n");
    }
  }
  const Json object = Json::parse(reader.quorra({"read", "--json"}).output);
  EXPECT_EQ(object.at("schema_version"), 1);
  EXPECT_EQ(object.at("command"), "read");
  EXPECT_EQ(object.at("ok"), false);
  EXPECT_EQ(object.at("exit_status"), 3);
  EXPECT_EQ(object.at("error").at("kind"), "no_card");
}

// ---- JSON

class InJson : public Kinds {
 protected:
  static Json object_of(const Outcome& outcome) {
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output.find('\n'), outcome.output.size() - 1) << outcome.output;
    return Json::parse(outcome.output);
  }
};

TEST_F(InJson, MemoryIsRead) {
  const std::string image = new_card("4442");
  EXPECT_EQ(object_of(run_quorra({"read", "--virtual", image, "--json", "--count", "4"})),
            Json({{"schema_version", 1},
                  {"command", "read"},
                  {"ok", true},
                  {"card", "4442"},
                  {"address", 0},
                  {"count", 4},
                  {"data", "A2131091"},
                  {"protected", {0, 1, 2, 3}}}));
}

TEST_F(InJson, ErrorsHaveTheirParticulars) {
  const std::string image = new_card("4442", {"--protect", "10-11"});
  const Outcome wrong_code =
      run_quorra({"code", "present", "--virtual", image, "000000", "--json"});
  EXPECT_EQ(wrong_code.status, 1);
  const Json error = object_of(wrong_code).at("error");
  EXPECT_EQ(error.at("kind"), "failed");
  EXPECT_EQ(error.at("code"), -36);
  EXPECT_EQ(error.at("word"), "wrong_code");
  EXPECT_EQ(error.at("attempts_left"), 2);
  EXPECT_EQ(error.at("message"), "presenting the code: the code is wrong (-36); 2 attempts left");

  const Outcome refused = run_quorra(
      {"write", "--virtual", image, "--address", "8", "--code", "FFFFFF", "01020304", "--json"});
  EXPECT_EQ(object_of(refused).at("error").at("address"), 10);
  EXPECT_EQ(object_of(refused).at("command"), "write");

  const Outcome usage = run_quorra({"read", "--nonsense", "--json"});
  EXPECT_EQ(usage.status, 2);
  EXPECT_EQ(object_of(usage).at("error").at("kind"), "usage");
}

TEST_F(InJson, RawBytesDoNotGoBetween) {
  const std::string image = new_card("4442");
  EXPECT_EQ(run_quorra({"read", "--virtual", image, "--json", "--raw"}).status, 2);
  EXPECT_EQ(run_quorra({"read", "--virtual", image, "--json", "--output", "-"}).status, 2);
  const std::string file = folder / "bytes";
  const Json object =
      object_of(run_quorra({"read", "--virtual", image, "--json", "--output", file}));
  EXPECT_EQ(object.at("file"), file);
  EXPECT_FALSE(object.contains("data"));
}

TEST_F(InJson, ProgressGoesToItsDescriptor) {
  const std::string image = new_card("24c16");
  const std::string file = folder / "progress";
  const std::string command = std::string(QUORRA_PROGRAM) + " read --virtual " + image +
                              " --json --progress-fd 3 3>" + file;
  EXPECT_EQ(run({"/bin/sh", "-c", command}).status, 0);
  const std::string lines = content_of(file);
  const Json last = Json::parse(lines.substr(lines.rfind('{')));
  EXPECT_EQ(last.at("done"), 2048);
  EXPECT_EQ(last.at("total"), 2048);
  EXPECT_EQ(last.at("doing"), "reading the card");
  expect_error(run_quorra({"read", "--virtual", image, "--progress-fd", "77"}), 2,
               "quorra: --progress-fd: 77 is no open descriptor; see quorra --help\n");
}

}  // namespace
}  // namespace quorra::testing
