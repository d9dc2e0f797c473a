// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra with security memory cards.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

constexpr char refused_write_status[] =
    "the reader refused the command with status 35 (0x23): a byte was not written: it is "
    "protected, or the code is missing (-35)";
constexpr char refused_erase_code[] =
    "quorra: presenting the erase code: the reader refused the command with status 36 (0x24): the "
    "security code is wrong (-36)\n";

class SecurityCards : public CommandLine {
 protected:
  // A new card; the commands that follow are for it.
  void insert(const std::string& kind, const Arguments& options = {"--force"}) {
    kind_ = kind;
    image_ = new_card(kind, options);
  }
  // The first word, or the first two, are the subcommand.
  Outcome quorra(const Arguments& arguments) const {
    return run_quorra(arguments + Arguments{"--virtual", image_, "--card", kind_, "--quiet"});
  }
  void expect_done(const Arguments& arguments, const std::string& output) const {
    SCOPED_TRACE(::testing::PrintToString(arguments));
    expect_success(quorra(arguments), output);
  }
  void expect_refused(const Arguments& arguments, const std::string& error) const {
    SCOPED_TRACE(::testing::PrintToString(arguments));
    expect_error(quorra(arguments), 1, error);
  }
  const std::string& kind() const { return kind_; }
  const std::string& image() const { return image_; }

 private:
  std::string kind_;
  std::string image_;
};

