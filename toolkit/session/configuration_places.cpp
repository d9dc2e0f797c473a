// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/configuration_places.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace quorra::toolkit {
namespace {

constexpr char of_machine[] = "/etc/quorra/reader.conf";

std::optional<std::string> variable(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

bool is_there(const std::string& file) {
  struct stat found {};
  return stat(file.c_str(), &found) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

}  // namespace

std::optional<std::string> configuration_of_environment() {
  return variable(configuration_variable);
}

std::optional<std::string> own_configuration() {
  const std::string file = "/quorra/reader.conf";
  const auto folder = variable("XDG_CONFIG_HOME");
  // A folder that is not absolute does not count.
  if (folder && folder->front() == '/') return *folder + file;
  const auto home = variable("HOME");
  if (!home) return std::nullopt;
  return *home + "/.config" + file;
}

std::vector<std::string> configuration_places() {
  std::vector<std::string> places;
  if (auto own = own_configuration()) places.push_back(std::move(*own));
  places.emplace_back(of_machine);
  return places;
}

std::optional<std::string> find_configuration() {
  const std::vector<std::string> places = configuration_places();
  const auto found = std::ranges::find_if(places, is_there);
  if (found == places.end()) return std::nullopt;
  return *found;
}

}  // namespace quorra::toolkit
