// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The lines that were typed at earlier times.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorra::cli {

// A file of the user's own, which nobody else may read: $XDG_STATE_HOME/quorra/history, or
// ~/.local/state/quorra/history. Where it cannot be used, there are no earlier lines.
class HistoryFile {
 public:
  HistoryFile();

  // The last ones, in their order.
  std::vector<std::string> lines() const;
  void add(const std::string& line) const;

 private:
  std::filesystem::path path_;  // empty if there is none
};

}  // namespace quorra::cli
