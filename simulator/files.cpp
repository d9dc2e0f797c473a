// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/files.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

constexpr off_t largest_file = 16L * 1024 * 1024;

[[noreturn]] void fail(const std::filesystem::path& path, std::string_view reason) {
  throw Error(fmt::format("{}: {}", path.string(), reason));
}

void write_all(int descriptor, std::string_view content, const std::filesystem::path& path) {
  while (!content.empty()) {
    const ssize_t written = ::write(descriptor, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(path, fmt::format("cannot write: {}", system_error_text()));
    content.remove_prefix(static_cast<std::size_t>(written));
  }
}

FileStamp make_stamp(const struct stat& information) {
  return {.device = information.st_dev,
          .node = information.st_ino,
          .size = static_cast<std::uint64_t>(information.st_size),
          .seconds = information.st_mtim.tv_sec,
          .nanoseconds = information.st_mtim.tv_nsec};
}

FileDescriptor open_regular_file(const std::filesystem::path& path, struct stat& information) {
  // Not to wait for a writer when the path is a named pipe.
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.is_open()) fail(path, fmt::format("cannot open: {}", system_error_text()));
  if (::fstat(file.get(), &information) != 0 || !S_ISREG(information.st_mode))
    fail(path, "not a regular file");
  return file;
}

// Which process has the lock, by the system's list of them: a line such as
// "1: FLOCK  ADVISORY  WRITE 4711 08:01:123456 0 EOF", with the numbers of the device in
// hexadecimal. 0 if that is not known, for instance because the process lives in another container.
long holder_of_lock(const struct stat& information) {
  const std::string file = fmt::format("{:02x}:{:02x}:{}", major(information.st_dev),
                                       minor(information.st_dev), information.st_ino);
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream words(line);
    std::string number;
    std::string form;
    std::string strictness;
    std::string mode;
    long process = 0;
    std::string locked;
    words >> number >> form >> strictness >> mode >> process >> locked;
    if (form == "FLOCK" && locked == file) return std::max(process, 0L);
  }
  return 0;
}

