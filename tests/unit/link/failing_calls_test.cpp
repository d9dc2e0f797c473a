// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Each system and C library call that the library makes fails, is interrupted or comes up short,
// one at a time, in every kind of operation. Whatever happens, the operation ends in its time with
// a code that it documents, and the session leaves nothing behind.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <quorra.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <map>
#include <optional>

#include "tests/support/guarded_bytes.hpp"
#include "tests/support/scripted_reader.hpp"

namespace quorra::testing {
namespace {

using Call = System::Call;

constexpr int ready = 0;  // a reader that does as it is told
constexpr int not_sent = -129;
constexpr int silence = -132;
constexpr int bad_reply = -133;
constexpr int no_reader = -136;

// A reader with its own memory and a card, which does what the frames tell it.
class ObedientReader {
 public:
  Bytes answer(const Bytes& request) {
    const std::size_t body = 4;
    const auto place = request.at(body + 3) * 256 + request.at(body + 4);
    const Bytes data(request.begin() + body + 5, request.end() - 1);
    switch (request.at(1)) {
      case 0x60:
      case 0x62:
      case 0x75:
      case 0xB6:
        for (std::size_t i = 0; i < data.size(); ++i)
          memory_[place + static_cast<int>(i)] = data[i];
        return reply(0, {});
      case 0x61:
      case 0xB7:
        return reply(0, read(place, data.back()));
      case 0x74:
        return reply(0, Bytes(4));
      case 0x20:
        return reply(0, hex("3B 00"));
      case 0x21:
        return reply(0, hex("00 00 02 90 00 92"));
      case 0xB0:
        return reply(0, text("OBEDIENT-1"));
      default:
        return reply(0, {});
    }
  }

 private:
  Bytes read(int place, int count) {
    Bytes bytes;
    for (int i = 0; i < count; ++i)
      bytes.push_back(memory_[place + i]);
    return bytes;
  }

