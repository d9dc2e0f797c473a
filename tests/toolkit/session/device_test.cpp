// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Devices that cannot be opened, locked or asked, each with the reason.
#include "toolkit/session/device.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/failing_call.hpp"
#include "tests/support/process.hpp"

namespace quorra::toolkit {
namespace {

using quorra::testing::FailingCall;
using quorra::testing::Process;
using quorra::testing::TemporaryDirectory;
using quorra::testing::Terminal;
using quorra::testing::write_file;

struct Refusal {
  std::string name;
  std::string call;
  int error;
  std::string words;  // behind the name of the device
  bool is_missing;    // it may come back
};

class RefusedDevice : public ::testing::TestWithParam<Refusal> {};

TEST_P(RefusedDevice, IsNamedWithTheReason) {
  const Terminal terminal;
  std::string words;
  bool is_missing = false;
  {
    const FailingCall failing(GetParam().call, GetParam().error);
    try {
      const Device device(terminal.device());
    } catch (const DeviceMissing& error) {
      words = error.what();
      is_missing = true;
    } catch (const DeviceError& error) {
      words = error.what();
    }
  }
  EXPECT_EQ(words, terminal.device() + " cannot be opened: " + GetParam().words);
  EXPECT_EQ(is_missing, GetParam().is_missing);
  EXPECT_NO_THROW(Device(terminal.device())) << "it is free";
}

INSTANTIATE_TEST_SUITE_P(
    Calls, RefusedDevice,
    ::testing::Values(
        Refusal{"gone", "stat", ENOENT, "No such file or directory: there is no such device", true},
        Refusal{"unplugged", "open", ENXIO, "No such device or address: no hardware is behind it",
                true},
        Refusal{"many_files", "open", EMFILE, "Too many open files", false},
        Refusal{"no_hardware", "isatty", EIO,
                "Input/output error: no hardware answers there, or the other end of the line is "
                "gone",
                true},
        Refusal{"no_locks", "flock", ENOLCK, "No locks available", false}),
    [](const auto& test) { return test.param.name; });

TEST(DeviceOfOthers, SaysWhoMayUseIt) {
  const Terminal terminal;
  ASSERT_EQ(chmod(terminal.device().c_str(), 0600), 0);
  const FailingCall failing("open", EACCES);
  try {
    const Device device(terminal.device());
    ADD_FAILURE() << "it was opened";
  } catch (const DeviceError& error) {
    EXPECT_EQ(error.what(), terminal.device() +
                                " cannot be opened: Permission denied: only its owner may use it");
  }
}

// Both are needed, and the group has one of them.
TEST(DeviceOfOthers, SaysWhatTheGroupLacks) {
  const Terminal terminal;
  const auto words_of = [&](mode_t mode) {
    EXPECT_EQ(chmod(terminal.device().c_str(), mode), 0);
    const FailingCall failing("open", EACCES);
    try {
      const Device device(terminal.device());
    } catch (const DeviceError& error) {
      return std::string(error.what());
    }
    return std::string("it was opened");
  };
  const auto use = use_of_device(terminal.device());
  ASSERT_TRUE(use);
  const std::string denied = terminal.device() + " cannot be opened: Permission denied: ";
  EXPECT_EQ(words_of(0620),
            denied + "its group " + use->group + " may write to it, but not read it");
  EXPECT_EQ(words_of(0640),
            denied + "its group " + use->group + " may read it, but not write to it");
  EXPECT_EQ(words_of(0660), denied + "it is for the group " + use->group +
                                ". Join it with \"sudo usermod -aG " + use->group +
                                " $USER\", and log in again");
}

TEST(DeviceOfOthers, NamesTheGroupOrItsNumber) {
  const Terminal terminal;
  ASSERT_EQ(chmod(terminal.device().c_str(), 0660), 0);
  struct stat found {};
  ASSERT_EQ(stat(terminal.device().c_str(), &found), 0);
  const std::string owner = std::to_string(found.st_uid);
  const std::string group = std::to_string(found.st_gid);
  const auto usual = use_of_device(terminal.device());
  ASSERT_TRUE(usual);
  EXPECT_EQ(usual->permissions, "rw-rw----");
  EXPECT_TRUE(usual->may_use);
  {
    const FailingCall failing("getgrgid_r", ERANGE);
    const auto use = use_of_device(terminal.device());
    ASSERT_TRUE(use);
    EXPECT_EQ(use->group, group);
    EXPECT_EQ(use->owner, usual->owner);
  }
  const FailingCall failing("getpwuid_r", EIO);
  const auto use = use_of_device(terminal.device());
  ASSERT_TRUE(use);
  EXPECT_EQ(use->owner, owner);
  EXPECT_EQ(use->group, usual->group);
}

TEST(DeviceOfOthers, HasNoUseWhereThereIsNone) {
  const TemporaryDirectory folder;
  EXPECT_FALSE(use_of_device(folder / "ttyS0"));
}

// Locks of other kinds are in the same list.
TEST(DeviceInUse, IsSaidToBeHeldByThisProcess) {
  const TemporaryDirectory folder;
  write_file(folder / "file", "x");
  const Descriptor file(open((folder / "file").c_str(), O_RDWR | O_CLOEXEC));
  struct flock whole {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  ASSERT_EQ(fcntl(file.number(), F_SETLK, &whole), 0);
  const Terminal terminal;
  const Device first(terminal.device());
  try {
    const Device second(terminal.device());
    ADD_FAILURE() << "it was locked twice";
  } catch (const DeviceError& error) {
    EXPECT_EQ(error.what(), terminal.device() + " is in use by toolkit_tests (process " +
                                std::to_string(getpid()) + ")");
  }
}

// The one program that has it open is named; which of several keeps it does not show.
TEST(DeviceInUse, IsKeptByThoseWhoHaveItOpen) {
  const Terminal terminal;
  const auto expect_kept = [&](const std::string& words, std::optional<int> process) {
    const FailingCall failing("open", EBUSY);
    try {
      const Device device(terminal.device());
      ADD_FAILURE() << "it was opened";
    } catch (const DeviceInUse& error) {
      EXPECT_EQ(error.what(), terminal.device() +
                                  " cannot be opened: Device or resource busy: another program "
                                  "keeps it for itself" +
                                  words);
      EXPECT_EQ(error.process(), process);
    }
  };
  expect_kept("", std::nullopt);
  Process holder({"/bin/sh", "-c", R"(exec 9<>"$0"; echo open; kill -STOP $$)", terminal.device()});
  ASSERT_EQ(holder.read_line(), "open");
  expect_kept("; opened by sh (process " + std::to_string(holder.number()) + ")", holder.number());
}

// The administrator could open it all the same.
TEST(DeviceInUse, IsWhatAnotherProgramKeeps) {
  const Terminal terminal;
  const int line = open(terminal.device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(ioctl(line, TIOCEXCL), 0);
  EXPECT_THROW(Device(terminal.device()), DeviceInUse);
  ASSERT_EQ(ioctl(line, TIOCNXCL), 0);
  EXPECT_NO_THROW(Device(terminal.device()));
  close(line);
}

// What that program had opened is open here still, and nobody else has it.
TEST(DeviceInUse, IsSaidToBeLockedByAProgramThatHasEnded) {
  const Terminal terminal;
  const Descriptor line(open(terminal.device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  const pid_t other = fork();
  if (other == 0) _exit(flock(line.number(), LOCK_EX));
  ASSERT_EQ(waitpid(other, nullptr, 0), other);
  try {
    const Device device(terminal.device());
    ADD_FAILURE() << "it was locked twice";
  } catch (const DeviceInUse& error) {
    EXPECT_EQ(error.what(), terminal.device() + " is in use by another program: process " +
                                std::to_string(other) + ", which locked it, has ended");
    EXPECT_EQ(error.process(), std::nullopt);
  }
}

// Its settings cannot be asked for, so they are left alone.
TEST(DeviceWithoutSettings, IsOpenedNevertheless) {
  const Terminal terminal;
  termios before{};
  ASSERT_EQ(tcgetattr(terminal.line(), &before), 0);
  {
    const FailingCall failing("tcgetattr", EIO);
    EXPECT_NO_THROW(Device(terminal.device()));
    EXPECT_EQ(failing.failures(), 1);
  }
  termios after{};
  ASSERT_EQ(tcgetattr(terminal.line(), &after), 0);
  EXPECT_EQ(after.c_cflag, before.c_cflag);
}

TEST(KindOfFile, IsToldInWords) {
  EXPECT_EQ(kind_of_file(S_IFREG | 0644), "a regular file");
  EXPECT_EQ(kind_of_file(S_IFSOCK), "a socket");
  EXPECT_EQ(kind_of_file(0), "no file");
}

}  // namespace
}  // namespace quorra::toolkit
