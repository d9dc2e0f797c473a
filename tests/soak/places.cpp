// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/soak/places.hpp"

#include <quorra.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace quorra::testing {
namespace {

constexpr std::array<unsigned char, 6> blank_code{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr std::array<unsigned char, 6> wrong_code{0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};

template <auto read, auto write>
Place plain(const char* kind, int begin, int size) {
  return {.name = kind,
          .kind = kind,
          .begin = begin,
          .size = size,
          .image_at = begin,
          .read = read,
          .write = write};
}

// The length of a code has a sign for some cards and none for others.
template <typename Length>
int present_to(int (*present)(int, Length, const unsigned char*), int handle, int length,
               const unsigned char* code) {
  return present(handle, static_cast<Length>(length), code);
}

template <auto present>
Place with_code(Place place, int length) {
  place.prepare = [length](int h) { return present_to(present, h, length, blank_code.data()); };
  place.present_wrong_code = [length](int h) {
    return present_to(present, h, length, wrong_code.data());
  };
  return place;
}

// The issuer of a security card, who knows its master code, can write and erase every byte.
template <auto read, auto write, auto erase, auto present>
Place security(const char* kind, int begin, int size) {
  Place place = with_code<present>(plain<read, write>(kind, begin, size), 2);
  place.erase = erase;
  place.bits_only_fall = true;
  return place;
}

template <auto read, auto write, auto erase, auto present>
Place zone(const char* kind, unsigned number, int base, int size) {
  return {.name = kind,
          .kind = kind,
          .begin = 1,
          .size = size,
          .image_at = base + 1,
          .read = [number](int h, int at, int n,
                           unsigned char* b) { return read(h, number, at, n, b); },
          .write = [number](int h, int at, int n,
                            const unsigned char* b) { return write(h, number, at, n, b); },
          .erase = [number](int h, int at, int n) { return erase(h, number, at, n); },
          .prepare = [](int h) { return present(h, blank_code.data()); },
          .present_wrong_code = [](int h) { return present(h, wrong_code.data()); },
          .bits_only_fall = true};
}

int present_102(int handle, const unsigned char* code) { return csc_102(handle, 2, code); }
int present_1604(int handle, const unsigned char* code) { return csc_1604(handle, 0, 2, code); }
int present_1604b(int handle, const unsigned char* code) { return csc_1604b(handle, 0, 2, code); }

Place card_4406() {
  Place place = with_code<csc_4406>(plain<srd_4406, swr_4406>("4406", 3, 5), 3);
  place.bits_only_fall = true;
  return place;
}

// Reading without protection bits sends the low byte of the address twice.
int read_4418(int handle, int address, int count, unsigned char* bytes) {
  Bytes pairs(static_cast<std::size_t>(2 * count));
  const int code = rdwpb_4418(handle, address, count, pairs.data());
  for (std::size_t i = 0; i < pairs.size() / 2; ++i)
    bytes[i] = pairs[2 * i];
  return code;
}

Place card_93c46a() {
  Place place = plain<srd_93c46a, swr_93c46a>("93c46a", 0, 128);
  place.unit = 2;
  place.read = [](int h, int at, int n, unsigned char* b) {
    return srd_93c46a(h, at / 2, n / 2, b);
  };
  place.write = [](int h, int at, int n, const unsigned char* b) {
    return swr_93c46a(h, at / 2, n / 2, b);
  };
  return place;
}

Place card_45d041() {
  constexpr int page = 264;
  constexpr int pages = 16;
  constexpr int first_page = 2048 - pages;
  return {.name = "45d041",
          .kind = "45d041",
          .begin = first_page * page,
          .size = pages * page,
          .image_at = first_page * page,
          .read = [](int h, int at, int n,
                     unsigned char* b) { return srd_45d041(h, at / page, at % page, n, b); },
          .write = [](int h, int at, int n,
                      const unsigned char* b) { return swr_45d041(h, at / page, at % page, n, b); },
          .page = page};
}

using Command = int (*)(int handle, int n, const unsigned char* command, unsigned char* answer);

constexpr int done = 0x9000;

// Lets a card carry a command out. Returns 0 when its status word is 9000, and stores what comes
// before that.
int carry_out(Command function, int handle, const Bytes& command, int count, unsigned char* bytes) {
  std::array<unsigned char, 256> answer{};
  const int code =
      function(handle, static_cast<int>(command.size()), command.data(), answer.data());
  if (code != 0) return code;
  const auto end = static_cast<std::size_t>(count);
  if (answer.at(end) * 256 + answer.at(end + 1) != done) return -1;
  std::copy_n(answer.begin(), end, bytes);
  return 0;
}

template <Command function>
Place file_of_card(const char* name, int size) {
  Place place;
  place.name = name;
  place.size = size;
  place.read = [](int h, int at, int n, unsigned char* b) {
    const auto offset = static_cast<unsigned char>(at);
    return carry_out(function, h, {0x00, 0xB0, 0x00, offset, static_cast<unsigned char>(n)}, n, b);
  };
  place.write = [](int h, int at, int n, const unsigned char* b) {
    Bytes command = {0x00, 0xD6, 0x00, static_cast<unsigned char>(at),
                     static_cast<unsigned char>(n)};
    command.insert(command.end(), b, b + n);
    return carry_out(function, h, command, 0, nullptr);
  };
  return place;
}

int select_file(Command function, int handle, unsigned char file) {
  return carry_out(function, handle, {0x00, 0xA4, 0x00, 0x0C, 0x02, 0x00, file}, 0, nullptr);
}

Place processor_card() {
  Place place = file_of_card<cpu_comres>("cpu", 256);
  place.kind = "cpu";
  place.prepare = [](int h) {
    std::array<unsigned char, 65536> answer_to_reset{};
    const int code = cpu_reset(h, answer_to_reset.data());
    return code != 0 ? code : select_file(cpu_comres, h, 0x01);
  };
  return place;
}

Place sam() {
  Place place = file_of_card<sam_comres>("sam", 128);
  place.prepare = [](int h) {
    std::array<unsigned char, 256> answer_to_reset{};
    int length = 0;
    int code = sam_power_on(h);
    if (code == 0) code = sam_select(h, 0);
    if (code == 0) code = sam_reset(h, &length, answer_to_reset.data());
    if (code == 0) code = select_file(sam_comres, h, 0x02);
    const Bytes verify = {0x00, 0x20, 0x00, 0x01, 0x04, '1', '2', '3', '4'};
    return code != 0 ? code : carry_out(sam_comres, h, verify, 0, nullptr);
  };
  return place;
}

Place reader_memory() {
  return {.name = "reader", .size = 384, .read = srd_eeprom, .write = swr_eeprom};
}

Place reader_code() {
  return {.name = "reader code",
          .size = 3,
          .read = [](int h, int, int n, unsigned char* b) { return srd_dvsc(h, n, b); },
          .write = [](int h, int, int n, const unsigned char* b) { return swr_dvsc(h, n, b); },
          .unit = 3};
}

Place value_register() {
  return {.name = "value",
          .size = 4,
          .read =
              [](int h, int, int, unsigned char* b) {
                unsigned value = 0;
                const int code = val_read(h, &value);
                for (unsigned i = 0; i < 4; ++i)
                  b[i] = static_cast<unsigned char>(value >> (8 * i));
                return code;
              },
          .write =
              [](int h, int, int, const unsigned char* b) {
                unsigned value = 0;
                for (unsigned i = 0; i < 4; ++i)
                  value |= unsigned{b[i]} << (8 * i);
                return val_set(h, value);
              },
          .unit = 4};
}

}  // namespace

const std::vector<Place>& places() {
  static const std::vector<Place> all = [] {
    Place card_4418 = plain<srd_4418, swr_4418>("4418", 32, 992);
    card_4418.read = read_4418;
    return std::vector<Place>{
        reader_memory(),
        reader_code(),
        value_register(),
        sam(),
        processor_card(),
        with_code<csc_4442>(plain<srd_4442, swr_4442>("4442", 32, 224), 3),
        plain<srd_4432, swr_4432>("4432", 32, 224),
        with_code<csc_4428>(plain<srd_4428, swr_4428>("4428", 32, 989), 2),
        card_4418,
        card_45d041(),
        plain<srd_24c01a, swr_24c01a>("24c01a", 0, 128),
        plain<srd_24c02, swr_24c02>("24c02", 0, 256),
        plain<srd_24c04, swr_24c04>("24c04", 0, 512),
        plain<srd_24c08, swr_24c08>("24c08", 0, 1024),
        plain<srd_24c16, swr_24c16>("24c16", 0, 2048),
        plain<srd_24c32, swr_24c32>("24c32", 0, 4096),
        plain<srd_24c64, swr_24c64>("24c64", 0, 8192),
        card_93c46a(),
        plain<srd_93c46, swr_93c46>("93c46", 0, 128),
        plain<srd_93c57, swr_93c57>("93c57", 0, 256),
        plain<srd_93c66, swr_93c66>("93c66", 0, 512),
        security<srd_4404, swr_4404, ser_4404, csc_4404>("4404", 11, 3),
        card_4406(),
        security<srd_101, swr_101, ser_101, csc_101>("101", 23, 127),
        zone<srd_102, swr_102, ser_102, present_102>("102", 1, 22, 63),
        zone<srd_1604, swr_1604, ser_1604, present_1604>("1604", 1, 27, 1000),
        zone<srd_1604b, swr_1604b, ser_1604b, present_1604b>("1604b", 2, 545, 511),
    };
  }();
  return all;
}

}  // namespace quorra::testing
