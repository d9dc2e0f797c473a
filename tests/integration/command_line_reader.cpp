// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/integration/command_line_reader.hpp"

#include <algorithm>

namespace quorra::testing {

const Bytes ask_version = sealed("AA B0 00 07 80 00 00 00 00 00 0A");
const Bytes good_version = reply(0, text("KWSPC-1234"));

ReaderLine::ReaderLine() : settings_(settings()) {
  write_file(configuration(), "P=" + line_.device() + "\n");
}

void ReaderLine::serve(const Bytes& request, const Bytes& reply) const {
  expect(request);
  answer(reply);
}

void ReaderLine::serve_identity() const {
  serve(sealed("AA B0 00 07 80 00 00 00 00 00 12"), reply(0, text("KWSPC-1234")));
}

void ReaderLine::expect(const Bytes& request) const {
  const std::string got = line_.read(request.size());
  EXPECT_EQ(to_hex({got.begin(), got.end()}), to_hex(request));
}

void ReaderLine::answer(const Bytes& reply) const {
  line_.type(std::string(reply.begin(), reply.end()));
}

void ReaderLine::expect_closed() const {
  EXPECT_EQ(line_.read_all(), "");
  expect_restored();
}

void ReaderLine::expect_restored() const {
  const termios now = settings();
  EXPECT_EQ(now.c_iflag, settings_.c_iflag);
  EXPECT_EQ(now.c_oflag, settings_.c_oflag);
  EXPECT_EQ(now.c_cflag, settings_.c_cflag);
  EXPECT_EQ(now.c_lflag, settings_.c_lflag);
  EXPECT_TRUE(std::ranges::equal(now.c_cc, settings_.c_cc));
}

termios ReaderLine::settings() const {
  termios now{};
  EXPECT_EQ(tcgetattr(line_.line(), &now), 0);
  return now;
}

Process ScriptedCommandLine::start(Arguments arguments) {
  const bool names_card = std::ranges::find(arguments, "--card") != arguments.end();
  arguments.insert(arguments.begin(), QUORRA_PROGRAM);
  arguments.insert(arguments.end(), {"--config", reader.configuration(), "--force"});
  if (!names_card) arguments.insert(arguments.end(), {"--card", "4442"});
  return Process(arguments);
}

}  // namespace quorra::testing
