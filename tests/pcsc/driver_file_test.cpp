// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The driver as a file.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/process.hpp"

namespace quorra::testing {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::UnorderedElementsAre;

// The last word of each line.
std::vector<std::string> last_words(const std::string& text) {
  std::vector<std::string> words;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    words.push_back(line.substr(line.find_last_of(' ') + 1));
  }
  return words;
}

TEST(DriverFile, ExportsWhatPcscdCallsAlone) {
  const Outcome outcome = run({"/usr/bin/nm", "-D", "--defined-only", QUORRA_DRIVER});
  EXPECT_THAT(last_words(outcome.output),
              UnorderedElementsAre("IFDHCloseChannel", "IFDHControl", "IFDHCreateChannel",
                                   "IFDHCreateChannelByName", "IFDHGetCapabilities",
                                   "IFDHICCPresence", "IFDHPowerICC", "IFDHSetCapabilities",
                                   "IFDHSetProtocolParameters", "IFDHTransmitToICC"));
}

TEST(DriverFile, NeedsTheRuntimeOfTheCompilerAlone) {
  const Outcome outcome =
      run({"/bin/sh", "-c", "readelf -d \"$0\" | sed -n 's/.*NEEDED.*\\[\\(.*\\)\\..*/\\1/p'",
           QUORRA_DRIVER});
  const std::vector<std::string> libraries = last_words(outcome.output);
  EXPECT_THAT(libraries, Contains("libc.so"));
  EXPECT_THAT(libraries, Each(::testing::AnyOf("libc.so", "libm.so", "libgcc_s.so", "libstdc++.so",
                                               "ld-linux-x86-64.so")));
}

TEST(DriverFile, IsInstalledWhereDebianHasDriversForSerialReaders) {
  const TemporaryDirectory folder;
  const Outcome outcome =
      run({QUORRA_CMAKE, "--install", QUORRA_BUILD_FOLDER "/pcsc", "--prefix", folder / "tree"});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_FALSE(content_of(folder / "tree/lib/pcsc/drivers/serial/libifdquorra.so").empty());
  const std::string sample = content_of(folder / "tree/share/doc/quorra/quorra.conf.sample");
  EXPECT_NE(sample.find("\nLIBPATH      /usr/lib/pcsc/drivers/serial/libifdquorra.so\n"),
            std::string::npos);
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
    text.replace(at, what.size(), by);
    at += by.size();
  }
  return text;
}

// The file that the documentation makes of the sample is whole, and names the other device.
TEST(DriverFile, ComesWithASampleOfWhichTheDocumentationMakesAFile) {
  const TemporaryDirectory folder;
  run({QUORRA_CMAKE, "--install", QUORRA_BUILD_FOLDER "/pcsc", "--prefix", folder / "tree"});
  std::string command;
  std::istringstream page(content_of(QUORRA_PCSC_PAGE));
  while (std::getline(page, command) && command.find("quorra.conf.sample") == std::string::npos) {
  }
  command = replaced(command, "sudo ", "");
  command = replaced(command, "/etc/reader.conf.d/", folder / "");
  command = replaced(command, " /usr/", ' ' + (folder / "tree/"));
  EXPECT_EQ(run({"/bin/sh", "-c", command}).status, 0) << command;
  const std::string sample = content_of(folder / "tree/share/doc/quorra/quorra.conf.sample");
  EXPECT_EQ(content_of(folder / "quorra"), replaced(sample, "/dev/ttyS0", "/dev/ttyUSB0"));
}

}  // namespace
}  // namespace quorra::testing
