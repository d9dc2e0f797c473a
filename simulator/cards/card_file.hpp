// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "simulator/cards/chip.hpp"
#include "simulator/files.hpp"

namespace quorra::simulator {

// A card and the image file it lives in, which no other virtual reader can use in the meantime.
class CardFile {
 public:
  // Loads the image. Throws Error.
  explicit CardFile(std::filesystem::path path);

  const std::filesystem::path& path() const { return file_.path(); }
  Chip& chip() { return *chip_; }
  const Image& image() const { return std::as_const(*chip_).image(); }

  // From now on the card is this chip of the same kind. The next save() writes the whole file.
  void replace_chip(std::unique_ptr<Chip> chip);

  // Writes the image file if the chip has changed since it was last written: only the changed part
  // of the memory if nothing else changed. Throws Error; the next call then tries again.
  void save();

 private:
  bool save_changed_cells();

  LockedFile file_;
  std::unique_ptr<Chip> chip_;
  // Absent if the chip was not saved yet.
  std::optional<std::uint64_t> saved_changes_ = 0;
  // The file as it was left when it was read or written; absent when it has another layout than
  // save_image() gives it.
  std::optional<FileStamp> stamp_;
};

}  // namespace quorra::simulator
