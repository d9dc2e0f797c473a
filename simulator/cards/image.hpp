// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorra::simulator {

struct Kind;

// How a field of an image is written in the image file.
enum class FieldForm : std::uint8_t {
  memory,         // lines of hexadecimal bytes, each line begins with its address
  raw,            // the bytes themselves, behind the text; for a memory that is the only field
  bytes,          // a string of hexadecimal bytes
  text_of_bytes,  // the same, with 1 up to that many bytes
  number,         // a decimal number
  addresses,      // an array of addresses and ranges of addresses
};

// One part of what a kind of card keeps without power.
struct Field {
  std::string_view name;
  FieldForm form;
  // How many bytes (memory, raw, bytes, text_of_bytes), the greatest value (number, at most 255),
  // or how many addresses there are to choose from (addresses).
  std::size_t extent;
};

// All that a card keeps without power. Each field of its kind is an array of bytes: the bytes
// themselves, one byte that holds the number, or for each address a 1 when it is among the
// addresses and a 0 when it is not.
class Image {
 public:
  // The content of a new card of this kind, which must outlive the image.
  explicit Image(const Kind& kind);

  bool operator==(const Image&) const = default;

  const Kind& kind() const { return *kind_; }
  bool has(std::string_view name) const;
  // The bytes of a field; empty when the kind has no such field. They stay where they are when
  // the image is moved.
  std::span<std::uint8_t> field(std::string_view name);
  std::span<const std::uint8_t> field(std::string_view name) const;
  // Gives a field of any form other bytes, for text_of_bytes also another number of them.
  void assign(std::string_view name, std::vector<std::uint8_t> bytes);

 private:
  const Kind* kind_;
  std::vector<std::vector<std::uint8_t>> values_;
};

// The addresses of a field of that form, for people: "0x00-0x03", "0x15".
std::vector<std::string> address_list(std::span<const std::uint8_t> field);

// The content of an image file.
std::string to_text(const Image& image);

// Cells of the memory as the image file has them.
struct StoredCells {
  std::string content;
  // From the first byte of the content to the end of the file.
  std::size_t distance_from_end;
};

// The cells from the first of these to the last as save_image() writes them; absent unless the
// image ends with its memory and the cells are in it. They always take the same place in the file,
// and a file with some bytes of the old and some of the new content there can be loaded.
std::optional<StoredCells> stored_cells(const Image& image, std::span<const std::uint8_t> cells);

// Reads the content of an image file, of the kind `only` or, if that is null, of any kind of card.
// Throws Error; `name` is what its text calls the file.
Image parse_image(const std::string& text, const std::string& name, const Kind* only = nullptr);

// Reads an image file. Throws Error.
Image load_image(const std::filesystem::path& path);

// Writes an image file; a kill at any moment leaves the old file or the new one. Throws Error.
void save_image(const Image& image, const std::filesystem::path& path);

}  // namespace quorra::simulator
