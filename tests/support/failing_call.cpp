// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/failing_call.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace quorra::testing {
namespace {

thread_local FailingCall* armed = nullptr;

// What is behind a function of the test program.
template <auto own>
auto real(const char* name) {
  static const auto next = reinterpret_cast<decltype(own)>(dlsym(RTLD_NEXT, name));
  return next;
}

template <auto own, typename... Arguments>
auto call(const char* name, Arguments... arguments) {
  using Result = decltype(own(arguments...));
  return FailingCall::strikes(name) ? static_cast<Result>(-1) : real<own>(name)(arguments...);
}

// These return the error.
template <auto own, typename... Arguments>
int call_with_error(const char* name, Arguments... arguments) {
  return FailingCall::strikes(name) ? errno : real<own>(name)(arguments...);
}

}  // namespace

FailingCall::FailingCall(std::string_view name, int error, Which which)
    : name_(name),
      error_(error),
      which_(which) {
  armed = this;
}

FailingCall::~FailingCall() { armed = nullptr; }

bool FailingCall::strikes(std::string_view name) {
  if (armed == nullptr || armed->name_ != name) return false;
  const int number = armed->calls_++;
  if (number < armed->which_.first || number - armed->which_.first >= armed->which_.count) {
    return false;
  }
  ++armed->failures_;
  errno = armed->error_;
  return true;
}

}  // namespace quorra::testing

using quorra::testing::call;
using quorra::testing::call_with_error;
using quorra::testing::FailingCall;
using quorra::testing::real;

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return call<open>("open", path, flags, mode);
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return call<ioctl>("ioctl", descriptor, request, argument);
}

ssize_t read(int descriptor, void* buffer, std::size_t size) {
  return call<read>("read", descriptor, buffer, size);
}

ssize_t write(int descriptor, const void* buffer, std::size_t size) {
  return call<write>("write", descriptor, buffer, size);
}

int ftruncate(int descriptor, off_t size) noexcept {
  return call<ftruncate>("ftruncate", descriptor, size);
}

int fsync(int descriptor) { return call<fsync>("fsync", descriptor); }

int flock(int descriptor, int operation) noexcept {
  return call<flock>("flock", descriptor, operation);
}

int stat(const char* path, struct stat* found) noexcept {
  return call<::stat>("stat", path, found);
}

int lstat(const char* path, struct stat* found) noexcept {
  return call<lstat>("lstat", path, found);
}

int fstat(int descriptor, struct stat* found) noexcept {
  return call<fstat>("fstat", descriptor, found);
}

int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
  return call<poll>("poll", descriptors, count, milliseconds);
}

int memfd_create(const char* name, unsigned flags) noexcept {
  return call<memfd_create>("memfd_create", name, flags);
}

int tcgetattr(int descriptor, termios* settings) noexcept {
  return call<tcgetattr>("tcgetattr", descriptor, settings);
}

int tcsetattr(int descriptor, int when, const termios* settings) noexcept {
  return call<tcsetattr>("tcsetattr", descriptor, when, settings);
}

int posix_openpt(int flags) { return call<posix_openpt>("posix_openpt", flags); }

int grantpt(int descriptor) noexcept { return call<grantpt>("grantpt", descriptor); }

int unlockpt(int descriptor) noexcept { return call<unlockpt>("unlockpt", descriptor); }

int ptsname_r(int descriptor, char* name, std::size_t size) noexcept {
  return call_with_error<ptsname_r>("ptsname_r", descriptor, name, size);
}

int getgrgid_r(gid_t number, group* entry, char* texts, std::size_t size, group** found) {
  return call_with_error<getgrgid_r>("getgrgid_r", number, entry, texts, size, found);
}

int getpwuid_r(uid_t number, passwd* entry, char* texts, std::size_t size, passwd** found) {
  return call_with_error<getpwuid_r>("getpwuid_r", number, entry, texts, size, found);
}

int isatty(int descriptor) noexcept {
  return FailingCall::strikes("isatty") ? 0 : real<isatty>("isatty")(descriptor);
}
}
