// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// PC/SC programs, pcscd, the driver, and virtual readers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

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

TEST_F(PcscProgram, FindsWhatItWroteToAMemoryCard) {
  begin({"--card", make_card(folder_, "card.toml", {"24c16"})}, ":card=24c16");
  pcscd_->wait_for(reader_name, true);
  EXPECT_EQ(pcscd_->client({"random", "1", "1000", reader_name, "2048"}), "all equal\n");
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
  // A card in use keeps its power. pcscd switches others off, and cannot tell when they are
  // swapped.
  const auto application = pcscd_->start_client({"hold", reader_name});
  EXPECT_EQ(application->read_line(), "connected");
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

struct MemoryKind {
  std::string kind;
  std::string answer_to_reset;
  std::string taken_for;
  // Halves of a card that differ from each other tell its size.
  std::string data;
};

class PcscMemoryCard : public PcscProgram, public ::testing::WithParamInterface<MemoryKind> {};

TEST_P(PcscMemoryCard, IsSeenAndNotChanged) {
  const MemoryKind& row = GetParam();
  std::vector<std::string> options = {row.kind};
  if (!row.data.empty()) options.insert(options.end(), {"--data", row.data});
  const std::string image = make_card(folder_, "card.toml", options);
  const std::string before = content_of(image);
  begin({"--card", image});
  pcscd_->wait_for(reader_name, true);
  EXPECT_EQ(pcscd_->run({"opensc-tool", "-a"}).output, row.answer_to_reset + "\n");
  EXPECT_THAT(pcscd_->run({"opensc-tool", "-s", "FFCA010000"}).output, HasSubstr(row.taken_for));
  pcscd_.reset();
  reader_.reset();
  EXPECT_EQ(content_of(image), before);
}

constexpr char storage_card[] = "3b:8f:80:01:80:4f:0c:a0:00:00:03:06:00:00:00:00:00:00:00:68";
constexpr char two_wire[] = "3b:04:49:32:43:2e";

INSTANTIATE_TEST_SUITE_P(OfEachKind, PcscMemoryCard,
                         ::testing::Values(MemoryKind{"4442", "3b:04:a2:13:10:91", "4442", ""},
                                           MemoryKind{"4432", "3b:04:a2:13:10:91", "4432", ""},
                                           MemoryKind{"4428", "3b:04:92:23:10:91", "4428", ""},
                                           MemoryKind{"4418", "3b:04:92:23:10:91", "4418", ""},
                                           MemoryKind{"24c01a", two_wire, "24c01a", ""},
                                           MemoryKind{"24c02", two_wire, "24c02", "128:11"},
                                           MemoryKind{"24c04", two_wire, "24c04", "256:11"},
                                           MemoryKind{"24c08", two_wire, "24c08", "512:11"},
                                           MemoryKind{"24c16", two_wire, "24c16", "1024:11"},
                                           MemoryKind{"24c32", two_wire, "24c32", ""},
                                           MemoryKind{"24c64", two_wire, "24c64", "4096:11"},
                                           MemoryKind{"93c46a", storage_card, "93c46a", ""},
                                           MemoryKind{"93c46", storage_card, "93c46", ""},
                                           MemoryKind{"93c57", storage_card, "93c57", ""},
                                           MemoryKind{"93c66", storage_card, "93c66", ""},
                                           MemoryKind{"45d041", storage_card, "45d041", ""},
                                           MemoryKind{"4404", storage_card, "4404", ""},
                                           MemoryKind{"4406", storage_card, "4406", ""},
                                           MemoryKind{"101", storage_card, "101", ""},
                                           MemoryKind{"102", storage_card, "102", "150:11"},
                                           MemoryKind{"1604", storage_card, "1604", ""},
                                           MemoryKind{"1604b", storage_card, "1604b", ""}),
                         [](const auto& test) { return test.param.kind; });

TEST_F(PcscProgram, ReadsAndWritesAMemoryCard) {
  begin({"--card", make_card(folder_, "card.toml", {"4442"})});
  pcscd_->wait_for(reader_name, true);
  const std::string script = folder_ / "script";
  write_file(script,
             "reset\nFF B0 00 00 08\nFF D6 00 40 01 11\nFF 20 00 00 03 FF FF FF\n"
             "FF D6 00 40 02 11 22\nFF B0 00 3F 04\n");
  const std::string output = pcscd_->run({"scriptor", script}).output;
  EXPECT_THAT(output, HasSubstr("< A2 13 10 91 FF FF 81 15 90 00"));
  EXPECT_THAT(output, HasSubstr("< 69 82"));
  EXPECT_THAT(output, HasSubstr("< FF 11 22 FF 90 00"));
}

TEST_F(PcscProgram, TakesAMemoryCardForTheKindThatDevicenameNames) {
  begin({"--card", make_card(folder_, "card.toml", {"24c16"})}, ":card=24c16");
  pcscd_->wait_for(reader_name, true);
  EXPECT_EQ(pcscd_->client(
                {"apdu", reader_name, "FFB007FF01", "FFB0080001", "FFD607FF0111", "FFB007FF00"}),
            "T=0\nFF 90 00\n6B 00\n90 00\n11 90 00\n");
}

TEST_F(PcscProgram, LocksAMemoryCardAfterWrongCodesOnly) {
  begin({"--card", make_card(folder_, "card.toml", {"4442"})});
  pcscd_->wait_for(reader_name, true);
  // The reply to the first code is lost. It costs one attempt.
  reader_->control(R"({"command":"fault","kind":"silence","on":"0x64","times":1})");
  EXPECT_EQ(pcscd_->client({"apdu", reader_name, "FF20000003313131", "FF200000", "FF20000003313131",
                            "FF20000003313131", "FF20000003FFFFFF"}),
            "T=0\nTransaction failed.\n63 C2\n63 C1\n63 C0\n69 83\n");
}

TEST_F(PcscProgram, SeesMemoryCardsComeAndGo) {
  begin({"--card", make_card(folder_, "4442.toml", {"4442"})});
  const std::string other = make_card(folder_, "4428.toml", {"4428"});
  pcscd_->wait_for(reader_name, true);
  const auto watching = pcscd_->start_client({"watch", reader_name, "3"});
  EXPECT_EQ(watching->read_line(), "3B 04 A2 13 10 91");
  reader_->remove();
  EXPECT_EQ(watching->read_line(), "absent");
  reader_->insert(other);
  EXPECT_EQ(watching->read_line(), "3B 04 92 23 10 91");
}

}  // namespace
}  // namespace quorra::testing
