// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The library against the virtual reader with a security memory card in it: the life of each kind
// from its delivery to its end, and random operations compared with a plain model of cells.

#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "simulator/cards/kinds.hpp"
#include "simulator/status.hpp"
#include "tests/integration/virtual_bench.hpp"

namespace quorra::testing {
namespace {

using simulator::Status;
using Bytes = std::vector<unsigned char>;

int refused(Status status) { return -static_cast<int>(status); }

// A virtual reader with a new card, and a session on it.
class Bench : public VirtualBench {
 public:
  explicit Bench(const std::string& kind)
      : VirtualBench(simulator::Image(simulator::find_kind(kind))) {}
};

// The library's functions for one kind. The first two arguments are the handle and the zone, or the
// number of a code; cards without zones and numbers have 0 there.
struct Functions {
  std::function<int(int, int, int, int, unsigned char*)> read;
  std::function<int(int, int, int, int, const unsigned char*)> write;
  std::function<int(int, int, int, int)> erase;
  std::function<int(int, int, const Bytes&)> present;
  std::function<int(int, int, const Bytes&)> change;
  std::function<int(int, int, Bytes&)> read_code;
  std::function<int(int, int, unsigned int*)> attempts;
  std::function<int(int, int, const Bytes&)> present_erase_code;
  std::function<int(int, int, const Bytes&)> change_erase_code;
  std::function<int(int, int, Bytes&)> read_erase_code;
  std::function<int(int, int, unsigned int*)> erasures;
  std::function<int(int, int)> clear_write_flag;
  std::function<int(int, int)> clear_read_flag;
  int (*imitate_fuse)(int, unsigned int);
  int (*personalise)(int);
  int (*probe)(int);
};

int size_of(const Bytes& bytes) { return static_cast<int>(bytes.size()); }
unsigned int length_of(const Bytes& bytes) { return static_cast<unsigned int>(bytes.size()); }
unsigned int as_unsigned(int number) { return static_cast<unsigned int>(number); }

// The functions of the 4404 and the 101 have the same types.
Functions functions_of_one_zone(decltype(&srd_101) srd, decltype(&swr_101) swr,
                                decltype(&ser_101) ser, decltype(&csc_101) csc,
                                decltype(&wsc_101) wsc, decltype(&rsc_101) rsc,
                                decltype(&rsct_101) rsct, decltype(&cesc_101) cesc,
                                decltype(&wesc_101) wesc, decltype(&resc_101) resc,
                                decltype(&resct_101) resct, decltype(&clrpr_101) clrpr,
                                decltype(&clrrd_101) clrrd) {
  Functions functions{};
  functions.read = [=](int h, int, int at, int n, unsigned char* b) { return srd(h, at, n, b); };
  functions.write = [=](int h, int, int at, int n, const unsigned char* b) {
    return swr(h, at, n, b);
  };
  functions.erase = [=](int h, int, int at, int n) { return ser(h, at, n); };
  functions.present = [=](int h, int, const Bytes& c) { return csc(h, length_of(c), c.data()); };
  functions.change = [=](int h, int, const Bytes& c) { return wsc(h, size_of(c), c.data()); };
  functions.read_code = [=](int h, int, Bytes& c) { return rsc(h, size_of(c), c.data()); };
  functions.attempts = [=](int h, int, unsigned int* left) { return rsct(h, left); };
  functions.present_erase_code = [=](int h, int, const Bytes& c) {
    return cesc(h, length_of(c), c.data());
  };
  functions.change_erase_code = [=](int h, int, const Bytes& c) {
    return wesc(h, size_of(c), c.data());
  };
  functions.read_erase_code = [=](int h, int, Bytes& c) { return resc(h, size_of(c), c.data()); };
  functions.erasures = [=](int h, int, unsigned int* left) {
    *left = 0;  // resct_4404 adds
    return resct(h, left);
  };
  functions.clear_write_flag = [=](int h, int) { return clrpr(h); };
  functions.clear_read_flag = [=](int h, int) { return clrrd(h); };
  return functions;
}

Functions functions_of_102() {
  Functions functions{};
  functions.read = [](int h, int zone, int at, int n, unsigned char* b) {
    return srd_102(h, as_unsigned(zone), at, n, b);
  };
  functions.write = [](int h, int zone, int at, int n, const unsigned char* b) {
    return swr_102(h, as_unsigned(zone), at, n, b);
  };
  functions.erase = [](int h, int zone, int at, int n) {
    return ser_102(h, as_unsigned(zone), at, n);
  };
  functions.present = [](int h, int, const Bytes& c) { return csc_102(h, length_of(c), c.data()); };
  functions.change = [](int h, int, const Bytes& c) { return wsc_102(h, size_of(c), c.data()); };
  functions.read_code = [](int h, int, Bytes& c) { return rsc_102(h, size_of(c), c.data()); };
  functions.attempts = [](int h, int, unsigned int* left) { return rsct_102(h, left); };
  functions.present_erase_code = [](int h, int zone, const Bytes& c) {
    return cesc_102(h, zone, size_of(c), c.data());
  };
  functions.change_erase_code = [](int h, int zone, const Bytes& c) {
    return wesc_102(h, as_unsigned(zone), size_of(c), c.data());
  };
  functions.read_erase_code = [](int h, int zone, Bytes& c) {
    return resc_102(h, zone, size_of(c), c.data());
  };
  functions.erasures = resct_102;
  functions.clear_write_flag = clrpr_102;
  functions.clear_read_flag = clrrd_102;
  functions.imitate_fuse = fakefus_102;
  functions.personalise = psnl_102;
  functions.probe = chk_102;
  return functions;
}

// The functions of the 1604 and the 1604b have the same types.
Functions functions_of_1604(decltype(&srd_1604) srd, decltype(&swr_1604) swr,
                            decltype(&ser_1604) ser, decltype(&csc_1604) csc,
                            decltype(&wsc_1604) wsc, decltype(&rsc_1604) rsc,
                            decltype(&rsct_1604) rsct, decltype(&cesc_1604) cesc,
                            decltype(&wesc_1604) wesc, decltype(&resc_1604) resc,
                            decltype(&resct_1604) resct, decltype(&clrpr_1604) clrpr,
                            decltype(&clrrd_1604) clrrd) {
  Functions functions{};
  functions.read = [=](int h, int zone, int at, int n, unsigned char* b) {
    return srd(h, as_unsigned(zone), at, n, b);
  };
  functions.write = [=](int h, int zone, int at, int n, const unsigned char* b) {
    return swr(h, as_unsigned(zone), at, n, b);
  };
  functions.erase = [=](int h, int zone, int at, int n) {
    return ser(h, as_unsigned(zone), at, n);
  };
  functions.present = [=](int h, int number, const Bytes& c) {
    return csc(h, number, length_of(c), c.data());
  };
  functions.change = [=](int h, int number, const Bytes& c) {
    return wsc(h, as_unsigned(number), size_of(c), c.data());
  };
  functions.read_code = [=](int h, int number, Bytes& c) {
    return rsc(h, as_unsigned(number), size_of(c), c.data());
  };
  functions.attempts = [=](int h, int number, unsigned int* left) {
    return rsct(h, as_unsigned(number), left);
  };
  functions.present_erase_code = [=](int h, int zone, const Bytes& c) {
    return cesc(h, zone, length_of(c), c.data());
  };
  functions.change_erase_code = [=](int h, int zone, const Bytes& c) {
    return wesc(h, zone, size_of(c), c.data());
  };
  functions.read_erase_code = [=](int h, int zone, Bytes& c) {
    return resc(h, zone, size_of(c), c.data());
  };
  functions.erasures = resct;
  functions.clear_write_flag = clrpr;
  functions.clear_read_flag = clrrd;
  return functions;
}

Functions with(Functions functions, int (*imitate_fuse)(int, unsigned int), int (*personalise)(int),
               int (*probe)(int)) {
  functions.imitate_fuse = imitate_fuse;
  functions.personalise = personalise;
  functions.probe = probe;
  return functions;
}

// psnl_4404 returns the reader's STATUS itself.
int personalise_4404(int handle) { return -psnl_4404(handle); }

Functions functions_of(const std::string& kind) {
  if (kind == "4404") {
    return with(
        functions_of_one_zone(srd_4404, swr_4404, ser_4404, csc_4404, wsc_4404, rsc_4404, rsct_4404,
                              cesc_4404, wesc_4404, resc_4404, resct_4404, clrpr_4404, clrrd_4404),
        fakefus_4404, personalise_4404, chk_4404);
  }
  if (kind == "101") {
    return with(
        functions_of_one_zone(srd_101, swr_101, ser_101, csc_101, wsc_101, rsc_101, rsct_101,
                              cesc_101, wesc_101, resc_101, resct_101, clrpr_101, clrrd_101),
        fakefus_101, psnl_101, chk_101);
  }
  if (kind == "102") return functions_of_102();
  if (kind == "1604") {
    return with(
        functions_of_1604(srd_1604, swr_1604, ser_1604, csc_1604, wsc_1604, rsc_1604, rsct_1604,
                          cesc_1604, wesc_1604, resc_1604, resct_1604, clrpr_1604, clrrd_1604),
        fakefus_1604, psnl_1604, chk_1604);
  }
  return with(functions_of_1604(srd_1604b, swr_1604b, ser_1604b, csc_1604b, wsc_1604b, rsc_1604b,
                                rsct_1604b, cesc_1604b, wesc_1604b, resc_1604b, resct_1604b,
                                clrpr_1604b, clrrd_1604b),
              fakefus_1604b, psnl_1604b, chk_1604b);
}

// An application zone. Addresses are those within the zone of the library.
struct Zone {
  std::string kind;
  int number;         // 0 on a card without zones
  int flags;          // where it begins
  int size;           // with the flags
  unsigned attempts;  // at its code; 0 if they are not counted
  unsigned erasures;  // 0 if they are not counted
  std::size_t erase_code_size;
  int card_number;        // what chk_card says of the card
  bool has_code = false;  // of its own, beside the master code
  // An erase that begins at these addresses is refused by the library.
  bool is_erased_from_before = false;

