// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The calls of functions that take other arguments than a handle, numbers and one buffer.
#pragma once

#include <quorra.h>

#include <algorithm>
#include <climits>
#include <string_view>
#include <type_traits>
#include <vector>

#include "fuzz/support/call.hpp"
#include "fuzz/support/exact_bytes.hpp"
#include "fuzz/support/functions.hpp"

namespace quorra::fuzzing {

void run_ic_init(const Function& function, Input& input, Line& line);
void run_ic_init0(const Function& function, Input& input, Line& line);
void run_ic_exit(const Function& function, Input& input, Line& line);
void run_chk_baud(const Function& function, Input& input, Line& line);
void run_auto_init(const Function& function, Input& input, Line& line);
void run_getpar(const Function& function, Input& input, Line& line);
void run_get_s(const Function& function, Input& input, Line& line);
void run_lib_ver(const Function& function, Input& input, Line& line);
void run_chk_card(const Function& function, Input& input, Line& line);
void run_cpu_reset(const Function& function, Input& input, Line& line);
void run_sam_reset(const Function& function, Input& input, Line& line);
void run_sendchar(const Function& function, Input& input, Line& line);
void run_send_com(const Function& function, Input& input, Line& line);
void run_ic_delay(const Function& function, Input& input, Line& line);
void run_char_bit(const Function& function, Input& input, Line& line);
void run_bit_char(const Function& function, Input& input, Line& line);

template <auto callee>
Function special(void (*run)(const Function&, Input&, Line&)) {
  return {.name = name_of<callee>(), .run = run, .rule = {}};
}

// What a processor card or a SAM is sent: n, and as many bytes, mostly.
struct CardMessage {
  explicit CardMessage(Input& input);
  int n;
  bool is_null;
  ExactBytes bytes;
  const unsigned char* data() { return is_null ? nullptr : bytes.data(); }
  bool is_refused() const { return is_null && n > 0; }
};

// Replies with STATUS 0, in their order.
std::vector<const Line::Received*> good_replies(const Line& line);

// A link code, or a STATUS that came.
void require_link_result(const Function& function, const Line& line, int result);

using Exchange = int (*)(int handle, int n, const unsigned char* bytes, unsigned char* buffer);

template <Exchange callee>
void run_command(const Function& function, Input& input, Line& line) {
  const int handle = take_handle(input, line);
  CardMessage message(input);
  const bool no_buffer = input.byte() >= 0xF8;
  ExactBytes buffer(message.is_refused() || no_buffer ? 0 : 255);
  line.forget();
  const int result = callee(handle, message.n, message.data(), no_buffer ? nullptr : buffer.data());
  if (message.is_refused() || no_buffer) {
    return require_refusal(function, line, {.length_is_bad = true}, result);
  }
  require_link_result(function, line, result);
  require_set(buffer.bytes());
  if (result == 0) {
    const auto replies = good_replies(line);
    require(!replies.empty(), "success follows a reply:", function.name);
    const Bytes answer = replies.back()->data();
    require(std::ranges::equal(answer, buffer.bytes().first(answer.size())),
            "the answer is that of the card:", function.name);
    std::ranges::fill(buffer.bytes().first(answer.size()), ExactBytes::untouched);
  }
  for (const unsigned char byte : buffer.bytes())
    require(byte == ExactBytes::untouched, "only the answer is stored:", function.name);
}

// What the header says of the buffer for these answers, the last of which is the result.
std::size_t room_for_answers(const std::vector<const Line::Received*>& answers);
// The buffer after success, where the answers announce what they bring.
void require_joined(const Function& function, const std::vector<const Line::Received*>& answers,
                    Bytes buffer, bool wrong_length_sends_again);

// The room that the buffer needs is known when the answers are. So the call is made twice, with the
// same arguments and answers. Whoever makes the call twice gives the answers twice.
void run_block_twice(const Function& function, Input& input, Line& line, Exchange callee,
                     bool wrong_length_sends_again);

template <Exchange callee, bool wrong_length_sends_again>
void run_block(const Function& function, Input& input, Line& line) {
  run_block_twice(function, input, line, callee, wrong_length_sends_again);
}

template <auto callee>
void run_crypt(const Function& function, Input& input, Line& line) {
  const bool has_key_length = !std::is_invocable_v<decltype(callee), const unsigned char*,
                                                   const unsigned char*, unsigned, unsigned char*>;
  const int key_length = has_key_length ? input.number() : 8;
  const auto key_size = static_cast<std::size_t>(std::clamp(key_length, 0, 8));
  const unsigned char nulls = input.byte();
  const bool no_key = nulls >= 0xF0 && (nulls & 1) != 0;
  const bool no_text = nulls >= 0xF0 && (nulls & 2) != 0;
  const bool no_output = nulls >= 0xF0 && (nulls & 4) != 0;
  // With a null pointer any length will do.
  auto length = static_cast<unsigned>(input.number());
  if (!(no_text || no_output || (no_key && key_size > 0))) length %= 800;
  const std::size_t padded = (length + std::size_t{7}) / 8 * 8;
  const bool does_nothing = no_text || no_output || (no_key && key_size > 0) || length == 0;

  ExactBytes key(no_key ? 0 : key_size);
  ExactBytes text(does_nothing ? 0 : length);
  ExactBytes output(does_nothing ? 0 : padded);
  unsigned char value = nulls;
  for (ExactBytes* bytes : {&key, &text}) {
    for (unsigned char& byte : bytes->bytes())
      byte = value++;
    std::ranges::copy(input.bytes(std::min<std::size_t>(bytes->size(), 16)), bytes->data());
  }
  const unsigned char* const k = no_key ? nullptr : key.data();
  const unsigned char* const t = no_text ? nullptr : text.data();
  unsigned char* const o = no_output ? nullptr : output.data();
  line.forget();
  int result = 0;
  if constexpr (std::is_invocable_v<decltype(callee), const unsigned char*, const unsigned char*,
                                    unsigned, unsigned char*>) {
    result = callee(k, t, length, o);
  } else {
    result = callee(k, key_length, t, length, o);
  }
  require_set(output.bytes());
  const bool always_zero = function.name == "ic_decrypt";
  require(result == (does_nothing || always_zero ? 0 : static_cast<int>(padded)),
          "the length of the output is returned:", function.name);
  require(line.sent.empty(), "DES needs no line:", function.name);
}

template <std::size_t size, auto callee>
void run_round_keys(const Function& /*function*/, Input& input, Line& /*line*/) {
  const unsigned char nulls = input.byte();
  ExactBytes key(8);
  std::ranges::copy(input.bytes(8), key.data());
  ExactBytes round_keys(16 * size);
  callee(nulls == 0xFE ? nullptr : key.data(),
         nulls == 0xFF ? nullptr : round_keys.as<unsigned char[size]>());
  require_set(round_keys.bytes());
}

template <int (*callee)(int, const unsigned char*)>
void run_check(const Function& function, Input& input, Line& /*line*/) {
  int n = input.number();
  const bool is_null = input.byte() >= 0xF0;
  if (!is_null) n %= 4096;
  ExactBytes bytes(is_null || n < 0 ? 0 : static_cast<std::size_t>(n));
  std::ranges::copy(input.bytes(bytes.size() / 2), bytes.data());
  int check = 0;
  for (const unsigned char byte : bytes.bytes())
    check ^= byte;
  if (function.name == "ck_bcc") check = check == 0 ? 0 : -138;
  require(callee(n, is_null ? nullptr : bytes.data()) == check,
          "a check byte is the XOR:", function.name);
}

template <int (*callee)(int, unsigned char*)>
void run_receive_byte(const Function& function, Input& input, Line& line) {
  const int handle = take_handle(input, line);
  const bool is_null = input.byte() >= 0xF0;
  ExactBytes byte(is_null ? 0 : 1);
  line.forget();
  const int result = callee(handle, is_null ? nullptr : byte.data());
  require_set(byte.bytes());
  if (is_null) return require_refusal(function, line, {.length_is_bad = true}, result);
  require(result == 0 ? line.received().size() == 1 && line.received()[0].bytes[0] == byte.data()[0]
                      : result == -132 && byte.data()[0] == ExactBytes::untouched,
          "a byte came or there was none:", function.name);
}

template <int (*callee)(int, unsigned char*)>
void run_receive_frame(const Function& function, Input& input, Line& line) {
  const int handle = take_handle(input, line);
  const bool is_null = input.byte() >= 0xF0;
  ExactBytes reply(is_null ? 0 : 260);
  line.forget();
  const int result = callee(handle, is_null ? nullptr : reply.data());
  if (is_null) return require_refusal(function, line, {.length_is_bad = true}, result);
  const bool whole = line.received().size() == 1 && line.received()[0].is_reply();
  require((result == 0) == whole, "success is a whole frame:", function.name);
  require(result == 0 || result == -128 || result == -132 || result == -133,
          "a result is one of those that are documented:", function.name);
  if (!line.received().empty()) {
    const Bytes bytes = line.received()[0].bytes;
    require(std::ranges::equal(bytes, reply.bytes().first(bytes.size())),
            "the frame is what came:", function.name);
  }
}

}  // namespace quorra::fuzzing
