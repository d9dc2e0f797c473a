#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "simulator/cards/chip.hpp"

namespace quorra::simulator {

// A card and the image file it lives in.
class CardFile {
 public:
  // Loads the image. Throws Error.
  explicit CardFile(std::filesystem::path path);

  const std::filesystem::path& path() const { return path_; }
  Chip& chip() { return *chip_; }
  const Image& image() const { return std::as_const(*chip_).image(); }

  // Writes the image file if the chip has changed since it was last written. Throws Error; the
  // next call then tries again.
  void save();

 private:
  std::filesystem::path path_;
  std::unique_ptr<Chip> chip_;
  std::uint64_t saved_changes_ = 0;
};

}  // namespace quorra::simulator
