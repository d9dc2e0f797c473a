// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/program/new_card.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/files.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

const Field& field_of(const Kind& kind, std::string_view name) {
  const auto found = std::ranges::find(kind.fields, name, &Field::name);
  if (found == kind.fields.end()) throw Error(fmt::format("a {} has no {}", kind.name, name));
  return *found;
}

void set_bytes(Image& image, std::string_view name, const std::string& hex) {
  const Field& field = field_of(image.kind(), name);
  const auto bytes = parse_hex(hex);
  if (!bytes || bytes->size() != field.extent)
    throw Error(fmt::format("{} must be {} bytes in hexadecimal: {}", name, field.extent, hex));
  std::ranges::copy(*bytes, image.field(name).begin());
}

void set_answer_to_reset(Image& image, const std::string& hex) {
  const Field& field = field_of(image.kind(), "atr");
  const auto bytes = parse_hex(hex);
  if (!bytes || bytes->empty() || bytes->size() > field.extent)
    throw Error(fmt::format("atr must be 1 to {} bytes in hexadecimal: {}", field.extent, hex));
  image.assign(field.name, *bytes);
}

void set_number(Image& image, std::string_view name, const std::string& text) {
  const Field& field = field_of(image.kind(), name);
  const auto number = parse_number(text);
  if (!number || *number > field.extent)
    throw Error(fmt::format("{} must be 0 to {}: {}", name, field.extent, text));
  image.field(name).front() = static_cast<std::uint8_t>(*number);
}

void set_memory(Image& image, const std::string& file) {
  const Field& field = field_of(image.kind(), "memory");
  const std::string content = read_file(file);
  if (content.size() != field.extent)
    throw Error(fmt::format("{}: {} bytes, but a {} has {}", file, content.size(),
                            image.kind().name, field.extent));
  std::ranges::transform(content, image.field("memory").begin(),
                         [](char byte) { return static_cast<std::uint8_t>(byte); });
}

void set_data(Image& image, const std::string& text) {
  const Field& field = field_of(image.kind(), "memory");
  const std::size_t colon = text.find(':');
  const auto address = parse_number(std::string_view(text).substr(0, colon));
  const auto bytes = colon == std::string::npos
                         ? std::nullopt
                         : parse_hex(std::string_view(text).substr(colon + 1));
  if (!address || !bytes || bytes->empty())
    throw Error(fmt::format("data must be ADDRESS:HEX: {}", text));
  if (*address > field.extent || bytes->size() > field.extent - *address)
    throw Error(fmt::format("data goes beyond the {} bytes of a {}: {}", field.extent,
                            image.kind().name, text));
  std::ranges::copy(*bytes, image.field("memory").subspan(*address).begin());
}

void protect(Image& image, const std::string& text) {
  const Field& field = field_of(image.kind(), "protected");
  const auto range = parse_address_range(text);
  if (!range || range->last >= field.extent)
    throw Error(fmt::format("protect must be ADDRESS or ADDRESS-ADDRESS, up to 0x{:02X}: {}",
                            field.extent - 1, text));
  std::ranges::fill(image.field("protected").subspan(range->first, range->last - range->first + 1),
                    std::uint8_t{1});
}

}  // namespace

int make_card(const NewCard& card) {
  Image image(find_kind(card.kind));
  if (card.code) set_bytes(image, "code", *card.code);
  if (card.answer_to_reset) set_answer_to_reset(image, *card.answer_to_reset);
  if (card.key) set_bytes(image, "key", *card.key);
  if (card.counter) set_number(image, "counter", *card.counter);
  if (card.memory) set_memory(image, *card.memory);
  for (const std::string& data : card.data)
    set_data(image, data);
  for (const std::string& range : card.protect)
    protect(image, range);

  std::error_code error;
  const auto status = std::filesystem::symlink_status(card.file, error);
  if (!card.overwrite && std::filesystem::exists(status))
    throw Error(fmt::format("{}: exists already (--force overwrites it)", card.file));
  // The card of a running reader is not taken from it.
  LockedFile(card.file).replace(to_text(image));
  return 0;
}

}  // namespace quorra::simulator
