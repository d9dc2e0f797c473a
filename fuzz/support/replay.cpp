// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Runs a harness once for each of the files that are named, and for each file in the folders that
// are named. It stands in for the fuzzer where there is none.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

int runs = 0;

void run(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
  const std::vector<unsigned char> bytes(content.begin(), content.end());
  std::printf("%s\n", path.filename().c_str());
  (void)std::fflush(stdout);
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  ++runs;
}

}  // namespace

int main(int argc, char** argv) {
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      run(argv[i]);
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
      run(entry.path());
  }
  std::printf("%d runs, no finding\n", runs);
  return 0;
}
