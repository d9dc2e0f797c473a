// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The 102 card: 178 bytes in three zones, a two-byte security code, an erase code for each of the
// zones 1 and 2, an erase counter of 128 bits in zone 2.

#include <quorra.h>

#include "cards/secure/security.hpp"

namespace quorra {
namespace {

constexpr CardType card = CardType::card_102;
constexpr int capacity = 178;

struct Zone {
  int base;  // the card address of its first byte
  int size;
  int erase_code_size;  // 0: the zone has none
};

constexpr Zone zones[] = {{0, 22, 0}, {22, 70, 6}, {92, 86, 4}};
constexpr int zone_count = 3;

// The same address in the zones 1 and 2.
constexpr int flags_address = 0;
constexpr int erase_code_address = 64;

constexpr unsigned char identification[] = {0x0F, 0x0F};
constexpr int code_address = 10;
constexpr int code_size = 2;
constexpr int error_counter_address = 12;

constexpr unsigned erase_counter_zone = 2;
constexpr int erase_counter_address = 68;
constexpr int erase_counter_size = 16;

constexpr int fuse_address = 0xC2;

constexpr Memory in_zone(Command command, unsigned zone, int limit) {
  Memory memory{command, card, zones[zone].size, limit};
  memory.place = static_cast<int>(zone);
  memory.base = zones[zone].base;
  return memory;
}

// Reading and erasing run on through the following zones to the end of the card.
constexpr Memory to_the_end(Command command, unsigned zone) {
  return in_zone(command, zone, capacity - zones[zone].base);
}
constexpr Memory reading(unsigned zone) { return to_the_end(Command::read, zone); }
constexpr Memory erasing(unsigned zone) { return to_the_end(Command::erase, zone); }
constexpr Memory writing(unsigned zone, Command command = Command::write) {
  return in_zone(command, zone, zones[zone].size);
}

int write_zone(int handle, Command command, unsigned zone, int address, int count,
               const unsigned char* buffer) {
  if (count < 1 || zone >= zone_count) return bad_length;
  return write_memory(handle, writing(zone, command), address, count, buffer);
}

// Zones 1 and 2 have a flag byte and an erase code.
bool is_application_zone(unsigned zone) { return zone == 1 || zone == 2; }

int check_erase_code(unsigned zone, int length) {
  if (length < 1) return bad_length;
  if (!is_application_zone(zone)) return bad_address;
  return length == zones[zone].erase_code_size ? ok : bad_length;
}

int clear_flag(int handle, int zone, unsigned char flag) {
  const auto number = static_cast<unsigned>(zone);
  if (!is_application_zone(number)) return bad_address;
  return clear_bit(handle, reading(number), writing(number), flags_address, flag);
}

}  // namespace
}  // namespace quorra

using namespace quorra;

// A zone that does not exist is a bad address here, and a bad length when writing or erasing.
int srd_102(int handle, unsigned zone, int address, int count, unsigned char* buffer) {
  if (count < 1) return bad_length;
  if (zone >= zone_count) return bad_address;
  return read_memory(handle, reading(zone), address, count, buffer);
}

int swr_102(int handle, unsigned zone, int address, int count, const unsigned char* buffer) {
  return write_zone(handle, Command::write, zone, address, count, buffer);
}

int swrSC_102(int handle, unsigned zone, int address, int count, const unsigned char* buffer) {
  return write_zone(handle, Command::write_security, zone, address, count, buffer);
}

int ser_102(int handle, unsigned zone, int address, int count) {
  if (count < 1 || zone >= zone_count) return bad_length;
  return erase_memory(handle, erasing(zone), address, count);
}

int csc_102(int handle, unsigned length, const unsigned char* code) {
  if (length != code_size) return bad_length;
  return present_code(handle, Command::present_code, {card, 0, code_address}, code, code_size);
}

int wsc_102(int handle, int length, const unsigned char* code) {
  if (length != code_size) return bad_length;
  return replace_code(handle, erasing(0), writing(0, Command::write_security), code_address,
                      code_size, code);
}

int rsc_102(int handle, int length, unsigned char* code) {
  if (length != code_size) return bad_length;
  return srd_102(handle, 0, code_address, code_size, code);
}

int rsct_102(int handle, unsigned* counter) {
  return read_counter(handle, reading(0), error_counter_address, 1, upper_half, counter);
}

int cesc_102(int handle, int zone, int length, const unsigned char* code) {
  const auto number = static_cast<unsigned>(zone);
  if (const int result = check_erase_code(number, length); result != ok) return result;
  const Target target{card, zone, zones[number].base + erase_code_address};
  return present_code(handle, Command::present_erase_code, target, code, length);
}

int wesc_102(int handle, unsigned zone, int length, const unsigned char* code) {
  if (const int result = check_erase_code(zone, length); result != ok) return result;
  return replace_code(handle, erasing(zone), writing(zone, Command::write_security),
                      erase_code_address, length, code);
}

int resc_102(int handle, int zone, int length, unsigned char* code) {
  const auto number = static_cast<unsigned>(zone);
  if (const int result = check_erase_code(number, length); result != ok) return result;
  return srd_102(handle, number, erase_code_address, length, code);
}

int resct_102(int handle, int zone, unsigned* counter) {
  if (zone != erase_counter_zone) return bad_address;
  return read_counter(handle, reading(erase_counter_zone), erase_counter_address,
                      erase_counter_size, every_bit, counter);
}

int clrpr_102(int handle, int zone) { return clear_flag(handle, zone, protection_flag); }

int clrrd_102(int handle, int zone) { return clear_flag(handle, zone, read_flag); }

int fakefus_102(int handle, unsigned mode) { return set_fake_fuse(handle, {card}, mode != 0); }

int psnl_102(int handle) {
  return send_command(handle, Command::personalise, {card, 0, fuse_address});
}

int chk_102(int handle) { return check_identification(handle, reading(0), identification); }
