// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The cards without zones: memory that is read, written and perhaps protected.

#include <quorra.h>

#include <array>
#include <cstddef>
#include <vector>

#include "toolkit/kinds/card.hpp"
#include "toolkit/kinds/card_tables.hpp"

namespace quorra::toolkit {
namespace {

// The most significant bit belongs to the lowest address; 1 means writable.
template <auto read_bits>
int read_protection_bits(int handle, int address, int count, unsigned char* flags) {
  std::array<unsigned char, 4> bits{};
  if (const int result = read_bits(handle, static_cast<int>(bits.size()), bits.data());
      result < 0) {
    return result;
  }
  for (int at = address; at < address + count; ++at) {
    const int bit = bits.at(static_cast<std::size_t>(at / 8)) >> (7 - at % 8) & 1;
    *flags++ = bit == 0 ? 1 : 0;
  }
  return 0;
}

// The reader delivers two bytes for each byte of the card: the byte itself, and 0 if it is
// protected.
template <auto read_pairs>
int read_pairs_of_bytes(int handle, int address, int count, std::vector<unsigned char>& pairs) {
  pairs.resize(2 * static_cast<std::size_t>(count));
  return read_pairs(handle, address, count, pairs.data());
}

template <auto read_pairs>
int read_data_of_pairs(int handle, int address, int count, unsigned char* buffer) {
  std::vector<unsigned char> pairs;
  const int result = read_pairs_of_bytes<read_pairs>(handle, address, count, pairs);
  if (result < 0) return result;
  for (std::size_t at = 0; at < pairs.size(); at += 2) {
    *buffer++ = pairs[at];
  }
  return 0;
}

template <auto read_pairs>
int read_protection_of_pairs(int handle, int address, int count, unsigned char* flags) {
  std::vector<unsigned char> pairs;
  const int result = read_pairs_of_bytes<read_pairs>(handle, address, count, pairs);
  if (result < 0) return result;
  for (std::size_t at = 0; at < pairs.size(); at += 2) {
    *flags++ = pairs[at + 1] == 0 ? 1 : 0;
  }
  return 0;
}

constexpr int word_size = 2;

template <auto transfer_words, typename Byte>
int transfer_in_words(int handle, int address, int count, Byte* buffer) {
  return transfer_words(handle, address / word_size, count / word_size, buffer);
}

constexpr int page_size = 264;

template <auto transfer_in_page, typename Byte>
int transfer_in_pages(int handle, int address, int count, Byte* buffer) {
  return transfer_in_page(handle, address / page_size, address % page_size, count, buffer);
}

// Each call begins with a check of the card, which costs as much as a frame or two. A piece is
// large enough to hide that, and at 9600 bits per second through in three seconds.
constexpr int pages_of_a_piece = 8;

// A card without code, protection or other special functions.
constexpr Card plain_card(std::string_view name, int size, ReadFunction read, WriteFunction write,
                          int (*probe)(int handle)) {
  return {.name = name, .memory = {.size = size, .read = read, .write = write}, .probe = probe};
}

constexpr Code codes_4442[] = {
    readable_code_of_library<3, csc_4442, wsc_4442, rsc_4442>(
        {.most = 3, .read = read_number<rsct_4442>}),
};

constexpr Code codes_4428[] = {
    readable_code_of_library<2, csc_4428, wsc_4428, rsc_4428>(
        {.most = 8, .read = read_number<rsct_4428>}),
};

constexpr Area areas_4442[] = {{0, AreaRole::protectable}, {32, AreaRole::data}};
constexpr Area areas_4428[] = {
    {0, AreaRole::data}, {1021, AreaRole::attempts}, {1022, AreaRole::code}};

constexpr Card cards[] = {
    {
        .name = "4442",
        .memory = {.size = 256, .read = srd_4442, .write = swr_4442, .areas = areas_4442},
        .probe = chk_4442,
        .twin = "4432",
        .protection = Protection{.bytes = 32,
                                 .read = read_protection_bits<prd_4442>,
                                 .write = pwr_4442,
                                 .kind = OperationKind::protecting},
        .codes = codes_4442,
    },
    {
        .name = "4432",
        .memory = {.size = 256, .read = srd_4432, .write = swr_4432, .areas = areas_4442},
        .probe = chk_4432,
        .twin = "4442",
        .protection = Protection{.bytes = 32,
                                 .read = read_protection_bits<prd_4432>,
                                 .write = pwr_4432,
                                 .kind = OperationKind::protecting},
    },
    {
        .name = "4428",
        .memory = {.size = 1024,
                   .writable = 1021,
                   .read = srd_4428,
                   .write = swr_4428,
                   .areas = areas_4428},
        .probe = chk_4428,
        .twin = "4418",
        .protection =
            Protection{
                .bytes = 1021, .read = read_protection_of_pairs<rdwpb_4428>, .write = pwr_4428},
        .codes = codes_4428,
    },
    {
        .name = "4418",
        .memory = {.size = 1024,
                   // srd_4418 sends the low byte of every address twice.
                   .read = read_data_of_pairs<rdwpb_4418>,
                   .write = swr_4418},
        // chk_4418 finds its card in every slot, chk_4428 where one of the two is.
        .probe = chk_4428,
        .twin = "4428",
        .protection =
            Protection{
                .bytes = 1024, .read = read_protection_of_pairs<rdwpb_4418>, .write = pwr_4418},
    },
    plain_card("24c01a", 128, srd_24c01a, swr_24c01a, chk_24c01a),
    plain_card("24c02", 256, srd_24c02, swr_24c02, chk_24c02),
    plain_card("24c04", 512, srd_24c04, swr_24c04, chk_24c04),
    plain_card("24c08", 1024, srd_24c08, swr_24c08, chk_24c08),
    plain_card("24c16", 2048, srd_24c16, swr_24c16, chk_24c16),
    plain_card("24c32", 4096, srd_24c32, swr_24c32, chk_24c32),
    plain_card("24c64", 8192, srd_24c64, swr_24c64, chk_24c64),
    {
        .name = "93c46a",
        .memory = {.size = 128,
                   .unit = word_size,
                   .read = transfer_in_words<srd_93c46a, unsigned char>,
                   .write = transfer_in_words<swr_93c46a, const unsigned char>},
        .erase_all = eral_93c46a,
        .probe = chk_93c46a,
    },
    {
        .name = "93c46",
        .memory = {.size = 128, .read = srd_93c46, .write = swr_93c46},
        .erase_all = eral_93c46,
        .probe = chk_93c46,
    },
    {
        .name = "93c57",
        .memory = {.size = 256, .read = srd_93c57, .write = swr_93c57},
        .erase_all = eral_93c57,
        .probe = chk_93c57,
    },
    {
        .name = "93c66",
        .memory = {.size = 512, .read = srd_93c66, .write = swr_93c66},
        .erase_all = eral_93c66,
        .probe = chk_93c66,
    },
    {
        .name = "45d041",
        .memory = {.size = 2048 * page_size,
                   .page = page_size,
                   .piece = pages_of_a_piece * page_size,
                   .read = transfer_in_pages<srd_45d041, unsigned char>,
                   .write = transfer_in_pages<swr_45d041, const unsigned char>,
                   .reading = OperationKind::guarded_reading,
                   .writing = OperationKind::guarded_writing},
        .probe = chk_45d041,
    },
};

}  // namespace

std::span<const Card> memory_cards() { return cards; }

}  // namespace quorra::toolkit
