// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Running programs: with arguments and standard input, in the background, on a terminal.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorra::testing {

// A folder of its own, removed with all it holds.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  // The path of a file in it.
  std::string operator/(std::string_view name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// The content of a file.
std::string content_of(const std::string& path);
void write_file(const std::string& path, std::string_view content);

// Both ends of a pseudo-terminal. Nothing is echoed and line ends stay as they are.
class Terminal {
 public:
  Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal();

  // The end that a program has for its terminal, and its name.
  int line() const { return line_; }
  const std::string& device() const { return device_; }

  void type(std::string_view text) const;
  // Waits for exactly `count` bytes from the program.
  std::string read(std::size_t count) const;
  // Waits until the program has written `text`, and returns what it wrote up to there.
  std::string read_until(std::string_view text) const;
  // What the program has written, without waiting.
  std::string read_all() const;

 private:
  int user_ = -1;
  int line_ = -1;
  std::string device_;
};

// What became of a program.
struct Outcome {
  int status = -1;     // exit status; -1 if a signal ended the program
  int signal = 0;      // the signal that ended it
  std::string output;  // standard output
  std::string errors;  // standard error
};

// How a program is started.
struct Surroundings {
  std::string input;  // what standard input holds
  // Descriptors that take the place of standard input (0), output (1) and error (2).
  std::map<int, int> streams;
  // Changes to the environment; no value: the variable is not set.
  std::map<std::string, std::optional<std::string>> environment;
  // Stopping a program may have no effect while nobody else in its session, but outside its process
  // group, could go on with it. In a group of its own there is this process.
  bool has_own_group = false;
};

// A program in the background. It is killed if it has not been waited for.
class Process {
 public:
  explicit Process(const std::vector<std::string>& command, const Surroundings& surroundings = {});
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  // The next line of standard output, without its end.
  std::string read_line();
  void signal(int number) const;
  // Stops it until SIGCONT. It may be just about to act on what it was told before; so this waits
  // until it stands still.
  void freeze() const;
  // The number of the process.
  pid_t number() const { return pid_; }
  // Waits for the end; the output is what has not been read before.
  Outcome wait();

 private:
  // Receives what there is, after waiting for something. False when all output has ended.
  bool receive();

  pid_t pid_ = -1;
  std::map<int, int> pipes_;  // the test's ends
  std::map<int, std::string> received_;
};

// Runs a program to its end.
Outcome run(const std::vector<std::string>& command, const Surroundings& surroundings = {});

}  // namespace quorra::testing
