// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Configuration files: where they are looked for, what cannot be read, and what each line is.
#include "toolkit/session/configuration.hpp"

#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/failing_call.hpp"
#include "tests/support/process.hpp"
#include "toolkit/session/configuration_lines.hpp"
#include "toolkit/session/configuration_places.hpp"
#include "toolkit/session/speed_search.hpp"

namespace quorra::toolkit {
namespace {

using quorra::testing::FailingCall;
using quorra::testing::TemporaryDirectory;
using quorra::testing::write_file;

class ConfigurationFile : public ::testing::Test {
 protected:
  ConfigurationFile() { write_file(file, "P=/dev/ttyS0\n"); }

  // What is said while the call fails; empty if nothing is.
  std::string trouble(const char* call, int error, FailingCall::Which which = {}) const {
    const FailingCall failing(call, error, which);
    try {
      const Configuration configuration(file);
    } catch (const UsageError& thrown) {
      return thrown.what();
    } catch (const Failure& thrown) {
      return thrown.what();
    }
    return {};
  }

  TemporaryDirectory folder;
  std::string file = folder / "reader.conf";
};

TEST_F(ConfigurationFile, SaysWhichCallHasFailed) {
  const std::string words = "the configuration file " + file + " cannot be read: ";
  EXPECT_EQ(trouble("stat", EACCES), words + "Permission denied");
  EXPECT_EQ(trouble("open", EMFILE), words + "Too many open files");
  EXPECT_EQ(trouble("fstat", EIO), words + "Input/output error");
  EXPECT_EQ(trouble("read", EIO), words + "Input/output error");
  EXPECT_EQ(trouble("memfd_create", EMFILE), "opening the session: Too many open files");
  EXPECT_EQ(trouble("write", ENOSPC), "opening the session: No space left on device");
  EXPECT_EQ(trouble("none", 0), "");
}

TEST_F(ConfigurationFile, OfADeviceThatIsNotThereFindsNoSpeed) {
  write_file(file, "P=" + (folder / "gone") + "\n");
  std::vector<int> tried;
  constexpr int speeds[] = {9600};
  EXPECT_FALSE(
      find_speed(Configuration(file), speeds, [&tried](int speed) { tried.push_back(speed); }));
  EXPECT_EQ(tried, std::vector<int>{9600});
}

// A serial terminal has slower lines.
TEST(SpeedsToFind, DependOnWhereTheReaderIs) {
  const auto mode = term_flg;
  term_flg = 1;
  EXPECT_TRUE(std::ranges::equal(findable_speeds(), std::vector{9600, 19200, 38400}));
  term_flg = 0;
  EXPECT_TRUE(std::ranges::equal(findable_speeds(), std::vector{9600, 19200, 4800, 2400, 1200}));
  term_flg = mode;
}

// Changes of the environment, taken back.
class ConfigurationPlaces : public ::testing::Test {
 protected:
  ConfigurationPlaces() {
    for (const char* name : {"XDG_CONFIG_HOME", "HOME"}) {
      const char* value = std::getenv(name);
      before_.emplace_back(name, value == nullptr ? "" : value);
      unsetenv(name);
    }
  }
  ~ConfigurationPlaces() override {
    for (const auto& [name, value] : before_) {
      unsetenv(name.c_str());
      if (!value.empty()) setenv(name.c_str(), value.c_str(), 1);
    }
  }
  ConfigurationPlaces(const ConfigurationPlaces&) = delete;
  ConfigurationPlaces& operator=(const ConfigurationPlaces&) = delete;

  TemporaryDirectory folder;

 private:
  std::vector<std::pair<std::string, std::string>> before_;
};

const std::string of_machine = "/etc/quorra/reader.conf";

TEST_F(ConfigurationPlaces, AreTheUsersAndTheMachines) {
  setenv("HOME", "/home/anna", 1);
  EXPECT_EQ(configuration_places(),
            (std::vector<std::string>{"/home/anna/.config/quorra/reader.conf", of_machine}));
  setenv("XDG_CONFIG_HOME", "/home/anna/settings", 1);
  EXPECT_EQ(configuration_places(),
            (std::vector<std::string>{"/home/anna/settings/quorra/reader.conf", of_machine}));
  setenv("XDG_CONFIG_HOME", "settings", 1);
  EXPECT_EQ(configuration_places().front(), "/home/anna/.config/quorra/reader.conf");
}

TEST_F(ConfigurationPlaces, AreTheMachinesAloneWhereNobodyIsAtHome) {
  EXPECT_FALSE(own_configuration());
  EXPECT_EQ(configuration_places(), std::vector<std::string>{of_machine});
  setenv("HOME", "", 1);
  EXPECT_FALSE(own_configuration());
}

// What cannot be looked at is taken, so that its reader hears why.
TEST_F(ConfigurationPlaces, CountIfTheyCannotBeLookedAt) {
  setenv("HOME", (folder / "").c_str(), 1);
  const std::string own = *own_configuration();
  {
    const FailingCall failing("stat", EACCES);
    EXPECT_EQ(find_configuration(), own);
  }
  for (const int error : {ENOENT, ENOTDIR}) {
    const FailingCall failing("stat", error);
    EXPECT_EQ(find_configuration(), std::nullopt);
  }
}

struct Explained {
  std::string name;
  std::string content;
  std::vector<std::string> remarks;
  std::vector<bool> is_trouble;
};

class ExplainedLines : public ::testing::TestWithParam<Explained> {};

TEST_P(ExplainedLines, AreWhatTheLibraryTakesThemFor) {
  std::vector<std::string> remarks;
  std::vector<bool> is_trouble;
  for (const ConfigurationLine& line : explain_configuration(GetParam().content)) {
    EXPECT_EQ(line.number, 1);
    remarks.push_back(line.remark);
    is_trouble.push_back(line.is_trouble);
  }
  EXPECT_EQ(remarks, GetParam().remarks);
  EXPECT_EQ(is_trouble, GetParam().is_trouble);
}

const std::string long_comment = "#" + std::string(58, '-');
const std::string continued = "what is behind character 59 of a line counts as a line of its own: ";

INSTANTIATE_TEST_SUITE_P(
    All, ExplainedLines,
    ::testing::Values(
        Explained{"comment_without_an_end", "# reader", {"a comment"}, {false}},
        Explained{"device_without_an_end",
                  "P=/dev/ttyS0",
                  {"the serial device; the line has no end, and its last character is lost"},
                  {true}},
        Explained{"comment_that_goes_on",
                  long_comment + "# more\n",
                  {"a comment", continued + "a comment"},
                  {false, false}},
        Explained{"comment_with_a_device_behind_it",
                  long_comment + "P=/dev/ttyS0\n",
                  {"a comment", continued + "the serial device"},
                  {false, true}},
        Explained{"comment_with_anything_behind_it",
                  long_comment + "more\n",
                  {"a comment", continued + "ignored: 'm' is no key"},
                  {false, true}},
        Explained{"device_that_is_cut",
                  "P=" + std::string(57, 'x') + "\n",
                  {"the serial device; cut at 59 characters, of which the last one is lost",
                   continued + "ignored: it stands behind the line that names the device"},
                  {true, false}}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace quorra::toolkit
