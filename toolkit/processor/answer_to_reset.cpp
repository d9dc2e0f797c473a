// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/processor/answer_to_reset.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "toolkit/session/errors.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

constexpr std::string_view decoding = "decoding the answer to reset";

constexpr unsigned char direct_convention = 0x3B;
constexpr unsigned char inverse_convention = 0x3F;
constexpr std::size_t longest_answer = 33;

// T=15 in a TD byte tells that global interface bytes follow.
constexpr int global = 15;

[[noreturn]] void fail(std::string_view what) {
  throw Failure(fmt::format("{}: {}", decoding, what));
}

// One byte in its place, such as TA1.
struct InterfaceByte {
  char letter;
  int number;
  unsigned char value;

  std::string name() const { return fmt::format("T{}{}", letter, number); }
};

struct AnswerToReset {
  unsigned char first = 0;   // TS
  unsigned char format = 0;  // T0
  std::vector<InterfaceByte> interface_bytes;
  std::vector<int> protocols;  // as the TD bytes name them, 15 among them
  Bytes historical;
  std::optional<unsigned char> check;  // TCK

  std::optional<unsigned char> find(char letter, int number) const {
    const auto found = std::ranges::find_if(interface_bytes, [&](const InterfaceByte& byte) {
      return byte.letter == letter && byte.number == number;
    });
    if (found == interface_bytes.end()) return std::nullopt;
    return found->value;
  }

  // The first byte of this letter that belongs to a protocol: it stands behind the TD2, or a later
  // one, that names the protocol.
  std::optional<unsigned char> find_of(char letter, int protocol) const {
    for (int number = 3; number <= static_cast<int>(protocols.size()) + 1; ++number) {
      if (protocols[static_cast<std::size_t>(number - 2)] != protocol) continue;
      if (const auto byte = find(letter, number)) return byte;
    }
    return std::nullopt;
  }
};

class Reader {
 public:
  explicit Reader(const Bytes& bytes) : bytes_(bytes) {}

  unsigned char next(std::string_view name) {
    if (at_ == bytes_.size()) fail(fmt::format("it ends before {}", name));
    return bytes_[at_++];
  }
  std::size_t left() const { return bytes_.size() - at_; }

 private:
  const Bytes& bytes_;
  std::size_t at_ = 0;
};

// The upper half of T0, and of each TD, tells which of the next four bytes are there.
void read_interface_bytes(Reader& reader, AnswerToReset& answer) {
  unsigned there = answer.format >> 4U;
  for (int number = 1; there != 0; ++number) {
    unsigned next = 0;
    for (const char letter : std::string_view("ABCD")) {
      if ((there >> static_cast<unsigned>(letter - 'A') & 1U) == 0) continue;
      const std::string name = fmt::format("T{}{}", letter, number);
      const unsigned char value = reader.next(name);
      answer.interface_bytes.push_back({letter, number, value});
      if (letter == 'D') {
        next = value >> 4U;
        answer.protocols.push_back(value & 0x0F);
      }
    }
    there = next;
  }
}

AnswerToReset take_apart(const Bytes& bytes) {
  if (bytes.empty()) fail("it is empty");
  if (bytes.size() > longest_answer) {
    fail(fmt::format("it has {}, and {} are the most",
                     counted(static_cast<int>(bytes.size()), "byte"), longest_answer));
  }
  Reader reader(bytes);
  AnswerToReset answer;
  answer.first = reader.next("TS");
  if (answer.first != direct_convention && answer.first != inverse_convention) {
    fail(fmt::format("TS is {:02X}, neither 3B nor 3F", answer.first));
  }
  answer.format = reader.next("T0");
  read_interface_bytes(reader, answer);
  for (int number = 1; number <= (answer.format & 0x0F); ++number) {
    answer.historical.push_back(reader.next(fmt::format("historical byte {}", number)));
  }
  // A card that knows T=0 alone sends none.
  if (std::ranges::any_of(answer.protocols, [](int protocol) { return protocol != 0; })) {
    answer.check = reader.next("TCK");
    const auto wanted = static_cast<unsigned char>(
        cr_bcc(static_cast<int>(bytes.size() - reader.left()) - 2, bytes.data() + 1));
    if (*answer.check != wanted) {
      fail(fmt::format("TCK is {:02X}, and {:02X} would be right", *answer.check, wanted));
    }
  }
  if (reader.left() > 0) {
    fail(fmt::format("{} behind its end", counted(static_cast<int>(reader.left()), "byte")));
  }
  return answer;
}

