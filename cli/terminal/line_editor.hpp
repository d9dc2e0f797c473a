// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Lines that somebody types at a terminal and may edit.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorra::cli {

// What may take the place of the end of a line.
struct Completions {
  std::size_t begins = 0;          // where that end begins in the line
  std::vector<std::string> words;  // as they are shown
};

// The words for a line that was typed up to the cursor.
using Complete = std::function<Completions(std::string_view line)>;

// Standard input is a terminal; what is typed is shown on standard error.
class LineEditor {
 public:
  // Reading ends when the descriptor `interruption` becomes readable. Throws Failure if the library
  // that does the editing is not there.
  LineEditor(std::string prompt, int interruption, Complete complete);
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;
  ~LineEditor();

  // A line without its end; none at the end of input, and when it was interrupted.
  std::optional<std::string> read();

  // Offers a line again.
  void remember(const std::string& line);

 private:
  class Editor;

  std::unique_ptr<Editor> editor_;
};

}  // namespace quorra::cli
