// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// PC/SC programs, pcscd, the driver, and virtual readers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/pcsc/pcscd.hpp"

namespace quorra::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr char atr_of_t0[] = "3B 06 51 55 4F 52 52 41";
constexpr char atr_of_t1[] = "3B 86 01 51 55 4F 52 52 41 8D";
constexpr char reader_name[] = "Quorra 00 00";

class PcscProgram : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string missing = missing_for_pcscd();
    if (!missing.empty()) GTEST_SKIP() << missing << " is not installed";
  }

  std::string t0_card(const std::string& name = "t0.toml") {
    return make_card(folder_, name, {"cpu", "--atr", atr_of_t0});
  }
  std::string t1_card(const std::string& name = "t1.toml") {
    return make_card(folder_, name, {"cpu"});
  }

  // A reader with these options of quorra-sim, and pcscd with it.
  void begin(const std::vector<std::string>& options, const std::string& words = ":") {
    reader_ = std::make_unique<VirtualReader>(folder_, "reader", options);
    pcscd_ = std::make_unique<Pcscd>(
        folder_, std::map<std::string, std::string>{{"Quorra", reader_->configuration() + words}});
  }

  TemporaryDirectory folder_;
  std::unique_ptr<VirtualReader> reader_;
  std::unique_ptr<Pcscd> pcscd_;
};

TEST_F(PcscProgram, SeesAProcessorCardWithT0) {
  begin({"--card", t0_card()});
  pcscd_->wait_for(reader_name, true);
  EXPECT_THAT(pcscd_->run({"opensc-tool", "-l"}).output, HasSubstr(reader_name));
  EXPECT_EQ(pcscd_->run({"opensc-tool", "-a"}).output, "3b:06:51:55:4f:52:52:41\n");
  EXPECT_EQ(pcscd_->client({"apdu", reader_name, "00A4000C020001", "00B0000004", "00A4000002000100",
                            "00B0000000000100", "00100000"}),
            "T=0\n90 00\nFF FF FF FF 90 00\n6F 0B 80 02 02 00 82 01 01 83 02 00 01 90 00\n67 00\n"
            "6D 00\n");
}

// The rest of a long answer is for the application to fetch.
TEST_F(PcscProgram, LeavesStatusWordsAsTheyAre) {
  begin({"--card", t0_card()});
  pcscd_->wait_for(reader_name, true);
  EXPECT_THAT(pcscd_->client({"apdu", reader_name, "00A4000C020001", "00B0000000"}),
              EndsWith(" FF FF 61 80\n"));
  EXPECT_THAT(pcscd_->client({"apdu", reader_name, "00B0000000", "00C0000080"}),
              EndsWith(" FF FF 90 00\n"));
  EXPECT_EQ(pcscd_->client({"apdu", reader_name, "00A40000020001", "00C0000020"}),
            "T=0\n61 0D\n6C 0D\n");
}

TEST_F(PcscProgram, SeesAProcessorCardWithT1) {
  begin({"--card", t1_card()});
  pcscd_->wait_for(reader_name, true);
  const std::string data(200, 'A');
  EXPECT_EQ(pcscd_->client({"apdu", reader_name, "00A4000C020001", "00D6000064" + data,
                            "00B0000002", "00B0000000000100"}),
            "T=1\n90 00\n90 00\nAA AA 90 00\n67 00\n");
}

TEST_F(PcscProgram, IsAnyOfTheUsualOnes) {
  begin({"--card", t1_card()});
  pcscd_->wait_for(reader_name, true);
  EXPECT_THAT(pcscd_->run({"pcsc_scan", "-r"}).output, HasSubstr(reader_name));
  EXPECT_THAT(pcscd_->run({"opensc-tool", "-s", "00A4000C020001"}).output,
              HasSubstr("SW1=0x90, SW2=0x00"));
  const std::string script = folder_ / "script";
  write_file(script, "reset\n00 A4 00 0C 02 00 01\n00 B0 00 00 02\n");
  const std::string output = pcscd_->run({"scriptor", script}).output;
  EXPECT_THAT(output, HasSubstr("< 90 00"));
  EXPECT_THAT(output, HasSubstr("< FF FF 90 00"));
}

