#pragma once

#include <filesystem>
#include <string_view>

namespace quorra::simulator {

// The file that tells hosts how the reader is reached: a comment line, then P=DEVICE or the lines
// for a terminal with an auxiliary port. The destructor removes it.
class ConfigurationFile {
 public:
  // Writes nothing yet. Throws Error if the path is taken by something that no virtual reader
  // has written.
  explicit ConfigurationFile(std::filesystem::path path);
  ConfigurationFile(const ConfigurationFile&) = delete;
  ConfigurationFile& operator=(const ConfigurationFile&) = delete;
  ~ConfigurationFile();

  const std::filesystem::path& path() const { return path_; }

  // Throws Error.
  void name_device(std::string_view device);
  // Writes these lines, of at most 59 characters each with their line ends. Throws Error.
  void write(std::string_view lines);

 private:
  std::filesystem::path path_;
  bool written_ = false;
};

}  // namespace quorra::simulator
