// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/simulator/support.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "simulator/cards/kinds.hpp"

namespace quorra::simulator::test {
namespace {

// Longer than any load on the machine should make a test wait; then something is wrong.
constexpr int patience_ms = 60'000;

// A frame whose length byte is the fourth.
Bytes framed(Bytes begin, std::string_view body) {
  const Bytes rest = hex(body);
  begin.push_back(static_cast<std::uint8_t>(rest.size()));
  return quorra::testing::sealed(joined({begin, rest}));
}

bool becomes_ready(int descriptor, short events, int timeout_ms) {
  pollfd polled{.fd = descriptor, .events = events, .revents = 0};
  return ::poll(&polled, 1, timeout_ms) > 0 && (polled.revents & events) != 0;
}

std::string device_named_by(const std::filesystem::path& configuration) {
  const std::string content = content_of(configuration);
  const std::size_t begin = content.find("\nP=");
  if (begin == std::string::npos) throw std::runtime_error("no device in " + content);
  return content.substr(begin + 3, content.find('\n', begin + 1) - begin - 3);
}

}  // namespace

Bytes joined(const std::vector<Bytes>& pieces) {
  Bytes whole;
  for (const Bytes& piece : pieces)
    whole.insert(whole.end(), piece.begin(), piece.end());
  return whole;
}

Bytes request(std::uint8_t command, std::string_view body) {
  return framed({0xAA, command, 0x00}, body);
}

Bytes reply(std::uint8_t status, std::string_view data) {
  return framed({0x55, status, 0x00}, data);
}

RawClient::RawClient(const std::filesystem::path& configuration)
    : device_(::open(device_named_by(configuration).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  termios settings{};
  ::tcgetattr(device_.get(), &settings);
  ::cfmakeraw(&settings);
  if (::tcsetattr(device_.get(), TCSANOW, &settings) != 0)
    throw std::runtime_error("the device cannot be set up");
}

void RawClient::set_speed(unsigned setting) const {
  termios settings{};
  if (::tcgetattr(device_.get(), &settings) != 0 || ::cfsetspeed(&settings, setting) != 0 ||
      ::tcsetattr(device_.get(), TCSANOW, &settings) != 0)
    throw std::runtime_error("the speed cannot be set");
}

void RawClient::send(std::span<const std::uint8_t> bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = ::write(device_.get(), bytes.data(), bytes.size());
    if (sent < 0) throw std::runtime_error("write: " + system_error_text());
    bytes = bytes.subspan(static_cast<std::size_t>(sent));
  }
}

Bytes RawClient::receive(std::size_t count) const {
  Bytes bytes(count);
  std::size_t filled = 0;
  while (filled < count) {
    if (!becomes_ready(device_.get(), POLLIN, patience_ms))
      throw std::runtime_error("nothing comes any more");
    const ssize_t received = ::read(device_.get(), bytes.data() + filled, count - filled);
    if (received <= 0) throw std::runtime_error("the line is gone");
    filled += static_cast<std::size_t>(received);
  }
  return bytes;
}

Bytes RawClient::receive_reply() const {
  Bytes frame = receive(4);
  const Bytes rest = receive(frame[3] + std::size_t{1});
  frame.insert(frame.end(), rest.begin(), rest.end());
  return frame;
}

Bytes RawClient::exchange(std::span<const std::uint8_t> bytes) const {
  send(bytes);
  return receive_reply();
}

bool RawClient::has_bytes() const { return becomes_ready(device_.get(), POLLIN, 0); }

bool RawClient::sees_hang_up() const { return becomes_ready(device_.get(), POLLHUP, patience_ms); }

std::filesystem::path new_card(const TemporaryFolder& folder, std::string_view kind,
                               std::string_view name) {
  auto path = folder.path() / name;
  save_image(Image(find_kind(kind)), path);
  return path;
}

Options with_new_card(const TemporaryFolder& folder, std::string_view kind) {
  Options options;
  options.card = new_card(folder, kind);
  return options;
}

ListeningChip::ListeningChip() : Chip(Image(find_kind("4432"))) {}

void run_and_kill(const std::function<void(const std::function<void()>& has_begun)>& work,
                  unsigned microseconds) {
  int channel[2];
  if (::pipe(channel) != 0) throw std::runtime_error("pipe: " + system_error_text());
  const FileDescriptor reading(channel[0]);
  FileDescriptor writing(channel[1]);
  const pid_t worker = ::fork();
  if (worker == 0) {
    try {
      work([&] {
        if (::write(writing.get(), "!", 1) != 1) ::_exit(1);
      });
    } catch (...) {
    }
    ::_exit(1);
  }
  writing = FileDescriptor();
  char told = 0;
  const bool has_begun = ::read(reading.get(), &told, 1) == 1;
  ::usleep(microseconds);
  int status = 0;
  if (worker < 0 || ::kill(worker, SIGKILL) != 0 || ::waitpid(worker, &status, 0) != worker)
    throw std::runtime_error("process: " + system_error_text());
  if (!has_begun || !WIFSIGNALED(status)) throw std::runtime_error("the work ended by itself");
}

void ListeningChip::contacts_changed(const Contacts& before, const Contacts& now) {
  changes.emplace_back(before, now);
  pull_io_low(now.clk);
  pull_c8_low(now.rst);
}

std::size_t ListeningChip::power_losses() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      changes, [](const auto& change) { return change.first.vcc && !change.second.vcc; }));
}

ServedBench::ServedBench(const Options& options)
    : bench_(options, folder_.path() / "reader.conf"),
      host_(bench_.configuration()),
      now_(Clock::now()) {}

void ServedBench::send(std::span<const std::uint8_t> bytes) {
  host_.send(bytes);
  // The kernel carries bytes over at a time of its own.
  int waiting = 0;
  while (static_cast<std::size_t>(waiting) < bytes.size()) {
    becomes_ready(bench_.descriptor(), POLLIN, patience_ms);
    if (::ioctl(bench_.descriptor(), FIONREAD, &waiting) != 0)
      throw std::runtime_error("ioctl: " + system_error_text());
  }
  bench_.serve(now_, true, true, wall_);
}

Bytes ServedBench::exchange(std::span<const std::uint8_t> bytes) {
  send(bytes);
  return host_.receive_reply();
}

BenchWithCard::BenchWithCard(std::string_view kind) : file_(new_card(folder_, kind)) {
  Image image(find_kind(kind));
  const auto memory = image.field("memory");
  std::iota(memory.begin(), memory.end(), std::uint8_t{0});
  save_image(image, file_);
  reader_.bench().insert(file_);
}

void BenchWithCard::pull_card() {
  Fault fault;
  fault.kind = FaultKind::pull_card;
  reader_.bench().arm(fault);
}

Bytes BenchWithCard::stored() const {
  const Image image = load_image(file_);
  const auto memory = image.field("memory");
  return {memory.begin(), memory.end()};
}

}  // namespace quorra::simulator::test
