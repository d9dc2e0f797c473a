// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra.so as a file: what it needs, what it exports, how it is hardened.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/process.hpp"

namespace quorra::testing {
namespace {

const std::string library = QUORRA_LIBRARY;

std::string output_of(const std::vector<std::string>& command) {
  const Outcome outcome = run(command);
  EXPECT_EQ(outcome.status, 0) << command.front() << ": " << outcome.errors;
  return outcome.output;
}

// All that the first group of `pattern` matches.
std::vector<std::string> matches(const std::string& text, const std::string& pattern) {
  const std::regex expression(pattern);
  std::vector<std::string> found;
  for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at) {
    found.push_back((*at)[1]);
  }
  return found;
}

std::set<std::string> sorted(const std::vector<std::string>& names) {
  return {names.begin(), names.end()};
}

std::set<std::string> declared_names() {
  std::string header = content_of(QUORRA_HEADER);
  header = std::regex_replace(header, std::regex(R"(/\*[^]*?\*/)"), "");
  std::set<std::string> names = sorted(matches(header, R"(\b(?:int|void) (\w+)\()"));
  names.merge(sorted(matches(header, R"(\bextern [\w ]+ (\w+)(?:\[60\])?;)")));
  return names;
}

std::set<std::string> exported_names() {
  return sorted(matches(output_of({"/usr/bin/env", "nm", "-D", "--defined-only", library}),
                        R"(\S+ \w (\S+)\n)"));
}

TEST(LibraryFile, ExportsWhatTheHeaderDeclaresAndNothingElse) {
  const std::set<std::string> declared = declared_names();
  EXPECT_GE(declared.size(), 200U);
  EXPECT_TRUE(declared.contains("chk_4432"));
  EXPECT_TRUE(declared.contains("Char_Bit"));
  EXPECT_TRUE(declared.contains("Reader_Type"));
  EXPECT_TRUE(declared.contains("oport"));
  EXPECT_EQ(exported_names(), declared);

  const std::string map =
      std::regex_replace(content_of(QUORRA_MAP), std::regex(R"(/\*[^]*?\*/)"), "");
  EXPECT_EQ(sorted(matches(map, R"((\w+);)")), declared);
}

TEST(LibraryFile, HasItsNameInItself) {
  EXPECT_EQ(matches(output_of({"/usr/bin/env", "readelf", "-d", library}), R"(SONAME\).*\[(.*)\])"),
            std::vector<std::string>{"quorra.so"});
}

// Instrumented builds need the runtime of their instruments.
#ifndef QUORRA_INSTRUMENTED

TEST(LibraryFile, NeedsTheCLibraryAlone) {
  EXPECT_EQ(matches(output_of({"/usr/bin/env", "readelf", "-d", library}), R"(NEEDED\).*\[(.*)\])"),
            std::vector<std::string>{"libc.so.6"});
}

TEST(LibraryFile, CallsWhatItsTaskNeedsAndNoMore) {
  const std::set<std::string> allowed = {
      "__errno_location",
      "__explicit_bzero_chk",
      "__stack_chk_fail",
      "bcmp",
      "clock",
      "close",
      "explicit_bzero",
      "fclose",
      "fcntl",
      "ferror",
      "fgets",
      "fopen",
      "memcmp",
      "memcpy",
      "memmove",
      "memset",
      "open",
      "read",
      "strlen",
      "strnlen",
      "tcflush",
      "tcgetattr",
      "tcsetattr",
      "ttyname",
      "write",
  };
  std::vector<std::string> others;
  for (const std::string& name : matches(
           output_of({"/usr/bin/env", "nm", "-D", "--undefined-only", library}), R"( (\w+)@)")) {
    if (!allowed.contains(name)) others.push_back(name);
  }
  EXPECT_EQ(others, std::vector<std::string>{});
}

TEST(LibraryFile, IsHardened) {
  const std::string segments = output_of({"/usr/bin/env", "readelf", "-lW", library});
  EXPECT_TRUE(std::regex_search(segments, std::regex("GNU_RELRO")));
  EXPECT_TRUE(std::regex_search(segments, std::regex(R"(GNU_STACK.* RW )")));
  EXPECT_FALSE(std::regex_search(segments, std::regex(R"(LOAD.* RWE )")));
  const std::string dynamic = output_of({"/usr/bin/env", "readelf", "-d", library});
  EXPECT_TRUE(std::regex_search(dynamic, std::regex("BIND_NOW")));
  EXPECT_FALSE(std::regex_search(dynamic, std::regex("TEXTREL")));
  EXPECT_TRUE(std::regex_search(output_of({"/usr/bin/env", "nm", "-D", library}),
                                std::regex("__stack_chk_fail")));
#ifdef __x86_64__
  EXPECT_TRUE(std::regex_search(output_of({"/usr/bin/env", "readelf", "-n", library}),
                                std::regex("IBT, SHSTK")));
#endif
}

// Programs of others, built against an installed tree that was moved after its installation, and
// installed themselves.
class Installed : public ::testing::Test {
 protected:
  explicit Installed(const std::string& folder = "moved") : root_(tree_ / folder) {
    output_of({QUORRA_CMAKE, "--install", QUORRA_BUILD_FOLDER, "--prefix", tree_ / "first"});
    std::filesystem::rename(tree_ / "first", root());
    surroundings_.environment["LD_LIBRARY_PATH"] = std::nullopt;
    surroundings_.environment["CC"] = QUORRA_C_COMPILER;
    surroundings_.environment["CMAKE_PREFIX_PATH"] = root();
    surroundings_.environment["PKG_CONFIG_PATH"] = root() + "/" QUORRA_INSTALL_LIBDIR "/pkgconfig";
    surroundings_.environment["PATH"] = root() + "/bin:" + std::getenv("PATH");
  }

