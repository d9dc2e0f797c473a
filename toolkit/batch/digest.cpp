// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/batch/digest.hpp"

#include <openssl/sha.h>

#include "toolkit/text.hpp"

namespace quorra::toolkit {

std::string digest_of(std::string_view content) {
  Bytes digest(SHA256_DIGEST_LENGTH);
  SHA256(reinterpret_cast<const unsigned char*>(content.data()), content.size(), digest.data());
  return plain_hex(digest);
}

}  // namespace quorra::toolkit
