// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <ostream>
#include <random>

#include "simulator/cards/kinds.hpp"
#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using namespace test::status;
using test::Bytes;
using test::hex;
using test::reply;
using test::request;
using test::ServedBench;
using ::testing::ElementsAreArray;

constexpr std::uint8_t write_memory = 0x60;
constexpr std::uint8_t read_memory = 0x61;
constexpr std::uint8_t present_code = 0x64;
constexpr std::uint8_t write_security = 0x66;
constexpr std::uint8_t present_erase_code = 0x68;
constexpr std::uint8_t carry = 0x70;
constexpr std::uint8_t personalise_4404 = 0x71;
constexpr std::uint8_t personalise = 0x73;
constexpr std::uint8_t erase_memory = 0x76;
constexpr std::uint8_t imitate_fuse = 0x80;

// A command and the reply to it.
struct Step {
  const char* what;
  std::uint8_t command;
  const char* body;
  std::uint8_t status = 0;
  const char* data = "";
};

constexpr Step power_off{"power off", 0xB3, "80 00 00 00 00"};

class SecureReader {
 public:
  explicit SecureReader(std::string_view kind) : reader_(test::with_new_card(folder_, kind)) {}

  Bytes exchange(std::uint8_t command, std::string_view body) {
    return reader_.exchange(request(command, body));
  }
  Bytes exchange(std::string_view frame) { return reader_.exchange(hex(frame)); }
  void play(std::initializer_list<Step> steps) {
    for (const Step& step : steps)
      EXPECT_EQ(exchange(step.command, step.body), reply(step.status, step.data)) << step.what;
  }
  void pull_card() {
    Fault fault;
    fault.kind = FaultKind::pull_card;
    reader_.bench().arm(fault);
  }
  Bytes stored(std::string_view field = "memory") const {
    const Image image = load_image(folder_.path() / "card");
    const auto bytes = image.field(field);
    return {bytes.begin(), bytes.end()};
  }

 private:
  TemporaryFolder folder_;
  ServedBench reader_;
};

