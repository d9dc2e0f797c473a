// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Recognising every kind of card in the virtual reader, with all sorts of content, and that nothing
// of any card is changed by it.
#include "toolkit/kinds/recognition.hpp"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/control/unix_socket.hpp"
#include "tests/support/open_session.hpp"
#include "tests/support/process.hpp"

namespace quorra::testing {
namespace {

using simulator::Image;
using toolkit::Recognition;

using Names = std::vector<std::string>;

const Names memory_cards = {"4442",   "4432",  "4428",  "4418",  "45d041", "24c01a",
                            "24c02",  "24c04", "24c08", "24c16", "24c32",  "24c64",
                            "93c46a", "93c46", "93c57", "93c66"};
const Names security_cards = {"4404", "4406", "101", "102", "1604", "1604b"};

// All of the fields that a card keeps without power.
std::vector<std::vector<std::uint8_t>> content_of_card(const Image& image) {
  std::vector<std::vector<std::uint8_t>> fields;
  for (const simulator::Field& field : image.kind().fields) {
    const auto bytes = image.field(field.name);
    fields.emplace_back(bytes.begin(), bytes.end());
  }
  return fields;
}

// What is recognised, and what it could be as well: "24c02 or 24c04 or 24c08".
std::string in_words(const Recognition& found) {
  if (found.card == nullptr) return "none";
  std::string words(found.card->name);
  for (const toolkit::Card* other : found.others) {
    words.append(" or ").append(other->name);
  }
  return words;
}

class RecognitionTest : public ::testing::Test {
 protected:
  // What the card is recognised as. Expects that it is as it was, and has no power.
  std::string recognise(const Image& card) {
    save_image(card, folder_ / "card");
    reader_->insert(folder_ / "card");
    const Recognition found = toolkit::recognise(session_);
    EXPECT_FALSE(reader_->state().card_powered);
    EXPECT_EQ(content_of_card(*reader_->state().card), content_of_card(card))
        << card.kind().name << " was changed";
    EXPECT_EQ(found.is_certain(), found.card != nullptr && found.others.empty());
    reader_->remove();
    return in_words(found);
  }

  simulator::VirtualReader& reader() { return *reader_; }
  const toolkit::Session& session() const { return session_; }

