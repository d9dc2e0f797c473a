#include "cli/transfer.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

#include "cli/progress.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_back{.doing = "reading back what was written", .done = "read back"};
constexpr Operation reading_other_half{.doing = "reading the other half of a word"};

Range in_whole_units(const Card& card, Range range) {
  const int address = range.address - range.address % card.unit;
  const int after = range.end() + card.unit - 1;
  return {address, after - after % card.unit - address};
}

void write_units(const Connection& connection, const Card& card, Range range, const Bytes& data,
                 const Operation& operation, bool verify) {
  const MovePiece write = [&](Range piece, int done) {
    return connection.attempt(operation, card.write, piece.address, piece.count,
                              data.data() + done);
  };
  const ExplainFailure compare = [&](int result, Range piece, int done) -> std::string {
    if (!verify || !is_status(result, card.writing)) return {};
    const auto first = data.begin() + done;
    const Bytes held = read_memory(connection, card, piece, reading_back);
    const auto difference = find_difference({first, first + piece.count}, held, piece.address);
    return difference ? ": " + describe(*difference) : std::string();
  };
  transfer(connection, card, range, {operation.doing, card.writing, operation.done}, write,
           compare);
  if (!verify) return;
  const Bytes held = read_memory(connection, card, range, reading_back);
  if (const auto difference = find_difference(data, held, range.address)) {
    throw Failure(fmt::format("{}: {}", reading_back.doing, describe(*difference)));
  }
}

}  // namespace

void transfer(const Connection& connection, const Card& card, Range range,
              const Operation& operation, const MovePiece& move, const ExplainFailure& explain) {
  Progress progress(operation.done, range.count, connection.shows_progress());
  const int first_page = range.address - range.address % card.page;
  for (int address = range.address; address < range.end();) {
    const int done = address - range.address;
    const int left_in_piece = card.piece - (address - first_page) % card.piece;
    const Range piece{address, std::min(left_in_piece, range.end() - address)};
    const auto so_far = [&] { return "; " + how_far(done, range.count, operation.done); };
    try {
      if (const int result = move(piece, done); result < 0) {
        std::string error = connection.describe(operation, result);
        if (explain) error += if_possible([&] { return explain(result, piece, done); });
        if (done > 0) error += so_far();
        throw Failure(error);
      }
    } catch (const Interrupted& interruption) {
      throw Interrupted(interruption.what() + so_far());
    }
    address = piece.end();
    progress.advance(address - range.address);
  }
}

Bytes read_memory(const Connection& connection, const Card& card, Range range,
                  const Operation& operation) {
  const Range units = in_whole_units(card, range);
  Bytes bytes(static_cast<std::size_t>(units.count));
  transfer(connection, card, units, {operation.doing, card.reading, operation.done},
           [&](Range piece, int done) {
             return connection.attempt(operation, card.read, piece.address, piece.count,
                                       bytes.data() + done);
           });
  const auto first = bytes.begin() + (range.address - units.address);
  return {first, first + range.count};
}

void write_memory(const Connection& connection, const Card& card, Range range, const Bytes& data,
                  const Operation& operation, bool verify) {
  const Range units = in_whole_units(card, range);
  if (units.count == range.count) {
    write_units(connection, card, range, data, operation, verify);
    return;
  }
  Bytes with_other_halves = read_memory(connection, card, units, reading_other_half);
  std::copy(data.begin(), data.end(), with_other_halves.begin() + (range.address - units.address));
  write_units(connection, card, units, with_other_halves, operation, verify);
}

std::optional<Difference> find_difference(const Bytes& wanted, const Bytes& held, int address) {
  std::optional<Difference> difference;
  for (std::size_t at = 0; at < wanted.size(); ++at) {
    if (wanted[at] == held[at]) continue;
    if (!difference) {
      difference = Difference{0, address + static_cast<int>(at), held[at], wanted[at]};
    }
    ++difference->count;
  }
  return difference;
}

std::string describe(const Difference& difference) {
  return fmt::format("at 0x{:04X} the card holds {:02X}, not {:02X}", difference.address,
                     difference.held, difference.wanted);
}

}  // namespace quorra::cli
