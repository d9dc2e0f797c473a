// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// DES: any key and text of any length, in place and out of it, and what follows from the cipher.

#include <quorra.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "fuzz/support/check.hpp"
#include "fuzz/support/exact_bytes.hpp"
#include "fuzz/support/functions.hpp"

using namespace quorra::fuzzing;

namespace {

using Key = std::array<unsigned char, 8>;

Key complement(Key key) {
  for (unsigned char& byte : key)
    byte = static_cast<unsigned char>(~byte);
  return key;
}

Key without_lowest_bits(Key key) {
  for (unsigned char& byte : key)
    byte &= 0xFE;
  return key;
}

bool are_equal(const ExactBytes& one, const ExactBytes& other) {
  return one.size() == other.size() && std::memcmp(one.data(), other.data(), one.size()) == 0;
}

void check_round_keys(const Key& key) {
  unsigned char cells[16][48];
  unsigned char packed[16][6];
  Gen_Childkey1(key.data(), cells);
  Gen_Childkey2(key.data(), packed);
  for (std::size_t round = 0; round < 16; ++round) {
    unsigned char bytes[6];
    Bit_Char(cells[round], 48, bytes);
    require(std::memcmp(bytes, packed[round], 6) == 0, "both round keys are the same");
    unsigned char again[48];
    Char_Bit(packed[round], 6, again);
    require(std::memcmp(again, cells[round], 48) == 0, "cells are bits");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  Input input({data, size});
  const unsigned char choice = input.byte();
  const int key_length = choice < 0x80 ? choice % 9 : input.number();
  const auto taken = static_cast<std::size_t>(std::clamp(key_length, 0, 8));
  ExactBytes key(taken);
  std::ranges::copy(input.bytes(taken), key.data());
  Key whole_key{};
  std::ranges::copy(key.bytes(), whole_key.begin());

  ExactBytes text(input.rest());
  const auto length = static_cast<unsigned>(text.size());
  const std::size_t padded = (text.size() + 7) / 8 * 8;
  ExactBytes padded_text(padded);
  std::ranges::fill(padded_text.bytes(), static_cast<unsigned char>(0));
  std::ranges::copy(text.bytes(), padded_text.data());

  ExactBytes cipher(padded);
  const int result = DES_Encrypt(key.data(), key_length, text.data(), length, cipher.data());
  require(result == static_cast<int>(padded), "the length of the output is returned");
  require_set(cipher.bytes());

  ExactBytes plain(padded);
  DES_Decrypt(key.data(), key_length, cipher.data(), static_cast<unsigned>(padded), plain.data());
  require(are_equal(plain, padded_text), "decrypting is the inverse of encrypting");

  ExactBytes other(padded);
  ic_encrypt(whole_key.data(), text.data(), length, other.data());
  require(are_equal(other, cipher), "a key that is given in part ends with zeros");
  ic_encrypt(without_lowest_bits(whole_key).data(), text.data(), length, other.data());
  require(are_equal(other, cipher), "the lowest bits of a key do not matter");

  ExactBytes place(padded_text.bytes());
  ic_encrypt(whole_key.data(), place.data(), length, place.data());
  require(are_equal(place, cipher), "the output may be the input's own place");
  require(
      ic_decrypt(whole_key.data(), place.data(), static_cast<unsigned>(padded), place.data()) == 0,
      "decrypting returns 0");
  require(are_equal(place, padded_text), "decrypting in place is the inverse");

  for (unsigned char& byte : padded_text.bytes())
    byte = static_cast<unsigned char>(~byte);
  ic_encrypt(complement(whole_key).data(), padded_text.data(), static_cast<unsigned>(padded),
             other.data());
  for (unsigned char& byte : other.bytes())
    byte = static_cast<unsigned char>(~byte);
  require(are_equal(other, cipher), "complements of key and text have the complement");

  check_round_keys(whole_key);
  return 0;
}
