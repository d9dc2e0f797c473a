// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/reader_file.hpp"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

#include "simulator/cards/kinds.hpp"

namespace quorra::simulator {
namespace {

constexpr std::array fields{Field{"memory", FieldForm::memory, reader_memory_size}};
constexpr Kind kind{.name = "reader",
                    .description = "memory of a reader",
                    .fields = fields,
                    .make_blank = [](Image& /*image*/) {},
                    .make_chip = nullptr,
                    .headline = "The memory of a virtual reader."};

}  // namespace

const Kind& reader_kind() { return kind; }

ReaderFile::ReaderFile(std::filesystem::path path, const ReaderMemory& fresh)
    : file_(std::move(path)) {
  std::error_code error;
  if (!std::filesystem::exists(file_.path(), error)) {
    write(fresh);
    return;
  }
  file_.lock();
  const Image image = parse_image(read_file(file_.path()), file_.path().string(), &reader_kind());
  std::ranges::copy(image.field("memory"), saved_.begin());
}

void ReaderFile::save(const ReaderMemory& memory) {
  if (memory != saved_) write(memory);
}

void ReaderFile::write(const ReaderMemory& memory) {
  Image image(reader_kind());
  std::ranges::copy(memory, image.field("memory").begin());
  file_.replace(to_text(image));
  saved_ = memory;
}

}  // namespace quorra::simulator
