#pragma once

#include <filesystem>
#include <string_view>

namespace quorra::simulator {

// The file that tells hosts which device to open: a comment line and P=DEVICE. The destructor
// removes it.
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

 private:
  std::filesystem::path path_;
  bool written_ = false;
};

}  // namespace quorra::simulator
