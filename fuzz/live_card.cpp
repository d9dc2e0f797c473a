// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The live card: an emulator at the other end of the socket that answers what it likes, in pieces,
// or is gone. The calls of the socket are those of this file, so that nothing is waited for.

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "fuzz/support/input.hpp"
#include "fuzz/support/simulator_line.hpp"
#include "simulator/cards/cpu/live_card.hpp"

using namespace quorra::fuzzing;
using namespace quorra::simulator;

namespace {

// What the emulator does; absent while no input runs.
Input* emulator = nullptr;
bool connected = false;

// One action for each call of a socket.
enum class Action : unsigned char { serve, less, would_wait, interrupted, fail, hang_up, count };

Action next_action() {
  if (emulator->empty()) return Action::hang_up;
  // Mostly it goes well.
  const unsigned char byte = emulator->byte();
  return byte < 0xA0 ? Action::serve : static_cast<Action>(byte % static_cast<int>(Action::count));
}

ssize_t fail(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

int accept4(int /*listening*/, sockaddr* /*address*/, socklen_t* /*size*/, int /*flags*/) {
  if (emulator == nullptr || emulator->empty() || emulator->byte() % 8 == 7)
    return static_cast<int>(fail(EAGAIN));
  connected = true;
  return static_cast<int>(::syscall(SYS_dup, STDIN_FILENO));
}

ssize_t recv(int /*socket*/, void* buffer, size_t size, int flags) {
  if (!connected) return 0;
  if ((flags & MSG_PEEK) != 0) {
    const unsigned char choice = emulator->byte();
    if (choice == 0xFF) connected = false;
    return choice < 0xF0 ? fail(EAGAIN) : choice == 0xF0 ? fail(EINTR) : choice == 0xFE ? 1 : 0;
  }
  std::size_t wanted = size;
  switch (next_action()) {
    case Action::serve:
    case Action::count:
      break;
    case Action::less:
      wanted = 1 + emulator->byte() % size;
      break;
    case Action::would_wait:
      return fail(EAGAIN);
    case Action::interrupted:
      return fail(EINTR);
    case Action::fail:
      return fail(ECONNRESET);
    case Action::hang_up:
      connected = false;
      return 0;
  }
  auto* const bytes = static_cast<unsigned char*>(buffer);
  // Long answers need not be given byte by byte.
  const Bytes given = emulator->bytes(std::min<std::size_t>(wanted, 64));
  std::fill_n(bytes, wanted, static_cast<unsigned char>(wanted));
  std::ranges::copy(given, bytes);
  return static_cast<ssize_t>(wanted);
}

ssize_t send(int /*socket*/, const void* /*bytes*/, size_t size, int /*flags*/) {
  if (!connected) return fail(EPIPE);
  switch (next_action()) {
    case Action::less:
      return static_cast<ssize_t>(size == 0 ? 0 : 1 + emulator->byte() % size);
    case Action::would_wait:
      return fail(EAGAIN);
    case Action::interrupted:
      return fail(EINTR);
    case Action::fail:
    case Action::hang_up:
      connected = false;
      return fail(EPIPE);
    default:
      return static_cast<ssize_t>(size);
  }
}

// It is as if the time were over at once.
int poll(pollfd* polled, nfds_t /*count*/, int /*timeout*/) {
  if (emulator == nullptr || emulator->byte() >= 0xF8) return 0;
  // Which of them was asked for is nothing that GCC would let this function read.
  polled->revents = POLLIN | POLLOUT;
  return 1;
}
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  constexpr int most_steps = 24;
  Input input({data, size});
  emulator = &input;
  connected = false;
  {
    // The address is looked up once.
    static LiveCard card("vicc://127.0.0.1:0");
    SimulatorLine line;
    line.reader.slot.insert_processor(card);
    for (int step = 0; step < most_steps && !input.empty(); ++step) {
      const unsigned char choice = input.byte();
      if (choice >= 0xE0) {
        line.reader.slot.power_off();
        continue;
      }
      // A reset, or bytes for the card.
      std::array<std::uint8_t, largest_frame> frame{
          request_start, choice < 0x40 ? std::uint8_t{0x20} : exchange_command, 0, 5, 0x20};
      std::size_t length = header_size + 5;
      if (choice >= 0x40) {
        const Bytes command = input.bytes(choice - std::size_t{0x40});
        std::ranges::copy(command, frame.begin() + static_cast<std::ptrdiff_t>(length));
        length += command.size();
      }
      frame[3] = static_cast<std::uint8_t>(length - header_size);
      std::uint8_t check = 0;
      for (std::size_t i = 0; i < length; ++i) {
        check ^= frame[i];
        line.take(frame[i]);
      }
      line.take(check);
    }
    line.reader.slot.remove();
    // The next run begins without a connection.
    connected = false;
    (void)card.is_present();
  }
  emulator = nullptr;
  return 0;
}
