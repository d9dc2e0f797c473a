// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "simulator/files.hpp"

namespace quorra::simulator {

// A file that is written from its beginning to its end. An old one of the same kind is written
// anew; as long as this object lives no other virtual reader writes it.
class OutputFile {
 public:
  // `beginning` is what files of the kind begin with. Throws Error, also if there is another file
  // of that name.
  OutputFile(std::filesystem::path path, std::string_view beginning);

  const std::filesystem::path& path() const { return path_; }

  // Throws Error; then the file holds what was written before.
  void write(std::string_view text);

 private:
  void expect_to_be_alone() const;
  void expect_old_one(std::string_view beginning) const;
  [[noreturn]] void fail(std::string_view why) const;

  std::filesystem::path path_;
  FileDescriptor file_;
};

}  // namespace quorra::simulator
