// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/program/replay.hpp"

#include <fmt/core.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <deque>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "simulator/bench/configuration_file.hpp"
#include "simulator/error.hpp"
#include "simulator/files.hpp"
#include "simulator/line/pseudo_terminal.hpp"
#include "simulator/program/output.hpp"
#include "simulator/stop_signals.hpp"
#include "toolkit/wire/decoding.hpp"
#include "toolkit/wire/pcapng.hpp"
#include "toolkit/wire/telling.hpp"

namespace quorra::simulator {
namespace {

using toolkit::Bytes;
using namespace toolkit::wire;
using WireTime = toolkit::wire::Time;

constexpr int exit_departed = 1;

WireTime now() {
  return std::chrono::duration_cast<WireTime>(std::chrono::steady_clock::now().time_since_epoch());
}

std::vector<Frame> frames_of(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Error(fmt::format("{}: cannot open: {}", path.string(), system_error_text()));
  const Bytes content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  Recording recording = read_recording(content);
  std::erase_if(recording.frames,
                [](const Frame& frame) { return frame.wholeness == Wholeness::screen; });
  const bool has_requests = std::ranges::any_of(
      recording.frames, [](const Frame& frame) { return frame.direction == Direction::request; });
  // What was cut is played as far as it goes.
  if (!recording.error.empty()) {
    const std::string text = fmt::format("{}: {}", path.string(), recording.error);
    if (!has_requests) throw Error(text);
    complain(text);
  }
  if (!has_requests) throw Error(fmt::format("{}: no request was recorded", path.string()));
  return recording.frames;
}

// A frame with its codes hidden, for people.
std::string shown(const Decoded& decoded) {
  return hex_of(decoded, 0, decoded.frame.bytes.size(), Codes::hidden);
}

// What a recording says of requests and of what is answered.
class Script {
 public:
  explicit Script(std::vector<Frame> frames) {
    Decoder decoder;
    for (Frame& frame : frames) {
      frames_.push_back(decoder.take(std::move(frame)));
    }
  }

  // Whether the program is where the recording is. Codes that were not recorded may be any.
  bool follows(const Frame& request) {
    skip_replies();
    received_ = decoder_.take(request);
    if (at_ == frames_.size()) return false;
    const Frame& expected = frames_[at_].frame;
    if (expected.bytes != request.bytes && expected.bytes != without_codes(received_)) return false;
    ++at_;
    return true;
  }

  // What is answered to the request that was followed, and how long after it.
  struct Answer {
    WireTime after;
    Bytes bytes;
  };
  std::vector<Answer> answers() {
    std::vector<Answer> found;
    const WireTime asked = frames_[at_ - 1].frame.time;
    for (; at_ < frames_.size() && is_reply(frames_[at_]); ++at_) {
      const Frame& frame = frames_[at_].frame;
      // A reply is needed to understand the next one.
      static_cast<void>(decoder_.take(frame));
      found.push_back({std::max(frame.time - asked, WireTime(0)), frame.bytes});
    }
    return found;
  }

  bool is_over() {
    skip_replies();
    return at_ == frames_.size();
  }

  // Where the program departed from the recording.
  std::string difference() const {
    if (at_ == frames_.size()) {
      return fmt::format("frame {}: expected the end of the recording, received {}",
                         frames_.size() + 1, shown(received_));
    }
    return fmt::format("frame {}: expected {}, received {}", frames_[at_].number,
                       shown(frames_[at_]), shown(received_));
  }

  // What it has not come to.
  std::string rest() const {
    return fmt::format("frame {}: expected {}, received nothing", frames_[at_].number,
                       shown(frames_[at_]));
  }

 private:
  static bool is_reply(const Decoded& decoded) {
    return decoded.frame.direction == Direction::reply;
  }
  void skip_replies() {
    while (at_ < frames_.size() && is_reply(frames_[at_])) {
      ++at_;
    }
  }

  std::vector<Decoded> frames_;
  std::size_t at_ = 0;
  Decoder decoder_;
  Decoded received_;
};

// The pseudo-terminal, with what is still to be sent.
class ReplayLine {
 public:
  ReplayLine() = default;

  const std::string& device() const { return terminal_.device(); }

  // Waits for the program or a signal, and sends what is due. False: a signal has come.
  bool wait(int signals, std::optional<WireTime> deadline) {
    for (const Due& due : unsent_) {
      deadline = deadline ? std::min(*deadline, due.time) : due.time;
    }
    const bool is_due = !unsent_.empty() && unsent_.front().time <= now();
    const auto line_events = static_cast<short>(is_due ? POLLIN | POLLOUT : POLLIN);
    std::array<pollfd, 2> polled{{
        {.fd = terminal_.descriptor(), .events = line_events, .revents = 0},
        {.fd = signals, .events = POLLIN, .revents = 0},
    }};
    int limit = -1;
    if (deadline && !is_due) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - now());
      limit = static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 1000));
    }
    if (::poll(polled.data(), polled.size(), limit) < 0 && errno != EINTR)
      throw Error(fmt::format("poll: {}", system_error_text()));
    send(now());
    return polled[1].revents == 0;
  }

  Bytes read() const {
    std::array<std::uint8_t, 4096> buffer{};
    const std::size_t count = terminal_.read(buffer);
    return {buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count)};
  }

  void answer(std::vector<Script::Answer> answers) {
    for (Script::Answer& answer : answers) {
      unsent_.push_back({now() + answer.after, std::move(answer.bytes)});
    }
  }

  // The program goes on, so it has all that was to come.
  void hurry() {
    for (Due& due : unsent_) {
      due.time = WireTime(0);
    }
    send(now());
  }

 private:
  struct Due {
    WireTime time;
    Bytes bytes;
  };

  void send(WireTime time) {
    while (!unsent_.empty() && unsent_.front().time <= time) {
      Bytes& bytes = unsent_.front().bytes;
      const std::size_t sent = terminal_.write(bytes);
      bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(sent));
      if (!bytes.empty()) return;
      unsent_.pop_front();
    }
  }

  PseudoTerminal terminal_;
  std::deque<Due> unsent_;
};

// False: the program has departed from the recording.
bool play(Script& script, ReplayLine& line, int signals) {
  Splitter splitter;
  while (line.wait(signals, splitter.deadline())) {
    for (const Frame& request : splitter.take(Direction::request, line.read(), now())) {
      line.hurry();
      if (!script.follows(request)) return false;
      line.answer(script.answers());
    }
  }
  return true;
}

}  // namespace

int replay(const std::filesystem::path& recording, const std::filesystem::path& configuration) {
  Script script(frames_of(recording));
  const sigset_t stopping = set_of_stop_signals();
  ::pthread_sigmask(SIG_BLOCK, &stopping, nullptr);
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  const FileDescriptor signals(::signalfd(-1, &stopping, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!signals.is_open()) throw Error(fmt::format("signalfd: {}", system_error_text()));

  const TemporaryFolder folder;
  ReplayLine line;
  ConfigurationFile file(configuration.empty() ? folder.path() / "reader.conf" : configuration);
  file.name_device(line.device());
  print(fmt::format("{}\n", file.path().string()));
  if (!play(script, line, signals.get())) {
    complain(script.difference());
    return exit_departed;
  }
  if (script.is_over()) return 0;
  complain(script.rest());
  return exit_departed;
}

}  // namespace quorra::simulator
