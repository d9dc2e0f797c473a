// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/firmware.hpp"

#include <fmt/core.h>
#include <gtest/gtest.h>

#include <ostream>

#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using namespace std::chrono_literals;
using namespace test::status;
using test::Bytes;
using test::hex;
using test::joined;
using test::new_card;
using test::reply;
using test::request;
using test::ServedBench;

const Bytes read_version = request(0xB0, "80 00 00 00 00 00 0A");
const Bytes version = reply(0, "4B 57 53 50 43 2D 56 49 52 54");

class EmptyReader : public ::testing::Test {
 protected:
  ServedBench reader;
};

class ReaderWithCard : public ::testing::Test {
 protected:
  static Options with_card(const std::filesystem::path& file) {
    Options options;
    options.card = file;
    return options;
  }
  Bytes exchange(std::uint8_t command, std::string_view body) {
    return reader.exchange(request(command, body));
  }
  Bytes present(std::string_view code) {
    return exchange(0x64, "79 00 00 00 00 " + std::string(code));
  }
  // The bytes that the image file holds.
  Bytes stored(std::string_view field) const {
    const Image image = load_image(file);
    const auto bytes = image.field(field);
    return {bytes.begin(), bytes.end()};
  }

  TemporaryFolder folder;
  std::filesystem::path file = new_card(folder, "4442");
  ServedBench reader{with_card(file)};
};

TEST_F(EmptyReader, answers_a_literal_frame_with_a_literal_frame) {
  EXPECT_EQ(reader.exchange(hex("AA B0 00 07 80 00 00 00 00 00 0A 97")),
            hex("55 00 00 0A 4B 57 53 50 43 2D 56 49 52 54 37"));
}

TEST_F(EmptyReader, tells_its_version_in_two_lengths) {
  EXPECT_EQ(reader.exchange(read_version), version);
  EXPECT_EQ(reader.exchange(request(0xB0, "80 00 00 00 00 00 12")),
            reply(0, "4B 57 53 50 43 2D 56 49 52 54 55 41 4C 20 56 31 2E 30"));
  EXPECT_EQ(reader.exchange(request(0xB0, "80 00 00 00 00 00 0B")), reply(out_of_range));
}

TEST(Reader, tells_a_version_text_of_its_own) {
  Options options;
  options.version_text = "abc";
  ServedBench reader(options);
  EXPECT_EQ(reader.exchange(read_version), reply(0, "61 62 63"));
}

TEST_F(EmptyReader, reads_its_memory) {
  EXPECT_EQ(reader.exchange(request(0xB7, "80 00 00 01 90 00 10")),
            reply(0, "56 49 52 54 55 41 4C 2D 30 30 30 30 30 30 30 31"));
  EXPECT_EQ(reader.exchange(request(0xB7, "80 00 00 01 80 00 09")),
            reply(0, "04 00 FF FF FF 00 00 00 00"));
  EXPECT_EQ(reader.exchange(request(0xB7, "80 00 00 00 00 00 02")), reply(0, "FF FF"));
  EXPECT_EQ(reader.exchange(request(0xB7, "80 00 00 01 9F 00 01")), reply(0, "31"));
}

TEST_F(EmptyReader, reads_no_memory_it_has_not) {
  EXPECT_EQ(reader.exchange(request(0xB7, "80 00 00 01 9F 00 02")), reply(out_of_range));
  EXPECT_EQ(reader.exchange(request(0xB7, "80 00 00 FF FF 00 01")), reply(out_of_range));
  EXPECT_EQ(reader.exchange(request(0xB7, "80 00 00 00 00 00 00")), reply(out_of_range));
}

TEST(Reader, keeps_the_code_of_its_speed_in_its_memory) {
  const std::pair<unsigned, const char*> codes[] = {{1200, "01"},  {2400, "02"},  {4800, "03"},
                                                    {9600, "04"},  {19200, "05"}, {38400, "07"},
                                                    {57600, "04"}, {115200, "04"}};
  for (const auto& [speed, code] : codes) {
    const ReaderMemory memory = new_reader_memory(speed, "0123456789ABCDEF");
    EXPECT_EQ(memory[0x180], hex(code)[0]) << speed;
  }
}

TEST_F(EmptyReader, sounds_its_buzzer) {
  EXPECT_EQ(reader.exchange(request(0xB4, "80 00 00 00 00 00 FF")), reply(0));
}

