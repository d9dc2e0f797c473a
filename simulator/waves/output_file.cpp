// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/waves/output_file.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

constexpr mode_t usual_permissions = 0666;

}  // namespace

// A FIFO that nobody reads must not hold the reader up.
OutputFile::OutputFile(std::filesystem::path path, std::string_view beginning)
    : path_(std::move(path)),
      file_(::open(path_.c_str(), O_RDWR | O_CREAT | O_NOCTTY | O_NONBLOCK | O_CLOEXEC,
                   usual_permissions)) {
  if (!file_.is_open()) fail(system_error_text());
  struct stat information {};
  if (::fstat(file_.get(), &information) != 0) fail(system_error_text());
  if (S_ISCHR(information.st_mode)) return;
  if (!S_ISREG(information.st_mode)) fail("not a regular file");
  expect_to_be_alone();
  if (information.st_size > 0) expect_old_one(beginning);
  if (::ftruncate(file_.get(), 0) != 0) fail(system_error_text());
}

void OutputFile::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(file_.get(), text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(system_error_text());
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

// A file system that has no locks protects nothing.
void OutputFile::expect_to_be_alone() const {
  if (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    fail("in use by another virtual reader");
}

void OutputFile::expect_old_one(std::string_view beginning) const {
  std::string read(beginning.size(), '\0');
  const ssize_t count = ::pread(file_.get(), read.data(), read.size(), 0);
  if (count < 0) fail(system_error_text());
  read.resize(static_cast<std::size_t>(count));
  if (read != beginning) fail("there is another file of that name");
}

void OutputFile::fail(std::string_view why) const {
  throw Error(fmt::format("{}: {}", path_.string(), why));
}

}  // namespace quorra::simulator