  std::map<int, unsigned char> memory_;
};

// What an operation is given to fill: `size` bytes and not one more.
struct Output {
  explicit Output(std::size_t size) : bytes(Bytes(size, 0xEE)) {}
  GuardedBytes bytes;
};

struct Operation {
  const char* name;
  std::function<int(int handle)> call;
  // What it may return when a call fails for good, besides 0.
  std::vector<int> failures;
  int good = ready;
};

const Bytes command = hex("00 84 00 00 08");
const Bytes block = hex("00 00 05 00 84 00 00 08 89");
const Bytes three = hex("12 34 56");

std::vector<Operation> operations() {
  return {
      {"srd_4442",
       [](int handle) {
         Output output(3);
         return srd_4442(handle, 7, 3, output.bytes.data());
       },
       {not_sent, silence}},
      {"swr_4442",
       [](int handle) { return swr_4442(handle, 7, 3, three.data()); },
       {not_sent, silence}},
      {"pwr_4442",
       [](int handle) { return pwr_4442(handle, 7, 3, three.data()); },
       {not_sent, silence, -128}},
      {"srd_eeprom",
       [](int handle) {
         Output output(3);
         return srd_eeprom(handle, 7, 3, output.bytes.data());
       },
       {not_sent, silence}},
      {"swr_dvsc",
       [](int handle) { return swr_dvsc(handle, 3, three.data()); },
       {not_sent, silence}},
      {"val_inc", [](int handle) { return val_inc(handle, 7); }, {not_sent, silence}},
      {"get_status",
       [](int handle) {
         int status = 0;
         return get_status(handle, &status);
       },
       {not_sent, silence}},
      {"dv_beep", [](int handle) { return dv_beep(handle, 50); }, {not_sent, silence}},
      {"swr_1604",
       [](int handle) { return swr_1604(handle, 1, 7, 3, three.data()); },
       {not_sent, silence}},
      {"chk_24c64", chk_24c64, {bad_reply}},
      {"chk_45d041", chk_45d041, {not_sent, silence, bad_reply}, bad_reply},
      {"cpu_reset",
       [](int handle) {
         Output output(2);
         return cpu_reset(handle, output.bytes.data());
       },
       {not_sent, silence}},
      {"cpu_comres",
       [](int handle) {
         Output output(6);
         return cpu_comres(handle, 5, command.data(), output.bytes.data());
       },
       {not_sent, silence}},
      {"cpu_protocol",
       [](int handle) {
         Output output(3 + 6);
         return cpu_protocol(handle, 9, block.data(), output.bytes.data());
       },
       {not_sent, silence}},
      {"sam_reset",
       [](int handle) {
         int length = 0;
         Output output(2);
         return sam_reset(handle, &length, output.bytes.data());
       },
       {not_sent, silence}},
      {"sam_protocol",
       [](int handle) {
         Output output(3 + 6);
         return sam_protocol(handle, 9, block.data(), output.bytes.data());
       },
       {not_sent, silence}},
  };
}

// A way in which a call fails.
struct Failure {
  const char* name;
  Call call;
  std::optional<ssize_t> result;  // of a read or write; other calls have one way to fail
  int error;
  bool lasts;     // from the failing call on; otherwise that one alone
  bool harmless;  // the operation goes on as if nothing was
};

constexpr Failure line_failures[] = {
    {"a read finds nothing", Call::read, 0, 0, false, true},
    {"a read is interrupted", Call::read, -1, EINTR, false, true},
    {"a read fails", Call::read, -1, EIO, false, true},
    {"each read fails", Call::read, -1, EIO, true, false},
    {"a write is interrupted", Call::write, -1, EINTR, false, true},
    {"a write finds no room", Call::write, -1, EAGAIN, false, true},
    {"a write fails", Call::write, -1, EIO, false, false},
    {"a write writes nothing", Call::write, 0, 0, false, false},
    {"a write takes a part", Call::write, 1, 0, false, true},
    {"each write takes a part", Call::write, 1, 0, true, true},
    {"each write fails", Call::write, -1, EIO, true, false},
    {"each write finds no room", Call::write, -1, EAGAIN, true, false},
    {"poll is interrupted", Call::poll, {}, EINTR, false, true},
    {"poll fails", Call::poll, {}, ENOMEM, true, true},
};

constexpr Failure session_failures[] = {
    {"the line's settings are not told", Call::get_settings, {}, EIO, false, true},
    {"the line's settings are not set", Call::set_settings, {}, EIO, true, true},
    {"a queue is not emptied", Call::flush, {}, EIO, false, true},
    {"the line goes on blocking", Call::control, {}, EIO, false, true},
    {"a close fails", Call::close, {}, EIO, false, true},
    {"the configuration file is not closed", Call::close_file, {}, EIO, false, true},
    {"the line is not opened", Call::open, {}, EACCES, true, false},
    {"opening the line is interrupted", Call::open, {}, EINTR, true, false},
    {"the terminal has no name", Call::name_terminal, {}, ENOTTY, true, false},
    {"the configuration file is not opened", Call::open_file, {}, EMFILE, true, false},
    {"the configuration file is not read", Call::read_line, {}, EIO, true, false},
};

bool is_of_the_line(Call call) {
  return call == Call::read || call == Call::write || call == Call::poll;
}

// While it lives, call number `at` (from 0) of a kind fails, and so do later ones where that lasts.
class Armed {
 public:
  Armed(const Failure& failure, long at, int line) : failure_(failure), at_(at), line_(line) {
    System& system = System::instance();
    if (failure.call == Call::read) {
      system.before_read = [this] { return give(); };
    } else if (failure.call == Call::write) {
      system.before_write = [this](const Bytes& bytes) { return give(bytes); };
    } else {
      system.fails = [this](Call call) { return call == failure_.call && happens(); };
    }
  }
  Armed(const Armed&) = delete;
  Armed& operator=(const Armed&) = delete;
  ~Armed() { disarm(); }

  void disarm() {
    System& system = System::instance();
    system.before_read = nullptr;
    system.before_write = nullptr;
    system.fails = nullptr;
  }
  // Whether the operation made so many calls.
  bool happened() const { return calls_ > at_; }

 private:
  bool happens() {
    const long call = calls_++;
    if (call != at_ && !(failure_.lasts && call > at_)) return false;
    errno = failure_.error;
    return true;
  }
  std::optional<ssize_t> give() { return happens() ? failure_.result : std::nullopt; }
  // What a write takes goes over the line.
  std::optional<ssize_t> give(const Bytes& bytes) {
    const auto result = give();
    if (result.value_or(0) <= 0) return result;
    return system_write(line_, bytes.data(), static_cast<std::size_t>(*result));
  }

  const Failure& failure_;
  long at_;
  int line_;
  long calls_ = 0;
};

std::ptrdiff_t open_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

termios settings_of(int descriptor) {
  termios settings{};
  EXPECT_EQ(tcgetattr(descriptor, &settings), 0);
  return settings;
}

void expect_same_settings(const termios& left, const termios& right) {
  EXPECT_EQ(left.c_iflag, right.c_iflag);
  EXPECT_EQ(left.c_oflag, right.c_oflag);
  EXPECT_EQ(left.c_cflag, right.c_cflag);
  EXPECT_EQ(left.c_lflag, right.c_lflag);
  EXPECT_TRUE(std::equal(std::begin(left.c_cc), std::end(left.c_cc), std::begin(right.c_cc)));
}

bool is_one_of(const std::vector<int>& codes, int code) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

class FailingCalls : public ::testing::TestWithParam<Mode> {
 protected:
  // On a terminal each character, and each of the sequences around it, is a call of its own; not
  // all of so many have to fail. Every thirteenth meets characters and both kinds of sequences.
  static long next(long at) {
    constexpr long all_of_them = 20;
    constexpr long further_on = 13;
    return GetParam() == Mode::terminal && at >= all_of_them ? at + further_on : at + 1;
  }

