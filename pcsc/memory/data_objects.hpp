// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The data objects that carry what does not fit the parameters of a command.
#pragma once

#include <utility>

#include "pcsc/memory/apdu.hpp"

namespace quorra::pcsc {

inline constexpr unsigned char offset_tag = 0x54;
inline constexpr unsigned char data_tag = 0x53;

// Takes objects off the front of bytes.
class ObjectReader {
 public:
  explicit ObjectReader(Bytes bytes) : rest_(std::move(bytes)) {}

  bool is_empty() const { return rest_.empty(); }
  // The value of the next object, which has this tag. Throws Refusal.
  Bytes take(unsigned char tag);
  // The same for a number that is no address of any card if it is large.
  int take_offset();

 private:
  Bytes rest_;
};

Bytes data_object(const Bytes& data);

// The data bytes of the largest object that has so many bytes in all; 0 or less if there is none.
int largest_data(int bytes);
// All bytes of an object with so many data bytes.
int object_size(int data);

}  // namespace quorra::pcsc
