// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/cpu/live_card.hpp"

#include <fmt/core.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>

#include "simulator/cards/cpu/apdu.hpp"
#include "simulator/error.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

constexpr std::uint8_t power_off = 0;
constexpr std::uint8_t power_on = 1;
constexpr std::uint8_t warm_reset = 2;
constexpr std::uint8_t tell_answer_to_reset = 4;

constexpr std::size_t length_size = 2;
constexpr std::size_t longest_message = 0xFFFF;

constexpr std::size_t highest_port = 65535;

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

[[noreturn]] void fail(std::string_view address, std::string_view reason) {
  throw Error(fmt::format("{}: {}", address, reason));
}

Addresses look_up(std::string_view address) {
  const auto place = address.substr(std::min(address.size(), LiveCard::scheme.size()));
  const std::size_t colon = place.rfind(':');
  if (!address.starts_with(LiveCard::scheme) || colon == std::string_view::npos || colon == 0)
    fail(address, "a live card is vicc://HOST:PORT");
  const std::string host(place.substr(0, colon));
  const std::string port(place.substr(colon + 1));
  // Of a larger number, no more than the lower 16 bits would be used.
  const auto number = parse_number(port);
  if (!number || *number > highest_port)
    fail(address, fmt::format("the port must be 0 to {}", highest_port));
  addrinfo wanted{};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (const int error = ::getaddrinfo(host.c_str(), port.c_str(), &wanted, &found); error != 0)
    fail(address, ::gai_strerror(error));
  return {found, &freeaddrinfo};
}

FileDescriptor listen_at(std::string_view address) {
  const Addresses found = look_up(address);
  FileDescriptor listening(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const int yes = 1;
  if (!listening.is_open() ||
      ::setsockopt(listening.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
      ::bind(listening.get(), found->ai_addr, found->ai_addrlen) != 0 ||
      ::listen(listening.get(), 1) != 0)
    fail(address, system_error_text());
  return listening;
}

// The address with the port that the socket really has.
std::string with_port(std::string_view address, const FileDescriptor& socket) {
  sockaddr_in bound{};
  socklen_t size = sizeof bound;
  if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&bound), &size) != 0)
    fail(address, system_error_text());
  return fmt::format("{}:{}", address.substr(0, address.rfind(':')), ntohs(bound.sin_port));
}

// Whether the other end still holds the connection. It never speaks unasked.
bool is_held(const FileDescriptor& connection) {
  std::uint8_t byte = 0;
  const ssize_t count = ::recv(connection.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return count < 0 && (errno == EAGAIN || errno == EINTR);
}

}  // namespace

LiveCard::LiveCard(std::string_view address, std::chrono::milliseconds patience, int stop)
    : patience_(patience),
      stop_(stop),
      listening_(listen_at(address)) {
  address_ = with_port(address, listening_);
}

// An emulator that connects anew finds the power as it is.
bool LiveCard::is_present() {
  if (connection_.is_open() && !is_held(connection_)) hang_up();
  if (connection_.is_open()) return true;
  connection_ =
      FileDescriptor(::accept4(listening_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (connection_.is_open() && has_power_) control(power_on);
  return connection_.is_open();
}

void LiveCard::set_power(bool on) {
  has_power_ = on;
  control(on ? power_on : power_off);
}

std::optional<ProcessorCard::Bytes> LiveCard::reset() {
  control(warm_reset);
  return exchange(std::array{tell_answer_to_reset});
}

// A short command could be taken for a control, and the length of a message has two bytes.
std::optional<ProcessorCard::Bytes> LiveCard::transmit(std::span<const std::uint8_t> command) {
  if (command.size() < apdu_header_size || command.size() > longest_message)
    return Bytes{0x67, 0x00};
  return exchange(command);
}

void LiveCard::control(std::uint8_t code) {
  if (!connection_.is_open()) return;
  if (!send(std::array{code}, std::chrono::steady_clock::now() + patience_)) hang_up();
}

// An answer that comes too late would be taken for that of the next message.
std::optional<ProcessorCard::Bytes> LiveCard::exchange(std::span<const std::uint8_t> message) {
  if (!connection_.is_open()) return std::nullopt;
  const Deadline deadline = std::chrono::steady_clock::now() + patience_;
  std::array<std::uint8_t, length_size> length{};
  if (send(message, deadline) && receive(length, deadline)) {
    Bytes answer(static_cast<std::size_t>(length[0] << 8U | length[1]));
    if (receive(answer, deadline)) return answer;
  }
  hang_up();
  return std::nullopt;
}

bool LiveCard::becomes_ready(short events, Deadline deadline) const {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  std::array<pollfd, 2> polled{{
      {.fd = connection_.get(), .events = events, .revents = 0},
      {.fd = stop_, .events = POLLIN, .revents = 0},
  }};
  const int ready =
      ::poll(polled.data(), polled.size(), static_cast<int>(std::max<long>(0, left.count())));
  return ready > 0 && polled[1].revents == 0;
}

bool LiveCard::send(std::span<const std::uint8_t> message, Deadline deadline) {
  Bytes bytes{static_cast<std::uint8_t>(message.size() >> 8U),
              static_cast<std::uint8_t>(message.size())};
  bytes.insert(bytes.end(), message.begin(), message.end());
  std::span<const std::uint8_t> unsent = bytes;
  while (!unsent.empty()) {
    if (!becomes_ready(POLLOUT, deadline)) return false;
    const ssize_t sent = ::send(connection_.get(), unsent.data(), unsent.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno != EAGAIN && errno != EINTR) return false;
    unsent = unsent.subspan(static_cast<std::size_t>(std::max<ssize_t>(sent, 0)));
  }
  return true;
}

bool LiveCard::receive(std::span<std::uint8_t> bytes, Deadline deadline) {
  while (!bytes.empty()) {
    if (!becomes_ready(POLLIN, deadline)) return false;
    const ssize_t count = ::recv(connection_.get(), bytes.data(), bytes.size(), 0);
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
  return true;
}

}  // namespace quorra::simulator
