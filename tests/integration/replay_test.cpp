// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Recordings: shown by quorra trace, played back by quorra-sim --replay, and read by tshark.

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include "tests/integration/wire_bench.hpp"

namespace quorra::testing {
namespace {

using ::testing::HasSubstr;

class Recorded : public WireBench {
 protected:
  // Records these commands at a new card of this kind.
  void record(const std::string& kind, const std::vector<Arguments>& commands,
              const Arguments& tap_options = {}, const Arguments& card_options = {}) {
    start_reader(new_card(kind, card_options));
    start_tap(Arguments{"--output", recording()} + tap_options);
    for (const Arguments& command : commands) {
      run_at_tap(command);
    }
    stop_tap();
    reader.reset();
  }

  void start_replay() {
    // No virtual reader has written it.
    std::filesystem::remove(tapped_configuration());
    reader = std::make_unique<Process>(
        Arguments{QUORRA_SIM_PROGRAM, "--replay", recording(), "--config", tapped_configuration()});
    EXPECT_EQ(reader->read_line(), tapped_configuration());
  }

  // A program that gets no answer any more is not waited for.
  std::unique_ptr<Process> start_program(const Arguments& arguments) const {
    return std::make_unique<Process>(Arguments{QUORRA_PROGRAM} + arguments +
                                     Arguments{"--config", tapped_configuration()});
  }

  void expect_replay(int status, const std::string& errors) {
    const Outcome outcome = reader->wait();
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.errors, errors);
  }
};

// Of the reader itself: no card is looked for.
const Arguments read_some{"memory", "read", "--address", "0", "--count", "20"};

TEST_F(Recorded, IsPlayedBack) {
  record("24c16", {read_some, {"memory", "write", "--address", "0", "--text", "Hello"}, read_some});
  start_replay();
  EXPECT_THAT(run_at_tap(read_some), HasSubstr("0000  FF FF FF FF FF"));
  run_at_tap({"memory", "write", "--address", "0", "--text", "Hello"});
  EXPECT_THAT(run_at_tap(read_some), HasSubstr("0000  48 65 6C 6C 6F FF"));
  reader->signal(SIGTERM);
  expect_replay(0, "");
}

TEST_F(Recorded, TellsWhereAProgramDeparts) {
  record("24c16", {read_some});
  start_replay();
  const auto program = start_program({"memory", "read", "--address", "0", "--count", "21"});
  expect_replay(1,
                "quorra-sim: frame 3: expected AA B7 00 07 80 00 00 00 00 00 14 8E, received AA B7 "
                "00 07 80 00 00 00 00 00 15 8F\n");
}

TEST_F(Recorded, TellsThatAProgramGoesOn) {
  record("24c16", {read_some});
  start_replay();
  run_at_tap(read_some);
  const auto program = start_program({"beep"});
  expect_replay(
      1,
      "quorra-sim: frame 5: expected the end of the recording, received AA B0 00 07 80 00 "
      "00 00 00 00 0A 97\n");
}

TEST_F(Recorded, TellsThatAProgramStopsEarly) {
  record("24c16", {read_some});
  start_replay();
  reader->signal(SIGTERM);
  expect_replay(1,
                "quorra-sim: frame 1: expected AA B0 00 07 80 00 00 00 00 00 0A 97, received "
                "nothing\n");
}

// Codes that are zeros in the recording may be any, and are not told.
TEST_F(Recorded, WithoutCodesTakesAnyCode) {
  record("4442", {{"security", "compare", "FFFFFF"}});
  start_replay();
  run_at_tap({"security", "compare", "999999"});
  reader->signal(SIGTERM);
  expect_replay(0, "");
}

TEST_F(Recorded, WithCodesWantsThem) {
  record("4442", {{"security", "compare", "FFFFFF"}}, {"--show-codes"});
  start_replay();
  const auto program = start_program({"security", "compare", "999999"});
  const Outcome outcome = reader->wait();
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.errors, HasSubstr("expected AA B5 00 08 80 00 00 01 82 ** ** ** **, received "
                                        "AA B5 00 08 80 00 00 01 82 ** ** ** **\n"));
}

TEST_F(Recorded, CutIsShownAndPlayedAsFarAsItGoes) {
  record("24c16", {read_some});
  const std::string whole = content_of(recording());
  const std::string shown = run_quorra({"trace", recording()}).output;
  write_file(recording(), whole.substr(0, whole.size() - 1));
  const Outcome traced = run_quorra({"trace", recording()});
  EXPECT_EQ(traced.status, 1);
  EXPECT_THAT(traced.errors, ::testing::MatchesRegex("quorra: reading .*: it ends within the block "
                                                     "at byte [0-9]+\n"));
  EXPECT_EQ(shown.substr(0, traced.output.size()), traced.output);
  EXPECT_THAT(traced.output, HasSubstr("count 20"));
  start_replay();
  reader->signal(SIGTERM);
  EXPECT_THAT(reader->wait().errors, HasSubstr("it ends within the block at byte "));
}

