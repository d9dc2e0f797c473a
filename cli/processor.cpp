#include "cli/processor.hpp"

#include <fmt/format.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "cli/options.hpp"

namespace quorra::cli {
namespace {

constexpr Operation switching_on{"switching the SAMs' power on"};
constexpr Operation selecting{"selecting the SAM"};
constexpr Operation resetting{"resetting the card"};
constexpr Operation resetting_sam{"resetting the SAM"};
constexpr Operation exchanging{"sending the APDU"};

constexpr int highest_sam = 255;

// The length of an answer to reset has 16 bits in the reply.
constexpr std::size_t largest_reset_answer = 0xFFFF;
constexpr std::size_t largest_reply = 255;

// A block: NAD, PCB, LEN, LEN bytes of information, and the XOR of them all.
constexpr std::size_t prologue_size = 3;
constexpr std::size_t pcb_place = 1;
constexpr std::size_t length_place = 2;
constexpr unsigned char sequence_bit = 0x40;

constexpr std::size_t status_words_size = 2;
constexpr unsigned bytes_to_fetch = 0x61;
constexpr unsigned wrong_length = 0x6C;
constexpr std::size_t header_size = 4;  // of an APDU: CLA INS P1 P2
constexpr std::size_t longest_answer = 65536;

[[noreturn]] void fail(std::string_view what) {
  throw Failure(fmt::format("{}: {}", exchanging.doing, what));
}

unsigned char check_byte(std::span<const unsigned char> bytes) {
  return static_cast<unsigned char>(cr_bcc(static_cast<int>(bytes.size()), bytes.data()));
}

Bytes make_block(unsigned char pcb, const Bytes& information) {
  Bytes block = {0, pcb, static_cast<unsigned char>(information.size())};
  block.insert(block.end(), information.begin(), information.end());
  block.push_back(check_byte(block));
  return block;
}

// Blocks that are no answer.
struct OtherBlock {
  unsigned char mask;
  unsigned char pcb;
  std::string_view words;
};

constexpr OtherBlock other_blocks[] = {
    {0xBF, 0x20, "the answer goes on in further blocks, which are not fetched"},
    {0xEF, 0x80, "the card wants a block again"},
    {0xEF, 0x81, "the card found the check byte of the block wrong"},
    {0xEF, 0x82, "the card found the block wrong"},
    {0xFF, 0xC1, "the card wants blocks of another size"},
    {0xFF, 0xC2, "the card breaks off"},
    {0xFF, 0xC3, "the card wants more time"},
};

void check_is_answer(unsigned char pcb) {
  if ((pcb & ~sequence_bit) == 0) return;
  const auto* const found = std::ranges::find_if(
      other_blocks, [pcb](const OtherBlock& block) { return (pcb & block.mask) == block.pcb; });
  fail(fmt::format(
      "{} (PCB {:02X})",
      found == std::end(other_blocks) ? "the card sends no block of T=1" : found->words, pcb));
}

// SW1 begins with the digit 6 or 9.
bool is_first_status_word(unsigned char byte) { return byte >> 4 == 6 || byte >> 4 == 9; }

// What the block at the beginning of the reply holds.
CardAnswer open_block(std::span<const unsigned char, largest_reply> reply) {
  const std::size_t length = reply[length_place];
  const std::size_t size = prologue_size + length + 1;
  if (size > reply.size()) {
    fail(fmt::format("the block says that it has {} bytes, more than a reply holds", size));
  }
  if (check_byte(reply.first(size)) != 0) fail("the check byte of the card's block is wrong");
  check_is_answer(reply[pcb_place]);
  const auto information = reply.subspan(prologue_size, length);
  if (length < status_words_size || !is_first_status_word(information[length - 2])) {
    fail("the answer ends without status words");
  }
  const auto data = information.first(length - status_words_size);
  return {.data = {data.begin(), data.end()},
          .status_words = information[length - 2] * 256U + information[length - 1]};
}

// The command with this expected length. Behind its header, a single byte is the expected length;
// more bytes are a length, so many data bytes and perhaps the expected length. None if the command
// has lengths of several bytes, or becomes too long.
std::optional<Bytes> with_expected_length(Bytes apdu, unsigned length) {
  if (apdu.size() > header_size + 1) {
    const std::size_t data_size = apdu[header_size];
    const std::size_t without = header_size + 1 + data_size;
    if (data_size == 0 || apdu.size() < without || without >= longest_apdu) return std::nullopt;
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
Bytes reset_card(const Connection& connection) {
  Bytes among_zeros(largest_reset_answer + 1, 0x00);
  Bytes among_ones(largest_reset_answer + 1, 0xFF);
  connection.run(resetting, cpu_reset, among_zeros.data());
  connection.run(resetting, cpu_reset, among_ones.data());
  std::size_t size = 0;
  while (among_zeros[size] != 0x00 || among_ones[size] != 0xFF) {
    ++size;
  }
  among_ones.resize(size);
  return among_ones;
}

Bytes reset_sam(const Connection& connection) {
  Bytes answer(largest_reply);
  int length = 0;
  connection.run(resetting_sam, sam_reset, &length, answer.data());
  answer.resize(static_cast<std::size_t>(length));
  return answer;
}

}  // namespace

CLI::Option* add_sam(CLI::App& command, SamNumber& sam) {
  return add_number(command, "--sam", sam, "Speak with this SAM inside the reader, not the card")
      ->check([](const std::string& text) {
        const int number = parse_number("--sam", text);
        return number <= highest_sam ? std::string()
                                     : fmt::format("{} is more than {}", number, highest_sam);
      });
}

void select(const Connection& connection, SamNumber sam) {
  if (!sam) return;
  connection.run(switching_on, sam_power_on);
  connection.run(selecting, sam_select, static_cast<unsigned char>(*sam));
}

Bytes reset(const Connection& connection, SamNumber sam) {
  return sam ? reset_sam(connection) : reset_card(connection);
}

// The frame of a command and that of a block are the same: a block's own check byte makes its XOR
// 0, so it does not matter which bytes the frame's check byte covers. A command's answer has a
// bound.
CardAnswer Conversation::exchange(const Bytes& apdu) {
  const Bytes block = make_block(second_number_ ? sequence_bit : 0, apdu);
  std::array<unsigned char, largest_reply> reply{};
  connection_.run(exchanging, sam_ ? sam_comres : cpu_comres, static_cast<int>(block.size()),
                  block.data(), reply.data());
  CardAnswer answer = open_block(reply);
  second_number_ = !second_number_;
  return answer;
}

CardAnswer Conversation::exchange_with_right_length(const Bytes& apdu) {
  CardAnswer answer = exchange(apdu);
  if (first_word(answer) != wrong_length) return answer;
  const std::optional<Bytes> again = with_expected_length(apdu, second_word(answer));
  return again ? exchange(*again) : answer;
}

CardAnswer Conversation::send(const Bytes& apdu) {
  CardAnswer answer = exchange_with_right_length(apdu);
  while (first_word(answer) == bytes_to_fetch) {
    const CardAnswer more = exchange_with_right_length(get_response(second_word(answer)));
    if (more.data.empty() && first_word(more) == bytes_to_fetch) {
      fail("the card announces more of its answer, and sends none");
    }
    answer.data.insert(answer.data.end(), more.data.begin(), more.data.end());
    answer.status_words = more.status_words;
    if (answer.data.size() > longest_answer) {
      fail(fmt::format("the answer does not end after {} bytes", longest_answer));
    }
  }
  return answer;
}

}  // namespace quorra::cli
