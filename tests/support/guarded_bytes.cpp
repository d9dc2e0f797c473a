// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/guarded_bytes.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace quorra::testing {

GuardedBytes::GuardedBytes(const Bytes& bytes) : size_(bytes.size()) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t usable = (size_ + page - 1) / page * page;
  mapped_ = usable + page;
  void* const pages =
      mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  pages_ = static_cast<unsigned char*>(pages);
  if (mprotect(pages_ + usable, page, PROT_NONE) != 0) {
    throw std::system_error(errno, std::generic_category(), "mprotect");
  }
  data_ = pages_ + usable - size_;
  std::ranges::copy(bytes, data_);
}

GuardedBytes::~GuardedBytes() { (void)munmap(pages_, mapped_); }

}  // namespace quorra::testing