TEST_F(PcscProgram, SeesCardsComeAndGo) {
  begin({"--card", t0_card()});
  const std::string other = t1_card();
  pcscd_->wait_for(reader_name, true);
  const auto watching = pcscd_->start_client({"watch", reader_name, "3"});
  EXPECT_EQ(watching->read_line(), atr_of_t0);
  reader_->remove();
  EXPECT_EQ(watching->read_line(), "absent");
  reader_->insert(other);
  EXPECT_EQ(watching->read_line(), atr_of_t1);
}

TEST_F(PcscProgram, SeesThatACardWasSwapped) {
  begin({"--card", t0_card()});
  const std::string other = t1_card();
  pcscd_->wait_for(reader_name, true);
  // A card in use keeps its power.
  EXPECT_EQ(pcscd_->client({"apdu", reader_name, "00A4000C020001"}), "T=0\n90 00\n");
  const auto watching = pcscd_->start_client({"watch", reader_name, "3"});
  EXPECT_EQ(watching->read_line(), atr_of_t0);
  reader_->remove();
  reader_->insert(other);
  // Perhaps nobody looked while there was none.
  std::string seen = watching->read_line();
  if (seen == "absent") seen = watching->read_line();
  EXPECT_EQ(seen, atr_of_t1);
}

TEST_F(PcscProgram, UsesUpOneAttemptForEachWrongCode) {
  begin({"--card", t0_card()});
  pcscd_->wait_for(reader_name, true);
  EXPECT_EQ(pcscd_->client({"apdu", reader_name, "002000010431313131", "0020000104313233 34",
                            "002000010431313131"}),
            "T=0\n63 C2\n90 00\n63 C2\n");
}

TEST_F(PcscProgram, UsesUpOneAttemptForACodeWhoseAnswerIsLost) {
  begin({"--card", t0_card()});
  pcscd_->wait_for(reader_name, true);
  reader_->control(R"({"command":"fault","kind":"silence","on":"0x21","times":1})");
  EXPECT_EQ(pcscd_->client({"apdu", reader_name, "002000010431313131", "00200001"}),
            "T=0\nTransaction failed.\n63 C2\n");
}

TEST_F(PcscProgram, GetsTheAnswerToItsOwnCommandAfterEveryFault) {
  begin({"--card", t0_card()});
  pcscd_->wait_for(reader_name, true);
  for (const char* fault : {R"("wrong_start")", R"("wrong_check")", R"("short_reply")",
                            R"("noise")", R"("long_reply","count":7)",
                            R"("late_first_byte","ms":4500)", R"("dropped_request_byte")"}) {
    reader_->control(std::string(R"({"command":"fault","on":"0x21","times":1,"kind":)") + fault +
                     "}");
    const std::string output =
        pcscd_->client({"apdu", reader_name, "00A4000C020001", "00A4000C020001", "00B0000004"});
    EXPECT_THAT(output, EndsWith("\n90 00\nFF FF FF FF 90 00\n")) << fault;
  }
}

TEST_F(PcscProgram, SeesAReaderThatIsSwitchedOffAndOn) {
  begin({"--card", t0_card()});
  pcscd_->wait_for(reader_name, true);
  const auto watching = pcscd_->start_client({"watch", reader_name, "3"});
  EXPECT_EQ(watching->read_line(), atr_of_t0);
  reader_->freeze();
  EXPECT_EQ(watching->read_line(), "absent");
  reader_->go_on();
  EXPECT_EQ(watching->read_line(), atr_of_t0);
}

TEST_F(PcscProgram, SeesAReaderThatIsUnpluggedAndPluggedIn) {
  begin({"--card", t0_card()});
  pcscd_->wait_for(reader_name, true);
  const auto watching = pcscd_->start_client({"watch", reader_name, "3"});
  EXPECT_EQ(watching->read_line(), atr_of_t0);
  reader_->stop();
  EXPECT_EQ(watching->read_line(), "absent");
  reader_->start();
  EXPECT_EQ(watching->read_line(), atr_of_t0);
}

