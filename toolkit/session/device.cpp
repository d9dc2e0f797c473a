// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/device.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <grp.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

namespace quorra::toolkit {
namespace {

struct KindOfFile {
  mode_t type;
  std::string_view words;
};

constexpr KindOfFile kinds_of_file[] = {
    {S_IFREG, "a regular file"}, {S_IFDIR, "a directory"},    {S_IFIFO, "a FIFO"},
    {S_IFSOCK, "a socket"},      {S_IFBLK, "a block device"}, {S_IFCHR, "a character device"},
};

// What the words of the system leave open.
struct Hint {
  int error;
  std::string_view words;
};

constexpr Hint hints[] = {
    {ENOENT, ": there is no such device"},
    {ENXIO, ": no hardware is behind it"},
    {ENODEV, ": no hardware is behind it"},
    {EIO, ": no hardware answers there, or the other end of the line is gone"},
    {EBUSY, ": another program keeps it for itself"},
};

std::string group_name(gid_t number) {
  std::array<char, 4096> texts{};
  group entry{};
  group* found = nullptr;
  const int error = getgrgid_r(number, &entry, texts.data(), texts.size(), &found);
  return error != 0 || found == nullptr ? fmt::format("{}", number) : found->gr_name;
}

std::string user_name(uid_t number) {
  std::array<char, 4096> texts{};
  passwd entry{};
  passwd* found = nullptr;
  const int error = getpwuid_r(number, &entry, texts.data(), texts.size(), &found);
  return error != 0 || found == nullptr ? fmt::format("{}", number) : found->pw_name;
}

// "rw-rw----"
std::string permissions_of(mode_t mode) {
  constexpr std::string_view letters = "rwxrwxrwx";
  std::string text(letters);
  for (std::size_t i = 0; i < letters.size(); ++i) {
    const mode_t bit = 1U << (letters.size() - 1 - i);
    if ((mode & bit) == 0) text[i] = '-';
  }
  return text;
}

bool has_open(const std::filesystem::path& process, const struct stat& file) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(process / "fd", error)) {
    struct stat opened {};
    if (stat(entry.path().c_str(), &opened) == 0 && opened.st_rdev == file.st_rdev &&
        S_ISCHR(opened.st_mode)) {
      return true;
    }
  }
  return false;
}

std::string program_of(const std::string& process) {
  std::string program;
  std::ifstream name("/proc/" + process + "/comm");
  return std::getline(name, program) ? fmt::format("{} (process {})", program, process)
                                     : std::string();
}

// The other processes that have opened a device. Those of other users do not show what they have.
std::vector<std::string> holders_of(const struct stat& file) {
  std::vector<std::string> holders;
  const std::string self = fmt::format("{}", getpid());
  std::error_code error;
  for (const auto& process : std::filesystem::directory_iterator("/proc", error)) {
    const std::string number = process.path().filename();
    if (number.find_first_not_of("0123456789") != std::string::npos || number == self) continue;
    if (!has_open(process.path(), file)) continue;
    if (std::string program = program_of(number); !program.empty()) holders.push_back(program);
  }
  return holders;
}

// Who may use a device that does not admit this user; nothing if a folder on the way to it is
// closed already.
std::string who_may(const std::string& path) {
  constexpr mode_t group_may = S_IRGRP | S_IWGRP;
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return {};
  if ((found.st_mode & group_may) != group_may) return ": only its owner may use it";
  const std::string group = group_name(found.st_gid);
  return fmt::format(
      ": it is for the group {0}. Join it with \"sudo usermod -aG {0} $USER\", and log in again",
      group);
}

[[noreturn]] void cannot_use(const std::string& path, int error) {
  std::string text =
      fmt::format("{} cannot be opened: {}", path, std::generic_category().message(error));
  if (error == EACCES) text += who_may(path);
  const auto* const hint = std::ranges::find(hints, error, &Hint::error);
  if (hint != std::end(hints)) text += hint->words;
  constexpr int missing[] = {ENOENT, ENOTDIR, ENODEV, ENXIO, EIO};
  if (std::ranges::find(missing, error) != std::end(missing)) throw DeviceMissing(text);
  throw DeviceError(text);
}

