// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/history_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string_view>
#include <system_error>

#include "toolkit/session/descriptor.hpp"

namespace quorra::cli {
namespace {

constexpr std::size_t most_lines = 1000;

std::filesystem::path absolute_folder(const char* variable) {
  const char* value = std::getenv(variable);
  return value == nullptr || *value != '/' ? "" : value;
}

std::filesystem::path own_folder() {
  const std::filesystem::path states = absolute_folder("XDG_STATE_HOME");
  if (!states.empty()) return states / "quorra";
  const std::filesystem::path home = absolute_folder("HOME");
  return home.empty() ? home : home / ".local" / "state" / "quorra";
}

void make_folder(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder.parent_path(), error);
  mkdir(folder.c_str(), S_IRWXU);
}

void write_lines(const std::filesystem::path& path, std::string_view text, int flags) {
  constexpr mode_t owner_only = S_IRUSR | S_IWUSR;
  const toolkit::Descriptor file(
      open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | flags, owner_only));
  if (file.number() < 0 || fchmod(file.number(), owner_only) != 0) return;
  // The lines are there to be convenient: whoever typed them goes on without.
  [[maybe_unused]] const ssize_t ignored = write(file.number(), text.data(), text.size());
}

}  // namespace

HistoryFile::HistoryFile() {
  const std::filesystem::path folder = own_folder();
  if (folder.empty()) return;
  make_folder(folder);
  path_ = folder / "history";
}

std::vector<std::string> HistoryFile::lines() const {
  std::ifstream file(path_);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  if (lines.size() <= most_lines) return lines;
  lines.erase(lines.begin(), lines.end() - most_lines);
  std::string text;
  for (const std::string& line : lines) {
    text += line + '\n';
  }
  write_lines(path_, text, O_TRUNC);
  return lines;
}

void HistoryFile::add(const std::string& line) const {
  if (!path_.empty()) write_lines(path_, line + '\n', O_APPEND);
}

}  // namespace quorra::cli
