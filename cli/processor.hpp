// Speaking with a processor card, in the card slot or as a SAM inside the reader.
#pragma once

#include <CLI/App.hpp>

#include <cstddef>
#include <optional>

#include "cli/connection.hpp"
#include "cli/parse.hpp"

namespace quorra::cli {

// Where the card is: the number of a SAM; absent for the card slot.
using SamNumber = std::optional<int>;

// --sam N
CLI::Option* add_sam(CLI::App& command, SamNumber& sam);

// Makes the SAM the one that is spoken with: switches the SAMs' power on and selects it. Nothing is
// to be done for the card slot. Throws Failure.
void select(const Connection& connection, SamNumber sam);

// Resets the card and returns its answer to reset, as long as the reader says it is. Throws
// Failure.
Bytes reset(const Connection& connection, SamNumber sam);

// What a card says to a command.
struct CardAnswer {
  Bytes data;
  unsigned status_words = 0;  // SW1 and SW2
};

// The longest APDU that fits a frame: n bytes for the card go as n + 5, which is up to 255, and a
// block needs four bytes of its own.
inline constexpr std::size_t longest_apdu = 255 - 5 - 4;

// APDUs, each in one block of the protocol T=1 with an LRC, and their answers. The blocks are
// numbered alternately from 0, as a card has it after its reset.
class Conversation {
 public:
  Conversation(const Connection& connection, SamNumber sam) : connection_(connection), sam_(sam) {}

  // Sends an APDU of up to `longest_apdu` bytes. What the card announces with 61xx is fetched with
  // GET RESPONSE, and a command to which it answers 6Cxx is repeated with the length xx. Throws
  // Failure, also when the answer is no good block or does not end after 65536 bytes.
  CardAnswer send(const Bytes& apdu);

 private:
  CardAnswer exchange(const Bytes& apdu);
  CardAnswer exchange_with_right_length(const Bytes& apdu);

  const Connection& connection_;
  SamNumber sam_;
  bool second_number_ = false;  // of the next block: 0, or 1
};

}  // namespace quorra::cli