  const std::string& root() const { return root_; }

  // The output of a script for the shell, which runs in a folder with the files given to it.
  std::string output_of_script(const std::string& script) const {
    const Outcome outcome =
        run({"/bin/sh", "-ec", "cd \"$0\"\n" + script, folder_ / "."}, surroundings_);
    EXPECT_EQ(outcome.status, 0) << script << outcome.output << outcome.errors;
    return outcome.output;
  }

  void expect_to_run(const std::string& program) const {
    const Outcome outcome = run({program, "/nowhere/reader.conf"}, surroundings_);
    EXPECT_EQ(outcome.output, "KW###DRVSFT-V6.60B -1 0\n") << outcome.errors;
  }

  // The run path of the consumer, built in one of its ways and then installed.
  std::string run_path_of_consumer(const std::string& settings) const {
    output_of_script("cmake -G Ninja -S " QUORRA_CONSUMER " -B build " + settings +
                     "\ncmake --build build\n"
                     "cmake --install build --prefix elsewhere\nrm -r build\n");
    const std::vector<std::string> paths =
        matches(output_of({"/usr/bin/env", "readelf", "-d", folder_ / "elsewhere/bin/consumer"}),
                R"(RUNPATH\).*\[(.*)\])");
    return paths.empty() ? "" : paths.front();
  }