  int code() const { return has_code ? number : 0; }
  int data() const { return flags + 1; }
  int last() const { return flags + size - 1; }
};

const Zone zones[] = {
    {.kind = "4404",
     .number = 0,
     .flags = 14,
     .size = 26,
     .attempts = 4,
     .erasures = 64,
     .erase_code_size = 4,
     .card_number = 40,
     .is_erased_from_before = true},
    {.kind = "101",
     .number = 0,
     .flags = 22,
     .size = 128,
     .attempts = 8,
     .erasures = 128,
     .erase_code_size = 4,
     .card_number = 51},
    {.kind = "102",
     .number = 1,
     .flags = 0,
     .size = 64,
     .attempts = 4,
     .erasures = 0,
     .erase_code_size = 6,
     .card_number = 51},
    {.kind = "102",
     .number = 2,
     .flags = 0,
     .size = 64,
     .attempts = 4,
     .erasures = 128,
     .erase_code_size = 4,
     .card_number = 51},
    {.kind = "1604",
     .number = 1,
     .flags = 0,
     .size = 1195,
     .attempts = 8,
     .erasures = 8,
     .erase_code_size = 2,
     .card_number = 52,
     .has_code = true},
    {.kind = "1604",
     .number = 2,
     .flags = 0,
     .size = 256,
     .attempts = 0,
     .erasures = 8,
     .erase_code_size = 2,
     .card_number = 52,
     .has_code = true},
    {.kind = "1604",
     .number = 3,
     .flags = 0,
     .size = 256,
     .attempts = 0,
     .erasures = 8,
     .erase_code_size = 2,
     .card_number = 52,
     .has_code = true},
    {.kind = "1604",
     .number = 4,
     .flags = 0,
     .size = 258,
     .attempts = 0,
     .erasures = 8,
     .erase_code_size = 2,
     .card_number = 52,
     .has_code = true},
    {.kind = "1604b",
     .number = 1,
     .flags = 0,
     .size = 512,
     .attempts = 8,
     .erasures = 8,
     .erase_code_size = 2,
     .card_number = 53,
     .has_code = true},
    {.kind = "1604b",
     .number = 2,
     .flags = 0,
     .size = 512,
     .attempts = 8,
     .erasures = 8,
     .erase_code_size = 2,
     .card_number = 53,
     .has_code = true},
    {.kind = "1604b",
     .number = 3,
     .flags = 0,
     .size = 512,
     .attempts = 8,
     .erasures = 8,
     .erase_code_size = 2,
     .card_number = 53,
     .has_code = true},
    {.kind = "1604b",
     .number = 4,
     .flags = 0,
     .size = 457,
     .attempts = 8,
     .erasures = 8,
     .erase_code_size = 2,
     .card_number = 53,
     .has_code = true},
};

constexpr unsigned char write_flag = 0x80;
constexpr unsigned char read_flag = 0x40;

const Bytes transport_code = {0xFF, 0xFF};
const Bytes master_code = {0xC0, 0xDE};
const Bytes zone_code = {0xAB, 0xCD};
const Bytes wrong_code = {0x12, 0x34};

// One zone of a card in the reader, and what is done to it.
class ZoneOnBench {
 public:
  explicit ZoneOnBench(const Zone& zone)
      : zone_(zone),
        functions_(functions_of(zone.kind)),
        bench_(zone.kind) {}

