// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <filesystem>
#include <string_view>

#include "simulator/files.hpp"

namespace quorra::simulator {

// The file that tells hosts how the reader is reached: a comment line, then P=DEVICE or the lines
// for a terminal with an auxiliary port. Two readers cannot have the same one. The destructor
// removes it.
class ConfigurationFile {
 public:
  // Writes nothing yet. Throws Error if the path is taken by something that no virtual reader has
  // written.
  explicit ConfigurationFile(std::filesystem::path path);
  ConfigurationFile(const ConfigurationFile&) = delete;
  ConfigurationFile& operator=(const ConfigurationFile&) = delete;
  ~ConfigurationFile();

  const std::filesystem::path& path() const { return file_.path(); }

  // Throws Error, also if the path is taken by the file of a reader that still runs.
  void name_device(std::string_view device);
  // Writes these lines, of at most 59 characters each with their line ends. Throws Error as
  // name_device() does.
  void write(std::string_view lines);

 private:
  LockedFile file_;
  bool written_ = false;
};

}  // namespace quorra::simulator
