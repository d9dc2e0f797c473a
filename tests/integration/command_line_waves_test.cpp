// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra --waves: what happens at the contacts of the card of a virtual reader, in a file.

#include <gtest/gtest.h>

#include <string>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

class WavesOfCommands : public CommandLine {
 protected:
  const std::string image = new_card("4442", {"--data", "0x20:DEAD"});
  const std::string waves = folder / "x.vcd";
  const Arguments read = {"read", "--address", "0x20", "--count",
                          "2",    "--virtual", image,  "--waves"};
};

constexpr char show_two[] =
    "0020  DE AD                                             |..              |\n";

TEST_F(WavesOfCommands, AreRecordedFromBeforeTheCardHasPower) {
  expect_success(run_quorra(read + Arguments{waves}), show_two);
  const std::string recorded = content_of(waves);
  EXPECT_NE(recorded.find("$comment card 4442 $end"), std::string::npos);
  EXPECT_NE(recorded.find("\n0!\n"), std::string::npos);
  EXPECT_NE(recorded.find("sread,_4442_or_4432,_address_0x0020,_count_2 )"), std::string::npos);
  EXPECT_EQ(run({QUORRA_SIM_PROGRAM, "play", waves, "--card", image}).status, 0);
  // Nothing in them is of the moment.
  expect_success(run_quorra(read + Arguments{waves}), show_two);
  EXPECT_EQ(content_of(waves), recorded);
}

TEST_F(WavesOfCommands, OfAllCommandsOfASeriesAreInOneFile) {
  const std::string file = folder / "commands";
  write_file(file, "read --address 0x20 --count 1\nread --address 0x21 --count 1\n");
  ASSERT_EQ(run_quorra({"run", "--virtual", image, "--waves", waves, file}).status, 0);
  const std::string recorded = content_of(waves);
  const std::size_t first = recorded.find("address_0x0020,_count_1");
  ASSERT_NE(first, std::string::npos);
  EXPECT_NE(recorded.find("address_0x0021,_count_1", first), std::string::npos);

  write_file(file, "read --waves other\n");
  expect_error(run_quorra({"run", "--virtual", image, "--waves", waves, file}), 2,
               "quorra: " + file +
                   ":1: --waves: all commands have one reader, which is named before them\n");
}

TEST_F(WavesOfCommands, BelongToAVirtualReader) {
  const std::string complaint =
      "quorra: --waves belongs to --virtual: the contacts of no other card are seen\n";
  expect_error(run_quorra({"read", "--device", "x", "--waves", waves}), 2, complaint);
  expect_error(run_quorra({"read", "--waves", waves}), 2, complaint);
}

TEST_F(WavesOfCommands, ThatCannotBeWrittenAreRefused) {
  expect_error(run_quorra(read + Arguments{"/nowhere/x"}), 2,
               "quorra: starting the virtual reader: /nowhere/x: No such file or directory\n");
  expect_error(run_quorra(read + Arguments{"/dev/full"}), 2,
               "quorra: starting the virtual reader: /dev/full: No space left on device; the waves "
               "end there\n");
  expect_error(
      run_quorra(read + Arguments{image}), 2,
      "quorra: starting the virtual reader: " + image + ": in use by another virtual reader\n");
  expect_success(run_quorra(read + Arguments{waves}), show_two);
  expect_error(run_quorra(read + Arguments{waves, "--output", waves}), 2,
               "quorra: --output: " + waves +
                   " is the file of --waves, which would be lost; name another one\n");
}

// The head of the file fits into the limit, and what follows does not.
TEST_F(WavesOfCommands, ThatCannotGoOnFailTheCommand) {
  const Outcome outcome =
      run(Arguments{"/bin/sh", "-c", R"(ulimit -S -f 2; exec "$0" "$@")", QUORRA_PROGRAM} + read +
          Arguments{waves});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, show_two);
  const std::string why = waves + ": File too large; the waves end there\n";
  EXPECT_EQ(outcome.errors, "quorra-sim: " + why + "quorra: " + why);
}

}  // namespace
}  // namespace quorra::testing
