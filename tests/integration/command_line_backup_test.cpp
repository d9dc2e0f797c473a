// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra: backups of cards, restoring them, and differences.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

class BackupCommands : public CommandLine {
 protected:
  std::string path(const std::string& name) const { return folder / name; }

  static std::string content_of(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  void write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
  }

  std::string backup_of(const std::string& image, const std::string& name) const {
    const Outcome outcome = run_quorra({"backup", "--virtual", image, path(name)});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    return path(name);
  }
};

TEST_F(BackupCommands, BackupIsTheSameEachTime) {
  for (const char* kind : {"4442", "4428", "24c16", "93c46a", "4406", "102", "1604b", "45d041"}) {
    const std::string image = new_card(kind, {"--force"});
    const std::string first = backup_of(image, "first.json");
    const std::string second = backup_of(image, "second.json");
    EXPECT_EQ(content_of(first), content_of(second)) << kind;
    EXPECT_EQ(run_quorra({"diff", first, second}).status, 0) << kind;
    EXPECT_EQ(run_quorra({"diff", first, "--virtual", image}).status, 0) << kind;
  }
}

TEST_F(BackupCommands, BackupTellsWhatItSaved) {
  const std::string image = new_card("4442");
  expect_success(run_quorra({"backup", "--virtual", image, path("b.json")}),
                 "Saved a backup of all 256 bytes of a 4442 card in " + path("b.json") + ".\n");
  EXPECT_EQ(run_quorra({"backup", "--virtual", image, "-"}).output, content_of(path("b.json")));
  expect_success(
      run_quorra({"backup", "--virtual", image, path("c.json"), "--json"}),
      R"({"schema_version":1,"command":"backup","ok":true,"card":"4442","count":256,"file":")" +
          path("c.json") + "\",\"hidden\":[]}\n");
}

TEST_F(BackupCommands, BackupIsRefusedWithoutAFile) {
  const std::string image = new_card("4442");
  expect_error(run_quorra({"backup", "--virtual", image}), 2,
               "quorra: nothing to save the backup in: give FILE, or --image for a virtual card\n");
  EXPECT_EQ(run_quorra({"backup", "--virtual", image, "--json", "-"}).status, 2);
}

// A backup lacks what cannot be read: the code, for example.
TEST_F(BackupCommands, BackupLeavesTheCardItIsOfAlone) {
  const std::string image = new_card("4442");
  const std::string before = content_of(image);
  expect_error(run_quorra({"backup", "--virtual", image, "--image", image}), 2,
               "quorra: --image: " + image +
                   " is the file of --virtual, which would be lost; name another one\n");
  expect_error(run_quorra({"backup", "--virtual", image, image}), 2,
               "quorra: FILE: " + image +
                   " is the file of --virtual, which would be lost; name another one\n");
  EXPECT_EQ(content_of(image), before);
}

TEST_F(BackupCommands, BackupMakesAVirtualCard) {
  for (const char* kind : {"4442", "4428", "24c16", "93c46a", "4406", "102", "1604b"}) {
    const std::string image = new_card(kind, {"--force"});
    const std::string copy = path("copy.toml");
    EXPECT_EQ(run_quorra({"backup", "--virtual", image, "--image", copy}).status, 0) << kind;
    EXPECT_EQ(content_of(copy), content_of(image)) << kind;
  }
}

TEST_F(BackupCommands, RestoreWritesOnlyWhatDiffers) {
  const std::string image = new_card("24c16");
  const std::string backup = backup_of(image, "b.json");
  const std::string before = content_of(image);
  EXPECT_EQ(run_quorra({"write", "--virtual", image, "--address", "1000", "00", "01"}).status, 0);
  expect_success(run_quorra({"restore", "--virtual", image, backup, "--plan"}),
                 "2 bytes to change in 1 frame; bits 1->0: 0, 0->1: 15; erasures: 0; attempts: "
                 "0.\n0x0360-0x03EF written\n");
  EXPECT_NE(content_of(image), before);
  expect_success(run_quorra({"restore", "--virtual", image, backup, "--yes", "24c16"}),
                 "Restored 2 bytes in 1 frame and read them back.\n");
  EXPECT_EQ(content_of(image), before);
  expect_success(run_quorra({"restore", "--virtual", image, backup, "--yes", "24c16"}),
                 "Nothing to write: the card holds all that can come back.\n");
  expect_success(run_quorra({"restore", "--virtual", image, backup, "--yes", "24c16", "--all"}),
                 "Restored 0 bytes in 15 frames and read them back.\n");
}

