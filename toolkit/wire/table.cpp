// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/wire/table.hpp"

#include <algorithm>
#include <array>

namespace quorra::toolkit::wire {
namespace {

constexpr std::array all_commands{
    Command{0x20, "reset the card", Arguments::none, Answer::answer_to_reset},
    Command{0x21, "exchange with the card", Arguments::for_card, Answer::from_card},
    Command{0x22, "set the card's speed", Arguments::value, Answer::none},
    Command{0x23, "select a SAM", Arguments::value, Answer::none},
    Command{0x60, "write", Arguments::data, Answer::none},
    Command{0x61, "read", Arguments::count, Answer::data},
    Command{0x62, "write pages", Arguments::data, Answer::none},
    Command{0x64, "present the code", Arguments::code, Answer::none},
    Command{0x65, "read the code", Arguments::count, Answer::code},
    Command{0x66, "write the security zone", Arguments::data, Answer::none},
    Command{0x67, "read the error counter", Arguments::count, Answer::code},
    Command{0x68, "present the erase code", Arguments::code, Answer::none},
    Command{0x6D, "write and protect", Arguments::data, Answer::none},
    Command{0x6E, "read with protection bits", Arguments::count, Answer::data_with_marks},
    Command{0x6F, "protect", Arguments::data, Answer::none},
    Command{0x70, "erase a stage", Arguments::none, Answer::none},
    Command{0x71, "personalise", Arguments::none, Answer::none},
    Command{0x73, "personalise", Arguments::none, Answer::none},
    Command{0x74, "read the protection bits", Arguments::count, Answer::data},
    Command{0x75, "protect", Arguments::data, Answer::none},
    Command{0x76, "erase", Arguments::count, Answer::none},
    Command{0x77, "read the status register", Arguments::none, Answer::data},
    Command{0x78, "erase all", Arguments::none, Answer::none},
    Command{0x79, "write all", Arguments::data, Answer::none},
    Command{0x80, "imitate the fuse", Arguments::value, Answer::none},
    Command{0xB0, "read the version", Arguments::count, Answer::text},
    Command{0xB1, "set the line speed", Arguments::value, Answer::none},
    Command{0xB2, "power on", Arguments::none, Answer::none},
    Command{0xB3, "power off", Arguments::none, Answer::none},
    Command{0xB4, "beep", Arguments::value, Answer::none},
    Command{0xB5, "compare the reader's code", Arguments::code, Answer::none},
    Command{0xB6, "write", Arguments::data, Answer::none},
    Command{0xB7, "read", Arguments::count, Answer::data},
    Command{0xB8, "eject the card", Arguments::none, Answer::none},
    Command{0xB9, "ask for the status", Arguments::none, Answer::data},
};

constexpr unsigned char type_102 = 0x72;
constexpr unsigned char type_1604 = 0x73;
constexpr unsigned char variant_1604b = 0x0B;
constexpr unsigned char type_4442 = 0x79;
constexpr unsigned char reader = 0x80;

// Variants stand behind the card that they are a variant of.
constexpr std::array all_card_types{
    CardType{0x20, "processor card"},
    CardType{0x21, "SAM"},
    CardType{0x60, "24c01a"},
    CardType{0x61, "24c02"},
    CardType{0x62, "24c04 or 24c08"},
    CardType{0x64, "24c16"},
    CardType{0x65, "24c32"},
    CardType{0x66, "24c64"},
    CardType{0x68, "93c46a"},
    CardType{0x69, "93c46"},
    CardType{0x6A, "93c57"},
    CardType{0x6B, "93c66"},
    CardType{0x6E, "45d041", Place::page},
    CardType{0x71, "101"},
    CardType{type_102, "102", Place::zone},
    CardType{type_1604, "1604", Place::variant_and_zone},
    CardType{type_1604, "1604b", Place::variant_and_zone, variant_1604b},
    CardType{0x76, "4418"},
    CardType{0x77, "4428"},
    CardType{type_4442, "4442 or 4432"},
    CardType{0x7A, "4404"},
    CardType{0x7B, "4406"},
    CardType{reader, "reader"},
};

constexpr unsigned char any = 0;
constexpr unsigned char write_security = 0x66;
constexpr std::string_view code = "code";
constexpr std::string_view erase_code = "erase code";

constexpr std::array all_code_areas{
    CodeArea{type_4442, 0, write_security, 0, 3, code},
    CodeArea{0x77, 0, any, 1022, 2, code},
    CodeArea{0x7A, 0, any, 8, 2, code},
    CodeArea{0x7A, 0, any, 40, 4, erase_code},
    CodeArea{0x7B, 0, any, 10, 3, code},
    CodeArea{0x71, 0, any, 10, 2, code},
    CodeArea{0x71, 0, any, 150, 4, erase_code},
    CodeArea{type_102, 0, any, 10, 2, code},
    CodeArea{type_102, 0, any, 86, 6, erase_code},
    CodeArea{type_102, 0, any, 156, 4, erase_code},
    CodeArea{type_1604, 0, any, 10, 2, code},
    CodeArea{type_1604, 0, any, 21, 2, code},
    CodeArea{type_1604, 0, any, 24, 2, erase_code},
    CodeArea{type_1604, 0, any, 1222, 2, code},
    CodeArea{type_1604, 0, any, 1224, 2, erase_code},
    CodeArea{type_1604, 0, any, 1483, 2, code},
    CodeArea{type_1604, 0, any, 1485, 2, erase_code},
    CodeArea{type_1604, 0, any, 1744, 2, code},
    CodeArea{type_1604, 0, any, 1746, 2, erase_code},
    CodeArea{type_1604, variant_1604b, any, 10, 2, code},
    CodeArea{type_1604, variant_1604b, any, 21, 2, code},
    CodeArea{type_1604, variant_1604b, any, 24, 2, erase_code},
    CodeArea{type_1604, variant_1604b, any, 539, 2, code},
    CodeArea{type_1604, variant_1604b, any, 542, 2, erase_code},
    CodeArea{type_1604, variant_1604b, any, 1057, 2, code},
    CodeArea{type_1604, variant_1604b, any, 1060, 2, erase_code},
    CodeArea{type_1604, variant_1604b, any, 1575, 2, code},
    CodeArea{type_1604, variant_1604b, any, 1578, 2, erase_code},
    CodeArea{reader, 0, any, 0x182, 3, code},
};

constexpr std::array all_statuses{
    Status{0x00, "done"},
    Status{0x11, "the check byte of the request is wrong"},
    Status{0x12, "the reader does not know the command"},
    Status{0x13, "the command does not exist for this card type"},
    Status{0x14, "the body of the request has the wrong length"},
    Status{0x15, "an address, a count or another value is out of range"},
    Status{0x21, "no card is in the slot"},
    Status{0x22, "the card does not answer as it should"},
    Status{0x23, "a byte was not written: it is protected, or the code is missing"},
    Status{0x24, "the security code is wrong"},
    Status{0x25, "the card is blocked: no attempt at its code is left"},
    Status{0x31, "the image file could not be saved"},
    Status{0x41, "the reader's security mode is on, and its code has not been presented"},
    Status{0x42, "the SAMs have no power"},
    Status{0x43, "the answer of the card is too long for a reply"},
};

constexpr std::array all_instructions{
    CardInstruction{0x20, "VERIFY"},
    CardInstruction{0x21, "VERIFY"},
    CardInstruction{0x24, "CHANGE REFERENCE DATA"},
    CardInstruction{0x25, "CHANGE REFERENCE DATA"},
    CardInstruction{0x2C, "RESET RETRY COUNTER"},
    CardInstruction{0x2D, "RESET RETRY COUNTER"},
};

template <typename Row>
const Row* find(std::span<const Row> rows, unsigned char number) {
  const auto found = std::ranges::find(rows, number, &Row::number);
  return found == rows.end() ? nullptr : &*found;
}

}  // namespace

std::span<const Command> commands() { return all_commands; }
std::span<const CardType> card_types() { return all_card_types; }
std::span<const CodeArea> code_areas() { return all_code_areas; }
std::span<const Status> statuses() { return all_statuses; }
std::span<const CardInstruction> instructions_with_codes() { return all_instructions; }

const Command* find_command(unsigned char number) { return find(commands(), number); }

const CardType* find_card_type(unsigned char number, unsigned char variant) {
  const CardType* of_number = nullptr;
  for (const CardType& type : all_card_types) {
    if (type.number != number) continue;
    if (type.variant == variant) return &type;
    if (of_number == nullptr) of_number = &type;
  }
  return of_number;
}

const Status* find_status(unsigned char number) { return find(statuses(), number); }

const CardInstruction* find_instruction_with_code(unsigned char number) {
  return find(instructions_with_codes(), number);
}

}  // namespace quorra::toolkit::wire
