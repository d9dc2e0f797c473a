// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Calls that a test may let fail, for which the real ones are found behind the test program's.

#include <dlfcn.h>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "tests/support/system.hpp"

using quorra::testing::System;
using Call = System::Call;

namespace {

bool fails(Call call) { return System::instance().lets_fail(call); }

// The line that could not be read, as long as its file is asked about it.
std::FILE* unreadable = nullptr;

template <typename Function>
Function* real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  static auto* const next = real<int(const char*, int, ...)>(nullptr, "open");
  if (fails(Call::open)) return -1;
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return next(path, flags, mode);
}

// A close that fails has closed the descriptor nevertheless.
int close(int descriptor) {
  static auto* const next = real<int(int)>(nullptr, "close");
  const bool failed = fails(Call::close);
  const int result = next(descriptor);
  return failed ? -1 : result;
}

int fcntl(int descriptor, int command, ...) {
  static auto* const next = real<int(int, int, ...)>(nullptr, "fcntl");
  if (fails(Call::control)) return -1;
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return next(descriptor, command, argument);
}

int tcgetattr(int descriptor, termios* settings) noexcept {
  static auto* const next = real<int(int, termios*)>(nullptr, "tcgetattr");
  return fails(Call::get_settings) ? -1 : next(descriptor, settings);
}

int tcsetattr(int descriptor, int when, const termios* settings) noexcept {
  static auto* const next = real<int(int, int, const termios*)>(nullptr, "tcsetattr");
  return fails(Call::set_settings) ? -1 : next(descriptor, when, settings);
}

char* ttyname(int descriptor) noexcept {
  static auto* const next = real<char*(int)>(nullptr, "ttyname");
  return fails(Call::name_terminal) ? nullptr : next(descriptor);
}

std::FILE* fopen(const char* path, const char* mode) {
  static auto* const next = real<std::FILE*(const char*, const char*)>(nullptr, "fopen");
  return fails(Call::open_file) ? nullptr : next(path, mode);
}

char* fgets(char* line, int size, std::FILE* file) {
  static auto* const next = real<char*(char*, int, std::FILE*)>(nullptr, "fgets");
  if (!fails(Call::read_line)) return next(line, size, file);
  unreadable = file;
  return nullptr;
}

int ferror(std::FILE* file) noexcept {
  static auto* const next = real<int(std::FILE*)>(nullptr, "ferror");
  return file == unreadable ? 1 : next(file);
}

int fclose(std::FILE* file) {
  static auto* const next = real<int(std::FILE*)>(nullptr, "fclose");
  const bool failed = fails(Call::close_file);
  if (file == unreadable) unreadable = nullptr;
  const int result = next(file);
  return failed ? EOF : result;
}
}