// Runs it with a terminal for its questions, and answers one.
std::string question_of(const Arguments& command, const std::string& answer, Outcome& outcome) {
  const Terminal terminal;
  Process program(command,
                  {.input = {},
                   .streams = {{STDIN_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
                   .environment = {{"NO_COLOR", "1"}}});
  const std::string question = terminal.read_until(" to go on: ");
  terminal.type(answer);
  outcome = program.wait();
  outcome.errors = terminal.read_all();
  return question;
}

// ---- Usage: of these, none gets as far as noticing that there is no such image

TEST_F(SecurityCards, RefusesWrongUsageBeforeItDoesAnything) {
  struct Case {
    std::string kind;
    Arguments arguments;
    std::string error;
  };
  const Case cases[] = {
      {"4442", {"read", "--zone", "0"}, "--zone: a 4442 card has no zones"},
      {"4404", {"read", "--zone", "0"}, "--zone: a 4404 card has no zones"},
      {"102", {"read", "--zone", "3"}, "--zone: a 102 card has the zones 0 to 2, not 3"},
      {"1604", {"read", "--zone", "5"}, "--zone: a 1604 card has the zones 0 to 4, not 5"},
      {"102", {"read", "--zone", "x"}, "--zone: 'x' is not a number, such as 32 or 0x20"},
      {"4404",
       {"read", "--address", "52"},
       "address 0x0034 is not in the memory of a 4404 card, which is 0x0000 to 0x0033"},
      {"4406",
       {"read", "--address", "12", "--count", "2"},
       "2 bytes at 0x000C do not fit: the memory of a 4406 card ends at 0x000C"},
      {"101",
       {"read", "--address", "172"},
       "address 0x00AC is not in the memory of a 101 card, which is 0x0000 to 0x00AB"},
      {"102",
       {"read", "--zone", "1", "--address", "70"},
       "address 0x0046 is not in the memory of zone 1 of a 102 card, which is 0x0000 to 0x0045"},
      {"102",
       {"read", "--zone", "2", "--address", "85", "--count", "2"},
       "2 bytes at 0x0055 do not fit: the memory of zone 2 of a 102 card ends at 0x0055"},
      {"1604b",
       {"read", "--zone", "4", "--address", "461"},
       "address 0x01CD is not in the memory of zone 4 of a 1604b card, which is 0x0000 to 0x01CC"},

      {"102",
       {"write", "--zone", "0", "--address", "22", "00"},
       "address 0x0016 is not in the memory of zone 0 of a 102 card, which is 0x0000 to 0x0015"},
      {"1604",
       {"write", "--zone", "1", "--address", "1194", "0000"},
       "2 bytes at 0x04AA do not fit: the part of zone 1 of a 1604 card that can be written "
       "without --security ends at 0x04AA"},
      {"1604b",
       {"write", "--zone", "4", "--address", "457", "00"},
       "address 0x01C9 is not in the part of zone 4 of a 1604b card that can be written without "
       "--security, which is 0x0000 to 0x01C8"},
      {"1604",
       {"write", "--security", "--zone", "2", "--address", "261", "00"},
       "address 0x0105 is not in the memory of zone 2 of a 1604 card, which is 0x0000 to 0x0104"},
      {"4404",
       {"write", "--security", "--address", "8", "00"},
       "--security: a 4404 card has no command of its own for writing security areas"},
      {"4442",
       {"write", "--security", "--address", "8", "00"},
       "--security: a 4442 card has no command of its own for writing security areas"},
      {"102",
       {"write", "--file", "/dev/zero", "--address", "0"},
       "--file: /dev/zero holds more than the 178 bytes of a 102 card"},
      {"102",
       {"write", "--zone", "0", "--file", "/dev/zero", "--address", "0"},
       "--file: /dev/zero holds more than the 22 bytes of zone 0 of a 102 card"},
      {"1604",
       {"write", "--address", "0", "00", "--code", "112233"},
       "--code: the code of a 1604 card is 2 bytes, not 3"},
      {"1604",
       {"write", "--address", "0", "00", "--code", "1122", "--code-number", "5"},
       "--code-number: a 1604 card has the codes 0 to 4, not 5"},
      {"4404",
       {"write", "--address", "0", "00", "--code", "1122", "--code-number", "0"},
       "--code-number: a 4404 card has only one code"},
      {"1604", {"read", "--code-number", "1"}, "--code-number: give the code, too, with --code"},
      {"24c02", {"read", "--code", "1122"}, "a 24c02 card has no code"},

      {"4406", {"erase", "--yes", "4406"}, "a 4406 card cannot be erased"},
      {"4404",
       {"erase", "--yes", "4404"},
       "on a 4404 card, an erase does not begin at 0x000E to 0x0027; one that begins before may "
       "run on"},
      {"4404",
       {"erase", "--address", "39", "--count", "1"},
       "on a 4404 card, an erase does not begin at 0x000E to 0x0027; one that begins before may "
       "run on"},
      {"102",
       {"erase", "--zone", "0", "--yes", "102"},
       "zone 0 of a 102 card has no data beside codes and counters: give --address and --count"},
      {"102",
       {"fill", "--byte", "00", "--zone", "0", "--yes", "102"},
       "zone 0 of a 102 card has no data beside codes and counters: give --address and --count"},
      {"101",
       {"erase", "--address", "22", "--yes", "101"},
       "give --address and --count, or none of them for all data of the card or zone"},
      {"101",
       {"erase", "--count", "22", "--yes", "101"},
       "give --address and --count, or none of them for all data of the card or zone"},
      {"101",
       {"erase", "--address", "30", "--count", "1", "--erase-code", "11223344"},
       "erasing the card: If the card is personalised, all data of a 101 card are erased. Confirm "
       "with --yes 101."},
      {"101",
       {"erase"},
       "erasing the card: All 128 bytes of a 101 card are overwritten. Confirm with --yes 101."},
      {"101",
       {"fill", "--byte", "00"},
       "filling the card: All 127 bytes of a 101 card are overwritten. Confirm with --yes 101."},
      {"102",
       {"erase", "--zone", "1", "--yes", "102", "--erase-code", "11223344"},
       "--erase-code: the erase code of zone 1 of a 102 card is 6 bytes, not 4"},
      {"102",
       {"erase", "--address", "0", "--count", "1", "--erase-code", "11223344"},
       "zone 0 of a 102 card has no erase code"},
      {"4442", {"erase", "--yes", "4442", "--erase-code", "1122"}, "a 4442 card has no erase code"},

      {"4404",
       {"code", "present", "--number", "0", "1122"},
       "--number: a 4404 card has only one code"},
      {"1604",
       {"code", "present", "--number", "5", "1122"},
       "--number: a 1604 card has the codes 0 to 4, not 5"},
      {"1604",
       {"code", "present", "--zone", "1", "1122"},
       "--zone: only an erase code has a zone; name it with --erase"},
      {"1604",
       {"code", "present", "--erase", "--zone", "1", "--number", "1", "1122"},
       "--number: an erase code has a --zone, not a number"},
      {"1604", {"code", "present", "--erase", "1122"}, "zone 0 of a 1604 card has no erase code"},
      {"4406", {"code", "counter", "--erase"}, "a 4406 card has no erase code"},
      {"102",
       {"code", "present", "--erase", "--zone", "2", "112233445566"},
       "HEX: the erase code of zone 2 of a 102 card is 4 bytes, not 6"},
      {"4404",
       {"code", "change", "--code", "FFFF", "--erase-code", "11223344", "1122"},
       "--erase-code: only for changing an erase code, with --erase"},
      {"4406",
       {"code", "change", "--code", "123456", "123457"},
       "NEW: in the code of a 4406 card, a bit that is 0 cannot become 1 again"},
      {"1604",
       {"code", "counter", "--number", "2"},
       "attempts at code 2 of a 1604 card are not counted"},
      {"102",
       {"code", "counter", "--erase", "--zone", "1"},
       "erasures of zone 1 of a 102 card are not counted"},

      {"4406", {"protect", "--yes", "4406"}, "the bytes of a 4406 card cannot be protected"},
      {"102", {"protect", "--yes", "102"}, "the bytes of zone 0 of a 102 card cannot be protected"},
      {"102",
       {"protect", "--zone", "1", "--address", "0", "--yes", "102"},
       "--address, --at and --count: zone 1 of a 102 card is protected as a whole"},
      {"4404",
       {"protect", "--count", "1", "--yes", "4404"},
       "--address, --at and --count: the zone of a 4404 card is protected as a whole"},
      {"102",
       {"protect", "--zone", "1"},
       "protecting: Once the card is personalised, zone 1 of a 102 card is not written any more. "
       "Only an erase before that undoes this. Confirm with --yes 102."},
      {"4442",
       {"protect", "--address", "8", "--reading", "--yes", "4442"},
       "--reading: the bytes of a 4442 card can always be read"},

      {"4442", {"personalise", "--yes", "4442"}, "a 4442 card is not personalised"},
      {"4404",
       {"personalise", "--code", "FFFF"},
       "personalising the card: Personalising a 4404 card is final. Its codes cannot be read any "
       "more, its identification stays as it is, and a zone is erased as a whole, after its erase "
       "code. Confirm with --yes 4404."},
      {"4406",
       {"personalise", "--code", "FFFFFF"},
       "personalising the card: Personalising a 4406 card is final. Its code is gone, and the "
       "bytes "
       "8 to 12 are a counter of units to be spent. Confirm with --yes 4406."},
      {"4406", {"fuse", "imitate"}, "the fuse of a 4406 card cannot be imitated"},
      {"4442", {"fuse", "release"}, "the fuse of a 4442 card cannot be imitated"},
      {"4404", {"units", "show"}, "a 4404 card does not count units"},
      {"4404", {"units", "spend", "1", "--yes", "4404"}, "a 4404 card does not count units"},
      {"4404", {"units", "carry", "8", "--yes", "4404"}, "a 4404 card does not count units"},
      {"4406",
       {"units", "spend", "1"},
       "spending units: Spending units cannot be undone. Confirm with --yes 4406."},
      {"4406",
       {"units", "carry", "8"},
       "spending units: Spending units cannot be undone. Confirm with --yes 4406."},
      {"4406", {"units", "spend", "0", "--yes", "4406"}, "N: there is nothing to spend"},
      {"4406", {"units", "carry", "7", "--yes", "4406"}, "ADDRESS: a carry begins at 0x08 to 0x0B"},
      {"4406",
       {"units", "carry", "12", "--yes", "4406"},
       "ADDRESS: a carry begins at 0x08 to 0x0B"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.kind + ": " + one.error);
    expect_error(
        run_quorra(Arguments{"--virtual", "nowhere.toml", "--card", one.kind} + one.arguments), 2,
        "quorra: " + one.error + "\n");
  }
}

// ---- Writing and erasing

struct Place {
  std::string kind;
  Arguments zone;       // as options
  std::string address;  // of a byte of the data
};

class EachSecurityCard : public SecurityCards, public ::testing::WithParamInterface<Place> {};

TEST_P(EachSecurityCard, IsWrittenComparedAndErased) {
  const auto& [kind, zone, address] = GetParam();
  insert(kind);
  std::string next = address;
  ++next.back();
  const Arguments at = zone + Arguments{"--address", address};
  const Arguments code = {"--code", "FFFF"};
  const std::string refused_write =
      std::string("quorra: writing the card: ") + refused_write_status + ": at " + address;
  expect_refused(Arguments{"write", "F00F"} + at, refused_write + " the card holds FF, not F0\n");
  expect_done(Arguments{"write", "F00F"} + at + code,
              "Wrote 2 bytes at " + address + " and read them back.\n");
  expect_done(Arguments{"verify", "F00F"} + at,
              "The card holds the same 2 bytes at " + address + ".\n");
  const std::string both = address + "-" + next;
  expect_refused(Arguments{"write", "FFF0"} + at + code,
                 "quorra: writing the card: 2 bytes cannot become what they should, at " + both +
                     ": a 0 bit cannot become 1; nothing was written; erase first\n");
  expect_refused(Arguments{"fill", "--byte", "0F", "--count", "2"} + at + code,
                 "quorra: filling the card: 1 byte cannot become what it should, at " + address +
                     ": a 0 bit cannot become 1; nothing was written; erase first\n");
  expect_done(Arguments{"verify", "F00F"} + at,
              "The card holds the same 2 bytes at " + address + ".\n");
  if (kind == "4404") return;  // No erase begins there.
  expect_refused(Arguments{"erase", "--count", "2"} + at,
                 std::string("quorra: erasing the card: ") + refused_write_status + "\n");
  expect_done(Arguments{"erase", "--count", "1"} + at + code,
              "Erased 1 byte at " + address + " and read it back.\n");
  expect_done(Arguments{"verify", "FF0F"} + at,
              "The card holds the same 2 bytes at " + address + ".\n");
}

INSTANTIATE_TEST_SUITE_P(Cards, EachSecurityCard,
                         ::testing::Values(Place{"4404", {}, "0x0018"}, Place{"101", {}, "0x0088"},
                                           Place{"102", {"--zone", "1"}, "0x0018"},
                                           Place{"102", {"--zone", "2"}, "0x0018"},
                                           Place{"1604", {"--zone", "1"}, "0x0400"},
                                           Place{"1604", {"--zone", "4"}, "0x0018"},
                                           Place{"1604b", {"--zone", "3"}, "0x0018"}),
                         [](const auto& test) {
                           const Arguments& zone = test.param.zone;
                           return "Card" + test.param.kind +
                                  (zone.empty() ? "" : "Zone" + zone.back());
                         });

TEST_F(SecurityCards, ZonesHaveAddressesOfTheirOwn) {
  insert("102", {"--data", "0x0D:A0", "--data", "0x16:C1A2", "--data", "0x5C:D1B2"});
  const Arguments two = {"--count", "2"};
  expect_done(Arguments{"read", "--address", "13"} + two,
              "0000                                          A0 FF     |             .. |\n");
  expect_done(Arguments{"read", "--zone", "1"} + two,
              "0000  C1 A2                                             |..              |\n");
  expect_done(Arguments{"read", "--zone", "2"} + two,
              "0000  D1 B2                                             |..              |\n");
  EXPECT_EQ(quorra({"read", "--zone", "1", "--raw"}).output.size(), 70U);
}

TEST_F(SecurityCards, OverwritesTheDataOfAZoneButNotItsCodes) {
  insert("102", {"--data", "0x16:0000", "--data", "0x55:00112233445566"});
  const Arguments zone = {"--zone", "1", "--code", "FFFF", "--yes", kind()};
  expect_done(Arguments{"erase"} + zone, "Erased 64 bytes at 0x0000 and read them back.\n");
  expect_done({"read", "--zone", "1", "--address", "63", "--code", "FFFF"},
              "0030                                                FF  |               .|\n"
              "0040  11 22 33 44 55 66                                 |.\"3DUf          |\n");
  expect_done(Arguments{"fill", "--byte", "00"} + zone,
              "Wrote 00 to 63 bytes at 0x0001 and read them back.\n");
  expect_done(Arguments{"erase", "--no-verify"} + zone, "Erased 64 bytes at 0x0000.\n");
}

TEST_F(SecurityCards, ErasingA4404BeginsBeforeItsData) {
  insert("4404", {"--data", "0x0D:00112233"});
  expect_done({"erase", "--address", "13", "--count", "27", "--code", "FFFF"},
              "Erased 27 bytes at 0x000D and read them back.\n");
  expect_done({"verify", "--address", "13", "FFFFFFFF"},
              "The card holds the same 4 bytes at 0x000D.\n");
}

TEST_F(SecurityCards, ErasingAsksOnATerminal) {
  insert("102");
  const Arguments erase = {QUORRA_PROGRAM, "erase", "--card",    "102",
                           "--zone",       "1",     "--virtual", image()};
  Outcome outcome;
  EXPECT_EQ(question_of(erase, "n\n", outcome),
            "All 64 bytes of zone 1 of a 102 card are overwritten. Type 102 to go on: ");
  expect_error(outcome, 2, "quorra: erasing the card: not confirmed with 102\n");
  const Arguments one_byte = {"--address", "30", "--count", "1", "--erase-code", "112233445566"};
  EXPECT_EQ(question_of(erase + one_byte, "n\n", outcome),
            "If the card is personalised, all data of zone 1 of a 102 card are erased. Type 102 to "
            "go on: ");
  expect_error(outcome, 2, "quorra: erasing the card: not confirmed with 102\n");
}

TEST_F(SecurityCards, CodesAreWrittenOnlyWithTheCommandForThem) {
  for (const auto& [kind, zone, address] :
       {Place{"101", {}, "0x000A"}, Place{"102", {"--zone", "2"}, "0x0040"}}) {
    insert(kind);
    const Arguments write =
        Arguments{"write", "--code", "FFFF", "1234", "--address", address} + zone;
    const Outcome refused = quorra(write);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.errors.find("status 21 (0x15)"), std::string::npos) << refused.errors;
    expect_done(write + Arguments{"--security"},
                "Wrote 2 bytes at " + address + " and read them back.\n");
  }
  insert("1604b");
  expect_done({"write", "--code", "FFFF", "--zone", "4", "--address", "457", "--security", "12"},
              "Wrote 1 byte at 0x01C9 and read it back.\n");
}

TEST_F(SecurityCards, EachCodeIsPresentedChangedAndCounted) {
  struct Case {
    std::string kind;
    Arguments number;
    std::string transport;
    std::string code;
    std::string most;
  };
  for (const auto& [kind, number, transport, code, most] :
       {Case{"4404", {}, "FFFF", "1234", "4"}, Case{"4406", {}, "FFFFFF", "123456", "8"},
        Case{"101", {}, "FFFF", "1234", "8"}, Case{"102", {}, "FFFF", "1234", "4"},
        Case{"1604", {"--number", "0"}, "FFFF", "1234", "8"},
        Case{"1604", {"--number", "1"}, "FFFF", "1234", "8"},
        Case{"1604b", {"--number", "4"}, "FFFF", "1234", "8"}}) {
    SCOPED_TRACE(kind + ::testing::PrintToString(number));
    insert(kind);
    const std::string one_less(1, static_cast<char>(most.front() - 1));
    expect_done(Arguments{"code", "counter"} + number, most + " attempts left.\n");
    expect_refused(Arguments{"code", "present", code} + number,
                   refused_code + ("; " + one_less + " attempts left\n"));
    expect_done(Arguments{"code", "counter"} + number, one_less + " attempts left.\n");
    expect_done(Arguments{"code", "change", "--code", transport, code} + number,
                "The code is changed.\n");
    expect_refused(Arguments{"code", "present", transport} + number,
                   refused_code + ("; " + one_less + " attempts left\n"));
    expect_done(Arguments{"code", "present", code} + number, "The code is right.\n");
    expect_done(Arguments{"code", "counter"} + number, most + " attempts left.\n");

    // The code before is the one that is changed. In the new one, no 0 becomes 1.
    std::string next_code = code;
    next_code[3] = '0';
    expect_done(Arguments{"code", "change", "--code", code, next_code} + number,
                "The code is changed.\n");
    expect_done(Arguments{"code", "present", next_code} + number, "The code is right.\n");
  }
}

TEST_F(SecurityCards, AttemptsAtSomeCodesAreNotCounted) {
  insert("1604");
  for (int attempt = 0; attempt < 9; ++attempt) {
    expect_refused({"code", "present", "--number", "3", "1234"},
                   "quorra: presenting the code: the reader refused the command with status 36 "
                   "(0x24): the security code is wrong (-36); the attempts at this code are not "
                   "counted\n");
  }
  expect_done({"code", "present", "--number", "3", "FFFF"}, "The code is right.\n");
}

TEST_F(SecurityCards, TheMasterCodeIsEnoughToChangeAnother) {
  insert("1604");
  expect_done({"code", "change", "--number", "2", "--code", "FFFF", "1111"},
              "The code is changed.\n");
  expect_done({"code", "change", "--number", "2", "--code-number", "0", "--code", "FFFF", "2222"},
              "The code is changed.\n");
  expect_done({"code", "present", "--number", "2", "2222"}, "The code is right.\n");
}

TEST_F(SecurityCards, TheLastAttemptHasToBeWanted) {
  for (const auto& [kind, number, attempts, guarded] :
       {std::tuple{"102", Arguments{}, 4, "the card"},
        {"1604b", Arguments{"--number", "3"}, 8, "the zone"}}) {
    SCOPED_TRACE(kind);
    insert(kind);
    const Arguments present = Arguments{"code", "present", "1234"} + number;
    for (int attempt = 1; attempt < attempts; ++attempt) {
      EXPECT_EQ(quorra(present).status, 1);
    }
    const std::string last =
        std::string("1 attempt left: a wrong code locks ") + guarded + " for good";
    expect_done(Arguments{"code", "counter"} + number, last + ".\n");
    expect_error(quorra(present), 2,
                 "quorra: presenting the code: " + last + ". Confirm with --yes " + kind + ".\n");
    const std::string none = std::string("0 attempts left: ") + guarded + " is locked for good\n";
    expect_refused(present + Arguments{"--yes", kind}, refused_code + ("; " + none));
    expect_refused(Arguments{"code", "present", "FFFF", "--yes", kind} + number,
                   "quorra: presenting the code: " + none);
  }
}

TEST_F(SecurityCards, EraseCodesArePresentedChangedAndCounted) {
  struct Case {
    std::string kind;
    Arguments zone;
    std::string transport;
    std::string code;
    std::string erasures;  // empty: not counted
  };
  for (const auto& [kind, zone, transport, code, erasures] :
       {Case{"4404", {}, "FFFFFFFF", "11223344", "64"},
        Case{"101", {}, "FFFFFFFF", "11223344", "128"},
        Case{"102", {"--zone", "1"}, "FFFFFFFFFFFF", "112233445566", ""},
        Case{"102", {"--zone", "2"}, "FFFFFFFF", "11223344", "128"},
        Case{"1604", {"--zone", "2"}, "FFFF", "1122", "8"},
        Case{"1604b", {"--zone", "4"}, "FFFF", "1122", "8"}}) {
    SCOPED_TRACE(kind + ::testing::PrintToString(zone));
    insert(kind);
    const Arguments erase = Arguments{"--erase"} + zone;
    if (!erasures.empty()) {
      expect_done(Arguments{"code", "counter"} + erase, erasures + " erasures left.\n");
    }
    expect_refused(Arguments{"code", "present", code} + erase, refused_erase_code);
    expect_done(Arguments{"code", "change", "--code", "FFFF", code} + erase,
                "The erase code is changed.\n");
    expect_refused(Arguments{"code", "present", transport} + erase, refused_erase_code);
    expect_done(Arguments{"code", "present", code} + erase, "The erase code is right.\n");
  }
}

TEST_F(SecurityCards, APersonalisedZoneIsErasedWithItsEraseCode) {
  insert("1604");
  expect_done({"code", "change", "--number", "2", "--code", "FFFF", "2222"},
              "The code is changed.\n");
  expect_done({"code", "change", "--erase", "--zone", "2", "--code", "FFFF", "E2E2"},
              "The erase code is changed.\n");
  expect_refused({"personalise", "--yes", kind()},
                 std::string("quorra: personalising the card: ") + refused_write_status + "\n");
  expect_done({"personalise", "--code", "FFFF", "--yes", kind()}, "The card is personalised.\n");

  const Arguments zone = {"--zone", "2", "--code-number", "2", "--code", "2222"};
  expect_done(Arguments{"write", "--address", "16", "--text", "Hello"} + zone,
              "Wrote 5 bytes at 0x0010 and read them back.\n");
  expect_refused(Arguments{"erase", "--yes", kind()} + zone,
                 std::string("quorra: erasing the card: ") + refused_write_status + "\n");
  expect_refused(Arguments{"erase", "--yes", kind(), "--erase-code", "E1E1"} + zone,
                 refused_erase_code);
  expect_done(Arguments{"erase", "--yes", kind(), "--erase-code", "E2E2"} + zone,
              "Erased 256 bytes at 0x0000 and read them back.\n");
  expect_done({"code", "counter", "--erase", "--zone", "2"}, "7 erasures left.\n");
  expect_done(Arguments{"fill", "--byte", "55", "--yes", kind()} + zone,
              "Wrote 55 to 255 bytes at 0x0001 and read them back.\n");
  expect_done(Arguments{"fill", "--byte", "AA", "--yes", kind(), "--erase-code", "E2E2"} + zone,
              "Wrote AA to 255 bytes at 0x0001 and read them back.\n");
  expect_done({"code", "counter", "--erase", "--zone", "2"}, "6 erasures left.\n");

  // The erase code is changed after the code of the zone and the old erase code.
  const Arguments change = Arguments{"code", "change", "--erase", "E3E3"} + zone;
  EXPECT_EQ(quorra(change).status, 1);
  expect_done(change + Arguments{"--erase-code", "E2E2"}, "The erase code is changed.\n");
  expect_done({"code", "present", "--erase", "--zone", "2", "E3E3"}, "The erase code is right.\n");
}

TEST_F(SecurityCards, PersonalisingNeedsTheCode) {
  for (const char* kind : {"4404", "4406", "101", "102", "1604", "1604b"}) {
    insert(kind);
    expect_refused({"personalise", "--yes", kind},
                   std::string("quorra: personalising the card: ") + refused_write_status + "\n");
  }
}

TEST_F(SecurityCards, ProtectsAZoneAgainstReading) {
  insert("102", {"--data", "0x26:41"});
  expect_refused({"protect", "--zone", "1", "--reading", "--yes", kind()},
                 std::string("quorra: protecting: ") + refused_write_status + "\n");
  expect_done(
      {"protect", "--zone", "1", "--reading", "--code", "FFFF", "--yes", kind()},
      "Protected: once the card is personalised, zone 1 of a 102 card is read only after its "
      "code was presented.\n");
  expect_done({"protect", "--zone", "1", "--reading", "--yes", kind()},
              "Already protected: once the card is personalised, zone 1 of a 102 card is read only "
              "after its code was presented.\n");
  const Arguments byte = {"read", "--zone", "1", "--address", "16", "--count", "1"};
  expect_done(byte, "0010  FF                                                |.               |\n");
  expect_done(byte + Arguments{"--code", "FFFF"},
              "0010  41                                                |A               |\n");
  expect_done({"verify", "--zone", "1", "--address", "16", "41", "--code", "FFFF"},
              "The card holds the same 1 byte at 0x0010.\n");
}

TEST_F(SecurityCards, ProtectsTheZoneThatARegionNames) {
  insert("102");
  const Arguments protect = {"protect", "--code", "FFFF", "--yes", kind(), "--at"};
  constexpr char zone_1[] =
      "once the card is personalised, zone 1 of a 102 card is not written any more.\n";
  expect_done(protect + Arguments{"zone1.data"}, std::string("Protected: ") + zone_1);
  for (const char* region : {"zone1", "zone1.flags"}) {
    expect_done(protect + Arguments{region}, std::string("Already protected: ") + zone_1);
  }
  expect_error(quorra(protect + Arguments{"zone0.issuer"}), 2,
               "quorra: the bytes of zone 0 of a 102 card cannot be protected\n");
  insert("4404");
  expect_done(
      {"protect", "--code", "FFFF", "--yes", kind(), "--at", "data"},
      "Protected: once the card is personalised, the zone of a 4404 card is not written any "
      "more.\n");
  expect_error(quorra({"protect", "--code", "FFFF", "--yes", kind(), "--at", "data+1"}), 2,
               "quorra: --address, --at and --count: the zone of a 4404 card is protected as a "
               "whole\n");
}

TEST_F(SecurityCards, ProtectsAZoneAgainstWriting) {
  insert("4404", {"--data", "0x10:00"});
  const Arguments protect = {"protect", "--code", "FFFF"};
  expect_done(
      protect + Arguments{"--yes", kind()},
      "Protected: once the card is personalised, the zone of a 4404 card is not written any "
      "more.\n");
  expect_done({"personalise", "--code", "FFFF", "--yes", kind()}, "The card is personalised.\n");
  expect_refused({"write", "--address", "17", "00", "--code", "FFFF"},
                 std::string("quorra: writing the card: ") + refused_write_status +
                     ": at 0x0011 the card holds FF, not 00\n");
  // The flag stays 0, and that is no error.
  expect_done({"erase", "--address", "13", "--count", "27", "--code", "FFFF", "--erase-code",
               "FFFFFFFF", "--yes", kind()},
              "Erased 27 bytes at 0x000D and read them back.\n");
  expect_done({"read", "--address", "14", "--count", "3"},
              "0000                                             7F FF  |              ..|\n"
              "0010  FF                                                |.               |\n");
}

TEST_F(SecurityCards, AsksBeforeWhatIsFinal) {
  struct Case {
    Arguments command;
    std::string question;
    std::string refused;
    std::string done;
  };
  const Case cases[] = {
      {{"protect", "--card", "102", "--zone", "2", "--code", "FFFF"},
       "Once the card is personalised, zone 2 of a 102 card is not written any more. Only an erase "
       "before that undoes this. Type 102 to go on: ",
       "quorra: protecting: not confirmed with 102\n",
       "Protected: once the card is personalised, zone 2 of a 102 card is not written any more.\n"},
      {{"personalise", "--card", "102", "--code", "FFFF"},
       "Personalising a 102 card is final. Its codes cannot be read any more, its identification "
       "stays as it is, and a zone is erased as a whole, after its erase code. Type 102 to go on: ",
       "quorra: personalising the card: not confirmed with 102\n",
       "The card is personalised.\n"},
  };
  insert("102");
  for (const Case& one : cases) {
    const Arguments command =
        Arguments{QUORRA_PROGRAM} + one.command + Arguments{"--virtual", image()};
    const std::string before = content_of(image());
    Outcome outcome;
    EXPECT_EQ(question_of(command, "4442\n", outcome), one.question);
    expect_error(outcome, 2, one.refused);
    EXPECT_EQ(content_of(image()), before);
    EXPECT_EQ(question_of(command, "102\n", outcome), one.question);
    expect_success(outcome, one.done);
    EXPECT_NE(content_of(image()), before);
  }
}

// A reader that runs keeps the card's power between two commands, and with it the imitation.
TEST_F(SecurityCards, ImitatesTheFuseUntilItIsReleased) {
  insert("101", {"--data", "0x0A:1234"});
  Process simulator({QUORRA_SIM_PROGRAM, "--card", image()});
  const Arguments reader = {"--force", "--card", "101", "--config", simulator.read_line()};
  const auto code_bytes = [&] {
    return run_quorra(
               Arguments{"read", "--address", "10", "--count", "2", "--code", "1234", "--raw"} +
               reader)
        .output;
  };
  EXPECT_EQ(code_bytes(), "\x12\x34");
  expect_success(run_quorra(Arguments{"fuse", "imitate"} + reader),
                 "The card behaves as a personalised one until its power goes off.\n");
  EXPECT_EQ(code_bytes(), "\xFF\xFF");
  const Outcome map = run_quorra(Arguments{"map", "--code", "1234"} + reader);
  EXPECT_NE(map.output.find("It is personalised, or its fuse is imitated."), std::string::npos)
      << map.output;
  expect_success(run_quorra(Arguments{"fuse", "release"} + reader),
                 "The card behaves as its own fuse says.\n");
  EXPECT_EQ(code_bytes(), "\x12\x34");
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait().status, 0);
}

