// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/cpu/cpu_card.hpp"

#include <algorithm>
#include <functional>
#include <random>
#include <string_view>
#include <utility>

#include "simulator/cards/cpu/des.hpp"

namespace quorra::simulator {

enum class StatusWord : std::uint16_t {
  success = 0x9000,
  bytes_left = 0x6100,     // SW2 says how many
  attempts_left = 0x63C0,  // the lowest half byte says how many
  wrong_length = 0x6700,
  wrong_kind_of_file = 0x6981,
  code_missing = 0x6982,
  code_blocked = 0x6983,
  nothing_to_fetch = 0x6985,
  no_file_selected = 0x6986,
  no_such_file = 0x6A82,
  no_such_record = 0x6A83,
  wrong_parameters = 0x6A86,
  wrong_offset = 0x6B00,
  wrong_expected_length = 0x6C00,  // SW2 says which is right
  unknown_instruction = 0x6D00,
  unknown_class = 0x6E00,
};

struct ElementaryFile {
  std::uint16_t identifier;
  std::string_view field;
  // 0 for a transparent file.
  std::size_t record_size;
  // The code must have been verified before the file can be read or written.
  bool needs_code;
};

namespace {

constexpr std::uint16_t master_file = 0x3F00;
constexpr std::array files{
    ElementaryFile{0x0001, "memory", 0, false},
    ElementaryFile{0x0002, "private", 0, true},
    ElementaryFile{0x0003, "records", 16, false},
};

// What goes out at once; GET RESPONSE fetches the rest.
constexpr std::size_t largest_data = 128;
// The most that a command can ask for.
constexpr std::size_t most_expected = 256;
constexpr std::size_t challenge_size = 8;
constexpr std::uint8_t all_attempts = 3;

StatusWord with_number(StatusWord word, std::size_t number) {
  return static_cast<StatusWord>(static_cast<unsigned>(word) | (number & 0xFFU));
}

void append(ProcessorCard::Bytes& bytes, StatusWord word) {
  const auto number = static_cast<std::uint16_t>(word);
  bytes.push_back(static_cast<std::uint8_t>(number >> 8U));
  bytes.push_back(static_cast<std::uint8_t>(number & 0xFFU));
}

// What SELECT tells of a file: its size, what kind of file it is, and its identifier.
ProcessorCard::Bytes describe(std::uint16_t identifier, std::uint8_t descriptor, std::size_t size) {
  return {0x6F,
          11,
          0x80,
          2,
          static_cast<std::uint8_t>(size >> 8U),
          static_cast<std::uint8_t>(size),
          0x82,
          1,
          descriptor,
          0x83,
          2,
          static_cast<std::uint8_t>(identifier >> 8U),
          static_cast<std::uint8_t>(identifier)};
}

}  // namespace

void blank_cpu(Image& image) {
  // T=1, and "QUORRA" in the historical bytes.
  image.assign("atr", {0x3B, 0x86, 0x01, 0x51, 0x55, 0x4F, 0x52, 0x52, 0x41, 0x8D});
  std::ranges::copy(std::array<std::uint8_t, 4>{'1', '2', '3', '4'}, image.field("code").begin());
  image.field("counter").front() = all_attempts;
  std::ranges::fill(image.field("key"), std::uint8_t{0xFF});
  for (const ElementaryFile& file : files)
    std::ranges::fill(image.field(file.field), std::uint8_t{0xFF});
}

std::unique_ptr<Chip> make_cpu_card(Image image) {
  return std::make_unique<CpuCard>(std::move(image));
}

// How the lengths of a command must be: data is what it brings, an answer is what it asks for.
struct CpuCard::Instruction {
  std::uint8_t number;
  bool takes_data;
  bool gives_answer;
  StatusWord (CpuCard::*run)(const Apdu& apdu);
};

constexpr std::array<CpuCard::Instruction, 8> CpuCard::instructions{{
    {0x20, true, false, &CpuCard::verify},
    {0x84, false, true, &CpuCard::get_challenge},
    {0x88, true, true, &CpuCard::internal_authenticate},
    {0xA4, true, true, &CpuCard::select},
    {0xB0, false, true, &CpuCard::read_binary},
    {0xB2, false, true, &CpuCard::read_record},
    {0xC0, false, true, &CpuCard::get_response},
    {0xD6, true, false, &CpuCard::update_binary},
}};

void CpuCard::forget() {
  current_file_ = nullptr;
  code_was_verified_ = false;
  unsent_.clear();
}

void CpuCard::set_power(bool on) {
  if (!on) forget();
}

std::optional<ProcessorCard::Bytes> CpuCard::reset() {
  forget();
  const auto answer = std::as_const(*this).image().field("atr");
  return Bytes(answer.begin(), answer.end());
}

std::optional<ProcessorCard::Bytes> CpuCard::transmit(std::span<const std::uint8_t> command) {
  const auto refuse = [this](StatusWord word) {
    unsent_.clear();
    Bytes answer;
    append(answer, word);
    return answer;
  };
  if (command.size() < apdu_header_size) return refuse(StatusWord::wrong_length);
  if (command[0] != 0) return refuse(StatusWord::unknown_class);
  const auto* const instruction = std::ranges::find(instructions, command[1], &Instruction::number);
  if (instruction == instructions.end()) return refuse(StatusWord::unknown_instruction);

  // A length of 0 where nothing is asked for says that there is no data either.
  const auto apdu = parse_apdu(command);
  if (!apdu || (!instruction->takes_data && (!apdu->data.empty() || !apdu->expected)) ||
      (!instruction->gives_answer && apdu->expected.value_or(0) != 0))
    return refuse(StatusWord::wrong_length);

  if (instruction->run != &CpuCard::get_response) unsent_.clear();
  const StatusWord word = std::invoke(instruction->run, *this, *apdu);
  if (word != StatusWord::success || unsent_.empty()) return refuse(word);

  if (!apdu->expected) {
    Bytes answer;
    append(answer, with_number(StatusWord::bytes_left, unsent_.size()));
    return answer;
  }
  const std::size_t expected = *apdu->expected;
  // Only GET RESPONSE leaves bytes for another time that were not asked for.
  if (instruction->run != &CpuCard::get_response && expected != 0 && expected < unsent_.size())
    unsent_.resize(expected);
  return deliver(expected);
}

// The bytes stay where GET RESPONSE finds them if more are expected than there are.
ProcessorCard::Bytes CpuCard::deliver(std::size_t expected) {
  Bytes answer;
  if (expected > unsent_.size()) {
    append(answer, with_number(StatusWord::wrong_expected_length, unsent_.size()));
    return answer;
  }
  const std::size_t wanted = expected == 0 ? unsent_.size() : expected;
  const auto end = unsent_.begin() + static_cast<std::ptrdiff_t>(std::min(wanted, largest_data));
  answer.assign(unsent_.begin(), end);
  unsent_.erase(unsent_.begin(), end);
  append(answer, unsent_.empty() ? StatusWord::success
                                 : with_number(StatusWord::bytes_left, unsent_.size()));
  return answer;
}

StatusWord CpuCard::check_current_file(bool of_records) const {
  if (current_file_ == nullptr) return StatusWord::no_file_selected;
  if ((current_file_->record_size != 0) != of_records) return StatusWord::wrong_kind_of_file;
  if (current_file_->needs_code && !code_was_verified_) return StatusWord::code_missing;
  return StatusWord::success;
}

StatusWord CpuCard::select(const Apdu& apdu) {
  constexpr std::uint16_t with_description = 0x0000;
  constexpr std::uint16_t without_description = 0x000C;
  constexpr std::uint8_t directory = 0x38;
  constexpr std::uint8_t transparent = 0x01;
  constexpr std::uint8_t linear_fixed = 0x02;
  if (apdu.parameters() != with_description && apdu.parameters() != without_description)
    return StatusWord::wrong_parameters;
  if (!apdu.data.empty() && apdu.data.size() != 2) return StatusWord::wrong_length;
  const auto identifier = apdu.data.empty()
                              ? master_file
                              : static_cast<std::uint16_t>(apdu.data[0] << 8U | apdu.data[1]);

  const auto* const found = std::ranges::find(files, identifier, &ElementaryFile::identifier);
  if (found == files.end() && identifier != master_file) return StatusWord::no_such_file;
  current_file_ = found == files.end() ? nullptr : found;
  if (apdu.parameters() == without_description) return StatusWord::success;
  unsent_ = current_file_ == nullptr
                ? describe(master_file, directory, 0)
                : describe(identifier, found->record_size == 0 ? transparent : linear_fixed,
                           image().field(found->field).size());
  return StatusWord::success;
}

StatusWord CpuCard::read_binary(const Apdu& apdu) {
  if (const auto word = check_current_file(false); word != StatusWord::success) return word;
  const auto content = image().field(current_file_->field);
  if (apdu.parameters() >= content.size()) return StatusWord::wrong_offset;
  const auto rest = content.subspan(apdu.parameters());
  unsent_.assign(rest.begin(),
                 rest.begin() + static_cast<std::ptrdiff_t>(std::min(rest.size(), most_expected)));
  tell_read(rest.first(unsent_.size()));
  return StatusWord::success;
}

StatusWord CpuCard::update_binary(const Apdu& apdu) {
  if (const auto word = check_current_file(false); word != StatusWord::success) return word;
  const auto content = image().field(current_file_->field);
  if (apdu.parameters() >= content.size()) return StatusWord::wrong_offset;
  const auto rest = content.subspan(apdu.parameters());
  if (apdu.data.empty() || apdu.data.size() > rest.size()) return StatusWord::wrong_length;
  for (std::size_t i = 0; i < apdu.data.size(); ++i)
    program(rest[i], apdu.data[i]);
  return StatusWord::success;
}

StatusWord CpuCard::read_record(const Apdu& apdu) {
  constexpr std::uint8_t by_number = 0x04;
  if (const auto word = check_current_file(true); word != StatusWord::success) return word;
  if (apdu.parameter_2 != by_number) return StatusWord::wrong_parameters;
  const std::size_t size = current_file_->record_size;
  const auto content = image().field(current_file_->field);
  const std::size_t number = apdu.parameter_1;
  if (number == 0 || number > content.size() / size) return StatusWord::no_such_record;
  const auto record = content.subspan((number - 1) * size, size);
  unsent_.assign(record.begin(), record.end());
  tell_read(record);
  return StatusWord::success;
}

// One attempt is used up before the comparison; only the right code gives all of them back.
StatusWord CpuCard::verify(const Apdu& apdu) {
  constexpr std::uint16_t the_code = 0x0001;
  if (apdu.parameters() != the_code) return StatusWord::wrong_parameters;
  std::uint8_t& counter = image().field("counter").front();
  if (counter == 0) return StatusWord::code_blocked;
  const auto attempts_left = [&counter] { return with_number(StatusWord::attempts_left, counter); };
  if (apdu.data.empty()) return code_was_verified_ ? StatusWord::success : attempts_left();
  const auto code = image().field("code");
  if (apdu.data.size() != code.size()) return StatusWord::wrong_length;

  program(counter, static_cast<std::uint8_t>(counter - 1));
  code_was_verified_ = std::ranges::equal(apdu.data, code);
  if (!code_was_verified_) return attempts_left();
  program(counter, all_attempts);
  return StatusWord::success;
}

StatusWord CpuCard::get_challenge(const Apdu& apdu) {
  if (apdu.parameters() != 0) return StatusWord::wrong_parameters;
  std::random_device random;
  unsent_.resize(challenge_size);
  std::ranges::generate(unsent_, [&random] { return static_cast<std::uint8_t>(random()); });
  return StatusWord::success;
}

StatusWord CpuCard::get_response(const Apdu& apdu) {
  if (apdu.parameters() != 0) return StatusWord::wrong_parameters;
  return unsent_.empty() ? StatusWord::nothing_to_fetch : StatusWord::success;
}

StatusWord CpuCard::internal_authenticate(const Apdu& apdu) {
  if (apdu.parameters() != 0) return StatusWord::wrong_parameters;
  if (apdu.data.size() != DesBlock{}.size()) return StatusWord::wrong_length;
  const DesBlock answer = encipher_with_des(image().field("key").first<8>(), apdu.data.first<8>());
  unsent_.assign(answer.begin(), answer.end());
  return StatusWord::success;
}

}  // namespace quorra::simulator
