// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Reads the first bytes of a 4442 card: first_read reader.conf
#include <array>
#include <cstdio>
#include <quorra.hpp>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: first_read reader.conf\n");
    return 2;
  }
  const auto session = quorra::Session::open(argv[1]);
  if (!session) {
    std::fprintf(stderr, "no reader: %d\n", session.code());
    return 1;
  }
  std::array<unsigned char, 8> bytes{};
  if (const auto done = quorra::Card4442(*session).read(0, bytes); !done) {
    std::fprintf(stderr, "not read: %d\n", done.code());
    return 1;
  }
  for (const unsigned char& byte : bytes) {
    std::printf("%02X%c", byte, &byte == &bytes.back() ? '\n' : ' ');
  }
}
