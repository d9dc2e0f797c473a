#include "simulator/cards/card_file.hpp"

#include <utility>

#include "simulator/cards/kinds.hpp"

namespace quorra::simulator {
namespace {

std::unique_ptr<Chip> load_chip(const std::filesystem::path& path) {
  Image image = load_image(path);
  const Kind& kind = image.kind();
  return kind.make_chip(std::move(image));
}

}  // namespace

CardFile::CardFile(std::filesystem::path path)
    : path_(std::move(path)),
      chip_(load_chip(path_)),
      stamp_(stamp_of(path_)) {
  if (read_file(path_) != to_text(image())) stamp_.reset();
}

void CardFile::save() {
  if (chip_->changes() == saved_changes_) return;
  if (!save_changed_cells()) save_image(image(), path_);
  stamp_ = stamp_of(path_);
  chip_->forget_changed_cells();
  saved_changes_ = chip_->changes();
}

// To replace the whole file takes so long that a paced line would stand still. A write that a kill
// cuts off leaves old and new bytes in the memory, but the file keeps its size and can be loaded.
bool CardFile::save_changed_cells() {
  if (!stamp_) return false;
  const auto cells = stored_cells(image(), chip_->changed_cells());
  return cells &&
         overwrite_part(path_, *stamp_, stamp_->size - cells->distance_from_end, cells->content);
}

}  // namespace quorra::simulator
