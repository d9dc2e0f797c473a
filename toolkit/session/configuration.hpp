// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The reader's configuration file, looked at before the library reads it.
#pragma once

#include <string>
#include <string_view>

#include "toolkit/session/descriptor.hpp"
#include "toolkit/session/device.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {

inline constexpr Operation opening{"opening the session", OperationKind::opening};

// The name of the failure that another program has the device.
inline constexpr std::string_view device_in_use = "in_use";

// What such a file holds. Throws UsageError if it is no regular file, or a large one.
std::string content_of_configuration(const std::string& file);

// A copy of a configuration file: whatever becomes of the file, the library always reads the same.
class Configuration {
 public:
  // Throws UsageError if that is no configuration file: something else than a regular file, a large
  // one, or one whose device the library would not take as it stands there.
  explicit Configuration(const std::string& file);

  // The name that a file can have for this device: its other name if this one does not fit in a
  // line. Throws UsageError.
  static std::string name_in_file(const std::string& device);

  // As a file would be that names this device so. Throws UsageError.
  static Configuration of_device(const std::string& device);

  // The name of the copy, for functions of the library.
  const std::string& path() const { return path_; }

  // Lets the library read it: its variables hold what the file says then. Throws UsageError.
  void read() const;

  // Reads the file, and returns the device that it names, or else the terminal that is standard
  // output. Throws UsageError if there is neither.
  std::string device() const;

  // The same, and opens it. Throws Failure, too.
  Device open_device() const;

 private:
  Configuration(std::string name, const std::string& content);

  std::string name_;
  bool begins_with_mark_;
  Descriptor copy_;
  std::string path_;
};

}  // namespace quorra::toolkit
