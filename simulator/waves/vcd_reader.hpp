// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorra::simulator {

// Reads a value change dump (VCD), whoever wrote it. It trusts nothing that the file says, and
// takes no more memory than the head of the file needs.
class VcdReader {
 public:
  struct Signal {
    std::string scope;  // "top.card"; empty outside of all scopes
    std::string name;
    std::string code;  // which signals that are one have in common
    bool is_bit = false;
    bool is_string = false;
  };

  enum class Level : std::uint8_t { low, high, unknown, let_go };

  // A signal with this code has a new level, or a string a new text.
  struct Change {
    std::uint64_t time = 0;
    std::string code;
    Level level = Level::unknown;
    std::string text;
  };

  // Reads the head of a file of that name. Throws Error.
  VcdReader(std::istream& file, std::string name);

  const std::string& name() const { return name_; }
  const std::vector<Signal>& signals() const { return signals_; }
  const std::vector<std::string>& comments() const { return comments_; }
  // How long a tick of the file is, in femtoseconds; 0 if it does not say.
  std::uint64_t femtoseconds() const { return femtoseconds_; }

  // The next change; absent at the end. Throws Error, also if the file was cut off.
  std::optional<Change> next();
  // The last time that was read.
  std::uint64_t time() const { return time_; }

 private:
  std::optional<std::string> token();
  std::string expect_token();
  void skip_line();
  // What stands up to "$end", its words one blank apart.
  std::string rest_of_section();
  void read_head();
  void read_section(const std::string& keyword);
  void read_timescale();
  void read_variable();
  void read_time(std::string_view digits);
  [[noreturn]] void fail(std::string_view why) const;
  [[noreturn]] void fail_at_line(std::string_view why) const;
  [[noreturn]] void fail_cut_off() const;

  std::istream& file_;
  std::string name_;
  std::size_t line_ = 1;
  bool line_has_ended_ = true;
  bool ends_in_a_word_ = false;
  bool is_in_section_ = false;

  std::vector<std::string> scopes_;
  std::vector<Signal> signals_;
  std::vector<std::string> comments_;
  std::uint64_t femtoseconds_ = 0;
  std::uint64_t time_ = 0;
};

}  // namespace quorra::simulator
