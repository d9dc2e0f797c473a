// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Backups of virtual cards, files that are damaged, and what comes back of a backup.
#include "toolkit/memory/backup.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/kinds.hpp"
#include "tests/support/open_session.hpp"
#include "tests/support/process.hpp"
#include "toolkit/files/data_file.hpp"
#include "toolkit/memory/codes.hpp"

namespace quorra::testing {
namespace {

using toolkit::Backup;
using toolkit::Bytes;
using toolkit::Card;
using toolkit::parse_backup;
using toolkit::Restoration;

const Card& card(std::string_view name) { return *toolkit::find_card(name); }

Bytes bytes_of(std::string_view text) { return {text.begin(), text.end()}; }

Backup again(const Backup& backup) { return parse_backup("b", bytes_of(to_text(backup))); }

std::string refusal(const std::string& text) {
  try {
    parse_backup("b", bytes_of(text));
  } catch (const toolkit::UsageError& error) {
    return error.what();
  }
  return "no complaint";
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

// The same text with the checksum that it should have.
std::string with_checksum(const std::string& text) {
  const std::string words = refusal(text);
  const std::size_t old = text.find(R"("checksum": ")") + 13;
  return std::string(text).replace(old, 8, words.substr(words.size() - 8));
}

// A backup of a card whose bytes are all 5A, written by nobody.
Backup made(std::string_view kind) {
  Backup backup{.card = &card(kind)};
  backup.memory = Bytes(static_cast<std::size_t>(toolkit::size_of(card(kind))), 0x5A);
  return backup;
}

// "data 3+2 read-only for good", one for each loss.
std::string losses(const Restoration& restoration) {
  std::string words;
  for (const auto& lost : restoration.losses) {
    words += (words.empty() ? "" : "; ") + lost.region + " " + std::to_string(lost.range.address) +
             "+" + std::to_string(lost.range.count) + " " +
             std::string(toolkit::words_for(lost.loss));
  }
  return words;
}

class BackupOfCard : public ::testing::Test {
 protected:
  static simulator::Image new_card(std::string_view kind) {
    return simulator::Image(simulator::find_kind(kind));
  }

  Backup backup_of(const simulator::Image& image) {
    if (reader->state().card) reader->remove();
    save_image(image, folder / "card");
    reader->insert(folder / "card");
    return take();
  }
  Backup take() {
    const Card& kind = card(reader->state().card->kind().name);
    return take_backup(session, kind, {"reading the card"});
  }

  TemporaryDirectory folder;
  simulator::RunningReader reader;
  OpenSession session{reader->configuration()};
};

TEST_F(BackupOfCard, IsReadAsItIsWrittenAndEqualToASecondOne) {
  for (const Card& kind : toolkit::all_cards()) {
    if (kind.name == "45d041") continue;  // the same, for longer
    const Backup backup = backup_of(new_card(kind.name));
    const Backup second = take();
    EXPECT_EQ(to_text(second), to_text(backup)) << kind.name;
    EXPECT_TRUE(compare(backup, second).none()) << kind.name;
    const Backup read = again(backup);
    EXPECT_EQ(read.card, &kind);
    EXPECT_EQ(read.memory, backup.memory);
    EXPECT_EQ(read.counters, backup.counters);
    EXPECT_EQ(to_text(read), to_text(backup)) << kind.name;
    EXPECT_EQ(static_cast<int>(backup.memory.size()), toolkit::size_of(kind));
  }
}

TEST_F(BackupOfCard, HasAllOfA4442) {
  simulator::Image image = new_card("4442");
  const std::uint8_t header[] = {0xA2, 0x13, 0x10, 0x91};
  std::ranges::copy(header, image.field("memory").begin());
  image.field("counter").front() = 3;
  const auto flags = image.field("protected");
  std::ranges::fill(flags, std::uint8_t{0});
  flags[0] = flags[1] = flags[2] = flags[3] = flags[31] = 1;
  const Backup backup = backup_of(image);
  EXPECT_EQ(backup.answer_to_reset, Bytes(std::begin(header), std::end(header)));
  ASSERT_EQ(backup.protected_bytes.size(), 2U);
  EXPECT_EQ(backup.protected_bytes[0].count, 4);
  EXPECT_EQ(backup.protected_bytes[1].address, 31);
  EXPECT_EQ(backup.protected_bytes[1].count, 1);
  EXPECT_EQ(backup.counters, (std::vector<toolkit::NamedCounter>{{"attempts", 2}}));
  const Backup read = again(backup);
  EXPECT_EQ(read.answer_to_reset, backup.answer_to_reset);
  EXPECT_TRUE(compare(read, backup).none());
}

TEST_F(BackupOfCard, CountsAttemptsAndErasuresOfZones) {
  EXPECT_EQ(backup_of(new_card("102")).counters,
            (std::vector<toolkit::NamedCounter>{{"zone0.attempts", 4}, {"zone2.erasures", 128}}));
  const Backup zoned = backup_of(new_card("1604"));
  EXPECT_EQ(zoned.counters.size(), 2U + 4U) << "of the codes 0 and 1, and of four zones";
  EXPECT_EQ(zoned.counters.back(), (toolkit::NamedCounter{"zone4.erasures", 8}));
  EXPECT_TRUE(zoned.answer_to_reset.empty());
}

TEST_F(BackupOfCard, CountsTheUnitsOfAPersonalisedCard) {
  simulator::Image image = new_card("4406");
  const auto memory = image.field("memory");
  memory[8] = 0x01;
  memory[9] = 0x07;
  memory[10] = memory[11] = 0;
  memory[12] = 0xFF;
  const Backup backup = backup_of(image);
  EXPECT_TRUE(backup.is_personalised);
  EXPECT_EQ(backup.counters,
            (std::vector<toolkit::NamedCounter>{
                {"stage1", 1}, {"stage2", 3}, {"stage3", 0}, {"stage4", 0}, {"stage5", 8}}));
  EXPECT_TRUE(again(backup).is_personalised);
}

TEST_F(BackupOfCard, IsADataFile) {
  const Backup backup = backup_of(new_card("4428"));
  const Bytes content = bytes_of(to_text(backup));
  EXPECT_TRUE(toolkit::is_backup(content));
  EXPECT_FALSE(toolkit::is_backup(bytes_of(R"({"schema_version": 1, "segments": []})")));
  EXPECT_EQ(toolkit::parse_data_file("b.json", content).segments, backup.bytes());
}

// A code shows FF or 00 before it is presented, and itself afterwards.
TEST_F(BackupOfCard, IsTheSameWithAndWithoutTheCode) {
  const simulator::Image image = [&] {
    simulator::Image made = new_card("102");
    made.field("memory")[10] = 0x12;
    made.field("memory")[11] = 0x34;
    return made;
  }();
  const Backup without = backup_of(image);
  const Card& kind = card("102");
  toolkit::present_code(session, kind, {.code = kind.codes.data(), .bytes = {0x12, 0x34}},
                        [](const auto&, const auto&) {});
  const Backup with = take();
  EXPECT_EQ(with.memory[10], 0x12);
  EXPECT_NE(with.memory, without.memory);
  EXPECT_TRUE(compare(with, without).none());
  EXPECT_TRUE(compare(without, with).none());
}

TEST(BackupFile, IsRefusedWhenItWasDamaged) {
  const std::string text = to_text(made("4442"));
  EXPECT_EQ(refusal(text), "no complaint");
  const std::string damaged = refusal(replaced(text, "5A5A", "5A5B"));
  EXPECT_EQ(damaged.substr(0, 77),
            "b: the backup was damaged or changed: its checksum does not fit, which would ");
  EXPECT_EQ(damaged.find('\n'), std::string::npos);
  EXPECT_EQ(refusal(replaced(text, R"("4442")", R"("4432")")).substr(0, 27),
            "b: the backup was damaged o");
  EXPECT_EQ(refusal(text.substr(0, text.size() / 2)),
            "b: line 10: this is no JSON, or it is cut short");
  EXPECT_EQ(refusal(""), "b: line 1: this is no JSON, or it is cut short");
}

TEST(BackupFile, HasAChecksumOfItsContentOnly) {
  const std::string text = to_text(made("4442"));
  std::string shorter;
  std::ranges::remove_copy(text, std::back_inserter(shorter), '\n');
  EXPECT_EQ(refusal(shorter), "no complaint");
}

// The CRC-32 of the members in the order of their names.
TEST(BackupFile, HasTheChecksumOfACrc32) {
  Backup backup{.card = &card("4406"), .memory = Bytes(13, 0xFF)};
  const std::string text = to_text(backup);
  const std::size_t at = text.find(R"("checksum": ")") + 13;
  EXPECT_EQ(text.substr(at, 8), "0C117C39");
}

TEST(BackupFile, IsRefusedWhenItCannotBe) {
  const std::string text = to_text(made("4442"));
  const struct {
    const char* from;
    const char* to;
    const char* words;
  } rows[] = {
      {R"("schema_version": 1)", R"("schema_version": 2)",
       R"(b: "schema_version" is 2, and only 1 is known here)"},
      {"backup of a card", "backup", "b: this is no backup"},
      {R"("kind": "4442")", R"("kind": "4443")", R"(b: "kind" is none that is known here)"},
      {R"("kind": "4442")", R"("kind": 4442)",
       R"(b: "kind" is missing, or is not what it has to be)"},
      {R"("kind": "4442")", R"("kind": "24c16")",
       R"(b: "segments" are not all 2048 bytes of a 24c16 card)"},
      {R"("address": 0)", R"("address": 1)",
       R"(b: "segments" are not all 256 bytes of a 4442 card)"},
      {R"("answer_to_reset": "")", R"("answer_to_reset": "3")",
       "b: 1 hex digits: a byte has two, so one is missing or too many"},
      {R"("protected": [])", R"("protected": [{"address": 31, "count": 2}])",
       R"(b: "protected" has bytes that a 4442 card cannot protect, or not in their order)"},
      {R"("protected": [])", R"("protected": [{"address": 33, "count": 1}])",
       R"(b: "protected" has a number that is not 0 to 32)"},
      {R"("protected": [])",
       R"("protected": [{"address": 4, "count": 2}, {"address": 6, "count": 2}])",
       R"(b: "protected" has bytes that a 4442 card cannot protect, or not in their order)"},
      {R"("protected": [])", R"("protected": [{"address": 4, "count": 0}])",
       R"(b: "protected" has bytes that a 4442 card cannot protect, or not in their order)"},
      {R"("protected": [])", R"("protected": [7])", R"(b: "protected" is no list of objects)"},
      {R"("counters": [])", R"("counters": [{"name": "attempts", "left": 256}])",
       R"(b: "counters" has a number that is not 0 to 255)"},
      {R"("counters": [])", R"("counters": [{"name": "attempts", "left": -1}])",
       R"(b: "counters" has a number that is not 0 to 255)"},
      {R"("counters": [])", R"("counters": [{"name": "attempts", "left": 1.5}])",
       R"(b: "counters" has a number that is not 0 to 255)"},
      {R"("counters": [])", R"("counters": [{"left": 2}])",
       R"(b: "name" is missing, or is not what it has to be)"},
      {R"("counters": [])", R"("counters": [1])", R"(b: "counters" is no list of objects)"},
      {R"("personalised": false)", R"("personalised": 0)",
       R"(b: "personalised" is missing, or is not what it has to be)"},
  };
  for (const auto& row : rows) {
    const std::string changed = replaced(text, row.from, row.to);
    const std::string words = refusal(changed);
    EXPECT_EQ(words.find("damaged") == std::string::npos ? words : refusal(with_checksum(changed)),
              row.words);
  }
  EXPECT_EQ(refusal(with_checksum(replaced(text, R"("protected": [])",
                                           R"("protected": [{"address": 31, "count": 1}])"))),
            "no complaint");
}

TEST(BackupDifferences, AreFound) {
  const Backup one = made("4442");
  EXPECT_TRUE(compare(one, made("4432")).kind);
  EXPECT_TRUE(compare(one, one).none());

  Backup other = one;
  other.memory[40] = 0;
  EXPECT_EQ(compare(one, other).bytes.count(), 1);
  EXPECT_EQ(compare(one, other).bytes.bytes.front().region, "data");
  other = one;
  other.answer_to_reset = {1, 2, 3, 4};
  EXPECT_TRUE(compare(one, other).answer_to_reset);
  EXPECT_FALSE(compare(one, other).none());
  other = one;
  other.protected_bytes = {{4, 2}, {9, 1}};
  ASSERT_EQ(compare(one, other).protection.size(), 2U);
  EXPECT_EQ(compare(other, one).protection[0].count, 2);
  EXPECT_FALSE(compare(one, other).none());

  Backup counted = one;
  counted.counters = {{"attempts", 3}};
  other = counted;
  other.counters.front().left = 2;
  ASSERT_EQ(compare(counted, other).counters.size(), 1U);
  EXPECT_EQ(compare(counted, other).counters.front().left, 3);
  EXPECT_EQ(compare(counted, other).counters.front().right, 2);
  EXPECT_FALSE(compare(counted, other).none());
}

TEST(HiddenRegions, AreOfOneValue) {
  Backup backup = made("101");
  EXPECT_TRUE(hidden_regions(backup).empty());
  backup.memory[10] = backup.memory[11] = 0xFF;
  backup.memory[150] = backup.memory[151] = backup.memory[152] = backup.memory[153] = 0;
  const auto hidden = hidden_regions(backup);
  ASSERT_EQ(hidden.size(), 2U);
  EXPECT_EQ(hidden[0].name, "code");
  EXPECT_EQ(hidden[1].name, "erase_code");
  backup.memory[11] = 0xFE;
  EXPECT_EQ(hidden_regions(backup).size(), 1U);
}

// Without its read flag the data of a zone read as FF.
TEST(HiddenRegions, AreDataThatNotEverybodyReads) {
  Backup backup = made("102");
  std::fill_n(backup.memory.begin() + 23, 63, 0xFF);
  backup.memory[22] = 0xC0;
  EXPECT_TRUE(hidden_regions(backup).empty());
  backup.memory[22] = 0x80;
  ASSERT_EQ(hidden_regions(backup).size(), 1U);
  EXPECT_EQ(hidden_regions(backup).front().name, "zone1.data");
  backup.memory[30] = 0xFE;
  EXPECT_TRUE(hidden_regions(backup).empty());
}

TEST(Restoration, WritesWhatDiffers) {
  const Backup backup = made("24c16");
  Backup present = backup;
  present.memory[1000] = 0;
  const Restoration restoration = plan_restoration(backup, present);
  EXPECT_EQ(losses(restoration), "");
  EXPECT_EQ(restoration.plan.frames, 1);
  EXPECT_EQ(restoration.plan.bytes_changed, 1);
  EXPECT_TRUE(plan_restoration(backup, backup).plan.sends_nothing());
}

TEST(Restoration, TellsWhatCannotComeBackOfA4442) {
  Backup backup = made("4442");
  Backup present = backup;
  backup.protected_bytes = {{0, 4}};
  backup.counters = {{"attempts", 3}};
  present.protected_bytes = {{3, 2}};
  present.counters = {{"attempts", 2}};
  present.memory[4] = 0;
  const Restoration restoration = plan_restoration(backup, present);
  EXPECT_EQ(losses(restoration),
            "code 0+0 the backup does not know it; "
            "protectable 4+1 read-only for good; "
            "protectable 0+3 was read-only, and is not made so again; "
            "protectable 4+1 has become read-only, which stays; "
            "attempts 0+0 the card counts by itself");
  EXPECT_TRUE(restoration.plan.sends_nothing());
}

TEST(Restoration, LeavesCodesFlagsAndCountersOfSecurityCards) {
  Backup backup = made("101");
  backup.memory[150] = backup.memory[151] = backup.memory[152] = backup.memory[153] = 0xFF;
  Backup present = backup;
  present.memory[10] = 0xFF;   // code
  present.memory[12] = 0xFF;   // attempts
  present.memory[22] = 0xFF;   // flags
  present.memory[30] = 0x50;   // data, where a bit would have to become 1
  present.memory[31] = 0xFF;   // data
  present.memory[150] = 0x12;  // erase code
  const Restoration restoration = plan_restoration(backup, present);
  EXPECT_EQ(losses(restoration),
            "flags 22+1 flags are left alone; "
            "erase_code 150+4 the backup does not know it; "
            "code 10+1 codes are left alone; "
            "data 30+1 a 0 bit cannot become 1");
  EXPECT_EQ(restoration.plan.bytes_changed, 1);
  const Restoration erasing = plan_restoration(backup, present, {.plan = {.may_erase = true}});
  EXPECT_EQ(erasing.plan.bytes_changed, 2);
  EXPECT_EQ(erasing.plan.erasures.size(), 1U);
}

TEST(Restoration, LeavesTheEndOfA4428) {
  Backup backup = made("4428");
  Backup present = backup;
  present.memory[1021] = present.memory[1022] = present.memory[1020] = 0;
  const Restoration restoration = plan_restoration(backup, present);
  EXPECT_EQ(losses(restoration), "code 1022+1 no command writes there");
  EXPECT_EQ(restoration.plan.bytes_changed, 1);
}

TEST(Restoration, KnowsPersonalisedCards) {
  const Backup backup = made("4406");
  Backup present = backup;
  present.is_personalised = true;
  EXPECT_EQ(losses(plan_restoration(backup, present)),
            " 0+0 the card is personalised now, or was then");
}

}  // namespace
}  // namespace quorra::testing
