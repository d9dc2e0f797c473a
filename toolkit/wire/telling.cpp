// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/wire/telling.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

#include "toolkit/text.hpp"

namespace quorra::toolkit::wire {
namespace {

using Json = nlohmann::ordered_json;

constexpr int schema_version = 1;

constexpr std::size_t bytes_of_line = 16;
constexpr std::string_view margin = "                ";

constexpr double seconds(Time time) { return std::chrono::duration<double>(time).count(); }
constexpr double milliseconds(Time time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

bool is_hidden(const Decoded& decoded, std::size_t at, Codes codes) {
  return codes == Codes::hidden && decoded.secrecy[at] != Secrecy::open;
}

std::string text_of(const Decoded& decoded, std::size_t first, std::size_t size, Codes codes) {
  std::string text;
  for (std::size_t at = first; at < first + size; ++at) {
    const unsigned char byte = decoded.frame.bytes[at];
    text += is_hidden(decoded, at, codes) ? '*'
            : is_printable(byte)          ? static_cast<char>(byte)
                                          : '.';
  }
  return text;
}

std::string what_is_answered(const Decoded& decoded) {
  std::string words;
  if (decoded.status) {
    words = *decoded.status == 0
                ? decoded.status_words
                : fmt::format("status 0x{:02X}: {}", *decoded.status, decoded.status_words);
  }
  if (decoded.took) words += fmt::format(", after {:.3f} ms", milliseconds(*decoded.took));
  if (decoded.data_size > 0) {
    words += ", " + counted(static_cast<int>(decoded.data_size), "byte");
  }
  return words;
}

std::string check_byte(const Decoded& decoded, Codes codes) {
  return fmt::format("; check byte {} is {}",
                     hex_of(decoded, decoded.frame.bytes.size() - 1, 1, codes),
                     decoded.check_byte_is_right ? "right" : "wrong");
}

std::string_view name_of(Wholeness wholeness) {
  switch (wholeness) {
    case Wholeness::whole:
      return "whole";
    case Wholeness::partial:
      return "partial";
    case Wholeness::stray:
      return "stray";
    case Wholeness::screen:
      break;
  }
  return "screen";
}

std::string headline(const Decoded& decoded, Codes codes) {
  const int size = static_cast<int>(decoded.frame.bytes.size());
  const bool is_request = decoded.frame.direction == Direction::request;
  const std::string told = is_request ? what_is_asked(decoded) : what_is_answered(decoded);
  switch (decoded.frame.wholeness) {
    case Wholeness::whole:
      return told + check_byte(decoded, codes);
    case Wholeness::partial:
      return fmt::format("partial frame, {}{}{}", counted(size, "byte"), told.empty() ? "" : ": ",
                         told);
    case Wholeness::stray:
      return counted(size, "stray byte");
    case Wholeness::screen:
      break;
  }
  return "to the screen, " + counted(size, "byte");
}

}  // namespace

std::string hex_of(const Decoded& decoded, std::size_t first, std::size_t size, Codes codes) {
  std::string text;
  for (std::size_t at = first; at < first + size; ++at) {
    if (at > first) text += ' ';
    text += is_hidden(decoded, at, codes) ? std::string("**")
                                          : fmt::format("{:02X}", decoded.frame.bytes[at]);
  }
  return text;
}

std::string what_is_asked(const Decoded& decoded) {
  std::string words = decoded.command_words;
  if (!decoded.instruction_words.empty()) words += " (" + decoded.instruction_words + ")";
  if (!decoded.card_words.empty()) words += ", " + decoded.card_words;
  if (decoded.zone) words += fmt::format(", zone {}", *decoded.zone);
  if (decoded.page) words += fmt::format(", page {}", *decoded.page);
  if (decoded.address) words += fmt::format(", address 0x{:04X}", *decoded.address);
  if (decoded.count) {
    words += fmt::format(", count {}", *decoded.count);
  } else if (decoded.data_size > 0) {
    words += ", " + counted(static_cast<int>(decoded.data_size), "byte");
  }
  return words;
}

std::string in_words(const Decoded& decoded, Codes codes) {
  const bool is_request = decoded.frame.direction == Direction::request;
  std::string text = fmt::format("{:12.6f} {} {}\n", seconds(decoded.since_start),
                                 is_request ? "->" : "<-", headline(decoded, codes));
  const std::size_t end = decoded.data_offset + decoded.data_size;
  for (std::size_t at = decoded.data_offset; at < end; at += bytes_of_line) {
    const std::size_t size = std::min(bytes_of_line, end - at);
    text += fmt::format("{}{:47}  |{}|\n", margin, hex_of(decoded, at, size, codes),
                        text_of(decoded, at, size, codes));
  }
  return text;
}

std::string as_json(const Decoded& decoded, Codes codes) {
  const Bytes& bytes = decoded.frame.bytes;
  Json told;
  told["schema_version"] = schema_version;
  told["number"] = decoded.number;
  told["time"] = seconds(decoded.since_start);
  told["direction"] = decoded.frame.direction == Direction::request ? "request" : "reply";
  told["frame"] = name_of(decoded.frame.wholeness);
  const auto put = [&told](const char* name, const auto& value) {
    if (value) told[name] = *value;
  };
  if (decoded.command) {
    told["command"] = {{"number", *decoded.command}, {"words", decoded.command_words}};
  }
  if (decoded.card) told["card"] = {{"number", *decoded.card}, {"words", decoded.card_words}};
  if (!decoded.instruction_words.empty()) told["instruction"] = decoded.instruction_words;
  put("zone", decoded.zone);
  put("page", decoded.page);
  put("address", decoded.address);
  put("count", decoded.count);
  if (decoded.status) {
    told["status"] = {{"number", *decoded.status}, {"words", decoded.status_words}};
  }
  if (decoded.took) told["took"] = seconds(*decoded.took);
  told["data"] = hex_of(decoded, decoded.data_offset, decoded.data_size, codes);
  if (decoded.data_is_text) {
    told["text"] = text_of(decoded, decoded.data_offset, decoded.data_size, codes);
  }
  if (decoded.has_check_byte) {
    told["check"] = {{"byte", hex_of(decoded, bytes.size() - 1, 1, codes)},
                     {"right", decoded.check_byte_is_right}};
  }
  told["bytes"] = hex_of(decoded, 0, bytes.size(), codes);
  return told.dump();
}

}  // namespace quorra::toolkit::wire
