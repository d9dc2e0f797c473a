// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The places with bytes that operations go to: the memory of each kind of card, of the reader, of a
// SAM.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace quorra::testing {

using Bytes = std::vector<unsigned char>;

struct Place {
  std::string name;
  std::string kind = "";  // of the card in the slot that it is on; empty: it is inside the reader
  int begin = 0;          // the address of the first byte that operations go to
  int size = 0;           // how many bytes they go to
  int image_at = 0;       // where the first of them stands in the memory of the image

  std::function<int(int handle, int address, int count, unsigned char* bytes)> read = nullptr;
  std::function<int(int handle, int address, int count, const unsigned char* bytes)> write =
      nullptr;
  // Sets bytes to FF; without it writing does.
  std::function<int(int handle, int address, int count)> erase = nullptr;
  // What a place without power needs before it can be read and written.
  std::function<int(int handle)> prepare = nullptr;
  // Presents a wrong code.
  std::function<int(int handle)> present_wrong_code = nullptr;

  int unit = 1;  // addresses and counts are multiples of it
  int page =
      0;  // a frame does not go beyond a page of so many bytes, which is programmed as a whole
  bool bits_only_fall = false;  // until they are erased
};

const std::vector<Place>& places();

}  // namespace quorra::testing