  int handle() const { return bench_.handle(); }
  const Functions& functions() const { return functions_; }

  int write(int address, const Bytes& bytes) const {
    return functions_.write(handle(), zone_.number, address, size_of(bytes), bytes.data());
  }
  Bytes read(int address, int count) const {
    Bytes bytes(static_cast<std::size_t>(count));
    EXPECT_EQ(functions_.read(handle(), zone_.number, address, count, bytes.data()), 0);
    return bytes;
  }
  int erase(int address, int count) const {
    return functions_.erase(handle(), zone_.number, address, count);
  }
  // Erases the first byte of the zone, which erases a personalised one as a whole. On a 4404 the
  // byte before it goes along.
  int erase_zone() const {
    return zone_.is_erased_from_before ? erase(zone_.flags - 1, 2) : erase(zone_.flags, 1);
  }
  int present(int number, const Bytes& code) const {
    return functions_.present(handle(), number, code);
  }
  int present_erase_code(const Bytes& code) const {
    return functions_.present_erase_code(handle(), zone_.number, code);
  }
  unsigned int attempts(int number) const {
    unsigned int left = 99;
    EXPECT_EQ(functions_.attempts(handle(), number, &left), 0);
    return left;
  }
  unsigned int erasures() const {
    unsigned int left = 99;
    EXPECT_EQ(functions_.erasures(handle(), zone_.number, &left), 0);
    return left;
  }
  // Takes the power from the card, and with it what was presented.
  void switch_off() const { EXPECT_EQ(turn_off(handle()), 0); }

