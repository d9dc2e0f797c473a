// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How fast DES is here and in three other libraries. Each call takes a key and encrypts so many
// bytes; the libraries take turns, and of many turns the fastest counts. Exit status 1: they do not
// agree. With --json all turns are printed.

#include <gcrypt.h>
#include <nettle/des.h>
#include <openssl/evp.h>
#include <openssl/provider.h>
#include <quorra.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/report.hpp"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t key_size = 8;
constexpr std::array<std::size_t, 5> sizes{8, 64, 512, 4096, 1'000'000};
constexpr int turns = 60;
constexpr std::size_t bytes_in_turn = 16384;

using Key = std::array<unsigned char, key_size>;

bool by_quorra(const Key& key, const Bytes& input, Bytes& output) {
  const int length = DES_Encrypt(key.data(), key_size, input.data(),
                                 static_cast<unsigned>(input.size()), output.data());
  return length == static_cast<int>(input.size());
}

bool by_openssl(const Key& key, const Bytes& input, Bytes& output) {
  static OSSL_PROVIDER* const legacy = OSSL_PROVIDER_load(nullptr, "legacy");
  static const EVP_CIPHER* const cipher =
      legacy == nullptr ? nullptr : EVP_CIPHER_fetch(nullptr, "DES-ECB", nullptr);
  static EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
  int length = 0;
  return cipher != nullptr &&
         EVP_EncryptInit_ex2(context, cipher, key.data(), nullptr, nullptr) == 1 &&
         EVP_CIPHER_CTX_set_padding(context, 0) == 1 &&
         EVP_EncryptUpdate(context, output.data(), &length, input.data(),
                           static_cast<int>(input.size())) == 1;
}

bool by_libgcrypt(const Key& key, const Bytes& input, Bytes& output) {
  static const gcry_cipher_hd_t handle = [] {
    gcry_check_version(nullptr);
    gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    gcry_cipher_hd_t opened = nullptr;
    (void)gcry_cipher_open(&opened, GCRY_CIPHER_DES, GCRY_CIPHER_MODE_ECB, 0);
    return opened;
  }();
  return gcry_cipher_setkey(handle, key.data(), key.size()) == 0 &&
         gcry_cipher_encrypt(handle, output.data(), output.size(), input.data(), input.size()) == 0;
}

bool by_nettle(const Key& key, const Bytes& input, Bytes& output) {
  des_ctx context;
  if (des_set_key(&context, key.data()) != 1) return false;
  des_encrypt(&context, input.size(), output.data(), input.data());
  return true;
}

struct Library {
  const char* name;
  bool (*encrypt)(const Key& key, const Bytes& input, Bytes& output);
};

constexpr std::array<Library, 4> libraries{{{"quorra", by_quorra},
                                            {"OpenSSL", by_openssl},
                                            {"libgcrypt", by_libgcrypt},
                                            {"nettle", by_nettle}}};

constexpr Key key{0x13, 0x34, 0x57, 0x79, 0x9B, 0xBC, 0xDF, 0xF1};

// Of this thread, so that others do not count: a megabyte takes longer than they leave it alone.
double nanoseconds() {
  timespec now{};
  (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// How long a call takes.
double time_of(const Library& library, const Bytes& input, Bytes& output) {
  const std::size_t calls = std::max<std::size_t>(1, bytes_in_turn / (input.size() + 64));
  const double start = nanoseconds();
  for (std::size_t i = 0; i < calls; ++i)
    library.encrypt(key, input, output);
  return (nanoseconds() - start) / static_cast<double>(calls);
}

// False if the libraries do not agree.
bool compare(std::size_t size, const quorra::benchmarks::Wanted& wanted) {
  Bytes input(size);
  std::mt19937 engine(1);
  std::ranges::generate(input, [&] { return static_cast<unsigned char>(engine()); });
  std::array<Bytes, libraries.size()> outputs;
  for (std::size_t i = 0; i < libraries.size(); ++i) {
    outputs[i].resize(size);
    if (!libraries[i].encrypt(key, input, outputs[i])) {
      std::printf("%s does not encrypt\n", libraries[i].name);
      return false;
    }
    if (outputs[i] != outputs[0]) {
      std::printf("%s comes to another result\n", libraries[i].name);
      return false;
    }
  }
  std::array<std::vector<double>, libraries.size()> times;
  for (int turn = 0; turn < (wanted.quick ? 3 : turns); ++turn) {
    for (std::size_t i = 0; i < libraries.size(); ++i)
      times[i].push_back(time_of(libraries[i], input, outputs[i]));
  }
  if (wanted.json) {
    for (std::size_t i = 0; i < libraries.size(); ++i)
      quorra::benchmarks::print(
          {"des", {{"bytes", std::to_string(size)}, {"who", libraries[i].name}}, "ns", times[i]});
    return true;
  }
  std::array<double, libraries.size()> best{};
  for (std::size_t i = 0; i < libraries.size(); ++i)
    best[i] = *std::ranges::min_element(times[i]);
  std::printf("%8zu", size);
  for (std::size_t i = 0; i < libraries.size(); ++i)
    std::printf(" %9.1f", static_cast<double>(size) / best[i] * 1000);
  for (std::size_t i = 1; i < libraries.size(); ++i)
    std::printf(" %9.2f", best[i] / best[0]);
  std::printf("\n");
  return true;
}

void print_head() {
  std::printf("DES with a new key for each call: MB/s, and how many times as fast quorra is\n");
  std::printf("%8s", "bytes");
  for (const Library& library : libraries)
    std::printf(" %9s", library.name);
  for (std::size_t i = 1; i < libraries.size(); ++i)
    std::printf(" %9s", libraries[i].name);
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  const auto wanted = quorra::benchmarks::wanted(argc, argv);
  const auto compare_wanted = [&](std::size_t size) { return compare(size, wanted); };
  if (!wanted.json) print_head();
  return std::ranges::all_of(sizes, compare_wanted) ? 0 : 1;
}
