// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Recordings of a line: any bytes are refused, or read up to where they are damaged, and what was
// read can be told and recorded again.

#include <cstddef>
#include <span>
#include <string>

#include "fuzz/support/check.hpp"
#include "toolkit/wire/decoding.hpp"
#include "toolkit/wire/pcapng.hpp"
#include "toolkit/wire/telling.hpp"

using namespace quorra::fuzzing;
using namespace quorra::toolkit::wire;
using quorra::toolkit::Bytes;

namespace {

// The size of all packets that can be read.
std::size_t size_of_packets(std::span<const unsigned char> content) {
  std::size_t size = 0;
  RecordingReader reader(content);
  try {
    while (const auto packet = reader.next()) {
      size += packet->bytes.size();
    }
  } catch (const RecordingError& error) {
    const std::string_view complaint = error.what();
    require(!complaint.empty() && complaint.find('\n') == std::string_view::npos,
            "a complaint is one line");
  }
  return size;
}

void append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

void check_without_codes(const Decoded& decoded) {
  const Bytes bytes = without_codes(decoded);
  require(bytes.size() == decoded.frame.bytes.size(), "a frame keeps its size");
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (decoded.secrecy[at] == Secrecy::open)
      require(bytes[at] == decoded.frame.bytes[at], "what is no code is recorded as it is");
    if (decoded.secrecy[at] == Secrecy::code) require(bytes[at] == 0, "a code is zeros");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::span content(data, size);
  const Recording recording = read_recording(content);
  std::size_t told = 0;
  Decoder decoder;
  Decoder again;
  Bytes copy = recording_head("fuzz", "line");
  for (const Frame& frame : recording.frames) {
    told += frame.bytes.size();
    const Decoded decoded = decoder.take(frame);
    require(decoded.secrecy.size() == frame.bytes.size(), "each byte is a code or none");
    const std::string words = in_words(decoded, Codes::hidden);
    require(words.ends_with('\n'), "words end with a line end");
    check_without_codes(decoded);

    Frame stored = frame;
    stored.bytes = without_codes(decoded);
    const Decoded read = again.take(stored);
    require(read.check_byte_is_right || !decoded.check_byte_is_right,
            "a check byte that was right is right in a recording without codes");
    require(!as_json(read, Codes::hidden).empty(), "every frame can be told in JSON");
    append(copy, recorded(frame.direction, frame.time, stored.bytes));
  }
  require(told == size_of_packets(content), "no byte of a packet is lost");
  require(read_recording(copy).error.empty(), "what is recorded can be read");
  return 0;
}
