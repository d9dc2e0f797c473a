// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/memory/data_objects.hpp"

#include <cstddef>
#include <limits>

namespace quorra::pcsc {
namespace {

constexpr unsigned char length_follows = 0x81;
constexpr int largest_short_length = 127;
constexpr std::size_t largest_offset = 4;

[[noreturn]] void refuse() { throw Refusal{StatusWord::wrong_data}; }

}  // namespace

Bytes ObjectReader::take(unsigned char tag) {
  std::size_t header = 2;
  if (rest_.size() < header || rest_[0] != tag) refuse();
  std::size_t length = rest_[1];
  if (length == length_follows) {
    header = 3;
    if (rest_.size() < header) refuse();
    length = rest_[2];
  } else if (length > largest_short_length) {
    refuse();
  }
  if (rest_.size() < header + length) refuse();
  const auto begin = rest_.begin() + static_cast<std::ptrdiff_t>(header);
  const auto end = begin + static_cast<std::ptrdiff_t>(length);
  Bytes value(begin, end);
  rest_.erase(rest_.begin(), end);
  return value;
}

int ObjectReader::take_offset() {
  const Bytes bytes = take(offset_tag);
  if (bytes.empty() || bytes.size() > largest_offset) refuse();
  unsigned offset = 0;
  for (const unsigned char byte : bytes) {
    offset = offset << 8U | byte;
  }
  constexpr unsigned largest = std::numeric_limits<int>::max();
  if (offset > largest) throw Refusal{StatusWord::wrong_address};
  return static_cast<int>(offset);
}

Bytes data_object(const Bytes& data) {
  Bytes object{data_tag};
  if (data.size() > largest_short_length) object.push_back(length_follows);
  object.push_back(static_cast<unsigned char>(data.size()));
  object.insert(object.end(), data.begin(), data.end());
  return object;
}

int object_size(int data) { return data + (data > largest_short_length ? 3 : 2); }

int largest_data(int bytes) {
  return object_size(bytes - 2) == bytes    ? bytes - 2
         : bytes - 3 > largest_short_length ? bytes - 3
                                            : largest_short_length;
}

}  // namespace quorra::pcsc
