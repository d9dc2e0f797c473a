// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quorra.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "tests/support/operation.hpp"
#include "tests/support/scripted_reader.hpp"

namespace quorra::testing {
namespace {

const Bytes short_version_request = hex("AA B0 00 07 80 00 00 00 00 00 0A 97");
const Bytes long_version_request = hex("AA B0 00 07 80 00 00 00 00 00 12 8F");

termios settings_of(int descriptor) {
  termios settings{};
  EXPECT_EQ(tcgetattr(descriptor, &settings), 0);
  return settings;
}

// Settings that no session would choose.
void unsettle(int descriptor) {
  termios settings = settings_of(descriptor);
  settings.c_iflag = ICRNL | IXON;
  settings.c_oflag = OPOST | ONLCR;
  settings.c_cflag = B300 | CS8 | CREAD | PARODD;
  settings.c_lflag = ICANON | ECHO;
  settings.c_cc[VMIN] = 3;
  settings.c_cc[VTIME] = 7;
  settings.c_cc[VINTR] = 1;
  EXPECT_EQ(tcsetattr(descriptor, TCSANOW, &settings), 0);
}

void expect_same_settings(const termios& left, const termios& right) {
  EXPECT_EQ(left.c_iflag, right.c_iflag);
  EXPECT_EQ(left.c_oflag, right.c_oflag);
  EXPECT_EQ(left.c_cflag, right.c_cflag);
  EXPECT_EQ(left.c_lflag, right.c_lflag);
  EXPECT_EQ(left.c_line, right.c_line);
  EXPECT_TRUE(std::equal(std::begin(left.c_cc), std::end(left.c_cc), std::begin(right.c_cc)));
}

// Writes a file and returns its name.
std::string file_with(const std::string& name, std::string_view content) {
  write_file(name, content);
  return name;
}

bool is_open(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

class PortSession : public ::testing::TestWithParam<Mode> {
 protected:
  PortSession() {
    Reader_Type = 0;
    std::memset(DRVCOMM, 0, sizeof DRVCOMM);
  }
  ~PortSession() override { System::instance().reset(); }

  Mode mode() const { return GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(, PortSession, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

TEST_P(PortSession, OpensProvesAndCloses) {
  ScriptedReader reader(mode());
  reader.expect_proof();
  const int handle = reader.init();
  ASSERT_GE(handle, 0);
  EXPECT_TRUE(is_open(handle));
  EXPECT_EQ(term_flg, mode() == Mode::direct ? 1 : 0);
  EXPECT_TRUE(reader.finished());

  reader.expect_closing();
  EXPECT_EQ(ic_exit(handle), 0);
  EXPECT_FALSE(is_open(handle));
}

TEST_P(PortSession, OpensWithoutProof) {
  ScriptedReader reader(mode());
  reader.expect_opening();
  const int handle = reader.init0();
  ASSERT_GE(handle, 0);
  reader.expect_closing();
  EXPECT_EQ(ic_exit(handle), 0);
  EXPECT_FALSE(is_open(handle));
}

struct Speed {
  int baud;
  tcflag_t direct;
  tcflag_t terminal;
};

constexpr Speed speeds[] = {
    {1200, B9600, B1200},    {2400, B9600, B2400},     {4800, B9600, B4800},
    {9600, B9600, B9600},    {19200, B19200, B19200},  {38400, B38400, B9600},
    {57600, B57600, B9600},  {115200, B115200, B9600}, {0, B9600, B9600},
    {-9600, B9600, B9600},   {300, B9600, B9600},      {9601, B9600, B9600},
    {230400, B9600, B9600},  {13, B9600, B9600},       {INT_MIN, B9600, B9600},
    {INT_MAX, B9600, B9600},
};

TEST_P(PortSession, SetsTheLine) {
  for (const Speed& speed : speeds) {
    SCOPED_TRACE(speed.baud);
    for (const bool with_proof : {true, false}) {
      ScriptedReader reader(mode());
      unsettle(reader.line());
      const termios before = settings_of(reader.line());
      with_proof ? reader.expect_proof() : reader.expect_opening();
      const int handle = with_proof ? reader.init(speed.baud) : reader.init0(speed.baud);
      ASSERT_GE(handle, 0);

      const tcflag_t code = mode() == Mode::direct ? speed.direct : speed.terminal;
      // What was asked for: all fields zero but these.
      EXPECT_EQ(nport.c_iflag, 0U);
      EXPECT_EQ(nport.c_oflag, 0U);
      EXPECT_EQ(nport.c_cflag, code | 0x8F0);
      EXPECT_EQ(nport.c_lflag, 5U);
      EXPECT_EQ(nport.c_line, 0);
      for (const cc_t character : nport.c_cc)
        EXPECT_EQ(character, 0);
      EXPECT_EQ(nport.c_ispeed, 0U);
      EXPECT_EQ(nport.c_ospeed, 0U);
      // What the kernel holds, seen from the other side.
      const termios line = settings_of(reader.line());
      EXPECT_EQ(line.c_iflag, 0U);
      EXPECT_EQ(line.c_oflag, 0U);
      EXPECT_EQ(line.c_cflag, code | CLOCAL | CREAD | CSTOPB | CS8);
      EXPECT_EQ(line.c_lflag, static_cast<tcflag_t>(ISIG | XCASE));
      EXPECT_EQ(line.c_cc[VMIN], 0);
      EXPECT_EQ(line.c_cc[VTIME], 0);
      EXPECT_EQ(line.c_cc[VINTR], 0);
      EXPECT_EQ(cfgetospeed(&line), code);

      expect_same_settings(oport, before);
      reader.expect_closing();
      EXPECT_EQ(ic_exit(handle), 0);
      expect_same_settings(settings_of(reader.line()), before);
    }
  }
}

TEST(PortSpeed, CodesAreThoseOfThePlatform) {
  EXPECT_EQ(B57600, 0x1001U);
  EXPECT_EQ(B115200, 0x1002U);
}

TEST_P(PortSession, FlushesTheInputThenTheOutputBeforeItSends) {
  ScriptedReader reader(mode());
  reader.send(hex("FF FF FF FF"));
  reader.expect_proof();
  std::size_t flushes_before_writing = 0;
  System::instance().before_write = [&](const Bytes&) {
    if (System::instance().writes.empty()) {
      flushes_before_writing = System::instance().flushes.size();
    }
    return std::optional<ssize_t>();
  };
  const int handle = reader.init();
  ASSERT_GE(handle, 0) << "old input is no answer";
  EXPECT_EQ(System::instance().flushes, (std::vector<int>{TCIFLUSH, TCOFLUSH}));
  EXPECT_EQ(flushes_before_writing, 2U);
  System::instance().before_write = nullptr;
  reader.expect_closing();
  ic_exit(handle);
}

TEST(TerminalSession, WritesEachSequenceWhole) {
  ScriptedReader reader(Mode::terminal);
  reader.expect_opening();
  const int handle = reader.init0();
  reader.expect_closing();
  ic_exit(handle);
  std::vector<Bytes> writes;
  for (const System::Write& write : System::instance().writes)
    writes.push_back(write.bytes);
  EXPECT_EQ(writes, (std::vector<Bytes>{text("\033[set"), text("\033[init"), text("\033[close")}));
}

TEST(TerminalSession, DoesWithoutOpeningAndClosingSequences) {
  ScriptedReader reader(Mode::terminal);
  const TemporaryDirectory folder;
  const std::string file = file_with(folder / "conf", "W=\\033[5i\nA=\\033[4i\n");
  reader.expect(short_version_request).answer(reply(0, text("0123456789")));
  int handle = -1;
  {
    const StandardOutput on_line(reader.line());
    handle = ic_init(file.c_str(), 9600);
  }
  EXPECT_GE(handle, 0);
  EXPECT_EQ(ic_exit(handle), 0);
}

TEST(TerminalSession, FailsWithoutTheSequencesAroundABytes) {
  for (const char* content : {"", "S=\\033[set\nC=\\033[close\nA=\\033[4i\n"}) {
    ScriptedReader reader(Mode::terminal);
    const TemporaryDirectory folder;
    const std::string file = file_with(folder / "conf", content);
    if (*content != '\0') reader.expect_raw(text("\033[set\033[close"));
    const StandardOutput on_line(reader.line());
    EXPECT_EQ(ic_init(file.c_str(), 9600), -136);
  }
}

TEST(TerminalSession, NeedsATerminalOnStandardOutput) {
  const TemporaryDirectory folder;
  const std::string file = file_with(folder / "conf", "W=x\nA=y\n");
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  for (const int output : {ends[1], -1}) {
    int results[2];
    {
      const StandardOutput none(output);
      results[0] = ic_init(file.c_str(), 9600);
      results[1] = ic_init0(file.c_str(), 9600);
    }
    EXPECT_EQ(results[0], -136);
    EXPECT_EQ(results[1], -136);
  }
  close(ends[0]);
  close(ends[1]);
}

TEST_P(PortSession, RefusesAMissingConfigurationFile) {
  term_flg = mode() == Mode::direct ? 1 : 0;
  for (char* text :
       {SETAUX, CLOSEAUX, INITAUX, AUXSTARTWRITE, AUXENDWRITE, ENABLEKEYBOARD, DISABLEKEYBOARD}) {
    std::memset(text, 'x', sizeof SETAUX);
  }
  std::strcpy(DRVCOMM, "/dev/kept");
  EXPECT_EQ(ic_init("/nowhere/reader.conf", 9600), -1);
  EXPECT_EQ(ic_init0("/nowhere/reader.conf", 9600), -1);
  EXPECT_EQ(ic_init(nullptr, 9600), -1);
  EXPECT_EQ(ic_init0(nullptr, 9600), -1);
  EXPECT_EQ(term_flg, mode() == Mode::direct ? 1 : 0);
  for (const char* text :
       {SETAUX, CLOSEAUX, INITAUX, AUXSTARTWRITE, AUXENDWRITE, ENABLEKEYBOARD, DISABLEKEYBOARD}) {
    EXPECT_EQ(std::count(text, text + 60, '\0'), 60) << "cleared before the file is read";
  }
  EXPECT_STREQ(DRVCOMM, "/dev/kept");
}

TEST(DirectSession, TellsADeviceThatCannotBeOpened) {
  const TemporaryDirectory folder;
  std::memset(DRVCOMM, 0, sizeof DRVCOMM);
  for (const char* content : {"P=/nowhere/ttyS0\n", "P=/\n", "P=\n", "P\n"}) {
    std::memset(DRVCOMM, 0, sizeof DRVCOMM);
    const std::string file = file_with(folder / "conf", content);
    EXPECT_EQ(ic_init(file.c_str(), 9600), -16) << content;
    EXPECT_EQ(ic_init0(file.c_str(), 9600), -136) << content;
  }
}

TEST(DirectSession, KeepsTheTailOfALongerDevicePath) {
  const TemporaryDirectory folder;
  const std::string first =
      file_with(folder / "first", "S=set\nI=init\nW=w\nA=a\nC=c\nE=e\nD=d\nP=/nowhere/ttyUSB10\n");
  const std::string second = file_with(folder / "second", "P=/nowhere/ttyS1\n");
  std::memset(DRVCOMM, 0, sizeof DRVCOMM);
  EXPECT_EQ(ic_init(first.c_str(), 9600), -16);
  EXPECT_STREQ(DRVCOMM, "/nowhere/ttyUSB10");
  EXPECT_STREQ(ENABLEKEYBOARD, "e");
  EXPECT_STREQ(DISABLEKEYBOARD, "d");
  EXPECT_EQ(ic_init(second.c_str(), 9600), -16);
  EXPECT_STREQ(DRVCOMM, "/nowhere/ttyS1B10");
  for (const char* text :
       {SETAUX, CLOSEAUX, INITAUX, AUXSTARTWRITE, AUXENDWRITE, ENABLEKEYBOARD, DISABLEKEYBOARD}) {
    EXPECT_STREQ(text, "");
  }
}

TEST(DirectSession, UsesADescriptorWithoutSettingsAsItStands) {
  const TemporaryDirectory folder;
  const std::string file = file_with(folder / "conf", "P=/dev/null\n");
  std::memset(DRVCOMM, 0, sizeof DRVCOMM);
  std::memset(&nport, 0x5A, sizeof nport);
  const termios before = nport;
  const int handle = ic_init0(file.c_str(), 19200);
  ASSERT_GE(handle, 0);
  EXPECT_EQ(std::memcmp(&oport, &before, sizeof before), 0);
  EXPECT_EQ(nport.c_cflag, B19200 | 0x8F0U);
  EXPECT_EQ(ic_exit(handle), 0);
  EXPECT_FALSE(is_open(handle));

  System::instance().clock = [now = std::clock_t{0}]() mutable { return now += 100'000; };
  EXPECT_EQ(ic_init(file.c_str(), 9600), -136) << "it swallows the request and never answers";
  System::instance().reset();
}

TEST(DirectSession, SendsNothingAtItsEnd) {
  ScriptedReader reader;
  const int handle = reader.init0();
  std::strcpy(CLOSEAUX, "never sent");
  ic_exit(handle);
  EXPECT_TRUE(System::instance().writes.empty());
}

TEST_P(PortSession, FailsWithoutAValidProof) {
  for (const Bytes& answer : {Bytes{}, hex("54"), hex("55 00 00"), hex("55 00 00 00 54"),
                              reply(5, {}), reply(0x80, {}), reply(1, text("KWSPC-1234"))}) {
    SCOPED_TRACE(to_hex(answer));
    ScriptedReader reader(mode());
    unsettle(reader.line());
    const termios before = settings_of(reader.line());
    const int lowest_free = dup(0);
    close(lowest_free);
    reader.expect_opening().expect(short_version_request).answer(answer).expect_closing();
    EXPECT_EQ(reader.init(), -136);
    EXPECT_FALSE(is_open(lowest_free)) << "the line is closed again";
    expect_same_settings(settings_of(reader.line()), before);
    EXPECT_EQ(Reader_Type, 0);
  }
}

TEST(DirectSession, FailsWhenTheProofCannotBeSent) {
  ScriptedReader reader;
  System::instance().before_write = [](const Bytes&) { return std::optional<ssize_t>(-1); };
  EXPECT_EQ(reader.init(), -136);
  EXPECT_EQ(System::instance().writes.size(), 1U);
}

TEST_P(PortSession, KnowsItsReaderByTheVersionText) {
  const struct {
    Bytes version;
    unsigned char type;
  } rows[] = {
      {text("KWSPC-1234"), 1},    {text("KWSPC"), 1},
      {text("KWSPC-1234567"), 1}, {text("KWSPD-1234"), 0},
      {text("kwspc-1234"), 0},    {text("XKWSPC-123"), 0},
      {text("KWSP"), 0},          {{}, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(to_hex(row.version));
    Reader_Type = 0;
    ScriptedReader reader(mode());
    reader.expect_opening().expect(short_version_request).answer(reply(0, row.version));
    const int handle = reader.init();
    ASSERT_GE(handle, 0);
    EXPECT_EQ(Reader_Type, row.type);
    reader.expect_closing();
    ic_exit(handle);
  }
}

TEST_P(PortSession, NeverForgetsItsReaderType) {
  Reader_Type = 1;
  ScriptedReader reader(mode());
  reader.expect_proof();
  const int handle = reader.init();
  EXPECT_EQ(Reader_Type, 1);
  reader.expect_closing();
  ic_exit(handle);
  EXPECT_EQ(Reader_Type, 1);
}

TEST_P(PortSession, CompletesNoShortVersionFromAnEarlierOne) {
  for (const Bytes& version : {text("KWSPC-1234"), text("KWS"), Bytes{}}) {
    Reader_Type = 0;
    ScriptedReader reader(mode());
    reader.expect_opening().expect(short_version_request).answer(reply(0, version));
    const int handle = reader.init();
    ASSERT_GE(handle, 0);
    EXPECT_EQ(Reader_Type, version.size() == 10 ? 1 : 0);
    reader.expect_closing();
    ic_exit(handle);
  }
}

TEST(DirectSession, MayHaveHandleZero) {
  const int saved = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  {
    ScriptedReader reader;  // takes descriptor 0 itself
    const int moved = dup(reader.line());
    reader.expect_proof();
    int handle = reader.init();
    EXPECT_GT(handle, 0);
    ic_exit(handle);
    close(moved);
  }
  {
    const int placeholder = open("/dev/null", O_RDONLY);
    ASSERT_EQ(placeholder, 0);
    ScriptedReader reader;
    close(placeholder);
    reader.expect_proof();
    const int handle = reader.init();
    EXPECT_EQ(handle, 0);
    EXPECT_TRUE(is_open(0));
    EXPECT_EQ(ic_exit(handle), 0);
    EXPECT_FALSE(is_open(0));

    close(open("/dev/null", O_RDONLY));
    const int handle0 = reader.init0();
    EXPECT_EQ(handle0, 0);
    EXPECT_EQ(ic_exit(handle0), 0);
  }
  dup2(saved, STDIN_FILENO);
  close(saved);
}

TEST_P(PortSession, EndsAHandleThatIsNotOpen) {
  term_flg = mode() == Mode::direct ? 1 : 0;
  for (const int handle : {-1, INT_MIN, INT_MAX, 900})
    EXPECT_EQ(ic_exit(handle), 0) << handle;
}

TEST_P(PortSession, MayBeOpenedAgainWhileOpen) {
  ScriptedReader reader(mode());
  unsettle(reader.line());
  reader.expect_opening();
  const int first = reader.init0(9600);
  reader.expect_opening();
  const int second = reader.init0(19200);
  ASSERT_GE(second, 0);
  EXPECT_NE(first, second);
  EXPECT_EQ(oport.c_cflag, B9600 | 0x8F0U) << "the settings that the line has at that moment";
  EXPECT_EQ(oport.c_lflag, 5U);
  reader.expect_closing();
  ic_exit(second);
  EXPECT_EQ(settings_of(reader.line()).c_cflag, B9600 | 0x8F0U);
  reader.expect_closing();
  ic_exit(first);
}

struct Version {
  int length;
  Bytes request;
};

TEST_P(PortSession, ReadsTheVersionTextOfTheReader) {
  for (const Version& version :
       {Version{10, short_version_request}, Version{18, long_version_request}}) {
    const Bytes data = text("KWSPC reader 1.234");
    const Bytes sent(data.begin(), data.begin() + version.length);
    Bytes buffer(19, 0xEE);
    const Operation operation{
        "srd_ver " + std::to_string(version.length),
        [&](int handle) { return srd_ver(handle, version.length, buffer.data()); },
        {{version.request, reply(0, sent)}}};
    expect_result(operation, mode(), 0);
    EXPECT_EQ(buffer, sent + Bytes(19 - sent.size(), 0xEE));

    buffer.assign(19, 0xEE);
    Reader_Type = 0;
    expect_failures(operation, mode());
    EXPECT_EQ(buffer, Bytes(19, 0xEE));
    EXPECT_EQ(Reader_Type, 0);
  }
}

TEST_P(PortSession, CopiesWhatTheReaderSentOfItsVersion) {
  for (const int length : {10, 18}) {
    for (const std::size_t sent : {0U, 1U, 3U, 9U, 10U, 11U, 17U, 18U, 19U, 255U}) {
      Bytes buffer(19, 0xEE);
      expect_result({"srd_ver",
                     [&](int handle) { return srd_ver(handle, length, buffer.data()); },
                     {{length == 10 ? short_version_request : long_version_request,
                       reply(0, counting(sent))}}},
                    mode(), 0);
      const std::size_t copied = std::min(sent, static_cast<std::size_t>(length));
      EXPECT_EQ(buffer, counting(copied) + Bytes(19 - copied, 0xEE)) << length << ", " << sent;
    }
  }
}

TEST_P(PortSession, ComparesTheBufferAsItThenIs) {
  for (const auto& [before, type] : {std::pair{"...PC.....", 1}, std::pair{"....C.....", 0}}) {
    Reader_Type = 0;
    Bytes buffer = text(before);
    expect_result({"srd_ver",
                   [&](int handle) { return srd_ver(handle, 10, buffer.data()); },
                   {{short_version_request, reply(0, text("KWS"))}}},
                  mode(), 0);
    EXPECT_EQ(Reader_Type, type) << before;
  }
}

TEST(SrdVer, TakesNoOtherLength) {
  Bytes buffer(32);
  for (const int length : {12, 9, 11, 17, 19, 0, -10, -18, 266, INT_MIN, INT_MAX}) {
    expect_refusal(-143, [&](int handle) { return srd_ver(handle, length, buffer.data()); });
  }
  expect_refusal(-143, [](int handle) { return srd_ver(handle, 10, nullptr); });
}

}  // namespace
}  // namespace quorra::testing