TEST_F(BackupCommands, RestoreTellsFirstWhatDoesNotComeBack) {
  const std::string image = new_card("4442");
  EXPECT_EQ(
      run_quorra({"write", "--virtual", image, "--code", "FFFFFF", "--address", "10", "0F"}).status,
      0);
  const std::string backup = backup_of(image, "b.json");
  EXPECT_EQ(
      run_quorra({"write", "--virtual", image, "--code", "FFFFFF", "--address", "10", "00"}).status,
      0);
  EXPECT_EQ(run_quorra({"protect", "--virtual", image, "--code", "FFFFFF", "--address", "10",
                        "--count", "1", "--yes", "4442"})
                .status,
            0);
  const Outcome planned =
      run_quorra({"restore", "--virtual", image, backup, "--plan", "--code", "FFFFFF"});
  EXPECT_EQ(planned.status, 1) << planned.errors;
  EXPECT_EQ(planned.errors, "");
  EXPECT_EQ(planned.output,
            "What does not come back:\n"
            "  code: the backup does not know it\n"
            "  0x000A  protectable: read-only for good\n"
            "  0x000A  protectable: has become read-only, which stays\n"
            "0 bytes to change in 0 frames; bits 1->0: 0, 0->1: 0; erasures: 0; attempts: 1.\n");
}

TEST_F(BackupCommands, RestoreErasesAZoneWithItsEraseCode) {
  const std::string image = new_card("1604", {"--data", "0x4D0:4142"});
  EXPECT_EQ(
      run_quorra({"personalise", "--virtual", image, "--code", "FFFF", "--yes", "1604"}).status, 0);
  const std::string backup = backup_of(image, "b.json");
  const Arguments code = {"--virtual", image, "--code-number", "2", "--code", "FFFF"};
  EXPECT_EQ(run_quorra(Arguments{"write", "--zone", "2", "--address", "5", "0000"} + code).status,
            0);
  const Arguments restore = Arguments{"restore", backup, "--yes", "1604"} + code;
  const Outcome without = run_quorra(restore);
  EXPECT_EQ(without.status, 1);
  EXPECT_EQ(without.errors, "");
  EXPECT_NE(without.output.find("0x04D0-0x04D1  zone2.data: a 0 bit cannot become 1\n"),
            std::string::npos)
      << without.output;
  const Arguments erase = {"--erase-code", "FFFF"};
  expect_error(run_quorra(restore + erase), 2,
               "quorra: --erase-code: name its zone with --zone; one zone is restored at a time "
               "then\n");
  const Outcome planned = run_quorra(restore + erase + Arguments{"--zone", "2", "--plan"});
  EXPECT_EQ(planned.status, 0) << planned.output;
  EXPECT_NE(planned.output.find("erasures: 1; attempts: 0.\n0x04CB-0x05CA erased\n"),
            std::string::npos)
      << planned.output;
  const Outcome done = run_quorra(restore + erase + Arguments{"--zone", "2"});
  EXPECT_EQ(done.status, 0) << done.output << done.errors;
  EXPECT_EQ(run_quorra({"verify", "--virtual", image, "--address", "0x4D0", "4142"}).status, 0);
}

TEST_F(BackupCommands, RestorePlansWithoutTheCode) {
  const std::string image = new_card("4442", {"--data", "0x20:55"});
  const std::string backup = backup_of(image, "b.json");
  const std::string other = new_card("4442", {"--force"});
  const std::string before = content_of(other);
  const Arguments plan = {"restore", backup, "--virtual", other, "--plan"};
  const Outcome planned = run_quorra(plan + Arguments{"--code", "000000"});
  EXPECT_EQ(planned.status, 0) << planned.output;
  EXPECT_NE(planned.output.find("1 byte to change in 1 frame; bits 1->0: 4, 0->1: 0; erasures: 0; "
                                "attempts: 1.\n"),
            std::string::npos)
      << planned.output;
  EXPECT_EQ(run_quorra(plan).status, 1) << "the code is missing";
  EXPECT_EQ(content_of(other), before);
}

