// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A card reader that plays a script: it expects these bytes and answers those.
//
// It is the other end of a real pseudo-terminal, and it acts whenever the library looks at the
// clock: everything happens on one thread, in an order that does not depend on the machine. The
// clock advances by a given step each time the library reads it, so that waits cost nothing and
// their limits can be told to the tick.
#pragma once

#include <termios.h>

#include <ctime>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/bytes.hpp"
#include "tests/support/process.hpp"
#include "tests/support/system.hpp"

namespace quorra::testing {

// How the library reaches the reader: on a serial device, or through the auxiliary port of the
// serial terminal that standard output is connected to.
enum class Mode { direct, terminal };

const char* name_of(Mode mode);

// The sequences of the terminal, as the configuration file of a ScriptedReader has them.
inline constexpr std::string_view start_sequence = "\033[5i";
inline constexpr std::string_view end_sequence = "\033[4i";
inline constexpr std::string_view set_sequence = "\033[set";
inline constexpr std::string_view init_sequence = "\033[init";
inline constexpr std::string_view close_sequence = "\033[close";

// While it lives, standard output is another descriptor. Negative: it is closed.
class StandardOutput {
 public:
  explicit StandardOutput(int descriptor);
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;
  ~StandardOutput();

 private:
  int saved_;
};

class ScriptedReader {
 public:
  explicit ScriptedReader(Mode mode = Mode::direct);
  ScriptedReader(const ScriptedReader&) = delete;
  ScriptedReader& operator=(const ScriptedReader&) = delete;
  // Fails the test if part of the script was not played or anything else was sent.
  ~ScriptedReader();

  Mode mode() const { return mode_; }
  const std::string& device() const { return line_->device; }
  // The terminal's or serial line's end that programs open; open as long as the reader lives.
  int line() const { return line_->slave; }
  const std::string& configuration() const { return line_->configuration; }

  // Calls ic_init or ic_init0 with the configuration file, with standard output on the line in
  // terminal mode.
  int init(int baud = 9600);
  int init0(int baud = 9600);

  // The script. A frame is expected as it arrives in this mode: each byte between the terminal's
  // sequences in terminal mode. Answers belong to what was expected last, and follow one another.
  ScriptedReader& expect(const Bytes& frame);
  ScriptedReader& expect_raw(const Bytes& bytes);
  ScriptedReader& answer(const Bytes& bytes);
  // Answers `ticks` after the answer before, or after the request.
  ScriptedReader& answer_after(std::clock_t ticks, const Bytes& bytes);
  // Where the script ends, answers each further frame with what `answer` makes of it; without bytes
  // for silence. In terminal mode it is given the frame without the terminal's sequences.
  void answer_with(std::function<Bytes(const Bytes& request)> answer) {
    answer_ = std::move(answer);
  }
  // What ic_init sends before its first frame in this mode, and ic_exit at the end.
  ScriptedReader& expect_opening();
  ScriptedReader& expect_closing();
  // The version request of ic_init and a good answer.
  ScriptedReader& expect_proof();

  // Sets the clock that the library sees, and by how much it advances with each reading.
  void set_clock(std::clock_t now, std::clock_t step);
  void set_step(std::clock_t step) { step_ = step; }
  std::clock_t now() const { return now_; }

  // Bytes that the reader sends on its own.
  void send(const Bytes& bytes) const;

  // Plays what can be played now; the destructor and each clock reading do so too.
  void play();
  bool finished() const { return steps_.empty(); }
  // Leaves the rest of the script unplayed.
  void forget() { steps_.clear(); }
  // Does not look at the end whether all that was sent was expected.
  void ignore_rest() { ignores_rest_ = true; }

 private:
  // A pseudo-terminal, and the file that names it.
  struct Line {
    Line();
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line();

    // As new, if nothing is left in it.
    bool renew() const;

    int master;
    int slave;
    std::string device;
    termios settings{};
    TemporaryDirectory folder;
    std::string configuration;
  };

  // Making a line takes most of the time of a test: one that was used is used again.
  static std::vector<std::unique_ptr<Line>>& idle_lines();
  static std::unique_ptr<Line> take_line();

  struct Answer {
    std::clock_t delay;
    Bytes bytes;
  };
  struct Step {
    Bytes request;
    std::deque<Answer> answers;
  };

  int open_session(int (*open)(const char*, int), int baud);
  bool receive_request();
  void answer_frames();
  Bytes receive(std::size_t count) const;

  Mode mode_;
  std::unique_ptr<Line> line_;
  std::deque<Step> steps_;
  std::function<Bytes(const Bytes& request)> answer_;
  Bytes frame_;  // what came of a frame for `answer_`
  std::size_t received_ = 0;
  bool answering_ = false;
  bool ignores_rest_ = false;
  std::clock_t answer_base_ = 0;
  std::clock_t now_ = 1'234'567;
  std::clock_t step_ = 20'000;
};

}  // namespace quorra::testing
