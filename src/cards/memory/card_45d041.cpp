// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 45D041 card: a flash memory of 2048 pages of 264 bytes. A frame stays within its page. Every
// transfer begins with a check that such a card is there.

#include <quorra.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "link/codes.hpp"
#include "link/exchange.hpp"
#include "link/transfer.hpp"

namespace quorra {
namespace {

constexpr int pages = 2048;
constexpr int page_size = 264;

// The status is read several times; the last reading counts.
constexpr int status_readings = 4;
constexpr int presence_attempts = 3;

bool shows_a_card(unsigned char status) { return status != 0x00 && status != 0xFF; }

// The count is checked before the position, and a page below zero is not refused. `absent` is the
// code for a card that is not there, whatever the check said: reading and writing differ in it.
int check_transfer(int handle, int page, int offset, int count, const unsigned char* buffer,
                   Code absent) {
  if (count < 1) return bad_length;
  if (page >= pages || offset >= page_size || offset < 0) return bad_address;
  const std::int64_t left = (std::int64_t{pages} - page) * page_size - offset;
  if (left < count || buffer == nullptr) return bad_length;
  return chk_45d041(handle) == ok ? ok : absent;
}

// Calls transfer(page, offset, done, size) for each frame, until one returns something else than 0.
template <typename Transfer>
int for_each_frame(int page, int offset, int count, Transfer transfer) {
  for (int done = 0; done < count;) {
    const int size = std::min({count - done, page_size - offset, largest_chunk});
    if (const int code = transfer(page, offset, done, size); code != ok) return code;
    done += size;
    offset += size;
    if (offset == page_size) {
      offset = 0;
      ++page;
    }
  }
  return ok;
}

Request request_at(Command command, int page, int offset) {
  return {command, CardType::card_45d041, offset, page};
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int srd_45d041(int handle, int page, int offset, int count, unsigned char* buffer) {
  if (const int code = check_transfer(handle, page, offset, count, buffer, no_card_to_read);
      code != ok) {
    return code;
  }
  return for_each_frame(page, offset, count, [&](int at_page, int at_offset, int done, int size) {
    Request request = request_at(Command::read, at_page, at_offset);
    request.append(0).append(static_cast<unsigned char>(size));
    Reply reply;
    if (const int code = exchange(handle, request, reply); code != ok) return code;
    std::memcpy(buffer + done, reply.data(), static_cast<std::size_t>(size));
    return int{ok};
  });
}

int swr_45d041(int handle, int page, int offset, int count, const unsigned char* buffer) {
  if (const int code = check_transfer(handle, page, offset, count, buffer, no_card_to_write);
      code != ok) {
    return code;
  }
  return for_each_frame(page, offset, count, [&](int at_page, int at_offset, int done, int size) {
    Request request = request_at(Command::write, at_page, at_offset);
    return exchange(handle, request.append(buffer + done, size));
  });
}

int rdstrg_45d041(int handle, unsigned char* status) {
  if (status == nullptr) return bad_length;
  Request request(Command::read_status_register, CardType::card_45d041);
  unsigned char last = 0;
  for (int reading = 0; reading < status_readings; ++reading) {
    Reply reply;
    if (const int code = exchange(handle, request, reply); code != ok) return code;
    last = reply.data()[0];
  }
  *status = last;
  return ok;
}

int chk_45d041(int handle) {
  for (int attempt = 0; attempt < presence_attempts; ++attempt) {
    unsigned char status{};
    if (const int code = rdstrg_45d041(handle, &status); code != ok) return code;
    if (shows_a_card(status)) return ok;
  }
  return not_this_card;
}
