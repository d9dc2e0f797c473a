// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/files/ihex.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <numeric>

#include "toolkit/files/records.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {
namespace {

// A record is ':', the count of its data bytes, two bytes of address, its type, data, checksum.
constexpr std::size_t bytes_around_data = 5;
constexpr std::size_t bytes_before_data = 4;
constexpr std::size_t data_of_a_record = 16;
constexpr int bank_size = 0x10000;

enum RecordType : unsigned char {
  data_record = 0,
  end_record = 1,
  segment_record = 2,  // the following addresses begin at this number of 16 bytes
  segment_start_record = 3,
  linear_record = 4,  // the following addresses have this upper half
  linear_start_record = 5,
};

// How many data bytes records have that are not data; where a program starts says nothing of a
// card.
constexpr std::size_t data_of_type[] = {0, 0, 2, 4, 2, 4};

unsigned char checksum_of(const Bytes& bytes) {
  return static_cast<unsigned char>(0U - std::accumulate(bytes.begin(), bytes.end(), 0U));
}

class Reader {
 public:
  void read(int number, std::string_view line) {
    if (is_complete_) throw UsageError("there is more behind the end record");
    if (line.front() != ':') {
      throw UsageError(
          fmt::format("a record begins with ':', not {}", shown_character(line.front())));
    }
    Bytes record = bytes_of_digits(line.substr(1));
    if (record.size() < bytes_around_data) {
      throw UsageError(
          fmt::format("the record is cut short: it has {} bytes, and at least {} are "
                      "wanted",
                      record.size(), bytes_around_data));
    }
    if (record.size() != bytes_around_data + record.front()) {
      throw UsageError(fmt::format("the record says it has {} data bytes, but has {}",
                                   record.front(), record.size() - bytes_around_data));
    }
    const unsigned char given = record.back();
    record.pop_back();
    expect_checksum(given, checksum_of(record));
    take(number, record);
  }

  Segments segments() {
    if (!is_complete_) throw UsageError("the end record is missing: the file is cut short");
    return collector_.collect();
  }

 private:
  void take(int number, const Bytes& record) {
    const unsigned type = record[3];
    if (type > linear_start_record)
      throw UsageError(fmt::format("unknown record type {:02X}", type));
    const std::size_t count = record.front();
    if (type != data_record && count != data_of_type[type]) {
      throw UsageError(fmt::format("a record of type {:02X} has {} data bytes, not {}", type,
                                   data_of_type[type], count));
    }
    if (type == data_record) take_data(number, record);
    if (type == end_record) is_complete_ = true;
    if (type == segment_record) base_ = 16LL * big_endian(record, bytes_before_data, 2);
    if (type == linear_record)
      base_ = static_cast<long long>(bank_size) * big_endian(record, bytes_before_data, 2);
    if (type == segment_record || type == linear_record) is_segmented_ = type == segment_record;
  }

  void take_data(int number, const Bytes& record) {
    const unsigned offset = big_endian(record, 1, 2);
    if (is_segmented_ && offset + record.front() > bank_size) {
      throw UsageError("the data run over the end of their segment");
    }
    collector_.add(number, base_ + offset, {record.begin() + bytes_before_data, record.end()});
  }

  SegmentCollector collector_;
  long long base_ = 0;
  bool is_segmented_ = false;
  bool is_complete_ = false;
};

std::string record_of(RecordType type, int address, const Bytes& data) {
  Bytes record(bytes_before_data + data.size());
  record[0] = static_cast<unsigned char>(data.size());
  record[1] = static_cast<unsigned char>(address >> 8);
  record[2] = static_cast<unsigned char>(address);
  record[3] = type;
  std::ranges::copy(data, record.begin() + bytes_before_data);
  record.push_back(checksum_of(record));
  return ':' + digits_of(record) + '\n';
}

}  // namespace

Segments read_ihex(std::string_view text) {
  Reader reader;
  for_each_line(text, [&](int number, std::string_view line) { reader.read(number, line); });
  return reader.segments();
}

std::string to_ihex(const Segments& segments) {
  std::string text;
  int bank = 0;
  for (const Segment& segment : segments) {
    for (std::size_t at = 0; at < segment.bytes.size();) {
      const int address = segment.address + static_cast<int>(at);
      if (address / bank_size != bank) {
        bank = address / bank_size;
        text +=
            record_of(linear_record, 0,
                      {static_cast<unsigned char>(bank >> 8), static_cast<unsigned char>(bank)});
      }
      const auto left_in_bank = static_cast<std::size_t>(bank_size - address % bank_size);
      const std::size_t count =
          std::min({data_of_a_record, left_in_bank, segment.bytes.size() - at});
      const auto first = segment.bytes.begin() + static_cast<std::ptrdiff_t>(at);
      text += record_of(data_record, address % bank_size,
                        {first, first + static_cast<std::ptrdiff_t>(count)});
      at += count;
    }
  }
  return text + record_of(end_record, 0, {});
}

}  // namespace quorra::toolkit
