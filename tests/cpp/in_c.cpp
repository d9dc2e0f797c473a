// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a program does with the plain functions; in_cpp.cpp does the same with the classes.
#include <quorra.h>

extern "C" {

int first_bytes(const char* configuration, unsigned char* bytes) {
  const int handle = ic_init(configuration, 9600);
  if (handle < 0) return handle;
  const int code = srd_4442(handle, 0, 16, bytes);
  ic_exit(handle);
  return code;
}

int write_guarded(int handle, const unsigned char* code, const unsigned char* bytes) {
  const int presented = csc_4442(handle, 3, code);
  if (presented != 0) return presented;
  return swr_4442(handle, 32, 8, bytes);
}

int attempts_of_zone(int handle, int number) {
  unsigned left = 0;
  const int code = rsct_1604(handle, static_cast<unsigned>(number), &left);
  return code != 0 ? code : static_cast<int>(left);
}

int read_zone(int handle, unsigned zone, unsigned char* bytes) {
  return srd_102(handle, zone, 0, 8, bytes);
}
}
