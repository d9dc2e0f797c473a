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

CardFile::CardFile(std::filesystem::path path) : path_(std::move(path)), chip_(load_chip(path_)) {}

void CardFile::save() {
  if (chip_->changes() == saved_changes_) return;
  save_image(image(), path_);
  saved_changes_ = chip_->changes();
}

}  // namespace quorra::simulator