TEST_F(BackupCommands, RestoreProtectsAgain) {
  const std::string image = new_card("4442", {"--data", "8:55", "--protect", "8"});
  const std::string backup = backup_of(image, "b.json");
  const std::string other = new_card("4442", {"--force"});
  const Arguments restore = {"restore", backup,   "--virtual", other,
                             "--code",  "FFFFFF", "--yes",     "4442"};
  const Outcome without = run_quorra(restore);
  EXPECT_EQ(without.status, 1);
  EXPECT_NE(without.output.find("0x0008  protectable: was read-only, and is not made so again\n"),
            std::string::npos)
      << without.output;
  EXPECT_EQ(run_quorra(restore + Arguments{"--skip-protected"}).status, 0);
  const Outcome done = run_quorra(restore + Arguments{"--protect"});
  EXPECT_EQ(done.status, 0) << done.output << done.errors;
  EXPECT_NE(done.output.find("0x0008 protected\n"), std::string::npos) << done.output;
  const Outcome read = run_quorra({"read", "--virtual", other, "--address", "8", "--count", "2"});
  EXPECT_EQ(read.output.substr(0, 4), "0000");
  EXPECT_NE(read.output.find("55*FF "), std::string::npos) << read.output;
  EXPECT_EQ(run_quorra({"diff", backup, "--virtual", other}).status, 0);
}

TEST_F(BackupCommands, RestoreGuardsZonesAgain) {
  const std::string image = new_card("102", {"--data", "0x60:41"});
  const std::string open = content_of(image);
  const auto on = [&](const Arguments& words) {
    return run_quorra(words + Arguments{"--virtual", image, "--code", "FFFF", "--yes", "102"});
  };
  EXPECT_EQ(on({"protect", "--zone", "2", "--reading"}).status, 0);
  EXPECT_EQ(on({"protect", "--zone", "2"}).status, 0);
  EXPECT_EQ(on({"protect", "--zone", "1"}).status, 0);
  const std::string guarded = content_of(image);
  const std::string backup = path("b.json");
  EXPECT_EQ(on({"backup", backup}).status, 0);
  write_file(image, open);
  const Outcome left = on({"restore", backup});
  EXPECT_EQ(left.status, 1);
  EXPECT_NE(left.output.find("zone1.flags: flags are left alone"), std::string::npos)
      << left.output;
  EXPECT_EQ(content_of(image), open);
  EXPECT_EQ(on({"restore", backup, "--protect", "--plan"}).status, 0);
  EXPECT_EQ(content_of(image), open);
  const Outcome of_zone = on({"restore", backup, "--protect", "--zone", "1"});
  EXPECT_EQ(of_zone.status, 0) << of_zone.output << of_zone.errors;
  EXPECT_NE(of_zone.output.find("\nonce the card is personalised, zone 1 of a 102 card is not "
                                "written any more\n"),
            std::string::npos)
      << of_zone.output;
  EXPECT_EQ(of_zone.output.find("zone 2 of"), std::string::npos) << of_zone.output;
  EXPECT_NE(content_of(image), guarded);
  const Outcome whole = on({"restore", backup, "--protect"});
  EXPECT_EQ(whole.status, 0) << whole.output << whole.errors;
  EXPECT_EQ(content_of(image), guarded);
  // The other way about, flags stay 0 whatever is wanted.
  const std::string of_open = path("open.json");
  write_file(image, open);
  EXPECT_EQ(on({"backup", of_open}).status, 0);
  write_file(image, guarded);
  EXPECT_EQ(on({"restore", of_open, "--protect"}).status, 1);
  EXPECT_EQ(content_of(image), guarded);
}

TEST_F(BackupCommands, RestoreErasesWhereItsIssuerMay) {
  const std::string image = new_card("101");
  const std::string backup = backup_of(image, "b.json");
  const Arguments code{"--code", "FFFF"};
  EXPECT_EQ(
      run_quorra(Arguments{"write", "--virtual", image, "--address", "30", "12"} + code).status, 0);
  const Arguments restore = Arguments{"restore", "--virtual", image, backup, "--yes", "101"} + code;
  EXPECT_EQ(run_quorra(restore + Arguments{"--plan"}).status, 1);
  EXPECT_EQ(run_quorra(restore + Arguments{"--plan", "--erase"}).status, 0);
  EXPECT_EQ(run_quorra(restore + Arguments{"--erase"}).status, 0);
  EXPECT_EQ(run_quorra({"diff", "--virtual", image, backup}).status, 0);
}

