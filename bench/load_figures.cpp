// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How long loading a library takes, with all that it needs and that is not there yet: quorra.so, a
// library with one function that does nothing, and libmodbus.

#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/report.hpp"

namespace {

using namespace quorra::benchmarks;

struct Library {
  const char* name;
  const char* path;
};

constexpr std::array libraries{Library{"quorra", QUORRA_LIBRARY},
                               Library{"empty library", QUORRA_EMPTY_LIBRARY},
                               Library{"libmodbus", QUORRA_MODBUS_LIBRARY}};

[[noreturn]] void give_up(const Library& library) {
  std::fprintf(stderr, "%s is not loaded anew\n", library.name);
  std::exit(2);
}

double seconds_for(const Library& library) {
  const void* const loaded = dlopen(library.path, RTLD_NOW | RTLD_NOLOAD);
  if (loaded != nullptr) give_up(library);
  const double start = now();
  void* const handle = dlopen(library.path, RTLD_NOW | RTLD_LOCAL);
  const double took = now() - start;
  if (handle == nullptr || dlclose(handle) != 0) give_up(library);
  return took;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = wanted(argc, argv).quick ? 5 : 500;
  std::array<std::vector<double>, libraries.size()> times;
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < libraries.size(); ++i)
      times[i].push_back(seconds_for(libraries[i]));
  }
  for (std::size_t i = 0; i < libraries.size(); ++i)
    print({"load", {{"who", libraries[i].name}}, "s", times[i]});
}