TEST(ReaderWith4404, answers_literal_frames_with_literal_frames) {
  SecureReader reader("4404");
  EXPECT_EQ(reader.exchange("AA 61 00 07 7A 00 00 00 00 00 02 B4"), hex("55 00 00 02 81 24 F2"));
  EXPECT_EQ(reader.exchange("AA 64 00 07 7A 00 00 00 00 FF FF B3"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 60 00 07 7A 00 00 00 14 12 34 85"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 76 00 07 7A 00 00 00 14 00 01 B4"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 61 00 07 7A 00 00 00 14 00 02 A0"), hex("55 00 00 02 FF 34 9C"));
  EXPECT_EQ(reader.exchange("AA 68 00 09 7A 00 00 00 00 FF FF FF FF B1"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 80 00 06 7A 00 00 00 00 FF A9"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 71 00 05 7A 00 00 00 00 A4"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.stored("fuse"), hex("00"));
}

TEST(ReaderWith4406, answers_literal_frames_with_literal_frames) {
  SecureReader reader("4406");
  EXPECT_EQ(reader.exchange("AA 64 00 08 7B 00 00 00 00 FF FF FF 42"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 60 00 06 7B 00 00 00 08 7F C0"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 70 00 05 7B 00 00 00 08 AC"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange("AA 61 00 07 7B 00 00 00 08 00 02 BD"), hex("55 00 00 02 7E FF D6"));
}

TEST(ReaderWithZonedCard, answers_literal_frames_with_literal_frames) {
  SecureReader reader102("102");
  EXPECT_EQ(reader102.exchange("AA 64 00 07 72 00 00 00 0A FF FF B1"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader102.exchange("AA 68 00 0B 72 00 01 00 56 FF FF FF FF FF FF EC"),
            hex("55 00 00 00 55"));
  EXPECT_EQ(reader102.exchange("AA 73 00 05 72 00 00 00 C2 6C"), hex("55 00 00 00 55"));

  SecureReader reader1604b("1604b");
  EXPECT_EQ(reader1604b.exchange("AA 64 00 07 73 0B 02 02 1B FF FF AA"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader1604b.exchange("AA 64 00 07 73 0B 00 00 0A FF FF BB"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader1604b.exchange("AA 66 00 07 73 0B 01 02 1B 12 34 8D"), hex("55 00 00 00 55"));
  EXPECT_EQ(reader1604b.exchange("AA 73 00 05 73 0B 00 07 FC 5F"), hex("55 00 00 00 55"));
}

TEST(LifeOf4404, from_new_to_blocked) {
  SecureReader reader("4404");
  reader.play({
      {"identification", read_memory, "7A 00 00 00 00 00 03", 0, "81 24 FF"},
      {"write without code", write_memory, "7A 00 00 00 14 AA", not_written},
      {"erase without code", erase_memory, "7A 00 00 00 14 00 01", not_written},
      {"personalise without code", personalise_4404, "7A 00 00 00 00", not_written},
      {"wrong code", present_code, "7A 00 00 00 00 12 34", wrong_code},
      {"one attempt less", read_memory, "7A 00 00 00 0A 00 01", 0, "EF"},
      {"code", present_code, "7A 00 00 00 00 FF FF"},
      {"all attempts", read_memory, "7A 00 00 00 0A 00 01", 0, "FF"},
      {"write", write_memory, "7A 00 00 00 14 AA 55"},
      {"ones do not come back", write_memory, "7A 00 00 00 14 FF 00", not_written},
      {"but zeros are written", read_memory, "7A 00 00 00 14 00 02", 0, "AA 00"},
      {"erase a byte", erase_memory, "7A 00 00 00 14 00 01"},
      {"just that byte", read_memory, "7A 00 00 00 14 00 02", 0, "FF 00"},
      {"erase the code", erase_memory, "7A 00 00 00 08 00 02"},
      {"new code", write_memory, "7A 00 00 00 08 12 34"},
      {"erase the erase code", erase_memory, "7A 00 00 00 28 00 04"},
      {"new erase code", write_memory, "7A 00 00 00 28 01 02 03 04"},
      {"codes are seen", read_memory, "7A 00 00 00 08 00 02", 0, "12 34"},
      {"erase code is seen", read_memory, "7A 00 00 00 28 00 04", 0, "01 02 03 04"},
      {"imitate the fuse", imitate_fuse, "7A 00 00 00 00 FF"},
      {"code is hidden", read_memory, "7A 00 00 00 08 00 02", 0, "FF FF"},
      {"erase code is hidden", read_memory, "7A 00 00 00 28 00 04", 0, "FF FF FF FF"},
      {"no erasing of bytes", erase_memory, "7A 00 00 00 14 00 01", not_written},
      {"fuse as it is", imitate_fuse, "7A 00 00 00 00 00"},
      {"code is seen again", read_memory, "7A 00 00 00 08 00 02", 0, "12 34"},
      {"hide the zone", write_memory, "7A 00 00 00 0E BF"},
      {"personalise", personalise_4404, "7A 00 00 00 00"},
      {"code is hidden for ever", read_memory, "7A 00 00 00 08 00 02", 0, "FF FF"},
      {"the fuse cannot be unblown", imitate_fuse, "7A 00 00 00 00 00"},
      {"still hidden", read_memory, "7A 00 00 00 08 00 02", 0, "FF FF"},
      {"personalise again", personalise_4404, "7A 00 00 00 00"},
      power_off,
      {"only flags are seen", read_memory, "7A 00 00 00 0E 00 08", 0, "BF FF FF FF FF FF FF FF"},
      {"old code", present_code, "7A 00 00 00 00 FF FF", wrong_code},
      {"code", present_code, "7A 00 00 00 00 12 34"},
      {"zone is seen", read_memory, "7A 00 00 00 14 00 02", 0, "FF 00"},
      {"identification is fixed", write_memory, "7A 00 00 00 00 00", not_written},
      {"wrong erase code", present_erase_code, "7A 00 00 00 00 01 02 03 05", wrong_code},
      {"no erasing", erase_memory, "7A 00 00 00 0D 00 02", not_written},
      {"erase code", present_erase_code, "7A 00 00 00 00 01 02 03 04"},
      {"erase the zone", erase_memory, "7A 00 00 00 0D 00 02"},
      {"whole zone", read_memory, "7A 00 00 00 0D 00 09", 0, "FF BF FF FF FF FF FF FF FF"},
      {"once", read_memory, "7A 00 00 00 2C 00 08", 0, "FE FF FF FF FF FF FF FF"},
      {"nothing to erase", erase_memory, "7A 00 00 00 0D 00 1B"},
      {"still once", read_memory, "7A 00 00 00 2C 00 08", 0, "FE FF FF FF FF FF FF FF"},
      {"erase the code", erase_memory, "7A 00 00 00 08 00 02"},
      {"new code", write_memory, "7A 00 00 00 08 56 78"},
      {"erase the erase code", erase_memory, "7A 00 00 00 28 00 04"},
      {"new erase code", write_memory, "7A 00 00 00 28 AA AA AA AA"},
      power_off,
      {"no write without code", write_memory, "7A 00 00 00 14 00", not_written},
      {"old code", present_code, "7A 00 00 00 00 12 34", wrong_code},
      {"new code", present_code, "7A 00 00 00 00 56 78"},
      {"new erase code", present_erase_code, "7A 00 00 00 00 AA AA AA AA"},
      {"attempt 1", present_code, "7A 00 00 00 00 56 79", wrong_code},
      {"attempt 2", present_code, "7A 00 00 00 00 56 79", wrong_code},
      {"attempt 3", present_code, "7A 00 00 00 00 56 79", wrong_code},
      {"attempt 4", present_code, "7A 00 00 00 00 56 79", wrong_code},
      {"no attempts", read_memory, "7A 00 00 00 0A 00 01", 0, "0F"},
      {"blocked", present_code, "7A 00 00 00 00 56 78", card_blocked},
      power_off,
      {"blocked for ever", present_code, "7A 00 00 00 00 56 78", card_blocked},
      {"no write", write_memory, "7A 00 00 00 14 00", not_written},
  });
}

TEST(LifeOf101, from_new_to_blocked) {
  SecureReader reader("101");
  reader.play({
      {"identification", read_memory, "71 00 00 00 00 00 02", 0, "0F 0F"},
      {"write without code", write_memory, "71 00 00 00 17 AA", not_written},
      {"wrong code", present_code, "71 00 00 00 00 12 34", wrong_code},
      {"one attempt less", read_memory, "71 00 00 00 0C 00 01", 0, "FE"},
      {"code", present_code, "71 00 00 00 00 FF FF"},
      {"all attempts", read_memory, "71 00 00 00 0C 00 01", 0, "FF"},
      {"write", write_memory, "71 00 00 00 17 AA"},
      {"codes are written as such", write_memory, "71 00 00 00 0A 12 34", out_of_range},
      {"new code", write_security, "71 00 00 00 0A 12 34"},
      {"new erase code", write_security, "71 00 00 00 96 01 02 03 04"},
      {"code is seen", read_memory, "71 00 00 00 0A 00 02", 0, "12 34"},
      {"personalise", personalise, "71 00 00 00 00"},
      power_off,
      {"code is hidden", read_memory, "71 00 00 00 0A 00 02", 0, "FF FF"},
      {"code", present_code, "71 00 00 00 00 12 34"},
      {"no erasing", erase_memory, "71 00 00 00 16 00 02", not_written},
      {"erase code", present_erase_code, "71 00 00 00 00 01 02 03 04"},
      {"erase", erase_memory, "71 00 00 00 17 00 01"},
      {"erased", read_memory, "71 00 00 00 16 00 02", 0, "FF FF"},
      {"once", read_memory, "71 00 00 00 9A 00 10", 0,
       "FE FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF"},
      {"write again", write_memory, "71 00 00 00 95 00"},
      {"forbid writing", write_memory, "71 00 00 00 16 7F"},
      {"no write", write_memory, "71 00 00 00 17 00", not_written},
  });
  for (int attempt = 0; attempt < 8; ++attempt)
    reader.play({{"wrong code", present_code, "71 00 00 00 00 00 00", wrong_code}});
  reader.play({{"blocked", present_code, "71 00 00 00 00 12 34", card_blocked}});
}

TEST(LifeOf102, from_new_to_blocked) {
  SecureReader reader("102");
  reader.play({
      {"identification", read_memory, "72 00 00 00 00 00 02", 0, "0F 0F"},
      {"write without code", write_memory, "72 00 01 00 17 AA", not_written},
      {"code", present_code, "72 00 00 00 0A FF FF"},
      {"write zone 1", write_memory, "72 00 01 00 17 AA"},
      {"write zone 2", write_memory, "72 00 02 00 5D BB"},
      {"new erase code 1", write_security, "72 00 01 00 56 01 02 03 04 05 06"},
      {"new erase code 2", write_security, "72 00 02 00 9C 11 12 13 14"},
      {"erase the code", erase_memory, "72 00 00 00 0A 00 02"},
      {"new code", write_security, "72 00 00 00 0A 12 34"},
      {"imitate the fuse", imitate_fuse, "72 00 00 00 00 FF"},
      {"no erasing", erase_memory, "72 00 01 00 17 00 01", not_written},
      power_off,
      {"the imitation is over", present_code, "72 00 00 00 0A 12 34"},
      {"code is seen", read_memory, "72 00 00 00 0A 00 02", 0, "12 34"},
      {"personalise", personalise, "72 00 00 00 C2"},
      power_off,
      {"wrong code", present_code, "72 00 00 00 0A FF FF", wrong_code},
      {"one attempt less", read_memory, "72 00 00 00 0C 00 01", 0, "EF"},
      {"code", present_code, "72 00 00 00 0A 12 34"},
      {"erase code 1", present_erase_code, "72 00 01 00 56 01 02 03 04 05 06"},
      {"zone 2 is not erased", erase_memory, "72 00 02 00 5C 00 01", not_written},
      {"zone 1 is", erase_memory, "72 00 01 00 16 00 40"},
      {"erased", read_memory, "72 00 01 00 16 00 02", 0, "FF FF"},
      {"not counted", read_memory, "72 00 02 00 A0 00 01", 0, "FF"},
      {"wrong erase code 2", present_erase_code, "72 00 02 00 9C 11 12 13 15", wrong_code},
      {"erase code 2", present_erase_code, "72 00 02 00 9C 11 12 13 14"},
      {"erase zone 2", erase_memory, "72 00 02 00 5D 00 01"},
      {"erased", read_memory, "72 00 02 00 5C 00 02", 0, "FF FF"},
      {"counted", read_memory, "72 00 02 00 A0 00 01", 0, "FE"},
      {"wrong code 1", present_code, "72 00 00 00 0A 12 35", wrong_code},
      {"wrong code 2", present_code, "72 00 00 00 0A 12 35", wrong_code},
      {"wrong code 3", present_code, "72 00 00 00 0A 12 35", wrong_code},
      {"wrong code 4", present_code, "72 00 00 00 0A 12 35", wrong_code},
      {"blocked", present_code, "72 00 00 00 0A 12 34", card_blocked},
  });
}

TEST(LifeOf1604, from_new_to_a_second_owner) {
  SecureReader reader("1604");
  reader.play({
      {"identification", read_memory, "73 00 00 00 00 00 02", 0, "31 3A"},
      {"write without code", write_memory, "73 00 02 04 CB 00", not_written},
      {"code 0", present_code, "73 00 00 00 0A FF FF"},
      {"write zone 2", write_memory, "73 00 02 04 CB FF 11 22"},
      {"code 2 is written as such", write_memory, "73 00 01 04 C6 22 22", out_of_range},
      {"new code 2", write_security, "73 00 01 04 C6 22 22"},
      {"new erase code 2", write_security, "73 00 01 04 C8 E2 E2"},
      {"new code 0", write_memory, "73 00 00 00 0A 12 34"},
      {"code 2 is seen", read_memory, "73 00 01 04 C6 00 04", 0, "22 22 E2 E2"},
      {"hide zone 2", write_memory, "73 00 02 04 CB BF"},
      {"personalise", personalise, "73 00 00 07 F4"},
      power_off,
      {"hidden", read_memory, "73 00 02 04 CB 00 03", 0, "BF FF FF"},
      {"code 2 is hidden", read_memory, "73 00 01 04 C6 00 05", 0, "FF FF FF FF FF"},
      {"code 0", present_code, "73 00 00 00 0A 12 34"},
      {"code 0 opens no zone", read_memory, "73 00 02 04 CB 00 03", 0, "BF FF FF"},
      {"and writes none", write_memory, "73 00 02 04 CE 33", not_written},
      {"code 1", present_code, "73 00 01 00 15 FF FF"},
      {"opens zone 1", write_memory, "73 00 01 00 1C 01"},
      {"and no other", write_memory, "73 00 02 04 CE 33", not_written},
  });
  for (int attempt = 0; attempt < 12; ++attempt)
    reader.play({{"wrong code 2", present_code, "73 00 02 04 C6 22 23", wrong_code}});
  reader.play({
      {"code 2", present_code, "73 00 02 04 C6 22 22"},
      {"seen", read_memory, "73 00 02 04 CB 00 03", 0, "BF 11 22"},
      {"write zone 2", write_memory, "73 00 02 04 CE 33"},
      {"no erasing", erase_memory, "73 00 02 04 CE 00 01", not_written},
      {"wrong erase code 2", present_erase_code, "73 00 01 04 C8 E2 E3", wrong_code},
      {"erase code 2", present_erase_code, "73 00 01 04 C8 E2 E2"},
      {"erase zone 2", erase_memory, "73 00 02 04 CE 00 01"},
      {"erased", read_memory, "73 00 02 04 CB 00 04", 0, "BF FF FF FF"},
      {"counted", read_memory, "73 00 01 04 CA 00 01", 0, "FE"},
      {"erase code 2 and its erase code", erase_memory, "73 00 01 04 C6 00 04"},
      {"new ones", write_security, "73 00 01 04 C6 44 44 E4 E4"},
      power_off,
      {"old code 2", present_code, "73 00 02 04 C6 22 22", wrong_code},
      {"new code 2", present_code, "73 00 02 04 C6 44 44"},
      {"new erase code 2", present_erase_code, "73 00 01 04 C8 E4 E4"},
  });
}

TEST(LifeOf1604b, from_new_to_a_blocked_zone) {
  SecureReader reader("1604b");
  reader.play({
      {"identification", read_memory, "73 0B 00 00 00 00 02", 0, "72 55"},
      {"code 0", present_code, "73 0B 00 00 0A FF FF"},
      {"new code 2", write_security, "73 0B 01 02 1B 22 22"},
      {"write zone 4", write_memory, "73 0B 04 06 2E 5A"},
      {"erase zone 4's byte", erase_memory, "73 0B 04 06 2E 00 01"},
      {"personalise", personalise, "73 0B 00 07 FC"},
      power_off,
      {"wrong code 2", present_code, "73 0B 02 02 1B 00 00", wrong_code},
      {"one attempt less", read_memory, "73 0B 01 02 1D 00 01", 0, "FE"},
      {"code 2", present_code, "73 0B 02 02 1B 22 22"},
      {"all attempts", read_memory, "73 0B 01 02 1D 00 01", 0, "FF"},
      {"write zone 2", write_memory, "73 0B 02 02 22 01"},
  });
  for (int attempt = 0; attempt < 8; ++attempt)
    reader.play({{"wrong code 2", present_code, "73 0B 02 02 1B 22 23", wrong_code}});
  reader.play({
      {"code 2 is blocked", present_code, "73 0B 02 02 1B 22 22", card_blocked},
      {"zone 2 is closed", write_memory, "73 0B 02 02 23 01", not_written},
      {"code 3 is not blocked", present_code, "73 0B 03 04 21 FF FF"},
      {"zone 3 is open", write_memory, "73 0B 03 04 28 01"},
  });
}

TEST(LifeOf4406, from_new_to_spent) {
  SecureReader reader("4406");
  reader.play({
      {"identification", read_memory, "7B 00 00 00 00 00 03", 0, "98 20 FF"},
      {"code is hidden", read_memory, "7B 00 00 00 0A 00 03", 0, "00 00 00"},
      {"write without code", write_memory, "7B 00 00 00 03 01", not_written},
      {"no units yet", carry, "7B 00 00 00 09", not_written},
      {"wrong code", present_code, "7B 00 00 00 00 01 02 03", wrong_code},
      {"one attempt less", read_memory, "7B 00 00 00 09 00 01", 0, "FE"},
      {"code", present_code, "7B 00 00 00 00 FF FF FF"},
      {"all attempts, and the code", read_memory, "7B 00 00 00 09 00 04", 0, "FF FF FF FF"},
      {"write", write_memory, "7B 00 00 00 03 01 02 03 04 05"},
      {"identification is fixed", write_memory, "7B 00 00 00 00 00", not_written},
      {"new code", write_memory, "7B 00 00 00 0A 0F 01 00"},
      {"nothing is erased", write_memory, "7B 00 00 00 0A FF", not_written},
      {"still no units", carry, "7B 00 00 00 0A", not_written},
      {"nothing spent", read_memory, "7B 00 00 00 08 00 05", 0, "FF FF 0F 01 00"},
      power_off,
      {"old code", present_code, "7B 00 00 00 00 FF FF FF", wrong_code},
      {"new code", present_code, "7B 00 00 00 00 0F 01 00"},
      {"personalise", write_memory, "7B 00 00 00 08 7F"},
      {"no code any more", present_code, "7B 00 00 00 00 0F 01 00", card_blocked},
      {"the stages", read_memory, "7B 00 00 00 08 00 05", 0, "7F FF 0F 01 00"},
      {"card data is fixed", write_memory, "7B 00 00 00 03 00", not_written},
      {"carry into stage 12", carry, "7B 00 00 00 0B"},
      {"carried", read_memory, "7B 00 00 00 08 00 05", 0, "7F FF 0F 00 FF"},
      {"stage 11 is empty", carry, "7B 00 00 00 0B", not_written},
      {"carry into stage 11", carry, "7B 00 00 00 0A"},
      {"carried", read_memory, "7B 00 00 00 08 00 05", 0, "7F FF 0E FF FF"},
      {"spend units", write_memory, "7B 00 00 00 0C 3F"},
      {"units do not come back", write_memory, "7B 00 00 00 0C 7F", not_written},
      {"personalisation neither", write_memory, "7B 00 00 00 08 FF", not_written},
      {"carry from the highest stage", carry, "7B 00 00 00 08"},
      {"the rest", read_memory, "7B 00 00 00 08 00 05", 0, "7E FF 0E FF 3F"},
      {"no carry from the lowest stage", carry, "7B 00 00 00 0C", out_of_range},
      {"nor from other bytes", carry, "7B 00 00 00 07", out_of_range},
      {"spend the lowest stage", write_memory, "7B 00 00 00 08 00 00 00 00 00"},
      {"nothing is left", carry, "7B 00 00 00 08", not_written},
  });
}

struct Refusal {
  const char* kind;
  std::uint8_t command;
  const char* body;
  std::uint8_t status;
};

std::ostream& operator<<(std::ostream& stream, const Refusal& refusal) {
  return stream << fmt::format("{} {:02X} {}", refusal.kind, refusal.command, refusal.body);
}

// Each bound from both sides. Nothing was presented, so what lies inside is not_written.
constexpr std::array refusals{
    Refusal{"4404", read_memory, "7A 00 00 00 33 00 02", out_of_range},
    Refusal{"4404", read_memory, "7A 00 00 00 34 00 01", out_of_range},
    Refusal{"4404", read_memory, "7A 00 00 00 00 00 00", out_of_range},
    Refusal{"4404", read_memory, "7A 00 00 01 00 00 01", out_of_range},
    Refusal{"4404", read_memory, "7A 00 00 00 00 00", wrong_body_length},
    Refusal{"4404", write_memory, "7A 00 00 00 33 00", not_written},
    Refusal{"4404", write_memory, "7A 00 00 00 33 00 00", out_of_range},
    Refusal{"4404", write_memory, "7A 00 00 00 00", wrong_body_length},
    Refusal{"4404", erase_memory, "7A 00 00 00 33 00 01", not_written},
    Refusal{"4404", erase_memory, "7A 00 00 00 33 00 02", out_of_range},
    Refusal{"4404", erase_memory, "7A 00 00 00 33 00 00", out_of_range},
    Refusal{"4404", present_code, "7A 00 00 00 00 FF", wrong_body_length},
    Refusal{"4404", present_code, "7A 00 00 00 00 FF FF FF", wrong_body_length},
    Refusal{"4404", present_code, "7A 00 00 00 08 FF FF", out_of_range},
    Refusal{"4404", present_erase_code, "7A 00 00 00 00 FF FF", wrong_body_length},
    Refusal{"4404", personalise_4404, "7A 00 00 00 01", out_of_range},
    Refusal{"4404", personalise_4404, "7A 00 00 00 00 00", wrong_body_length},
    Refusal{"4404", imitate_fuse, "7A 00 00 00 00 01", out_of_range},
    Refusal{"4404", imitate_fuse, "7A 00 00 00 00", wrong_body_length},
    Refusal{"4404", write_security, "7A 00 00 00 08 00", unknown_card_type},
    Refusal{"4404", personalise, "7A 00 00 00 00", unknown_card_type},
    Refusal{"4404", carry, "7A 00 00 00 08", unknown_card_type},

    Refusal{"4406", read_memory, "7B 00 00 00 0C 00 02", out_of_range},
    Refusal{"4406", write_memory, "7B 00 00 00 0C 00", not_written},
    Refusal{"4406", write_memory, "7B 00 00 00 0D 00", out_of_range},
    Refusal{"4406", present_code, "7B 00 00 00 00 FF FF", wrong_body_length},
    Refusal{"4406", erase_memory, "7B 00 00 00 09 00 01", unknown_card_type},
    Refusal{"4406", imitate_fuse, "7B 00 00 00 00 FF", unknown_card_type},
    Refusal{"4406", personalise_4404, "7B 00 00 00 00", unknown_card_type},

    Refusal{"101", read_memory, "71 00 00 00 AB 00 02", out_of_range},
    Refusal{"101", write_memory, "71 00 00 00 AB 00", not_written},
    Refusal{"101", write_memory, "71 00 00 00 AC 00", out_of_range},
    Refusal{"101", write_memory, "71 00 00 00 09 00", not_written},
    Refusal{"101", write_memory, "71 00 00 00 09 00 00", out_of_range},
    Refusal{"101", write_memory, "71 00 00 00 0B 00", out_of_range},
    Refusal{"101", write_memory, "71 00 00 00 0C 0F", 0},
    Refusal{"101", write_memory, "71 00 00 00 95 00", not_written},
    Refusal{"101", write_memory, "71 00 00 00 96 00", out_of_range},
    Refusal{"101", write_memory, "71 00 00 00 99 00", out_of_range},
    Refusal{"101", write_memory, "71 00 00 00 9A 00", not_written},
    Refusal{"101", write_security, "71 00 00 00 0A 00 00", not_written},
    Refusal{"101", write_security, "71 00 00 00 AB 00 00", out_of_range},
    Refusal{"101", erase_memory, "71 00 00 00 AB 00 02", out_of_range},
    Refusal{"101", present_code, "71 00 00 00 0A FF FF", out_of_range},
    Refusal{"101", present_erase_code, "71 00 00 00 00 FF FF FF FF FF FF", wrong_body_length},
    Refusal{"101", personalise, "71 00 00 00 C2", out_of_range},
    Refusal{"101", personalise_4404, "71 00 00 00 00", unknown_card_type},

    Refusal{"102", read_memory, "72 00 02 00 B1 00 02", out_of_range},
    Refusal{"102", write_memory, "72 00 02 00 B1 00", not_written},
    Refusal{"102", write_memory, "72 00 02 00 B2 00", out_of_range},
    Refusal{"102", write_memory, "72 00 01 00 55 00", not_written},
    Refusal{"102", write_memory, "72 00 01 00 55 00 00", out_of_range},
    Refusal{"102", write_memory, "72 00 01 00 5B 00", out_of_range},
    Refusal{"102", write_memory, "72 00 02 00 5C 00", not_written},
    Refusal{"102", write_memory, "72 00 02 00 9B 00 00", out_of_range},
    Refusal{"102", write_memory, "72 00 02 00 9F 00", out_of_range},
    Refusal{"102", write_memory, "72 00 02 00 A0 00", not_written},
    Refusal{"102", present_code, "72 00 00 00 00 FF FF", out_of_range},
    Refusal{"102", present_code, "72 00 01 00 0A FF FF", out_of_range},
    Refusal{"102", present_erase_code, "72 00 02 00 56 FF FF FF FF FF FF", out_of_range},
    Refusal{"102", present_erase_code, "72 00 01 00 56 FF FF FF FF", wrong_body_length},
    Refusal{"102", present_erase_code, "72 00 01 00 56 FF FF FF FF FF FF FF", wrong_body_length},
    Refusal{"102", present_erase_code, "72 00 01 00 56 FF", wrong_body_length},
    Refusal{"102", personalise, "72 00 00 00 00", out_of_range},

    Refusal{"1604", read_memory, "73 01 00 00 00 00 02", out_of_range},
    Refusal{"1604", read_memory, "73 00 04 07 D6 00 02", out_of_range},
    Refusal{"1604", write_memory, "73 00 04 07 D6 00", not_written},
    Refusal{"1604", write_memory, "73 00 04 07 D7 00", out_of_range},
    Refusal{"1604", write_memory, "73 00 00 00 14 00", not_written},
    Refusal{"1604", write_memory, "73 00 00 00 14 00 00", out_of_range},
    Refusal{"1604", write_memory, "73 00 00 00 1A 00", out_of_range},
    Refusal{"1604", write_memory, "73 00 01 00 1B 00", not_written},
    Refusal{"1604", write_memory, "73 00 01 04 C5 00", not_written},
    Refusal{"1604", write_memory, "73 00 01 04 C5 00 00", out_of_range},
    Refusal{"1604", write_memory, "73 00 01 04 CA 00", out_of_range},
    Refusal{"1604", write_memory, "73 00 02 05 CA 00 00", out_of_range},
    Refusal{"1604", write_memory, "73 00 02 05 CF 00", out_of_range},
    Refusal{"1604", write_memory, "73 00 03 06 CF 00 00", out_of_range},
    Refusal{"1604", write_memory, "73 00 03 06 D4 00", out_of_range},
    Refusal{"1604", write_memory, "73 00 04 06 D5 00", not_written},
    Refusal{"1604", write_memory, "73 02 00 00 02 00", out_of_range},
    Refusal{"1604", write_security, "73 02 00 00 02 00", out_of_range},
    Refusal{"1604", erase_memory, "73 02 00 00 02 00 01", out_of_range},
    Refusal{"1604", imitate_fuse, "73 02 00 00 00 FF", out_of_range},
    Refusal{"1604", present_code, "73 02 00 00 0A FF FF", out_of_range},
    Refusal{"1604", present_code, "73 00 01 04 C6 FF FF", out_of_range},
    Refusal{"1604", present_erase_code, "73 02 00 00 18 FF FF", out_of_range},
    Refusal{"1604", present_erase_code, "73 00 00 00 00 FF FF", out_of_range},
    Refusal{"1604", present_erase_code, "73 00 02 04 C8 FF FF", out_of_range},
    Refusal{"1604", personalise, "73 00 00 07 FC", out_of_range},
    Refusal{"1604", personalise, "73 02 00 07 F4", out_of_range},

    Refusal{"1604b", read_memory, "73 0B 04 07 F9 00 02", out_of_range},
    Refusal{"1604b", write_memory, "73 0B 04 07 F5 00", not_written},
    Refusal{"1604b", write_memory, "73 0B 04 07 F6 00", out_of_range},
    Refusal{"1604b", write_security, "73 0B 04 07 F6 00", not_written},
    Refusal{"1604b", write_security, "73 0B 04 07 F9 00 00", out_of_range},
    Refusal{"1604b", write_memory, "73 0B 01 02 1A 00 00", out_of_range},
    Refusal{"1604b", write_memory, "73 0B 01 02 20 00", out_of_range},
    Refusal{"1604b", write_memory, "73 0B 02 02 21 00", not_written},
    Refusal{"1604b", write_memory, "73 0B 02 04 20 00 00", out_of_range},
    Refusal{"1604b", write_memory, "73 0B 02 04 26 00", out_of_range},
    Refusal{"1604b", write_memory, "73 0B 03 06 26 00 00", out_of_range},
    Refusal{"1604b", write_memory, "73 0B 03 06 2C 00", out_of_range},
    Refusal{"1604b", write_memory, "73 0B 04 07 F9 00", out_of_range},
    Refusal{"1604b", write_memory, "73 0B 04 06 2D 00", not_written},
    Refusal{"1604b", personalise, "73 0B 00 07 F4", out_of_range},
};

TEST(ReaderWithSecurityMemory, refuses_what_is_out_of_range_or_closed) {
  for (const auto* const kind : {"4404", "4406", "101", "102", "1604", "1604b"}) {
    SecureReader reader(kind);
    for (const Refusal& refusal : refusals)
      if (refusal.kind == std::string_view(kind)) {
        EXPECT_EQ(reader.exchange(refusal.command, refusal.body), reply(refusal.status)) << refusal;
      }
  }
}

struct CodePlace {
  const char* kind;
  std::uint8_t command;
  const char* body;
  bool has_attempts = false;
};

// All codes of new cards.
constexpr std::array code_places{
    CodePlace{"4404", present_code, "7A 00 00 00 00 FF FF", true},
    CodePlace{"4404", present_erase_code, "7A 00 00 00 00 FF FF FF FF"},
    CodePlace{"4406", present_code, "7B 00 00 00 00 FF FF FF", true},
    CodePlace{"101", present_code, "71 00 00 00 00 FF FF", true},
    CodePlace{"101", present_erase_code, "71 00 00 00 00 FF FF FF FF"},
    CodePlace{"102", present_code, "72 00 00 00 0A FF FF", true},
    CodePlace{"102", present_erase_code, "72 00 01 00 56 FF FF FF FF FF FF"},
    CodePlace{"102", present_erase_code, "72 00 02 00 9C FF FF FF FF"},
    CodePlace{"1604", present_code, "73 00 00 00 0A FF FF", true},
    CodePlace{"1604", present_code, "73 00 01 00 15 FF FF", true},
    CodePlace{"1604", present_code, "73 00 02 04 C6 FF FF"},
    CodePlace{"1604", present_code, "73 00 03 05 CB FF FF"},
    CodePlace{"1604", present_code, "73 00 04 06 D0 FF FF"},
    CodePlace{"1604", present_erase_code, "73 00 00 00 18 FF FF"},
    CodePlace{"1604", present_erase_code, "73 00 01 04 C8 FF FF"},
    CodePlace{"1604", present_erase_code, "73 00 02 05 CD FF FF"},
    CodePlace{"1604", present_erase_code, "73 00 03 06 D2 FF FF"},
    CodePlace{"1604b", present_code, "73 0B 00 00 0A FF FF", true},
    CodePlace{"1604b", present_code, "73 0B 01 00 15 FF FF", true},
    CodePlace{"1604b", present_code, "73 0B 02 02 1B FF FF", true},
    CodePlace{"1604b", present_code, "73 0B 03 04 21 FF FF", true},
    CodePlace{"1604b", present_code, "73 0B 04 06 27 FF FF", true},
    CodePlace{"1604b", present_erase_code, "73 0B 00 00 18 FF FF"},
    CodePlace{"1604b", present_erase_code, "73 0B 01 02 1E FF FF"},
    CodePlace{"1604b", present_erase_code, "73 0B 02 04 24 FF FF"},
    CodePlace{"1604b", present_erase_code, "73 0B 03 06 2A FF FF"},
};

TEST(ReaderWithSecurityMemory, finds_each_code) {
  for (const CodePlace& place : code_places) {
    SecureReader reader(place.kind);
    Bytes wrong = hex(place.body);
    wrong.back() = 0xFE;
    EXPECT_EQ(reader.exchange(place.command, to_hex(wrong)), reply(wrong_code)) << place.body;
    EXPECT_EQ(reader.exchange(place.command, place.body), reply(0)) << place.body;
    const Bytes memory = reader.stored();
    EXPECT_EQ(std::ranges::count_if(std::span(memory).subspan(2),
                                    [](std::uint8_t byte) { return byte != 0xFF; }),
              0)
        << place.body;
  }
}

struct Type {
  const char* kind;
  const char* body;
  const char* code;
  std::uint8_t write_command;
  std::size_t size;
};

std::ostream& operator<<(std::ostream& stream, const Type& type) { return stream << type.kind; }

class IssuersCard : public ::testing::TestWithParam<Type> {
 protected:
  IssuersCard() {
    EXPECT_EQ(reader.exchange(present_code, fmt::format("{} {}", GetParam().body, GetParam().code)),
              reply(0));
  }
  static std::string body(std::size_t address, std::string_view rest) {
    return fmt::format("{} 00 {:04X} {}", GetParam().body, address, rest);
  }
  Bytes read(std::size_t address, std::size_t count) {
    return reader.exchange(read_memory, body(address, fmt::format("00{:02X}", count)));
  }
  Bytes write(std::size_t address, const Bytes& data) {
    return reader.exchange(GetParam().write_command, body(address, to_hex(data)));
  }
  Bytes erase(std::size_t address, std::size_t count) {
    return reader.exchange(erase_memory, body(address, fmt::format("00{:02X}", count)));
  }

  SecureReader reader{GetParam().kind};
};

INSTANTIATE_TEST_SUITE_P(
    All, IssuersCard,
    ::testing::Values(Type{"4404", "7A 00", "00 00 00 FF FF", write_memory, 52},
                      Type{"101", "71 00", "00 00 00 FF FF", write_security, 172},
                      Type{"102", "72 00", "00 00 0A FF FF", write_security, 178},
                      Type{"1604", "73 00", "00 00 0A FF FF", write_security, 2007},
                      Type{"1604b", "73 0B", "00 00 0A FF FF", write_security, 2042}),
    [](const auto& tested) { return std::string(tested.param.kind); });

// Writing makes zeros, erasing makes ones, byte by byte.
TEST_P(IssuersCard, is_a_plain_array_of_bits) {
  const std::size_t size = GetParam().size;
  Bytes expected = reader.stored();
  std::mt19937 random(static_cast<unsigned>(size));
  for (int operation = 0; operation < 200; ++operation) {
    const std::size_t address = random() % size;
    const std::size_t count = 1 + random() % std::min<std::size_t>(size - address, 144);
    const auto cells = std::span(expected).subspan(address, count);
    switch (random() % 4) {
      case 0:
        ASSERT_EQ(erase(address, count), reply(0)) << address << ' ' << count;
        std::ranges::fill(cells, std::uint8_t{0xFF});
        break;
      case 1: {
        Bytes data(count);
        std::ranges::generate(data, [&random] { return static_cast<std::uint8_t>(random()); });
        bool is_possible = true;
        for (std::size_t i = 0; i < count; ++i) {
          if ((data[i] & ~cells[i]) != 0) is_possible = false;
          cells[i] &= data[i];
        }
        ASSERT_EQ(write(address, data), reply(is_possible ? 0 : not_written))
            << address << ' ' << count;
        break;
      }
      default:
        ASSERT_EQ(read(address, count), reply(0, to_hex(cells))) << address << ' ' << count;
    }
  }
  EXPECT_THAT(reader.stored(), ElementsAreArray(expected));
}

TEST_P(IssuersCard, is_whole_when_it_leaves_in_the_middle_of_a_command) {
  Bytes expected = reader.stored();
  reader.pull_card();
  EXPECT_EQ(write(44, hex("00 00 00 00")), reply(no_card));
  expected[44] = expected[45] = 0;
  EXPECT_EQ(reader.stored(), expected);
}

TEST(ReaderWithSecurityMemory, loses_the_card_in_the_middle_of_an_erasure) {
  SecureReader reader("4404");
  reader.play({{"code", present_code, "7A 00 00 00 00 FF FF"},
               {"write", write_memory, "7A 00 00 00 14 01 02 03 04"}});
  reader.pull_card();
  EXPECT_EQ(reader.exchange(erase_memory, "7A 00 00 00 14 00 04"), reply(no_card));
  const Bytes memory = reader.stored();
  EXPECT_EQ(Bytes(memory.begin() + 20, memory.begin() + 24), hex("FF FF 03 04"));
}

TEST(ReaderWithSecurityMemory, loses_the_card_before_an_attempt_is_spent) {
  SecureReader reader("4404");
  reader.pull_card();
  EXPECT_EQ(reader.exchange(present_code, "7A 00 00 00 00 12 34"), reply(no_card));
  EXPECT_EQ(reader.stored()[10], 0xFF);
}

TEST(ReaderWithSecurityMemory, loses_the_card_before_the_fuse_is_blown) {
  SecureReader reader("101");
  reader.play({{"code", present_code, "71 00 00 00 00 FF FF"}});
  reader.pull_card();
  EXPECT_EQ(reader.exchange(personalise, "71 00 00 00 00"), reply(no_card));
  EXPECT_EQ(reader.stored("fuse"), hex("01"));
}

TEST(ReaderWithSecurityMemory, loses_a_4406_before_a_unit_is_spent) {
  SecureReader reader("4406");
  reader.play({{"code", present_code, "7B 00 00 00 00 FF FF FF"},
               {"personalise", write_memory, "7B 00 00 00 08 7F"}});
  reader.pull_card();
  EXPECT_EQ(reader.exchange(carry, "7B 00 00 00 09"), reply(no_card));
  EXPECT_EQ(reader.stored()[9], 0xFF);
}

// Five stages; a unit of one is worth all units of the next.
TEST(ReaderWithSecurityMemory, counts_units_of_a_4406_as_a_model_does) {
  SecureReader reader("4406");
  reader.play({{"code", present_code, "7B 00 00 00 00 FF FF FF"},
               {"personalise", write_memory, "7B 00 00 00 08 7F"}});
  Bytes stages = hex("7F FF FF FF FF");
  std::mt19937 random(4406);
  for (int operation = 0; operation < 300; ++operation) {
    const std::size_t stage = random() % 5;
    const std::string place = fmt::format("7B 00 00 00 {:02X}", 8 + stage);
    if (random() % 2 == 0) {
      const auto units = static_cast<std::uint8_t>(random() | random());
      const bool is_possible = (units & ~stages[stage]) == 0;
      stages[stage] &= units;
      ASSERT_EQ(reader.exchange(write_memory, fmt::format("{} {:02X}", place, units)),
                reply(is_possible ? 0 : not_written));
    } else if (stage < 4) {
      const bool is_possible = stages[stage] != 0;
      if (is_possible) {
        stages[stage] &= static_cast<std::uint8_t>(stages[stage] - 1);
        stages[stage + 1] = 0xFF;
      }
      ASSERT_EQ(reader.exchange(carry, place), reply(is_possible ? 0 : not_written));
    }
    ASSERT_EQ(reader.exchange(read_memory, "7B 00 00 00 08 00 05"), reply(0, to_hex(stages)));
  }
}

TEST(ReaderWithSecurityMemory, accepts_a_101_as_a_102) {
  SecureReader reader("101");
  reader.play({
      {"identification", read_memory, "72 00 00 00 00 00 02", 0, "0F 0F"},
      {"the code is in the same place", present_code, "72 00 00 00 0A FF FF"},
      {"another card type costs the power", write_memory, "71 00 00 00 17 00", not_written},
  });
}

TEST(ReaderWithSecurityMemory, tells_variants_of_a_type_apart_by_their_places) {
  SecureReader reader("1604b");
  reader.play({
      {"identification", read_memory, "73 00 00 00 00 00 02", 0, "72 55"},
      {"code 0 is in the same place", present_code, "73 00 00 00 0A FF FF"},
      {"code 2 of a 1604 is no code here", present_code, "73 00 02 04 C6 FF FF", wrong_code},
      {"power stays for the other variant", write_memory, "73 0B 01 00 1C 00"},
  });
}

TEST(ReaderWithAnotherCard, opens_no_security_memory) {
  for (const auto* const kind : {"4442", "4428", "45d041", "24c02", "24c64", "93c46a", "93c46"}) {
    SecureReader reader(kind);
    const Bytes before = reader.stored();
    for (const CodePlace& place : code_places)
      EXPECT_EQ(reader.exchange(place.command, place.body),
                reply(place.has_attempts ? no_answer : wrong_code))
          << kind << ' ' << place.body;
    EXPECT_EQ(reader.stored(), before) << kind;
  }
}

TEST(ReaderWithSecurityMemory, is_no_card_of_another_family) {
  for (const auto* const kind : {"4404", "4406", "101", "102", "1604", "1604b"}) {
    SecureReader reader(kind);
    const Bytes before = reader.stored();
    EXPECT_EQ(reader.exchange(0x61, "61 00 00 00 00 00 01"), reply(no_answer)) << kind;
    EXPECT_EQ(reader.exchange(0x62, "61 00 00 00 00 00"), reply(no_answer)) << kind;
    EXPECT_EQ(reader.exchange(0x60, "69 00 00 00 00 00"), reply(no_answer)) << kind;
    EXPECT_EQ(reader.exchange(0x60, "79 00 00 00 20 12 34 56"), reply(not_written)) << kind;
    EXPECT_EQ(reader.exchange(0x77, "6E 00 00 00 00"), reply(0, "FF")) << kind;
    EXPECT_EQ(reader.stored(), before) << kind;
  }
}

TEST(ReaderWithoutCard, opens_nothing) {
  ServedBench reader;
  for (const CodePlace& place : code_places)
    EXPECT_EQ(reader.exchange(request(place.command, place.body)), reply(no_card)) << place.body;
}

}  // namespace
}  // namespace quorra::simulator