TEST_F(PcscProgram, SeesAReaderThatWasOffAtTheStart) {
  reader_ = std::make_unique<VirtualReader>(folder_, "reader",
                                            std::vector<std::string>{"--card", t0_card()});
  reader_->stop();
  pcscd_ = std::make_unique<Pcscd>(
      folder_, std::map<std::string, std::string>{{"Quorra", reader_->configuration() + ":"}});
  pcscd_->wait_for(reader_name, false);
  reader_->start();
  pcscd_->wait_for(reader_name, true);
}

TEST_F(PcscProgram, SpeaksWithSams) {
  begin({"--card", t1_card(), "--sam", "0=" + t0_card("sam0.toml"), "--sam",
         "2=" + t1_card("sam2.toml")});
  pcscd_->wait_for(reader_name, true);
  EXPECT_EQ(pcscd_->client({"readers"}), "Quorra 00 00\nQuorra 00 01\nQuorra 00 02\n");
  pcscd_->wait_for("Quorra 00 01", true);
  pcscd_->wait_for("Quorra 00 02", true);
  const auto first = pcscd_->start_client({"random", "1", "100", "Quorra 00 01"});
  const auto second = pcscd_->start_client({"random", "2", "100", "Quorra 00 02"});
  const auto card = pcscd_->start_client({"random", "3", "100", reader_name});
  EXPECT_EQ(first->wait().output, "all equal\n");
  EXPECT_EQ(second->wait().output, "all equal\n");
  EXPECT_EQ(card->wait().output, "all equal\n");
}

TEST_F(PcscProgram, UsesTwoReadersAtOnce) {
  reader_ = std::make_unique<VirtualReader>(folder_, "reader",
                                            std::vector<std::string>{"--card", t0_card()});
  // Its name is longer.
  const VirtualReader other(folder_, "another_reader", {"--card", t1_card()});
  pcscd_ = std::make_unique<Pcscd>(
      folder_,
      std::map<std::string, std::string>{{"Quorra A", reader_->configuration() + ":speed=115200"},
                                         {"Quorra B", other.configuration() + ":"}});
  pcscd_->wait_for("Quorra A 00 00", true);
  pcscd_->wait_for("Quorra B 01 00", true);
  const auto first = pcscd_->start_client({"random", "1", "200", "Quorra A 00 00"});
  const auto second = pcscd_->start_client({"random", "2", "200", "Quorra B 01 00"});
  EXPECT_EQ(first->wait().output, "all equal\n");
  EXPECT_EQ(second->wait().output, "all equal\n");
  // One of them goes, and the other one does not notice.
  const auto third = pcscd_->start_client({"random", "3", "0", "Quorra B 01 00"});
  EXPECT_EQ(third->wait().output, "all equal\n");
  reader_->stop();
  pcscd_->wait_for("Quorra A 00 00", false);
  EXPECT_EQ(pcscd_->client({"apdu", "Quorra B 01 00", "00A4000C020001"}), "T=1\n90 00\n");
}

TEST_F(PcscProgram, AsksTheReaderItself) {
  begin({});
  pcscd_->wait_for(reader_name, false);
  EXPECT_EQ(pcscd_->client({"control", reader_name, "3400", ""}),
            "12 04 42 00 00 12 13 04 42 00 00 01\n");
  EXPECT_EQ(pcscd_->client({"control", reader_name, "1", "B9"}), "00\n");
  EXPECT_EQ(pcscd_->client({"control", reader_name, "1", "B0"}), "4B 57 53 50 43 2D 56 49 52 54\n");
  EXPECT_EQ(pcscd_->client({"control", reader_name, "1", "B6"}), "Feature not supported.\n");
}

TEST_F(PcscProgram, KeepsTheReaderForPcscd) {
  begin({"--card", t0_card()});
  pcscd_->wait_for(reader_name, true);
  const Outcome outcome = run({QUORRA_PROGRAM, "info", "--config", reader_->configuration()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.errors, HasSubstr("is in use by pcscd (process "));
}

}  // namespace
}  // namespace quorra::testing
