// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/waves/slot_waves.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::content_of;
using test::hex;
using test::write_file;
using ::testing::EndsWith;
using ::testing::HasSubstr;

const std::string signals =
    "$timescale 1 us $end\n"
    "$scope module card $end\n"
    "$var wire 1 ! VCC $end\n"
    "$var wire 1 \" RST $end\n"
    "$var wire 1 # CLK $end\n"
    "$var wire 1 $ IO $end\n"
    "$var wire 1 % C4 $end\n"
    "$var wire 1 & C8 $end\n"
    "$var wire 1 ' IO_reader $end\n"
    "$var wire 1 ( IO_card $end\n"
    "$var string 1 ) request $end\n"
    "$upscope $end\n"
    "$enddefinitions $end\n";

const std::string before_power =
    "#0\n$dumpvars\n0!\n0\"\n0#\n0$\n0%\n0&\n0'\n1(\nsidle )\n$end\n#100\n";

class Waves : public ::testing::Test {
 protected:
  std::string recorded() const { return content_of(file); }
  std::string failure_of_recording(const std::filesystem::path& path) {
    try {
      waves.record(path, "");
    } catch (const Error& error) {
      return error.what();
    }
    return "";
  }

  TemporaryFolder folder;
  std::filesystem::path file = folder.path() / "x.vcd";
  Slot slot;
  SlotWaves waves{slot};
};

TEST_F(Waves, begin_with_their_signals_and_how_these_are) {
  waves.record(file, "24c16");
  EXPECT_EQ(recorded(),
            "$version quorra-sim $end\n$comment card 24c16 $end\n" + signals + before_power);
}

TEST_F(Waves, name_no_card_when_there_is_none) {
  waves.record(file, "");
  EXPECT_EQ(recorded(), "$version quorra-sim $end\n" + signals + before_power);
}

// This chip pulls IO low while CLK is high, and C8 while RST is high.
TEST_F(Waves, show_the_answer_of_the_card_one_tick_after_the_edge) {
  test::ListeningChip chip;
  slot.insert(chip);
  waves.record(file, "");
  slot.set_vcc(true);
  slot.set_io(true);
  slot.set_c8(true);
  slot.set_c4(true);
  slot.clock_pulse();
  slot.set_rst(true);
  slot.set_io(false);
  slot.set_clk(true);
  waves.stop();
  EXPECT_THAT(recorded(), EndsWith(before_power + "#104\n1!\n#108\n1$\n1'\n#112\n1&\n#116\n1%\n"
                                                  "#120\n1#\n#121\n0$\n0(\n"
                                                  "#124\n0#\n#125\n1$\n1(\n"
                                                  "#128\n1\"\n#129\n0&\n"
                                                  "#132\n0$\n0'\n"
                                                  "#136\n1#\n#137\n0(\n#236\n"));
}

TEST_F(Waves, show_the_loss_of_power_as_one_change) {
  test::ListeningChip chip;
  slot.insert(chip);
  slot.set_vcc(true);
  slot.set_io(true);
  slot.set_clk(true);
  waves.record(file, "");
  slot.remove();
  waves.stop();
  EXPECT_THAT(recorded(), HasSubstr("#0\n$dumpvars\n1!\n0\"\n1#\n0$\n0%\n0&\n1'\n0(\n"));
  EXPECT_THAT(recorded(), EndsWith("#104\n0!\n0#\n0'\n#105\n1(\n#204\n"));
}

TEST_F(Waves, name_the_request_in_words_without_its_data) {
  waves.record(file, "");
  // The code of a 4442 is presented.
  waves.begin_request(hex("AA 64 00 08 79 00 00 00 00 12 34 56 CF"));
  slot.set_vcc(true);
  waves.end_request();
  waves.begin_request(hex("AA 61 00 07 61 00 00 01 23 00 10 9F"));
  waves.end_request();
  EXPECT_THAT(recorded(),
              EndsWith(before_power + "#104\nspresent_the_code,_4442_or_4432,_3_bytes )\n"
                                      "#108\n1!\n#112\nsidle )\n#212\n"
                                      "#216\nsread,_24c02,_address_0x0123,_count_16 )\n"
                                      "#220\nsidle )\n#320\n"));
}

TEST_F(Waves, are_complete_after_each_request) {
  waves.record(file, "");
  waves.begin_request(hex("AA B9 00 05 80 00 00 00 00 96"));
  EXPECT_THAT(recorded(), EndsWith("#100\n"));
  waves.end_request();
  EXPECT_THAT(recorded(), EndsWith(" )\n#108\nsidle )\n#208\n"));
}

TEST_F(Waves, end_when_they_are_stopped) {
  EXPECT_EQ(waves.file(), "");
  waves.record(file, "");
  EXPECT_EQ(waves.file(), file);
  waves.stop();
  EXPECT_EQ(waves.file(), "");
  const std::string before = recorded();
  slot.set_vcc(true);
  waves.begin_request(hex("AA B9 00 05 80 00 00 00 00 96"));
  waves.end_request();
  waves.stop();
  EXPECT_EQ(recorded(), before);
}

TEST_F(Waves, go_into_one_file) {
  waves.record(file, "");
  const auto other = folder.path() / "y.vcd";
  waves.record(other, "");
  slot.set_vcc(true);
  waves.stop();
  EXPECT_THAT(recorded(), EndsWith("#100\n#200\n"));
  EXPECT_THAT(content_of(other), EndsWith("#104\n1!\n#204\n"));
}

TEST_F(Waves, take_the_place_of_older_ones) {
  waves.record(file, "");
  for (int i = 0; i < 100; ++i)
    slot.set_vcc(i % 2 == 0);
  waves.stop();
  waves.record(file, "");
  waves.stop();
  EXPECT_THAT(recorded(), EndsWith("$end\n#100\n#200\n"));
}

TEST_F(Waves, do_not_take_the_place_of_other_files) {
  write_file(file, "$version other $end\n");
  EXPECT_EQ(failure_of_recording(file), file.string() + ": there is another file of that name");
  EXPECT_EQ(recorded(), "$version other $end\n");
  write_file(file, "$");
  EXPECT_EQ(failure_of_recording(file), file.string() + ": there is another file of that name");
  EXPECT_EQ(waves.file(), "");
}

TEST_F(Waves, do_not_go_where_others_go) {
  waves.record(file, "");
  Slot other_slot;
  SlotWaves others(other_slot);
  EXPECT_THROW(
      {
        try {
          others.record(file, "");
        } catch (const Error& error) {
          EXPECT_EQ(std::string(error.what()),
                    file.string() + ": in use by another virtual reader");
          throw;
        }
      },
      Error);
  waves.stop();
  others.record(file, "");
}

TEST_F(Waves, need_a_file) {
  EXPECT_THAT(failure_of_recording(folder.path() / "no" / "x"),
              EndsWith("/no/x: No such file or directory"));
  EXPECT_THAT(failure_of_recording(folder.path()), EndsWith(": Is a directory"));
  const auto fifo = folder.path() / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(failure_of_recording(fifo), fifo.string() + ": not a regular file");
}

TEST_F(Waves, tell_of_a_device_that_is_full) {
  EXPECT_EQ(failure_of_recording("/dev/full"),
            "/dev/full: No space left on device; the waves end there");
  EXPECT_EQ(waves.file(), "");
  slot.set_vcc(true);
  waves.stop();
}

}  // namespace
}  // namespace quorra::simulator
