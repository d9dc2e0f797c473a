#include "cli/card_access.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace quorra::cli {
namespace {

constexpr Operation reading_protection{.doing = "reading the protection bits", .done = "read"};
constexpr Operation reading_attempts{"reading the attempts left"};
constexpr Operation presenting{"presenting the code"};

int size_of(const Bytes& bytes) { return static_cast<int>(bytes.size()); }

}  // namespace

std::vector<bool> read_protection(const Connection& connection, const Card& card, Range range) {
  if (!card.protection) return {};
  range.count = std::min(range.end(), card.protection->bytes) - range.address;
  if (range.count < 1) return {};
  Bytes flags(static_cast<std::size_t>(range.count));
  transfer(connection, card, range, reading_protection, [&](Range piece, int done) {
    return connection.attempt(reading_protection, card.protection->read, piece.address, piece.count,
                              flags.data() + done);
  });
  return {flags.begin(), flags.end()};
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