TEST_F(BackupCommands, RestoreRefusesAnotherKind) {
  const std::string backup = backup_of(new_card("4442"), "b.json");
  const std::string other = new_card("24c02", {"--force"});
  const std::string before = content_of(other);
  const Outcome outcome = run_quorra({"restore", "--virtual", other, backup, "--yes", "4442"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.errors.find("this is a 24c02, not a 4442"), std::string::npos);
  expect_error(
      run_quorra({"restore", "--virtual", other, "--card", "24c02", backup, "--yes", "24c02"}), 2,
      "quorra: " + backup + " is a backup of a 4442 card, not of a 24c02\n");
  expect_error(run_quorra({"restore", "--virtual", other, backup, "--yes", "24c02"}), 2,
               "quorra: --yes: " + backup + " is a backup of a 4442 card, not of a 24c02\n");
  EXPECT_EQ(content_of(other), before);
}

TEST_F(BackupCommands, RestoreRefusesADamagedBackup) {
  const std::string image = new_card("24c02");
  std::string text = content_of(backup_of(image, "b.json"));
  text[text.find("FFFF")] = 'E';
  write("b.json", text);
  const Outcome outcome =
      run_quorra({"restore", "--virtual", image, path("b.json"), "--yes", "24c02"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.errors.find("the backup was damaged or changed"), std::string::npos);
  EXPECT_EQ(run_quorra({"restore", "--virtual", image, path("none.json"), "--yes", "24c02"}).status,
            2);
}

TEST_F(BackupCommands, DiffComparesFilesOfAnyFormat) {
  write("a.hex", ":02002000DEAD53\n:02003000BEEF21\n:00000001FF\n");
  write("b.srec", "S1050020DEAC50\nS1050030BEEF1D\nS9030000FC\n");
  const Outcome outcome = run_quorra({"diff", path("a.hex"), path("b.srec")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.output, "- " + path("a.hex") + "\n+ " + path("b.srec") +
                                "\n0x0021\n  0021  - AD\n  0021  + AC\n1 byte differs.\n");
  expect_success(run_quorra({"diff", path("a.hex"), path("a.hex")}), "No difference in 4 bytes.\n");
  write("c.hex", ":02002000DEAD53\n:00000001FF\n");
  EXPECT_NE(
      run_quorra({"diff", path("a.hex"), path("c.hex")}).output.find("0x0030-0x0031  only in"),
      std::string::npos);
}

TEST_F(BackupCommands, DiffComparesAFileWithTheCard) {
  const std::string image = new_card("4428");
  write("a.hex", ":02002000DEAD53\n:00000001FF\n");
  const Arguments diff{"diff", "--virtual", image, path("a.hex")};
  const Outcome outcome = run_quorra(diff);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "- " + path("a.hex") +
                                "\n+ the card\n0x0020-0x0021  data\n  0020  - DE AD\n"
                                "  0020  + FF FF\n2 bytes differ.\n");
  EXPECT_EQ(
      run_quorra({"write", "--virtual", image, "--code", "FFFF", "--address", "0x20", "DE", "AD"})
          .status,
      0);
  EXPECT_EQ(run_quorra(diff).status, 0);
  EXPECT_EQ(run_quorra(diff + Arguments{"--address", "1"}).status, 1) << "it is added";
  EXPECT_EQ(run_quorra(diff + Arguments{"--at", "data"}).status, 0);
  expect_error(
      run_quorra(diff + Arguments{"--address", "0x3DF"}), 2,
      "quorra: " + path("a.hex") + " has a byte at 0x0400, and a 4428 card has 1024 bytes\n");
  EXPECT_EQ(run_quorra(diff + Arguments{"--at", "dat"}).status, 2);
}

TEST_F(BackupCommands, DiffTellsProgramsAllDifferences) {
  write("a.bin", "AB");
  write("b.bin", "AC");
  const Outcome outcome = run_quorra({"diff", "--json", path("a.bin"), path("b.bin")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            R"({"schema_version":1,"command":"diff","ok":false,"exit_status":1,"left":")" +
                path("a.bin") + R"(","right":")" + path("b.bin") +
                R"(","equal":false,"kinds_differ":false,"answers_to_reset_differ":false,)"
                R"("personalised_differs":false,"differences":[{"address":1,"region":"",)"
                R"("left":"42","right":"43"}],"only_left":[],"only_right":[],"protection":[],)"
                R"("counters":[]})"
                "\n");
}

TEST_F(BackupCommands, DiffRefusesWhatIsDamaged) {
  write("a.hex", ":02002000DEAD54\n:00000001FF\n");
  const Outcome outcome = run_quorra({"diff", path("a.hex"), path("a.hex")});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.errors.find("a.hex: line 1: the checksum is 54"), std::string::npos);
  EXPECT_EQ(run_quorra({"diff", "--format", "raw", path("a.hex"), path("a.hex")}).status, 0);
  EXPECT_EQ(run_quorra({"diff", "--format", "hex", path("a.hex"), path("a.hex")}).status, 2);
}