  Bytes erase_code(unsigned char byte) const { return Bytes(zone_.erase_code_size, byte); }

  // Gives the card its codes, and writes 5A to the second byte of the data.
  void issue() const {
    EXPECT_EQ(present(0, transport_code), 0);
    EXPECT_EQ(functions_.change(handle(), 0, master_code), 0);
    if (zone_.has_code) {
      EXPECT_EQ(functions_.change(handle(), zone_.number, zone_code), 0);
    }
    EXPECT_EQ(functions_.change_erase_code(handle(), zone_.number, erase_code(0xE1)), 0);
    EXPECT_EQ(write(zone_.data() + 1, {0x5A}), 0);
  }
  const Bytes& code() const { return zone_.has_code ? zone_code : master_code; }

  void issue_and_personalise() const {
    issue();
    EXPECT_EQ(functions_.personalise(handle()), 0);
    switch_off();
  }

 private:
  Zone zone_;
  Functions functions_;
  Bench bench_;
};

class LifeOf : public ::testing::TestWithParam<Zone> {};

TEST_P(LifeOf, ANewCard) {
  const Zone& zone = GetParam();
  const ZoneOnBench card(zone);
  const int h = card.handle();
  EXPECT_EQ(card.functions().probe(h), 0);
  EXPECT_EQ(chk_card(h), zone.card_number);
  EXPECT_EQ(card.read(zone.flags, zone.size), Bytes(static_cast<std::size_t>(zone.size), 0xFF));
  if (zone.attempts != 0) {
    EXPECT_EQ(card.attempts(zone.code()), zone.attempts);
  }
  if (zone.erasures != 0) {
    EXPECT_EQ(card.erasures(), zone.erasures);
  }

  EXPECT_EQ(card.write(zone.data(), {0x00}), refused(Status::not_written)) << "closed";
  EXPECT_EQ(card.erase_zone(), refused(Status::not_written)) << "closed";
  EXPECT_EQ(card.functions().personalise(h), refused(Status::not_written)) << "closed";
  EXPECT_EQ(card.read(zone.data(), 1), Bytes{0xFF});

  const unsigned int attempts = card.attempts(0);
  EXPECT_EQ(card.present(0, wrong_code), refused(Status::wrong_code));
  EXPECT_EQ(card.attempts(0), attempts - 1);
  EXPECT_EQ(card.present(0, transport_code), 0);
  EXPECT_EQ(card.attempts(0), attempts) << "the right code restores the attempts";
}

TEST_P(LifeOf, TheIssuersCard) {
  const Zone& zone = GetParam();
  const ZoneOnBench card(zone);
  const int h = card.handle();
  card.issue();

  EXPECT_EQ(card.write(zone.last() - 1, {0xF0, 0x0F}), 0);
  EXPECT_EQ(card.write(zone.last() - 1, {0x3C, 0x0F}), refused(Status::not_written));
  EXPECT_EQ(card.read(zone.last() - 1, 2), (Bytes{0x30, 0x0F})) << "a 0 cannot become 1";
  // Byte by byte, however the library reaches it.
  const int before = zone.is_erased_from_before ? zone.flags - 1 : zone.last() - 1;
  EXPECT_EQ(card.erase(before, zone.last() - before), 0);
  EXPECT_EQ(card.read(zone.last() - 1, 2), (Bytes{0xFF, 0x0F}));
  if (zone.erasures != 0) {
    EXPECT_EQ(card.erasures(), zone.erasures) << "it costs nothing";
  }

  Bytes code(2);
  EXPECT_EQ(card.functions().read_code(h, zone.code(), code), 0);
  EXPECT_EQ(code, card.code());
  Bytes erase_code = card.erase_code(0);
  EXPECT_EQ(card.functions().read_erase_code(h, zone.number, erase_code), 0);
  EXPECT_EQ(erase_code, card.erase_code(0xE1));

  card.switch_off();
  EXPECT_EQ(card.present(0, transport_code), refused(Status::wrong_code)) << "the old one";
  EXPECT_EQ(card.present(0, master_code), 0);
  EXPECT_EQ(card.write(zone.last(), {0x0E}), 0);
}

TEST_P(LifeOf, ACardWithAnImitatedFuse) {
  const Zone& zone = GetParam();
  const ZoneOnBench card(zone);
  const int h = card.handle();
  card.issue();
  Bytes code(2);

  EXPECT_EQ(card.functions().imitate_fuse(h, 1), 0);
  EXPECT_EQ(card.functions().read_code(h, zone.code(), code), 0);
  EXPECT_EQ(code, (Bytes{0xFF, 0xFF})) << "hidden";
  EXPECT_EQ(card.erase_zone(), refused(Status::not_written)) << "without the erase code";

  EXPECT_EQ(card.functions().imitate_fuse(h, 0), 0);
  EXPECT_EQ(card.functions().read_code(h, zone.code(), code), 0);
  EXPECT_EQ(code, card.code()) << "it was an imitation";

  EXPECT_EQ(card.functions().imitate_fuse(h, 1), 0);
  card.switch_off();
  EXPECT_EQ(card.present(0, master_code), 0);
  EXPECT_EQ(card.functions().read_code(h, zone.code(), code), 0);
  EXPECT_EQ(code, card.code()) << "it does not last without power";
}

TEST_P(LifeOf, APersonalisedCard) {
  const Zone& zone = GetParam();
  const ZoneOnBench card(zone);
  const int h = card.handle();
  card.issue_and_personalise();
  EXPECT_EQ(chk_card(h), zone.card_number);
  EXPECT_EQ(card.functions().imitate_fuse(h, 0), 0) << "this fuse is no imitation";

  EXPECT_EQ(card.read(zone.data(), 2), (Bytes{0xFF, 0x5A}));
  EXPECT_EQ(card.write(zone.data(), {0x77}), refused(Status::not_written)) << "without the code";
  EXPECT_EQ(card.present(zone.code(), card.code()), 0);
  EXPECT_EQ(card.write(zone.data(), {0x77}), 0);
  EXPECT_EQ(card.write(zone.data(), {0x66}), 0);
  EXPECT_EQ(card.write(zone.data(), {0x77}), refused(Status::not_written)) << "0 to 1";
  Bytes code(2);
  EXPECT_EQ(card.functions().read_code(h, zone.code(), code), 0);
  EXPECT_EQ(code, (Bytes{0xFF, 0xFF})) << "nobody reads a code any more";

  EXPECT_EQ(card.erase_zone(), refused(Status::not_written)) << "without the erase code";
  EXPECT_EQ(card.present_erase_code(card.erase_code(0xE2)), refused(Status::wrong_code));
  EXPECT_EQ(card.erase_zone(), refused(Status::not_written)) << "with a wrong erase code";
  EXPECT_EQ(card.present_erase_code(card.erase_code(0xE1)), 0);
  EXPECT_EQ(card.erase_zone(), 0);
  EXPECT_EQ(card.read(zone.flags, zone.size), Bytes(static_cast<std::size_t>(zone.size), 0xFF))
      << "as a whole";
  if (zone.erasures != 0) {
    EXPECT_EQ(card.erasures(), zone.erasures - 1);
  }
}

TEST_P(LifeOf, ACardWhoseCodesAreChangedByItsHolder) {
  const Zone& zone = GetParam();
  const ZoneOnBench card(zone);
  const int h = card.handle();
  card.issue_and_personalise();
  const Bytes new_code = {0x00, 0x01};
  EXPECT_NE(card.functions().change(h, zone.code(), new_code), 0) << "closed";
  EXPECT_EQ(card.present(zone.code(), card.code()), 0);
  EXPECT_NE(card.functions().change_erase_code(h, zone.number, card.erase_code(0xE3)), 0)
      << "without the old erase code";
  EXPECT_EQ(card.present_erase_code(card.erase_code(0xE1)), 0);
  EXPECT_EQ(card.functions().change_erase_code(h, zone.number, card.erase_code(0xE3)), 0);
  EXPECT_EQ(card.functions().change(h, zone.code(), new_code), 0);

  card.switch_off();
  EXPECT_EQ(card.present(zone.code(), card.code()), refused(Status::wrong_code));
  EXPECT_EQ(card.present(zone.code(), new_code), 0);
  EXPECT_EQ(card.present_erase_code(card.erase_code(0xE1)), refused(Status::wrong_code));
  EXPECT_EQ(card.present_erase_code(card.erase_code(0xE3)), 0);
  EXPECT_EQ(card.erase_zone(), 0);
}

TEST_P(LifeOf, AZoneThatIsNotRead) {
  const Zone& zone = GetParam();
  const ZoneOnBench card(zone);
  const int h = card.handle();
  card.issue_and_personalise();
  EXPECT_EQ(card.functions().clear_read_flag(h, zone.number), refused(Status::not_written));
  EXPECT_EQ(card.present(zone.code(), card.code()), 0);
  EXPECT_EQ(card.functions().clear_read_flag(h, zone.number), 0);
  EXPECT_EQ(card.read(zone.data() + 1, 1), Bytes{0x5A}) << "the code was presented";
  card.switch_off();
  EXPECT_EQ(card.read(zone.data() + 1, 1), Bytes{0xFF}) << "hidden";
  EXPECT_EQ(card.read(zone.flags, 1).front() & (write_flag | read_flag), write_flag);
  EXPECT_EQ(card.functions().clear_read_flag(h, zone.number), 0) << "nothing is written";
}

TEST_P(LifeOf, AZoneThatIsNotWritten) {
  const Zone& zone = GetParam();
  const ZoneOnBench card(zone);
  const int h = card.handle();
  card.issue_and_personalise();
  EXPECT_EQ(card.functions().clear_write_flag(h, zone.number), refused(Status::not_written));
  EXPECT_EQ(card.present(zone.code(), card.code()), 0);
  EXPECT_EQ(card.functions().clear_write_flag(h, zone.number), 0);
  EXPECT_EQ(card.read(zone.flags, 1).front() & (write_flag | read_flag), read_flag);
  EXPECT_EQ(card.write(zone.data(), {0x00}), refused(Status::not_written));
  EXPECT_EQ(card.functions().clear_write_flag(h, zone.number), 0) << "nothing is written";
  EXPECT_EQ(card.functions().clear_read_flag(h, zone.number), refused(Status::not_written));

  EXPECT_EQ(card.present_erase_code(card.erase_code(0xE1)), 0);
  EXPECT_EQ(card.erase_zone(), 0);
  EXPECT_EQ(card.read(zone.data() + 1, 1), Bytes{0xFF});
  EXPECT_EQ(card.read(zone.flags, 1).front() & (write_flag | read_flag), read_flag)
      << "erasing leaves the flags";
}

TEST_P(LifeOf, AZoneUntilItsLastErasure) {
  const Zone& zone = GetParam();
  const ZoneOnBench card(zone);
  card.issue_and_personalise();
  EXPECT_EQ(card.present(zone.code(), card.code()), 0);
  EXPECT_EQ(card.present_erase_code(card.erase_code(0xE1)), 0);
  constexpr unsigned int many = 150;
  const unsigned int erasures = zone.erasures != 0 ? zone.erasures : many;
  for (unsigned int done = 0; done < erasures; ++done) {
    ASSERT_EQ(card.write(zone.last(), {0x00}), 0) << done;
    ASSERT_EQ(card.erase_zone(), 0) << done;
  }
  EXPECT_EQ(card.write(zone.last(), {0x00}), 0);
  if (zone.erasures == 0) {
    EXPECT_EQ(card.erase_zone(), 0) << "they are not counted";
    return;
  }
  EXPECT_EQ(card.erasures(), 0U);
  EXPECT_EQ(card.erase_zone(), refused(Status::not_written));
  EXPECT_EQ(card.read(zone.last(), 1), Bytes{0x00});
}

TEST_P(LifeOf, ACardUntilItsLastAttempt) {
  const Zone& zone = GetParam();
  const ZoneOnBench card(zone);
  card.issue_and_personalise();
  constexpr unsigned int many = 20;
  const unsigned int attempts = zone.attempts != 0 ? zone.attempts : many;
  for (unsigned int left = attempts; left > 0; --left) {
    if (zone.attempts != 0) {
      EXPECT_EQ(card.attempts(zone.code()), left);
    }
    EXPECT_EQ(card.present(zone.code(), wrong_code), refused(Status::wrong_code));
  }
  if (zone.attempts == 0) {
    EXPECT_EQ(card.present(zone.code(), card.code()), 0) << "they are not counted";
    return;
  }
  for (int power = 0; power < 2; ++power) {
    EXPECT_EQ(card.present(zone.code(), card.code()), refused(Status::card_blocked));
    EXPECT_EQ(card.attempts(zone.code()), 0U);
    EXPECT_EQ(card.write(zone.data(), {0x00}), refused(Status::not_written));
    EXPECT_EQ(card.read(zone.data(), 2), (Bytes{0xFF, 0x5A})) << "it can still be read";
    card.switch_off();
  }
}

// Cells as a model: writing clears bits, erasing sets them.
struct Cells {
  Bytes bytes;

