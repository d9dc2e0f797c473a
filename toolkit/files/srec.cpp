// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/files/srec.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <numeric>

#include "toolkit/files/records.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {
namespace {

// A record is 'S', its type, the count of all that follows, an address, data, checksum.
constexpr std::size_t data_of_a_record = 16;

enum class Use { header, data, reserved, count, end };

struct RecordType {
  Use use;
  std::size_t address_size;
};

// By the digit behind 'S'. The address of a counting record is the number of data records, and that
// of an end record is where a program starts, which says nothing of a card.
constexpr std::array<RecordType, 10> types{{{Use::header, 2},
                                            {Use::data, 2},
                                            {Use::data, 3},
                                            {Use::data, 4},
                                            {Use::reserved, 0},
                                            {Use::count, 2},
                                            {Use::count, 3},
                                            {Use::end, 4},
                                            {Use::end, 3},
                                            {Use::end, 2}}};

unsigned char checksum_of(const Bytes& bytes) {
  return static_cast<unsigned char>(~std::accumulate(bytes.begin(), bytes.end(), 0U));
}

class Reader {
 public:
  void read(int number, std::string_view line) {
    if (is_complete_) throw UsageError("there is more behind the end record");
    if (line.front() != 'S') {
      throw UsageError(
          fmt::format("a record begins with 'S', not {}", shown_character(line.front())));
    }
    if (line.size() < 2 || line[1] < '0' || line[1] > '9') {
      throw UsageError("behind 'S' stands the type of the record, a digit");
    }
    const auto type = static_cast<std::size_t>(line[1] - '0');
    Bytes record = bytes_of_digits(line.substr(2));
    const std::size_t least = types[type].address_size + 1;
    if (record.size() < least + 1) {
      throw UsageError(
          fmt::format("the record is cut short: it has {} bytes, and at least {} are "
                      "wanted",
                      record.size(), least + 1));
    }
    if (record.size() != record.front() + std::size_t{1}) {
      throw UsageError(fmt::format("the record says {} bytes follow, but {} do", record.front(),
                                   record.size() - 1));
    }
    const unsigned char given = record.back();
    record.pop_back();
    expect_checksum(given, checksum_of(record));
    take(number, type, record);
  }

  Segments segments() {
    if (!is_complete_) throw UsageError("the end record is missing: the file is cut short");
    return collector_.collect();
  }

 private:
  void take(int number, std::size_t type, const Bytes& record) {
    const std::size_t size = types[type].address_size;
    const unsigned address = big_endian(record, 1, size);
    switch (types[type].use) {
      case Use::header:
        break;
      case Use::data:
        ++data_records_;
        collector_.add(number, address,
                       {record.begin() + 1 + static_cast<std::ptrdiff_t>(size), record.end()});
        break;
      case Use::reserved:
        throw UsageError(fmt::format("records of type S{} have no meaning", type));
      case Use::count:
        if (address != data_records_) {
          throw UsageError(
              fmt::format("the file says it has {} data records before this one, but "
                          "has {}",
                          address, data_records_));
        }
        break;
      case Use::end:
        is_complete_ = true;
        break;
    }
  }

  SegmentCollector collector_;
  unsigned data_records_ = 0;
  bool is_complete_ = false;
};

std::size_t type_of(Use use, std::size_t address_size) {
  const auto* const found = std::ranges::find_if(types, [&](const RecordType& type) {
    return type.use == use && type.address_size == address_size;
  });
  return static_cast<std::size_t>(found - types.begin());
}

std::string record_of(Use use, std::size_t address_size, int address, const Bytes& data = {}) {
  Bytes record{static_cast<unsigned char>(address_size + data.size() + 1)};
  for (std::size_t byte = address_size; byte-- > 0;) {
    record.push_back(static_cast<unsigned char>(address >> 8 * byte));
  }
  record.insert(record.end(), data.begin(), data.end());
  record.push_back(checksum_of(record));
  return fmt::format("S{}{}\n", type_of(use, address_size), digits_of(record));
}

// The bytes that a number needs, at least two.
std::size_t size_of(int number) {
  if (number <= 0xFFFF) return 2;
  return number <= 0xFFFFFF ? 3 : 4;
}

}  // namespace

Segments read_srec(std::string_view text) {
  Reader reader;
  for_each_line(text, [&](int number, std::string_view line) { reader.read(number, line); });
  return reader.segments();
}

std::string to_srec(const Segments& segments) {
  const std::size_t address_size = size_of(std::max(0, segments.span().end() - 1));
  std::string text = record_of(Use::header, 2, 0);
  int data_records = 0;
  for (const Segment& segment : segments) {
    for (std::size_t at = 0; at < segment.bytes.size(); at += data_of_a_record) {
      const auto first = segment.bytes.begin() + static_cast<std::ptrdiff_t>(at);
      const auto count = std::min(data_of_a_record, segment.bytes.size() - at);
      text += record_of(Use::data, address_size, segment.address + static_cast<int>(at),
                        {first, first + static_cast<std::ptrdiff_t>(count)});
      ++data_records;
    }
  }
  constexpr int most_to_be_counted = 0xFFFFFF;
  if (data_records <= most_to_be_counted) {
    text += record_of(Use::count, size_of(data_records), data_records);
  }
  return text + record_of(Use::end, address_size, 0);
}

}  // namespace quorra::toolkit