TEST_F(SecurityCards, ProtectsAPersonalisedZoneAgainstBoth) {
  insert("1604b");
  expect_done({"personalise", "--code", "FFFF", "--yes", kind()}, "The card is personalised.\n");
  const Arguments protect = {"protect", "--zone", "3",     "--code-number", "3",
                             "--code",  "FFFF",   "--yes", kind()};
  const std::string protected_zone =
      "Protected: once the card is personalised, zone 3 of a 1604b card ";
  expect_done(protect + Arguments{"--reading"},
              protected_zone + "is read only after its code was presented.\n");
  expect_done(protect, protected_zone + "is not written any more.\n");
  expect_done({"read", "--zone", "3", "--count", "1"},
              "0000  3F                                                |?               |\n");
}

TEST_F(SecurityCards, The4406CannotBeErased) {
  insert("4406");
  const Arguments write = {"write", "--address", "3", "--code", "FFFFFF"};
  expect_done(write + Arguments{"F0"}, "Wrote 1 byte at 0x0003 and read it back.\n");
  expect_refused(
      write + Arguments{"0F"},
      "quorra: writing the card: 1 byte cannot become what it should, at 0x0003: a 0 bit "
      "cannot become 1; nothing was written; this card cannot do that\n");
}

TEST_F(SecurityCards, The4406CountsUnitsOnceItIsPersonalised) {
  insert("4406");
  const std::string no_units =
      "quorra: reading the units: a card has them only after it was personalised\n";
  expect_refused({"units", "show"}, no_units);
  expect_refused({"units", "spend", "1", "--yes", kind()}, no_units);
  expect_done({"personalise", "--code", "FFFFFF", "--yes", kind()}, "The card is personalised.\n");
  expect_done({"personalise", "--yes", kind()}, "The card was personalised before.\n");
  const std::string no_code = ": the card is personalised and has no code any more\n";
  expect_refused({"code", "counter"}, "quorra: reading the attempts left" + no_code);
  expect_refused({"code", "present", "FFFFFF"}, "quorra: presenting the code" + no_code);

  // 7 x 4096 + 8 x 512 + 8 x 64 + 8 x 8 + 8
  expect_done({"units", "show"},
              "stage  units  worth\n"
              "0x08       7  28672\n"
              "0x09       8   4096\n"
              "0x0A       8    512\n"
              "0x0B       8     64\n"
              "0x0C       8      8\n"
              "total         33352\n");
  expect_done({"units", "spend", "3", "--yes", kind()}, "Spent 3 units; 33349 left.\n");
  expect_done({"units", "spend", "70", "--yes", kind()}, "Spent 70 units; 33279 left.\n");
  expect_done({"units", "show"},
              "stage  units  worth\n"
              "0x08       7  28672\n"
              "0x09       8   4096\n"
              "0x0A       7    448\n"
              "0x0B       7     56\n"
              "0x0C       7      7\n"
              "total         33279\n");
  expect_done({"units", "carry", "0x0B", "--yes", kind()},
              "stage  units  worth\n"
              "0x08       7  28672\n"
              "0x09       8   4096\n"
              "0x0A       7    448\n"
              "0x0B       6     48\n"
              "0x0C       8      8\n"
              "total         33272\n");
  expect_refused({"units", "spend", "33273", "--yes", kind()},
                 "quorra: spending units: the card has 33272 units, not 33273\n");
}

