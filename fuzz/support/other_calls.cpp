// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "fuzz/support/other_calls.hpp"

#include <bitset>
#include <cstring>

namespace quorra::fuzzing {
namespace {

constexpr std::size_t text_size = 60;

// The configuration file and the system, as a call that opens a session meets them.
void set_system(Input& input, Line& line) {
  const unsigned char flags = input.byte();
  line.can_be_opened = flags % 16 != 1;
  line.is_a_terminal = flags % 16 != 2;
  line.has_a_terminal = flags % 16 != 3;
  line.file_can_be_opened = flags % 16 != 4;
  line.file_ends_with_an_error = flags % 16 == 5;
  line.descriptor = flags >= 0xF0 ? 0 : 5;
  line.file = input.bytes(input.byte());
}

int take_speed(Input& input) {
  constexpr std::array speeds{1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};
  const unsigned char choice = input.byte();
  return choice < 0xC0 ? speeds[choice % speeds.size()] : input.number();
}

void require_texts() {
  for (const char* text : {AUXSTARTWRITE, AUXENDWRITE, CLOSEAUX, SETAUX, INITAUX, ENABLEKEYBOARD,
                           DISABLEKEYBOARD, DRVCOMM}) {
    require(strnlen(text, text_size) < text_size, "a setting is a text that ends");
  }
}

void require_session(const Function& function, const Line& line, int result, int before) {
  require(result >= 0 ? result == line.descriptor : result == -1 || result == -16 || result == -136,
          "a session is a handle or a code:", function.name);
  require(line.open_sessions == before + (result >= 0 ? 1 : 0),
          "no session is left open:", function.name);
}

}  // namespace

// DRVCOMM alone is not cleared before a file is read: it has to end already.
void run_ic_init(const Function& function, Input& input, Line& line) {
  DRVCOMM[text_size - 1] = '\0';
  set_system(input, line);
  const int before = line.open_sessions;
  line.forget();
  require_session(function, line, ic_init("reader.conf", take_speed(input)), before);
  require_texts();
}

void run_ic_init0(const Function& function, Input& input, Line& line) {
  DRVCOMM[text_size - 1] = '\0';
  set_system(input, line);
  const int before = line.open_sessions;
  line.forget();
  const int result = ic_init0("reader.conf", take_speed(input));
  require_session(function, line, result, before);
  require(result != -16, "a device that cannot be opened is no reader:", function.name);
  require_texts();
}

void run_ic_exit(const Function& function, Input& input, Line& line) {
  require(ic_exit(take_handle(input, line)) == 0, "a session always ends:", function.name);
}

void run_chk_baud(const Function& function, Input& input, Line& line) {
  DRVCOMM[text_size - 1] = '\0';
  set_system(input, line);
  const int before = line.open_sessions;
  line.forget();
  const int result = chk_baud("reader.conf");
  constexpr std::array results{9600, 19200, 38400, 4800, 2400, 1200, -141, -1, -136};
  require(std::ranges::count(results, result) == 1, "a speed or a code:", function.name);
  require(line.open_sessions == before, "no session is left open:", function.name);
}

void run_auto_init(const Function& function, Input& input, Line& line) {
  DRVCOMM[text_size - 1] = '\0';
  set_system(input, line);
  const int before = line.open_sessions;
  line.forget();
  const int result = auto_init("reader.conf", take_speed(input));
  require(result == line.descriptor || result == -136, "a handle or no reader:", function.name);
  // A handle of 0 at the first try stays open.
  const int left = line.open_sessions - before - (result >= 0 ? 1 : 0);
  require(left == 0 || (line.descriptor == 0 && left == 1),
          "no session is left open:", function.name);
}

void run_getpar(const Function& function, Input& input, Line& line) {
  for (char* text : {AUXSTARTWRITE, AUXENDWRITE, CLOSEAUX, SETAUX, INITAUX, ENABLEKEYBOARD,
                     DISABLEKEYBOARD, DRVCOMM}) {
    text[text_size - 1] = '\0';
  }
  set_system(input, line);
  const int mode = term_flg;
  line.forget();
  const bool is_null = input.byte() >= 0xF8;
  const int result = getpar(is_null ? nullptr : "reader.conf");
  require(result == 0 ? term_flg == 0 || term_flg == 1 : result == -1 && term_flg == mode,
          "a file is read or it is not:", function.name);
  require((!is_null && line.file_can_be_opened) || result == -1,
          "there was no file:", function.name);
  require(line.sent.empty(), "to read a file nothing is sent:", function.name);
  require_texts();
}

void run_get_s(const Function& function, Input& input, Line& /*line*/) {
  const unsigned char nulls = input.byte();
  ExactBytes dest(text_size);
  std::ranges::fill(dest.bytes(), static_cast<unsigned char>(0));
  std::ranges::copy(input.bytes(input.byte() % text_size), dest.data());
  const Bytes text = input.bytes(input.byte());
  ExactBytes line(text.size() + 1);
  std::ranges::copy(text, line.data());
  line.data()[text.size()] = 0;
  const int result =
      get_s(nulls == 0xFE ? nullptr : line.as<char>(), nulls == 0xFF ? nullptr : dest.as<char>());
  require_set(dest.bytes());
  const std::size_t length = strnlen(dest.as<char>(), text_size);
  require(length < text_size, "a setting is a text that ends:", function.name);
  require(result == (nulls >= 0xFE ? 0 : static_cast<int>(length)),
          "the length of the text is returned:", function.name);
}

void run_lib_ver(const Function& function, Input& input, Line& /*line*/) {
  ExactBytes text(19);
  if (input.byte() == 0xFF) return require(lib_ver(nullptr) == -143, "null is refused");
  require(lib_ver(text.as<char>()) == 0 && std::strlen(text.as<char>()) == 18,
          "the version is a text of 18 characters:", function.name);
}

void run_chk_card(const Function& function, Input& input, Line& line) {
  const int handle = take_handle(input, line);
  line.forget();
  const int result = chk_card(handle);
  constexpr std::array numbers{0, 40, 41, 51, 52, 53, 31, 21, 10, 60, 61, 62, 7, 6, 5, 4, 3, 2, 1};
  require(std::ranges::count(numbers, result) == 1, "a kind of card has a number:", function.name);
  require_frames(function, line);
}

CardMessage::CardMessage(Input& input)
    : n(input.number() % 600),
      is_null(input.byte() >= 0xF8),
      bytes(is_null || n <= 0 ? 0 : static_cast<std::size_t>(n)) {
  if (is_null && input.byte() % 2 == 0) n = input.number();
  std::ranges::copy(input.bytes(std::min<std::size_t>(bytes.size(), 64)), bytes.data());
}

std::vector<const Line::Received*> good_replies(const Line& line) {
  std::vector<const Line::Received*> replies;
  for (const Line::Received& received : line.received()) {
    if (received.is_reply() && received.status() == 0) replies.push_back(&received);
  }
  return replies;
}

void require_link_result(const Function& function, const Line& line, int result) {
  if (result == 0 || result == -128 || result == -129 || result == -132 || result == -133) return;
  const bool came = std::ranges::any_of(line.received(), [result](const Line::Received& received) {
    return received.is_reply() && -received.status() == result;
  });
  require(came, "a result is one of those that are documented:", function.name);
}

namespace {

// What a block says of itself: it may announce more than there is.
std::size_t announced(const Line::Received& answer) { return answer.bytes[6]; }
std::size_t information(const Line::Received& answer) {
  return std::max<std::size_t>(announced(answer), 2) - 2;
}
bool brings_what_it_announces(const Line::Received& answer) {
  return answer.data().size() >= 3 && announced(answer) >= 2 &&
         announced(answer) + 3 <= answer.data().size();
}

}  // namespace

std::size_t room_for_answers(const std::vector<const Line::Received*>& answers) {
  std::size_t room = 3 + 255;
  for (const Line::Received* answer : answers) {
    // A reply without three bytes has no length of its own, and counts as a byte that is not there.
    room += answer->data().size() < 3 ? 253 : information(*answer);
  }
  return room;
}

void require_joined(const Function& function, const std::vector<const Line::Received*>& answers,
                    Bytes buffer, bool wrong_length_sends_again) {
  constexpr unsigned char wrong_length = 0x6C;
  if (!std::ranges::all_of(answers, [](const Line::Received* answer) {
        return brings_what_it_announces(*answer);
      })) {
    return;
  }
  const Line::Received& last = *answers.back();
  std::size_t position = 3;
  const std::string_view name = function.name;
  for (const Line::Received* answer : answers) {
    const Bytes data = answer->data();
    const bool is_last = answer == &last;
    if (!is_last && wrong_length_sends_again && data[announced(*answer) + 1] == wrong_length) {
      continue;
    }
    const Bytes piece = data.subspan(3, is_last ? announced(*answer) : information(*answer));
    require(std::ranges::equal(piece, buffer.subspan(position, piece.size())),
            "the information of the answers is joined:", name);
    position += piece.size();
  }
  require(buffer[0] == last.data()[0] && buffer[1] == last.data()[1] &&
              buffer[2] == (position - 3) % 256,
          "the block begins as the last one, with its own length:", name);
}

void run_sam_reset(const Function& function, Input& input, Line& line) {
  const int handle = take_handle(input, line);
  const unsigned char nulls = input.byte();
  const bool refused = nulls >= 0xFE;
  ExactBytes length(sizeof(int));
  ExactBytes buffer(refused ? 0 : 255);
  line.forget();
  const int result = sam_reset(handle, nulls == 0xFE ? nullptr : length.as<int>(),
                               nulls == 0xFF ? nullptr : buffer.data());
  require_set(length.bytes());
  if (nulls != 0xFE && result != 0) {
    require(length.value<int>() == 0, "a failure has no length:", function.name);
  }
  if (refused) return require_refusal(function, line, {.length_is_bad = true}, result);
  require_link_result(function, line, result);
  if (result != 0) return;
  const auto replies = good_replies(line);
  require(!replies.empty(), "success follows a reply:", function.name);
  const Bytes answer = replies.back()->data();
  require(length.value<int>() == static_cast<int>(answer.size()) &&
              std::ranges::equal(answer, buffer.bytes().first(answer.size())),
          "the answer is that of the SAM:", function.name);
}

void run_sendchar(const Function& function, Input& input, Line& line) {
  const int handle = take_handle(input, line);
  const unsigned char byte = input.byte();
  line.forget();
  const int result = sendchar(handle, byte);
  if (term_flg != 1) return;
  require(result > 0 || result == -129, "a byte is sent or it is not:", function.name);
  require(result < 0 || (line.sent.size() == 1 && line.sent[0] == byte),
          "one byte is sent as it is:", function.name);
}

void run_send_com(const Function& function, Input& input, Line& line) {
  const int handle = take_handle(input, line);
  int n = input.number();
  const bool is_null = input.byte() >= 0xF8;
  if (!is_null) n %= 2048;
  const Bytes some = input.bytes(is_null || n < 0 ? 0 : static_cast<std::size_t>(std::min(n, 32)));
  ExactBytes frame(is_null || n < 0 ? 0 : static_cast<std::size_t>(n));
  std::ranges::copy(some, frame.data());
  line.forget();
  const int result = send_com(handle, n, is_null ? nullptr : frame.data());
  if (is_null) return require_refusal(function, line, {.length_is_bad = true}, result);
  require(result == 0 || result == -129, "a frame is sent or it is not:", function.name);
  if (term_flg != 1) return;
  require(std::ranges::equal(line.sent, frame.bytes().first(line.sent.size())) &&
              (line.sent.size() == frame.size()) == (result == 0),
          "the bytes are sent in their order:", function.name);
}

void run_ic_delay(const Function& function, Input& input, Line& line) {
  const int ticks = input.number();
  // The clock may wrap on the way.
  const auto before = static_cast<unsigned long>(line.now);
  require(ic_delay(ticks) == 10, "a delay ends:", function.name);
  const unsigned long passed = static_cast<unsigned long>(line.now) - before;
  require(passed >= static_cast<unsigned long>(std::max(ticks, 0)),
          "a delay is at least as long as it is to be:", function.name);
}

void run_char_bit(const Function& function, Input& input, Line& /*line*/) {
  const int count = input.number() % 100;
  const std::size_t size = count < 0 ? 0 : static_cast<std::size_t>(count);
  ExactBytes bytes(size);
  std::ranges::copy(input.bytes(size), bytes.data());
  ExactBytes cells(8 * size);
  Char_Bit(bytes.data(), count, cells.data());
  for (std::size_t i = 0; i < cells.size(); ++i)
    require(cells.data()[i] == (bytes.data()[i / 8] >> (7 - i % 8) & 1),
            "a cell is a bit:", function.name);
  Char_Bit(nullptr, input.number(), cells.data());
  Char_Bit(bytes.data(), input.number(), nullptr);
}

void run_bit_char(const Function& function, Input& input, Line& /*line*/) {
  const int count = input.number() % 800;
  const std::size_t size = count < 0 ? 0 : static_cast<std::size_t>(count) / 8;
  ExactBytes cells(8 * size);
  std::ranges::copy(input.bytes(cells.size()), cells.data());
  ExactBytes bytes(size);
  Bit_Char(cells.data(), count, bytes.data());
  for (std::size_t i = 0; i < cells.size(); ++i)
    require((bytes.data()[i / 8] >> (7 - i % 8) & 1) == (cells.data()[i] & 1),
            "a bit is a cell:", function.name);
  Bit_Char(nullptr, input.number(), bytes.data());
  Bit_Char(cells.data(), input.number(), nullptr);
}

// The length of an answer to reset has two bytes, of which the frame itself counts one. So the room
// is known when the answer is, and the call is made twice.
void run_cpu_reset(const Function& function, Input& input, Line& line) {
  const int handle = take_handle(input, line);
  const bool is_null = input.byte() >= 0xF8;
  line.forget();
  if (is_null) {
    return require_refusal(function, line, {.length_is_bad = true}, cpu_reset(handle, nullptr));
  }
  static unsigned char roomy[65536];
  line.record();
  const int result = cpu_reset(handle, roomy);
  require_link_result(function, line, result);
  const auto replies = good_replies(line);
  require((result == 0) == !replies.empty(), "success follows a reply:", function.name);
  const std::size_t room =
      replies.empty() ? 0 : replies.back()->bytes[2] * std::size_t{256} + replies.back()->bytes[3];
  ExactBytes buffer(room);
  line.play_again();
  require(cpu_reset(handle, buffer.data()) == result,
          "the same answers have the same result:", function.name);
  line.stop_playing();
  require_set(buffer.bytes());
  if (replies.empty()) return;
  const Bytes answer = good_replies(line).back()->data();
  require(std::ranges::equal(answer, buffer.bytes().first(answer.size())),
          "the answer is that of the card:", function.name);
}

void run_block_twice(const Function& function, Input& input, Line& line, Exchange callee,
                     bool wrong_length_sends_again) {
  const int handle = take_handle(input, line);
  CardMessage message(input);
  const bool no_buffer = input.byte() >= 0xF8;
  line.forget();
  if (message.is_refused() || no_buffer) {
    ExactBytes nothing(0);
    return require_refusal(
        function, line, {.length_is_bad = true},
        callee(handle, message.n, message.data(), no_buffer ? nullptr : nothing.data()));
  }
  // A conversation is no longer than its input, and an answer has 253 bytes of information at most.
  static unsigned char roomy[1U << 20];
  line.record();
  const int result = callee(handle, message.n, message.data(), roomy);
  require_link_result(function, line, result);
  ExactBytes buffer(room_for_answers(good_replies(line)));
  line.play_again();
  require(callee(handle, message.n, message.data(), buffer.data()) == result,
          "the same answers have the same result:", function.name);
  line.stop_playing();
  if (result != 0) return;
  const auto answers = good_replies(line);
  require(!answers.empty(), "success follows a reply:", function.name);
  require_joined(function, answers, buffer.bytes(), wrong_length_sends_again);
}

}  // namespace quorra::fuzzing
