// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quorra.h>
#include <termios.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/operation.hpp"
#include "tests/support/process.hpp"
#include "tests/support/scripted_reader.hpp"

namespace quorra::testing {
namespace {

// How often waits read the clock when it advances by this step: once at the start and, in a delay,
// until more than its time went by; in a wait for a byte, until all of it did.
constexpr std::clock_t step = 10'000;

constexpr long delay(std::clock_t ticks) { return 1 + ticks / step + 1; }

constexpr long silence = 1 + 4'000'000 / step;
constexpr long short_pause = delay(200'000);
constexpr long one_second = delay(1'000'000);
constexpr long two_seconds = delay(2'000'000);

// Bytes that are there take one reading each.
long reading(const Bytes& reply) { return static_cast<long>(reply.size()); }

struct SpeedCode {
  int baud;
  unsigned char code;
};

constexpr SpeedCode speed_codes[] = {
    {1200, 1},   {2400, 2},  {4800, 3},    {9600, 4},  {19200, 5}, {38400, 7},   {57600, 4},
    {115200, 4}, {300, 4},   {600, 4},     {0, 4},     {-1, 4},    {-1200, 4},   {1201, 4},
    {4799, 4},   {14400, 4}, {INT_MIN, 4}, {38401, 4}, {7, 4},     {INT_MAX, 4},
};

const Bytes speed_request = hex("AA B7 00 07 80 00 00 01 80 00 01 1A");
const Bytes done = hex("55 00 00 00 55");

Exchange held(unsigned char setting) { return {speed_request, reply(0, {setting})}; }

Exchange set(unsigned char setting) {
  return {sealed(hex("AA B1 00 06 80 00 00 00 00") + Bytes{setting}), done};
}

Operation setting(int baud, unsigned char before, unsigned char after) {
  return {"set_baud " + std::to_string(baud),
          [=](int handle) { return set_baud(handle, baud); },
          {held(before), set(after)}};
}

class LineSpeed : public ::testing::TestWithParam<Mode> {};

INSTANTIATE_TEST_SUITE_P(, LineSpeed, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

TEST_P(LineSpeed, IsSetByACodeBesideWhatElseTheByteHolds) {
  for (const SpeedCode& speed : speed_codes) {
    for (const unsigned char before : hex("00 05 0F 35 80 F0 FF")) {
      const auto after = static_cast<unsigned char>(before / 16 * 16 + speed.code);
      expect_result(setting(speed.baud, before, after), GetParam(), 0);
    }
  }
}

TEST_P(LineSpeed, IsSetInLiteralFrames) {
  const Operation operation{"set_baud 2400",
                            [](int handle) { return set_baud(handle, 2400); },
                            {{hex("AA B7 00 07 80 00 00 01 80 00 01 1A"), hex("55 00 00 01 35 61")},
                             {hex("AA B1 00 06 80 00 00 00 00 32 AF"), hex("55 00 00 00 55")}}};
  expect_result(operation, GetParam(), 0);
  expect_failures(operation, GetParam());
}

TEST_P(LineSpeed, TakesTheFirstByteOfALongReplyAndNothingOfAnEmptyOne) {
  Operation operation = setting(19200, 0, 0x95);
  operation.exchanges[0].reply = reply(0, hex("92 F1"));
  expect_result(operation, GetParam(), 0);
  expect_short_replies(setting(19200, 0x35, 0x35), GetParam(), 0, -133);
}

TEST(SetBaud, GivesTheReaderTwoSecondsAfterItTookTheSpeed) {
  const struct {
    Exchange read;
    Exchange written;
    int result;
    long readings;
  } rows[] = {
      {held(0x35), set(0x37), 0, 6 + 5 + two_seconds},
      {held(0x35), {set(0x37).request, hex("55 09 00 00 5C")}, -9, 6 + 5},
      {held(0x35), {set(0x37).request, {}}, -132, 6 + silence},
      {held(0x35), {set(0x37).request, hex("54")}, -128, 6 + 1},
  };
  for (const auto& row : rows) {
    ScriptedReader reader;
    const int handle = reader.init0();
    reader.set_step(step);
    reader.expect(row.read.request).answer(row.read.reply);
    reader.expect(row.written.request).answer(row.written.reply);
    System::instance().clock_readings = 0;
    EXPECT_EQ(set_baud(handle, 38400), row.result);
    EXPECT_EQ(System::instance().clock_readings, row.readings) << row.result;
    ic_exit(handle);
  }
}

TEST(SetBaud, IsOverOneTickAfterTwoSeconds) {
  constexpr std::clock_t second = 1'000'000;
  for (const auto& [ticks, looks] : {std::pair{second, 3}, std::pair{second + 1, 2}}) {
    ScriptedReader reader;
    const int handle = reader.init0();
    reader.expect(held(0x35).request).answer(held(0x35).reply);
    reader.expect(set(0x37).request).answer(set(0x37).reply);
    reader.set_step(ticks);
    System::instance().clock_readings = 0;
    EXPECT_EQ(set_baud(handle, 38400), 0);
    EXPECT_EQ(System::instance().clock_readings, 6 + 5 + 1 + looks) << ticks;
    ic_exit(handle);
  }
}

// The speed of the line while nobody has it open.
constexpr int nobody = 300;

int speed_of(int descriptor) {
  termios settings{};
  EXPECT_EQ(tcgetattr(descriptor, &settings), 0);
  switch (cfgetospeed(&settings)) {
    case B300:
      return nobody;
    case B1200:
      return 1200;
    case B2400:
      return 2400;
    case B4800:
      return 4800;
    case B9600:
      return 9600;
    case B19200:
      return 19200;
    case B38400:
      return 38400;
    default:
      return -1;
  }
}

// For how many readings of the clock the line had a speed.
struct Period {
  int baud;
  long readings;
  bool operator==(const Period&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Period& period) {
  return stream << period.baud << " for " << period.readings;
}

long open_descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

// A line on which somebody looks for a reader.
class Search {
 public:
  explicit Search(Mode mode) : reader(mode) {
    termios settings{};
    EXPECT_EQ(tcgetattr(reader.line(), &settings), 0);
    EXPECT_EQ(cfsetspeed(&settings, B300), 0);
    EXPECT_EQ(tcsetattr(reader.line(), TCSANOW, &settings), 0);
    reader.set_step(step);
    System::instance().clock = [this, advance = System::instance().clock] {
      const int baud = speed_of(reader.line());
      if (periods.empty() || periods.back().baud != baud) {
        periods.push_back({baud, 0});
        if (on_period) on_period();
      }
      ++periods.back().readings;
      return advance();
    };
    descriptors_ = open_descriptors();
  }
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  ~Search() { EXPECT_EQ(open_descriptors(), descriptors_) << "all is closed again"; }

  // Calls with standard output on the line in terminal mode.
  int run(const std::function<int(const char* path)>& call) {
    const std::string path = reader.configuration();
    if (reader.mode() == Mode::direct) return call(path.c_str());
    const StandardOutput on_line(reader.line());
    return call(path.c_str());
  }

  // What an opened line is asked, and what comes back.
  Search& asks_status(const Bytes& answer) {
    reader.expect_opening().expect(hex("AA B9 00 05 80 00 00 00 00 96")).answer(answer);
    return *this;
  }
  Search& asks_version(const Bytes& answer) {
    reader.expect_opening().expect(hex("AA B0 00 07 80 00 00 00 00 00 0A 97")).answer(answer);
    return *this;
  }
  Search& asks(const Exchange& exchange) {
    reader.expect(exchange.request).answer(exchange.reply);
    return *this;
  }
  Search& closes() {
    reader.expect_closing();
    return *this;
  }

  // Ends the session.
  void close(int handle) {
    closes();
    ic_exit(handle);
    reader.play();
  }

  ScriptedReader reader;
  std::vector<Period> periods;
  std::function<void()> on_period;  // called when the line has another speed

 private:
  long descriptors_ = 0;
};

const Bytes no_answer;
const Bytes status = sealed("55 00 00 01 01");
const Bytes version = reply(0, text("SCRIPTED-1"));

// The candidates in their order, at the speed that the line has then, and the pause before each.
struct Candidate {
  int baud;
  int direct;
  int terminal;
  long pause;

  int on_line(Mode mode) const { return mode == Mode::direct ? direct : terminal; }
};

constexpr Candidate candidates[] = {
    {9600, 9600, 9600, 0},
    {19200, 19200, 19200, two_seconds},
    {38400, 38400, 9600, short_pause},
    {4800, 9600, 4800, short_pause},
    {2400, 9600, 2400, short_pause},
    {1200, 9600, 1200, short_pause},
};
constexpr std::size_t candidate_count = std::size(candidates);

// The search up to the candidate with this number, which gives `answer`; none of those before does.
// Closes the line.
std::vector<Period> expect_search(Search& search, std::size_t last, const Bytes& answer,
                                  long readings) {
  std::vector<Period> periods;
  for (std::size_t i = 0; i <= last; ++i) {
    const int baud = candidates[i].on_line(search.reader.mode());
    if (i > 0) periods.push_back({nobody, candidates[i].pause});
    periods.push_back({baud, i < last ? silence : readings + short_pause});
    search.asks_status(i < last ? no_answer : answer).closes();
  }
  return periods;
}

TEST_P(LineSpeed, IsFoundInAGivenOrder) {
  for (std::size_t found = 0; found < candidate_count; ++found) {
    SCOPED_TRACE(candidates[found].baud);
    Search search(GetParam());
    const auto expected = expect_search(search, found, status, reading(status));
    EXPECT_EQ(search.run(chk_baud), candidates[found].baud);
    EXPECT_EQ(search.periods, expected);
  }
}

TEST_P(LineSpeed, IsNotFoundWithoutAnswer) {
  Search search(GetParam());
  const auto expected = expect_search(search, candidate_count - 1, no_answer, silence);
  EXPECT_EQ(search.run(chk_baud), -141);
  EXPECT_EQ(search.periods, expected);
}

TEST_P(LineSpeed, IsFoundByAnyValidReply) {
  for (const Bytes& answer : {reply(0x86, {}), reply(0xFF, hex("01 02")), reply(0, {})}) {
    Search search(GetParam());
    const auto expected = expect_search(search, 0, answer, reading(answer));
    EXPECT_EQ(search.run(chk_baud), 9600);
    EXPECT_EQ(search.periods, expected);
  }
}

TEST_P(LineSpeed, IsNotFoundByAReplyThatIsNotValid) {
  for (const Bytes& answer : {hex("54"), hex("55 00 00 00 54")}) {
    Search search(GetParam());
    search.asks_status(answer).closes().asks_status(status).closes();
    EXPECT_EQ(search.run(chk_baud), 19200);
    EXPECT_EQ(search.periods, (std::vector<Period>{{9600, reading(answer)},
                                                   {nobody, two_seconds},
                                                   {19200, reading(status) + short_pause}}));
  }
}

TEST_P(LineSpeed, CannotBeLookedForWithoutConfiguration) {
  Search search(GetParam());
  EXPECT_EQ(search.run([](const char*) { return chk_baud("/nowhere/reader.conf"); }), -1);
  EXPECT_EQ(search.run([](const char*) { return chk_baud(nullptr); }), -1);
  EXPECT_EQ(search.run([](const char*) { return auto_init("/nowhere/reader.conf", 9600); }), -136);
  EXPECT_EQ(search.run([](const char*) { return auto_init(nullptr, 9600); }), -136);
  EXPECT_EQ(search.periods, (std::vector<Period>{{nobody, 2 * one_second}}));
}

TEST_P(LineSpeed, CannotBeLookedForWithoutALine) {
  const TemporaryDirectory folder;
  const std::string file = folder / "reader.conf";
  // Without a line P, standard output is the line: here, it is none.
  write_file(file, GetParam() == Mode::direct ? "P=/nowhere/tty\n" : "W=x\nA=y\n");
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  int found = 0;
  int opened = 0;
  {
    Search search(Mode::direct);
    const StandardOutput none(ends[1]);
    found = chk_baud(file.c_str());
    opened = auto_init(file.c_str(), 9600);
  }
  close(ends[0]);
  close(ends[1]);
  EXPECT_EQ(found, -136);
  EXPECT_EQ(opened, -136);
}

constexpr const char* no_line = "P=/nowhere/a/line/whose/name/is/longer/than/any/other\n";

TEST_P(LineSpeed, MustBeOpenedAtTheFirstTwo) {
  // What becomes of the configuration while the first speed is tried.
  for (const auto& [content, result] : {std::pair{"", -1}, std::pair{no_line, -136}}) {
    Search search(GetParam());
    search.asks_status(no_answer).closes();
    search.on_period = [&search, replacement = std::string(content)] {
      std::filesystem::remove(search.reader.configuration());
      if (!replacement.empty()) write_file(search.reader.configuration(), replacement);
    };
    EXPECT_EQ(search.run(chk_baud), result);
    EXPECT_EQ(search.periods, (std::vector<Period>{{9600, silence}, {nobody, two_seconds}}));
  }
}

TEST_P(LineSpeed, NeedNotBeOpenedFromTheThirdOn) {
  for (const char* content : {"", no_line}) {
    SCOPED_TRACE(content);
    Search search(GetParam());
    search.asks_status(no_answer).closes().asks_status(no_answer).closes();
    search.on_period = [&search, content] {
      if (search.periods.size() != 3) return;
      std::filesystem::remove(search.reader.configuration());
      if (*content != '\0') write_file(search.reader.configuration(), content);
    };
    EXPECT_EQ(search.run(chk_baud), -141);
    // Four pauses before what could not be opened, and one after the last.
    EXPECT_EQ(
        search.periods,
        (std::vector<Period>{
            {9600, silence}, {nobody, two_seconds}, {19200, silence}, {nobody, 5 * short_pause}}));
  }
}

TEST_P(LineSpeed, IsFoundAfterALineThatCouldNotBeOpened) {
  Search search(GetParam());
  const std::string configuration = content_of(search.reader.configuration());
  search.asks_status(no_answer).closes().asks_status(no_answer).closes();
  search.asks_status(status).closes();
  long pauses = 0;
  search.on_period = [&] {
    if (search.periods.size() == 3) std::filesystem::remove(search.reader.configuration());
  };
  System::instance().clock = [&, advance = System::instance().clock] {
    // It comes back in the pause after the one before 38400.
    if (search.periods.size() == 4 && ++pauses == short_pause + 1) {
      write_file(search.reader.configuration(), configuration);
    }
    return advance();
  };
  EXPECT_EQ(search.run(chk_baud), 4800);
  EXPECT_EQ(
      search.periods,
      (std::vector<Period>{{9600, silence},
                           {nobody, two_seconds},
                           {19200, silence},
                           {nobody, 2 * short_pause},
                           {candidates[3].on_line(GetParam()), reading(status) + short_pause}}));
}

int auto_init_19200(const char* path) { return auto_init(path, 19200); }

std::vector<Period> operator+(std::vector<Period> left, const std::vector<Period>& right) {
  for (const Period& period : right) {
    if (!left.empty() && left.back().baud == period.baud) {
      left.back().readings += period.readings;
    } else {
      left.push_back(period);
    }
  }
  return left;
}

TEST_P(LineSpeed, IsLeftAsItIsWhereItIsTheOneWanted) {
  Search search(GetParam());
  search.asks_version(version);
  const int handle = search.run(auto_init_19200);
  EXPECT_GT(handle, 0);
  EXPECT_EQ(search.periods, (std::vector<Period>{{19200, reading(version)}}));
  search.close(handle);
}

// What auto_init does up to the session at the speed that it found, 9600.
std::vector<Period> expect_finding(Search& search) {
  search.asks_version(no_answer).closes();
  const std::vector<Period> before = {{19200, silence}, {nobody, one_second}};
  return before + expect_search(search, 0, status, reading(status));
}

TEST_P(LineSpeed, IsChangedToTheOneWanted) {
  Search search(GetParam());
  auto expected = expect_finding(search);
  search.asks_version(version).asks(held(0x34)).asks(set(0x35)).closes();
  search.asks_version(version);
  expected =
      expected + std::vector<Period>{{9600, reading(version) + 6 + 5 + two_seconds + one_second},
                                     {19200, reading(version)}};
  const int handle = search.run(auto_init_19200);
  EXPECT_GE(handle, 0);
  EXPECT_EQ(search.periods, expected);
  search.close(handle);
}

TEST_P(LineSpeed, IsChangedFromTheLastOneTried) {
  Search search(GetParam());
  search.asks_version(no_answer).closes();
  auto expected = std::vector<Period>{{19200, silence}, {nobody, one_second}} +
                  expect_search(search, candidate_count - 1, status, reading(status));
  search.asks_version(version).asks(held(0x01)).asks(set(0x05)).closes();
  search.asks_version(version);
  expected = expected + std::vector<Period>{{candidates[candidate_count - 1].on_line(GetParam()),
                                             reading(version) + 6 + 5 + two_seconds + one_second},
                                            {19200, reading(version)}};
  const int handle = search.run(auto_init_19200);
  EXPECT_GE(handle, 0);
  EXPECT_EQ(search.periods, expected);
  search.close(handle);
}

TEST_P(LineSpeed, CannotBeChangedWhereNoneIsFound) {
  Search search(GetParam());
  search.asks_version(no_answer).closes();
  const auto expected = std::vector<Period>{{19200, silence}, {nobody, one_second}} +
                        expect_search(search, candidate_count - 1, no_answer, silence);
  EXPECT_EQ(search.run(auto_init_19200), -136);
  EXPECT_EQ(search.periods, expected);
}

TEST_P(LineSpeed, CannotBeChangedWhereTheReaderFallsSilent) {
  Search search(GetParam());
  auto expected = expect_finding(search);
  search.asks_version(no_answer).closes();
  expected = expected + std::vector<Period>{{9600, silence}};
  EXPECT_EQ(search.run(auto_init_19200), -136);
  EXPECT_EQ(search.periods, expected);
}

TEST_P(LineSpeed, CannotBeChangedWhereTheReaderRefuses) {
  const struct {
    std::vector<Exchange> exchanges;
    long readings;
  } rows[] = {
      {{{speed_request, {}}}, silence},
      {{{speed_request, reply(1, {})}}, 5},
      {{held(0x34), {set(0x35).request, {}}}, 6 + silence},
      {{held(0x34), {set(0x35).request, reply(5, {})}}, 6 + 5},
      {{held(0x34), {set(0x35).request, reply(0xFF, {})}}, 6 + 5},
  };
  for (const auto& row : rows) {
    Search search(GetParam());
    auto expected = expect_finding(search);
    search.asks_version(version);
    for (const Exchange& exchange : row.exchanges)
      search.asks(exchange);
    search.closes();
    expected = expected + std::vector<Period>{{9600, reading(version) + row.readings}};
    EXPECT_EQ(search.run(auto_init_19200), -136);
    EXPECT_EQ(search.periods, expected);
  }
}

TEST_P(LineSpeed, IsOfNoUseWhereTheReaderDoesNotAnswerAtTheNewOne) {
  Search search(GetParam());
  auto expected = expect_finding(search);
  search.asks_version(version).asks(held(0x34)).asks(set(0x35)).closes();
  search.asks_version(reply(7, {})).closes();
  expected =
      expected +
      std::vector<Period>{{9600, reading(version) + 6 + 5 + two_seconds + one_second}, {19200, 5}};
  EXPECT_EQ(search.run(auto_init_19200), -136);
  EXPECT_EQ(search.periods, expected);
}

TEST_P(LineSpeed, IsOfNoUseWhereTheLineCannotBeOpenedAgain) {
  Search search(GetParam());
  auto expected = expect_finding(search);
  search.asks_version(version).asks(held(0x34)).asks(set(0x35)).closes();
  const long asked = reading(status) + short_pause + reading(version) + 6 + 5;
  System::instance().clock = [&, advance = System::instance().clock] {
    if (search.periods.size() == expected.size() && search.periods.back().readings > asked) {
      std::filesystem::remove(search.reader.configuration());
    }
    return advance();
  };
  EXPECT_EQ(search.run(auto_init_19200), -136);
  expected =
      expected + std::vector<Period>{{9600, reading(version) + 6 + 5 + two_seconds + one_second}};
  EXPECT_EQ(search.periods, expected);
}

// While it lives, the descriptor of this number is a file that leaves its number free on demand.
class Descriptor {
 public:
  explicit Descriptor(int number)
      : number_(number),
        saved_(dup(number)),
        file_(open("/dev/null", O_RDONLY | O_CLOEXEC)) {
    EXPECT_EQ(dup2(file_, number_), number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    dup2(saved_, number_);
    close(saved_);
    close(file_);
  }

  void free() const { close(number_); }
  bool takes_it_again() const { return open("/dev/null", O_RDONLY | O_CLOEXEC) == number_; }

 private:
  int number_;
  int saved_;
  int file_;
};

TEST(HandleOne, IsASession) {
  const Descriptor one(1);
  Search search(Mode::direct);
  search.asks_version(version);
  one.free();
  const int handle = search.run(auto_init_19200);
  search.close(handle);
  EXPECT_TRUE(one.takes_it_again());
  EXPECT_EQ(handle, 1);
  EXPECT_EQ(search.periods, (std::vector<Period>{{19200, reading(version)}}));
}

TEST(HandleZero, IsTakenForAFailureAtFirst) {
  const Descriptor zero(0);
  Search search(Mode::direct);
  search.asks_version(version);
  search.asks_status(status);
  search.asks_version(version).asks(held(0x34)).asks(set(0x35));
  search.asks_version(version);
  zero.free();
  const int handle = search.run(auto_init_19200);
  EXPECT_GT(handle, 0);
  // Nobody closes the first one, so the end of the next session puts its speed back.
  EXPECT_EQ(search.periods,
            (std::vector<Period>{{19200, reading(version) + one_second},
                                 {9600, reading(status) + short_pause + reading(version) + 6 + 5 +
                                            two_seconds + one_second},
                                 {19200, reading(version)}}));
  search.close(handle);
}

TEST(HandleZero, IsASessionAfterThat) {
  const Descriptor zero(0);
  Search search(Mode::direct);
  auto expected = expect_finding(search);
  search.asks_version(version).asks(held(0x34)).asks(set(0x35));
  search.asks_version(version);
  expected =
      expected + std::vector<Period>{{9600, reading(version) + 6 + 5 + two_seconds + one_second},
                                     {19200, reading(version)}};
  search.on_period = [&search, &zero] {
    if (search.periods.size() == 2) zero.free();
  };
  EXPECT_EQ(search.run(auto_init_19200), 0);
  EXPECT_EQ(search.periods, expected);
  search.close(0);
  EXPECT_TRUE(zero.takes_it_again());
}

}  // namespace
}  // namespace quorra::testing
