// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/configuration_file.hpp"

#include <fmt/core.h>

#include <system_error>
#include <utility>

#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

// Hosts read lines of at most 59 characters, the line end included.
constexpr std::size_t longest_line = 59;
constexpr std::string_view comment = "# This leads to a virtual reader.\n";
static_assert(comment.size() <= longest_line);

}  // namespace

ConfigurationFile::ConfigurationFile(std::filesystem::path path) : file_(std::move(path)) {
  std::error_code error;
  if (!std::filesystem::exists(this->path(), error)) return;
  const std::string content = read_file(this->path());
  if (!content.empty() && !content.starts_with(comment))
    throw Error(fmt::format("{}: there is another file of that name", this->path().string()));
}

ConfigurationFile::~ConfigurationFile() {
  if (written_) file_.remove();
}

void ConfigurationFile::name_device(std::string_view device) {
  const std::string line = fmt::format("P={}\n", device);
  if (line.size() > longest_line)
    throw Error(fmt::format("the name of the device is too long: {}", device));
  write(line);
}

void ConfigurationFile::write(std::string_view lines) {
  file_.replace(fmt::format("{}{}", comment, lines));
  written_ = true;
}

}  // namespace quorra::simulator
