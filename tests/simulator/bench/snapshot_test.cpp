// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/snapshot.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::reply;
using test::request;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const Bytes present_code = request(0x64, "79 00 00 00 00 FF FF FF");
const Bytes read_status = request(0xB9, "80 00 00 00 00");

Bytes write_4442(std::string_view byte) {
  return request(0x60, "79 00 00 00 20 " + std::string(byte));
}

std::string failure_of(const std::function<void()>& call) {
  try {
    call();
    return "";
  } catch (const Error& error) {
    return error.what();
  }
}

class SnapshotOfABench : public ::testing::Test {
 protected:
  Bytes exchange(const Bytes& frame) { return served.exchange(frame); }
  void take(const std::string& name = "a") { served.bench().take_snapshot(name); }
  void restore(const std::string& name = "a") { served.bench().restore_snapshot(name); }
  std::uint8_t stored_byte() const { return load_image(file).field("memory")[0x20]; }
  static Options options(const std::filesystem::path& card, const std::filesystem::path& sam) {
    Options options;
    options.card = card;
    options.sams[0] = sam;
    return options;
  }

  TemporaryFolder folder;
  std::filesystem::path file = test::new_card(folder, "4442");
  std::filesystem::path other = test::new_card(folder, "24c02", "other");
  std::filesystem::path sam = test::new_card(folder, "cpu", "sam");
  test::ServedBench served{options(file, sam)};
};

TEST_F(SnapshotOfABench, brings_the_cells_of_the_card_back) {
  EXPECT_EQ(exchange(present_code), reply(0));
  EXPECT_EQ(exchange(write_4442("11")), reply(0));
  take();
  EXPECT_EQ(exchange(write_4442("22")), reply(0));
  EXPECT_EQ(stored_byte(), 0x22);
  restore();
  EXPECT_EQ(exchange(request(0x61, "79 00 00 00 20 00 01")), reply(0, "11"));
  EXPECT_EQ(stored_byte(), 0x11) << "the file as well";
}

TEST_F(SnapshotOfABench, brings_back_what_a_card_forgets_without_power) {
  EXPECT_EQ(exchange(present_code), reply(0));
  take("open");
  EXPECT_EQ(exchange(request(0xB2, "80 00 00 00 00")), reply(0));
  take("closed");
  EXPECT_EQ(exchange(write_4442("22")), reply(test::status::not_written));
  restore("open");
  EXPECT_EQ(exchange(write_4442("22")), reply(0)) << "the code was presented";
  restore("closed");
  EXPECT_EQ(exchange(write_4442("33")), reply(test::status::not_written));
}

TEST_F(SnapshotOfABench, can_be_restored_again_and_again) {
  EXPECT_EQ(exchange(present_code), reply(0));
  take();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(exchange(write_4442("44")), reply(0));
    EXPECT_EQ(stored_byte(), 0x44);
    restore();
    EXPECT_EQ(stored_byte(), 0xFF);
  }
}

TEST_F(SnapshotOfABench, brings_back_a_card_that_has_left) {
  EXPECT_EQ(exchange(present_code), reply(0));
  take();
  EXPECT_EQ(exchange(request(0xB8, "80 00 00 00 00")), reply(0));
  EXPECT_EQ(exchange(read_status), reply(0, "00"));
  restore();
  EXPECT_EQ(exchange(read_status), reply(0, "03"));
  EXPECT_EQ(exchange(write_4442("55")), reply(0));
  EXPECT_EQ(stored_byte(), 0x55);
}

TEST_F(SnapshotOfABench, exchanges_the_card) {
  take();
  served.bench().remove();
  served.bench().insert(other);
  EXPECT_EQ(exchange(request(0x62, "61 00 00 00 00 12")), reply(0));
  restore();
  EXPECT_EQ(served.bench().state().card->kind().name, "4442");
  EXPECT_EQ(load_image(other).field("memory")[0], 0x12) << "that card keeps what it has";
  const test::ServedBench second([this] {
    Options options;
    options.card = other;
    return options;
  }());
}

TEST_F(SnapshotOfABench, takes_a_card_out_that_was_not_there) {
  served.bench().remove();
  take();
  served.bench().insert(file);
  restore();
  EXPECT_EQ(exchange(read_status), reply(0, "00"));
  EXPECT_FALSE(served.bench().state().card);
  served.bench().insert(file);
}

