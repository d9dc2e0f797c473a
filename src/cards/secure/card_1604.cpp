// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 1604 and 1604b cards: about two kilobytes in five zones. Zones 1 to 4 are guarded by a
// two-byte code and a two-byte erase code each; code 0 is the master code. The two cards differ in
// constants only.

#include <quorra.h>

#include <climits>

#include "cards/secure/security.hpp"

namespace quorra {
namespace {

struct Zone {
  int base;       // the card address of its first byte
  int size;       // what reading, erasing and the security write reach
  int plain_end;  // what the plain write reaches
};

constexpr int none = INT_MIN;

// The places of a code and of what belongs to it: addresses within the zone.
struct Guard {
  unsigned zone;
  int code;
  int error_counter;
  int erase_code;
  int erase_counter;
};

constexpr unsigned zone_count = 5;
constexpr unsigned code_count = 5;
constexpr int code_size = 2;
constexpr int flags_address = 0;

struct Card {
  unsigned char variant;  // stands behind the card type in every frame
  Zone zones[zone_count];
  int capacity;
  Guard guards[code_count];
  int first_erase_code;  // the lowest code number that may be presented as an erase code
  int fuse_address;
  unsigned char identification[2];
};

constexpr Card card_1604{
    0x00,
    {{0, 27, 21}, {27, 1200, 1195}, {1227, 261, 256}, {1488, 261, 256}, {1749, 258, 258}},
    2007,
    {{0, 10, 12, 0, none},
     {0, 21, 23, 24, 26},
     {1, 1195, none, 1197, 1199},
     {2, 256, none, 258, 260},
     {3, 256, none, 258, 260}},
    0,  // code 0 has no erase code, but it may be presented; its address is sent as 0
    0x07F4,
    {0x31, 0x3A}};

constexpr Card card_1604b{
    0x0B,
    {{0, 27, 21}, {27, 518, 512}, {545, 518, 512}, {1063, 518, 512}, {1581, 461, 457}},
    2042,
    {{0, 10, 12, none, none},
     {0, 21, 23, 24, 26},
     {1, 512, 514, 515, 517},
     {2, 512, 514, 515, 517},
     {3, 512, 514, 515, 517}},
    1,
    0x07FC,
    {0x72, 0x55}};

int place(const Card& card, int zone) { return card.variant * 256 + zone; }

Target at(const Card& card, int zone, int address) {
  return {CardType::card_1604, place(card, zone), address};
}

Memory in_zone(const Card& card, Command command, unsigned zone, int address_end, int limit,
               Receive receive) {
  Memory memory{command, CardType::card_1604, address_end, limit};
  memory.place = place(card, static_cast<int>(zone));
  memory.base = card.zones[zone].base;
  memory.receive = receive;
  return memory;
}

// Reading runs on through the following zones to the end of the card; the others stay in the zone.
Memory reading(const Card& card, unsigned zone) {
  const Zone& z = card.zones[zone];
  return in_zone(card, Command::read, zone, z.size, card.capacity - z.base, receive_com);
}

// The plain write and the erase program the card for long.
Memory writing(const Card& card, unsigned zone) {
  const int end = card.zones[zone].plain_end;
  return in_zone(card, Command::write, zone, end, end, receive_com0);
}

Memory erasing(const Card& card, unsigned zone) {
  const int end = card.zones[zone].size;
  return in_zone(card, Command::erase, zone, end, end, receive_com0);
}

Memory writing_security(const Card& card, unsigned zone) {
  const int end = card.zones[zone].size;
  return in_zone(card, Command::write_security, zone, end, end, receive_com);
}

bool has_code(unsigned number) { return number < code_count; }
bool has_erase_code(int number) { return number >= 1 && has_code(static_cast<unsigned>(number)); }

const Guard& guard(const Card& card, int number) {
  return card.guards[static_cast<std::size_t>(number)];
}

int read(const Card& card, int handle, unsigned zone, int address, int count,
         unsigned char* buffer) {
  if (count < 1 || zone >= zone_count) return bad_length;
  return read_memory(handle, reading(card, zone), address, count, buffer);
}

int write(const Card& card, int handle, unsigned zone, int address, int count,
          const unsigned char* buffer) {
  if (count < 1 || zone >= zone_count) return bad_length;
  return write_memory(handle, writing(card, zone), address, count, buffer);
}

int write_security(const Card& card, int handle, unsigned zone, int address, int count,
                   const unsigned char* buffer) {
  if (count < 1 || zone >= zone_count) return bad_length;
  return write_memory(handle, writing_security(card, zone), address, count, buffer);
}

int erase(const Card& card, int handle, unsigned zone, int address, int count) {
  if (count < 1 || zone >= zone_count) return bad_length;
  return erase_memory(handle, erasing(card, zone), address, count);
}

// The zone byte is the number of the code, not the zone in which the code lies.
int present_security_code(const Card& card, int handle, int number, unsigned length,
                          const unsigned char* code) {
  if (length != code_size) return bad_length;
  if (number < 0 || !has_code(static_cast<unsigned>(number))) return bad_address;
  const Guard& held = guard(card, number);
  const Target target = at(card, number, card.zones[held.zone].base + held.code);
  return present_code(handle, Command::present_code, target, code, code_size);
}

// The zone byte is the zone in which the erase code lies.
int present_erase_code(const Card& card, int handle, int number, unsigned length,
                       const unsigned char* code) {
  if (length != code_size) return bad_length;
  if (number < card.first_erase_code || number >= static_cast<int>(code_count)) return bad_address;
  const Guard& held = guard(card, number);
  const Target target =
      at(card, static_cast<int>(held.zone), card.zones[held.zone].base + held.erase_code);
  return present_code(handle, Command::present_erase_code, target, code, code_size);
}

int read_code(const Card& card, int handle, unsigned number, int length, unsigned char* code) {
  if (length != code_size) return bad_length;
  if (!has_code(number)) return bad_address;
  const Guard& held = card.guards[number];
  return read(card, handle, held.zone, held.code, code_size, code);
}

int write_code(const Card& card, int handle, unsigned number, int length,
               const unsigned char* code) {
  if (length != code_size) return bad_length;
  if (!has_code(number)) return bad_address;
  const Guard& held = card.guards[number];
  return replace_code(handle, erasing(card, held.zone), writing_security(card, held.zone),
                      held.code, code_size, code);
}

int read_erase_code(const Card& card, int handle, int number, int length, unsigned char* code) {
  if (length != code_size) return bad_length;
  if (!has_erase_code(number)) return bad_address;
  const Guard& held = guard(card, number);
  return read(card, handle, held.zone, held.erase_code, code_size, code);
}

int write_erase_code(const Card& card, int handle, int number, int length,
                     const unsigned char* code) {
  if (length != code_size) return bad_length;
  if (!has_erase_code(number)) return bad_address;
  const Guard& held = guard(card, number);
  return replace_code(handle, erasing(card, held.zone), writing_security(card, held.zone),
                      held.erase_code, code_size, code);
}

int read_error_counter(const Card& card, int handle, unsigned number, unsigned* counter) {
  if (!has_code(number) || card.guards[number].error_counter == none) return bad_address;
  const Guard& held = card.guards[number];
  return read_counter_or_zero(handle, reading(card, held.zone), held.error_counter, counter);
}

int read_erase_counter(const Card& card, int handle, int number, unsigned* counter) {
  if (!has_erase_code(number)) return bad_address;
  const Guard& held = guard(card, number);
  return read_counter(handle, reading(card, held.zone), held.erase_counter, 1, every_bit, counter);
}

int clear_flag(const Card& card, int handle, int zone, unsigned char flag) {
  if (zone < 1 || zone >= static_cast<int>(zone_count)) return bad_address;
  const auto number = static_cast<unsigned>(zone);
  return clear_bit(handle, reading(card, number), writing(card, number), flags_address, flag);
}

int fake_fuse(const Card& card, int handle, unsigned mode) {
  return set_fake_fuse(handle, at(card, 0, 0), mode != 0);
}

int personalise(const Card& card, int handle) {
  return send_command(handle, Command::personalise, at(card, 0, card.fuse_address));
}

int check(const Card& card, int handle) {
  return check_identification(handle, reading(card, 0), card.identification);
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int srd_1604(int handle, unsigned zone, int address, int count, unsigned char* buffer) {
  return read(card_1604, handle, zone, address, count, buffer);
}

int swr_1604(int handle, unsigned zone, int address, int count, const unsigned char* buffer) {
  return write(card_1604, handle, zone, address, count, buffer);
}

int swrSC_1604(int handle, unsigned zone, int address, int count, const unsigned char* buffer) {
  return write_security(card_1604, handle, zone, address, count, buffer);
}

int ser_1604(int handle, unsigned zone, int address, int count) {
  return erase(card_1604, handle, zone, address, count);
}

int csc_1604(int handle, int number, unsigned length, const unsigned char* code) {
  return present_security_code(card_1604, handle, number, length, code);
}

int wsc_1604(int handle, unsigned number, int length, const unsigned char* code) {
  return write_code(card_1604, handle, number, length, code);
}

int rsc_1604(int handle, unsigned number, int length, unsigned char* code) {
  return read_code(card_1604, handle, number, length, code);
}

int rsct_1604(int handle, unsigned number, unsigned* counter) {
  return read_error_counter(card_1604, handle, number, counter);
}

int cesc_1604(int handle, int number, unsigned length, const unsigned char* code) {
  return present_erase_code(card_1604, handle, number, length, code);
}

int wesc_1604(int handle, int number, int length, const unsigned char* code) {
  return write_erase_code(card_1604, handle, number, length, code);
}

int resc_1604(int handle, int number, int length, unsigned char* code) {
  return read_erase_code(card_1604, handle, number, length, code);
}

int resct_1604(int handle, int number, unsigned* counter) {
  return read_erase_counter(card_1604, handle, number, counter);
}

int clrpr_1604(int handle, int zone) {
  return clear_flag(card_1604, handle, zone, protection_flag);
}

int clrrd_1604(int handle, int zone) { return clear_flag(card_1604, handle, zone, read_flag); }

int fakefus_1604(int handle, unsigned mode) { return fake_fuse(card_1604, handle, mode); }

int psnl_1604(int handle) { return personalise(card_1604, handle); }

int chk_1604(int handle) { return check(card_1604, handle); }

int srd_1604b(int handle, unsigned zone, int address, int count, unsigned char* buffer) {
  return read(card_1604b, handle, zone, address, count, buffer);
}

int swr_1604b(int handle, unsigned zone, int address, int count, const unsigned char* buffer) {
  return write(card_1604b, handle, zone, address, count, buffer);
}

int swrSC_1604b(int handle, unsigned zone, int address, int count, const unsigned char* buffer) {
  return write_security(card_1604b, handle, zone, address, count, buffer);
}

int ser_1604b(int handle, unsigned zone, int address, int count) {
  return erase(card_1604b, handle, zone, address, count);
}

int csc_1604b(int handle, int number, unsigned length, const unsigned char* code) {
  return present_security_code(card_1604b, handle, number, length, code);
}

int wsc_1604b(int handle, unsigned number, int length, const unsigned char* code) {
  return write_code(card_1604b, handle, number, length, code);
}

int rsc_1604b(int handle, unsigned number, int length, unsigned char* code) {
  return read_code(card_1604b, handle, number, length, code);
}

int rsct_1604b(int handle, unsigned number, unsigned* counter) {
  return read_error_counter(card_1604b, handle, number, counter);
}

int cesc_1604b(int handle, int number, unsigned length, const unsigned char* code) {
  return present_erase_code(card_1604b, handle, number, length, code);
}

int wesc_1604b(int handle, int number, int length, const unsigned char* code) {
  return write_erase_code(card_1604b, handle, number, length, code);
}

int resc_1604b(int handle, int number, int length, unsigned char* code) {
  return read_erase_code(card_1604b, handle, number, length, code);
}

int resct_1604b(int handle, int number, unsigned* counter) {
  return read_erase_counter(card_1604b, handle, number, counter);
}

int clrpr_1604b(int handle, int zone) {
  return clear_flag(card_1604b, handle, zone, protection_flag);
}

int clrrd_1604b(int handle, int zone) { return clear_flag(card_1604b, handle, zone, read_flag); }

int fakefus_1604b(int handle, unsigned mode) { return fake_fuse(card_1604b, handle, mode); }

int psnl_1604b(int handle) { return personalise(card_1604b, handle); }

int chk_1604b(int handle) { return check(card_1604b, handle); }
