// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// For valgrind, which is told that nobody knows key and text: it complains about each branch, and
// each address, that depends on them.
//
//   secret_flow_program des       all that the library does with DES
//   secret_flow_program branch    a branch that depends on the key, about which it has to complain
//   secret_flow_program look-up   an address that does
//
// Exit status 3: without valgrind, or what was made of key and text is not unknown.

#include <quorra.h>
#include <valgrind/memcheck.h>

#include <cstddef>
#include <cstdio>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t key_size = 8;

Bytes secret(std::size_t size) {
  Bytes bytes(size, 0x5A);
  (void)VALGRIND_MAKE_MEM_UNDEFINED(bytes.data(), bytes.size());
  return bytes;
}

// Whether each byte depends on something unknown.
bool all_secret(const Bytes& bytes) {
  Bytes unknown_bits(bytes.size());
  if (VALGRIND_GET_VBITS(bytes.data(), unknown_bits.data(), bytes.size()) != 1) return false;
  for (const unsigned char bits : unknown_bits) {
    if (bits == 0) return false;
  }
  return true;
}

// Lengths for all ways through the cipher, with and without padding.
constexpr std::size_t lengths[] = {1, 8, 15, 16, 24, 33, 40, 41, 64, 511, 1024, 1025, 3000};

bool des() {
  const Bytes key = secret(key_size);
  for (const std::size_t length : lengths) {
    const Bytes text = secret(length);
    const auto size = static_cast<unsigned>(length);
    Bytes output((length + 7) / 8 * 8);
    for (const int key_length : {8, 5}) {
      DES_Encrypt(key.data(), key_length, text.data(), size, output.data());
      if (!all_secret(output)) return false;
      output.assign(output.size(), 0);
      DES_Decrypt(key.data(), key_length, text.data(), size, output.data());
      if (!all_secret(output)) return false;
    }
    Bytes known(length, 1);
    ic_encrypt(key.data(), known.data(), size, output.data());
    ic_decrypt(key.data(), output.data(), size, output.data());
    if (!all_secret(output)) return false;
  }
  Bytes cells(16UL * 48);
  Gen_Childkey1(key.data(), reinterpret_cast<unsigned char(*)[48]>(cells.data()));
  Bytes packed(16UL * 6);
  Gen_Childkey2(key.data(), reinterpret_cast<unsigned char(*)[6]>(packed.data()));
  Bytes unpacked(key_size * 8);
  Char_Bit(key.data(), static_cast<int>(key_size), unpacked.data());
  Bytes again(key_size);
  Bit_Char(unpacked.data(), static_cast<int>(unpacked.size()), again.data());
  return all_secret(cells) && all_secret(packed) && all_secret(unpacked) && all_secret(again);
}

volatile unsigned char sink;

bool branch() {
  const Bytes key = secret(key_size);
  if ((key[0] & 1U) != 0) sink = 1;
  return true;
}

bool look_up() {
  const Bytes key = secret(key_size);
  const Bytes table(256, 1);
  sink = table[key[0]];
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc == 2 ? argv[1] : "";
  if (RUNNING_ON_VALGRIND == 0) return 3;
  if (what == "des") return des() ? 0 : 3;
  if (what == "branch") return branch() ? 0 : 3;
  if (what == "look-up") return look_up() ? 0 : 3;
  std::fputs("usage: secret_flow_program des|branch|look-up\n", stderr);
  return 2;
}