void expect_terminal_device(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) cannot_use(path, errno);
  if (S_ISCHR(found.st_mode) && is_terminal_device(found.st_rdev)) return;
  throw DeviceError(
      fmt::format("{} is {}, not a terminal device", path, kind_of_file(found.st_mode)));
}

Descriptor open_terminal_device(const std::string& path) {
  expect_terminal_device(path);
  Descriptor device(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (device.number() < 0) cannot_use(path, errno);
  // Hardware that is missing shows here, too.
  if (isatty(device.number()) != 1) cannot_use(path, errno);
  return device;
}

// "quorra (process 1234)". The system lists locks by the file system and the inode of their file:
// "4: FLOCK  ADVISORY  WRITE 1234 00:1a:5 0 EOF".
std::string holder_of_lock(int descriptor) {
  struct stat held {};
  fstat(descriptor, &held);
  const std::string file =
      fmt::format("{:02x}:{:02x}:{}", major(held.st_dev), minor(held.st_dev), held.st_ino);
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream words(line);
    std::string number;
    std::string kind;
    std::string is_advisory;
    std::string access;
    std::string process;
    std::string locked;
    words >> number >> kind >> is_advisory >> access >> process >> locked;
    if (kind != "FLOCK" || locked != file) continue;
    if (std::string program = program_of(process); !program.empty()) return program;
  }
  return "another program";
}

void lock(const std::string& path, int descriptor) {
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return;
  if (errno != EWOULDBLOCK) cannot_use(path, errno);
  throw DeviceError(fmt::format("{} is in use by {}", path, holder_of_lock(descriptor)));
}

// Returns the settings that it changed.
std::optional<termios> expect_no_carrier(int descriptor) {
  termios settings{};
  if (tcgetattr(descriptor, &settings) != 0 || (settings.c_cflag & CLOCAL) != 0) return {};
  const termios before = settings;
  settings.c_cflag |= CLOCAL;
  tcsetattr(descriptor, TCSANOW, &settings);
  return before;
}

}  // namespace

Device::Device(const std::string& path) : descriptor_(open_terminal_device(path)) {
  lock(path, descriptor_.number());
  before_ = expect_no_carrier(descriptor_.number());
}

Device::~Device() {
  if (before_) tcsetattr(descriptor_.number(), TCSANOW, &*before_);
}

// The system lists its terminals by major number and a range of minor numbers:
// "serial /dev/ttyS 4 64-95 serial". Without that list, opening the device tells.
bool is_terminal_device(dev_t number) {
  std::ifstream drivers("/proc/tty/drivers");
  if (!drivers) return true;
  for (std::string line; std::getline(drivers, line);) {
    std::istringstream words(line);
    std::string name;
    std::string node;
    unsigned major_number = 0;
    unsigned first = 0;
    words >> name >> node >> major_number >> first;
    unsigned last = first;
    if (words.peek() == '-') words.ignore() >> last;
    std::string type;
    words >> type;
    // The other end of a line, which no reader can be at.
    if (type == "pty:master" || type == "system") continue;
    if (major(number) == major_number && minor(number) >= first && minor(number) <= last) {
      return true;
    }
  }
  return false;
}

std::optional<DeviceUse> use_of_device(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return std::nullopt;
  return DeviceUse{.permissions = permissions_of(found.st_mode),
                   .owner = user_name(found.st_uid),
                   .group = group_name(found.st_gid),
                   .may_use = access(path.c_str(), R_OK | W_OK) == 0,
                   .holders = holders_of(found)};
}

std::string_view kind_of_file(mode_t mode) {
  const auto* const found = std::ranges::find(kinds_of_file, mode & S_IFMT, &KindOfFile::type);
  return found == std::end(kinds_of_file) ? "no file" : found->words;
}

}  // namespace quorra::toolkit
