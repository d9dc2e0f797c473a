// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/files.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include "cli/terminal/interruption.hpp"
#include "simulator/files.hpp"
#include "toolkit/session/descriptor.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::cli {
namespace {

using Information = struct stat;

std::string error_words() { return std::generic_category().message(errno); }

[[noreturn]] void output_failed() {
  const bool is_closed = errno == EPIPE;
  const std::string words = fmt::format("writing to standard output: {}", error_words());
  if (is_closed) throw OutputClosed(words);
  throw Failure(words);
}

[[noreturn]] void cannot_open(const std::string& path) {
  throw UsageError(fmt::format("opening {}: {}", path, error_words()));
}

[[noreturn]] void cannot_make_beside(const std::string& path, const std::string& folder) {
  throw UsageError(
      fmt::format("opening {}: the new file is written beside the old one first, but none can be "
                  "made in the folder {}: {}",
                  path, folder, error_words()));
}

[[noreturn]] void cannot_write(const std::string& path) {
  throw Failure(fmt::format("writing {}: {}", path, error_words()));
}

// What there is at this path; nothing if there is no file.
std::optional<Information> look_at(const std::string& path) {
  Information found{};
  if (stat(path.c_str(), &found) == 0) return found;
  if (errno != ENOENT) cannot_open(path);
  return std::nullopt;
}

// Whether the descriptor is that file, opened for writing.
bool writes_to(int descriptor, const Information& file) {
  Information opened{};
  fstat(descriptor, &opened);
  return (fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY && opened.st_dev == file.st_dev &&
         opened.st_ino == file.st_ino;
}

// A descriptor through which the program was given that file, as /dev/stderr or /dev/fd/3 names it.
std::optional<int> given_descriptor(const Information& file) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    const int descriptor = std::stoi(entry.path().filename());
    if (writes_to(descriptor, file)) return descriptor;
  }
  return std::nullopt;
}

void write_all(int descriptor, const std::string& path, const Bytes& bytes) {
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t put = write(descriptor, bytes.data() + size, bytes.size() - size);
    if (put < 0) cannot_write(path);
    size += static_cast<std::size_t>(put);
  }
}

// Where a symbolic link leads to, also if there is nothing yet.
std::filesystem::path target_of(std::filesystem::path path) {
  while (std::filesystem::is_symlink(path)) {
    path = path.parent_path() / std::filesystem::read_symlink(path);
  }
  return path;
}

// Removes what has that name at its end.
class Removal {
 public:
  explicit Removal(std::string name) : name_(std::move(name)) {}
  Removal(const Removal&) = delete;
  Removal& operator=(const Removal&) = delete;
  ~Removal() { unlink(name_.c_str()); }

 private:
  std::string name_;
};

// Gives a new file the owner and the permissions of the one whose place it is to take. Whoever may
// not give files away becomes the owner.
bool take_permissions(int descriptor, const std::optional<Information>& old) {
  if (!old) {
    const mode_t mask = umask(0);
    umask(mask);
    return fchmod(descriptor, 0666U & ~mask) == 0;
  }
  // A change of the owner can take permissions.
  [[maybe_unused]] const int ignored = fchown(descriptor, old->st_uid, old->st_gid);
  return fchmod(descriptor, old->st_mode & 07777U) == 0;
}

// The old file stays whole until the new one is complete. If it does not come to that, nothing of
// the new one is left.
void replace_file(const std::string& path, const std::optional<Information>& old,
                  const Bytes& bytes) {
  // A rename would replace a read-only file without a murmur.
  if (old && access(path.c_str(), W_OK) != 0) cannot_open(path);
  const std::filesystem::path target = target_of(path);
  if (old) expect_unused(path);
  const std::filesystem::path folder = std::filesystem::absolute(target).parent_path();
  std::string beside = folder / ".quorra-XXXXXX";

  const Interruption interruption;
  Descriptor file(mkostemp(beside.data(), O_CLOEXEC));
  if (file.number() < 0 && old) cannot_make_beside(path, folder);
  if (file.number() < 0) cannot_open(path);
  const Removal removal(beside);
  if (!take_permissions(file.number(), old)) cannot_write(path);
  write_all(file.number(), path, bytes);
  if (fsync(file.number()) != 0 || file.close() != 0) cannot_write(path);
  if (interruption.pending()) throw Interrupted(fmt::format("writing {}: interrupted", path));
  if (rename(beside.c_str(), target.c_str()) != 0) cannot_write(path);
}

// Waits until there is something to read, or the end. False if the program was told to end; that is
// nothing to wait for where signals are not held back.
bool wait_for_input(int descriptor) {
  std::array<pollfd, 2> waited = {
      {{descriptor, POLLIN, 0}, {Interruption::current_descriptor(), POLLIN, 0}}};
  while (poll(waited.data(), waited.size(), -1) < 0 && errno == EINTR) {
  }
  return waited[1].revents == 0;
}

}  // namespace

Bytes read_file(const std::string& path, std::size_t limit) {
  const bool from_input = path == standard_stream;
  const auto failed = [&] {
    return UsageError(
        fmt::format("reading {}: {}", from_input ? "standard input" : path, error_words()));
  };
  // The wait for somebody who writes to a FIFO is one that can be ended, too.
  const Descriptor file(from_input ? dup(STDIN_FILENO)
                                   : open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (file.number() < 0) throw failed();
  Bytes bytes(limit);
  std::size_t size = 0;
  while (size < limit) {
    if (!wait_for_input(file.number())) {
      throw Interrupted(
          fmt::format("reading {}: interrupted", from_input ? "standard input" : path));
    }
    const ssize_t got = read(file.number(), bytes.data() + size, limit - size);
    if (got < 0) throw failed();
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  bytes.resize(size);
  return bytes;
}

void expect_unused(const std::string& path) {
  if (const auto user = simulator::user_of(path)) {
    throw UsageError(fmt::format("opening {}: it is in use by {}", path, *user));
  }
}

bool is_standard_output(const std::string& path) {
  if (path == standard_stream) return true;
  Information file{};
  return stat(path.c_str(), &file) == 0 && writes_to(STDOUT_FILENO, file);
}

void write_file(const std::string& path, const Bytes& bytes) {
  if (is_standard_output(path)) {
    print({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return;
  }
  const std::optional<Information> old = look_at(path);
  if (!old) return replace_file(path, old, bytes);
  if (const auto descriptor = given_descriptor(*old)) return write_all(*descriptor, path, bytes);
  if (S_ISREG(old->st_mode)) return replace_file(path, old, bytes);
  Descriptor file(open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
  if (file.number() < 0) cannot_open(path);
  write_all(file.number(), path, bytes);
  if (file.close() != 0) cannot_write(path);
}

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) output_failed();
}

void flush_standard_output() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) output_failed();
}

void close_standard_output() {
  if (std::fflush(stdout) != 0 || close(STDOUT_FILENO) != 0) output_failed();
}

}  // namespace quorra::cli
