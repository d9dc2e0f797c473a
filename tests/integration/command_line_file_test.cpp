// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra and the files that it writes.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

namespace filesystem = std::filesystem;

// DES has no need of a reader, and writes files like all others.
class Output : public CommandLine {
 protected:
  Output() { write_file(source, content); }

  // What follows `--output`.
  Arguments command(const std::string& name) const {
    return {QUORRA_PROGRAM, "des",  "decrypt",  "--key", "0000000000000000",
            "--file",       source, "--output", name};
  }
  Outcome save(const std::string& name, const Surroundings& surroundings = {}) const {
    return run(command(name), surroundings);
  }
  // The same, by a shell that does something before.
  Outcome save_after(const std::string& line, const std::string& name) const {
    return run(Arguments{"/bin/sh", "-c", line + R"(; exec "$0" "$@")"} + command(name));
  }
  void expect_saved(const Outcome& outcome, const std::string& name) const {
    expect_success(outcome, "Wrote 8192 bytes to " + name + ".\n");
    EXPECT_EQ(content_of(name).size(), content.size());
  }
  // How many files there are beside the source.
  long files() const { return std::distance(filesystem::directory_iterator(folder / ""), {}) - 1; }
  static mode_t mode_of(const std::string& name) {
    struct stat found {};
    EXPECT_EQ(stat(name.c_str(), &found), 0);
    return found.st_mode & 07777U;
  }

  const std::string source = folder / "source";
  const std::string file = folder / "file";
  const std::string content = std::string(8192, 'x');
};

TEST_F(Output, NewFileHasTheUsualPermissions) {
  expect_saved(save_after("umask 027", file), file);
  EXPECT_EQ(mode_of(file), 0640U);
  EXPECT_EQ(files(), 1);
}

TEST_F(Output, OldFileKeepsItsPermissions) {
  write_file(file, "old");
  ASSERT_EQ(chmod(file.c_str(), 0604), 0);
  expect_saved(save(file), file);
  EXPECT_EQ(mode_of(file), 0604U);
  EXPECT_EQ(files(), 1);
}

TEST_F(Output, OldFileIsWholeUntilTheNewOneIs) {
  const std::string limit = "ulimit -S -f 2048";  // 1 MiB
  write_file(file, "old");
  write_file(source, std::string(std::size_t{1024} * 1024 + 8, 'x'));
  expect_error(save_after(limit, file), 1, "quorra: writing " + file + ": File too large\n");
  EXPECT_EQ(content_of(file), "old");
  EXPECT_EQ(files(), 1);
  expect_error(save_after(limit, folder / "new"), 1,
               "quorra: writing " + (folder / "new") + ": File too large\n");
  EXPECT_EQ(files(), 1);
}

// The signal is there before the program begins, and waits until it is let in.
TEST_F(Output, SignalLeavesTheOldFile) {
  write_file(file, "old");
  const Outcome outcome = run(Arguments{"/usr/bin/env", "--block-signal=TERM", "/bin/sh", "-c",
                                        R"(kill -TERM $$; exec "$0" "$@")"} +
                              command(file));
  expect_ended_by(outcome, SIGTERM, "quorra: writing " + file + ": interrupted\n");
  EXPECT_EQ(content_of(file), "old");
  EXPECT_EQ(files(), 1);
}

TEST_F(Output, SymbolicLinksStay) {
  const std::string target = folder / "target";
  const std::string link = folder / "link";
  filesystem::create_symlink("target", file);
  filesystem::create_symlink(file, link);
  // At first they lead nowhere.
  for (int time = 0; time < 2; ++time) {
    expect_saved(save(link), link);
    EXPECT_TRUE(filesystem::is_symlink(link));
    EXPECT_TRUE(filesystem::is_symlink(file));
    EXPECT_FALSE(filesystem::is_symlink(target));
    EXPECT_EQ(filesystem::file_size(target), content.size());
    EXPECT_EQ(files(), 3);
  }
}

TEST_F(Output, ReadOnlyFileIsNotReplaced) {
  write_file(file, "old");
  ASSERT_EQ(chmod(file.c_str(), 0444), 0);
  expect_error(run(without_privileges(command(file))), 2,
               "quorra: opening " + file + ": Permission denied\n");
  EXPECT_EQ(content_of(file), "old");
  ASSERT_EQ(chmod(file.c_str(), 0644), 0);
}

// The file itself may be written.
TEST_F(Output, FolderThatTakesNoFilesIsNamed) {
  const std::string closed = folder / "closed";
  const std::string old = closed + "/file";
  const std::string link = folder / "link";
  ASSERT_EQ(mkdir(closed.c_str(), 0755), 0);
  write_file(old, "old");
  filesystem::create_symlink("closed/file", link);
  ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
  for (const std::string& name : {old, link}) {
    expect_error(run(without_privileges(command(name))), 2,
                 "quorra: opening " + name +
                     ": the new file is written beside the old one first, but none can be made in "
                     "the folder " +
                     closed + ": Permission denied\n");
  }
  expect_error(run(without_privileges(command(closed + "/new"))), 2,
               "quorra: opening " + closed + "/new: Permission denied\n");
  ASSERT_EQ(chmod(closed.c_str(), 0755), 0);
  EXPECT_EQ(content_of(old), "old");
}

TEST_F(Output, WhatCannotBeAFileIsRefused) {
  const auto refused = [&](const std::string& name, const std::string& why) {
    expect_error(save(name), 2, "quorra: opening " + name + ": " + why + "\n");
  };
  refused(folder / "", "Is a directory");
  refused(folder / "nowhere/", "No such file or directory");
  refused(source + "/x", "Not a directory");
  filesystem::create_symlink("file", file);
  refused(file, "Too many levels of symbolic links");
}