TEST_F(SecurityCards, The4406SpendsItsVeryLastUnit) {
  insert("4406", {"--data", "8:0100000000"});  // one unit of the first stage
  expect_done({"units", "spend", "4095", "--yes", kind()}, "Spent 4095 units; 1 left.\n");
  expect_done({"units", "spend", "1", "--yes", kind()}, "Spent 1 unit; 0 left.\n");
  expect_refused({"units", "spend", "1", "--yes", kind()},
                 "quorra: spending units: the card has 0 units, not 1\n");
  expect_refused({"units", "carry", "8", "--yes", kind()},
                 "quorra: spending units: stage 0x08 has none\n");
  expect_done({"read", "--address", "8"},
              "0000                           00 00 00 00 00           |        .....   |\n");
}

TEST_F(SecurityCards, SpendingAsksOnATerminal) {
  insert("4406", {"--data", "8:7F"});
  const Arguments card = {"--card", "4406", "--virtual", image()};
  Outcome outcome;
  EXPECT_EQ(question_of(Arguments{QUORRA_PROGRAM, "units", "spend", "8"} + card, "n\n", outcome),
            "8 of 33352 units are spent for good. Type 4406 to go on: ");
  expect_error(outcome, 2, "quorra: spending units: not confirmed with 4406\n");
  EXPECT_EQ(question_of(Arguments{QUORRA_PROGRAM, "units", "carry", "10"} + card, "n\n", outcome),
            "A unit of stage 0x0A is spent for 8 of stage 0x0B; the 8 that this one has are lost. "
            "Type 4406 to go on: ");
  expect_error(outcome, 2, "quorra: spending units: not confirmed with 4406\n");
}