 private:
  TemporaryDirectory folder_;
  simulator::RunningReader reader_;
  OpenSession session_{reader_->configuration()};
};

Image new_card(std::string_view kind) { return Image(simulator::find_kind(kind)); }

// A card whose memory holds `byte` from `first` on.
Image filled(std::string_view kind, std::uint8_t byte, std::size_t first = 0) {
  Image card = new_card(kind);
  std::ranges::fill(card.field("memory").subspan(first), byte);
  return card;
}

Image with_random_memory(std::string_view kind, unsigned seed, std::size_t first = 0) {
  Image card = new_card(kind);
  std::mt19937 generator(seed);
  std::ranges::generate(card.field("memory").subspan(first),
                        [&] { return static_cast<std::uint8_t>(generator()); });
  return card;
}

constexpr unsigned seeds = 5;
const std::vector<std::uint8_t> all_values = {0x00, 0x55, 0xFF};

// What a blank card, or one of one value, is recognised as. Nothing tells the sizes apart then.
const std::map<std::string, std::string> uniform = {
    {"45d041", "45d041"},
    {"24c01a", "24c01a or 24c02 or 24c04 or 24c08 or 24c16"},
    {"24c02", "24c01a or 24c02 or 24c04 or 24c08 or 24c16"},
    {"24c04", "24c01a or 24c02 or 24c04 or 24c08 or 24c16"},
    {"24c08", "24c01a or 24c02 or 24c04 or 24c08 or 24c16"},
    {"24c16", "24c01a or 24c02 or 24c04 or 24c08 or 24c16"},
    {"24c32", "24c32 or 24c64 or 24c01a or 24c02"},
    {"24c64", "24c32 or 24c64 or 24c01a or 24c02"},
    {"93c46a", "93c46a or 93c46 or 93c57 or 93c66"},
    {"93c46", "93c46 or 93c57 or 93c66"},
    {"93c57", "93c57 or 93c66"},
    {"93c66", "93c66"},
};

// What content that repeats nowhere tells.
const std::map<std::string, std::string> varied = {
    {"4442", "4442"},
    {"4432", "4432 or 4442"},
    {"4428", "4428 or 4418"},
    {"4418", "4418"},
    {"45d041", "45d041"},
    {"24c01a", "24c01a or 24c02 or 24c04 or 24c08 or 24c16"},
    {"24c02", "24c02 or 24c04 or 24c08 or 24c16"},
    {"24c04", "24c04 or 24c08 or 24c16"},
    {"24c08", "24c08 or 24c16"},
    {"24c16", "24c16"},
    {"24c32", "24c32 or 24c64"},
    {"24c64", "24c64"},
    {"93c46a", "93c46a or 93c46 or 93c57 or 93c66"},
    {"93c46", "93c46 or 93c57 or 93c66"},
    {"93c57", "93c57 or 93c66"},
    {"93c66", "93c66"},
    {"4404", "4404"},
    {"4406", "4406"},
    {"1604", "1604"},
    {"1604b", "1604b"},
};

TEST_F(RecognitionTest, TellsNewCards) {
  for (const auto& [kind, found] : uniform) {
    EXPECT_EQ(recognise(new_card(kind)), found) << kind;
  }
  for (const char* kind : {"4442", "4432", "4428", "4418", "4404", "4406", "1604", "1604b"}) {
    EXPECT_EQ(recognise(new_card(kind)), varied.at(kind)) << kind;
  }
  EXPECT_EQ(recognise(new_card("101")), "101 or 102");
  EXPECT_EQ(recognise(new_card("102")), "101 or 102");
}

TEST_F(RecognitionTest, TellsCardsOfOneValue) {
  for (const std::uint8_t byte : all_values) {
    for (const auto& [kind, found] : uniform) {
      EXPECT_EQ(recognise(filled(kind, byte)), found) << kind << " with " << int{byte};
    }
  }
}

TEST_F(RecognitionTest, TellsCardsWithRandomContent) {
  for (const std::string& kind : memory_cards) {
    for (unsigned seed = 0; seed < seeds; ++seed) {
      EXPECT_EQ(recognise(with_random_memory(kind, seed)), varied.at(kind)) << kind << ' ' << seed;
    }
  }
}

// Their first bytes are all that tells them.
TEST_F(RecognitionTest, TellsSecurityCardsWithAllSortsOfContent) {
  for (const char* kind : {"4404", "4406", "1604", "1604b"}) {
    constexpr std::size_t behind_identification = 3;
    for (const std::uint8_t byte : all_values) {
      EXPECT_EQ(recognise(filled(kind, byte, behind_identification)), kind) << int{byte};
    }
    for (unsigned seed = 0; seed < seeds; ++seed) {
      EXPECT_EQ(recognise(with_random_memory(kind, seed, behind_identification)), kind) << seed;
    }
  }
}

TEST_F(RecognitionTest, TellsTheOtherIdentificationOf4404And4406) {
  Image card = new_card("4404");
  std::ranges::copy(std::vector<std::uint8_t>{0xB7, 0xA0, 0xFF}, card.field("memory").begin());
  EXPECT_EQ(recognise(card), "4404");
  Image other = new_card("4406");
  std::ranges::copy(std::vector<std::uint8_t>{0x11, 0x33, 0x22}, other.field("memory").begin());
  EXPECT_EQ(recognise(other), "4406");
}

// One byte of two is not enough.
TEST_F(RecognitionTest, TellsNothingByHalfAnIdentification) {
  Image card = new_card("4404");
  std::ranges::copy(std::vector<std::uint8_t>{0x81, 0x25, 0x00}, card.field("memory").begin());
  EXPECT_EQ(recognise(card).find("4404"), std::string::npos);
  Image other = new_card("4406");
  std::ranges::copy(std::vector<std::uint8_t>{0x98, 0x21, 0x00}, other.field("memory").begin());
  EXPECT_EQ(recognise(other).find("4406"), std::string::npos);
}

// Both begin with the same two bytes. What one shows, the other hides.
TEST_F(RecognitionTest, Tells101From102ByWhatTheyShow) {
  struct Row {
    const char* kind;
    std::size_t address;
    const char* found;
  };
  for (const Row& row : std::vector<Row>{{"101", 85, "101 or 102"},
                                         {"101", 86, "101"},
                                         {"101", 91, "101"},
                                         {"101", 92, "101 or 102"},
                                         {"101", 156, "101"},
                                         {"101", 159, "101"},
                                         {"102", 149, "101 or 102"},
                                         {"102", 150, "102"},
                                         {"102", 153, "102"},
                                         {"102", 154, "101 or 102"},
                                         {"102", 172, "102"},
                                         {"102", 177, "102"}}) {
    Image card = new_card(row.kind);
    card.field("memory")[row.address] = 0x7F;
    EXPECT_EQ(recognise(card), row.found) << row.kind << " with content at " << row.address;
  }
}

TEST_F(RecognitionTest, TellsPersonalisedCards) {
  for (const std::string& kind : security_cards) {
    Image card = new_card(kind);
    const bool has_fuse = card.has("fuse");
    if (has_fuse) card.field("fuse").front() = 0;
    if (!has_fuse) card.field("memory")[8] = 0x7F;
    const std::string found = recognise(card);
    EXPECT_EQ(found, kind == "101" || kind == "102" ? "101 or 102" : kind);
  }
}

// The first bytes of a card need not be those that its maker gave it.
TEST_F(RecognitionTest, Tells4442And4428WithoutHeader) {
  for (const char* kind : {"4442", "4428"}) {
    for (const std::uint8_t byte : all_values) {
      EXPECT_EQ(recognise(filled(kind, byte)), varied.at(kind)) << kind << " with " << int{byte};
    }
  }
}

// Then its attempts are all that is not FF.
TEST_F(RecognitionTest, Tells4442ByItsAttempts) {
  Image card = filled("4442", 0xFF);
  std::ranges::fill(card.field("protected"), std::uint8_t{0});
  EXPECT_EQ(recognise(card), "4442");
  card.field("counter").front() = 4;
  EXPECT_EQ(recognise(card), "4442");
  card.field("counter").front() = 0;
  EXPECT_EQ(recognise(card), "none");
}

TEST_F(RecognitionTest, TellsCodelessCardsOfOneValueByTheirProtection) {
  // Nothing can be told from zeros that are all protected, nor from FF none of which is.
  EXPECT_EQ(recognise(filled("4432", 0x00)), "4432 or 4442");
  EXPECT_EQ(recognise(filled("4432", 0xFF)), "4432 or 4442");
  EXPECT_EQ(recognise(filled("4418", 0x00)), "4428 or 4418") << "shows zeros for a code";
  EXPECT_EQ(recognise(filled("4418", 0xFF)), "4418");
  for (const char* kind : {"4432", "4418"}) {
    Image bare = filled(kind, 0xFF);
    std::ranges::fill(bare.field("protected"), std::uint8_t{0});
    EXPECT_EQ(recognise(bare), "none") << kind;
    bare.field("protected")[31] = 1;
    EXPECT_EQ(recognise(bare), varied.at(kind)) << kind;
    Image locked = filled(kind, 0x00);
    std::ranges::fill(locked.field("protected"), std::uint8_t{1});
    locked.field("memory").back() = 1;
    EXPECT_EQ(recognise(locked), std::string_view(kind) == "4418" ? "4418" : "none") << kind;
  }
}

TEST_F(RecognitionTest, TellsCardsWithoutAttempts) {
  for (const char* kind : {"4442", "4428"}) {
    Image card = new_card(kind);
    card.field("counter").front() = 0;
    EXPECT_EQ(recognise(card), varied.at(kind));
  }
}

// The sizes are told by the first 128 bytes, where they show again.
TEST_F(RecognitionTest, TakesASizeForSmallerOnlyIfItsContentRepeats) {
  Image card = filled("24c16", 0xFF);
  card.field("memory")[0] = 1;
  EXPECT_EQ(recognise(card), "24c16");
  card.field("memory")[1024] = 1;
  EXPECT_EQ(recognise(card), "24c08 or 24c16");
  card.field("memory")[512] = 1;
  EXPECT_EQ(recognise(card), "24c04 or 24c08 or 24c16");
  card.field("memory")[127] = 1;
  EXPECT_EQ(recognise(card), "24c16");

  Image large = filled("24c64", 0xFF);
  large.field("memory")[127] = 1;
  EXPECT_EQ(recognise(large), "24c64");
  large.field("memory")[4096 + 127] = 1;
  EXPECT_EQ(recognise(large), "24c32 or 24c64");
}

TEST_F(RecognitionTest, TellsNothingOfAProcessorCard) {
  EXPECT_EQ(recognise(new_card("cpu")), "none");
}

TEST_F(RecognitionTest, TellsNothingOfAnEmptySlot) {
  EXPECT_EQ(in_words(toolkit::recognise(session())), "none");
}

// The bytes that go over a reader's line, both ways.
class LineTrace {
 public:
  explicit LineTrace(simulator::VirtualReader& reader)
      : reader_(reader),
        connection_(simulator::connect_to(reader.socket())) {
    constexpr std::string_view command = "{\"command\":\"trace\",\"on\":true}\n";
    send(connection_.get(), command.data(), command.size(), 0);
    next_line();
    exchanges_ = reader.state().exchanges;
  }

