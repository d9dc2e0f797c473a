// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/processor/conversation.hpp"

#include <fmt/core.h>
#include <quorra.h>

#include <algorithm>
#include <cstddef>

#include "toolkit/kinds/known_kind.hpp"
#include "toolkit/processor/answer_to_reset.hpp"

namespace quorra::toolkit {
namespace {

constexpr Operation switching_on{"switching the SAMs' power on"};
constexpr Operation selecting{"selecting the SAM"};
constexpr Operation resetting{"resetting the card"};
constexpr Operation resetting_sam{"resetting the SAM"};

// The length of an answer to reset has 16 bits in the reply.
constexpr std::size_t largest_reset_answer = 0xFFFF;
constexpr std::size_t largest_reply = 255;

constexpr std::size_t status_words_size = 2;
constexpr unsigned bytes_to_fetch = 0x61;
constexpr unsigned wrong_length = 0x6C;
constexpr std::size_t header_size = 4;  // of an APDU: CLA INS P1 P2
constexpr std::size_t longest_answer = 65536;

// SW1 begins with the digit 6 or 9.
bool is_first_status_word(unsigned char byte) { return byte >> 4 == 6 || byte >> 4 == 9; }

CardAnswer take_apart(const Bytes& answer) {
  const std::size_t size = answer.size();
  if (size < status_words_size || !is_first_status_word(answer[size - 2])) {
    CardLine::fail("the answer ends without status words");
  }
  return {.data = {answer.begin(), answer.end() - status_words_size},
          .status_words = answer[size - 2] * 256U + answer[size - 1]};
}

// The command with this expected length. Behind its header, a single byte is the expected length;
// more bytes are a length, so many data bytes and perhaps the expected length. None if the command
// has lengths of several bytes, or becomes longer than `longest`.
std::optional<Bytes> with_expected_length(Bytes apdu, unsigned length, std::size_t longest) {
  if (apdu.size() > header_size + 1) {
    const std::size_t data_size = apdu[header_size];
    const std::size_t without = header_size + 1 + data_size;
    if (data_size == 0 || apdu.size() < without || without >= longest) return std::nullopt;
    apdu.resize(without);
  } else {
    apdu.resize(header_size);
  }
  apdu.push_back(static_cast<unsigned char>(length));
  return apdu;
}

Bytes get_response(unsigned length) {
  return {0x00, 0xC0, 0x00, 0x00, static_cast<unsigned char>(length)};
}

unsigned first_word(const CardAnswer& answer) { return answer.status_words / 256; }
unsigned second_word(const CardAnswer& answer) { return answer.status_words % 256; }

// The library does not tell how long the card's answer is. It leaves bytes behind the answer as
// they were, so two resets into different surroundings show it.
Bytes reset_card(const Session& session) {
  Bytes among_zeros(largest_reset_answer + 1, 0x00);
  Bytes among_ones(largest_reset_answer + 1, 0xFF);
  session.run(resetting, cpu_reset, among_zeros.data());
  session.run(resetting, cpu_reset, among_ones.data());
  std::size_t size = 0;
  while (among_zeros[size] != 0x00 || among_ones[size] != 0xFF) {
    ++size;
  }
  among_ones.resize(size);
  return among_ones;
}

Bytes reset_sam(const Session& session) {
  Bytes answer(largest_reply);
  int length = 0;
  session.run(resetting_sam, sam_reset, &length, answer.data());
  answer.resize(static_cast<std::size_t>(length));
  return answer;
}

}  // namespace

void select(const Session& session, SamNumber sam) {
  if (!sam) return;
  session.run(switching_on, sam_power_on);
  session.run(selecting, sam_select, static_cast<unsigned char>(*sam));
}

Bytes reset(const Session& session, SamNumber sam) {
  if (sam) return reset_sam(session);
  KnownKind(session).forget();
  return reset_card(session);
}

// Only an answer to reset tells the protocol. Without one, or with one that makes no sense, the
// card is asked to begin its blocks anew, which changes nothing else in it. One that has no blocks
// takes that for a command that it refuses.
Conversation::Conversation(const Session& session, SamNumber sam,
                           const std::optional<Bytes>& answer_to_reset)
    : line_(session, sam) {
  const auto offer = answer_to_reset ? read_offer(*answer_to_reset) : std::nullopt;
  if (offer && offer->protocol != 1) return;
  blocks_.emplace(line_, offer ? offer->block_size : usual_block_size);
  if (!offer && !blocks_->resynchronise()) {
    blocks_.reset();
    return;
  }
  blocks_->announce_size();
}

CardAnswer Conversation::exchange(const Bytes& apdu) {
  if (blocks_) return take_apart(blocks_->transmit(apdu));
  Bytes answer;
  if (const int result = line_.exchange(apdu, answer); result < 0) line_.fail(result);
  return take_apart(answer);
}

CardAnswer Conversation::exchange_with_right_length(const Bytes& apdu) {
  CardAnswer answer = exchange(apdu);
  if (first_word(answer) != wrong_length) return answer;
  const std::optional<Bytes> again =
      with_expected_length(apdu, second_word(answer), longest_apdu());
  return again ? exchange(*again) : answer;
}

CardAnswer Conversation::send(const Bytes& apdu) {
  CardAnswer answer = exchange_with_right_length(apdu);
  while (first_word(answer) == bytes_to_fetch) {
    const CardAnswer more = exchange_with_right_length(get_response(second_word(answer)));
    if (more.data.empty() && first_word(more) == bytes_to_fetch) {
      CardLine::fail("the card announces more of its answer, and sends none");
    }
    answer.data.insert(answer.data.end(), more.data.begin(), more.data.end());
    answer.status_words = more.status_words;
    if (answer.data.size() > longest_answer) {
      CardLine::fail(fmt::format("the answer does not end after {} bytes", longest_answer));
    }
  }
  return answer;
}

}  // namespace quorra::toolkit