TEST_F(SecurityCards, MapShowsWhatIsWhere) {
  insert("4404", {"--data", "10:30", "--data", "0x20:4142"});
  expect_done({"map"},
              "4404 card, 52 bytes. It does not tell whether it is personalised.\n"
              "\n"
              "|iiiiiiiiiiiiCCCCCCCCaaaaooooooooffff--------------------EEEEEEEEeeeeeeeeeeee|\n"
              "\n"
              "   i   0000-0007  identification  81 24 FF FF FF FF FF FF\n"
              "   C   0008-0009  code            FF FF, or hidden\n"
              "   a   000A       attempts        2 attempts left\n"
              "   o   000B-000D  issuer          FF FF FF\n"
              "   f   000E       flags           may be written, read by everybody\n"
              "   -   000F-0027  data            25 bytes, 2 of them not FF\n"
              "   E   0028-002B  erase_code      FF FF FF FF, or hidden\n"
              "   e   002C-0033  erasures        64 erasures left\n");
}

TEST_F(SecurityCards, MapShowsZonesAndCountersAtTheirEnd) {
  insert("1604", {"--data", "10:1234", "--data", "23:00", "--data", "0x1A:01", "--data", "0x1B:3F",
                  "--data", "0x4CB:7F"});
  const std::string map = quorra({"map"}).output;
  for (const char* row : {
           "1604 card, 2007 bytes in 5 zones. It does not tell whether it is personalised.\n\n|ii",
           "zone 0, 27 bytes from 0x0000\n",
           "   C   000A-000B  zone0.code            FF FF, or hidden\n",
           "   a   0017       zone1.attempts        0 attempts left: locked for good\n",
           "   e   001A       zone1.erasures        1 erasure left\n",
           "zone 1, 1200 bytes from 0x001B\n"
           "   f   0000       zone1.flags           no more writing, read with the code only\n"
           "   -   0001-04AA  zone1.data            1194 bytes, all of them FF, or hidden\n"
           "   C   04AB-04AC  zone2.code            FF FF, or hidden\n",
           "zone 2, 261 bytes from 0x04CB\n"
           "   f   0000       zone2.flags           no more writing, read by everybody\n"
           "   -   0001-00FF  zone2.data            255 bytes, all of them FF\n",
           "zone 4, 258 bytes from 0x06D5\n",
       }) {
    EXPECT_NE(map.find(row), std::string::npos) << row << "is not in\n" << map;
  }
  const std::string issuers = quorra({"map", "--code", "1234"}).output;
  EXPECT_NE(issuers.find(" It is not personalised.\n"), std::string::npos) << issuers;
  EXPECT_NE(issuers.find("  zone0.code            12 34\n"), std::string::npos) << issuers;
}