  // Frames of 144 bytes; the first that would have to set a bit ends the transfer.
  int write(std::size_t at, const Bytes& data) {
    constexpr std::size_t frame = 144;
    for (std::size_t done = 0; done < data.size();) {
      const std::size_t end = std::min(data.size(), done + frame);
      bool is_possible = true;
      for (; done < end; ++done) {
        unsigned char& cell = bytes[at + done];
        is_possible = is_possible && (data[done] & ~cell) == 0;
        cell = static_cast<unsigned char>(cell & data[done]);
      }
      if (!is_possible) return refused(Status::not_written);
    }
    return 0;
  }
};

// Random reads, writes and erases of the data of a zone, by its issuer and then by its holder.
class RandomZone {
 public:
  RandomZone(const Zone& zone, unsigned int seed) : zone_(zone), card_(zone), random_(seed) {
    card_.issue();
    cells_.bytes.assign(static_cast<std::size_t>(zone.size - 1), 0xFF);
    cells_.bytes[1] = 0x5A;
  }

  void become_holder() {
    EXPECT_EQ(card_.functions().personalise(card_.handle()), 0);
    card_.switch_off();
    EXPECT_EQ(card_.present(zone_.code(), card_.code()), 0);
    EXPECT_EQ(card_.present_erase_code(card_.erase_code(0xE1)), 0);
    is_holder_ = true;
    erasures_left_ = zone_.erasures;
  }