// More than one kind of difference, each told with its own words.
TEST_F(BackupCommands, DiffTellsWhatIsNoByteOfTheMemory) {
  const std::string image = new_card("4442");
  const std::string first = backup_of(image, "first.json");
  EXPECT_EQ(run_quorra({"code", "present", "--virtual", image, "000000"}).status, 1);
  const std::string counted = backup_of(image, "counted.json");
  const std::string both = "- " + first + "\n+ ";
  const auto expect_differing = [&](const std::string& other, const std::string& words) {
    const Outcome outcome = run_quorra({"diff", first, other});
    EXPECT_EQ(outcome.output, both + other + "\n" + words);
    EXPECT_EQ(outcome.status, 1);
  };
  expect_differing(counted, "attempts: 3 and 2\n0 bytes differ.\n");
  const Outcome told = run_quorra({"diff", "--json", first, counted});
  EXPECT_NE(told.output.find(R"("counters":[{"name":"attempts","left":3,"right":2}])"),
            std::string::npos)
      << told.output;
  const std::string answering =
      backup_of(new_card("4442", {"--force", "--data", "3:92"}), "answering.json");
  expect_differing(answering,
                   "0x0003  protectable\n  0003  - 91\n  0003  + 92\n"
                   "The answers to reset differ.\n1 byte differs.\n");
  EXPECT_PRED_FORMAT2(::testing::IsSubstring,
                      R"("answers_to_reset_differ":true,"personalised_differs":false)",
                      run_quorra({"diff", "--json", first, answering}).output);
  const std::string other_kind = backup_of(new_card("4428", {"--force"}), "other_kind.json");
  expect_differing(other_kind, "The kinds differ: 4442 and 4428.\n");
}

TEST_F(BackupCommands, DiffTellsWhereOneFileGoesOn) {
  write("short.bin", "AB");
  write("long.bin", "ABC");
  const Outcome outcome = run_quorra({"diff", path("short.bin"), path("long.bin")});
  EXPECT_EQ(outcome.output, "- " + path("short.bin") + "\n+ " + path("long.bin") +
                                "\n0x0002  only in " + path("long.bin") + "\n0 bytes differ.\n");
  EXPECT_EQ(outcome.status, 1);
  // A backup and bytes have the same addresses, and the regions of the card have names.
  const std::string backup = backup_of(new_card("24c02", {"--data", "0:4142"}), "b.json");
  write("data.bin", "AX");
  const Outcome mixed = run_quorra({"diff", backup, path("data.bin")});
  EXPECT_NE(mixed.output.find("0x0001  data\n  0001  - 42\n  0001  + 58\n0x0002-0x00FF  only in " +
                              backup + "\n1 byte differs.\n"),
            std::string::npos)
      << mixed.output;
}

TEST_F(BackupCommands, DiffOfABackupMayNameItsKind) {
  const std::string image = new_card("4442");
  const std::string backup = backup_of(image, "b.json");
  expect_success(run_quorra({"diff", backup, "--virtual", image, "--card", "4442"}),
                 "No difference in 256 bytes.\n");
  // The bytes of another address are others, and what is no byte of them does not count.
  expect_error(run_quorra({"diff", backup, "--virtual", image, "--address", "1"}), 2,
               "quorra: " + backup + " has a byte at 0x0100, and a 4442 card has 256 bytes\n");
  // Named so, it is a file of bytes.
  expect_success(run_quorra({"diff", "--format", "json", backup, backup}),
                 "No difference in 256 bytes.\n");
}

