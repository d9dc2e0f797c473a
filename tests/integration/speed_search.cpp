// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/integration/speed_search.hpp"

#include <quorra.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "simulator/control/unix_socket.hpp"
#include "tests/support/system.hpp"

namespace quorra::testing {
namespace {

// Each wait looks at the time more than once before it gives up.
constexpr std::clock_t step = CLOCKS_PER_SEC / 2;

std::string version_in_session(int handle) {
  std::array<unsigned char, 18> version{};
  const int code = srd_ver(handle, static_cast<int>(version.size()), version.data());
  ic_exit(handle);
  return code == 0 ? std::string(version.begin(), version.end())
                   : "srd_ver " + std::to_string(code);
}

}  // namespace

UnhurriedTime::UnhurriedTime(const std::filesystem::path& control_socket,
                             std::function<void()> carry)
    : reader_(simulator::connect_to(control_socket)),
      carry_(std::move(carry)) {
  if (!reader_.is_open()) throw std::runtime_error("no reader at the control socket");
  System::instance().clock = [this] { return look(); };
}

UnhurriedTime::~UnhurriedTime() { System::instance().reset(); }

std::clock_t UnhurriedTime::look() {
  carry_();
  let_the_reader_work();
  carry_();
  return now_ += step;
}

// The reader looks at its line before it looks at its socket, so the first question can overtake
// what has come to the line in between. Before the second, the line is looked at again.
void UnhurriedTime::let_the_reader_work() const {
  ask_the_reader();
  ask_the_reader();
}

void UnhurriedTime::ask_the_reader() const {
  constexpr std::string_view question = "{\"command\":\"state\"}\n";
  ssize_t count = send(reader_.get(), question.data(), question.size(), MSG_NOSIGNAL);
  for (char last = '\0'; last != '\n';) {
    std::array<char, 4096> answer{};
    if (count > 0) count = recv(reader_.get(), answer.data(), answer.size(), 0);
    if (count <= 0) throw std::runtime_error("the reader is gone");
    last = answer.at(static_cast<std::size_t>(count) - 1);
  }
}

std::string search(const char* configuration, const std::vector<int>& speeds) {
  std::string text = "found: " + std::to_string(chk_baud(configuration)) + "\n";
  for (const int speed : speeds) {
    const int handle = auto_init(configuration, speed);
    text += std::to_string(speed) + ": " +
            (handle > 0 ? version_in_session(handle) : std::to_string(handle)) + "\n";
  }
  return text;
}

}  // namespace quorra::testing
