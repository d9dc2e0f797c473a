// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/device.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <fmt/ranges.h>
#include <grp.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
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

// Whether an open file of a process has a lock: "lock:\t1: FLOCK  ADVISORY  WRITE 1234 00:1a:5 0
// EOF".
bool has_lock(const std::filesystem::path& process, const std::string& descriptor) {
  std::ifstream properties(process / "fdinfo" / descriptor);
  for (std::string line; std::getline(properties, line);) {
    if (line.starts_with("lock:") && line.find(" FLOCK ") != std::string::npos) return true;
  }
  return false;
}

enum class Hold { open, locked };

bool has_open(const std::filesystem::path& process, const struct stat& file, Hold hold) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(process / "fd", error)) {
    struct stat opened {};
    if (stat(entry.path().c_str(), &opened) == 0 && opened.st_rdev == file.st_rdev &&
        S_ISCHR(opened.st_mode) &&
        (hold == Hold::open || has_lock(process, entry.path().filename()))) {
      return true;
    }
  }
  return false;
}

struct Holder {
  std::string words;           // "quorra (process 1234)"
  std::optional<int> process;  // if it is known
};

std::optional<Holder> holder_of_number(const std::string& process) {
  std::string program;
  std::ifstream name("/proc/" + process + "/comm");
  if (!std::getline(name, program)) return std::nullopt;
  return Holder{.words = fmt::format("{} (process {})", program, process),
                .process = std::stoi(process)};
}

// The other processes that have opened a device. Those of other users do not show what they have.
std::vector<Holder> holders_of(const struct stat& file, Hold hold) {
  std::vector<Holder> holders;
  const std::string self = fmt::format("{}", getpid());
  std::error_code error;
  for (const auto& process : std::filesystem::directory_iterator("/proc", error)) {
    const std::string number = process.path().filename();
    if (number.find_first_not_of("0123456789") != std::string::npos || number == self) continue;
    if (!has_open(process.path(), file, hold)) continue;
    if (auto holder = holder_of_number(number)) holders.push_back(std::move(*holder));
  }
  return holders;
}

std::vector<std::string> words_of(const std::vector<Holder>& holders) {
  std::vector<std::string> words;
  words.reserve(holders.size());
  for (const Holder& holder : holders)
    words.push_back(holder.words);
  return words;
}

// Some program has asked that nobody else may open the device. Who has it open is told, as far as
// it shows.
[[noreturn]] void refuse_kept(const std::string& path, std::string_view trouble) {
  std::vector<Holder> holders;
  struct stat found {};
  if (stat(path.c_str(), &found) == 0) holders = holders_of(found, Hold::open);
  std::string text = fmt::format("{} {}: another program keeps it for itself", path, trouble);
  if (!holders.empty()) text += fmt::format("; opened by {}", fmt::join(words_of(holders), ", "));
  throw DeviceInUse(text, holders.size() == 1 ? holders.front().process : std::nullopt);
}

// Who may use a device that does not admit this user, or what the device lacks for that; nothing if
// a folder on the way to it is closed already.
std::string who_may(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return {};
  const std::string group = group_name(found.st_gid);
  switch (found.st_mode & (S_IRGRP | S_IWGRP)) {
    case 0:
      return ": only its owner may use it";
    case S_IRGRP:
      return fmt::format(": its group {} may read it, but not write to it", group);
    case S_IWGRP:
      return fmt::format(": its group {} may write to it, but not read it", group);
    default:
      return fmt::format(
          ": it is for the group {0}. Join it with \"sudo usermod -aG {0} $USER\", and log in "
          "again",
          group);
  }
}

[[noreturn]] void cannot_use(const std::string& path, int error) {
  const std::string trouble =
      fmt::format("cannot be opened: {}", std::generic_category().message(error));
  if (error == EBUSY) refuse_kept(path, trouble);
  std::string text = fmt::format("{} {}", path, trouble);
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
  // The system lets the administrator open what another program keeps for itself.
  int is_kept = 0;
  if (ioctl(device.number(), TIOCGEXCL, &is_kept) == 0 && is_kept != 0) {
    refuse_kept(path, "is in use");
  }
  return device;
}

// The system lists locks by the file system and the inode of their file, with the process that set
// them: "4: FLOCK  ADVISORY  WRITE 1234 00:1a:5 0 EOF". When that one has ended, another one has
// the line from it.
Holder holder_of_lock(int descriptor) {
  struct stat held {};
  fstat(descriptor, &held);
  const std::string file =
      fmt::format("{:02x}:{:02x}:{}", major(held.st_dev), minor(held.st_dev), held.st_ino);
  std::string words = "another program";
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream fields(line);
    std::string number;
    std::string kind;
    std::string is_advisory;
    std::string access;
    std::string process;
    std::string locked;
    fields >> number >> kind >> is_advisory >> access >> process >> locked;
    if (kind != "FLOCK" || locked != file) continue;
    if (auto holder = holder_of_number(process)) return std::move(*holder);
    words = fmt::format("another program: process {}, which locked it, has ended", process);
  }
  const std::vector<Holder> holders = holders_of(held, Hold::locked);
  return holders.empty() ? Holder{.words = words, .process = {}} : holders.front();
}

void lock(const std::string& path, int descriptor) {
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return;
  if (errno != EWOULDBLOCK) cannot_use(path, errno);
  const Holder holder = holder_of_lock(descriptor);
  throw DeviceInUse(fmt::format("{} is in use by {}", path, holder.words), holder.process);
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
                   .holders = words_of(holders_of(found, Hold::open))};
}

std::string_view kind_of_file(mode_t mode) {
  const auto* const found = std::ranges::find(kinds_of_file, mode & S_IFMT, &KindOfFile::type);
  return found == std::end(kinds_of_file) ? "no file" : found->words;
}

}  // namespace quorra::toolkit