TEST_F(BackupCommands, DiffRefusesWhatNoCardHolds) {
  write("large.bin", std::string(std::size_t{20} * 1024 * 1024, 'x'));
  expect_error(run_quorra({"diff", path("large.bin"), path("large.bin")}), 2,
               "quorra: " + path("large.bin") + " is larger than all bytes of any card\n");
}

TEST_F(BackupCommands, ShownImageLeavesNoRoomForJson) {
  const std::string image = new_card("4442");
  const Outcome outcome = run_quorra({"backup", "--virtual", image, "--json", "--image", "-"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.output.find("standard output is for the result, so the backup needs a file"),
            std::string::npos)
      << outcome.output;
  EXPECT_EQ(run_quorra({"backup", "--virtual", image, "--image", "-"}).output.find("# A card of"),
            0U);
}

TEST_F(BackupCommands, RestoreTellsCountersAndIsConfirmed) {
  const std::string image = new_card("4442");
  const std::string backup = backup_of(image, "b.json");
  EXPECT_EQ(
      run_quorra({"write", "--virtual", image, "--code", "FFFFFF", "--address", "64", "00"}).status,
      0);
  EXPECT_EQ(run_quorra({"code", "present", "--virtual", image, "000000"}).status, 1);
  const std::string before = memory_of(image);
  const Arguments restore{"restore", "--virtual", image, backup, "--card", "4442"};
  const std::string losses =
      "What does not come back:\n  code: the backup does not know it\n"
      "  attempts: the card counts by itself\n  attempts: 3 then, 2 now\n";
  const Outcome unasked = run_quorra(restore + Arguments{"--code", "FFFFFF"});
  EXPECT_EQ(unasked.status, 2);
  EXPECT_EQ(unasked.errors, "quorra: restoring the card: The 4442 card becomes what " + backup +
                                " says. Confirm with --yes 4442.\n");
  EXPECT_EQ(memory_of(image), before);
  const Outcome planned = run_quorra(restore + Arguments{"--plan"});
  EXPECT_EQ(planned.output.find(losses), 0U) << planned.output;
  const Outcome told = run_quorra(restore + Arguments{"--plan", "--json"});
  EXPECT_NE(told.output.find(R"("counters":[{"name":"attempts","in_backup":3,"on_card":2}])"),
            std::string::npos)
      << told.output;
}

TEST_F(BackupCommands, RestoreOfOneZoneNamesNone) {
  const std::string image = new_card("101");
  const std::string backup = backup_of(image, "b.json");
  EXPECT_EQ(
      run_quorra({"write", "--virtual", image, "--at", "data", "--code", "FFFF", "00"}).status, 0);
  const std::string before = content_of(image);
  const Outcome planned = run_quorra({"restore", "--virtual", image, backup, "--plan", "--code",
                                      "FFFF", "--erase-code", "FFFFFFFF"});
  EXPECT_NE(planned.output.find("0x0016-0x0095 erased\n"), std::string::npos) << planned.output;
  EXPECT_EQ(content_of(image), before);
  const std::string zoned = new_card("102", {"--force"});
  expect_error(run_quorra({"restore", "--virtual", zoned, backup_of(zoned, "z.json"), "--plan",
                           "--erase-code", "FFFF"}),
               2,
               "quorra: --erase-code: name its zone with --zone; one zone is restored at a time "
               "then\n");
}

TEST_F(BackupCommands, DiffTellsThatOneIsPersonalised) {
  const std::string image = new_card("4406");
  const std::string before = backup_of(image, "before.json");
  EXPECT_EQ(
      run_quorra({"personalise", "--virtual", image, "--code", "FFFFFF", "--yes", "4406"}).status,
      0);
  const std::string after = backup_of(image, "after.json");
  const Outcome outcome = run_quorra({"diff", before, after});
  EXPECT_NE(outcome.output.find("\nOne of the two is personalised.\n1 byte differs.\n"),
            std::string::npos)
      << outcome.output;
  EXPECT_EQ(outcome.status, 1);
  EXPECT_PRED_FORMAT2(::testing::IsSubstring,
                      R"("answers_to_reset_differ":false,"personalised_differs":true)",
                      run_quorra({"diff", "--json", before, after}).output);
}

}  // namespace
}  // namespace quorra::testing