TEST_F(Output, SpecialFilesAreWrittenTo) {
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  Process program(command(file));
  const int fifo = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  std::size_t received = 0;
  std::string bytes(65536, '\0');
  for (ssize_t got = 1; got > 0; received += static_cast<std::size_t>(got)) {
    got = read(fifo, bytes.data(), bytes.size());
    ASSERT_GE(got, 0);
  }
  close(fifo);
  EXPECT_EQ(received, content.size());
  expect_success(program.wait(), "Wrote 8192 bytes to " + file + ".\n");
  EXPECT_TRUE(filesystem::is_fifo(file));

  expect_success(save("/dev/null"), "Wrote 8192 bytes to /dev/null.\n");
  EXPECT_TRUE(filesystem::is_character_file("/dev/null"));
  expect_error(save("/dev/full"), 1, "quorra: writing /dev/full: No space left on device\n");
  EXPECT_EQ(files(), 1);
}

// Whatever they are, they are written to where they stand, and kept.
TEST_F(Output, DescriptorsOfTheProgramAreWrittenTo) {
  for (const char* standard_output : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"}) {
    const Outcome outcome = save(standard_output);
    EXPECT_EQ(outcome.output.size(), content.size());
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
  }
  write_file(file, "before\n");
  const auto size = [this] { return filesystem::file_size(file); };
  EXPECT_EQ(save_after("exec >> " + file, "/dev/stdout").status, 0);
  EXPECT_EQ(size(), 7 + content.size());
  EXPECT_EQ(save_after("exec 2>> " + file, "/dev/stderr").status, 0);
  EXPECT_EQ(size(), 7 + 2 * content.size());
  EXPECT_EQ(save_after("exec 3>> " + file, "/dev/fd/3").status, 0);
  EXPECT_EQ(size(), 7 + 3 * content.size());
  // A descriptor that only reads is none to write to.
  expect_saved(save_after("exec 3< " + file, file), file);
}

TEST_F(Output, EmptyNamesAreRefused) {
  struct Case {
    std::string option;
    Arguments arguments;
  };
  const std::string image = new_card("4442");
  const Case cases[] = {
      {"--output", {"read", "--virtual", image}},
      {"--output", {"memory", "read", "--virtual", image}},
      {"--output", {"des", "encrypt", "--key", "0000000000000000", "00"}},
      {"--key-file", {"des", "encrypt", "00"}},
      {"--file", {"des", "encrypt", "--key", "0000000000000000"}},
      {"--file", {"write", "--virtual", image, "--address", "0x20"}},
      {"--file", {"memory", "write", "--virtual", image, "--address", "0x20"}},
      {"--script", {"apdu", "--virtual", image}},
      {"--virtual", {"info"}},
      {"--config", {"info"}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(::testing::PrintToString(one.arguments));
    expect_error(run_quorra(one.arguments + Arguments{one.option, ""}), 2,
                 "quorra: " + one.option + ": the name of the file is empty; see quorra --help\n");
  }
  expect_error(run_quorra({"trace", ""}), 2,
               "quorra: FILE: the name of the file is empty; see quorra --help\n");
}

TEST_F(Output, ImagesInAReaderAreNotReplaced) {
  const std::string card = new_card("4442");
  const std::string image = content_of(card);
  const std::string link = folder / "link";
  filesystem::create_symlink(card, link);
  Process reader({"/bin/sh", "-c", R"(echo $$; exec "$0" --card "$1")", QUORRA_SIM_PROGRAM, card});
  const std::string process = reader.read_line();
  reader.read_line();
  for (const std::string& name : {card, link}) {
    expect_error(save(name), 2,
                 "quorra: opening " + name + ": it is in use by another program (process " +
                     process + ")\n");
  }
  EXPECT_EQ(content_of(card), image);
  reader.signal(SIGTERM);
  EXPECT_EQ(reader.wait().status, 0);
  expect_saved(save(card), card);
}

// Also by other names of the same file.
TEST_F(Output, FilesOfTheReaderAreNotReplaced) {
  const std::string card = new_card("4442");
  const std::string sam = folder / "sam.toml";
  const std::string configuration = folder / "reader.conf";
  const std::string link = folder / "link";
  ASSERT_EQ(run({QUORRA_SIM_PROGRAM, "new", "cpu", sam}).status, 0);
  write_file(configuration, "P=/nowhere/line\n");
  struct Case {
    std::string option;
    std::string value;
    std::string file;
  };
  const Case cases[] = {
      {"--virtual", card, card},
      {"--virtual-sam", "3=" + sam, sam},
      {"--config", configuration, configuration},
  };
  const auto refused = [](const std::string& what, const std::string& option) {
    return "quorra: " + what + " is the file of " + option +
           ", which would be lost; name another one\n";
  };
  for (const auto& [option, value, used] : cases) {
    SCOPED_TRACE(option);
    const std::string before = content_of(used);
    filesystem::remove(file);
    filesystem::remove(link);
    filesystem::create_symlink(used, link);
    filesystem::create_hard_link(used, file);
    for (const Arguments& command : {Arguments{"read"}, Arguments{"memory", "read"}}) {
      const Arguments read = command + Arguments{option, value};
      for (const std::string& name : {used, link, file}) {
        expect_error(run_quorra(read + Arguments{"--output", name}), 2,
                     refused("--output: " + name, option));
      }
      expect_error(
          run(Arguments{"/bin/sh", "-c", R"(exec >> "$0"; exec "$@")", used, QUORRA_PROGRAM} +
              read),
          2, refused("standard output", option));
    }
    EXPECT_EQ(content_of(used), before);
  }
}

}  // namespace
}  // namespace quorra::testing
