// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "fuzz/support/functions.hpp"

#include <quorra.h>
#include <termios.h>

#include <algorithm>
#include <bitset>
#include <cstdio>
#include <cstring>

#include "fuzz/support/call.hpp"
#include "fuzz/support/check.hpp"
#include "fuzz/support/other_calls.hpp"

namespace quorra::fuzzing {
namespace {

bool is_one_of(std::int64_t number, int first, int last) {
  return number >= first && number <= last;
}

Verdict judge_nothing(const Rule& rule, const Numbers& /*numbers*/) { return {.room = rule.room}; }

Verdict judge_range(const Rule& rule, const Zone& zone, std::int64_t address, std::int64_t count) {
  Verdict verdict;
  verdict.address_is_bad = address < 0 || address >= zone.addresses;
  verdict.length_is_bad = count < 1;
  if (!verdict.refused() && count > zone.reach - address) {
    (rule.past_end_is_bad_address ? verdict.address_is_bad : verdict.length_is_bad) = true;
  }
  // Whoever is refused for one reason may be so for the other.
  if (count > zone.reach - address) verdict.length_is_bad |= verdict.address_is_bad;
  verdict.room = static_cast<std::size_t>(std::max<std::int64_t>(0, count)) *
                 static_cast<std::size_t>(rule.unit);
  return verdict;
}

Verdict judge_memory(const Rule& rule, const Numbers& numbers) {
  return judge_range(rule, rule.memory, numbers[0], numbers[1]);
}

// Reader memory: an address below 0 is not refused.
Verdict judge_reader_memory(const Rule& /*rule*/, const Numbers& numbers) {
  constexpr std::int64_t size = 384;
  return {.address_is_bad = numbers[0] >= size,
          .length_is_bad = numbers[1] < 1 || numbers[1] > size - numbers[0],
          .room = static_cast<std::size_t>(std::max<std::int64_t>(0, numbers[1]))};
}

// A page below 0 is not refused.
Verdict judge_pages(const Rule& /*rule*/, const Numbers& numbers) {
  constexpr std::int64_t pages = 2048;
  constexpr std::int64_t page_size = 264;
  const auto [page, offset, count] = numbers;
  return {.address_is_bad = page >= pages || offset < 0 || offset >= page_size,
          .length_is_bad = count < 1 || count > (pages - page) * page_size - offset,
          .room = static_cast<std::size_t>(std::max<std::int64_t>(0, count))};
}

// An erase begins at 0 to 13 or at 40 to 51, and may run on.
Verdict judge_4404_erase(const Rule& rule, const Numbers& numbers) {
  Verdict verdict = judge_range(rule, {52, 52}, numbers[0], numbers[1]);
  verdict.address_is_bad |= is_one_of(numbers[0], 14, 39);
  return verdict;
}

Verdict judge_zone(const Rule& rule, const Numbers& numbers) {
  const auto [zone, address, count] = numbers;
  if (zone < 0 || zone >= static_cast<std::int64_t>(rule.zones.size())) {
    return {.address_is_bad = true, .length_is_bad = true};
  }
  return judge_range(rule, rule.zones[static_cast<std::size_t>(zone)], address, count);
}

Verdict judge_code(const Rule& rule, const Numbers& numbers) {
  return {.length_is_bad = numbers[0] != rule.length,
          .room = static_cast<std::size_t>(rule.length)};
}

Verdict judge_numbered_code(const Rule& rule, const Numbers& numbers) {
  return {.address_is_bad = !is_one_of(numbers[0], rule.first, rule.last),
          .length_is_bad = numbers[1] != rule.length,
          .room = static_cast<std::size_t>(rule.length)};
}

// The erase codes of the 102 have 6 bytes in zone 1 and 4 in zone 2.
Verdict judge_102_code(const Rule& /*rule*/, const Numbers& numbers) {
  if (!is_one_of(numbers[0], 1, 2))
    return {.address_is_bad = true, .length_is_bad = numbers[1] < 1};
  const int length = numbers[0] == 1 ? 6 : 4;
  return {.length_is_bad = numbers[1] != length, .room = static_cast<std::size_t>(length)};
}

Verdict judge_number(const Rule& rule, const Numbers& numbers) {
  return {.address_is_bad = !is_one_of(numbers[0], rule.first, rule.last), .room = rule.room};
}

Verdict judge_version_length(const Rule& /*rule*/, const Numbers& numbers) {
  return {.length_is_bad = numbers[0] != 10 && numbers[0] != 18,
          .room = static_cast<std::size_t>(std::max<std::int64_t>(0, numbers[0]))};
}

constexpr Rule plain{.judge = judge_nothing};
constexpr Rule probe{.judge = judge_nothing, .also = -133};
constexpr Rule hiding_probe{.judge = judge_nothing, .hides = true};
constexpr Rule silent{.judge = judge_nothing, .always_talks = false};
constexpr Rule reads_back{.judge = judge_nothing, .also = -129, .also2 = -135};

// A read that fails has filled the parts of the frames before.
constexpr Rule memory(int addresses, int reach, int unit = 1) {
  return {.judge = judge_memory, .memory = {addresses, reach}, .unit = unit, .keeps = false};
}
constexpr Rule memory(int size) { return memory(size, size); }
constexpr Rule past_end_is_bad_address(Rule rule) {
  rule.past_end_is_bad_address = true;
  return rule;
}
constexpr Rule verified(Rule rule) {
  rule.also = -128;
  rule.also2 = -129;
  return rule;
}
constexpr Rule zoned(std::span<const Zone> zones) {
  return {.judge = judge_zone, .zones = zones, .keeps = false};
}
constexpr Rule code(int length) { return {.judge = judge_code, .length = length, .also = -129}; }
constexpr Rule code(int length, int first, int last) {
  return {.judge = judge_numbered_code, .length = length, .first = first, .last = last};
}
constexpr Rule number(int first, int last) {
  return {.judge = judge_number, .first = first, .last = last};
}
constexpr Rule receives(std::size_t room) { return {.judge = judge_nothing, .room = room}; }
constexpr Rule counter = receives(sizeof(int));
constexpr Rule counter_of(int first, int last) {
  return {.judge = judge_number, .first = first, .last = last, .room = sizeof(int)};
}
// The counter becomes 0, or is added to.
constexpr Rule changes_on_failure(Rule rule) {
  rule.keeps = false;
  return rule;
}

constexpr Zone reads_102[]{{22, 178}, {70, 156}, {86, 86}};
constexpr Zone writes_102[]{{22, 22}, {70, 70}, {86, 86}};
constexpr Zone reads_1604[]{{27, 2007}, {1200, 1980}, {261, 780}, {261, 519}, {258, 258}};
constexpr Zone writes_1604[]{{21, 21}, {1195, 1195}, {256, 256}, {256, 256}, {258, 258}};
constexpr Zone secures_1604[]{{27, 27}, {1200, 1200}, {261, 261}, {261, 261}, {258, 258}};
constexpr Zone reads_1604b[]{{27, 2042}, {518, 2015}, {518, 1497}, {518, 979}, {461, 461}};
constexpr Zone writes_1604b[]{{21, 21}, {512, 512}, {512, 512}, {512, 512}, {457, 457}};
constexpr Zone secures_1604b[]{{27, 27}, {518, 518}, {518, 518}, {518, 518}, {461, 461}};

const Function table[] = {
    special<ic_init>(run_ic_init),
    special<ic_init0>(run_ic_init0),
    special<ic_exit>(run_ic_exit),

    special<lib_ver>(run_lib_ver),
    entry<srd_ver>({.judge = judge_version_length}),
    entry<srd_snr>(code(16)),
    entry<get_status>(counter),
    entry<get_status0>(counter),
    entry<dv_beep>(plain),
    entry<turn_on>(plain),
    entry<turn_off>(plain),
    entry<auto_pull>(plain),

    entry<set_baud>({.judge = judge_nothing, .also = -133}),
    special<chk_baud>(run_chk_baud),
    special<auto_init>(run_auto_init),

    entry<srd_eeprom>({.judge = judge_reader_memory, .keeps = false}),
    entry<swr_eeprom>({.judge = judge_reader_memory}),
    entry<srd_dvsc>(code(3)),
    entry<swr_dvsc>(code(3)),
    entry<cmp_dvsc>(code(3)),
    entry<setsc_md>(reads_back),

    entry<val_read>(counter),
    entry<swr_value>(plain),
    entry<val_set>(reads_back),
    entry<val_inc>(reads_back),
    entry<val_dec>(reads_back),

    special<chk_card>(run_chk_card),

    entry<srd_4442>(memory(256)),
    entry<swr_4442>(memory(257, 256)),
    entry<prd_4442>(code(4)),
    entry<pwr_4442>(verified(memory(32))),
    entry<csc_4442>(code(3)),
    entry<wsc_4442>(code(3)),
    entry<rsc_4442>(code(3)),
    entry<rsct_4442>(counter),
    entry<chk_4442>(probe),
    entry<srd_4432>(memory(256)),
    entry<swr_4432>(memory(257, 256)),
    entry<prd_4432>(code(4)),
    entry<pwr_4432>(verified(memory(32))),
    entry<chk_4432>(probe),

    entry<srd_4428>(memory(1024)),
    entry<swr_4428>(memory(1021)),
    entry<rdwpb_4428>(memory(1021, 1021, 2)),
    entry<wrwpb_4428>(memory(1021)),
    entry<pwr_4428>(memory(1021)),
    entry<csc_4428>(code(2)),
    entry<wsc_4428>(code(2)),
    entry<rsc_4428>(code(2)),
    entry<rsct_4428>(counter),
    entry<chk_4428>(probe),
    entry<srd_4418>(memory(1024)),
    entry<swr_4418>(memory(1024)),
    entry<rdwpb_4418>(memory(1024, 1024, 2)),
    entry<wrwpb_4418>(memory(1024)),
    entry<pwr_4418>(memory(1024)),
    entry<chk_4418>(silent),

    entry<srd_24c01a>(memory(128)),
    entry<srd_24c02>(memory(256)),
    entry<srd_24c04>(memory(512)),
    entry<srd_24c08>(memory(1024)),
    entry<srd_24c16>(memory(2048)),
    entry<srd_24c32>(memory(4096)),
    entry<srd_24c64>(memory(8192)),
    entry<swr_24c01a>(memory(128)),
    entry<swr_24c02>(memory(256)),
    entry<swr_24c04>(past_end_is_bad_address(memory(512))),
    entry<swr_24c08>(memory(1024)),
    entry<swr_24c16>(memory(2048)),
    entry<swr_24c32>(memory(4096)),
    entry<swr_24c64>(memory(8192)),
    entry<chk_24c01a>(hiding_probe),
    entry<chk_24c02>(hiding_probe),
    entry<chk_24c04>(hiding_probe),
    entry<chk_24c08>(hiding_probe),
    entry<chk_24c16>(hiding_probe),
    entry<chk_24c32>(hiding_probe),
    entry<chk_24c64>(hiding_probe),
    entry<chk_up02>(hiding_probe),
    entry<chk_up04>(hiding_probe),
    entry<chk_up08>(hiding_probe),
    entry<chk_up16>(hiding_probe),
    entry<chk_up32>(hiding_probe),

    entry<srd_93c46a>(memory(64, 64, 2)),
    entry<srd_93c46>(memory(128)),
    entry<srd_93c57>(past_end_is_bad_address(memory(256))),
    entry<srd_93c66>(memory(512)),
    entry<swr_93c46a>(memory(64, 64, 2)),
    entry<swr_93c46>(memory(128)),
    entry<swr_93c57>(memory(256)),
    entry<swr_93c66>(memory(512)),
    entry<eral_93c46a>(plain),
    entry<eral_93c46>(plain),
    entry<eral_93c57>(plain),
    entry<eral_93c66>(plain),
    entry<wral_93c46a>(plain),
    entry<wral_93c46>(plain),
    entry<wral_93c57>(plain),
    entry<wral_93c66>(plain),
    entry<chk_93c46a>(hiding_probe),
    entry<chk_93c46>(hiding_probe),
    entry<chk_93c57>(hiding_probe),
    entry<chk_93c66>(hiding_probe),
    entry<chk_up57>(hiding_probe),

    entry<srd_45d041>({.judge = judge_pages, .also = -128, .keeps = false}),
    entry<swr_45d041>({.judge = judge_pages, .also = -129}),
    entry<rdstrg_45d041>(receives(1)),
    entry<chk_45d041>(probe),

    entry<srd_4404>(memory(52)),
    entry<swr_4404>(memory(52)),
    entry<ser_4404>({.judge = judge_4404_erase}),
    entry<csc_4404>(code(2)),
    entry<wsc_4404>(code(2)),
    entry<rsc_4404>(code(2)),
    entry<rsct_4404>(counter),
    entry<cesc_4404>(code(4)),
    entry<wesc_4404>(code(4)),
    entry<resc_4404>(code(4)),
    entry<resct_4404>(counter),
    entry<clrpr_4404>(plain),
    entry<clrrd_4404>(plain),
    entry<fakefus_4404>(plain),
    entry<psnl_4404>({.judge = judge_nothing, .positive = true}),
    entry<chk_4404>(probe),

    entry<srd_4406>(memory(13)),
    entry<swr_4406>(memory(13)),
    entry<eswc_4406>(number(0, 11)),
    entry<csc_4406>(code(3)),
    entry<wsc_4406>(code(3)),
    entry<rsc_4406>(code(3)),
    entry<rsct_4406>(counter),
    entry<psnl_4406>(plain),
    entry<chk_4406>(hiding_probe),

    entry<srd_101>(memory(172)),
    entry<swr_101>(memory(172)),
    entry<swrSC_101>(memory(172)),
    entry<ser_101>(memory(172)),
    entry<csc_101>(code(2)),
    entry<wsc_101>(code(2)),
    entry<rsc_101>(code(2)),
    entry<rsct_101>(changes_on_failure(counter)),
    entry<cesc_101>(code(4)),
    entry<wesc_101>(code(4)),
    entry<resc_101>(code(4)),
    entry<resct_101>(counter),
    entry<clrpr_101>(plain),
    entry<clrrd_101>(plain),
    entry<fakefus_101>(plain),
    entry<psnl_101>(plain),
    entry<chk_101>(probe),

    entry<srd_102>(zoned(reads_102)),
    entry<swr_102>(zoned(writes_102)),
    entry<swrSC_102>(zoned(writes_102)),
    entry<ser_102>(zoned(reads_102)),
    entry<csc_102>(code(2)),
    entry<wsc_102>(code(2)),
    entry<rsc_102>(code(2)),
    entry<rsct_102>(counter),
    entry<cesc_102>({.judge = judge_102_code}),
    entry<wesc_102>({.judge = judge_102_code}),
    entry<resc_102>({.judge = judge_102_code}),
    entry<resct_102>(counter_of(2, 2)),
    entry<clrpr_102>(number(1, 2)),
    entry<clrrd_102>(number(1, 2)),
    entry<fakefus_102>(plain),
    entry<psnl_102>(plain),
    entry<chk_102>(probe),

    entry<srd_1604>(zoned(reads_1604)),
    entry<swr_1604>(zoned(writes_1604)),
    entry<swrSC_1604>(zoned(secures_1604)),
    entry<ser_1604>(zoned(secures_1604)),
    entry<csc_1604>(code(2, 0, 4)),
    entry<wsc_1604>(code(2, 0, 4)),
    entry<rsc_1604>(code(2, 0, 4)),
    entry<rsct_1604>(changes_on_failure(counter_of(0, 1))),
    entry<cesc_1604>(code(2, 0, 4)),
    entry<wesc_1604>(code(2, 1, 4)),
    entry<resc_1604>(code(2, 1, 4)),
    entry<resct_1604>(counter_of(1, 4)),
    entry<clrpr_1604>(number(1, 4)),
    entry<clrrd_1604>(number(1, 4)),
    entry<fakefus_1604>(plain),
    entry<psnl_1604>(plain),
    entry<chk_1604>(probe),

    entry<srd_1604b>(zoned(reads_1604b)),
    entry<swr_1604b>(zoned(writes_1604b)),
    entry<swrSC_1604b>(zoned(secures_1604b)),
    entry<ser_1604b>(zoned(secures_1604b)),
    entry<csc_1604b>(code(2, 0, 4)),
    entry<wsc_1604b>(code(2, 0, 4)),
    entry<rsc_1604b>(code(2, 0, 4)),
    entry<rsct_1604b>(changes_on_failure(counter_of(0, 4))),
    entry<cesc_1604b>(code(2, 1, 4)),
    entry<wesc_1604b>(code(2, 1, 4)),
    entry<resc_1604b>(code(2, 1, 4)),
    entry<resct_1604b>(counter_of(1, 4)),
    entry<clrpr_1604b>(number(1, 4)),
    entry<clrrd_1604b>(number(1, 4)),
    entry<fakefus_1604b>(plain),
    entry<psnl_1604b>(plain),
    entry<chk_1604b>(probe),

    special<cpu_reset>(run_cpu_reset),
    special<cpu_comres>(run_command<cpu_comres>),
    special<cpu_protocol>(run_block<cpu_protocol, false>),
    entry<set_card_baud>(plain),
    entry<sam_power_on>(plain),
    entry<sam_power_down>(plain),
    entry<sam_select>(plain),
    special<sam_reset>(run_sam_reset),
    special<sam_comres>(run_command<sam_comres>),
    special<sam_protocol>(run_block<sam_protocol, true>),

    special<ic_encrypt>(run_crypt<ic_encrypt>),
    special<ic_decrypt>(run_crypt<ic_decrypt>),
    special<DES_Encrypt>(run_crypt<DES_Encrypt>),
    special<DES_Decrypt>(run_crypt<DES_Decrypt>),
    special<Gen_Childkey1>(run_round_keys<48, Gen_Childkey1>),
    special<Gen_Childkey2>(run_round_keys<6, Gen_Childkey2>),
    special<Char_Bit>(run_char_bit),
    special<Bit_Char>(run_bit_char),

    special<cr_bcc>(run_check<cr_bcc>),
    special<ck_bcc>(run_check<ck_bcc>),
    special<sendchar>(run_sendchar),
    special<send_com>(run_send_com),
    special<receive_data>(run_receive_byte<receive_data>),
    special<receive_data_2k>(run_receive_byte<receive_data_2k>),
    special<receive_data_8k>(run_receive_byte<receive_data_8k>),
    special<receive_com>(run_receive_frame<receive_com>),
    special<receive_com0>(run_receive_frame<receive_com0>),
    special<ic_delay>(run_ic_delay),
    special<getpar>(run_getpar),
    special<get_s>(run_get_s),
};

constexpr std::string_view globals[] = {
    "Reader_Type", "AUXENDWRITE",    "AUXSTARTWRITE", "CLOSEAUX", "DISABLEKEYBOARD", "DRVCOMM",
    "INITAUX",     "ENABLEKEYBOARD", "SETAUX",        "nport",    "oport",           "term_flg",
};

}  // namespace

std::span<const Function> functions() { return table; }

const Function& find_function(std::string_view name) {
  const auto* const found = std::ranges::find(table, name, &Function::name);
  require(found != std::end(table), "a function is in the table");
  return *found;
}

void require_all_names(const char* path) {
  std::FILE* const map = std::fopen(path, "r");
  require(map != nullptr, "the list of exported names can be read:", path);
  std::size_t names = 0;
  char text[128];
  while (std::fgets(text, sizeof text, map) != nullptr) {
    std::string_view line = text;
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    const std::size_t end = line.find(';');
    if (end == std::string_view::npos || !line.ends_with(";\n")) continue;
    const std::string_view name = line.substr(0, end);
    if (name == "*" || name == "}") continue;
    require(std::ranges::count(table, name, &Function::name) == 1 ||
                std::ranges::count(globals, name) == 1,
            "each exported name is in the table once:", text);
    ++names;
  }
  (void)std::fclose(map);
  require(names == std::size(table) + std::size(globals), "the table has exported names only");
}

void set_globals(Input& input) {
  Reader_Type = 0;
  nport = {};
  oport = {};
  constexpr int modes[] = {1, 1, 1, 0, 0, 2, -1, INT_MIN};
  const unsigned char flags = input.byte();
  term_flg = modes[flags % 8];
  for (char* text : {AUXSTARTWRITE, AUXENDWRITE, CLOSEAUX, SETAUX, INITAUX, ENABLEKEYBOARD,
                     DISABLEKEYBOARD, DRVCOMM}) {
    std::memset(text, 0, 60);
  }
  if ((flags & 8) == 0) return;
  for (char* text : {AUXSTARTWRITE, AUXENDWRITE, CLOSEAUX, DRVCOMM}) {
    // Also without a terminator, as a program may have left them.
    const Bytes bytes = input.bytes(input.byte() % 61);
    std::ranges::copy(bytes, text);
  }
}

int take_handle(Input& input, const Line& line) {
  const unsigned char choice = input.byte();
  return choice < 0xF8 ? line.descriptor : input.number();
}

void require_result(const Function& function, const Line& line, int result) {
  const Rule& rule = function.rule;
  bool answered = false;
  std::bitset<256> statuses;
  for (const Line::Received& received : line.received()) {
    if (!received.is_reply()) continue;
    answered = true;
    statuses.set(received.status());
  }
  const std::string_view name = function.name;
  if (result == 0) {
    return require(answered || !rule.always_talks, "success follows a valid reply:", name);
  }
  if (rule.hides) return require(result == -133, "a failure is another card:", name);
  if (result == -128 || result == -129 || result == -132 || result == -133) return;
  if (result == rule.also || result == rule.also2) return;
  const int status = rule.positive ? result : -result;
  require(is_one_of(status, 1, 255) && statuses.test(static_cast<std::size_t>(status)),
          "a result is one of those that are documented:", name);
}

void require_frames(const Function& function, const Line& line) {
  if (!line.sent_all || term_flg != 1) return;
  Bytes rest = line.sent;
  while (!rest.empty()) {
    const std::size_t size = rest.size() < 5 ? 5 : rest[3] + std::size_t{5};
    require(
        rest.size() >= size && rest[0] == 0xAA && cr_bcc(static_cast<int>(size), rest.data()) == 0,
        "what is sent is whole frames:", function.name);
    rest = rest.subspan(size);
  }
}

void require_refusal(const Function& function, const Line& line, const Verdict& verdict,
                     int result) {
  require((verdict.address_is_bad && result == -144) || (verdict.length_is_bad && result == -143),
          "bad arguments are refused:", function.name);
  require(line.sent.empty() && line.received().empty(),
          "what is refused sends nothing:", function.name);
}

}  // namespace quorra::fuzzing
