// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/cpu/des.hpp"

#include <openssl/evp.h>

#include <algorithm>
#include <memory>

#include "simulator/error.hpp"

namespace quorra::simulator {

// Triple DES with the same key three times is single DES, which has no name of its own among the
// ciphers that are always there.
DesBlock encipher_with_des(std::span<const std::uint8_t, 8> key,
                           std::span<const std::uint8_t, 8> block) {
  std::array<std::uint8_t, 16> keys{};
  std::ranges::copy(key, keys.begin());
  std::ranges::copy(key, keys.begin() + key.size());

  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  DesBlock result{};
  int size = 0;
  if (context == nullptr ||
      EVP_EncryptInit_ex(context.get(), EVP_des_ede_ecb(), nullptr, keys.data(), nullptr) != 1 ||
      EVP_EncryptUpdate(context.get(), result.data(), &size, block.data(),
                        static_cast<int>(block.size())) != 1)
    throw Error("the cipher DES is not available");
  return result;
}

}  // namespace quorra::simulator
