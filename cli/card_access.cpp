#include "cli/card_access.hpp"

#include <fmt/format.h>

namespace quorra::cli {
namespace {

constexpr Operation reading_protection{"reading the protection bits"};
constexpr Operation reading_attempts{"reading the attempts left"};
constexpr Operation presenting{"presenting the code"};

int size_of(const Bytes& bytes) { return static_cast<int>(bytes.size()); }

}  // namespace

Bytes read_memory(const Connection& connection, const Card& card, Range range,
                  const Operation& operation) {
  Bytes bytes(static_cast<std::size_t>(range.count));
  connection.run(operation, card.read, range.address, range.count, bytes.data());
  return bytes;
}

std::vector<bool> read_protection(const Connection& connection, const Card& card) {
  if (!card.protection) return {};
  Bytes bits(static_cast<std::size_t>(card.protection->bytes / 8));
  connection.run(reading_protection, card.protection->read, size_of(bits), bits.data());
  std::vector<bool> is_protected;
  for (const unsigned char byte : bits) {
    // The most significant bit belongs to the lowest address; 1 means writable.
    for (int mask = 0x80; mask != 0; mask /= 2) {
      is_protected.push_back((byte & mask) == 0);
    }
  }
  return is_protected;
}

const SecurityCode& code_of(const Card& card) {
  if (!card.code) throw UsageError(fmt::format("a {} card has no code", card.name));
  return *card.code;
}

Bytes parse_code(const Card& card, std::string_view name, std::string_view text) {
  const SecurityCode& code = code_of(card);
  Bytes bytes = parse_hex(name, text);
  if (size_of(bytes) != code.size) {
    throw UsageError(fmt::format("{}: the code of a {} card is {}, not {}", name, card.name,
                                 counted(code.size, "byte"), size_of(bytes)));
  }
  return bytes;
}

std::optional<Bytes> parse_present_code(const Card& card, const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return parse_code(card, "--code", *text);
}

int attempts_left(const Connection& connection, const Card& card) {
  int attempts = 0;
  connection.run(reading_attempts, code_of(card).attempts_left, &attempts);
  return attempts;
}

std::string describe_attempts(int attempts) {
  std::string words = counted(attempts, "attempt") + " left";
  if (attempts == 0) words += ": the card is locked for good";
  if (attempts == 1) words += ": a wrong code locks the card for good";
  return words;
}

void present_code(const Connection& connection, const Card& card, const Bytes& code,
                  bool confirmed) {
  const int attempts = attempts_left(connection, card);
  if (attempts == 0) {
    throw Failure(fmt::format("{}: {}", presenting.doing, describe_attempts(attempts)));
  }
  if (attempts == 1 && !confirmed) {
    connection.confirm(presenting, describe_attempts(attempts) + '.');
  }
  const int result =
      connection.attempt(presenting, code_of(card).present, size_of(code), code.data());
  if (result == 0) return;
  std::string error = connection.describe(presenting, result);
  // After a disturbed exchange a late reply could be taken for the number of attempts.
  if (is_status(result, presenting.kind)) {
    error += if_possible([&] { return "; " + describe_attempts(attempts_left(connection, card)); });
  }
  throw Failure(error);
}

}  // namespace quorra::cli