// False if somebody else has the lock.
bool has_locked(const FileDescriptor& file, int mode = LOCK_EX) {
  return ::flock(file.get(), mode | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

std::string name_holder(std::string_view name, const struct stat& information) {
  const long holder = holder_of_lock(information);
  return holder == 0 ? std::string(name) : fmt::format("{} (process {})", name, holder);
}

// A new file next to `path`, locked, that disappears again unless it has taken the place of `path`.
class Successor {
 public:
  explicit Successor(const std::filesystem::path& path) : path_(path) {
    for (unsigned attempt = 0;; ++attempt) {
      temporary_ = path.parent_path() / fmt::format(".quorra-{}-{}", ::getpid(), attempt);
      file_ =
          FileDescriptor(::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
      if (file_.is_open()) break;
      if (errno != EEXIST) fail(path, fmt::format("cannot write: {}", system_error_text()));
    }
    has_locked(file_);
  }
  Successor(const Successor&) = delete;
  Successor& operator=(const Successor&) = delete;
  ~Successor() {
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
  }

  int descriptor() const { return file_.get(); }

  FileDescriptor take_place() {
    if (::rename(temporary_.c_str(), path_.c_str()) != 0)
      fail(path_, fmt::format("cannot write: {}", system_error_text()));
    temporary_.clear();
    return std::move(file_);
  }

 private:
  std::filesystem::path path_;
  std::filesystem::path temporary_;
  FileDescriptor file_;
};

}  // namespace

FileDescriptor::~FileDescriptor() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void occupy_standard_streams() {
  // Opened the wrong way round, so that using them is an error, as it is with a closed descriptor.
  constexpr std::array<int, 3> modes = {O_WRONLY, O_RDONLY, O_RDONLY};
  for (int number = 0; number < static_cast<int>(modes.size()); ++number) {
    // The lowest free number is the one that is given away.
    if (::fcntl(number, F_GETFD) < 0)
      ::open("/dev/null", modes.at(static_cast<std::size_t>(number)));
  }
}

std::string system_error_text() { return std::generic_category().message(errno); }

std::string read_file(const std::filesystem::path& path) {
  struct stat information {};
  const FileDescriptor file = open_regular_file(path, information);
  if (information.st_size > largest_file) fail(path, "too large");

  std::string content(static_cast<std::size_t>(information.st_size), '\0');
  std::size_t filled = 0;
  while (filled < content.size()) {
    const ssize_t count = ::read(file.get(), content.data() + filled, content.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(path, fmt::format("cannot read: {}", system_error_text()));
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  content.resize(filled);
  return content;
}

FileDescriptor replace_file(const std::filesystem::path& path, std::string_view content) {
  std::error_code error;
  std::filesystem::path target = path;
  if (std::filesystem::is_symlink(path, error)) {
    target = std::filesystem::canonical(path, error);
    if (error) fail(path, fmt::format("cannot write: {}", error.message()));
  }
  struct stat information {};
  const bool exists = ::stat(target.c_str(), &information) == 0;
  if (exists && !S_ISREG(information.st_mode)) fail(path, "not a regular file");
  // A rename would replace a read-only file without a murmur.
  if (exists && ::access(target.c_str(), W_OK) != 0)
    fail(path, fmt::format("cannot write: {}", system_error_text()));

  Successor successor(target);
  // Whoever may not give files away becomes the owner. A change of the owner can take permissions.
  if (exists) {
    [[maybe_unused]] const int ignored =
        ::fchown(successor.descriptor(), information.st_uid, information.st_gid);
  }
  if (exists && ::fchmod(successor.descriptor(), information.st_mode & 07777U) != 0)
    fail(path, fmt::format("cannot keep the permissions: {}", system_error_text()));
  write_all(successor.descriptor(), content, path);
  return successor.take_place();
}

std::optional<FileStamp> stamp_of(const std::filesystem::path& path) {
  struct stat information {};
  if (::stat(path.c_str(), &information) != 0) return std::nullopt;
  return make_stamp(information);
}

bool is_same_file(const std::optional<FileStamp>& first, const std::optional<FileStamp>& second) {
  return first && second && first->device == second->device && first->node == second->node;
}

bool overwrite_part(const std::filesystem::path& path, const FileStamp& stamp, std::uint64_t offset,
                    std::string_view bytes) {
  const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.is_open()) return false;
  struct stat information {};
  if (::fstat(file.get(), &information) != 0 || make_stamp(information) != stamp) return false;
  while (!bytes.empty()) {
    const ssize_t written =
        ::pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(path, fmt::format("cannot write: {}", system_error_text()));
    offset += static_cast<std::uint64_t>(written);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::optional<std::string> user_of(const std::filesystem::path& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat information {};
  if (!file.is_open() || ::fstat(file.get(), &information) != 0) return std::nullopt;
  if (has_locked(file, LOCK_SH)) return std::nullopt;
  return name_holder("another program", information);
}

bool LockedFile::is_in_its_place() const {
  struct stat information {};
  return file_.is_open() && ::fstat(file_.get(), &information) == 0 &&
         is_same_file(make_stamp(information), stamp_of(path_));
}

// The file can be replaced between the moment it is opened and the moment it is locked.
void LockedFile::lock() {
  while (!is_in_its_place()) {
    struct stat information {};
    FileDescriptor file = open_regular_file(path_, information);
    if (!has_locked(file))
      fail(path_, fmt::format("in use by {}", name_holder("another virtual reader", information)));
    file_ = std::move(file);
  }
}

void LockedFile::replace(std::string_view content) {
  if (stamp_of(path_) && !is_in_its_place()) {
    LockedFile there(path_);
    there.lock();
    if (file_.is_open()) fail(path_, "another file has taken its place");
    file_ = std::move(there.file_);
  }
  file_ = replace_file(path_, content);
}

void LockedFile::remove() {
  if (is_in_its_place()) ::unlink(path_.c_str());
}

TemporaryFolder::TemporaryFolder() {
  std::error_code error;
  const auto parent = std::filesystem::temp_directory_path(error);
  if (error) throw Error(fmt::format("no folder for temporary files: {}", error.message()));
  std::string pattern = (parent / "quorra-sim-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr)
    fail(parent, fmt::format("cannot make a folder: {}", system_error_text()));
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace quorra::simulator
