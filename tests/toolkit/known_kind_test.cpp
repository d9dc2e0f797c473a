// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/kinds/known_kind.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/support/process.hpp"

namespace quorra::toolkit {
namespace {

// A session with the host's side of a pseudo-terminal.
class LineSession : public Session {
 public:
  LineSession() : line_(posix_openpt(O_RDWR | O_NOCTTY)) {
    EXPECT_EQ(grantpt(line_), 0);
    EXPECT_EQ(unlockpt(line_), 0);
    device_ = ptsname(line_);
    handle_ = open(device_.c_str(), O_RDWR | O_NOCTTY);
    EXPECT_GE(handle_, 0);
  }
  ~LineSession() override {
    close(handle_);
    close(line_);
  }
  LineSession(const LineSession&) = delete;
  LineSession& operator=(const LineSession&) = delete;

  int handle() const override { return handle_; }
  const std::string& device() const { return device_; }

 private:
  int line_;
  std::string device_;
  int handle_ = -1;
};

class KnownKindTest : public ::testing::Test {
 protected:
  void SetUp() override { setenv("XDG_RUNTIME_DIR", (folder_ / ".").c_str(), 1); }
  void TearDown() override { unsetenv("XDG_RUNTIME_DIR"); }

  const quorra::testing::TemporaryDirectory folder_;
};

TEST_F(KnownKindTest, IsRememberedForTheLine) {
  const LineSession session;
  EXPECT_EQ(KnownKind(session).get(), nullptr);
  KnownKind(session).set(*find_card("4442"), "tag", "some doubt");
  EXPECT_EQ(KnownKind(session).get(), find_card("4442"));
  EXPECT_EQ(KnownKind(session).tag(), "tag");
  EXPECT_EQ(KnownKind(session).doubt(), "some doubt");

  KnownKind(session).set(*find_card("24c02"));
  EXPECT_EQ(KnownKind(session).get(), find_card("24c02"));
  EXPECT_EQ(KnownKind(session).tag(), "");
  EXPECT_EQ(KnownKind(session).doubt(), "");

  KnownKind(session).forget();
  EXPECT_EQ(KnownKind(session).get(), nullptr);
}

TEST_F(KnownKindTest, IsNotThatOfAnotherLine) {
  const LineSession session;
  const LineSession other;
  KnownKind(session).set(*find_card("4442"));
  EXPECT_EQ(KnownKind(other).get(), nullptr);
}

// An adapter that was plugged in again, or another virtual reader.
TEST_F(KnownKindTest, IsNotThatOfALaterDeviceWithTheSameNumber) {
  std::optional<LineSession> session(std::in_place);
  const std::string device = session->device();
  KnownKind(*session).set(*find_card("4442"), "tag", "some doubt");
  session.reset();
  session.emplace();
  if (session->device() != device) GTEST_SKIP() << "another program has taken the number";
  EXPECT_EQ(KnownKind(*session).get(), nullptr);
  EXPECT_EQ(KnownKind(*session).tag(), "");
  EXPECT_EQ(KnownKind(*session).doubt(), "");
}

// Nobody else is believed.
TEST_F(KnownKindTest, IsNotKeptInAFolderThatOthersMayWriteTo) {
  const LineSession session;
  ASSERT_EQ(mkdir((folder_ / "quorra").c_str(), 0777), 0);
  ASSERT_EQ(chmod((folder_ / "quorra").c_str(), 0777), 0);
  KnownKind(session).set(*find_card("4442"));
  EXPECT_EQ(KnownKind(session).get(), nullptr);
}

TEST_F(KnownKindTest, IsKeptNowhereWhereThereIsNoFolder) {
  setenv("XDG_RUNTIME_DIR", (folder_ / "gone").c_str(), 1);
  const LineSession session;
  KnownKind(session).set(*find_card("4442"));
  EXPECT_EQ(KnownKind(session).get(), nullptr);
}

// The working folder is anybody's.
TEST_F(KnownKindTest, IsNotKeptInAFolderThatIsNotAbsolute) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_ / ".");
  std::filesystem::create_directory("here");
  setenv("XDG_RUNTIME_DIR", "here", 1);
  const LineSession session;
  KnownKind(session).set(*find_card("4442"));
  KnownKind(session).forget();
  EXPECT_TRUE(std::filesystem::is_empty("here"));
  std::filesystem::current_path(before);
}

class ClosedSession : public Session {
 public:
  int handle() const override { return -1; }
};

TEST_F(KnownKindTest, IsThatOfNoLineWithoutOne) {
  const ClosedSession session;
  KnownKind(session).set(*find_card("4442"));
  EXPECT_EQ(KnownKind(session).get(), nullptr);
  EXPECT_NO_THROW(KnownKind(session).forget());
}

}  // namespace
}  // namespace quorra::toolkit