  // No operation here may take longer than all waits of a speed search, four attempts each.
  static constexpr long most_clock_readings = 20'000;

  // The first reader of a process makes the line that later ones find there.
  void SetUp() override { ScriptedReader(GetParam()).ignore_rest(); }

  // Opens the scene, runs `scene`, and looks at what is left of it.
  template <typename Scene>
  void play(bool restores, Scene scene) {
    const std::ptrdiff_t descriptors = open_descriptors();
    {
      ObedientReader obedient;  // answers until the other one is gone
      ScriptedReader reader(GetParam());
      reader.answer_with([&](const Bytes& request) { return obedient.answer(request); });
      System::instance().clock_readings = 0;
      const termios before = settings_of(reader.line());
      scene(reader);
      if (restores) expect_same_settings(settings_of(reader.line()), before);
      EXPECT_LT(System::instance().clock_readings, most_clock_readings);
      reader.ignore_rest();
    }
    EXPECT_EQ(open_descriptors(), descriptors);
  }
};

INSTANTIATE_TEST_SUITE_P(, FailingCalls, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

TEST_P(FailingCalls, EndOperationsWithTheirCodes) {
  for (const Operation& operation : operations()) {
    for (const Failure& failure : line_failures) {
      bool happened = true;
      for (long at = 0; happened && !HasFailure(); at = next(at)) {
        // A line that is dead from the first call on is dead enough.
        if (failure.lasts && at > 0) break;
        SCOPED_TRACE(std::string(operation.name) + ": " + failure.name + ", call " +
                     std::to_string(at));
        play(true, [&](ScriptedReader& reader) {
          const int handle = reader.init0();
          ASSERT_GE(handle, 0);
          Armed armed(failure, at, reader.line());
          const int result = operation.call(handle);
          happened = armed.happened();
          armed.disarm();
          if (!happened || failure.harmless) {
            EXPECT_EQ(result, operation.good);
          } else {
            EXPECT_TRUE(result == operation.good || is_one_of(operation.failures, result))
                << result;
          }
          EXPECT_EQ(ic_exit(handle), 0);
        });
      }
    }
  }
}

struct SessionOperation {
  const char* name;
  // Returns what the operation gave; a session that it opened is closed again.
  std::function<int(const char* path)> call;
  std::vector<int> failures;
};

int close_again(int handle) { return handle < 0 ? handle : ic_exit(handle); }

std::vector<SessionOperation> session_operations() {
  return {
      {"ic_init",
       [](const char* path) { return close_again(ic_init(path, 9600)); },
       {-1, -16, no_reader}},
      {"ic_init0",
       [](const char* path) { return close_again(ic_init0(path, 9600)); },
       {-1, no_reader}},
      {"chk_baud",
       [](const char* path) { return std::min(chk_baud(path), 0); },
       {-1, no_reader, -141}},
      {"auto_init",
       [](const char* path) { return close_again(auto_init(path, 9600)); },
       {no_reader}},
  };
}

TEST_P(FailingCalls, EndSessionsWithTheirCodes) {
  std::vector<Failure> failures(std::begin(session_failures), std::end(session_failures));
  failures.insert(failures.end(), std::begin(line_failures), std::end(line_failures));
  for (const SessionOperation& operation : session_operations()) {
    for (const Failure& failure : failures) {
      bool happened = true;
      for (long at = 0; happened && !HasFailure(); at = next(at)) {
        if (failure.lasts && is_of_the_line(failure.call) && at > 0) break;
        SCOPED_TRACE(std::string(operation.name) + ": " + failure.name + ", call " +
                     std::to_string(at));
        // Settings that were not told cannot be put back, nor ones that cannot be set.
        const bool restores =
            failure.call != Call::get_settings && failure.call != Call::set_settings;
        play(restores, [&](ScriptedReader& reader) {
          std::optional<StandardOutput> on_line;
          if (GetParam() == Mode::terminal) on_line.emplace(reader.line());
          Armed armed(failure, at, reader.line());
          const int result = operation.call(reader.configuration().c_str());
          happened = armed.happened();
          armed.disarm();
          on_line.reset();
          if (!happened || failure.harmless) {
            EXPECT_EQ(result, 0);
          } else {
            EXPECT_TRUE(result == 0 || is_one_of(operation.failures, result)) << result;
          }
        });
      }
    }
  }
}

}  // namespace
}  // namespace quorra::testing