  // Since the last time, or the beginning.
  int bytes() {
    const std::uint64_t exchanges = reader_.state().exchanges;
    constexpr std::string_view key = "\"frame\":\"";
    int sum = 0;
    for (std::uint64_t frames = 2 * (exchanges - exchanges_); frames > 0; --frames) {
      const std::string line = next_line();
      const std::size_t begin = line.find(key) + key.size();
      const auto digits = static_cast<int>(line.find('"', begin) - begin);
      sum += (digits + 1) / 3;
    }
    exchanges_ = exchanges;
    return sum;
  }

 private:
  std::string next_line() {
    while (received_.find('\n') == std::string::npos) {
      std::array<char, 4096> bytes{};
      const ssize_t got = recv(connection_.get(), bytes.data(), bytes.size(), 0);
      if (got < 1) return {};
      received_.append(bytes.data(), static_cast<std::size_t>(got));
    }
    const std::string line = received_.substr(0, received_.find('\n'));
    received_.erase(0, line.size() + 1);
    return line;
  }

  simulator::VirtualReader& reader_;
  simulator::FileDescriptor connection_;
  std::string received_;
  std::uint64_t exchanges_;
};

// At 9600 bits per second, the speed that readers begin with, and 11 bits for a byte.
TEST_F(RecognitionTest, TakesNoMoreThanTwoSecondsOfASlowLine) {
  constexpr int bytes_in_two_seconds = 2 * 9600 / 11;
  LineTrace trace(reader());
  for (const std::string& kind : memory_cards) {
    recognise(new_card(kind));
    EXPECT_LE(trace.bytes(), bytes_in_two_seconds) << kind;
    recognise(with_random_memory(kind, 1));
    EXPECT_LE(trace.bytes(), bytes_in_two_seconds) << kind << " with content";
  }
  for (const std::string& kind : security_cards) {
    recognise(new_card(kind));
    EXPECT_LE(trace.bytes(), bytes_in_two_seconds) << kind;
  }
}

TEST_F(RecognitionTest, FailsWhenAnAnswerIsLost) {
  simulator::Fault fault;
  fault.kind = simulator::FaultKind::wrong_check;
  for (const std::uint8_t command : std::vector<std::uint8_t>{0xB3, 0x77, 0x61, 0x67}) {
    fault.on = command;
    reader().arm(fault);
    EXPECT_THROW(toolkit::recognise(session()), toolkit::Unanswered) << int{command};
    reader().clear_faults();
  }
}

}  // namespace
}  // namespace quorra::testing