TEST_F(SnapshotOfABench, brings_back_the_reader_and_its_faults) {
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 00 10 11")), reply(0));
  served.bench().arm(Fault{.kind = FaultKind::status, .parameter = {}, .on = 0x61, .times = 3});
  take();
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 00 10 22")), reply(0));
  EXPECT_EQ(exchange(request(0x61, "79 00 00 00 20 00 01")), reply(5));
  served.bench().clear_faults();
  restore();
  EXPECT_EQ(exchange(request(0xB7, "80 00 00 00 10 00 01")), reply(0, "11"));
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(exchange(request(0x61, "79 00 00 00 20 00 01")), reply(5));
  EXPECT_EQ(exchange(request(0x61, "79 00 00 00 20 00 01")), reply(0, "FF"));
}

TEST_F(SnapshotOfABench, brings_the_same_chances_back) {
  FaultOdds odds;
  odds.seed = 7;
  odds.of_kind.at(static_cast<std::size_t>(FaultKind::status)) = 0.5;
  served.bench().arm(odds);
  const auto course = [this] {
    std::vector<bool> hits;
    for (int i = 0; i < 64; ++i)
      hits.push_back(exchange(read_status) == reply(5));
    return hits;
  };
  exchange(read_status);
  take();
  const auto first = course();
  EXPECT_NE(course(), first);
  restore();
  EXPECT_EQ(course(), first);
}

TEST_F(SnapshotOfABench, brings_the_sams_back) {
  EXPECT_EQ(exchange(request(0xB2, "21 00 00 00 00")), reply(0));
  EXPECT_EQ(exchange(request(0x21, "21 00 00 00 00 00 A4 00 0C 02 00 02")), reply(0, "90 00"));
  EXPECT_EQ(exchange(request(0x21, "21 00 00 00 00 00 20 00 01 04 31 32 33 34")),
            reply(0, "90 00"));
  take();
  const Bytes update = request(0x21, "21 00 00 00 00 00 D6 00 00 01 AB");
  EXPECT_EQ(exchange(update), reply(0, "90 00"));
  EXPECT_EQ(exchange(request(0xB3, "21 00 00 00 00")), reply(0));
  restore();
  EXPECT_EQ(load_image(sam).field("private")[0], 0xFF);
  EXPECT_EQ(exchange(update), reply(0, "90 00")) << "the file is selected, and the code verified";
}

TEST_F(SnapshotOfABench, takes_the_place_of_an_earlier_one) {
  EXPECT_EQ(exchange(present_code), reply(0));
  take();
  EXPECT_EQ(exchange(write_4442("66")), reply(0));
  take();
  restore();
  EXPECT_EQ(stored_byte(), 0x66);
  take("b");
  EXPECT_THAT(served.bench().state().snapshots, ElementsAre("a", "b"));
}

TEST_F(SnapshotOfABench, needs_a_name_that_is_known) {
  EXPECT_EQ(failure_of([this] { restore("b"); }), "unknown snapshot \"b\" (known: none)");
  take("a");
  take("c");
  EXPECT_EQ(failure_of([this] { restore("b"); }), "unknown snapshot \"b\" (known: a, c)");
  EXPECT_EQ(failure_of([this] { take(""); }), "the name of the snapshot is empty");
}

TEST_F(SnapshotOfABench, is_one_of_a_hundred_at_most) {
  for (int i = 0; i < 100; ++i)
    take(std::to_string(i));
  EXPECT_EQ(failure_of([this] { take("one more"); }), "there are 100 snapshots already");
  take("7");
}

TEST_F(SnapshotOfABench, changes_nothing_if_its_card_cannot_be_had) {
  take();
  served.bench().remove();
  served.bench().insert(other);
  EXPECT_EQ(exchange(request(0xB6, "80 00 00 00 10 22")), reply(0));
  {
    Options options;
    options.card = file;
    const test::ServedBench second(options);
    EXPECT_THAT(failure_of([this] { restore(); }), HasSubstr("in use by another virtual reader"));
  }
  save_image(Image(find_kind("24c04")), file);
  EXPECT_EQ(failure_of([this] { restore(); }),
            file.string() + ": the file has a card of another kind now");
  std::filesystem::remove(file);
  EXPECT_THAT(failure_of([this] { restore(); }), HasSubstr(file.string()));
  EXPECT_EQ(served.bench().state().card->kind().name, "24c02");
  EXPECT_EQ(exchange(request(0xB7, "80 00 00 00 10 00 01")), reply(0, "22"));
}

TEST_F(SnapshotOfABench, has_no_live_card) {
  take();
  served.bench().remove();
  served.bench().insert("vicc://127.0.0.1:0");
  EXPECT_EQ(failure_of([this] { take("b"); }), "a live card cannot be kept in a snapshot");
  EXPECT_EQ(failure_of([this] { restore(); }), "a live card is in the slot: take it out first");
  EXPECT_THAT(served.bench().state().snapshots, ElementsAre("a"));
}

}  // namespace
}  // namespace quorra::simulator
