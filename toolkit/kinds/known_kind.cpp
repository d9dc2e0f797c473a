// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/kinds/known_kind.hpp"

#include <fmt/core.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace quorra::toolkit {
namespace {

// In a folder that others may write to, somebody else may have made it.
bool is_own_folder(const std::filesystem::path& path) {
  struct stat found {};
  return lstat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode) && found.st_uid == geteuid() &&
         (found.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

std::filesystem::path own_folder() {
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  std::filesystem::path folder = fmt::format("/tmp/quorra-{}", geteuid());
  if (runtime != nullptr && *runtime == '/') folder = std::filesystem::path(runtime) / "quorra";
  mkdir(folder.c_str(), S_IRWXU);
  return is_own_folder(folder) ? folder : std::filesystem::path();
}

}  // namespace

KnownKind::KnownKind(const Session& session) {
  struct stat line {};
  if (fstat(session.handle(), &line) != 0) return;
  const std::filesystem::path folder = own_folder();
  if (folder.empty()) return;
  note_ = folder / fmt::format("card-at-{}-{}", major(line.st_rdev), minor(line.st_rdev));
  device_ = fmt::format("{}.{:09}", line.st_ctim.tv_sec, line.st_ctim.tv_nsec);
}

KnownKind::Note KnownKind::read() const {
  std::ifstream file(note_);
  std::string device;
  std::string card;
  Note note;
  if (!std::getline(file, device) || device != device_) return note;
  std::getline(file, card);
  std::istringstream(card) >> note.card >> note.tag;
  std::getline(file, note.doubt);
  return note;
}

const Card* KnownKind::get() const { return find_card(read().card); }

std::string KnownKind::tag() const { return read().tag; }

std::string KnownKind::doubt() const { return read().doubt; }

void KnownKind::set(const Card& card, std::string_view tag, std::string_view doubt) const {
  if (note_.empty()) return;
  std::ofstream note(note_);
  note << device_ << '\n' << card.name << ' ' << tag << '\n';
  if (!doubt.empty()) note << doubt << '\n';
}

void KnownKind::forget() const {
  std::error_code nothing_there;
  std::filesystem::remove(note_, nothing_there);
}

}  // namespace quorra::toolkit
