// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Image files: any text is refused or is a card, and a card that is written is read as the same
// one.

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>

#include "fuzz/support/check.hpp"
#include "fuzz/support/input.hpp"
#include "simulator/cards/chip.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/files.hpp"

using namespace quorra::fuzzing;
using namespace quorra::simulator;

namespace {

bool are_equal(const Image& one, const Image& other) {
  return &one.kind() == &other.kind() &&
         std::ranges::all_of(one.kind().fields, [&](const Field& field) {
           return std::ranges::equal(one.field(field.name), other.field(field.name));
         });
}

// Bytes of the memory that change in the file, without the rest being written, leave a file that
// holds them.
void check_stored_cells(const Image& image, std::size_t seed) {
  const auto memory = image.field(image.kind().fields.back().name);
  if (memory.empty()) return;
  const std::size_t first = seed % memory.size();
  const auto cells = memory.subspan(first, 1 + seed / 7 % (memory.size() - first));
  const auto stored = stored_cells(image, cells);
  if (!stored) return;
  std::string text = to_text(image);
  require(stored->distance_from_end <= text.size() &&
              stored->content.size() <= stored->distance_from_end,
          "stored cells lie within the file");
  const std::size_t place = text.size() - stored->distance_from_end;
  require(text.compare(place, stored->content.size(), stored->content) == 0,
          "stored cells are where they are said to be");
}

void check_file(const Image& image) {
  static const TemporaryFolder folder;
  const auto path = folder.path() / "card.toml";
  save_image(image, path);
  require(are_equal(load_image(path), image), "a file that is saved can be loaded");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string text(data, data + size);
  try {
    const Image image = parse_image(text, "card.toml");
    require(are_equal(parse_image(to_text(image), "again"), image),
            "a card is read as it is written");
    check_stored_cells(image, size * 31 + (size > 0 ? data[size - 1] : 0U));
    // Files take longer than all the rest.
    if (size % 16 == 0) check_file(image);
    Image copy = image;
    const auto chip = image.kind().make_chip(std::move(copy));
    require(are_equal(std::as_const(*chip).image(), image), "a chip holds what its image holds");
    chip->contacts_changed({}, {.vcc = true});
  } catch (const Error& error) {
    const std::string complaint = error.what();
    require(!complaint.empty() && complaint.find('\n') == std::string::npos,
            "a complaint is one line");
  }
  return 0;
}