TEST_F(SecurityCards, MapNamesTheRegionsOfEveryCard) {
  insert("4442");
  expect_done({"map"},
              "4442 card, 256 bytes.\n"
              "\n"
              "|rrrrrrrrrrrrrrrrrrrrr-------------------------------------------------------|\n"
              "\n"
              "   r   0000-001F  protectable  32 bytes, 6 of them not FF\n"
              "   -   0020-00FF  data         224 bytes, all of them FF\n");
  insert("4428", {"--force"});
  const std::string map = quorra({"map"}).output;
  EXPECT_NE(map.find("   a   03FD       attempts  8 attempts left\n"
                     "   C   03FE-03FF  code      00 00, or hidden\n"),
            std::string::npos)
      << map;
  insert("45d041", {"--force"});
  EXPECT_NE(quorra({"map"}).output.find("   -   0000-83FFF  data  540672 bytes\n"),
            std::string::npos);
}

// What the map names, --at takes.
TEST_F(SecurityCards, RegionsOfTheMapAreTaken) {
  for (const char* kind : {"4442", "4404", "4406", "101", "102", "1604", "1604b"}) {
    insert(kind, {"--force"});
    const auto areas = nlohmann::json::parse(quorra({"map", "--json"}).output).at("areas");
    EXPECT_GT(areas.size(), 1U);
    for (const auto& area : areas) {
      const auto name = area.at("name").get<std::string>();
      const auto read = nlohmann::json::parse(quorra({"read", "--at", name, "--json"}).output);
      EXPECT_EQ(read.at("data"), area.at("data")) << kind << ": " << name;
      EXPECT_EQ(read.at("address"), area.at("card_address")) << kind << ": " << name;
    }
  }
}

