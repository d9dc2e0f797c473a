// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/entry/capabilities.hpp"

#include <PCSC/reader.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace quorra::pcsc {
namespace {

// pcscd wants one byte.
constexpr unsigned char most_readers = 16;

Bytes text(std::string_view words) {
  Bytes bytes(words.begin(), words.end());
  bytes.push_back(0);
  return bytes;
}

// The lowest byte first, as this machine stores a DWORD of the interface.
Bytes number(unsigned value) {
  Bytes bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<unsigned char>(value >> shift));
  }
  return bytes;
}

constexpr unsigned version_number =
    (QUORRA_VERSION_MAJOR * 256U + QUORRA_VERSION_MINOR) * 65536U + QUORRA_VERSION_PATCH;
constexpr unsigned longest_short_answer = 258;

Bytes answer_to_reset(Reader& reader, std::size_t slot) {
  const InsertedCard* const card = reader.slot(slot).card();
  return card == nullptr ? Bytes{} : card->answer_to_reset();
}

Bytes number_of_slots(Reader& reader, std::size_t /*slot*/) {
  return {static_cast<unsigned char>(reader.number_of_slots())};
}

Bytes serial_number(Reader& reader, std::size_t /*slot*/) {
  std::array<unsigned char, 16> bytes{};
  constexpr toolkit::Operation reading{"reading the reader's serial number"};
  if (reader.link().reach()) {
    reader.link().run(reading, srd_snr, static_cast<int>(bytes.size()), bytes.data());
  }
  return {bytes.begin(), bytes.end()};
}

Bytes has_power(Reader& reader, std::size_t slot) {
  constexpr unsigned char there = 1;
  constexpr unsigned char none = 0;
  return {answer_to_reset(reader, slot).empty() ? none : there};
}

using Find = Bytes (*)(Reader& reader, std::size_t slot);

struct Tag {
  DWORD tag;
  Find find;
};

const Tag tags[] = {
    {TAG_IFD_ATR, answer_to_reset},
    {SCARD_ATTR_ATR_STRING, answer_to_reset},
    {TAG_IFD_SIMULTANEOUS_ACCESS, [](Reader&, std::size_t) { return Bytes{most_readers}; }},
    {TAG_IFD_THREAD_SAFE, [](Reader&, std::size_t) { return Bytes{1}; }},
    {TAG_IFD_SLOTS_NUMBER, number_of_slots},
    // The slots of a reader share its line.
    {TAG_IFD_SLOT_THREAD_SAFE, [](Reader&, std::size_t) { return Bytes{0}; }},
    {SCARD_ATTR_VENDOR_NAME, [](Reader&, std::size_t) { return text("quorra"); }},
    {SCARD_ATTR_VENDOR_IFD_TYPE,
     [](Reader&, std::size_t) { return text("contact reader on a serial line"); }},
    {SCARD_ATTR_VENDOR_IFD_VERSION, [](Reader&, std::size_t) { return number(version_number); }},
    {SCARD_ATTR_VENDOR_IFD_SERIAL_NO, serial_number},
    {SCARD_ATTR_ICC_INTERFACE_STATUS, has_power},
    {SCARD_ATTR_MAXINPUT, [](Reader&, std::size_t) { return number(longest_short_answer + 3); }},
};

}  // namespace

std::optional<Bytes> capability(Reader& reader, std::size_t slot, DWORD tag) {
  const auto* const found = std::ranges::find(tags, tag, &Tag::tag);
  if (found == std::end(tags)) return std::nullopt;
  return found->find(reader, slot);
}

}  // namespace quorra::pcsc
