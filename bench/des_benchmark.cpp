// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How fast DES is here and in OpenSSL: both encrypt the same megabyte block by block with one key,
// in turns. Exit status 1: they do not agree.

#include <openssl/des.h>
#include <quorra.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <random>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<unsigned char>;

constexpr std::size_t size = 1'000'000;
constexpr int runs = 5;
// Not constant, as OpenSSL will have it.
unsigned char key[8] = {0x13, 0x34, 0x57, 0x79, 0x9B, 0xBC, 0xDF, 0xF1};

template <typename Work>
double seconds_for(Work work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void encrypt_by_openssl(Bytes& input, Bytes& output) {
  DES_key_schedule schedule;
  DES_set_key_unchecked(&key, &schedule);
  for (std::size_t at = 0; at < input.size(); at += sizeof(DES_cblock)) {
    DES_ecb_encrypt(reinterpret_cast<DES_cblock*>(input.data() + at),
                    reinterpret_cast<DES_cblock*>(output.data() + at), &schedule, DES_ENCRYPT);
  }
}

double megabytes_per_second(double seconds) { return static_cast<double>(size) / 1e6 / seconds; }

}  // namespace

int main() {
  Bytes input(size);
  std::mt19937 engine(1);
  std::ranges::generate(input, [&] { return static_cast<unsigned char>(engine()); });
  Bytes ours(size);
  Bytes theirs(size);
  double our_best = 1e9;
  double their_best = 1e9;
  for (int run = 0; run < runs; ++run) {
    our_best = std::min(our_best, seconds_for([&] {
                          DES_Encrypt(key, sizeof key, input.data(), size, ours.data());
                        }));
    their_best = std::min(their_best, seconds_for([&] { encrypt_by_openssl(input, theirs); }));
  }
  std::printf("DES, best of %d: quorra %.1f MB/s, OpenSSL %.1f MB/s, ratio %.2f\n", runs,
              megabytes_per_second(our_best), megabytes_per_second(their_best),
              their_best / our_best);
  return ours == theirs ? 0 : 1;
}
