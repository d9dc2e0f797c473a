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
      stamp_(stamp_of(path_)) {}

void CardFile::save() {
  if (chip_->changes() == saved_changes_) return;
  if (!save_changed_cells()) save_image(image(), path_);
  stamp_ = stamp_of(path_);
  chip_->forget_changed_cells();
  saved_changes_ = chip_->changes();
}

// A raw memory is the end of its file. A write that a kill cuts off leaves old and new bytes, but
// the file keeps its size and stays loadable.
bool CardFile::save_changed_cells() {
  const auto memory = image().raw_memory();
  if (memory.empty() || !stamp_) return false;
  const auto cells = chip_->changed_cells();
  const auto place = static_cast<std::uint64_t>(cells.data() - memory.data());
  return overwrite_part(path_, *stamp_, stamp_->size - memory.size() + place, cells);
}

}  // namespace quorra::simulator
