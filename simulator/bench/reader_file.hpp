// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <filesystem>

#include "simulator/cards/image.hpp"
#include "simulator/files.hpp"
#include "simulator/firmware/reader.hpp"

namespace quorra::simulator {

// The memory of a reader as an image: one field, "memory".
const Kind& reader_kind();

// The file that a reader's memory lives in, which no other virtual reader can use in the meantime.
class ReaderFile {
 public:
  // Loads the memory, or makes the file with that of a new reader. Throws Error.
  ReaderFile(std::filesystem::path path, const ReaderMemory& fresh);

  // As it was saved last.
  const ReaderMemory& memory() const { return saved_; }

  // Writes the file if that is another memory. Throws Error; the next call then tries again.
  void save(const ReaderMemory& memory);

 private:
  void write(const ReaderMemory& memory);

  LockedFile file_;
  ReaderMemory saved_{};
};

}  // namespace quorra::simulator