  void operate() {
    const std::size_t at = below(cells_.bytes.size());
    const std::size_t room = cells_.bytes.size() - at;
    const std::size_t count = 1 + below(below(4) == 0 ? room : std::min<std::size_t>(room, 8));
    switch (below(8)) {
      case 0:
      case 1:
      case 2:
        return read(at, count);
      case 3:
        return erase(at, count);
      default:
        return write(at, count);
    }
  }

 private:
  std::size_t below(std::size_t bound) { return random_() % bound; }
  int address(std::size_t at) const { return zone_.data() + static_cast<int>(at); }

  void read(std::size_t at, std::size_t count) {
    const auto first = cells_.bytes.begin() + static_cast<std::ptrdiff_t>(at);
    EXPECT_EQ(card_.read(address(at), static_cast<int>(count)),
              Bytes(first, first + static_cast<std::ptrdiff_t>(count)));
  }

  // Sometimes only what the cells can still take.
  void write(std::size_t at, std::size_t count) {
    const bool is_possible = below(2) == 0;
    Bytes data;
    for (std::size_t i = at; i < at + count; ++i) {
      const auto byte = static_cast<unsigned char>(random_() | random_());
      data.push_back(is_possible ? static_cast<unsigned char>(byte & cells_.bytes[i]) : byte);
    }
    EXPECT_EQ(card_.write(address(at), data), cells_.write(at, data));
  }