TEST_F(Recorded, OtherFilesAreRefused) {
  write_file(recording(), "This is no recording at all, and it is long enough.");
  expect_error(run_quorra({"trace", recording()}), 1,
               "quorra: reading " + recording() + ": it is no pcapng file\n");
  expect_error(run({QUORRA_SIM_PROGRAM, "--replay", recording()}), 2,
               "quorra-sim: " + recording() + ": it is no pcapng file\n");
  expect_error(run_quorra({"trace", folder / "nowhere"}), 2,
               "quorra: reading " + (folder / "nowhere") + ": No such file or directory\n");
  expect_error(run({QUORRA_SIM_PROGRAM, "--replay", recording(), "--card", "card"}), 2,
               "quorra-sim: --replay does not go with --card\n");
}

class Dissected : public Recorded {
 protected:
  // What tshark says of the recording: these fields of the frames that pass the filter.
  std::string fields(const std::string& filter, const std::vector<std::string>& names) {
    Arguments command{QUORRA_TSHARK, "-n",        "-2", "-X",   "lua_script:" QUORRA_DISSECTOR,
                      "-r",          recording(), "-Y", filter, "-T",
                      "fields"};
    for (const std::string& name : names) {
      command.insert(command.end(), {"-e", name});
    }
    // It reads the settings of nobody.
    Surroundings surroundings;
    surroundings.environment["HOME"] = folder / "home";
    surroundings.environment["XDG_CONFIG_HOME"] = folder / "home";
    const Outcome outcome = run(command, surroundings);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors.find("Lua"), std::string::npos) << outcome.errors;
    return outcome.output;
  }
};

TEST_F(Dissected, TellsWhatFramesSay) {
  record("24c16", {read_some});
  EXPECT_EQ(fields("quorra.command == 0xb7", {"frame.p2p_dir", "quorra.card", "quorra.address",
                                              "quorra.count", "_ws.col.Info", "quorra.reply_in"}),
            "0\t0x80\t0x0000\t20\tread, reader, address 0x0000, count 20\t4\n");
  EXPECT_EQ(
      fields("frame.number == 4", {"frame.p2p_dir", "quorra.status", "quorra.data", "_ws.col.Info",
                                   "quorra.request_in"}),
      "1\t0x00\t" +
          [] {
            std::string bytes;
            for (int i = 0; i < 20; ++i) {
              bytes += "ff";
            }
            return bytes;
          }() +
          "\tdone, 20 bytes\t3\n");
  EXPECT_EQ(fields("quorra.check.wrong or quorra.partial or quorra.stray", {"frame.number"}), "");
}

TEST_F(Dissected, NamesCodes) {
  record("4442", {{"security", "compare", "FFFFFF"}}, {"--show-codes"});
  EXPECT_EQ(fields("quorra.command == 0xb5", {"quorra.code"}), "ffffff\n");
}

TEST_F(Dissected, HandsCommandsOfT1Over) {
  record("cpu", {{"apdu", "00 A4 00 00 02 00 01", "00 B0 00 00 04"}});
  EXPECT_EQ(fields("iso7816.apdu.ins == 0xb0", {"iso7816.apdu.p1", "iso7816.apdu.le"}),
            "0x00\t0x04\n");
  EXPECT_EQ(
      fields("iso7816.apdu.sw1 and quorra.status == 0", {"iso7816.apdu.sw1", "iso7816.apdu.sw2"}),
      "0x61\t0x0d\n0x90\t0x00\n0x90\t0x00\n");
  EXPECT_NE(fields("iso7816.atr.init_char", {"iso7816.atr.init_char"}), "");
}

TEST_F(Dissected, HandsCommandsOfT0Over) {
  record("cpu", {{"apdu", "00 A4 00 00 02 00 01"}}, {}, {"--atr", "3B 06 51 55 4F 52 52 41"});
  EXPECT_EQ(fields("iso7816.apdu.ins == 0xa4", {"iso7816.apdu.lc", "iso7816.apdu.body"}),
            "0x02\t0001\n");
}

// More than the card takes in one block.
TEST_F(Dissected, PutsAChainTogether) {
  record("cpu", {{"apdu", "00 A4 00 00 02 00 01", "00 D6 00 00 28 " + [] {
                    std::string bytes;
                    for (int i = 0; i < 40; ++i) {
                      bytes += "41";
                    }
                    return bytes;
                  }()}});
  EXPECT_EQ(fields("iso7816.apdu.ins == 0xd6", {"iso7816.apdu.lc"}), "0x28\n");
}

TEST_F(Dissected, TellsSpoiltFrames) {
  start_reader(new_card("4442"));
  start_tap({"--output", recording()});
  control(R"({"command":"fault","kind":"wrong_check","on":"0xB0"})");
  EXPECT_EQ(run_quorra({"info", "--config", tapped_configuration()}).status, 3);
  control(R"({"command":"fault","kind":"noise","count":2,"on":"0xB0"})");
  EXPECT_EQ(run_quorra({"info", "--config", tapped_configuration()}).status, 3);
  stop_tap();
  EXPECT_EQ(fields("quorra.check.wrong", {"frame.number"}), "2\n");
  EXPECT_EQ(fields("quorra.stray", {"_ws.col.Info"}), "2 stray bytes\n");
}

}  // namespace
}  // namespace quorra::testing