TEST_F(SecurityCards, MapTellsNothingByACodeThatIsHiddenAsItself) {
  insert("102");
  const std::string map = quorra({"map", "--code", "FFFF"}).output;
  EXPECT_NE(map.find(" It does not tell whether it is personalised.\n"), std::string::npos) << map;
}

TEST_F(SecurityCards, MapShowsAHiddenZoneToWhoeverPresentsTheCode) {
  insert("102", {"--data", "22:3F4142"});
  const auto expect_data = [this](const Arguments& command, const std::string& words) {
    const std::string map = quorra(command).output;
    EXPECT_NE(map.find("zone1.flags           no more writing, read with the code only\n"
                       "   -   0001-003F  zone1.data            63 bytes, " +
                       words + "\n"),
              std::string::npos)
        << map;
  };
  expect_data({"map"}, "all of them FF, or hidden");
  expect_data({"map", "--code", "FFFF"}, "2 of them not FF");
}

TEST_F(SecurityCards, MapOfA4406ChangesWhenItIsPersonalised) {
  insert("4406", {"--data", "9:01"});
  expect_done({"map"},
              "4406 card, 13 bytes. It is not personalised.\n"
              "\n"
              "|iiiiiiiiiiiiiiiiooooooooooooooooooooooooooooppppppppaaaaaaaaCCCCCCCCCCCCCCCC|\n"
              "\n"
              "   i   0000-0002  identification   98 20 FF\n"
              "   o   0003-0007  issuer           FF FF FF FF FF\n"
              "   p   0008       personalisation  FF\n"
              "   a   0009       attempts         1 attempt left: the last one\n"
              "   C   000A-000C  code             00 00 00, or hidden\n");
  insert("4406", {"--force", "--data", "8:7F01FEFF00"});
  expect_done({"map"},
              "4406 card, 13 bytes. It is personalised.\n"
              "\n"
              "|iiiiiiiiiiiiiii--------------------------uuuuuuuuuuuuuuuuuuuuuuuuuuuuuuuuuuu|\n"
              "\n"
              "   i   0000-0002  identification  98 20 FF\n"
              "   -   0003-0007  data            FF FF FF FF FF\n"
              "   u   0008       stage1          7 units left\n"
              "   u   0009       stage2          1 unit left\n"
              "   u   000A       stage3          7 units left\n"
              "   u   000B       stage4          8 units left\n"
              "   u   000C       stage5          0 units left\n");
}

