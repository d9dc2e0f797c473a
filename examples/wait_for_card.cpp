// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Waits for cards, tells what each of them begins with, and waits until it is taken out:
// wait_for_card reader.conf CARDS
//
// A reader does not tell by itself that a card has come. It is asked: a 24C card that can be read
// is there, and one that cannot be read is not. Between two questions the program sleeps.
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <quorra.hpp>
#include <thread>

namespace {

using namespace std::chrono_literals;

// What a program that runs for days should tell apart: a reader that refuses answers, and there is
// just no card; one that does not answer is gone.
enum class Slot { empty, card, lost };

Slot look(const quorra::Session& session, std::array<unsigned char, 8>& bytes) {
  const auto done = quorra::Card24c16(session).read(0, bytes);
  if (done) return Slot::card;
  switch (done.error()) {
    case quorra::Error::timeout:
    case quorra::Error::not_written:
      return Slot::lost;
    default:
      return Slot::empty;
  }
}

// Asks until the slot is as it is wanted; false if the reader is lost.
bool wait_until(const quorra::Session& session, Slot wanted, std::array<unsigned char, 8>& bytes) {
  for (Slot slot = look(session, bytes); slot != wanted; slot = look(session, bytes)) {
    if (slot == Slot::lost) return false;
    std::this_thread::sleep_for(50ms);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: wait_for_card reader.conf CARDS\n");
    return 2;
  }
  const auto session = quorra::Session::open(argv[1]);
  if (!session) {
    std::fprintf(stderr, "no reader: %d\n", session.code());
    return 1;
  }
  std::array<unsigned char, 8> bytes{};
  for (int cards = std::atoi(argv[2]); cards > 0; --cards) {
    std::puts("waiting for a card");
    std::fflush(stdout);
    if (!wait_until(*session, Slot::card, bytes)) break;
    std::printf("a card:");
    for (const unsigned char byte : bytes)
      std::printf(" %02X", byte);
    std::puts("\nwaiting until it is taken out");
    std::fflush(stdout);
    if (!wait_until(*session, Slot::empty, bytes)) break;
    if (cards == 1) return 0;
  }
  std::fprintf(stderr, "the reader does not answer any more\n");
  return 1;
}