// Clock cycles of one bit, and the highest frequency of the clock, by the upper half of TA1. 0 for
// values that are reserved.
struct ClockRate {
  int cycles;
  int kilohertz;
};
constexpr std::array<ClockRate, 16> clock_rates{{{372, 4000},
                                                 {372, 5000},
                                                 {558, 6000},
                                                 {744, 8000},
                                                 {1116, 12000},
                                                 {1488, 16000},
                                                 {1860, 20000},
                                                 {},
                                                 {},
                                                 {512, 5000},
                                                 {768, 7500},
                                                 {1024, 10000},
                                                 {1536, 15000},
                                                 {2048, 20000},
                                                 {},
                                                 {}}};

// How many bits take as long as one would without it, by the lower half of TA1.
constexpr std::array<int, 16> bit_rates{0, 1, 2, 4, 8, 16, 32, 64, 12, 20, 0, 0, 0, 0, 0, 0};

constexpr unsigned char usual_rates = 0x11;

std::string describe_rates(const AnswerToReset& answer) {
  constexpr unsigned char implicit = 0x10;
  if ((answer.find('A', 2).value_or(0) & implicit) != 0) return "another one than TA1 says";
  const unsigned char rates = answer.find('A', 1).value_or(usual_rates);
  const ClockRate clock = clock_rates.at(rates >> 4U);
  const int bits = bit_rates.at(rates & 0x0FU);
  if (clock.cycles == 0 || bits == 0) return "reserved values";
  return fmt::format("Fi {}, Di {}: up to {} bits per second, at {:g} MHz", clock.cycles, bits,
                     clock.kilohertz * 1000 * bits / clock.cycles, clock.kilohertz / 1000.0);
}

std::string describe_protocols(const AnswerToReset& answer) {
  std::vector<std::string> names;
  for (const int protocol : answer.protocols) {
    const std::string name = fmt::format("T={}", protocol);
    const bool is_new = std::ranges::find(names, name) == names.end();
    if (protocol != global && is_new) names.push_back(name);
  }
  // A card that names none has T=0.
  if (names.empty()) names.emplace_back("T=0");
  std::string text = fmt::format("{}", fmt::join(names, ", "));
  if (const auto specific = answer.find('A', 2)) {
    text += fmt::format("; begins with T={}, which {} be changed", *specific & 0x0F,
                        (*specific & 0x80) == 0 ? "can" : "cannot");
  }
  return text;
}

std::string describe_guard_time(const AnswerToReset& answer) {
  constexpr unsigned char least = 255;
  const unsigned char extra = answer.find('C', 1).value_or(0);
  if (extra == least) return "12 bits with T=0, 11 with T=1";
  return fmt::format("{} bits", 12 + extra);
}

constexpr unsigned char unstated_block_size = 32;

bool is_reserved_size(unsigned char size) { return size == 0 || size == 0xFF; }

std::string describe_block_size(unsigned char size) {
  if (is_reserved_size(size)) return "reserved value";
  return fmt::format("up to {} of information (IFSC)", counted(size, "byte"));
}

void add_block_protocol(const AnswerToReset& answer, std::vector<AnswerLine>& lines) {
  constexpr unsigned char usual_waiting_times = 0x4D;
  if (std::ranges::find(answer.protocols, 1) == answer.protocols.end()) return;
  const unsigned waiting = answer.find_of('B', 1).value_or(usual_waiting_times);
  const bool has_crc = (answer.find_of('C', 1).value_or(0) & 1U) != 0;
  lines.push_back(
      {"T=1 blocks", describe_block_size(answer.find_of('A', 1).value_or(unstated_block_size))});
  lines.push_back({"T=1 waits", fmt::format("BWI {}, CWI {}", waiting >> 4U, waiting & 0x0FU)});
  lines.push_back({"T=1 check", has_crc ? "CRC" : "LRC"});
}

void add_character_protocol(const AnswerToReset& answer, std::vector<AnswerLine>& lines) {
  constexpr unsigned char usual_waiting_time = 10;
  const bool has_it =
      answer.protocols.empty() || std::ranges::find(answer.protocols, 0) != answer.protocols.end();
  if (!has_it) return;
  lines.push_back(
      {"T=0 waits", fmt::format("WI {}", answer.find('C', 2).value_or(usual_waiting_time))});
}