TEST_F(SecurityCards, MapsHave80ColumnsAtMost) {
  for (const char* kind : {"4404", "4406", "101", "102", "1604", "1604b"}) {
    insert(kind);
    const std::string map = quorra({"map"}).output;
    EXPECT_GT(map.size(), 300U) << kind;
    std::size_t begin = 0;
    for (std::size_t end = map.find('\n'); end != std::string::npos; end = map.find('\n', begin)) {
      EXPECT_LE(end - begin, 80U) << kind << ": " << map.substr(begin, end - begin);
      begin = end + 1;
    }
  }
}

TEST_F(SecurityCards, MapHasColoursOnATerminalOnly) {
  insert("102");
  const auto on_terminal = [this](const std::optional<std::string>& no_colour) {
    const Terminal terminal;
    const Outcome outcome = run_quorra({"map", "--virtual", image(), "--card", "102"},
                                       {.input = {},
                                        .streams = {{STDOUT_FILENO, terminal.line()}},
                                        .environment = {{"NO_COLOR", no_colour}}});
    EXPECT_EQ(outcome.status, 0);
    return terminal.read_all();
  };
  const std::string plain = quorra({"map"}).output;
  EXPECT_EQ(plain.find('\x1B'), std::string::npos);
  EXPECT_EQ(on_terminal("1"), plain);
  const std::string coloured = on_terminal(std::nullopt);
  // The bands of the three zones: cyan, blue and green.
  for (const char* band : {"\x1B[46m", "\x1B[44m", "\x1B[42m"}) {
    EXPECT_NE(coloured.find(band), std::string::npos);
  }
  std::string without_colours;
  for (std::size_t at = 0; at < coloured.size(); ++at) {
    if (coloured[at] == '\x1B') {
      at = coloured.find('m', at);
    } else {
      without_colours += coloured[at];
    }
  }
  EXPECT_EQ(without_colours, plain);
}

TEST_F(SecurityCards, DetectTellsWhatIsThere) {
  const std::string of_102 =
      "card  102 or 101\n"
      "size  178 bytes in 3 zones (the 101: 172 bytes)\n"
      "can   read and write, erase, personalise, code of 2 bytes with 4 attempts (the 101: code of "
      "2 bytes with 8 attempts)\n";
  struct Case {
    std::string kind;
    std::string words;
    std::string named;
  };
  const Case cases[] = {
      {"4404",
       "card  4404\nsize  52 bytes\n"
       "can   read and write, erase, personalise, code of 2 bytes with 4 attempts\n",
       "4404"},
      {"4406",
       "card  4406\nsize  13 bytes\n"
       "can   read and write, personalise, count units, code of 3 bytes with 8 attempts\n",
       "4406"},
      {"101", of_102, "102"},
      {"102", of_102, "102"},
      {"1604",
       "card  1604\nsize  2007 bytes in 5 zones\n"
       "can   read and write, erase, personalise, 5 codes of 2 bytes, 2 of them with 8 attempts\n",
       "1604"},
      {"1604b",
       "card  1604b\nsize  2042 bytes in 5 zones\n"
       "can   read and write, erase, personalise, 5 codes of 2 bytes with 8 attempts\n",
       "1604b"},
  };
  for (const Case& one : cases) {
    insert(one.kind);
    const std::string before = content_of(image());
    expect_success(
        run_quorra({"detect", "--by-writing", "--yes", "--virtual", image()}),
        one.words + "next  quorra map --virtual " + image() + " --card " + one.named + "\n");
    EXPECT_EQ(content_of(image()), before) << one.kind;
  }
}

}  // namespace
}  // namespace quorra::testing
