// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the program quorra does when the system refuses something: strace makes single system calls
// fail.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

class FailingCalls : public CommandLine {
 protected:
  void SetUp() override {
    const Outcome trial = run({"/bin/sh", "-c", "exec " + strace("fsync:error=EIO", "") + " true"});
    if (trial.status != 0) GTEST_SKIP() << "strace cannot make calls fail here";
  }

  // `failure` is what becomes of which calls, as in "fsync:error=EIO"; of those only that concern
  // the file `path`, unless that is empty.
  static std::string strace(const std::string& failure, const std::string& path) {
    const std::string calls = failure.substr(0, failure.find(':'));
    return "/usr/bin/strace -qq -o /dev/null -e trace=" + calls + " -e inject=" + failure +
           (path.empty() ? "" : " -P " + path);
  }

  // Runs the program behind a shell, which redirects what `streams` say.
  static Outcome run_failing(const std::string& failure, const Arguments& arguments,
                             const std::string& path = {}, const std::string& streams = {}) {
    // The leak checker of the sanitizers cannot work in a program that is being traced.
    return run(
        Arguments{"/bin/sh", "-c", "exec " + strace(failure, path) + " \"$0\" \"$@\" " + streams,
                  QUORRA_PROGRAM} +
            arguments,
        {.input = {},
         .streams = {},
         .environment = {{"ASAN_OPTIONS", "detect_leaks=0"}, {"NO_COLOR", "1"}}});
  }

  static Arguments save_to(const std::string& file) {
    return {"des", "encrypt", "--key", "0000000000000000", "00", "--output", file};
  }

  long files() const { return std::distance(std::filesystem::directory_iterator(folder / ""), {}); }
};

// Whatever goes wrong before the new file has its name.
TEST_F(FailingCalls, TheOldFileIsWholeAndNothingIsLeftBesideIt) {
  struct Case {
    std::string failure;
    std::string words;
  };
  const Case cases[] = {
      {"/^rename:error=EIO", "Input/output error"},
      {"fsync:error=EIO", "Input/output error"},
      {"fchmod:error=EPERM", "Operation not permitted"},
  };
  const std::string file = folder / "file";
  write_file(file, "old");
  for (const auto& [failure, words] : cases) {
    SCOPED_TRACE(failure);
    expect_error(run_failing(failure, save_to(file)), 1,
                 "quorra: writing " + file + ": " + words + "\n");
    EXPECT_EQ(content_of(file), "old");
    EXPECT_EQ(files(), 1);
  }
}

// Some file systems tell only then that what was written is lost.
TEST_F(FailingCalls, AnErrorOfTheCloseIsTold) {
  expect_error(run_failing("close:error=EIO", save_to("/dev/null"), "/dev/null"), 1,
               "quorra: writing /dev/null: Input/output error\n");
  const std::string output = folder / "output";
  const Outcome outcome =
      run_failing("close:error=ENOSPC", {"kinds"}, output, "> \"" + output + "\"");
  EXPECT_EQ(outcome.errors, "quorra: writing to standard output: No space left on device\n");
  EXPECT_EQ(outcome.status, 1);
}

TEST_F(FailingCalls, ASecretThatCannotBeWaitedForIsNotTaken) {
  const std::string image = new_card("4442");
  const std::string before = content_of(image);
  write_file(folder / "code", "000000\n");
  expect_error(run_failing("/^p?poll$:error=ENOMEM",
                           {"code", "present", "--virtual", image, "--code-fd", "3"}, {},
                           "3< \"" + folder / "code" + "\""),
               2, "quorra: --code-fd: cannot read from 3: Cannot allocate memory\n");
  EXPECT_EQ(content_of(image), before);
}

// Behind the look at the device, it is opened once more.
TEST_F(FailingCalls, ALineThatCannotBeOpenedIsNoReader) {
  const Terminal line;
  for (const char* command : {"info", "read"}) {
    expect_error(run_failing("openat:error=EBUSY:when=2+", {command, "--device", line.device()},
                             line.device()),
                 3, "quorra: opening the session: the line cannot be opened (-136)\n");
  }
  EXPECT_EQ(line.read_all(), "");
}

TEST_F(FailingCalls, ATapNeedsAPseudoTerminal) {
  const Terminal line;
  expect_error(run_failing("openat:error=EMFILE", {"tap", line.device()}, "/dev/ptmx"), 1,
               "quorra: tapping " + line.device() + ": pseudo-terminal: Too many open files\n");
}

// A wait that is cut short goes on.
TEST_F(FailingCalls, AnInterruptedWaitForInputGoesOn) {
  write_file(folder / "input", "01234567");
  expect_error(run_failing("/^p?poll$:error=EINTR:when=1",
                           {"des", "encrypt", "--key", "0000000000000000", "--json", "--output",
                            folder / "output", "--file", "-"},
                           {}, "< \"" + folder / "input" + "\" > /dev/null"),
               0, "");
  EXPECT_EQ(content_of(folder / "output").size(), 8U);
}

}  // namespace
}  // namespace quorra::testing
