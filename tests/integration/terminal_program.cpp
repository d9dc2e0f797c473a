// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A program that uses the library in terminal mode. It shows what it found after the session, for
// its standard output is the line.

#include <quorra.h>

#include <array>
#include <cstdio>
#include <cstdlib>

int main() {
  const int handle = ic_init(std::getenv("QUORRA_CONFIG"), 9600);
  if (handle < 0) {
    std::printf("no session: %d\n", handle);
    return 1;
  }
  std::array<unsigned char, 256> memory{};
  const int read_result = srd_4442(handle, 0, static_cast<int>(memory.size()), memory.data());
  const int probe_result = chk_24c02(handle);
  ic_exit(handle);
  std::printf("srd_4442 %d:", read_result);
  for (const unsigned char byte : memory)
    std::printf(" %02X", byte);
  std::printf("\nchk_24c02 %d\n", probe_result);
  return 0;
}