TEST_F(EmptyReader, misses_the_card) {
  EXPECT_EQ(reader.exchange(request(0xB9, "80 00 00 00 00")), reply(0, "00"));
  EXPECT_EQ(reader.exchange(request(0xB2, "80 00 00 00 00")), reply(no_card));
  EXPECT_EQ(reader.exchange(request(0xB3, "80 00 00 00 00")), reply(0));
  EXPECT_EQ(reader.exchange(request(0xB8, "80 00 00 00 00")), reply(no_card));
  EXPECT_EQ(reader.exchange(request(0x61, "79 00 00 00 00 00 01")), reply(no_card));
}

TEST_F(EmptyReader, refuses_a_wrong_check_byte) {
  EXPECT_EQ(reader.exchange(hex("AA B0 00 07 80 00 00 00 00 00 0A 96")), hex("55 11 00 00 44"));
  Bytes wrong = read_version;
  wrong.back() ^= 0x80U;
  EXPECT_EQ(reader.exchange(wrong), reply(wrong_check_byte));
  EXPECT_EQ(reader.exchange(read_version), version);
}

TEST_F(EmptyReader, refuses_what_it_does_not_know) {
  EXPECT_EQ(reader.exchange(request(0x01, "80 00 00 00 00")), reply(unknown_command));
  EXPECT_EQ(reader.exchange(request(0x01, "")), reply(unknown_command));
  EXPECT_EQ(reader.exchange(request(0x61, "5F 00 00 00 00 00 01")), reply(unknown_card_type));
  EXPECT_EQ(reader.exchange(request(0x61, "80 00 00 00 00 00 01")), reply(unknown_card_type));
  EXPECT_EQ(reader.exchange(request(0xB9, "79 00 00 00 00")), reply(unknown_card_type));
}

TEST_F(EmptyReader, skips_noise_before_a_request) {
  EXPECT_EQ(reader.exchange(joined({hex("00 55 FF"), read_version})), version);
}

TEST_F(EmptyReader, takes_a_request_in_pieces) {
  const std::span<const std::uint8_t> whole = read_version;
  for (std::size_t i = 0; i + 1 < whole.size(); ++i) {
    reader.send(whole.subspan(i, 1));
    reader.pass(900ms);
  }
  EXPECT_EQ(reader.bench().state().exchanges, 0U);
  EXPECT_EQ(reader.exchange(whole.last(1)), version);
}

TEST_F(EmptyReader, takes_requests_that_are_glued_together) {
  const Bytes read_status = request(0xB9, "80 00 00 00 00");
  EXPECT_EQ(reader.exchange(joined({read_version, read_status, read_version})), version);
  EXPECT_EQ(reader.host().receive_reply(), reply(0, "00"));
  EXPECT_EQ(reader.host().receive_reply(), version);
}

TEST_F(EmptyReader, forgets_a_request_that_stalls) {
  reader.send(std::span(read_version).first(6));
  reader.pass(1001ms);
  EXPECT_EQ(reader.exchange(read_version), version);
  EXPECT_EQ(reader.bench().state().exchanges, 1U);
}

// Each command, with a body of every length that is not its own.
struct LengthCase {
  std::uint8_t command;
  std::uint8_t type;
  std::size_t least;
  std::size_t most;
};

std::ostream& operator<<(std::ostream& stream, const LengthCase& tested) {
  return stream << fmt::format("{:02X}", tested.command);
}

class BodyLengths : public ::testing::TestWithParam<LengthCase> {};

