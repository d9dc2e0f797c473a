// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The return codes of every exported function. Some numbers have two meanings, and each also stands
// for the reader's STATUS of that number: the interface is that way.
#pragma once

namespace quorra {

enum Code : int {
  ok = 0,
  no_configuration = -1,
  no_device = -16,
  bad_start_byte = -128,
  not_verified = -128,     // reading back after a write failed
  no_card_to_read = -128,  // the card that has to be there before a transfer is not
  not_sent = -129,
  not_equal = -129,  // what was read back is not what was written
  no_card_to_write = -129,
  timeout = -132,
  bad_reply_check = -133,
  not_this_card = -133,
  value_missing = -133,  // a reply did not bring what a new value is made of
  below_zero = -135,
  no_reader = -136,
  bad_check = -138,
  no_speed = -141,
  bad_length = -143,
  bad_address = -144,
};

}  // namespace quorra