void add_supply(const AnswerToReset& answer, std::vector<AnswerLine>& lines) {
  const auto supply = answer.find_of('A', global);
  if (!supply) return;
  constexpr std::array<std::string_view, 4> stops{"not possible", "at the low level",
                                                  "at the high level", "at either level"};
  constexpr std::array<std::string_view, 3> volts{"5 V", "3 V", "1.8 V"};
  std::vector<std::string_view> classes;
  for (unsigned bit = 0; bit < volts.size(); ++bit) {
    if ((*supply >> bit & 1U) != 0) classes.push_back(volts.at(bit));
  }
  lines.push_back({"supply", classes.empty() ? std::string("reserved value")
                                             : fmt::format("{}", fmt::join(classes, ", "))});
  lines.push_back({"clock stop", std::string(stops.at(*supply >> 6U))});
}

// The objects of a list whose tags and lengths have four bits each.
constexpr std::array<std::string_view, 16> object_names{
    "object 0",    "country",      "issuer",   "card services", "initial access", "issuer's data",
    "pre-issuing", "capabilities", "status",   "object 9",      "object A",       "object B",
    "object C",    "object D",     "object E", "application"};

// Every object that is there as a whole; bytes that are none at the end are shown as they are.
void add_objects(const Bytes& list, std::vector<AnswerLine>& lines) {
  for (std::size_t at = 0; at < list.size();) {
    const std::size_t size = list[at] & 0x0FU;
    const std::string_view name = object_names.at(list[at] >> 4U);
    const auto begin = list.begin() + static_cast<std::ptrdiff_t>(at);
    if (at + 1 + size > list.size()) {
      lines.push_back({"no object", hex_text({begin, list.end()})});
      return;
    }
    lines.push_back(
        {std::string(name), hex_text({begin + 1, begin + 1 + static_cast<std::ptrdiff_t>(size)})});
    at += 1 + size;
  }
}

void add_historical(const Bytes& bytes, std::vector<AnswerLine>& lines) {
  constexpr std::ptrdiff_t trailer_size = 3;
  if (bytes.empty()) {
    lines.push_back({"historical", "none"});
    return;
  }
  std::string text;
  for (const unsigned char byte : bytes) {
    text += is_printable(byte) ? static_cast<char>(byte) : '.';
  }
  lines.push_back({"historical", fmt::format("{}  |{}|", hex_text(bytes), text)});
  // The first byte tells the form of the others.
  if (bytes.front() == 0x80) add_objects({bytes.begin() + 1, bytes.end()}, lines);
  if (bytes.front() == 0x00 && bytes.size() > trailer_size) {
    add_objects({bytes.begin() + 1, bytes.end() - trailer_size}, lines);
    lines.push_back({"status", hex_text({bytes.end() - trailer_size, bytes.end()})});
  }
}

}  // namespace

// The first protocol, unless TA2 names one; T=0 if none is named.
std::optional<ProtocolOffer> read_offer(const Bytes& bytes) {
  try {
    const AnswerToReset answer = take_apart(bytes);
    ProtocolOffer offer{.protocol = 0, .block_size = unstated_block_size};
    if (!answer.protocols.empty()) offer.protocol = answer.protocols.front();
    if (const auto specific = answer.find('A', 2)) offer.protocol = *specific & 0x0F;
    const unsigned char size = answer.find_of('A', 1).value_or(0);
    if (!is_reserved_size(size)) offer.block_size = size;
    return offer;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

std::vector<AnswerLine> describe_answer_to_reset(const Bytes& bytes) {
  const AnswerToReset answer = take_apart(bytes);
  std::vector<AnswerLine> lines{
      {"TS", fmt::format("{:02X}  {} convention", answer.first,
                         answer.first == direct_convention ? "direct" : "inverse")},
      {"T0", fmt::format("{:02X}", answer.format)}};
  for (const InterfaceByte& byte : answer.interface_bytes) {
    lines.push_back({byte.name(), fmt::format("{:02X}", byte.value)});
  }
  if (answer.check) lines.push_back({"TCK", fmt::format("{:02X}  right", *answer.check)});

  lines.push_back({"protocols", describe_protocols(answer)});
  lines.push_back({"speed", describe_rates(answer)});
  lines.push_back({"guard time", describe_guard_time(answer)});
  add_character_protocol(answer, lines);
  add_block_protocol(answer, lines);
  add_supply(answer, lines);
  add_historical(answer.historical, lines);

  return lines;
}

}  // namespace quorra::toolkit