  TemporaryDirectory tree_;
  std::string root_;
  TemporaryDirectory folder_;
  Surroundings surroundings_;
};

class InstalledWithBlank : public Installed {
 protected:
  InstalledWithBlank() : Installed("moved there") {}
};

TEST_F(Installed, IsFoundByCMake) {
  for (const char* way : {"first", "last", "function", "library", "pkg-config"}) {
    SCOPED_TRACE(way);
    const std::string libraries = root() + "/" QUORRA_INSTALL_LIBDIR;
    EXPECT_NE(run_path_of_consumer("-DFOUND_BY=" + std::string(way)).find(libraries),
              std::string::npos);
    expect_to_run(folder_ / "elsewhere/bin/consumer");
  }
}

TEST_F(InstalledWithBlank, IsFoundByCMake) {
  for (const char* way : {"last", "pkg-config"}) {
    SCOPED_TRACE(way);
    run_path_of_consumer("-DFOUND_BY=" + std::string(way));
    expect_to_run(folder_ / "elsewhere/bin/consumer");
  }
}

TEST_F(Installed, LeavesTheRunPathToAProjectThatSaysSo) {
  for (const char* setting : {"-DCMAKE_INSTALL_RPATH_USE_LINK_PATH=OFF", "-DCMAKE_SKIP_RPATH=ON",
                              "-DCMAKE_SKIP_INSTALL_RPATH=ON"}) {
    EXPECT_EQ(run_path_of_consumer("-DFOUND_BY=last " + std::string(setting)), "") << setting;
  }
}

// As if the tree were one of those in which every library is found.
TEST_F(Installed, LeavesTheRunPathOfUsualFolders) {
  EXPECT_EQ(run_path_of_consumer("-DFOUND_BY=last -DCMAKE_PLATFORM_IMPLICIT_LINK_DIRECTORIES=" +
                                 root() + "/" QUORRA_INSTALL_LIBDIR),
            "");
}

TEST_F(Installed, IsFoundByPkgConfig) {
  output_of_script(
      "flags=$(pkg-config --cflags --libs 'quorra >= 0.1')\n"
      "$CC -std=c99 -Wall -Wextra -Wpedantic -Werror -o consumer " QUORRA_CONSUMER
      "/main.c $flags\n");
  expect_to_run(folder_ / "consumer");
}

TEST_F(InstalledWithBlank, IsFoundByPkgConfig) {
  output_of_script("eval $CC -o consumer " QUORRA_CONSUMER
                   "/main.c \"$(pkg-config --cflags --libs quorra)\"\n");
  expect_to_run(folder_ / "consumer");
}

TEST_F(Installed, BringsThePrograms) {
  for (const char* program : {"quorra", "quorra-sim"}) {
    const Outcome outcome = run({root() + "/bin/" + program, "--version"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_NE(outcome.output.find(QUORRA_VERSION), std::string::npos) << outcome.output;
  }
}

TEST_F(Installed, BringsTheDissector) {
  const std::string dissector =
      content_of(root() + "/" QUORRA_INSTALL_LIBDIR "/wireshark/plugins/quorra.lua");
  EXPECT_NE(dissector.find("words = \"read the version\""), std::string::npos);
  EXPECT_NE(dissector.find("Proto(\"quorra\""), std::string::npos);
}

#endif

TEST(Header, IsFreeOfWarningsInCAndInCpp) {
  const TemporaryDirectory folder;
  for (const auto& [compiler, name] : {std::pair{QUORRA_C_COMPILER " -std=c99", "use.c"},
                                       std::pair{QUORRA_C_COMPILER " -std=c11", "use.c"},
                                       std::pair{QUORRA_CXX_COMPILER " -std=c++11", "use.cpp"},
                                       std::pair{QUORRA_CXX_COMPILER " -std=c++20", "use.cpp"}}) {
    write_file(folder / name,
               "#include <quorra.h>\n#include <quorra.h>\n#include <termios.h>\n"
               "int use(void);\nint use(void) { return (int)nport.c_cflag; }\n");
    std::vector<std::string> command;
    std::istringstream words(compiler);
    for (std::string word; words >> word;)
      command.push_back(word);
    for (const std::string& argument :
         {std::string("-Wall"), std::string("-Wextra"), std::string("-Wpedantic"),
          std::string("-Wstrict-prototypes"), std::string("-Werror"),
          std::string("-I" QUORRA_INCLUDE), std::string("-fsyntax-only"), folder / name}) {
      if (argument == "-Wstrict-prototypes" && std::string_view(name) == "use.cpp") continue;
      command.push_back(argument);
    }
    output_of(command);
  }
}

}  // namespace
}  // namespace quorra::testing