TEST_P(BodyLengths, must_be_right) {
  const auto [command, type, least, most] = GetParam();
  ServedBench reader;
  for (std::size_t length = 0; length <= 12; ++length) {
    Bytes frame{0xAA, command, 0x00, static_cast<std::uint8_t>(length)};
    frame.resize(4 + length, 0);
    if (length > 0) frame[4] = type;
    std::uint8_t check = 0;
    for (const std::uint8_t byte : frame)
      check ^= byte;
    frame.push_back(check);
    const Bytes answer = reader.exchange(frame);
    if (length < least || length > most) {
      EXPECT_EQ(answer, reply(wrong_body_length)) << "length " << length;
    } else {
      EXPECT_NE(answer, reply(wrong_body_length)) << "length " << length;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Commands, BodyLengths,
    ::testing::Values(LengthCase{0xB0, 0x80, 7, 7}, LengthCase{0xB2, 0x80, 5, 5},
                      LengthCase{0xB3, 0x80, 5, 5}, LengthCase{0xB4, 0x80, 7, 7},
                      LengthCase{0xB7, 0x80, 7, 7}, LengthCase{0xB8, 0x80, 5, 5},
                      LengthCase{0xB9, 0x80, 5, 5}, LengthCase{0x60, 0x79, 6, 255},
                      LengthCase{0x61, 0x79, 7, 7}, LengthCase{0x64, 0x79, 8, 8},
                      LengthCase{0x65, 0x79, 7, 7}, LengthCase{0x66, 0x79, 8, 8},
                      LengthCase{0x67, 0x79, 7, 7}, LengthCase{0x74, 0x79, 7, 7},
                      LengthCase{0x75, 0x79, 6, 255}));

TEST_F(ReaderWithCard, reads_the_card) {
  EXPECT_EQ(reader.exchange(hex("AA 61 00 07 79 00 00 00 00 00 08 BD")),
            hex("55 00 00 08 A2 13 10 91 FF FF 81 15 F9"));
  EXPECT_EQ(exchange(0x61, "79 00 00 00 FF 00 01"), reply(0, "FF"));
}

TEST_F(ReaderWithCard, reads_nothing_beyond_the_card) {
  EXPECT_EQ(exchange(0x61, "79 00 00 00 FF 00 02"), reply(out_of_range));
  EXPECT_EQ(exchange(0x61, "79 00 00 01 00 00 01"), reply(out_of_range));
  EXPECT_EQ(exchange(0x61, "79 00 00 00 00 00 00"), reply(out_of_range));
}

TEST_F(ReaderWithCard, writes_after_the_code) {
  EXPECT_EQ(present("FF FF FF"), reply(0));
  EXPECT_EQ(exchange(0x60, "79 00 00 00 20 01 02 03"), reply(0));
  EXPECT_EQ(exchange(0x61, "79 00 00 00 1F 00 05"), reply(0, "FF 01 02 03 FF"));
  const Bytes memory = stored("memory");
  EXPECT_EQ(Bytes(memory.begin() + 0x1F, memory.begin() + 0x24), hex("FF 01 02 03 FF"));
}

TEST_F(ReaderWithCard, notices_bytes_that_were_not_written) {
  EXPECT_EQ(exchange(0x60, "79 00 00 00 20 01"), reply(not_written));
  EXPECT_EQ(present("FF FF FF"), reply(0));
  EXPECT_EQ(exchange(0x60, "79 00 00 00 05 01 02"), reply(not_written));
  EXPECT_EQ(exchange(0x61, "79 00 00 00 05 00 02"), reply(0, "01 81"));
  EXPECT_EQ(exchange(0x60, "79 00 00 00 FF 01 02"), reply(out_of_range));
}

TEST_F(ReaderWithCard, reads_protection_most_significant_bit_first) {
  EXPECT_EQ(exchange(0x74, "79 00 00 00 00 00 04"), reply(0, "0C FF F8 1F"));
  EXPECT_EQ(exchange(0x74, "79 00 00 00 00 00 03"), reply(out_of_range));
}

TEST_F(ReaderWithCard, writes_protection_of_bytes_that_are_named_correctly) {
  EXPECT_EQ(present("FF FF FF"), reply(0));
  EXPECT_EQ(exchange(0x60, "79 00 00 00 08 11 22"), reply(0));
  // The second byte is not what the card holds. The reader does not look at what came of it.
  EXPECT_EQ(exchange(0x75, "79 00 00 00 08 11 33"), reply(0));
  EXPECT_EQ(exchange(0x74, "79 00 00 00 00 00 04"), reply(0, "0C 7F F8 1F"));
  EXPECT_EQ(stored("protected")[8], 1);
  EXPECT_EQ(stored("protected")[9], 0);
}

TEST_F(ReaderWithCard, protects_no_more_than_32_bytes) {
  EXPECT_EQ(exchange(0x75, "79 00 00 00 1F FF FF"), reply(out_of_range));
  EXPECT_EQ(exchange(0x75, "79 00 00 00 20 FF"), reply(out_of_range));
}

// Other readers may have taken other bits of the counter before.
TEST(ReaderWith4442, takes_the_lowest_attempt_that_is_left) {
  struct Case {
    std::uint8_t before;
    std::uint8_t after;
  };
  for (const auto& [before, after] : {Case{7, 6}, {6, 4}, {5, 4}, {4, 0}, {3, 2}, {2, 0}, {1, 0}}) {
    const TemporaryFolder folder;
    const Options options = test::with_new_card(folder, "4442");
    Image image = load_image(options.card);
    image.field("counter").front() = before;
    save_image(image, options.card);
    ServedBench reader(options);
    EXPECT_EQ(reader.exchange(request(0x64, "79 00 00 00 00 00 FF FF")), reply(wrong_code));
    EXPECT_EQ(load_image(options.card).field("counter").front(), after) << int{before};
  }
}

TEST_F(ReaderWithCard, counts_wrong_codes_until_the_card_is_blocked) {
  EXPECT_EQ(exchange(0x67, "79 00 00 00 00 00 04"), reply(0, "07 00 00 00"));
  EXPECT_EQ(present("00 FF FF"), reply(wrong_code));
  EXPECT_EQ(exchange(0x67, "79 00 00 00 00 00 04"), reply(0, "06 00 00 00"));
  EXPECT_EQ(present("00 FF FF"), reply(wrong_code));
  EXPECT_EQ(stored("counter"), hex("04"));
  EXPECT_EQ(present("00 FF FF"), reply(wrong_code));
  EXPECT_EQ(present("FF FF FF"), reply(card_blocked));
  EXPECT_EQ(exchange(0x67, "79 00 00 00 00 00 04"), reply(0, "00 00 00 00"));
}

TEST_F(ReaderWithCard, shows_the_code_after_it_was_presented) {
  EXPECT_EQ(exchange(0x65, "79 00 00 00 00 00 04"), reply(0, "07 00 00 00"));
  EXPECT_EQ(present("00 FF FF"), reply(wrong_code));
  EXPECT_EQ(present("FF FF FF"), reply(0));
  EXPECT_EQ(exchange(0x65, "79 00 00 00 00 00 04"), reply(0, "07 FF FF FF"));
  EXPECT_EQ(exchange(0x65, "79 00 00 00 00 00 03"), reply(out_of_range));
}

TEST_F(ReaderWithCard, writes_a_new_code) {
  EXPECT_EQ(exchange(0x66, "79 00 00 00 00 12 34 56"), reply(not_written));
  EXPECT_EQ(present("FF FF FF"), reply(0));
  EXPECT_EQ(exchange(0x66, "79 00 00 00 00 12 34 56"), reply(0));
  EXPECT_EQ(stored("code"), hex("12 34 56"));
  EXPECT_EQ(present("FF FF FF"), reply(wrong_code));
  EXPECT_EQ(present("12 34 56"), reply(0));
}

TEST_F(ReaderWithCard, powers_the_card_when_it_is_needed) {
  EXPECT_EQ(exchange(0xB9, "80 00 00 00 00"), reply(0, "01"));
  exchange(0x61, "79 00 00 00 00 00 01");
  EXPECT_EQ(exchange(0xB9, "80 00 00 00 00"), reply(0, "03"));
  EXPECT_EQ(exchange(0xB3, "80 00 00 00 00"), reply(0));
  EXPECT_EQ(exchange(0xB9, "80 00 00 00 00"), reply(0, "01"));
  EXPECT_EQ(exchange(0xB2, "80 00 00 00 00"), reply(0));
  EXPECT_EQ(exchange(0xB9, "80 00 00 00 00"), reply(0, "03"));
}

TEST_F(ReaderWithCard, makes_the_card_forget_the_code_by_power_off_and_power_on) {
  for (const std::uint8_t command : hex("B3 B2")) {
    EXPECT_EQ(present("FF FF FF"), reply(0));
    EXPECT_EQ(exchange(command, "80 00 00 00 00"), reply(0));
    EXPECT_EQ(exchange(0x65, "79 00 00 00 00 00 04"), reply(0, "07 00 00 00"));
  }
}

TEST_F(ReaderWithCard, ejects_the_card) {
  EXPECT_EQ(exchange(0xB8, "80 00 00 00 00"), reply(0));
  EXPECT_EQ(exchange(0xB9, "80 00 00 00 00"), reply(0, "00"));
  EXPECT_FALSE(reader.bench().state().card);
}

TEST_F(ReaderWithCard, saves_the_card_before_it_answers) {
  EXPECT_EQ(present("FF FF FE"), reply(wrong_code));
  EXPECT_EQ(stored("counter"), hex("06"));
}

TEST_F(ReaderWithCard, says_when_the_card_cannot_be_saved) {
  EXPECT_EQ(present("FF FF FF"), reply(0));
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(exchange(0x60, "79 00 00 00 20 01"), reply(image_not_saved));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "quorra-sim: " + file.string() + ": not a regular file\n");
  std::filesystem::remove(file);
  EXPECT_EQ(exchange(0x61, "79 00 00 00 20 00 01"), reply(0, "01"));
  EXPECT_EQ(stored("memory")[0x20], 0x01);
}

TEST_F(ReaderWithCard, keeps_a_card_that_cannot_be_saved) {
  EXPECT_EQ(present("FF FF FF"), reply(0));
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(exchange(0x60, "79 00 00 00 20 01"), reply(image_not_saved));
  EXPECT_EQ(exchange(0xB8, "80 00 00 00 00"), reply(image_not_saved));
  EXPECT_EQ(exchange(0xB9, "80 00 00 00 00"), reply(image_not_saved));
  EXPECT_TRUE(reader.bench().state().card_present);
  EXPECT_FALSE(reader.bench().state().card_powered);
  ::testing::internal::GetCapturedStderr();
  EXPECT_THROW(reader.bench().remove(), Error);
  EXPECT_TRUE(reader.bench().state().card_present);
  std::filesystem::remove(file);
  reader.bench().remove();
  EXPECT_EQ(stored("memory")[0x20], 0x01);
  EXPECT_FALSE(reader.bench().state().card_present);
}

TEST_F(ReaderWithCard, takes_the_power_of_a_card_that_cannot_be_saved) {
  EXPECT_EQ(present("FF FF FF"), reply(0));
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(exchange(0x60, "79 00 00 00 20 01"), reply(image_not_saved));
  EXPECT_TRUE(reader.bench().state().card_powered);
  EXPECT_THROW(reader.bench().remove(), Error);
  EXPECT_FALSE(reader.bench().state().card_powered);
  ::testing::internal::GetCapturedStderr();
}

TEST(ReaderWith4432, has_no_code_to_present) {
  TemporaryFolder folder;
  Options options;
  options.card = new_card(folder, "4432");
  ServedBench reader(options);
  EXPECT_EQ(reader.exchange(request(0x64, "79 00 00 00 00 FF FF FF")), reply(no_answer));
  EXPECT_EQ(reader.exchange(request(0x67, "79 00 00 00 00 00 04")), reply(0, "FF FF FF FF"));
  EXPECT_EQ(reader.exchange(request(0x60, "79 00 00 00 20 01")), reply(0));
}

// Pulls IO low as soon as it has power, and never lets go.
class StuckChip final : public Chip {
 public:
  StuckChip() : Chip(Image(find_kind("4432"))) {}
  void contacts_changed(const Contacts& /*before*/, const Contacts& now) override {
    pull_io_low(now.vcc);
  }
};

class FirmwareAtTheContacts : public ::testing::Test {
 protected:
  FirmwareAtTheContacts() { reader.slot.insert(chip); }
  void carry_out(std::uint8_t command, std::string_view body) {
    Reply answer;
    const Bytes bytes = hex(body);
    execute(reader, {.command = command, .flag = 0, .body = bytes}, answer);
  }

  Reader reader;
  test::ListeningChip chip;
};

TEST_F(FirmwareAtTheContacts, takes_power_away_before_each_power_on) {
  carry_out(0xB2, "80 00 00 00 00");
  EXPECT_TRUE(reader.slot.powered());
  EXPECT_EQ(chip.power_losses(), 0U);
  carry_out(0xB2, "80 00 00 00 00");
  EXPECT_TRUE(reader.slot.powered());
  EXPECT_EQ(chip.power_losses(), 1U);
}

TEST_F(FirmwareAtTheContacts, takes_power_away_when_the_card_type_changes) {
  carry_out(0xB2, "80 00 00 00 00");
  carry_out(0x61, "79 00 00 00 00 00 01");
  EXPECT_EQ(chip.power_losses(), 1U);
  carry_out(0x61, "79 00 00 00 00 00 01");
  EXPECT_EQ(chip.power_losses(), 1U);
}

TEST(Firmware, gives_up_on_a_card_that_stays_busy) {
  Reader reader;
  StuckChip chip;
  reader.slot.insert(chip);
  Reply answer;
  const Bytes body = hex("79 00 00 00 20 01");
  EXPECT_EQ(execute(reader, {.command = 0x60, .flag = 0, .body = body}, answer), Status::no_answer);
}

}  // namespace
}  // namespace quorra::simulator
