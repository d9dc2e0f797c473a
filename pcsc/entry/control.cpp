// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/entry/control.hpp"
#include "toolkit/session/frames.hpp"

#include <PCSC/reader.h>
#include <quorra.h>

#include <algorithm>
#include <iterator>

namespace quorra::pcsc {
namespace {

constexpr toolkit::Operation carrying_out{"carrying out a request for the reader"};

constexpr DWORD get_features = CM_IOCTL_GET_FEATURE_REQUEST;
constexpr DWORD get_properties = SCARD_CTL_CODE(FEATURE_GET_TLV_PROPERTIES);
constexpr DWORD escape = SCARD_CTL_CODE(1);

struct Feature {
  unsigned char tag;
  DWORD code;
};

constexpr Feature features[] = {
    {FEATURE_GET_TLV_PROPERTIES, get_properties},
    {FEATURE_CCID_ESC_COMMAND, escape},
};

// Each control code has four bytes, the highest first.
Bytes describe_features() {
  Bytes answer;
  for (const Feature& feature : features) {
    answer.insert(answer.end(), {feature.tag, 4});
    for (int shift = 24; shift >= 0; shift -= 8) {
      answer.push_back(static_cast<unsigned char>(feature.code >> shift));
    }
  }
  return answer;
}

void add_property(Bytes& answer, unsigned char tag, const Bytes& value) {
  answer.insert(answer.end(), {tag, static_cast<unsigned char>(value.size())});
  answer.insert(answer.end(), value.begin(), value.end());
}

// Numbers have their lowest byte first. There is no display and no keypad.
Bytes describe_properties(const Link& link) {
  Bytes answer;
  add_property(answer, PCSCv2_PART10_PROPERTY_wLcdLayout, {0, 0});
  add_property(answer, PCSCv2_PART10_PROPERTY_sFirmwareID,
               {link.version().begin(), link.version().end()});
  add_property(answer, PCSCv2_PART10_PROPERTY_bPPDUSupport, {0});
  // Data in an APDU: none has lengths of several bytes.
  add_property(answer, PCSCv2_PART10_PROPERTY_dwMaxAPDUDataSize, {0, 1, 0, 0});
  return answer;
}

// Any application may ask, so nothing here writes. A request begins with the reader's own command.
struct Request {
  unsigned char command;
  std::size_t parameters;  // bytes behind it
  Bytes (*carry_out)(const Link& link, const unsigned char* parameters);
};

Bytes read_version(const Link& link, const unsigned char* /*parameters*/) {
  return {link.version().begin(), link.version().end()};
}

Bytes read_state(const Link& link, const unsigned char* /*parameters*/) {
  toolkit::CardState state{};
  const int result = toolkit::read_card_state(link, state);
  if (result < 0) link.fail(carrying_out, result);
  return {static_cast<unsigned char>((state.is_present ? 1U : 0U) | (state.has_power ? 2U : 0U))};
}

Bytes beep(const Link& link, const unsigned char* time) {
  link.run(carrying_out, dv_beep, int{*time});
  return {};
}

// The parameters are an address, its high byte first, and a count.
Bytes read_reader_memory(const Link& link, const unsigned char* parameters) {
  Bytes bytes(parameters[2]);
  link.run(carrying_out, srd_eeprom, parameters[0] * 256 + parameters[1],
           static_cast<int>(bytes.size()), bytes.data());
  return bytes;
}

Bytes eject(const Link& link, const unsigned char* /*parameters*/) {
  link.run(carrying_out, auto_pull);
  return {};
}

constexpr Request requests[] = {
    {0xB0, 0, read_version}, {0xB4, 1, beep},       {0xB7, 3, read_reader_memory},
    {0xB8, 0, eject},        {0xB9, 0, read_state},
};

std::optional<Bytes> carry_out(Link& link, const Bytes& request) {
  if (request.empty()) return std::nullopt;
  const auto* const found = std::ranges::find(requests, request.front(), &Request::command);
  if (found == std::end(requests) || request.size() != 1 + found->parameters) return std::nullopt;
  return found->carry_out(link, request.data() + 1);
}

}  // namespace

std::optional<Bytes> control(Link& link, DWORD code, const Bytes& request) {
  if (code == get_features) return describe_features();
  if (code == get_properties) return describe_properties(link);
  if (code == escape) return carry_out(link, request);
  return std::nullopt;
}

}  // namespace quorra::pcsc
