// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/card_file.hpp"

#include <utility>

#include "simulator/cards/kinds.hpp"

namespace quorra::simulator {
namespace {

std::unique_ptr<Chip> load_chip(LockedFile& file) {
  file.lock();
  Image image = load_image(file.path());
  const Kind& kind = image.kind();
  return kind.make_chip(std::move(image));
}

}  // namespace

CardFile::CardFile(std::filesystem::path path)
    : file_(std::move(path)),
      chip_(load_chip(file_)),
      stamp_(stamp_of(this->path())) {
  if (read_file(this->path()) != to_text(image())) stamp_.reset();
}

void CardFile::replace_chip(std::unique_ptr<Chip> chip) {
  chip_ = std::move(chip);
  saved_changes_.reset();
  stamp_.reset();
}

void CardFile::save() {
  if (chip_->changes() == saved_changes_) return;
  if (!save_changed_cells()) file_.replace(to_text(image()));
  stamp_ = stamp_of(path());
  chip_->forget_changed_cells();
  saved_changes_ = chip_->changes();
}

// To replace the whole file takes so long that a paced line would stand still. A write that a kill
// cuts off leaves old and new bytes in the memory, but the file keeps its size and can be loaded.
bool CardFile::save_changed_cells() {
  if (!stamp_) return false;
  const auto cells = stored_cells(image(), chip_->changed_cells());
  return cells &&
         overwrite_part(path(), *stamp_, stamp_->size - cells->distance_from_end, cells->content);
}

}  // namespace quorra::simulator
