// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Gives ten 4442 cards a number each, protects it, and gives them a code of their own:
// personalise_ten reader.conf
//
// It asks for the next card and waits for a line on standard input. A card is written only if it is
// new: its transport code is right, and the place of the number is empty. What was written is read
// back before it is protected, for that is final.
#include <algorithm>
#include <array>
#include <cstdio>
#include <quorra.hpp>

namespace {

using Code = std::array<unsigned char, 3>;
using Number = std::array<unsigned char, 4>;

constexpr Code transport_code = {0xFF, 0xFF, 0xFF};
constexpr int place = 0x08;  // among the first 32 bytes, which can be protected
constexpr int cards = 10;

// In decimal digits, two in a byte.
Number digits_of(unsigned number) {
  Number digits{};
  for (auto byte = digits.rbegin(); byte != digits.rend(); ++byte, number /= 100) {
    *byte = static_cast<unsigned char>(number / 10 % 10 * 16 + number % 10);
  }
  return digits;
}

// A program for real cards would get a code that nobody can guess from its number.
Code code_of(unsigned number) {
  return {0x5A, static_cast<unsigned char>(number >> 8U), static_cast<unsigned char>(number)};
}

// What went wrong; null if nothing did.
const char* personalise(const quorra::Card4442& card, unsigned number) {
  if (!card.probe()) return "this is no 4442";
  Number held{};
  if (!card.read(place, held)) return "it cannot be read";
  const bool is_empty =
      std::all_of(held.begin(), held.end(), [](unsigned char byte) { return byte == 0xFF; });
  if (!is_empty) return "it has a number already";
  // A wrong code would use up an attempt; a new card has three.
  if (card.attempts_left().value_or(0) < 3) return "somebody has tried codes on it";
  if (!card.present_code(transport_code)) return "it has another code";
  const Number digits = digits_of(number);
  if (!card.write(place, digits)) return "it cannot be written";
  if (!card.read(place, held) || held != digits) return "it holds something else than was written";
  if (!card.protect(place, digits)) return "it cannot be protected";
  if (!card.change_code(code_of(number))) return "its code cannot be changed";
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: personalise_ten reader.conf\n");
    return 2;
  }
  constexpr unsigned first_number = 20260001;
  for (int done = 0; done < cards;) {
    std::printf("card %d, please\n", done + 1);
    std::fflush(stdout);
    if (std::getchar() == EOF) return 1;
    // A session for each card: whatever happened to the last one is forgotten.
    const auto session = quorra::Session::open(argv[1]);
    if (!session) {
      std::fprintf(stderr, "no reader: %d\n", session.code());
      return 1;
    }
    const unsigned number = first_number + static_cast<unsigned>(done);
    const char* trouble = personalise(quorra::Card4442(*session), number);
    static_cast<void>(session->power_off());
    if (trouble == nullptr) {
      std::printf("number %u\n", number);
      ++done;
    } else {
      std::printf("put it aside: %s\n", trouble);
    }
  }
}
