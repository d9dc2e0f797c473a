// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/program/show.hpp"

#include <fmt/format.h>

#include "simulator/bench/reader_file.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/files.hpp"
#include "simulator/program/output.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

// A card, or what a reader keeps.
Image load(const std::string& file) {
  const std::string text = read_file(file);
  const bool is_reader =
      text.find(fmt::format("\nkind = \"{}\"\n", reader_kind().name)) != std::string::npos;
  return parse_image(text, file, is_reader ? &reader_kind() : nullptr);
}

}  // namespace

int show_card(const std::string& file) {
  const Image image = load(file);
  std::string text = fmt::format("kind: {} ({})\n", image.kind().name, image.kind().description);
  for (const Field& field : image.kind().fields) {
    const auto value = image.field(field.name);
    switch (field.form) {
      case FieldForm::memory:
      case FieldForm::raw:
        text += fmt::format("{}: {} bytes\n{}", field.name, value.size(), hex_dump(value, true));
        break;
      case FieldForm::bytes:
      case FieldForm::text_of_bytes:
        text += fmt::format("{}: {}\n", field.name, to_hex(value));
        break;
      case FieldForm::number:
        text += fmt::format("{}: {}\n", field.name, value.front());
        break;
      case FieldForm::addresses:
        text += fmt::format("{}: {}\n", field.name, fmt::join(address_list(value), " "));
        break;
    }
  }
  print(text);
  return 0;
}

int show_kinds() {
  std::string text;
  for (const Kind& kind : kinds())
    text += fmt::format("{:8} {}\n", kind.name, kind.description);
  print(text);
  return 0;
}

}  // namespace quorra::simulator
