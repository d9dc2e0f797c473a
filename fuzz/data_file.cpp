// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Files of data: any content is refused in one line or is bytes with addresses, which are read
// again as they are written.

#include "toolkit/files/data_file.hpp"

#include <string>

#include "fuzz/support/check.hpp"
#include "toolkit/session/errors.hpp"

using namespace quorra::fuzzing;
using namespace quorra::toolkit;

namespace {

void check_order(const Segments& segments) {
  const Segment* before = nullptr;
  for (const Segment& segment : segments) {
    require(!segment.bytes.empty(), "a segment has bytes");
    require(before == nullptr || before->end() < segment.address, "holes are between segments");
    before = &segment;
  }
}

void check_written(const Segments& segments, FileFormat format) {
  const DataFile again = parse_data_file("again", to_data_file(segments, format));
  require(again.format == format, "a file is recognised as what it is written");
  require(again.segments == segments, "a file is read as it is written");
}

void check(const Bytes& content, std::optional<FileFormat> format) {
  try {
    const DataFile file = parse_data_file("card", content, format);
    require(file.segments.count() <= static_cast<int>(content.size()),
            "a file has no more bytes than it is long");
    check_order(file.segments);
    check_written(file.segments, FileFormat::ihex);
    check_written(file.segments, FileFormat::srec);
    check_written(file.segments, FileFormat::json);
  } catch (const UsageError& error) {
    const std::string complaint = error.what();
    require(complaint.starts_with("card: "), "a complaint names the file");
    require(complaint.find('\n') == std::string::npos, "a complaint is one line");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const Bytes content(data, data + size);
  check(content, std::nullopt);
  check(content, FileFormat::ihex);
  check(content, FileFormat::srec);
  check(content, FileFormat::json);
  return 0;
}