  // An erase of a 4404 begins before its zone. A personalised zone goes as a whole.
  void erase(std::size_t at, std::size_t count) {
    const std::size_t first = zone_.is_erased_from_before && !is_holder_ ? 0 : at;
    const int from = zone_.is_erased_from_before ? zone_.flags - 1 : address(first);
    const bool is_erased =
        std::ranges::all_of(cells_.bytes, [](unsigned char cell) { return cell == 0xFF; });
    const bool is_used_up = is_holder_ && zone_.erasures != 0 && erasures_left_ == 0;
    const int result = card_.erase(from, address(at + count) - from);
    EXPECT_EQ(result, is_used_up && !is_erased ? refused(Status::not_written) : 0);
    if (result != 0) return;
    if (is_holder_) {
      if (!is_erased && zone_.erasures != 0) --erasures_left_;
      std::ranges::fill(cells_.bytes, 0xFF);
      if (zone_.erasures != 0) {
        EXPECT_EQ(card_.erasures(), erasures_left_);
      }
      return;
    }
    const auto begin = cells_.bytes.begin();
    std::fill(begin + static_cast<std::ptrdiff_t>(first),
              begin + static_cast<std::ptrdiff_t>(at + count), 0xFF);
  }

  Zone zone_;
  ZoneOnBench card_;
  std::mt19937 random_;
  Cells cells_;
  bool is_holder_ = false;
  unsigned int erasures_left_ = 0;
};

TEST_P(LifeOf, CellsThatAreWrittenAndErasedAtRandom) {
  constexpr int operations = 150;
  RandomZone card(GetParam(), 7);
  for (int i = 0; i < operations && !HasFailure(); ++i) {
    card.operate();
  }
  card.become_holder();
  for (int i = 0; i < operations && !HasFailure(); ++i) {
    card.operate();
  }
}

INSTANTIATE_TEST_SUITE_P(Zones, LifeOf, ::testing::ValuesIn(zones), [](const auto& test) {
  return "Card" + test.param.kind + "Zone" + std::to_string(test.param.number);
});

Bytes read_4406(int handle, int address, int count) {
  Bytes bytes(static_cast<std::size_t>(count));
  EXPECT_EQ(srd_4406(handle, address, count, bytes.data()), 0);
  return bytes;
}

unsigned int attempts_4406(int handle) {
  unsigned int left = 99;
  EXPECT_EQ(rsct_4406(handle, &left), 0);
  return left;
}

int write_4406(int handle, int address, const Bytes& bytes) {
  return swr_4406(handle, address, size_of(bytes), bytes.data());
}

TEST(LifeOf4406, WithItsIssuer) {
  const Bench bench("4406");
  const int h = bench.handle();
  const Bytes transport = {0xFF, 0xFF, 0xFF};
  const Bytes code = {0x9A, 0xBC, 0xDE};
  const Bytes wrong = {0x00, 0x00, 0x00};
  EXPECT_EQ(chk_4406(h), 0);
  EXPECT_EQ(chk_card(h), 41);
  EXPECT_EQ(attempts_4406(h), 8U);
  EXPECT_EQ(write_4406(h, 3, {0x11}), refused(Status::not_written)) << "closed";
  EXPECT_EQ(read_4406(h, 10, 3), Bytes(3)) << "hidden";

  EXPECT_EQ(csc_4406(h, 3, wrong.data()), refused(Status::wrong_code));
  EXPECT_EQ(attempts_4406(h), 7U);
  EXPECT_EQ(csc_4406(h, 3, transport.data()), 0);
  EXPECT_EQ(attempts_4406(h), 8U);
  EXPECT_EQ(write_4406(h, 3, {0x1F, 0x2F}), 0);
  EXPECT_EQ(write_4406(h, 3, {0xF1, 0x2F}), refused(Status::not_written)) << "0 to 1";
  EXPECT_EQ(read_4406(h, 3, 3), (Bytes{0x11, 0x2F, 0xFF}));
  EXPECT_EQ(write_4406(h, 0, {0x00}), refused(Status::not_written)) << "identification";

  EXPECT_EQ(wsc_4406(h, 3, code.data()), 0);
  EXPECT_EQ(read_4406(h, 10, 3), code);
  EXPECT_EQ(eswc_4406(h, 8), refused(Status::not_written)) << "there are no units yet";
  EXPECT_EQ(turn_off(h), 0);
  EXPECT_EQ(csc_4406(h, 3, transport.data()), refused(Status::wrong_code)) << "the old one";
  EXPECT_EQ(csc_4406(h, 3, code.data()), 0);
}

TEST(LifeOf4406, UntilItsLastAttempt) {
  const Bench bench("4406");
  const int h = bench.handle();
  const Bytes transport = {0xFF, 0xFF, 0xFF};
  const Bytes wrong = {0xFF, 0xFF, 0xFE};
  for (unsigned int left = 8; left > 0; --left) {
    EXPECT_EQ(attempts_4406(h), left);
    EXPECT_EQ(csc_4406(h, 3, wrong.data()), refused(Status::wrong_code));
  }
  EXPECT_EQ(csc_4406(h, 3, transport.data()), refused(Status::card_blocked));
  EXPECT_EQ(turn_off(h), 0);
  EXPECT_EQ(csc_4406(h, 3, transport.data()), refused(Status::card_blocked)) << "for good";
}

TEST(LifeOf4406, CountsWithACarry) {
  const Bench bench("4406");
  const int h = bench.handle();
  const Bytes transport = {0xFF, 0xFF, 0xFF};
  EXPECT_EQ(psnl_4406(h), refused(Status::not_written)) << "without the code";
  EXPECT_EQ(csc_4406(h, 3, transport.data()), 0);
  EXPECT_EQ(psnl_4406(h), 0);
  EXPECT_EQ(turn_off(h), 0);
  EXPECT_EQ(psnl_4406(h), 0) << "nothing is written";
  EXPECT_EQ(read_4406(h, 8, 5), (Bytes{0x7F, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_NE(csc_4406(h, 3, transport.data()), 0) << "there is no code any more";

  // Units are spent by anybody, and never come back.
  EXPECT_EQ(write_4406(h, 12, {0x0F}), 0);
  EXPECT_EQ(write_4406(h, 12, {0x1F}), refused(Status::not_written));
  EXPECT_EQ(write_4406(h, 12, {0x00}), 0);
  EXPECT_EQ(write_4406(h, 3, {0x00}), refused(Status::not_written)) << "closed for good";

  EXPECT_EQ(eswc_4406(h, 11), 0);
  Bytes stages = read_4406(h, 8, 5);
  EXPECT_EQ(std::popcount(stages[3]), 7) << "one was spent";
  EXPECT_EQ(stages[4], 0xFF) << "for eight here";
  EXPECT_EQ((Bytes{stages[0], stages[1], stages[2]}), (Bytes{0x7F, 0xFF, 0xFF}));

  EXPECT_EQ(write_4406(h, 11, {0x00}), 0);
  EXPECT_EQ(eswc_4406(h, 11), refused(Status::not_written)) << "this stage is used up";
  EXPECT_EQ(eswc_4406(h, 10), 0);
  stages = read_4406(h, 8, 5);
  EXPECT_EQ(std::popcount(stages[2]), 7);
  EXPECT_EQ(stages[3], 0xFF);
  for (int units = 7; units > 0; --units) {
    EXPECT_EQ(eswc_4406(h, 8), 0) << units;
  }
  EXPECT_EQ(eswc_4406(h, 8), refused(Status::not_written)) << "nothing fills the first stage";
  EXPECT_EQ(read_4406(h, 8, 2), (Bytes{0x00, 0xFF}));
  for (const int address : {0, 7}) {
    EXPECT_EQ(eswc_4406(h, address), refused(Status::out_of_range)) << address;
  }
  EXPECT_EQ(eswc_4406(h, 12), -144);
}

TEST(LifeOf4406, CellsThatAreWrittenAtRandom) {
  const Bench bench("4406");
  const int h = bench.handle();
  const Bytes transport = {0xFF, 0xFF, 0xFF};
  ASSERT_EQ(csc_4406(h, 3, transport.data()), 0);
  std::mt19937 random(11);
  Cells cells{.bytes = Bytes(5, 0xFF)};  // bytes 3 to 7
  constexpr int operations = 60;
  for (int i = 0; i < operations && !::testing::Test::HasFailure(); ++i) {
    const std::size_t at = random() % cells.bytes.size();
    Bytes data;
    for (std::size_t n = 1 + random() % (cells.bytes.size() - at); n > 0; --n) {
      data.push_back(static_cast<unsigned char>(random() | random() | random()));
    }
    EXPECT_EQ(write_4406(h, 3 + static_cast<int>(at), data), cells.write(at, data));
    EXPECT_EQ(read_4406(h, 3, 5), cells.bytes);
  }
}

}  // namespace
}  // namespace quorra::testing
